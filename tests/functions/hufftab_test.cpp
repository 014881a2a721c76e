// The objects of the Huffman coders: sizes, layouts, builders, life cycle.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "moxj.h"
#include "proof/huffman.h"
#include "support/checks.h"
#include "support/failing_malloc.h"
#include "support/guarded.h"

namespace test {
namespace {

constexpr int kSymbol = 0, kFast = 512, kFirstCode = 1536, kLastCode = 1572, kFirstIndex = 1608, kFill = 1642;

uint16_t half(const uint8_t* object, int offset) {
  uint16_t v;
  std::memcpy(&v, object + offset, 2);
  return v;
}
uint32_t word(const uint8_t* object, int offset) {
  uint32_t v;
  std::memcpy(&v, object + offset, 4);
  return v;
}

RawTable counts(std::initializer_list<int> bits) {
  RawTable table;
  int i = 0;
  for (const int b : bits) table.bits[i++] = static_cast<Mox8u>(b);
  for (i = 0; i < 256; i++) table.values[i] = static_cast<Mox8u>(i * 7 + 3);
  return table;
}

TEST(HuffmanObjects, sizesAreThoseOf32BitMachinesEverywhere) {
  const struct {
    const char* name;
    MoxStatus (*size)(int32_t*);
    int32_t expected;
  } objects[] = {{"encoder table", moxiEncodeHuffmanSpecGetBufSize_JPEG_8u, 1024},
                 {"decoder table", moxiDecodeHuffmanSpecGetBufSize_JPEG_8u, 1644},
                 {"encoder state", moxiEncodeHuffmanStateGetBufSize_JPEG_8u, 1048},
                 {"decoder state", moxiDecodeHuffmanStateGetBufSize_JPEG_8u, 24}};
  for (const auto& object : objects) {
    int32_t size = -1;
    EXPECT_EQ(object.size(&size), moxStatusOk) << object.name;
    EXPECT_EQ(size, object.expected) << object.name;
    checkOrder(object.name, object.size, &size).breaks<0>(nullptr, moxStatusNullPointer).run();
  }
}

TEST(HuffmanObjects, checksInOrder) {
  RawTable raw = typicalDC();
  std::vector<uint8_t> memory(2048, 0xA5);
  MoxEncodeHuffmanSpec* const encodeSpec = reinterpret_cast<MoxEncodeHuffmanSpec*>(memory.data());
  MoxDecodeHuffmanSpec* const decodeSpec = reinterpret_cast<MoxDecodeHuffmanSpec*>(memory.data());
  const Mox8u* const bits = raw.bits;
  const Mox8u* const values = raw.values;
  const auto threePointers = [&](const char* name, auto function, auto* object) {
    checkOrder(name, function, bits, values, object)
        .template breaks<0>(nullptr, moxStatusNullPointer)
        .template breaks<1>(nullptr, moxStatusNullPointer)
        .template breaks<2>(nullptr, moxStatusNullPointer)
        .untouched(memory.data(), memory.size())
        .run();
  };
  threePointers("encoder Init", moxiEncodeHuffmanSpecInit_JPEG_8u, encodeSpec);
  threePointers("decoder Init", moxiDecodeHuffmanSpecInit_JPEG_8u, decodeSpec);
  MoxEncodeHuffmanSpec* newEncodeSpec = nullptr;
  threePointers("encoder InitAlloc", moxiEncodeHuffmanSpecInitAlloc_JPEG_8u, &newEncodeSpec);
  EXPECT_EQ(moxiEncodeHuffmanSpecFree_JPEG_8u(newEncodeSpec), moxStatusOk);
  MoxDecodeHuffmanSpec* newDecodeSpec = nullptr;
  threePointers("decoder InitAlloc", moxiDecodeHuffmanSpecInitAlloc_JPEG_8u, &newDecodeSpec);
  EXPECT_EQ(moxiDecodeHuffmanSpecFree_JPEG_8u(newDecodeSpec), moxStatusOk);

  EXPECT_EQ(moxiEncodeHuffmanSpecFree_JPEG_8u(nullptr), moxStatusNullPointer);
  EXPECT_EQ(moxiDecodeHuffmanSpecFree_JPEG_8u(nullptr), moxStatusNullPointer);
  EXPECT_EQ(moxiEncodeHuffmanStateFree_JPEG_8u(nullptr), moxStatusNullPointer);
  EXPECT_EQ(moxiDecodeHuffmanStateFree_JPEG_8u(nullptr), moxStatusNullPointer);
  EXPECT_EQ(moxiEncodeHuffmanStateInit_JPEG_8u(nullptr), moxStatusNullPointer);
  EXPECT_EQ(moxiDecodeHuffmanStateInit_JPEG_8u(nullptr), moxStatusNullPointer);
  EXPECT_EQ(moxiEncodeHuffmanStateInitAlloc_JPEG_8u(nullptr), moxStatusNullPointer);
  EXPECT_EQ(moxiDecodeHuffmanStateInitAlloc_JPEG_8u(nullptr), moxStatusNullPointer);
}

template <class Object, class InitAlloc>
void failsToAllocate(InitAlloc initAlloc) {
  Object* const before = reinterpret_cast<Object*>(uintptr_t{64});
  Object* object = before;
  MoxStatus status;
  {
    const FailingMalloc failing;
    status = initAlloc(&object);
  }
  EXPECT_EQ(status, moxStatusNullPointer);
  EXPECT_EQ(object, before);
}

TEST(HuffmanObjects, failedAllocationIsANullPointerAndLeavesTheOutput) {
  const RawTable raw = typicalDC();
  failsToAllocate<MoxEncodeHuffmanSpec>(
      [&](auto** spec) { return moxiEncodeHuffmanSpecInitAlloc_JPEG_8u(raw.bits, raw.values, spec); });
  failsToAllocate<MoxDecodeHuffmanSpec>(
      [&](auto** spec) { return moxiDecodeHuffmanSpecInitAlloc_JPEG_8u(raw.bits, raw.values, spec); });
  failsToAllocate<MoxEncodeHuffmanState>(moxiEncodeHuffmanStateInitAlloc_JPEG_8u);
  failsToAllocate<MoxDecodeHuffmanState>(moxiDecodeHuffmanStateInitAlloc_JPEG_8u);
}

TEST(HuffmanObjects, allocatedTablesEqualThoseInCallerMemory) {
  const RawTable raw = typicalAC();
  MoxEncodeHuffmanSpec* encodeSpec = nullptr;
  MoxDecodeHuffmanSpec* decodeSpec = nullptr;
  ASSERT_EQ(moxiEncodeHuffmanSpecInitAlloc_JPEG_8u(raw.bits, raw.values, &encodeSpec), moxStatusOk);
  ASSERT_EQ(moxiDecodeHuffmanSpecInitAlloc_JPEG_8u(raw.bits, raw.values, &decodeSpec), moxStatusOk);
  EXPECT_EQ(std::memcmp(encodeSpec, EncodeTable(raw).bytes, 1024), 0);
  EXPECT_EQ(std::memcmp(decodeSpec, DecodeTable(raw).bytes, 1644), 0);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(encodeSpec) % 32, 0u);
  EXPECT_EQ(moxiEncodeHuffmanSpecFree_JPEG_8u(encodeSpec), moxStatusOk);
  EXPECT_EQ(moxiDecodeHuffmanSpecFree_JPEG_8u(decodeSpec), moxStatusOk);
}

TEST(HuffmanObjects, tableThatCannotBeBuiltIsHandedOutAllTheSame) {
  const RawTable overFull = counts({2}), tooMany = counts({0, 0, 0, 0, 0, 0, 0, 0, 255, 2});
  MoxEncodeHuffmanSpec* encodeSpec = nullptr;
  EXPECT_EQ(moxiEncodeHuffmanSpecInitAlloc_JPEG_8u(overFull.bits, overFull.values, &encodeSpec), moxStatusHuffTable);
  ASSERT_NE(encodeSpec, nullptr);
  EXPECT_EQ(moxiEncodeHuffmanSpecFree_JPEG_8u(encodeSpec), moxStatusOk);
  MoxDecodeHuffmanSpec* decodeSpec = nullptr;
  EXPECT_EQ(moxiDecodeHuffmanSpecInitAlloc_JPEG_8u(tooMany.bits, tooMany.values, &decodeSpec), moxStatusHuffTable);
  ASSERT_NE(decodeSpec, nullptr);
  EXPECT_EQ(moxiDecodeHuffmanSpecFree_JPEG_8u(decodeSpec), moxStatusOk);
}

TEST(HuffmanObjects, failedBuildLeavesAnEmptyObject) {
  const RawTable tooMany = counts({0, 0, 0, 0, 0, 0, 0, 0, 255, 2});
  std::vector<uint8_t> memory(1644, 0xA5);
  EXPECT_EQ(moxiEncodeHuffmanSpecInit_JPEG_8u(tooMany.bits, tooMany.values,
                                              reinterpret_cast<MoxEncodeHuffmanSpec*>(memory.data())),
            moxStatusHuffTable);
  for (int i = 0; i < 1644; i++) ASSERT_EQ(memory[i], i < 1024 ? 0 : 0xA5);
  EXPECT_EQ(moxiDecodeHuffmanSpecInit_JPEG_8u(tooMany.bits, tooMany.values,
                                              reinterpret_cast<MoxDecodeHuffmanSpec*>(memory.data())),
            moxStatusHuffTable);
  for (int i = 0; i < 1644; i++) ASSERT_EQ(memory[i], 0);
}

TEST(HuffmanObjects, emptyTableIsValid) {
  const RawTable empty;
  EncodeTable encode(empty);
  DecodeTable decode(empty);
  EXPECT_EQ(encode.status, moxStatusOk);
  EXPECT_EQ(decode.status, moxStatusOk);
  for (int i = 0; i < 1024; i++) ASSERT_EQ(encode.bytes[i], 0);
  EXPECT_EQ(half(decode.bytes, kLastCode), 0);
  for (int length = 1; length <= 17; length++) EXPECT_EQ(half(decode.bytes, kLastCode + 2 * length), 0xFFFF);
}

TEST(HuffmanObjects, oneCodeOfLengthOne) {
  const RawTable raw = counts({1});
  EncodeTable encode(raw);
  DecodeTable decode(raw);
  EXPECT_EQ(encode.status, moxStatusOk);
  EXPECT_EQ(word(encode.bytes, 4 * 3), 0x10000u);
  EXPECT_EQ(decode.status, moxStatusOk);
  for (int i = 0; i < 256; i++) EXPECT_EQ(word(decode.bytes, kFast + 4 * i), i < 128 ? 0x10003u : 0u);
}

TEST(HuffmanObjects, onlyTheDecoderTakesAnAllOnesCode) {
  const RawTable raw = counts({2});
  EXPECT_EQ(EncodeTable(raw).status, moxStatusHuffTable);
  DecodeTable decode(raw);
  EXPECT_EQ(decode.status, moxStatusOk);
  EXPECT_EQ(word(decode.bytes, kFast + 4 * 255), 0x10000u | raw.values[1]);
  EXPECT_EQ(half(decode.bytes, kLastCode + 2), 1);
}

TEST(HuffmanObjects, countsOf256AreTakenAnd257RefusedBeforeMoreIsRead) {
  RawTable full = counts({0, 0, 0, 0, 0, 0, 0, 0, 100, 100, 56});
  EXPECT_EQ(EncodeTable(full).status, moxStatusOk);
  EXPECT_EQ(DecodeTable(full).status, moxStatusOk);
  full.bits[10] = 57;
  EXPECT_EQ(EncodeTable(full).status, moxStatusHuffTable);
  EXPECT_EQ(DecodeTable(full).status, moxStatusHuffTable);
  // The counts after the offending one lie past the page, and so do all values.
  GuardedMemory memory(4096);
  Mox8u* const bits = memory.atEnd<Mox8u>(11);
  std::memcpy(bits, full.bits, 11);
  uint8_t object[1644];
  EXPECT_EQ(moxiEncodeHuffmanSpecInit_JPEG_8u(bits, bits + 11, reinterpret_cast<MoxEncodeHuffmanSpec*>(object)),
            moxStatusHuffTable);
  EXPECT_EQ(moxiDecodeHuffmanSpecInit_JPEG_8u(bits, bits + 11, reinterpret_cast<MoxDecodeHuffmanSpec*>(object)),
            moxStatusHuffTable);
}

TEST(HuffmanObjects, codesFollowAnnexC) {
  const RawTable raw = typicalAC();
  EncodeTable encode(raw);
  DecodeTable decode(raw);
  ASSERT_EQ(encode.status, moxStatusOk);
  ASSERT_EQ(decode.status, moxStatusOk);
  EXPECT_EQ(word(encode.bytes, 0), 0x4000Au);          // EOB: 1010
  EXPECT_EQ(word(encode.bytes, 4 * 0xF0), 0xB07F9u);   // ZRL: 11111111001
  EXPECT_EQ(word(encode.bytes, 4 * 0x01), 0x20000u);   // 00
  EXPECT_EQ(word(encode.bytes, 4 * 0xFA), 0x10FFFEu);  // 1111111111111110
  EXPECT_EQ(word(encode.bytes, 4 * 0xFB), 0u);         // not coded

  uint32_t code = 0;
  int k = 0;
  for (int length = 1; length <= 16; length++, code <<= 1) {
    const int here = raw.bits[length - 1];
    if (here == 0) {
      EXPECT_EQ(half(decode.bytes, kLastCode + 2 * length), 0xFFFF);
      EXPECT_EQ(half(decode.bytes, kFirstCode + 2 * length), 0);
      EXPECT_EQ(half(decode.bytes, kFirstIndex + 2 * length), 0);
      continue;
    }
    EXPECT_EQ(half(decode.bytes, kFirstCode + 2 * length), code);
    EXPECT_EQ(half(decode.bytes, kFirstIndex + 2 * length), k);
    EXPECT_EQ(half(decode.bytes, kLastCode + 2 * length), code + here - 1);
    for (int i = 0; i < here; i++, k++, code++) {
      EXPECT_EQ(word(encode.bytes, 4 * raw.values[k]), static_cast<uint32_t>(length) << 16 | code);
      EXPECT_EQ(half(decode.bytes, kSymbol + 2 * k), raw.values[k]);
    }
  }
  for (; k < 256; k++) EXPECT_EQ(half(decode.bytes, kSymbol + 2 * k), 0);
  EXPECT_EQ(half(decode.bytes, kLastCode), 0);
  EXPECT_EQ(half(decode.bytes, kLastCode + 34), 0xFFFF);
  EXPECT_EQ(half(decode.bytes, kFill), 0);
}

TEST(HuffmanObjects, longCodesLeaveTheFastTableAtZero) {
  const RawTable raw = counts({0, 1, 0, 0, 0, 0, 0, 0, 1});  // 00 and 010000000
  DecodeTable decode(raw);
  for (int i = 0; i < 256; i++) EXPECT_EQ(word(decode.bytes, kFast + 4 * i), i < 64 ? 0x20003u : 0u);
  EXPECT_EQ(half(decode.bytes, kFirstCode + 18), 0x80);
  EXPECT_EQ(half(decode.bytes, kLastCode + 18), 0x80);
  EXPECT_EQ(half(decode.bytes, kFirstIndex + 18), 1);
}

TEST(HuffmanObjects, repeatedValueKeepsTheLaterCode) {
  RawTable raw = counts({0, 2});
  raw.values[0] = raw.values[1] = 9;
  EXPECT_EQ(word(EncodeTable(raw).bytes, 36), 0x20001u);
}

// Any counts at all: the builders write the object alone, at any alignment.
TEST(HuffmanObjects, overFullDecoderTablesStayInside) {
  Random random(3);
  GuardedMemory memory(1644);
  for (int i = 0; i < 2000; i++) {
    RawTable raw;
    int left = 256;
    for (Mox8u& b : raw.bits)
      left -= b = static_cast<Mox8u>(random.oneIn(2) ? 0 : random.below(std::min(left, 255) + 1));
    fill(random, Filling::any, raw.values, 256);
    uint8_t* const object = memory.atEnd<uint8_t>(1644);
    ASSERT_EQ(moxiDecodeHuffmanSpecInit_JPEG_8u(raw.bits, raw.values, reinterpret_cast<MoxDecodeHuffmanSpec*>(object)),
              moxStatusOk);
    for (int L = 1; L <= 16; L++) ASSERT_EQ(half(object, kLastCode + 2 * L) == 0xFFFF, raw.bits[L - 1] == 0);
    ASSERT_EQ(half(object, kFill), 0);
    uint8_t shifted[1645];
    ASSERT_EQ(
        moxiDecodeHuffmanSpecInit_JPEG_8u(raw.bits, raw.values, reinterpret_cast<MoxDecodeHuffmanSpec*>(shifted + 1)),
        moxStatusOk);
    ASSERT_EQ(std::memcmp(object, shifted + 1, 1644), 0);
  }
}

TEST(HuffmanObjects, initLeavesTheLastWordOfAStateAlone) {
  GuardedMemory memory(1048);
  uint8_t* const encoder = memory.atEnd<uint8_t>(1049);  // unaligned
  std::memset(encoder, 0xA5, 1048);
  ASSERT_EQ(moxiEncodeHuffmanStateInit_JPEG_8u(reinterpret_cast<MoxEncodeHuffmanState*>(encoder)), moxStatusOk);
  for (int i = 0; i < 1048; i++) ASSERT_EQ(encoder[i], i < 1044 ? 0 : 0xA5);
  uint8_t decoder[25];
  std::memset(decoder, 0xA5, 25);
  ASSERT_EQ(moxiDecodeHuffmanStateInit_JPEG_8u(reinterpret_cast<MoxDecodeHuffmanState*>(decoder + 1)), moxStatusOk);
  for (int i = 0; i < 25; i++) ASSERT_EQ(decoder[i], i >= 1 && i < 21 ? 0 : 0xA5);
}

TEST(HuffmanObjects, allocatedStatesAreCleared) {
  MoxEncodeHuffmanState* encoder = nullptr;
  MoxDecodeHuffmanState* decoder = nullptr;
  ASSERT_EQ(moxiEncodeHuffmanStateInitAlloc_JPEG_8u(&encoder), moxStatusOk);
  ASSERT_EQ(moxiDecodeHuffmanStateInitAlloc_JPEG_8u(&decoder), moxStatusOk);
  const EncoderState clearEncoder;
  const DecoderState clearDecoder;
  EXPECT_EQ(std::memcmp(encoder, clearEncoder.bytes, 1044), 0);
  EXPECT_EQ(std::memcmp(decoder, clearDecoder.bytes, 20), 0);
  EXPECT_EQ(moxiEncodeHuffmanStateFree_JPEG_8u(encoder), moxStatusOk);
  EXPECT_EQ(moxiDecodeHuffmanStateFree_JPEG_8u(decoder), moxStatusOk);
}

}  // namespace
}  // namespace test
