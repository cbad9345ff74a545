#include "forms/JsonMembers.h"

#include <algorithm>
#include <vector>

namespace Forms::JsonMembers {

namespace {

// Gives the parser a text, and counts what it has taken of it.
class CountingIterator {
public:
   using iterator_category = std::input_iterator_tag;
   using value_type = char;
   using difference_type = std::ptrdiff_t;
   using pointer = const char*;
   using reference = const char&;

   CountingIterator( const char* at, std::size_t& taken ) : at_( at ), taken_( &taken ) {}

   reference operator*() const { return *at_; }
   CountingIterator& operator++() {
      ++at_;
      ++*taken_;
      return *this;
   }
   bool operator==( const CountingIterator& other ) const { return at_ == other.at_; }
   bool operator!=( const CountingIterator& other ) const = default;

private:
   const char* at_;
   std::size_t* taken_;
};

// Takes note of the lines of values. Asked about places that ascend.
class LineNotes {
public:
   LineNotes( std::string_view text, Lines& lines ) : text_( text ), lines_( lines ) {}

   std::size_t& taken() { return taken_; }

   // The line of the last character that was taken, or of the one before it.
   U64 line( bool isOneAhead = false ) {
      const std::size_t end = std::max( taken_, std::size_t{ 1 } ) - ( isOneAhead ? 1 : 0 );
      line_ += static_cast< U64 >( std::count(
         text_.begin() + static_cast< std::ptrdiff_t >( seen_ ),
         text_.begin() + static_cast< std::ptrdiff_t >( std::max( seen_, end ) ), '\n' ) );
      seen_ = std::max( seen_, end );
      return line_;
   }

   // The value that is read now is the member of an object with a name, or the next of an array.
   void member( std::string_view name ) {
      next_ = open_.empty() || open_.back().empty() ? Vek::String( name )
                                                    : Vek::concat( open_.back(), '.', name );
   }
   void element( std::size_t index ) { next_ = Vek::concat( open_.back(), '[', index, ']' ); }
   void value( bool isNumber ) { lines_.emplace( next_, line( isNumber ) ); }
   void open() { open_.push_back( next_ ); }
   void close() { open_.pop_back(); }

private:
   const std::string_view text_;
   Lines& lines_;
   std::size_t taken_ = 0;
   std::size_t seen_ = 0; // how much of the text the line is of
   U64 line_ = 1;
   Vek::String next_;
   std::vector< Vek::String > open_;
};

// Builds what the parser reads, and stops it where it would go on for no good: a second member of
// one name would silently win over the first, and nothing that is known nests its values deeply.
class Builder {
public:
   Builder( int maxDepth, std::string_view what, LineNotes* notes = nullptr )
      : maxDepth_( static_cast< std::size_t >( maxDepth ) ), what_( what ), notes_( notes ) {}

   bool null() { return add( nullptr ); }
   bool boolean( bool value ) { return add( value ); }
   bool number_integer( Json::number_integer_t value ) { return add( value ); }
   bool number_unsigned( Json::number_unsigned_t value ) { return add( value ); }
   bool number_float( Json::number_float_t value, const Json::string_t& ) { return add( value ); }
   bool string( Json::string_t& value ) { return add( std::move( value ) ); }
   bool binary( Json::binary_t& value ) { return add( std::move( value ) ); }

   bool start_object( std::size_t ) { return open( Json::object() ); }
   bool end_object() { return close(); }
   bool start_array( std::size_t ) { return open( Json::array() ); }
   bool end_array() { return close(); }

   bool key( Json::string_t& name ) {
      checkDepth();
      if ( notes_ ) {
         notes_->member( name );
      }
      const auto [at, added] =
         open_.back()->get_ref< Json::object_t& >().try_emplace( std::move( name ) );
      if ( !added ) {
         fail( "member '", at->first, "' is there twice" );
      }
      member_ = &at->second;
      return true;
   }

   bool parse_error( std::size_t, const Vek::String&, const Json::exception& error ) {
      // "[json.exception.parse_error.101] parse error at ...": the first word is no help here.
      std::string_view message = error.what();
      message.remove_prefix( message.find( ' ' ) + 1 );
      if ( notes_ && message.starts_with( "parse error at " ) ) {
         message.remove_prefix( message.find( ": " ) + 2 );
      }
      fail( "not JSON: ", message );
   }

   Json take() { return std::move( root_ ); }

private:
   void checkDepth() const {
      if ( open_.size() > maxDepth_ ) {
         fail( "nested too deeply for a ", what_ );
      }
   }

   // The value in its place.
   Json& place( Json&& value ) {
      checkDepth();
      if ( notes_ ) {
         if ( !open_.empty() && open_.back()->is_array() ) {
            notes_->element( open_.back()->size() );
         }
         notes_->value( value.is_number() );
      }
      if ( open_.empty() ) {
         return root_ = std::move( value );
      }
      if ( open_.back()->is_array() ) {
         return open_.back()->get_ref< Json::array_t& >().emplace_back( std::move( value ) );
      }
      return *member_ = std::move( value );
   }

   bool add( Json&& value ) {
      place( std::move( value ) );
      return true;
   }

   bool open( Json&& value ) {
      open_.push_back( &place( std::move( value ) ) );
      if ( notes_ ) {
         notes_->open();
      }
      return true;
   }

   bool close() {
      open_.pop_back();
      if ( notes_ ) {
         notes_->close();
      }
      return true;
   }

   std::size_t maxDepth_;
   std::string_view what_;
   LineNotes* const notes_; // null for a text of one line
   Json root_;
   std::vector< Json* > open_;
   Json* member_ = nullptr; // of the innermost object, whose value is next
};

Json objectOf( Builder& builder ) {
   Json json = builder.take();
   if ( !json.is_object() ) {
      fail( "not a JSON object" );
   }
   return json;
}

} // namespace

Json parsedObject( std::string_view text, int maxDepth, std::string_view what ) {
   Builder builder( maxDepth, what );
   Json::sax_parse( text, &builder );
   return objectOf( builder );
}

Json parsedObject( std::string_view text, int maxDepth, std::string_view what, Lines& lines ) {
   LineNotes notes( text, lines );
   Builder builder( maxDepth, what, &notes );
   try {
      Json::sax_parse( CountingIterator( text.data(), notes.taken() ),
                       CountingIterator( text.data() + text.size(), notes.taken() ), &builder,
                       Json::input_format_t::json, true, true );
      return objectOf( builder );
   } catch ( BadJson& bad ) {
      // What is wrong may have been found at the end of its line.
      bad.line = notes.line( true );
      throw;
   }
}

void checkMembers( const Json& object, const Vek::String& where,
                   std::initializer_list< std::string_view > known ) {
   for ( const auto& item : object.items() ) {
      if ( std::find( known.begin(), known.end(), item.key() ) == known.end() ) {
         fail( "unknown member '", where, item.key(), "'" );
      }
   }
}

const Json& member( const Json& object, const Vek::String& where, const char* name ) {
   const auto found = object.find( name );
   if ( found == object.end() ) {
      fail( "member '", where, std::string_view( name ), "' is missing" );
   }
   return *found;
}

U32 number( const Json& json, const Vek::String& name, U64 max ) {
   if ( !json.is_number_unsigned() || json.get< U64 >() > max ) {
      fail( "'", name, "' is not a whole number from 0 to ", max );
   }
   return json.get< U32 >();
}

const Vek::String& string( const Json& json, const Vek::String& name ) {
   if ( !json.is_string() ) {
      fail( "'", name, "' is not a string" );
   }
   return json.get_ref< const Vek::String& >();
}

const Json& array( const Json& json, const Vek::String& name ) {
   if ( !json.is_array() ) {
      fail( "'", name, "' is not an array" );
   }
   return json;
}

} // namespace Forms::JsonMembers
