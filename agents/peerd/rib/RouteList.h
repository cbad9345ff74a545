#pragma once

namespace Peerd {

struct Route;

/// Where a route stands in a list.
struct RouteLinks {
   Route* before = nullptr;
   Route* after = nullptr;
};

/// A list through one of the links of its members.
template < typename T, RouteLinks T::*links >
class RouteList {
public:
   T* first() const { return first_; }
   static T* after( const T& member ) { return ( member.*links ).after; }

   void push( T& member ) {
      ( member.*links ) = { last_, nullptr };
      ( last_ ? ( last_->*links ).after : first_ ) = &member;
      last_ = &member;
   }

   /// Removes a member of this list.
   void erase( T& member ) {
      const auto [before, after] = member.*links;
      ( before ? ( before->*links ).after : first_ ) = after;
      ( after ? ( after->*links ).before : last_ ) = before;
   }

private:
   T* first_ = nullptr;
   T* last_ = nullptr;
};

} // namespace Peerd
