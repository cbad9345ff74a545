#include "tools/state/LogMessage.h"

#include "Flowspec/FlowspecDalb.h"
#include "Flowspec/FlowspecPolicy.h"
#include "Vek/types/TypeRegistry.h"

#include <gtest/gtest.h>

namespace Tools {

using namespace Flowspec;

namespace {

using Vek::log::Header;
using Vek::log::MessageKind;

// The rows of a rule's configuration: 258 is its key, 259 an attribute, 260 a map, and of a
// configuration 259 the children.
struct LogMessageTest : testing::Test {
   std::optional< LogMessage > decode( const Vek::TypeInfo& type, MessageKind kind, U16 fieldId,
                                       std::vector< U8 > payload ) {
      const Header header{ .length = static_cast< U32 >( payload.size() ),
                           .kind = kind,
                           .entity = 1,
                           .fieldId = fieldId };
      return decodeMessage( header, payload, &types.of( type ), Strings::plain );
   }

   Vek::log::StreamTypes types;
   const std::vector< U8 > number = std::vector< U8 >( 8, 1 );
};

TEST_F( LogMessageTest, ATransactionIsNamedOrNumbered ) {
   const auto transaction = [&]( U8 type ) {
      const auto message = decode( RuleConfig::type(), MessageKind::transaction, 260, { type } );
      return message ? message->transaction.value() : "nothing";
   };
   EXPECT_EQ( transaction( static_cast< U8 >( Vek::log::TransactionType::start ) ), "start" );
   EXPECT_EQ( transaction( static_cast< U8 >( Vek::log::TransactionType::end ) ), "end" );
   EXPECT_EQ( transaction( 77 ), "77" );
}

TEST_F( LogMessageTest, AFieldIsOfTheKindThatTheMessageIsAbout ) {
   EXPECT_TRUE( decode( RuleConfig::type(), MessageKind::attribute, 259, number ) );
   for ( const MessageKind kind :
         { MessageKind::child, MessageKind::member, MessageKind::transaction } ) {
      EXPECT_FALSE( decode( RuleConfig::type(), kind, 259, number ) ) << stringValue( kind );
   }
   // A collection of values is no attribute, and one of entities has no members that are values.
   EXPECT_FALSE( decode( RuleConfig::type(), MessageKind::attribute, 260, number ) );
   EXPECT_FALSE( decode( RuleConfig::type(), MessageKind::child, 260, number ) );
   EXPECT_FALSE( decode( Config::type(), MessageKind::attribute, 259, number ) );
   EXPECT_FALSE( decode( Config::type(), MessageKind::member, 259, number ) );
   EXPECT_TRUE( decode( Config::type(), MessageKind::transaction, 259, { 1 } ) );
}

TEST_F( LogMessageTest, ASingleChildIsNoAttribute ) {
   unsigned checked = 0;
   for ( const Vek::Module* const module : Vek::TypeRegistry::modules() ) {
      for ( const Vek::TypeInfo* const info : module->types() ) {
         for ( const Vek::Field& row : info->rows ) {
            if ( info->isEntity() && row.kind == Vek::FieldKind::child ) {
               EXPECT_FALSE( decode( *info, MessageKind::attribute, row.id, {} ) ) << info->name;
               ++checked;
            }
         }
      }
   }
   EXPECT_GT( checked, 0U );
}

TEST_F( LogMessageTest, AFieldThatTheTypeDoesNotHaveIsRefused ) {
   EXPECT_FALSE( decode( RuleConfig::type(), MessageKind::attribute, 999, number ) );
   EXPECT_FALSE( decodeMessage( { .length = 8, .kind = MessageKind::attribute, .entity = 1 },
                                number, nullptr, Strings::plain ) );
}

} // namespace
} // namespace Tools
