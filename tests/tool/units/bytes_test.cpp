// Bytes, the growable buffer, and its allocation functions.
#include "base/bytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

namespace moxj {
namespace {

TEST(Bytes, GrowsAndKeepsWhatIsThere) {
  Bytes bytes;
  EXPECT_TRUE(bytes.empty());
  for (int i = 0; i < 100000; ++i) bytes.push_back(static_cast<std::uint8_t>(i * 7));
  const std::uint8_t tail[] = {1, 2, 3};
  bytes.append(tail, 3);
  bytes.append({tail, 2});
  bytes.append(nullptr, 0);
  ASSERT_EQ(bytes.size(), 100005u);
  for (int i = 0; i < 100000; ++i) ASSERT_EQ(bytes[i], static_cast<std::uint8_t>(i * 7));
  EXPECT_EQ(bytes[100002], 3);
  EXPECT_EQ(bytes[100004], 2);
}

TEST(Bytes, KeepsItsBytesAcrossHugePages) {
  Bytes bytes(3000);
  std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
  bytes.resize(50000000);
  bytes[49999999] = 1;
  for (int i = 0; i < 3000; ++i) ASSERT_EQ(bytes[i], static_cast<std::uint8_t>(i));
  bytes.resize(10);
  EXPECT_EQ(bytes.size(), 10u);
  EXPECT_GE(bytes.capacity(), 50000000u);
}

TEST(Bytes, MovesLeaveNothingBehind) {
  Bytes from(5);
  from[4] = 9;
  Bytes to(std::move(from));
  EXPECT_EQ(from.size(), 0u);
  EXPECT_EQ(from.capacity(), 0u);
  EXPECT_EQ(to[4], 9);
  from.push_back(1);  // it can be used again
  from = std::move(to);
  EXPECT_EQ(to.size(), 0u);
  EXPECT_EQ(from.size(), 5u);
  const std::uint8_t* const data = from.data();
  const std::shared_ptr<void> owner = from.release();
  EXPECT_EQ(owner.get(), data);
  EXPECT_TRUE(from.empty());
}

TEST(Bytes, EverySizeCanBeFilled) {
  for (const Filling filling : {Filling::partly, Filling::whole}) {
    for (const std::size_t count : {0, 1, 4095, 131071, 131072, 524287, 524288, 2097152, 4194303, 4194305}) {
      std::uint8_t* const bytes = static_cast<std::uint8_t*>(allocateBytes(count, filling));
      std::fill_n(bytes, count, std::uint8_t{1});
      freeBytes(bytes);
    }
  }
}

TEST(Bytes, RefusesWhatNoMemoryHolds) {
  for (const Filling filling : {Filling::partly, Filling::whole}) {
    EXPECT_THROW(allocateBytes(SIZE_MAX, filling), std::bad_alloc);
    EXPECT_THROW(allocateBytes(PTRDIFF_MAX, filling), std::bad_alloc);
  }
  Bytes bytes(3);
  EXPECT_THROW(bytes.resize(SIZE_MAX), std::bad_alloc);
  EXPECT_EQ(bytes.size(), 3u);
}

}  // namespace
}  // namespace moxj
