#pragma once

#include "Osk/Types.h"

namespace Vek::detail {

// Each ends the process: an iterator was used after its collection had changed or gone, at the end,
// before the first member, or with another collection.
[[noreturn]] OSK_EXPORT void versionChanged();
[[noreturn]] OSK_EXPORT void iteratorAtEnd();
[[noreturn]] OSK_EXPORT void iteratorAtBegin();
[[noreturn]] OSK_EXPORT void iteratorOfAnother();

/// The version of a collection: a number, another one after each change.
///
/// The number has a place of its own that outlives the collection, so that an iterator can look at
/// it whatever became of what it goes over. Places are given back, never to the heap, and used
/// again with numbers that they have not had. A collection takes one with its first member.
class OSK_EXPORT Version {
public:
   constexpr Version() = default;
   Version( const Version& ) = delete;
   Version& operator=( const Version& ) = delete;
   ~Version() {
      if ( place_ != &none_ ) {
         giveBack( place_ );
      }
   }

   U64 number() const { return *place_; }

   /// To be called before the first member comes; `std::bad_alloc` when there is no memory.
   void prepare() {
      if ( place_ == &none_ ) [[unlikely]] {
         place_ = take();
      }
   }

   /// Takes note of a change; the collection has or had a member.
   void change() { *place_ += step; }

   /// The collections have exchanged their members: both have changed.
   void swap( Version& other ) noexcept;

private:
   friend class SeenVersion;

   // Numbers are 2 more than a multiple of 4: 1 more is the number that an iterator at the end
   // keeps, and a place that is free holds the address of the next one.
   static constexpr U64 step = 4;
   static constexpr U64 atEnd = 1;

   static U64* take();
   static void giveBack( U64* place );

   static U64 none_; ///< 0, the version of what has not had members yet

   U64* place_ = &none_;
};

/// What an iterator knows of the version of its collection. At the end it never agrees with it, so
/// that one comparison tells whether there is a member to look at.
class SeenVersion {
public:
   /// At the end of what nothing is known of.
   SeenVersion() : place_( &Version::none_ ), number_( Version::atEnd ) {}
   explicit SeenVersion( const Version& version )
      : place_( version.place_ ), number_( *version.place_ ) {}

   /// The collection is as it was, and the iterator is not at the end.
   void check() const {
      if ( *place_ != number_ ) [[unlikely]] {
         fail( *this );
      }
   }

   /// The same, and the collection is the one with `version`.
   void check( const Version& version ) const {
      if ( *place_ != number_ || place_ != version.place_ ) [[unlikely]] {
         fail( *this, version );
      }
   }

   /// The collection is as it was.
   void checkUnchanged() const {
      if ( isChanged() ) [[unlikely]] {
         versionChanged();
      }
   }

   void atEndIs( bool isAtEnd ) {
      number_ = isAtEnd ? number_ | Version::atEnd : number_ & ~Version::atEnd;
   }

private:
   bool isChanged() const { return *place_ != ( number_ & ~Version::atEnd ); }
   // By value: an iterator whose address is not asked for stays in registers.
   [[noreturn]] OSK_EXPORT static void fail( SeenVersion seen );
   [[noreturn]] OSK_EXPORT static void fail( SeenVersion seen, const Version& version );

   const U64* place_;
   U64 number_;
};

} // namespace Vek::detail
