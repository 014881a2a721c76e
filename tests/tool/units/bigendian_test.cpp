// Big-endian numbers.
#include "base/bigendian.h"

#include <gtest/gtest.h>

namespace moxj {
namespace {

TEST(BigEndian, NumbersAreWrittenAndReadBack) {
  Bytes bytes;
  ByteWriter out(bytes);
  out.u8(0x12);
  out.u16(0x3456);
  out.u32(0x789ABCDEu);
  out.number(0x010203, 3);
  out.u16(-2);
  EXPECT_EQ(std::vector<int>(bytes.begin(), bytes.end()),
            (std::vector<int>{0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 1, 2, 3, 0xFF, 0xFE}));
  ByteReader in({bytes.data(), bytes.size()}, "the list");
  EXPECT_EQ(in.peek(), 0x12);
  EXPECT_EQ(in.u8(), 0x12);
  EXPECT_EQ(in.u16(), 0x3456);
  EXPECT_EQ(in.u32(), 0x789ABCDEu);
  EXPECT_EQ(in.number(3), 0x010203u);
  EXPECT_EQ(in.take(2).size(), 2u);
  EXPECT_TRUE(in.empty());
  EXPECT_EQ(in.peek(), 0);
}

TEST(BigEndian, TooFewBytesAreDamage) {
  const std::uint8_t bytes[] = {1, 2, 3};
  ByteReader in(bytes, "the list", "is too short");
  try {
    in.u32();
    ADD_FAILURE();
  } catch (const Problem& problem) {
    EXPECT_EQ(problem.kind, Kind::damaged);
    EXPECT_STREQ(problem.what(), "the list is too short");
  }
  EXPECT_EQ(in.left(), 3u);  // nothing was taken
}

}  // namespace
}  // namespace moxj
