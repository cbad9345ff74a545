#pragma once

#include "bench/log/Records.h"

#include <memory>
#include <span>
#include <string>

namespace Bench {

/// A record as FlatBuffers encode it. A builder is kept, as its users keep one.
class FlatCodec {
public:
   FlatCodec();
   ~FlatCodec();

   /// The encoding, until the next call.
   std::span< const U8 > encode( const Record& record );

   /// Verifies and reads an encoding; false when it is none.
   static bool decode( std::span< const U8 > bytes, Record& record );

private:
   struct Builder;
   std::unique_ptr< Builder > builder_;
};

/// The same as Protocol Buffers encode it. The messages are kept, so that their memory is.
class ProtoCodec {
public:
   ProtoCodec();
   ~ProtoCodec();

   /// Appends the encoding to `out`.
   void encode( const Record& record, std::string& out );

   bool decode( std::span< const U8 > bytes, Record& record );

private:
   struct Message;
   std::unique_ptr< Message > message_;
};

} // namespace Bench
