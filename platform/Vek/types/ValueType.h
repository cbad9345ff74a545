#pragma once

#include "Osk/UniqueId.h"
#include "Vek/codec/LogReader.h"
#include "Vek/codec/LogWriter.h"
#include "Vek/text/Enum.h"

#include <bit>
#include <cstddef>
#include <limits>
#include <new>

namespace Vek {

struct TypeInfo;

/// Takes an identifier of 16 hexadecimal digits; `RangeException` when there is none.
OSK_EXPORT void sequenceToValue( CharRange& range, Osk::UniqueId* id );

/// How the runtime handles values of one C++ type that it knows by this description alone.
/// Constant-initialised; there is one for each type, `valueType< T >`.
struct ValueType {
   std::string_view name; ///< as the registry shows it, such as "U32" or "Zorv::IpGenPrefix"
   std::size_t size;      ///< bytes of a value
   void ( *construct )( void* at );
   void ( *destroy )( void* at );
   void ( *assign )( void* to, const void* from );
   bool ( *equal )( const void* a, const void* b );
   /// Appends the value's text (RecordText.h); null for types that have none.
   void ( *write )( TextWriter& out, const void* value );
   /// Reads the value from all of a text. `RangeException` when the text is none, and then the
   /// value is unchanged. Null for types whose text cannot be read.
   void ( *read )( std::string_view text, void* value );
   const TypeInfo& ( *record )(); ///< the type when its text is that of its attributes, else null
   // The encoding in the attribute log (LogWriter.h); null for types that are not streamed.
   std::size_t ( *logSize )( const void* value );
   void ( *logWrite )( LogWriter& out, const void* value );
   void ( *logRead )( LogReader& in, void* value ); ///< what it raises may leave it half read

   /// By name: each shared library has descriptions of its own.
   bool operator==( const ValueType& other ) const { return name == other.name; }
};

namespace detail {

/// The name of a type: of the runtime's plain types, of an enumeration, or the type's own; a
/// counted reference goes by the name of its object.
template < typename T >
constexpr std::string_view typeName() {
   if constexpr ( std::is_same_v< T, bool > ) {
      return "bool";
   } else if constexpr ( std::is_same_v< T, char > ) {
      return "char";
   } else if constexpr ( std::is_same_v< T, U8 > ) {
      return "U8";
   } else if constexpr ( std::is_same_v< T, U16 > ) {
      return "U16";
   } else if constexpr ( std::is_same_v< T, U32 > ) {
      return "U32";
   } else if constexpr ( std::is_same_v< T, U64 > ) {
      return "U64";
   } else if constexpr ( std::is_same_v< T, float > ) {
      return "float";
   } else if constexpr ( std::is_same_v< T, double > ) {
      return "Vek::Duration";
   } else if constexpr ( std::is_same_v< T, String > ) {
      return "Vek::String";
   } else if constexpr ( NamedEnum< T > ) {
      return enumInfo( T{} ).type;
   } else if constexpr ( std::is_enum_v< T > ) {
      return typeNameOf( T{} );
   } else if constexpr ( requires { typename T::Object; } ) {
      return std::remove_const_t< typename T::Object >::typeName;
   } else {
      return T::typeName;
   }
}

[[noreturn]] OSK_EXPORT void throwNotAValue( std::string_view type, std::string_view text );
OSK_EXPORT void writeDouble( TextWriter& out, double value );
OSK_EXPORT void writeFloat( TextWriter& out, float value );
OSK_EXPORT bool readBool( std::string_view text );
OSK_EXPORT double readDouble( std::string_view text );
OSK_EXPORT float readFloat( std::string_view text );
OSK_EXPORT char readChar( std::string_view text );
OSK_EXPORT U64 readInteger( std::string_view text, std::string_view type, U64 max );

// The text of a value type that is built from its attributes; in RecordText.cc.
OSK_EXPORT void recordTextWrite( const TypeInfo& type, TextWriter& out, const void* value );
OSK_EXPORT void recordTextRead( const TypeInfo& type, std::string_view text, void* value );

template < typename T >
concept ConstructsFromText = std::is_constructible_v< T, const String& >;
template < typename T >
concept ReadsText = requires( T& v, std::string_view text ) {
   v.stringValueIs( text );
};

/// A type that is built from its attributes: it has a table of them, and is not read from a text as
/// a whole.
template < typename T >
concept IsRecord =
   !std::is_empty_v< T > && !ConstructsFromText< T > && !ReadsText< T > && requires {
   { T::typeInfo() } -> std::same_as< const TypeInfo& >;
};

/// The texts of one type, from the operations that it offers.
template < typename T >
struct ValueText {
   static constexpr bool constructs = ConstructsFromText< T >;
   static constexpr bool takes = requires( CharRange & range, T* v ) {
      sequenceToValue( range, v );
   };
   static constexpr bool reads = ReadsText< T >;
   static constexpr bool readable =
      std::is_arithmetic_v< T > || IsRecord< T > || constructs || takes || reads;

   static constexpr bool writable = readable || requires( TextWriter & out, const T& v ) {
      out << v;
   }
   || requires( const T& v ) { v.stringValue(); }
   || requires( const T& v ) { v.toStrep(); };

   static void write( TextWriter& out, const void* value ) {
      const T& v = *static_cast< const T* >( value );
      if constexpr ( IsRecord< T > ) {
         recordTextWrite( T::typeInfo(), out, value );
      } else if constexpr ( std::is_same_v< T, bool > ) {
         out << int{ v };
      } else if constexpr ( std::is_same_v< T, double > ) {
         writeDouble( out, v );
      } else if constexpr ( std::is_same_v< T, float > ) {
         writeFloat( out, v );
      } else if constexpr ( requires { valueToStrep( v ); } ) {
         out << valueToStrep( v );
      } else if constexpr ( NamedEnum< T > ) {
         out << stringValue( v );
      } else if constexpr ( requires { out << v; } ) {
         out << v;
      } else if constexpr ( requires { v.stringValue(); } ) {
         out << v.stringValue();
      } else {
         out << v.toStrep();
      }
   }

   static void read( std::string_view text, void* value ) {
      T& v = *static_cast< T* >( value );
      if constexpr ( IsRecord< T > ) {
         recordTextRead( T::typeInfo(), text, value );
      } else if constexpr ( std::is_same_v< T, bool > ) {
         v = readBool( text );
      } else if constexpr ( std::is_same_v< T, double > ) {
         v = readDouble( text );
      } else if constexpr ( std::is_same_v< T, float > ) {
         v = readFloat( text );
      } else if constexpr ( std::is_same_v< T, char > ) {
         v = readChar( text );
      } else if constexpr ( std::is_integral_v< T > ) {
         v = static_cast< T >(
            readInteger( text, typeName< T >(), std::numeric_limits< T >::max() ) );
      } else if constexpr ( constructs ) {
         v = T( String( text ) );
      } else if constexpr ( takes ) {
         CharRange range( text );
         T taken{};
         sequenceToValue( range, &taken );
         if ( !range.empty() ) {
            throwNotAValue( typeName< T >(), text );
         }
         v = taken;
      } else {
         v.stringValueIs( text );
      }
   }
};

// The encoding of a value type that is built from its attributes.
OSK_EXPORT std::size_t recordLogSize( const TypeInfo& type, const void* value );
OSK_EXPORT void recordLogWrite( const TypeInfo& type, LogWriter& out, const void* value );
OSK_EXPORT void recordLogRead( const TypeInfo& type, LogReader& in, void* value );

/// The integer in whose form a value of a plain type is written.
template < std::size_t Size >
using LogInteger = std::conditional_t<
   Size == 1, U8, std::conditional_t< Size == 2, U16, std::conditional_t< Size == 4, U32, U64 > > >;

/// The encoding of one type, from what it offers.
template < typename T >
struct ValueLog {
   static constexpr bool plain =
      std::is_arithmetic_v< T > || std::is_enum_v< T > || std::is_same_v< T, String >;
   static constexpr bool own = requires( LogWriter & out, LogReader& in, T& v ) {
      { logSize( v ) } -> std::convertible_to< std::size_t >;
      logWrite( out, v );
      logRead( in, v );
   };
   static constexpr bool record = !own && IsRecord< T >;
   static constexpr bool streamed = plain || own || record;

   static std::size_t size( [[maybe_unused]] const void* value ) {
      if constexpr ( std::is_same_v< T, String > ) {
         return 4 + static_cast< const String* >( value )->size();
      } else if constexpr ( std::is_enum_v< T > ) {
         return 4;
      } else if constexpr ( plain ) {
         return sizeof( T );
      } else if constexpr ( own ) {
         return logSize( *static_cast< const T* >( value ) );
      } else {
         return recordLogSize( T::typeInfo(), value );
      }
   }

   static void write( LogWriter& out, const void* value ) {
      const T& v = *static_cast< const T* >( value );
      if constexpr ( std::is_same_v< T, String > ) {
         out.string( v );
      } else if constexpr ( std::is_enum_v< T > ) {
         out.u32( static_cast< U32 >( v ) );
      } else if constexpr ( std::is_same_v< T, bool > ) {
         out.boolean( v );
      } else if constexpr ( plain ) {
         put( out, std::bit_cast< LogInteger< sizeof( T ) > >( v ) );
      } else if constexpr ( own ) {
         logWrite( out, v );
      } else {
         recordLogWrite( T::typeInfo(), out, value );
      }
   }

   static void read( LogReader& in, void* value ) {
      T& v = *static_cast< T* >( value );
      if constexpr ( std::is_same_v< T, String > ) {
         v = in.string();
      } else if constexpr ( std::is_enum_v< T > ) {
         v = static_cast< T >( static_cast< U8 >( in.u32() ) );
      } else if constexpr ( std::is_same_v< T, bool > ) {
         v = in.boolean();
      } else if constexpr ( plain ) {
         v = std::bit_cast< T >( get< LogInteger< sizeof( T ) > >( in ) );
      } else if constexpr ( own ) {
         logRead( in, v );
      } else {
         recordLogRead( T::typeInfo(), in, value );
      }
   }

private:
   static void put( LogWriter& out, U8 value ) { out.u8( value ); }
   static void put( LogWriter& out, U16 value ) { out.u16( value ); }
   static void put( LogWriter& out, U32 value ) { out.u32( value ); }
   static void put( LogWriter& out, U64 value ) { out.u64( value ); }

   template < typename Integer >
   static Integer get( LogReader& in ) {
      if constexpr ( sizeof( Integer ) == 1 ) {
         return in.u8();
      } else if constexpr ( sizeof( Integer ) == 2 ) {
         return in.u16();
      } else if constexpr ( sizeof( Integer ) == 4 ) {
         return in.u32();
      } else {
         return in.u64();
      }
   }
};

template < typename T >
constexpr ValueType describe() {
   ValueType type{};
   type.name = typeName< T >();
   type.size = sizeof( T );
   if constexpr ( std::is_default_constructible_v< T > && std::is_copy_assignable_v< T > ) {
      type.construct = []( void* at ) { ::new ( at ) T(); };
      type.destroy = []( void* at ) { static_cast< T* >( at )->~T(); };
      type.assign = []( void* to, const void* from ) {
         *static_cast< T* >( to ) = *static_cast< const T* >( from );
      };
   }
   if constexpr ( std::equality_comparable< T > ) {
      type.equal = []( const void* a, const void* b ) {
         return *static_cast< const T* >( a ) == *static_cast< const T* >( b );
      };
   }
   if constexpr ( ValueText< T >::writable ) {
      type.write = ValueText< T >::write;
   }
   if constexpr ( ValueText< T >::readable ) {
      type.read = ValueText< T >::read;
   }
   if constexpr ( IsRecord< T > ) {
      type.record = T::typeInfo;
   }
   if constexpr ( ValueLog< T >::streamed ) {
      type.logSize = ValueLog< T >::size;
      type.logWrite = ValueLog< T >::write;
      type.logRead = ValueLog< T >::read;
   }
   return type;
}

} // namespace detail

/// The description of `T`.
template < typename T >
inline constexpr ValueType valueType = detail::describe< T >();

/// A value with its description: an argument or a result of reflection. Owned by the caller.
struct Any {
   const ValueType* type = nullptr;
   void* value = nullptr;

   template < typename T >
   static Any of( T& value ) {
      using Plain = std::remove_const_t< T >;
      return { &valueType< Plain >, const_cast< Plain* >( &value ) };
   }

   /// The value when it is a `T`, else null.
   template < typename T >
   T* as() const {
      return type && *type == valueType< T > ? static_cast< T* >( value ) : nullptr;
   }
};

/// Builds a value from its text: the runtime's parse entry. `RangeException` when the text is none;
/// a type that holds a collection has no text form and fails an assertion.
template < typename T >
void strepToValue( std::string_view text, T* value ) {
   static_assert( valueType< T >.read != nullptr, "values of the type cannot be read from text" );
   valueType< T >.read( text, value );
}

/// The runtime's text of a value, from which `strepToValue` builds an equal one.
template < typename T >
String valueText( const T& value ) {
   static_assert( valueType< T >.write != nullptr, "values of the type have no text" );
   String text;
   TextWriter out( text );
   valueType< T >.write( out, &value );
   out.flush();
   return text;
}

} // namespace Vek
