#include "tools/state/LogMessage.h"

#include "Vek/types/TypeRegistry.h"
#include "Vek/types/ValueBuffer.h"
#include "tools/state/ValueText.h"

#include <nlohmann/json.hpp>

namespace Tools {

using Vek::log::MessageKind;
using Vek::log::TransactionType;

namespace {

using Json = nlohmann::ordered_json;

Vek::String textOf( const Vek::ValueType& type, const void* value, Strings strings ) {
   if ( strings == Strings::plain && type == Vek::valueType< Vek::String > ) {
      return *static_cast< const Vek::String* >( value );
   }
   Vek::String text;
   appendValue( text, type, value );
   return text;
}

// Each type is a line, and its rows are indented ones.
U64 countTypes( std::string_view text ) {
   U64 count = 0;
   for ( bool begin = true; const char c : text ) {
      count += begin && c != ' ';
      begin = c == '\n';
   }
   return count;
}

Vek::String transactionText( U8 type ) {
   switch ( TransactionType{ type } ) {
   case TransactionType::start:
      return "start";
   case TransactionType::end:
      return "end";
   }
   return Vek::concat( type );
}

// Fills a message from its payload.
class PayloadReader {
public:
   PayloadReader( LogMessage& message, std::span< const U8 > payload, Strings strings )
      : message_( message ), payload_( payload ), in_( payload, Vek::LogReader::Trust::checked ),
        strings_( strings ) {}

   void read() {
      const bool removed = message_.header.removed();
      switch ( message_.header.kind ) {
      case MessageKind::types:
         message_.types =
            countTypes( { reinterpret_cast< const char* >( payload_.data() ), payload_.size() } );
         break;
      case MessageKind::root:
         if ( !removed ) {
            message_.type = Vek::TypeRegistry::find( in_.string() );
            message_.root = value( Vek::valueType< Vek::String > );
         }
         break;
      case MessageKind::child:
         child( *message_.row, removed );
         break;
      case MessageKind::member:
         message_.key = value( *message_.row->key );
         if ( message_.row->value && !removed ) {
            message_.value = value( *message_.row->value );
         }
         break;
      case MessageKind::attribute:
         message_.value = value( *message_.row->value );
         break;
      case MessageKind::transaction:
         message_.transaction = transactionText( in_.u8() );
         break;
      case MessageKind::synchronised:
         break;
      }
   }

private:
   void child( const Vek::Field& row, bool removed ) {
      message_.child = in_.u64();
      if ( !removed ) {
         message_.childType = Vek::TypeRegistry::find( row.typeName );
         for ( const Vek::ValueType* const parameter : message_.childType->parameters ) {
            message_.parameters.push_back( value( *parameter ) );
         }
      } else if ( row.key ) {
         message_.key = value( *row.key );
      }
   }

   Vek::String value( const Vek::ValueType& type ) {
      const Vek::ValueBuffer buffer( type );
      type.logRead( in_, buffer.get() );
      return textOf( type, buffer.get(), strings_ );
   }

   LogMessage& message_;
   const std::span< const U8 > payload_;
   Vek::LogReader in_;
   const Strings strings_;
};

// Whether the row is one that such a message, which is about a field, can be about.
bool fits( MessageKind kind, const Vek::Field& row ) {
   const bool holdsChildren =
      row.kind == Vek::FieldKind::children || row.kind == Vek::FieldKind::child;
   switch ( kind ) {
   case MessageKind::child:
      return holdsChildren;
   case MessageKind::attribute:
      return !row.isCollection() && !holdsChildren;
   case MessageKind::member:
      return row.isCollection() && !holdsChildren;
   default: // a transaction
      return row.isCollection();
   }
}

} // namespace

std::optional< LogMessage > decodeMessage( const Vek::log::Header& header,
                                           std::span< const U8 > payload,
                                           const Vek::log::StreamType* type, Strings strings ) {
   LogMessage message;
   message.header = header;
   message.type = type ? &type->info() : nullptr;
   const bool aboutField =
      header.kind >= MessageKind::child && header.kind <= MessageKind::transaction;
   if ( aboutField ) {
      const auto position = type ? type->position( header.fieldId ) : std::nullopt;
      if ( !position || !fits( header.kind, *type->rows()[*position] ) ) {
         return std::nullopt;
      }
      message.row = type->rows()[*position];
   }
   try {
      PayloadReader( message, payload, strings ).read();
   } catch ( const std::bad_alloc& ) {
      throw;
   } catch ( const std::exception& ) {
      return std::nullopt;
   }
   return message;
}

void appendLine( Vek::String& out, const LogMessage& message ) {
   Vek::TextWriter line( out );
   line << message.position << ' ' << stringValue( message.header.kind );
   if ( message.header.kind == MessageKind::types ) {
      line << ' ' << message.types;
   }
   if ( message.type ) {
      line << ' ' << message.type->name << '#' << message.header.entity;
   }
   if ( message.row ) {
      line << ' ' << message.row->id << ' ' << message.row->name;
   }
   if ( message.header.removed() ) {
      line << " removed";
   }
   if ( message.childType ) {
      line << ' ' << message.childType->name << '#' << message.child;
   }
   for ( std::string_view separator = " "; const Vek::String& parameter : message.parameters ) {
      line << std::exchange( separator, ", " ) << parameter;
   }
   for ( const auto* const text : { &message.root, &message.transaction, &message.key } ) {
      if ( *text ) {
         line << ' ' << **text;
      }
   }
   if ( message.value ) {
      line << ( message.key ? " -> " : " " ) << *message.value;
   }
   line << '\n';
}

void appendJson( Vek::String& out, const LogMessage& message ) {
   Json object{ { "message", message.position }, { "kind", stringValue( message.header.kind ) } };
   if ( message.header.kind == MessageKind::types ) {
      object["types"] = message.types;
   }
   if ( message.type ) {
      object["type"] = message.type->name;
      object["entity"] = message.header.entity;
   }
   if ( message.row ) {
      object["fieldId"] = message.row->id;
      object["field"] = message.row->name;
   }
   if ( message.header.removed() ) {
      object["removed"] = true;
   }
   if ( message.childType ) {
      object["childType"] = message.childType->name;
      object["child"] = message.child;
      object["parameters"] = message.parameters;
   }
   const std::pair< const char*, const std::optional< Vek::String >& > texts[] = {
      { "name", message.root },
      { "transaction", message.transaction },
      { "key", message.key },
      { "value", message.value },
   };
   for ( const auto& [name, text] : texts ) {
      if ( text ) {
         object[name] = *text;
      }
   }
   out += object.dump( -1, ' ', true, Json::error_handler_t::replace );
   out += '\n';
}

} // namespace Tools
