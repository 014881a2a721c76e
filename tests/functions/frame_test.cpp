// The frame: version record, aligned allocator, zero fills, check chain.
#include <gtest/gtest.h>
#include <malloc.h>

#include <cstring>
#include <type_traits>
#include <vector>

#include "frame/check.h"
#include "frame/memory.h"
#include "moxj.h"
#include "support/failing_malloc.h"

namespace test {
namespace {

// ---- Version record

TEST(Version, fields) {
  const MoxLibraryVersion& version = *moxjGetLibVersion();
  EXPECT_EQ(version.major, 5);
  EXPECT_EQ(version.minor, 1);
  EXPECT_EQ(version.majorBuild, 80);
  EXPECT_EQ(version.build, 195);
  EXPECT_EQ(std::memcmp(version.targetCpu, "a6\0\0", 4), 0);
  EXPECT_STREQ(version.name, "moxja6-5.1.dll");
  EXPECT_STREQ(version.version, "v5.1");
  EXPECT_STREQ(version.buildDate, "Feb 28 2006");
}

TEST(Version, layout) {
  EXPECT_EQ(offsetof(MoxLibraryVersion, major), 0u);
  EXPECT_EQ(offsetof(MoxLibraryVersion, minor), 4u);
  EXPECT_EQ(offsetof(MoxLibraryVersion, majorBuild), 8u);
  EXPECT_EQ(offsetof(MoxLibraryVersion, build), 12u);
  EXPECT_EQ(offsetof(MoxLibraryVersion, targetCpu), 16u);
  EXPECT_EQ(offsetof(MoxLibraryVersion, name), 20u + (sizeof(void*) == 8 ? 4 : 0));
  EXPECT_EQ(offsetof(MoxLibraryVersion, version), offsetof(MoxLibraryVersion, name) + sizeof(void*));
  EXPECT_EQ(offsetof(MoxLibraryVersion, buildDate), offsetof(MoxLibraryVersion, version) + sizeof(void*));
}

TEST(Version, theSamePointerOnEveryCall) { EXPECT_EQ(moxjGetLibVersion(), moxjGetLibVersion()); }

// ---- Types that callers see

TEST(Types, sizes) {
  EXPECT_EQ(sizeof(MoxStatus), 4u);
  EXPECT_TRUE(std::is_signed_v<std::underlying_type_t<MoxStatus>>);
  EXPECT_EQ(sizeof(MoxRoiSize), 8u);
  EXPECT_EQ(offsetof(MoxRoiSize, width), 0u);
  EXPECT_EQ(offsetof(MoxRoiSize, height), 4u);
}

TEST(Types, statusValues) {
  EXPECT_EQ(moxStatusOk, 0);
  EXPECT_EQ(moxStatusDivByZero, 6);
  EXPECT_EQ(moxStatusError, -2);
  EXPECT_EQ(moxStatusBadArgument, -5);
  EXPECT_EQ(moxStatusBadSize, -6);
  EXPECT_EQ(moxStatusOutOfRange, -7);
  EXPECT_EQ(moxStatusNullPointer, -8);
  EXPECT_EQ(moxStatusNoMemory, -9);
  EXPECT_EQ(moxStatusBadStep, -14);
  EXPECT_EQ(moxStatusContextMismatch, -17);
  EXPECT_EQ(moxStatusOutOfBuffer, -62);
  EXPECT_EQ(moxStatusCoefficientRange, -63);
  EXPECT_EQ(moxStatusHuffTable, -64);
  EXPECT_EQ(moxStatusDecodeFailed, -112);
  EXPECT_EQ(moxStatusBadPassNumber, -113);
  EXPECT_EQ(moxStatusNotAttached, -180);
}

// ---- Aligned allocator

// The word before a block: the start of the heap's block.
char* rawStart(void* block) {
  char* raw;
  std::memcpy(&raw, static_cast<char*>(block) - sizeof raw, sizeof raw);
  return raw;
}

TEST(Malloc, blocksAreAlignedAndUsableToTheLastByte) {
  std::vector<void*> blocks;
  for (int32_t length = 1; length <= 300; length++) {
    void* const block = mox::moxMalloc(length);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 32, 0u) << length;
    std::memset(block, length, static_cast<size_t>(length));
    blocks.push_back(block);
  }
  for (int32_t length = 1; length <= 300; length++) {
    const uint8_t* const block = static_cast<uint8_t*>(blocks[length - 1]);
    for (int i = 0; i < length; i++) ASSERT_EQ(block[i], static_cast<uint8_t>(length)) << "block of " << length;
    mox::moxFree(blocks[length - 1]);
  }
}

// The block starts at the first multiple of 32 that leaves room before it for the start of the heap's block.
TEST(Malloc, theWordBeforeABlockHoldsTheHeapsOwnStart) {
  for (const int32_t length : {1, 31, 32, 1000, 100000}) {
    void* const block = mox::moxMalloc(length);
    ASSERT_NE(block, nullptr);
    const ptrdiff_t ahead = static_cast<char*>(block) - rawStart(block);
    EXPECT_GE(ahead, static_cast<ptrdiff_t>(sizeof(void*)));
    EXPECT_LT(ahead, static_cast<ptrdiff_t>(sizeof(void*) + 32));
    mox::moxFree(block);
  }
}

TEST(Malloc, lengthsBelowOneGiveNothing) {
  for (const int32_t length : {0, -1, -32, INT32_MIN}) EXPECT_EQ(mox::moxMalloc(length), nullptr) << length;
}

// The length of the heap's own block is beyond the largest signed 32-bit number: a sum that wraps would give a block
// far too small.
TEST(Malloc, theLargestLengthIsNotWrapped) {
  void* const block = mox::moxMalloc(INT32_MAX);
  if (!block) GTEST_SKIP() << "no 2 GB of address space";
  EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 32, 0u);
  static_cast<volatile char*>(block)[0] = 1;
  static_cast<volatile char*>(block)[INT32_MAX - 1] = 2;
  EXPECT_EQ(static_cast<volatile char*>(block)[0], 1);
  mox::moxFree(block);
}

TEST(Malloc, anExhaustedHeapGivesNothing) {
  const FailingMalloc none;
  EXPECT_EQ(mox::moxMalloc(1), nullptr);
}

TEST(Malloc, freeIgnoresNull) { mox::moxFree(nullptr); }

#if defined(__GLIBC__)
TEST(Malloc, freeGivesTheBlockBack) {
  // Sizes above those that the heap caches as if they were in use.
  const auto inUse = [] { return mallinfo2().uordblks; };
  const size_t before = inUse();
  void* const blocks[] = {mox::moxMalloc(5000), mox::moxMalloc(20000), mox::moxMalloc(100000)};
  for (void* const block : blocks) mox::moxFree(block);
  EXPECT_EQ(inUse(), before);
}
#endif

// ---- Zero fills

TEST(Zero, checksThePointerThenTheLength) {
  Mox8u bytes[2] = {1, 1};
  Mox16s words[2] = {1, 1};
  for (const int32_t bad : {0, -1, INT32_MIN}) {
    EXPECT_EQ(mox::moxZero8u(nullptr, bad), moxStatusNullPointer);
    EXPECT_EQ(mox::moxZero16s(nullptr, bad), moxStatusNullPointer);
    EXPECT_EQ(mox::moxZero8u(bytes, bad), moxStatusBadSize);
    EXPECT_EQ(mox::moxZero16s(words, bad), moxStatusBadSize);
  }
  EXPECT_EQ(mox::moxZero8u(nullptr, 1), moxStatusNullPointer);
  EXPECT_EQ(mox::moxZero16s(nullptr, 1), moxStatusNullPointer);
  EXPECT_EQ(bytes[0] + bytes[1] + words[0] + words[1], 4);
}

// Exactly the given elements, at any address.
template <class T>
void zeroFillsExactly(MoxStatus (*zero)(T*, int32_t), std::initializer_list<int32_t> counts) {
  for (const int32_t count : counts) {
    for (int offset = 0; offset < 9; offset++) {
      std::vector<Mox8u> memory(count * sizeof(T) + 64, 0xA5);
      ASSERT_EQ(zero(reinterpret_cast<T*>(memory.data() + 16 + offset), count), moxStatusOk);
      for (size_t i = 0; i < memory.size(); i++) {
        const bool inside = i >= size_t(16 + offset) && i < 16 + offset + count * sizeof(T);
        ASSERT_EQ(memory[i], inside ? 0 : 0xA5) << count << " elements, offset " << offset << ", byte " << i;
      }
    }
  }
}

TEST(Zero, fillsExactlyWhatIsAsked) {
  zeroFillsExactly<Mox8u>(mox::moxZero8u, {1, 2, 7, 8, 9, 63, 64, 65, 1000, 20479, 20480, 20481, 50000});
  zeroFillsExactly<Mox16s>(mox::moxZero16s, {1, 2, 3, 4, 5, 63, 64, 65, 1000, 10239, 10240, 10241, 25000});
}

// ---- The check chain

// The first link that fails decides; later ones are not evaluated.
constexpr mox::Check failing() { return mox::Check().steps(0).pointers(static_cast<int*>(nullptr)).length(0); }
static_assert(failing() == moxStatusBadStep);
static_assert(mox::Check() == moxStatusOk);
static_assert(mox::Check().pointers(static_cast<int*>(nullptr)).steps(0) == moxStatusNullPointer);
static_assert(mox::Check().size({0, 1}) == moxStatusBadSize && mox::Check().size({1, 0}) == moxStatusBadSize);
static_assert(mox::Check().size({1, 1}).argument(false).length(0) == moxStatusBadArgument);
// Links that look through a pointer do so only where nothing has failed.
constexpr int32_t kOne = 1;
constexpr const int32_t* kNowhere = nullptr;
static_assert(mox::Check().pointers(kNowhere).atLeast(kNowhere, 0, moxStatusBadSize) == moxStatusNullPointer);
static_assert(mox::Check().atLeast(&kOne, 1, moxStatusBadSize) == moxStatusOk);
static_assert(mox::Check().atLeast(&kOne, 2, moxStatusBadSize).argument(false) == moxStatusBadSize);
static_assert(mox::Check().steps(0).holds([] { return *kNowhere == 1; }, moxStatusBadSize) == moxStatusBadStep);
static_assert(mox::Check().holds([] { return kOne == 2; }, moxStatusNotAttached) == moxStatusNotAttached);
static_assert(mox::Check().unless(true).length(0).pointers(kNowhere) == moxStatusOk);
static_assert(mox::Check().unless(false).length(0) == moxStatusBadSize);
static_assert(mox::Check().steps(0).unless(true).length(0) == moxStatusBadStep);

}  // namespace
}  // namespace test
