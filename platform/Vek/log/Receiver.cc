#include "Vek/log/Receiver.h"

#include "Vek/log/Schema.h"
#include "Vek/text/Printable.h"

#include <algorithm>

// A stream goes through three states, and never back: the preamble is awaited; the types are
// (`preambleRead_`); messages are applied (`typesChecked_`). Between calls `partial_` is empty, or
// has the beginning of one message and no byte of the next. While `ending_` is set, the last
// message is applied in part, and none is looked at.
//
// The order in `apply` keeps a message from doing half of its work: what can be refused is refused
// before an entity is touched, and the setter comes last. What is raised after that is the setter's
// own, which leaves its entity as it was.
namespace Vek::log {

Receiver::Receiver( Directory& directory, Policy policy )
   : directory_( directory ), policy_( std::move( policy ) ), share_( policy_.budget ) {}

Receiver::~Receiver() {
   for ( const auto& [number, proxy] : proxies_ ) {
      delete proxy;
   }
}

std::size_t Receiver::receive( std::span< const U8 > bytes ) {
   const std::size_t size = bytes.size();
   // First what an earlier call left undone, as later messages may be about the same members.
   if ( ending_ && ending_->finish( steps_ ) ) {
      ending_ = nullptr;
   }
   // What an earlier piece began is put together; the rest is read where it is.
   while ( mayGoOn() && !partial_.empty() && !bytes.empty() ) {
      const std::size_t missing = std::min( sizeOf( partial_ ) - partial_.size(), bytes.size() );
      hold( bytes.first( missing ) );
      bytes = bytes.subspan( missing );
      if ( const std::size_t taken = takeOne( partial_ ) ) {
         applied_ += taken;
         partial_.clear();
         if ( partial_.capacity() > ownPart ) {
            std::vector< U8 >().swap( partial_ );
            share_.resize( 0 );
         }
      }
   }
   bytes = bytes.subspan( takeAll( bytes ) );
   if ( mayGoOn() && !bytes.empty() ) {
      hold( bytes );
      bytes = {};
   }
   return size - bytes.size();
}

Entity* Receiver::entity( U64 number ) const {
   const auto at = proxies_.find( number );
   return at == proxies_.end() ? nullptr : &at->second->entity();
}

std::size_t Receiver::takeAll( std::span< const U8 > bytes ) {
   std::size_t taken = 0;
   while ( mayGoOn() ) {
      const std::size_t size = takeOne( bytes.subspan( taken ) );
      if ( size == 0 ) {
         break;
      }
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
   if ( !typesChecked_ ) [[unlikely]] {
      checkFirst( header );
   }
   const std::size_t size = Header::size + header.length;
   if ( bytes.size() < size ) {
      return 0;
   }
   ++messages_;
   constexpr std::size_t bytesAStep = 64;
   steps_ -= std::min< U64 >( steps_, 1 + size / bytesAStep );
   apply( header, bytes.subspan( Header::size, header.length ) );
   return size;
}

// The size of what begins with some bytes, as far as they tell: at least that of its header.
std::size_t Receiver::sizeOf( std::span< const U8 > bytes ) const {
   if ( !preambleRead_ ) {
      return preambleSize;
   }
   return Header::size + ( bytes.size() < Header::size ? 0 : readHeader( bytes ).length );
}

// Appends to what is held of a message. Room grows with what comes, not with what a header claims.
void Receiver::hold( std::span< const U8 > bytes ) {
   const std::size_t size = partial_.size() + bytes.size();
   if ( size > partial_.capacity() ) {
      const std::size_t capacity =
         std::max( size, std::min( 2 * partial_.size(), sizeOf( partial_ ) ) );
      if ( !share_.resize( capacity > ownPart ? capacity : 0 ) ) {
         throw StreamException( concat( "message ", messages_ + 1,
                                        ": messages that have not come whole take all the memory "
                                        "that is set aside for them" ) );
      }
      partial_.reserve( capacity );
   }
   partial_.insert( partial_.end(), bytes.begin(), bytes.end() );
}

std::size_t Receiver::maxTypes() { return std::max( std::size_t{ 1 } << 16, typesText().size() ); }

// Refuses what comes first before it is held, unless it is types.
void Receiver::checkFirst( const Header& header ) {
   if ( header.kind != MessageKind::types || header.length > maxTypes() ) {
      ++messages_;
      refuse( header,
              header.kind != MessageKind::types
                 ? String( "the types were not told" )
                 : concat( "a text of ", header.length, " bytes is longer than ", maxTypes() ) );
   }
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
   if ( const U16 zero = in.u16(); zero != 0 ) {
      throw StreamException( concat( "bytes 6 and 7 of the preamble are ", zero, ", not 0" ) );
   }
   digest_ = in.u64();
}

void Receiver::apply( const Header& header, std::span< const U8 > payload ) {
   LogReader in( payload, LogReader::Trust::checked );
   try {
      if ( header.kind == MessageKind::types && typesChecked_ ) {
         throw StreamException( "the types were told before" );
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
      case MessageKind::transaction:
         applyTransaction( header, in );
         break;
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
   if ( theirs != typesText() ) {
      if ( const String difference = typesDifference( theirs ); !difference.empty() ) {
         throw StreamException( difference );
      }
      fewerTypes_ = String( theirs );
   }
   typesChecked_ = true;
}

void Receiver::applyTransaction( const Header& header, LogReader& in ) {
   EntityProxy& proxy = proxyOf( header );
   const U8 type = in.u8();
   in.end();
   if ( !proxy.doHandleAttrTransaction( header.fieldId, type, steps_ ) ) {
      throw StreamException( "the field is not a collection" );
   }
   if ( !proxy.isFinished() ) {
      ending_ = &proxy;
   }
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
   // What the peer sent may be in the reason.
   throw StreamException( concat( where, ": ", printable( reason, printableReasonSize ) ) );
}

} // namespace Vek::log
