#include "Vek/log/Receiver.h"

#include "Vek/Printable.h"
#include "Vek/log/Schema.h"

namespace Vek::log {

namespace {

constexpr std::size_t maxReason = 600;

} // namespace

Receiver::Receiver( Directory& directory, Policy policy )
   : directory_( directory ), policy_( std::move( policy ) ) {}

Receiver::~Receiver() {
   for ( const auto& [number, proxy] : proxies_ ) {
      delete proxy;
   }
}

void Receiver::receive( std::span< const U8 > bytes ) {
   if ( partial_.empty() ) {
      const std::size_t taken = takeAll( bytes );
      partial_.assign( bytes.begin() + static_cast< std::ptrdiff_t >( taken ), bytes.end() );
   } else {
      partial_.insert( partial_.end(), bytes.begin(), bytes.end() );
      const std::size_t taken = takeAll( partial_ );
      partial_.erase( partial_.begin(), partial_.begin() + static_cast< std::ptrdiff_t >( taken ) );
   }
}

Entity* Receiver::entity( U64 number ) const {
   const auto at = proxies_.find( number );
   return at == proxies_.end() ? nullptr : &at->second->entity();
}

std::size_t Receiver::takeAll( std::span< const U8 > bytes ) {
   std::size_t taken = 0;
   while ( const std::size_t size = takeOne( bytes.subspan( taken ) ) ) {
      taken += size;
      applied_ += size;
   }
   return taken;
}

// Takes the preamble or one message; 0 when it is not complete.
std::size_t Receiver::takeOne( std::span< const U8 > bytes ) {
   if ( !preambleRead_ ) {
      if ( bytes.size() < preambleSize ) {
         return 0;
      }
      readPreamble( LogReader( bytes.first( preambleSize ) ) );
      preambleRead_ = true;
      return preambleSize;
   }
   if ( bytes.size() < Header::size ) {
      return 0;
   }
   const Header header = readHeader( bytes );
   const std::size_t size = Header::size + header.length;
   if ( bytes.size() < size ) {
      return 0;
   }
   ++messages_;
   apply( header, bytes.subspan( Header::size, header.length ) );
   return size;
}

void Receiver::readPreamble( LogReader in ) {
   if ( in.u32() != streamMagic ) {
      throw StreamException( "the peer does not speak the attribute log" );
   }
   const U16 version = in.u16();
   if ( version != streamVersion ) {
      throw StreamException( concat( "the peer speaks version ", version,
                                     " of the attribute log, this process version ",
                                     streamVersion ) );
   }
   in.take( 2 );
   digest_ = in.u64();
}

void Receiver::apply( const Header& header, std::span< const U8 > payload ) {
   LogReader in( payload, LogReader::Trust::checked );
   try {
      if ( ( header.kind == MessageKind::types ) == typesChecked_ ) {
         throw StreamException( typesChecked_ ? "the types were told before"
                                              : "the types were not told" );
      }
      if ( policy_.sees ) {
         const auto at = proxies_.find( header.entity );
         policy_.sees( header, payload, at == proxies_.end() ? nullptr : &at->second->type() );
      }
      switch ( header.kind ) {
      case MessageKind::types:
         applyTypes( in, payload );
         break;
      case MessageKind::root:
         applyRoot( header, in );
         break;
      case MessageKind::child:
         applyChild( header, in );
         break;
      case MessageKind::attribute:
      case MessageKind::member:
         if ( !applyValue( header, in ) ) {
            throw StreamException( "the type does not stream such a field" );
         }
         break;
      case MessageKind::transaction: {
         EntityProxy& proxy = proxyOf( header );
         const U8 type = in.u8();
         in.end();
         if ( !proxy.doHandleAttrTransaction( header.fieldId, type ) ) {
            throw StreamException( "the field is no collection" );
         }
         break;
      }
      case MessageKind::synchronised:
         in.end();
         synchronised_ = true;
         break;
      default:
         throw StreamException( "there is no such kind of message" );
      }
   } catch ( const std::bad_alloc& ) {
      throw;
   } catch ( const std::exception& exception ) {
      refuse( header, exception.what() );
   }
}

void Receiver::applyTypes( LogReader& in, std::span< const U8 > payload ) {
   const std::string_view theirs( reinterpret_cast< const char* >( in.take( payload.size() ) ),
                                  payload.size() );
   if ( typesDigest( theirs ) != digest_ ) {
      throw StreamException( "the types do not have the digest that was told" );
   }
   if ( const String difference = typesDifference( theirs ); !difference.empty() ) {
      throw StreamException( difference );
   }
   typesChecked_ = true;
}

bool Receiver::applyValue( const Header& header, LogReader& in ) {
   EntityProxy& proxy = proxyOf( header );
   const Field* const row = proxy.type().info().field( header.fieldId );
   const bool member = header.kind == MessageKind::member;
   return row && member == row->isCollection() && ( member || !header.removed() ) &&
          proxy.doHandleAttrDeserialization( header.fieldId, header.removed(), header.length, in );
}

void Receiver::refuse( const Header& header, std::string_view reason ) const {
   String where = concat( "message ", messages_, " (", stringValue( header.kind ), ')' );
   if ( const auto at = proxies_.find( header.entity ); at != proxies_.end() ) {
      const TypeInfo& info = at->second->type().info();
      where += concat( ", ", info.name );
      if ( const Field* const row = info.field( header.fieldId ) ) {
         where += concat( ' ', row->id, ' ', row->name );
      } else if ( header.fieldId != 0 ) {
         where += concat( ' ', header.fieldId );
      }
   }
   // What the peer sent may stand in the reason.
   throw StreamException( concat( where, ": ", printable( reason, maxReason ) ) );
}

} // namespace Vek::log
