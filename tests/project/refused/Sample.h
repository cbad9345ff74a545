#pragma once

#include "Vek/collections/FlatMap.h"
#include "Vek/entity/EntityInfo.h"
#include "Vek/types/ValueInfo.h"

/// What the mistakes beside this file are made with. Each of them compiles with FIXED.
namespace Sample {

/// A value that is built from its two attributes.
class Range {
public:
   static constexpr std::string_view typeName = "Sample::Range";
   static const Vek::TypeInfo& typeInfo();

   Range() = default;
   Range( U32 min, U16 max ) : min_( min ), max_( max ) {}
   U32 min() const { return min_; }
   void minIs( U32 min ) { min_ = min; }
   U16 max() const { return max_; }
   void maxIs( U16 max ) { max_ = max; }
   bool operator==( const Range& ) const = default;

private:
   U32 min_ = 0;
   U16 max_ = 0;
};

/// Another one, with an attribute of the same name.
class Port {
public:
   static constexpr std::string_view typeName = "Sample::Port";
   static const Vek::TypeInfo& typeInfo();

   Port() = default;
   explicit Port( U16 min ) : min_( min ) {}
   U16 min() const { return min_; }
   void minIs( U16 min ) { min_ = min; }
   bool operator==( const Port& ) const = default;

private:
   U16 min_ = 0;
};

class Leaf : public Vek::EntityOf< Leaf > {
public:
   static constexpr std::string_view typeName = "Sample::Leaf";
   static const Vek::TypeInfo& type();

   Leaf( ByCreate by, U16 id ) : EntityOf( by ), id_( id ) {}

   U16 id() const { return id_; }
   U32 number() const { return number_; }
   void numberIs( U32 number );

   struct Table;

protected:
   ~Leaf() override = default;

private:
   U16 id_;
   U32 number_ = 0;
};

class Root : public Vek::EntityOf< Root, Vek::NamedEntity > {
public:
   static constexpr std::string_view typeName = "Sample::Root";
   static const Vek::TypeInfo& type();

   Root( ByCreate by, const Vek::String& name ) : EntityOf( by, name ) {}

   Vek::Ptr< Leaf > leafIs( U16 id );
   void leafDel( U16 id );
   void textIs( U16 id, const Vek::String& text );
   void textDel( U16 id );

   struct Table;

protected:
   ~Root() override = default;

private:
   Vek::FlatMap< U16, Vek::Ptr< Leaf > > leaf_;
   Vek::FlatMap< U16, Vek::String > text_;
   Vek::Ptr< Leaf > only_;
};

} // namespace Sample
