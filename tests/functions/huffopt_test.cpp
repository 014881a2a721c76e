// Optimal Huffman tables.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <vector>

#include "moxj.h"
#include "proof/huffman.h"
#include "support/checks.h"
#include "support/guarded.h"

namespace test {
namespace {

struct Optimal {
  explicit Optimal(const std::vector<std::pair<int, int32_t>>& used) {
    for (const auto& [symbol, count] : used) counts[symbol] = count;
    build();
  }
  explicit Optimal(Random& random, int symbols, int bits) {
    for (int i = 0; i < symbols; i++)
      counts[random.below(256)] = static_cast<int32_t>(random.bits() & ((1u << random.between(1, bits)) - 1));
    build();
  }
  void build() {
    std::memset(raw.values, 0xEE, sizeof raw.values);
    status = moxiEncodeHuffmanRawTableInit_JPEG_8u(counts, raw.bits, raw.values);
  }
  int used() const { return static_cast<int>(256 - std::count(counts, counts + 256, 0)); }
  std::vector<int> bits() const { return {raw.bits, raw.bits + 16}; }
  std::vector<int> values() const { return {raw.values, raw.values + raw.count()}; }

  int32_t counts[256] = {};
  RawTable raw;
  MoxStatus status;
};

std::vector<int> bitsOf(std::initializer_list<int> first) {
  std::vector<int> bits(first);
  bits.resize(16);
  return bits;
}

TEST(OptimalTable, checksInOrder) {
  int32_t counts[256] = {1};
  Mox8u bits[16] = {9}, values[256] = {9};
  checkOrder("optimal table", moxiEncodeHuffmanRawTableInit_JPEG_8u, static_cast<const int32_t*>(counts),
             static_cast<Mox8u*>(bits), static_cast<Mox8u*>(values))
      .breaks<0>(nullptr, moxStatusNullPointer)
      .breaks<1>(nullptr, moxStatusNullPointer)
      .breaks<2>(nullptr, moxStatusNullPointer)
      .untouched(bits, sizeof bits)
      .untouched(values, sizeof values)
      .run();
}

TEST(OptimalTable, oneSymbolHasACodeOfOneBit) {
  for (const int symbol : {0, 77, 255})
    for (const int32_t count : {1, 2, 1000000000}) {
      const Optimal table({{symbol, count}});
      EXPECT_EQ(table.status, moxStatusOk);
      EXPECT_EQ(table.bits(), bitsOf({1}));
      EXPECT_EQ(table.values(), std::vector<int>{symbol});
    }
}

TEST(OptimalTable, twoSymbols) {
  const Optimal table({{4, 5}, {9, 3}});
  EXPECT_EQ(table.bits(), bitsOf({1, 1}));
  EXPECT_EQ(table.values(), (std::vector<int>{4, 9}));
  const Optimal other({{4, 3}, {9, 5}});
  EXPECT_EQ(other.bits(), bitsOf({1, 1}));
  EXPECT_EQ(other.values(), (std::vector<int>{9, 4}));
}

// Of equal frequencies the last symbols are merged first, so they get the longer codes.
TEST(OptimalTable, tiesGoToTheHigherIndex) {
  const Optimal three({{1, 1}, {2, 1}, {3, 1}});  // with the reserved one four equals
  EXPECT_EQ(three.bits(), bitsOf({0, 3}));
  EXPECT_EQ(three.values(), (std::vector<int>{1, 2, 3}));
  const Optimal four({{1, 1}, {2, 1}, {3, 1}, {4, 1}});  // the group of 4 and the reserved one joins 1
  EXPECT_EQ(four.bits(), bitsOf({0, 3, 1}));
  EXPECT_EQ(four.values(), (std::vector<int>{1, 2, 3, 4}));
}

TEST(OptimalTable, withoutFrequenciesThereAreNoCodes) {
  const Optimal none(std::vector<std::pair<int, int32_t>>{});
  EXPECT_EQ(none.status, moxStatusOk);
  EXPECT_EQ(none.bits(), bitsOf({}));
  EXPECT_EQ(none.raw.values[0], 0xEE);
}

std::vector<std::pair<int, int32_t>> fibonacci(int symbols) {
  std::vector<std::pair<int, int32_t>> used;
  int32_t a = 1, b = 1;
  for (int i = 0; i < symbols; i++) {
    used.push_back({i, b});
    a = std::exchange(b, a + b);
  }
  return used;
}

// With Fibonacci numbers every symbol that comes takes one bit more; the reserved one shares the longest length.
TEST(OptimalTable, skewedFrequenciesEndAtSixteenBits) {
  for (int symbols = 1; symbols <= 32; symbols++) {
    const Optimal table(fibonacci(symbols));
    ASSERT_EQ(table.status, moxStatusOk) << symbols;
    EXPECT_EQ(table.raw.count(), symbols);
    int longest = 16;
    while (table.raw.bits[longest - 1] == 0) longest--;
    EXPECT_EQ(longest, std::min(symbols, 16));
    for (int i = 0; i < symbols; i++) EXPECT_EQ(table.raw.values[i], symbols - 1 - i);
    EXPECT_EQ(EncodeTable(table.raw).status, moxStatusOk) << symbols;
  }
  // 17 bits: two codes of 17 become one of 16, and another one of 16 pairs with a code that was 15 bits long.
  const Optimal seventeen(fibonacci(17));
  EXPECT_EQ(seventeen.bits(), bitsOf({1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 3}));
}

TEST(OptimalTable, sizesAbove32Fail) {
  Optimal table(fibonacci(33));
  EXPECT_EQ(table.status, moxStatusHuffTable);
  EXPECT_EQ(table.bits(), bitsOf({})) << "nothing is written";
  EXPECT_EQ(table.raw.values[0], 0xEE);
  EXPECT_EQ(Optimal(fibonacci(40)).status, moxStatusHuffTable);
}

// Frequencies and sums beyond the bound count as the bound, negative ones as 0: the table is still one that codes
// them all.
TEST(OptimalTable, frequenciesAreHeldToTheirRange) {
  const Optimal huge({{1, INT32_MAX}, {2, INT32_MAX}, {3, 1000000001}, {4, 999999999}, {5, -1}, {6, INT32_MIN}});
  EXPECT_EQ(huge.status, moxStatusOk);
  std::vector<int> values = huge.values();
  std::sort(values.begin(), values.end());
  EXPECT_EQ(values, (std::vector<int>{1, 2, 3, 4}));
  EXPECT_EQ(EncodeTable(huge.raw).status, moxStatusOk);
  const Optimal sums({{1, 600000000}, {2, 600000000}, {3, 600000000}, {4, 600000000}});
  EXPECT_EQ(sums.raw.count(), 4);
  EXPECT_EQ(EncodeTable(sums.raw).status, moxStatusOk);
}

TEST(OptimalTable, everySymbolUsedEquallyOften) {
  Optimal table(std::vector<std::pair<int, int32_t>>{});
  for (int32_t& c : table.counts) c = 7;
  table.build();
  EXPECT_EQ(table.bits(), bitsOf({0, 0, 0, 0, 0, 0, 0, 255, 1}));
  EXPECT_EQ(EncodeTable(table.raw).status, moxStatusOk);
}

// Any frequencies: a table that the encoder takes, exactly the symbols that occur, longer codes for rarer symbols where
// no length is limited, and no entry written past the last.
TEST(OptimalTable, randomFrequencies) {
  Random random(21);
  for (int n = 0; n < 3000; n++) {
    const Optimal table(random, random.between(1, 300), random.between(1, 22));
    ASSERT_EQ(table.status, moxStatusOk);
    const int used = table.used();
    ASSERT_EQ(table.raw.count(), used);
    if (used == 0) continue;
    ASSERT_EQ(EncodeTable(table.raw).status, moxStatusOk);
    std::vector<bool> seen(256);
    std::vector<int> sizes;
    for (int length = 1; length <= 16; length++) sizes.insert(sizes.end(), table.raw.bits[length - 1], length);
    for (int k = 0; k < used; k++) {
      ASSERT_FALSE(seen[table.raw.values[k]]);
      seen[table.raw.values[k]] = true;
      ASSERT_GT(table.counts[table.raw.values[k]], 0);
      for (int j = 0; j < k && sizes.back() < 16; j++)
        if (sizes[static_cast<size_t>(j)] < sizes[static_cast<size_t>(k)]) {
          ASSERT_GE(table.counts[table.raw.values[j]], table.counts[table.raw.values[k]]);
        }
    }
    for (int k = used; k < 256; k++) ASSERT_EQ(table.raw.values[k], 0xEE);
  }
}

// The cost is the least that any code without the all-ones code can have: Huffman's own, computed by another way, as
// long as no length is limited.
TEST(OptimalTable, costIsHuffmans) {
  Random random(22);
  for (int n = 0; n < 500; n++) {
    const Optimal table(random, random.between(1, 256), 10);
    int64_t cost = 0;
    for (int length = 1, k = 0; length <= 16; length++)
      for (int i = 0; i < table.raw.bits[length - 1]; i++, k++)
        cost += int64_t{length} * table.counts[table.raw.values[k]];
    // The sum over all merges of what they merge; the reserved symbol costs its length, which is a longest one.
    std::vector<int64_t> heap(table.counts, table.counts + 256);
    std::erase(heap, 0);
    if (heap.empty()) continue;
    heap.push_back(1);
    int64_t least = 0;
    while (heap.size() > 1) {
      std::sort(heap.begin(), heap.end(), std::greater<>());
      const int64_t a = heap.back();
      heap.pop_back();
      least += a + heap.back();
      heap.back() += a;
    }
    int longest = 16;
    while (table.raw.bits[longest - 1] == 0) longest--;
    // The reserved symbol may have been the only one of its length.
    EXPECT_GE(cost, least - longest - 1);
    EXPECT_LE(cost, least - longest);
  }
}

TEST(OptimalTable, guardPages) {
  GuardedMemory countsMemory(1024), bitsMemory(16), valuesMemory(256);
  int32_t* const counts = countsMemory.atEnd<int32_t>(256);
  Mox8u* const bits = bitsMemory.atEnd<Mox8u>(16);
  Random random(23);
  for (int n = 0; n < 200; n++) {
    int used = 0;
    for (int i = 0; i < 256; i++) used += (counts[i] = random.oneIn(3) ? random.below(1000) : 0) != 0;
    Mox8u* const values = valuesMemory.atEnd<Mox8u>(static_cast<size_t>(used));
    ASSERT_EQ(moxiEncodeHuffmanRawTableInit_JPEG_8u(counts, bits, values), moxStatusOk);
    ASSERT_EQ(std::accumulate(bits, bits + 16, 0), used);
  }
}

}  // namespace
}  // namespace test
