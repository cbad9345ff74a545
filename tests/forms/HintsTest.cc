#include "forms/Hints.h"

#include "forms/KeyForms.h"
#include "tests/support/KeyGenerator.h"

#include <gtest/gtest.h>

namespace Forms {
namespace {

// What is said of a text that cannot be read.
Vek::String told( std::string_view text, Form form = Form::cli ) {
   Rule rule;
   return readRule( form, text, rule ).value_or( "none" );
}

TEST( Hints, NamesHaveNumbers ) {
   EXPECT_EQ( told( "*;*;DSCP:=ef;" ), "Unexpected character e: 'ef' is 46" );
   EXPECT_EQ( told( "*;*;DSCP:=AF41;" ), "Unexpected character A: 'AF41' is 34" );
   EXPECT_EQ( told( "*;*;TCP:SYN;" ), "Unexpected character S: 'SYN' is 2" );
   EXPECT_EQ( told( "*;*;TCP:=2|ack;" ), "Unexpected character a: 'ack' is 16" );
   EXPECT_EQ( told( "RD:1:2;*;*;IP:=udp;", Form::rd ), "Unexpected character u: 'udp' is 17" );
   EXPECT_EQ( told( "*;*;DP:=https;" ), "Unexpected character h: 'https' is 443" );
   EXPECT_EQ( told( "*;*;IT:=echo-request;" ), "Unexpected character e: 'echo-request' is 8" );
   EXPECT_EQ( told( "*;*;FRAG:is-fragment;" ), "Unexpected character i: 'is-fragment' is 2" );
   EXPECT_EQ( told( "*;*;DSCP:=what;" ), "Unexpected character w" );
   EXPECT_EQ( told( "*;*;FL:=tcp;" ), "Unexpected character t" );
}

TEST( Hints, WhatIsSpelledInAnotherWayIsTold ) {
   EXPECT_EQ( told( "*;*;IP:=any;" ),
              "Unexpected character a: a component that may have any value is left out" );
   EXPECT_EQ( told( "*;*;DP:=80,=443;" ),
              "Unexpected character ,: alternatives are joined by '|'" );
   EXPECT_EQ( told( "*;*;DP:=1-5;" ), "Unexpected character -: a range is '>=1024&<=2047'" );
   EXPECT_EQ( told( "*;*;DP: =1;" ), "Unexpected character  : a rule has no blanks" );
   EXPECT_EQ( told( "*;*;IP:!=6;" ),
              "Received bitfield operator for a value component IP:!=6: not equal is '<>'" );
   EXPECT_EQ( told( "any;*;" ), "Could not parse dest prefix any;*; : Zorv::IpGenPrefix: 'any' is "
                                "not a prefix: any prefix is '*'" );
   EXPECT_EQ( told( "*;;" ), "Could not parse source prefix *;; : Zorv::IpGenPrefix: '' is not a "
                             "prefix: any prefix is '*'" );
   EXPECT_EQ( told( "192.0.2.1;*;" ),
              "Could not parse dest prefix 192.0.2.1;*; : Zorv::IpGenPrefix: '192.0.2.1' is not a "
              "prefix: a host is '192.0.2.1/32'" );
   EXPECT_EQ( told( "*;2001:db8::1;" ),
              "Could not parse source prefix *;2001:db8::1; : Zorv::IpGenPrefix: '2001:db8::1' is "
              "not a prefix: a host is '2001:db8::1/128'" );
   EXPECT_EQ( told( "*;*;ip:=6;" ),
              "Did not find a valid component label in ip:=6: the label is 'IP'" );
   EXPECT_EQ( told( "*;*;destination-port:=6;" ),
              "Did not find a valid component label in destination-port:=6: the label is 'DP'" );
   EXPECT_EQ( told( "*;*;x:=6;" ), "Did not find a valid component label in x:=6" );
}

TEST( Hints, AnyPlaceInAnyTextCanBeAsked ) {
   TestSupport::KeyGenerator random( 1 );
   constexpr std::string_view characters = "RD:;*anyIPTC-=,! \x80\xff";
   for ( int i = 0; i < 20000; ++i ) {
      Vek::String text;
      for ( U64 more = random.below( 14 ); more > 0; --more ) {
         text += random.oneOf( characters );
      }
      for ( std::size_t offset = 0; offset <= text.size() + 1; ++offset ) {
         EXPECT_LT( hint( text, offset ).size(), 80u );
      }
   }
}

} // namespace
} // namespace Forms
