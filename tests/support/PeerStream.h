#pragma once

#include "Vek/codec/LogWriter.h"
#include "Vek/log/Message.h"
#include "Vek/log/Schema.h"
#include "tests/support/Hex.h"

namespace TestSupport {

/// A stream as a peer might send it, message by message, right or wrong.
class PeerStream {
public:
   /// Begins with the preamble and this process's types.
   PeerStream() {
      const Vek::String& types = Vek::log::typesText();
      bytes_.resize( Vek::log::preambleSize );
      Vek::LogWriter out( bytes_.data() );
      out.u32( Vek::log::streamMagic );
      out.u16( Vek::log::streamVersion );
      out.u16( 0 );
      out.u64( Vek::log::typesDigest( types ) );
      message( Vek::log::MessageKind::types, 0, 0,
               { reinterpret_cast< const U8* >( types.data() ), types.size() } );
   }

   void message( Vek::log::MessageKind kind, U64 entity, U16 fieldId, std::span< const U8 > payload,
                 bool removed = false ) {
      const std::size_t begin = bytes_.size();
      bytes_.resize( begin + Vek::log::Header::size );
      Vek::LogWriter out( bytes_.data() + begin );
      Vek::log::writeHeader( out, { .length = static_cast< U32 >( payload.size() ),
                                    .kind = kind,
                                    .entity = entity,
                                    .fieldId = fieldId,
                                    .flags = removed ? Vek::log::removedFlag : U8{ 0 } } );
      bytes_.insert( bytes_.end(), payload.begin(), payload.end() );
   }

   void root( U64 number, std::string_view type, std::string_view name ) {
      std::vector< U8 > payload( 8 + type.size() + name.size() );
      Vek::LogWriter out( payload.data() );
      out.string( type );
      out.string( name );
      message( Vek::log::MessageKind::root, number, 0, payload );
   }
   void rootGone( U64 number ) { message( Vek::log::MessageKind::root, number, 0, {}, true ); }

   /// A child with constructor parameters in hexadecimal, or one that is removed, of the number 0.
   void child( U64 parent, U16 fieldId, U64 number, const std::string& parameters,
               bool removed = false ) {
      std::vector< U8 > payload( 8 );
      Osk::storeBig64( payload.data(), number );
      const std::vector< U8 > more = bytesOf( parameters );
      payload.insert( payload.end(), more.begin(), more.end() );
      message( Vek::log::MessageKind::child, parent, fieldId, payload, removed );
   }

   void attribute( U64 entity, U16 fieldId, const std::string& hex, bool removed = false ) {
      message( Vek::log::MessageKind::attribute, entity, fieldId, bytesOf( hex ), removed );
   }
   void member( U64 entity, U16 fieldId, const std::string& hex, bool removed = false ) {
      message( Vek::log::MessageKind::member, entity, fieldId, bytesOf( hex ), removed );
   }
   void transaction( U64 entity, U16 fieldId, U8 type ) {
      message( Vek::log::MessageKind::transaction, entity, fieldId, std::span( &type, 1 ) );
   }

   /// What was sent since the last call.
   std::vector< U8 > take() { return std::exchange( bytes_, {} ); }

private:
   std::vector< U8 > bytes_;
};

} // namespace TestSupport
