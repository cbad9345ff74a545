#pragma once

#include "Vek/text/Enum.h"

#include <compare>

namespace Flowspec {

/// What IP and TCP bit masks share: which bits of a field are tested, and the value that each must
/// have. Bit n is required set when it is set in `mask` and `val`, and required clear when it is
/// set in `mask` only. A plain value, ordered by `matchAll`, then `val`, then `mask`.
class OSK_EXPORT BitMask {
public:
   constexpr BitMask() = default;
   constexpr BitMask( bool matchAll, U16 val, U16 mask )
      : matchAll_( matchAll ), val_( val ), mask_( mask ) {}

   /// The match bit of the component's operator; carried and compared, never evaluated.
   constexpr bool matchAll() const { return matchAll_; }
   constexpr U16 val() const { return val_; }
   constexpr U16 mask() const { return mask_; }

   /// "<value:0x2;mask:0x12>"; `matchAll` is not shown.
   Vek::String toStrep() const;

   U32 hash() const;

   constexpr auto operator<=>( const BitMask& ) const = default;

protected:
   template < typename Bit >
   constexpr bool requiredSet( Bit bit ) const {
      return mask_ & val_ & bitOf( bit );
   }
   template < typename Bit >
   constexpr bool requiredClear( Bit bit ) const {
      return mask_ & ~val_ & bitOf( bit );
   }

private:
   template < typename Bit >
   static constexpr int bitOf( Bit bit ) {
      return 1 << static_cast< U8 >( bit );
   }

   bool matchAll_ = true;
   U16 val_ = 0;
   U16 mask_ = 0;
};

/// The fragment bits of a rule (RFC 8955 section 4.2.2.12).
class OSK_EXPORT IpBitMask : public BitMask {
public:
   static constexpr std::string_view typeName = "Flowspec::IpBitMask";
   static const Vek::TypeInfo& typeInfo();

   /// Positions of the bits.
   enum class IpBit : U8 { dontFragment = 0, isFragment = 1, firstFragment = 2, lastFragment = 3 };
   using enum IpBit;

   static constexpr U8 supportedIpBits() { return 4; }
   static constexpr U8 lastBit() { return 3; }
   static constexpr U16 maskForAllBits() { return 0xF; }

   using BitMask::BitMask;

   /// Whether the mask makes sense: some bit is tested, what is no fragment is not required to be
   /// the first or last one, and none is required to be the first and the last.
   bool isValid() const;

   /// The tested bits in order, such as "DF:1,is-fragment:0"; empty for the mask 0.
   Vek::String toStrepCli() const;

   /// The bit with a number or a name; `Vek::RangeException` when there is none.
   static IpBit IpBitInstance( U64 number );
   static IpBit IpBitInstance( std::string_view name );
};

/// The TCP flag bits of a rule (RFC 8955 section 4.2.2.9).
class OSK_EXPORT TcpBitMask : public BitMask {
public:
   static constexpr std::string_view typeName = "Flowspec::TcpBitMask";
   static const Vek::TypeInfo& typeInfo();

   /// Positions of the bits.
   enum class TcpBit : U8 {
      tcpFin = 0,
      tcpSyn = 1,
      tcpRst = 2,
      tcpPsh = 3,
      tcpAck = 4,
      tcpUrg = 5,
      tcpEce = 6,
      tcpCwr = 7,
      tcpNs = 8,
   };
   using enum TcpBit;

   static constexpr U8 supportedTcpBits() { return 9; }
   static constexpr U8 lastBit() { return 8; }
   static constexpr U16 maskForAllBits() { return 0x1FF; }

   using BitMask::BitMask;

   /// The tested bits in order, such as "SYN:1,ACK:0"; empty for the mask 0.
   Vek::String toStrepCli() const;

   /// The bit with a number or a name; `Vek::RangeException` when there is none.
   static TcpBit TcpBitInstance( U64 number );
   static TcpBit TcpBitInstance( std::string_view name );
};

/// Writes what `toStrepCli` gives.
OSK_EXPORT void writeStrepCli( Vek::TextWriter& out, const IpBitMask& mask );
OSK_EXPORT void writeStrepCli( Vek::TextWriter& out, const TcpBitMask& mask );

inline constexpr Vek::Enumerator ipBitRows[] = {
   { 0, "dontFragment" }, { 1, "isFragment" }, { 2, "firstFragment" }, { 3, "lastFragment" } };
inline constexpr Vek::Enumerator tcpBitRows[] = {
   { 0, "tcpFin" }, { 1, "tcpSyn" }, { 2, "tcpRst" }, { 3, "tcpPsh" }, { 4, "tcpAck" },
   { 5, "tcpUrg" }, { 6, "tcpEce" }, { 7, "tcpCwr" }, { 8, "tcpNs" } };
static_assert( std::size( ipBitRows ) == IpBitMask::supportedIpBits() &&
               Vek::enumeratorsAreDense( ipBitRows ) );
static_assert( std::size( tcpBitRows ) == TcpBitMask::supportedTcpBits() &&
               Vek::enumeratorsAreDense( tcpBitRows ) );

inline constexpr Vek::EnumInfo ipBitInfo{ "Flowspec::IpBitMask::IpBit", ipBitRows };
inline constexpr Vek::EnumInfo tcpBitInfo{ "Flowspec::TcpBitMask::TcpBit", tcpBitRows };

constexpr const Vek::EnumInfo& enumInfo( IpBitMask::IpBit ) { return ipBitInfo; }
constexpr const Vek::EnumInfo& enumInfo( TcpBitMask::TcpBit ) { return tcpBitInfo; }

using Vek::operator<<;
using Vek::sequenceToValue;
using Vek::stringValue;

} // namespace Flowspec
