#pragma once

#include "Vek/text/Trace.h"

#include <initializer_list>
#include <vector>

namespace TestSupport {

/// Collects the process's trace records while it lives. At its end the default sink is back and
/// the levels that it turned on are as they were before. Records of other handles and levels that
/// are on are collected as well. Not to be nested.
class TraceRecorder {
public:
   /// A record whose texts are owned.
   struct Record {
      unsigned level;
      Vek::String file;
      unsigned line;
      Vek::String function;
      Vek::String text;
   };

   /// Turns `levels` of `handle`, which outlives the recorder, on.
   TraceRecorder( Vek::TraceHandle& handle, std::initializer_list< unsigned > levels )
      : handle_( handle ) {
      for ( const unsigned level : levels ) {
         if ( !handle.levelIsOn( level ) ) {
            handle.levelIs( level, true );
            turnedOn_.push_back( level );
         }
      }
      Vek::traceSinkIs( collect, this );
   }

   TraceRecorder( const TraceRecorder& ) = delete;
   TraceRecorder& operator=( const TraceRecorder& ) = delete;

   ~TraceRecorder() {
      Vek::traceSinkIs( nullptr );
      for ( const unsigned level : turnedOn_ ) {
         handle_.levelIs( level, false );
      }
   }

   const std::vector< Record >& records() const { return records_; }

   /// The texts of the records, in the order of writing.
   std::vector< Vek::String > texts() const {
      std::vector< Vek::String > result;
      for ( const Record& record : records_ ) {
         result.push_back( record.text );
      }
      return result;
   }

   /// Forgets what was collected.
   void clear() { records_.clear(); }

private:
   static void collect( const Vek::TraceRecord& record, void* recorder ) {
      static_cast< TraceRecorder* >( recorder )
         ->records_.push_back( { record.level, Vek::String( record.file ), record.line,
                                 Vek::String( record.function ), Vek::String( record.text ) } );
   }

   Vek::TraceHandle& handle_;
   std::vector< unsigned > turnedOn_;
   std::vector< Record > records_;
};

} // namespace TestSupport
