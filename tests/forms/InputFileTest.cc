#include "forms/InputFile.h"

#include <gtest/gtest.h>

namespace {

using namespace Forms;

TEST( InputFile, LinesThatAreBlankOrRemarksArePassedOver ) {
   for ( const char* const line : { "", " ", "\t\r\v\f ", "#", "# 1;2;", " #", "\t # 1;2;" } ) {
      EXPECT_TRUE( isPassedOver( line ) ) << '"' << line << '"';
   }
   for ( const char* const line : { "0", " 1;2; # no remark", "*;*; #", "\x01", "\\#" } ) {
      EXPECT_FALSE( isPassedOver( line ) ) << '"' << line << '"';
   }
   EXPECT_FALSE( isPassedOver( std::string_view( "\0#", 2 ) ) );
}

TEST( InputFile, IsCalledByItsPath ) {
   const Vek::String none = "/none/such";
   const InputFile missing( none );
   EXPECT_LT( missing.fd(), 0 );
   EXPECT_EQ( missing.name(), none );
   const Vek::String dash = "-";
   const InputFile input( dash );
   EXPECT_EQ( input.fd(), 0 );
   EXPECT_EQ( input.name(), "<stdin>" );
}

} // namespace
