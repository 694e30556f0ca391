// MD5 names of cached images.
#include "transport/QDXmd5.h"

#include <gtest/gtest.h>

namespace qdx {
namespace {

// RFC 1321 test suite, in uppercase hex; the text ends at its first zero
// byte, as a C string does.
TEST(Md5, Rfc1321VectorsUpToTheFirstZeroByte) {
  EXPECT_EQ("D41D8CD98F00B204E9800998ECF8427E", QDXmd5::md5(""));
  EXPECT_EQ("900150983CD24FB0D6963F7D28E17F72", QDXmd5::md5("abc"));
  EXPECT_EQ("900150983CD24FB0D6963F7D28E17F72", QDXmd5::md5(std::string("abc\0def", 7)));
  EXPECT_EQ("F96B697D7CB7938D525A2F31AAF161D0", QDXmd5::md5("message digest"));
  EXPECT_EQ("57EDF4A22BE3C955AC49DA2E2107B67A",
            QDXmd5::md5("1234567890123456789012345678901234567890"
                        "1234567890123456789012345678901234567890"));
}

}  // namespace
}  // namespace qdx
