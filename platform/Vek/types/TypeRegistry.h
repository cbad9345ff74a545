#pragma once

#include "Vek/text/Trace.h"
#include "Vek/types/TypeInfo.h"

#include <vector>

/// The types of the process: those of every module that is loaded.
namespace Vek {

/// The types of one library, and the names that they refer to. Constant-initialised but for its
/// place in the registry.
class OSK_EXPORT Module {
public:
   /// The descriptions of a module's types.
   class Types {
   public:
      class Iterator {
      public:
         explicit Iterator( const Description* at ) : at_( at ) {}
         const TypeInfo* operator*() const { return &( *at_ )(); }
         Iterator& operator++() {
            ++at_;
            return *this;
         }
         bool operator==( const Iterator& ) const = default;

      private:
         const Description* at_;
      };

      Types( std::span< const Description > types ) : types_( types ) {}
      Iterator begin() const { return Iterator( types_.data() ); }
      Iterator end() const { return Iterator( types_.data() + types_.size() ); }
      std::size_t size() const { return types_.size(); }

   private:
      std::span< const Description > types_;
   };

   /// `types` are as `Vek::types` lists them (ValueInfo.h). `needs` names types and modules of
   /// others that must be loaded first. The arrays outlive the module.
   constexpr Module( std::string_view name, std::span< const Description > types,
                     std::span< const std::string_view > needs )
      : name_( name ), types_( types ), needs_( needs ) {}
   Module( const Module& ) = delete;
   Module& operator=( const Module& ) = delete;

   std::string_view name() const { return name_; }
   Types types() const { return { types_ }; }
   std::span< const std::string_view > needs() const { return needs_; }

   /// Marks the module as loaded: its types can be found by name. When something that it needs is
   /// not loaded, that is traced at level 0 ("<module> needs <name>, which is not loaded") and the
   /// module's entities cannot be created until it is. Loading twice changes nothing.
   void loaded();

   /// Takes the module's types out of the registry, when its library is unloaded.
   void unloaded();

   bool isLoaded() const;

   /// The names among `needs()` that are not loaded.
   std::vector< std::string_view > missing() const;

private:
   friend class TypeRegistry;

   std::string_view name_;
   std::span< const Description > types_;
   std::span< const std::string_view > needs_;
   Module* next_ = nullptr;
};

/// Look-ups over all loaded modules. Loading and look-ups are not to overlap between threads.
class OSK_EXPORT TypeRegistry {
public:
   /// The type with a name, such as "Flowspec::RuleConfig"; null when no loaded module has it.
   static const TypeInfo* find( std::string_view typeName );

   /// The module that holds a type, or the module with a name; null when there is none.
   static const Module* moduleOf( const TypeInfo& type );
   static const Module* module( std::string_view moduleName );

   /// All loaded modules, in the order in which they were loaded.
   static std::vector< const Module* > modules();

   /// All live entities of a type: how many were created and not yet destroyed.
   static U64 liveInstances( const TypeInfo& type );
};

/// The trace switch of the runtime; its records name the file "Vek".
extern OSK_EXPORT TraceHandle traceHandle;

} // namespace Vek
