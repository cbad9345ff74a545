#include "forms/TimeText.h"

#include <algorithm>
#include <cstdio>

namespace Forms {

using namespace std::chrono;

namespace {

constexpr sys_seconds first = sys_days( year( 0 ) / January / 1 );
constexpr sys_seconds last = sys_days( year( 9999 ) / December / 31 ) + seconds( 86'399 );

// Takes parts of a text from its beginning.
class Parts {
public:
   explicit Parts( std::string_view text ) : text_( text ) {}

   // A number of so many digits, not above `max`.
   int number( std::size_t digits, int max ) {
      int value = 0;
      for ( std::size_t i = 0; i < digits; ++i ) {
         const char c = take();
         good_ = good_ && c >= '0' && c <= '9';
         value = good_ ? value * 10 + ( c - '0' ) : 0;
      }
      good_ = good_ && value <= max;
      return value;
   }

   // One of some characters.
   char one( std::string_view of ) {
      const char c = take();
      good_ = good_ && of.find( c ) != of.npos;
      return c;
   }

   void fraction() {
      if ( !text_.starts_with( '.' ) ) {
         return;
      }
      text_.remove_prefix( 1 );
      const std::size_t digits = std::min( text_.find_first_not_of( "0123456789" ), text_.size() );
      good_ = good_ && digits > 0;
      text_.remove_prefix( digits );
   }

   bool goodAndOver() const { return good_ && text_.empty(); }

private:
   char take() {
      const char c = text_.empty() ? '\0' : text_.front();
      good_ = good_ && !text_.empty();
      text_.remove_prefix( text_.empty() ? 0 : 1 );
      return c;
   }

   std::string_view text_;
   bool good_ = true;
};

} // namespace

std::optional< sys_seconds > timeFromText( std::string_view text ) {
   Parts parts( text );
   const year years( parts.number( 4, 9999 ) );
   parts.one( "-" );
   const month months( static_cast< unsigned >( parts.number( 2, 12 ) ) );
   parts.one( "-" );
   const day days( static_cast< unsigned >( parts.number( 2, 31 ) ) );
   parts.one( "Tt" );
   const hours hour( parts.number( 2, 23 ) );
   parts.one( ":" );
   const minutes minute( parts.number( 2, 59 ) );
   parts.one( ":" );
   const seconds second( parts.number( 2, 60 ) );
   parts.fraction();
   const char sign = parts.one( "Zz+-" );
   minutes offset{ 0 };
   if ( sign == '+' || sign == '-' ) {
      offset = hours( parts.number( 2, 23 ) );
      parts.one( ":" );
      offset += minutes( parts.number( 2, 59 ) );
      offset = sign == '-' ? -offset : offset;
   }
   const year_month_day date( years, months, days );
   if ( !parts.goodAndOver() || !date.ok() ) {
      return std::nullopt;
   }
   const sys_seconds time = sys_days( date ) + hour + minute + second - offset;
   // An offset or a leap second may lead out of the years that have a text.
   return time >= first && time <= last ? std::optional( time ) : std::nullopt;
}

Vek::String textOfTime( sys_seconds time ) {
   const sys_days midnight = floor< days >( time );
   const year_month_day date( midnight );
   const hh_mm_ss clock( time - midnight );
   char room[64];
   const int size = std::snprintf(
      room, sizeof room, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast< int >( date.year() ),
      static_cast< unsigned >( date.month() ), static_cast< unsigned >( date.day() ),
      static_cast< int >( clock.hours().count() ), static_cast< int >( clock.minutes().count() ),
      static_cast< int >( clock.seconds().count() ) );
   return Vek::String( room, static_cast< std::size_t >( size ) );
}

} // namespace Forms
