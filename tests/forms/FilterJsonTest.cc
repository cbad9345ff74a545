#include "forms/FilterJson.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace {

using namespace Classification;
using Forms::readFilterJson;

using Filter = Vek::Ptr< const StructuredFilter >;

Filter filter( std::string_view text ) {
   Filter made;
   EXPECT_EQ( readFilterJson( text, made ), std::nullopt );
   return made;
}

struct Row {
   const char* text;
   const char* fault;
};

template < std::size_t count >
void expectFaults( const Row ( &rows )[count] ) {
   const Filter before = structuredFilterFactory();
   for ( const Row& row : rows ) {
      Filter made = before;
      EXPECT_EQ( readFilterJson( row.text, made ), row.fault ) << row.text;
      EXPECT_EQ( made, before ) << row.text;
   }
}

TEST( FilterJson, ReadsEveryMember ) {
   const Filter made = filter(
      R"({"destPrefix":["10.1.0.0/16","2001:db8::/32"],"srcPrefix":["10.2.0.0/16"],)"
      R"("protocols":[{"protocol":[6,17],"ports":[{"srcPort":[[1024,65535]],"destPort":[80,81]},)"
      R"({}],"icmpTypes":[{"type":3,"codes":[1,[2,4]]},{"type":[8,9]}],)"
      R"("tcpFlags":[{"flag":2,"mask":18}]},{"protocol":255}],)"
      R"("length":[[64,1500],0],"dscp":[46],"fragment":"nonFirstFragment"})" );
   const auto prefix = []( std::string_view text ) { return *Zorv::IpGenPrefix::fromText( text ); };
   EXPECT_EQ( made->destPrefix, ( std::set< Zorv::IpGenPrefix >{ prefix( "10.1.0.0/16" ),
                                                                 prefix( "2001:db8::/32" ) } ) );
   EXPECT_EQ( made->srcPrefix, std::set< Zorv::IpGenPrefix >{ prefix( "10.2.0.0/16" ) } );
   ASSERT_EQ( made->proto.size(), 2U );
   EXPECT_EQ( made->proto.at( ProtocolRange( 255 ) ), ProtoField() );
   const ProtoField& field = made->proto.at( ProtocolRange( 6, 17 ) );
   ASSERT_EQ( field.port.size(), 2U );
   std::vector< PortField > ports;
   for ( const auto& [id, port] : field.port ) {
      ports.push_back( port );
   }
   const PortField full{ { PortRange( 1024, 65535 ) }, { PortRange( 80 ), PortRange( 81 ) } };
   EXPECT_NE( std::find( ports.begin(), ports.end(), full ), ports.end() );
   EXPECT_NE( std::find( ports.begin(), ports.end(), PortField() ), ports.end() );
   ASSERT_EQ( field.icmpType.size(), 2U );
   EXPECT_EQ( field.icmpType.at( IcmpTypeRange( 3 ) ).icmpCode,
              ( std::set< IcmpCodeRange >{ IcmpCodeRange( 1 ), IcmpCodeRange( 2, 4 ) } ) );
   EXPECT_TRUE( field.icmpType.at( IcmpTypeRange( 8, 9 ) ).icmpCode.empty() );
   EXPECT_EQ( field.tcpFlagAndMask, std::set< TcpFlagAndMask >{ TcpFlagAndMask( 2, 18 ) } );
   EXPECT_EQ( made->length, ( std::set< PacketLengthRange >{ PacketLengthRange( 0 ),
                                                             PacketLengthRange( 64, 1500 ) } ) );
   EXPECT_EQ( made->dscp, std::set< DscpRange >{ DscpRange( 46 ) } );
   ASSERT_TRUE( made->fragment );
   EXPECT_EQ( made->fragment->fragmentType(), FragmentType::nonFirstFragment );
}

TEST( FilterJson, EveryMemberMayBeLeftOut ) {
   for ( const char* const text :
         { "{}", " { }\t",
           R"({"destPrefix":[],"srcPrefix":[],"protocols":[],"length":[],"dscp":[],)"
           R"("fragment":null})" } ) {
      const Filter made = filter( text );
      ASSERT_TRUE( made );
      EXPECT_TRUE( made->destPrefix.empty() );
      EXPECT_TRUE( made->srcPrefix.empty() );
      EXPECT_TRUE( made->proto.empty() );
      EXPECT_TRUE( made->length.empty() );
      EXPECT_TRUE( made->dscp.empty() );
      EXPECT_FALSE( made->fragment );
   }
}

TEST( FilterJson, EveryFragmentTypeHasItsName ) {
   for ( const Vek::Enumerator& row : fragmentTypeRows ) {
      const Vek::String text = Vek::concat( R"({"fragment":")", row.name, R"("})" );
      EXPECT_EQ( filter( text )->fragment->fragmentType(),
                 static_cast< FragmentType >( row.number ) );
   }
}

TEST( FilterJson, TheTextMustBeOneObject ) {
   expectFaults( {
      { "[]", "not a JSON object" },
      { "null", "not a JSON object" },
      { "", "not JSON: parse error at line 1, column 1: syntax error while parsing value - "
            "unexpected end of input; expected '[', '{', or a literal" },
      { "{}x", "not JSON: parse error at line 1, column 3: syntax error while parsing value - "
               "invalid literal; last read: '{}x'; expected end of input" },
      { "[[[[[[[[[[[[", "nested too deeply for a filter" },
      { R"({"dscp":[],"dscp":[]})", "member 'dscp' is there twice" },
      { R"({"protocols":[{"protocol":6,"protocol":6}]})", "member 'protocol' is there twice" },
   } );
}

TEST( FilterJson, OtherMembersAreRefused ) {
   expectFaults( {
      { R"({"dstPrefix":[]})", "unknown member 'dstPrefix'" },
      { R"({"protocols":[{"protocol":6,"port":[]}]})", "unknown member 'protocols[0].port'" },
      { R"({"protocols":[{"protocol":6,"ports":[{},{"dport":[]}]}]})",
        "unknown member 'protocols[0].ports[1].dport'" },
      { R"({"protocols":[{"protocol":6,"icmpTypes":[{"type":1,"code":[]}]}]})",
        "unknown member 'protocols[0].icmpTypes[0].code'" },
      { R"({"protocols":[{"protocol":6,"tcpFlags":[{"flag":1,"mask":1,"x":1}]}]})",
        "unknown member 'protocols[0].tcpFlags[0].x'" },
   } );
}

TEST( FilterJson, SomeMembersAreWanted ) {
   expectFaults( {
      { R"({"protocols":[{}]})", "member 'protocols[0].protocol' is missing" },
      { R"({"protocols":[{"protocol":6,"icmpTypes":[{}]}]})",
        "member 'protocols[0].icmpTypes[0].type' is missing" },
      { R"({"protocols":[{"protocol":6,"tcpFlags":[{"mask":1}]}]})",
        "member 'protocols[0].tcpFlags[0].flag' is missing" },
      { R"({"protocols":[{"protocol":6,"tcpFlags":[{"flag":1}]}]})",
        "member 'protocols[0].tcpFlags[0].mask' is missing" },
   } );
}

TEST( FilterJson, ShapesAreChecked ) {
   expectFaults( {
      { R"({"destPrefix":"10.0.0.0/8"})", "'destPrefix' is not an array" },
      { R"({"srcPrefix":null})", "'srcPrefix' is not an array" },
      { R"({"destPrefix":[10]})", "'destPrefix[0]' is not a string" },
      { R"({"destPrefix":["10.0.0.0/8","*"]})", "'destPrefix[1]': '*' is not a prefix" },
      { R"({"srcPrefix":["10.0.0.0"]})", "'srcPrefix[0]': '10.0.0.0' is not a prefix" },
      { R"({"srcPrefix":[""]})", "'srcPrefix[0]': '' is not a prefix" },
      { R"({"protocols":{}})", "'protocols' is not an array" },
      { R"({"protocols":[6]})", "'protocols[0]' is not an object" },
      { R"({"protocols":[{"protocol":6,"ports":{}}]})", "'protocols[0].ports' is not an array" },
      { R"({"protocols":[{"protocol":6,"ports":[80]}]})",
        "'protocols[0].ports[0]' is not an object" },
      { R"({"protocols":[{"protocol":6,"icmpTypes":[3]}]})",
        "'protocols[0].icmpTypes[0]' is not an object" },
      { R"({"protocols":[{"protocol":6,"tcpFlags":[2]}]})",
        "'protocols[0].tcpFlags[0]' is not an object" },
      { R"({"length":64})", "'length' is not an array" },
      { R"({"fragment":0})", "'fragment' is not a string" },
      { R"({"fragment":"any"})", "'fragment': 'any' is not a fragment type" },
   } );
}

TEST( FilterJson, RangesAreChecked ) {
   expectFaults( {
      { R"({"length":[[]]})", "'length[0]' is not a number or an array of two" },
      { R"({"length":[[64]]})", "'length[0]' is not a number or an array of two" },
      { R"({"length":[0,[1,2,3]]})", "'length[1]' is not a number or an array of two" },
      { R"({"length":[[1500,64]]})", "'length[0]' is upside down" },
      { R"({"length":[-1]})", "'length[0]' is not a whole number from 0 to 65535" },
      { R"({"length":[1.5]})", "'length[0]' is not a whole number from 0 to 65535" },
      { R"({"length":["64"]})", "'length[0]' is not a whole number from 0 to 65535" },
      { R"({"length":[65536]})", "'length[0]' is not a whole number from 0 to 65535" },
      { R"({"length":[[0,65536]]})", "'length[0][1]' is not a whole number from 0 to 65535" },
      { R"({"length":[[null,1]]})", "'length[0][0]' is not a whole number from 0 to 65535" },
      { R"({"dscp":[64]})", "'dscp[0]' is not a whole number from 0 to 63" },
      { R"({"protocols":[{"protocol":256}]})",
        "'protocols[0].protocol' is not a whole number from 0 to 255" },
      { R"({"protocols":[{"protocol":[17,6]}]})", "'protocols[0].protocol' is upside down" },
      { R"({"protocols":[{"protocol":[6,17]},{"protocol":[6,17]}]})",
        "'protocols[1].protocol' is there twice" },
      { R"({"protocols":[{"protocol":6,"ports":[{"srcPort":[65536]}]}]})",
        "'protocols[0].ports[0].srcPort[0]' is not a whole number from 0 to 65535" },
      { R"({"protocols":[{"protocol":6,"ports":[{"destPort":[1,65536]}]}]})",
        "'protocols[0].ports[0].destPort[1]' is not a whole number from 0 to 65535" },
      { R"({"protocols":[{"protocol":1,"icmpTypes":[{"type":256}]}]})",
        "'protocols[0].icmpTypes[0].type' is not a whole number from 0 to 255" },
      { R"({"protocols":[{"protocol":1,"icmpTypes":[{"type":3,"codes":[256]}]}]})",
        "'protocols[0].icmpTypes[0].codes[0]' is not a whole number from 0 to 255" },
      { R"({"protocols":[{"protocol":6,"tcpFlags":[{"flag":256,"mask":0}]}]})",
        "'protocols[0].tcpFlags[0].flag' is not a whole number from 0 to 255" },
      { R"({"protocols":[{"protocol":6,"tcpFlags":[{"flag":0,"mask":256}]}]})",
        "'protocols[0].tcpFlags[0].mask' is not a whole number from 0 to 255" },
   } );
}

TEST( FilterJson, ADeepFilterIsNotTooDeep ) {
   EXPECT_EQ( filter( R"({"protocols":[{"protocol":1,"icmpTypes":[{"type":1,"codes":[[0,1]]}]}]})" )
                 ->proto.size(),
              1U );
}

} // namespace
