#pragma once

#include "Flowspec/status/Status.h"
#include "agents/daemon/EventLoop.h"

#include <functional>

/// What became of rules, and what they count, for Prometheus: a text file for the textfile
/// collector of its node exporter.
namespace Agents {

/// At most so many rules have packets and bytes of their own: each is a series that is kept for
/// long. What the others count is told as one sum.
inline constexpr U64 maxLabelledRules = 1000;

/// The metrics of a status, whose counters are as they were last read. The rules that have their
/// own are the first ones that are in force, by VRF and key, so that a rule keeps its series while
/// those before it stay.
///
/// `programming` is how long the last change of rules took to be in force, in seconds.
Vek::String metricsText( const Flowspec::Status& status, double programming,
                         U64 maxRules = maxLabelledRules );

/// Replaces the file, which a reader sees whole, the old or the new one. The file beside it whose
/// name has ".new" at the end is used for that. `std::runtime_error`, "cannot write FILE: REASON".
void writeWhole( const Vek::String& file, std::string_view text );

/// Calls an action at even distances of time. A call that takes longer than the distance, and a
/// machine that slept, are not made up for.
class Repeat final : public EventLoop::Handler {
public:
   Repeat( EventLoop& loop, EventLoop::Clock::duration distance, std::function< void() > action );
   Repeat( const Repeat& ) = delete;
   Repeat& operator=( const Repeat& ) = delete;
   ~Repeat() { loop_.remove( *this ); }

   int fd() const override { return -1; }
   EventLoop::Clock::time_point due() const override { return due_; }
   void ready() override;

private:
   EventLoop& loop_;
   const EventLoop::Clock::duration distance_;
   const std::function< void() > action_;
   EventLoop::Clock::time_point due_;
};

} // namespace Agents
