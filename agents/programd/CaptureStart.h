#pragma once

#include "agents/daemon/EventLoop.h"

#include <functional>

namespace Agents {

/// Tells when the first configuration is whole, for packets that are to meet all of it. The rules
/// come over a stream that does not say where they end, so they are whole when nothing has changed
/// for a while.
class CaptureStart final : public EventLoop::Handler {
public:
   /// How long nothing has to change.
   static constexpr std::chrono::milliseconds quiet{ 200 };
   /// How long it waits for that at most.
   static constexpr std::chrono::seconds patience{ 10 };

   /// `start` is called once, by the loop.
   CaptureStart( EventLoop& loop, std::function< void() > start,
                 EventLoop::Clock::duration atMost = patience );
   CaptureStart( const CaptureStart& ) = delete;
   CaptureStart& operator=( const CaptureStart& ) = delete;
   ~CaptureStart() { loop_.remove( *this ); }

   /// There is a configuration, and it has just changed.
   void configured();

   /// Whether there was a configuration yet.
   bool isConfigured() const { return latest_ != EventLoop::Clock::time_point::max(); }
   bool started() const { return started_; }

   int fd() const override { return -1; }
   EventLoop::Clock::time_point due() const override { return due_; }
   void ready() override;

private:
   EventLoop& loop_;
   const EventLoop::Clock::duration atMost_;
   const std::function< void() > start_;
   EventLoop::Clock::time_point due_ = EventLoop::Clock::time_point::max();
   EventLoop::Clock::time_point latest_ = EventLoop::Clock::time_point::max();
   bool started_ = false;
};

} // namespace Agents
