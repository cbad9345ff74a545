#pragma once

#include "agents/bgp/message/Open.h"
#include "agents/peerd/policy/ExportPolicy.h"
#include "agents/peerd/rib/OutRules.h"

#include <deque>

namespace Peerd {

/// What one peer was told of the rules, and what it is to be told: a queue of NLRI by their
/// numbers, in which each is once.
class PeerOut {
public:
   explicit PeerOut( OutRules& rules ) : rules_( rules ) {}
   PeerOut( const PeerOut& ) = delete;
   PeerOut& operator=( const PeerOut& ) = delete;
   ~PeerOut() { down(); }

   void policyIs( const std::optional< ExportPolicy >& policy );
   void established( const Bgp::Agreed& agreed );
   void down();
   void refresh( U8 family );

   /// What is to be announced as `nlri` is another thing, or nothing.
   void touch( OutNlri& nlri );

   bool isPending() const;
   void write( std::vector< U8 >& out, U32 limit );

   U32 announced() const { return announcedCount_; }
   bool endOfRibSent( U8 family ) const { return families_[family].endOfRibSent; }
   /// The numbers of NLRI that no message has room for.
   const std::set< U32 >& tooLong() const { return tooLong_; }

private:
   struct FamilyOut {
      bool agreed = false;
      bool endOfRibSent = false;
      bool refreshWanted = false;
      bool refreshing = false;
      /// How many of the queue are to be taken until all was told, at the begin of the session or
      /// of a refresh.
      std::optional< U64 > endAt;
   };
   // An NLRI that is taken from the queue.
   struct Item {
      OutNlri* nlri;
      bool announces;
   };

   bool wants( const OutNlri& nlri ) const;
   void pushAll( U8 family );
   void beginRefreshes( std::vector< U8 >& out );
   void endFamilies( std::vector< U8 >& out );
   void takeBatch( U32 limit );
   void writeWithdrawals( std::vector< U8 >& out );
   void writeAnnouncements( std::vector< U8 >& out );
   std::vector< U8 > attributesOf( const OutContent& content ) const;
   void announcedIs( OutNlri& nlri, bool announced );

   OutRules& rules_;
   std::optional< ExportPolicy > policy_;
   bool up_ = false;
   Bgp::Agreed agreed_;
   std::array< FamilyOut, 4 > families_;
   std::vector< bool > announced_; // by the numbers of NLRI
   std::vector< bool > pending_;   // that are in the queue
   U32 announcedCount_ = 0;
   std::deque< U32 > queue_;
   U64 taken_ = 0; // from the queue so far
   std::set< U32 > tooLong_;
   std::vector< Item > batch_;
};

} // namespace Peerd
