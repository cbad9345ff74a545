#pragma once

#include "Vek/text/Exceptions.h"

struct sockaddr;

namespace Vek::log {

/// Where a state database listens: a Unix socket, named by its path, or a TCP port of the loopback
/// interface.
class OSK_EXPORT Endpoint {
public:
   /// From a path, which holds a "/" and has at most 107 bytes, or from "127.0.0.1:PORT" with a
   /// port from 1 to 65535. `RangeException` for another text.
   explicit Endpoint( String text );

   /// Why a text is no endpoint; empty when it is one.
   static String fault( const String& text );

   const String& text() const { return text_; }
   /// Whether it is a Unix socket.
   bool isUnix() const { return port_ == 0; }

   /// Begins to connect; returns a non-blocking socket, the caller's to close. `StreamException`,
   /// "cannot connect to TEXT: REASON", when it is known that nobody listens.
   int connect() const;

   /// Returns a non-blocking socket that listens, the caller's to close. Owner and group may
   /// connect to a Unix socket; one that a process left behind when it died is replaced, while
   /// another file of that name stays as it is. Two processes that call it at once may replace each
   /// other's socket: the caller sees to it that there is only one. `StreamException`, "cannot
   /// listen on TEXT: REASON".
   int listen() const;

   /// Takes the name of a Unix socket away, if it is there and a socket.
   void remove() const;

private:
   int open() const;
   int bind( int fd ) const;
   /// `bind` or `connect` with the endpoint's address; below 0 when it failed, with `errno` set.
   int with( int ( *call )( int, const ::sockaddr*, unsigned ), int fd ) const;
   [[noreturn]] void fail( std::string_view doing ) const;

   String text_;
   U16 port_ = 0;
};

} // namespace Vek::log
