#include "kernels/entropy/huffdec.h"
#include "kernels/entropy/huffenc.h"
#include "support/coder_cases.h"
#include "support/kernel_case.h"

namespace test {
namespace {

// Two tables each: those of Annex K, whose larger symbols have no code, and one that codes them all.
template <class Table>
Table& dcTable(int n) {
  static Table typical(typicalDC()), full(seededTable(31, false));
  return n % 2 == 0 ? typical : full;
}
template <class Table>
Table& acTable(int n) {
  static Table typical(typicalAC()), full(seededTable(32, true));
  return n % 2 == 0 ? typical : full;
}

// The longest code and value of each coefficient, and stuffing.
constexpr int kBlockBytes = 513;

const Mox16s* blocks(Feed& f, int n) {
  return f.in<Mox16s>(64 * static_cast<size_t>(n),
                      [n](Random& random, Mox16s* values) { makeBlocks(random, values, n); });
}

void encode(const mox::Kernels& k, Feed& f, int n) {
  const Mox16s* const src = blocks(f, n);
  MoxEncodeHuffmanState* const state = encoderState(f);
  const int32_t length = n % 3 == 0 ? 16 * n : kBlockBytes * n;  // a third of them too short
  Mox8u* const dst = f.out<Mox8u>(static_cast<size_t>(length));
  int32_t* const results = f.out<int32_t>(static_cast<size_t>(2 * n));
  Mox16s* const lastDC = f.inOut<Mox16s>(1);
  int32_t position = 0;
  for (int i = 0; i < n; i++) {
    results[2 * i] = k.huffEncode->block(src + 64 * i, dst, length, &position, lastDC, dcTable<EncodeTable>(n).get(),
                                         acTable<EncodeTable>(n).get(), state);
    results[2 * i + 1] = position;
  }
}

void encodeDirect(const mox::Kernels& k, Feed& f, int n) {
  const Mox16s* const src = blocks(f, n);
  Mox8u* const dst = f.out<Mox8u>(static_cast<size_t>(kBlockBytes) * n);
  int32_t* const positions = f.out<int32_t>(static_cast<size_t>(n));
  Mox16s* const lastDC = f.inOut<Mox16s>(1);
  int32_t position = n % 8;
  for (int i = 0; i < n; i++) {
    k.huffEncode->direct(src + 64 * i, dst, &position, lastDC, dcTable<EncodeTable>(n).get(),
                         acTable<EncodeTable>(n).get());
    positions[i] = position;
  }
}

void count(const mox::Kernels& k, Feed& f, int n) {
  const Mox16s* const src = blocks(f, n);
  int32_t *const dcCounts = f.inOut<int32_t>(256), *const acCounts = f.inOut<int32_t>(256);
  Mox16s* const lastDC = f.inOut<Mox16s>(1);
  for (int i = 0; i < n; i++) k.huffEncode->statistics(src + 64 * i, dcCounts, acCounts, lastDC);
}

// The segment of `n` blocks, damaged but for the benchmark's.
void makeSegment(Random& random, Mox8u* bytes, int length, int n) {
  std::vector<Mox16s> values(64 * static_cast<size_t>(n));
  makeBlocks(random, values.data(), n, n % 2 == 0 ? 10 : 15);
  EncoderState state;
  Mox16s lastDC = 0;
  int32_t position = 0;
  for (int i = 0; i < n; i++)
    moxiEncodeHuffman8x8_JPEG_16s1u_C1(&values[64 * static_cast<size_t>(i)], bytes, length, &position, &lastDC,
                                       dcTable<EncodeTable>(n).get(), acTable<EncodeTable>(n).get(), state.get(), 0);
  std::memset(bytes + position, 0, static_cast<size_t>(length - position));
  if (n < kTimedBlocks && random.oneIn(2)) damage(random, bytes, length);
}

void decode(const mox::Kernels& k, Feed& f, int n) {
  const int32_t length = n % 3 == 0 ? 16 * n : 100 * n;
  const Mox8u* const src = f.in<Mox8u>(static_cast<size_t>(length), [length, n](Random& random, Mox8u* bytes) {
    makeSegment(random, bytes, length, n);
  });
  MoxDecodeHuffmanState* const state = decoderState(f);
  Mox16s* const dst = f.out<Mox16s>(64 * static_cast<size_t>(n));
  int32_t* const results = f.out<int32_t>(static_cast<size_t>(3 * n));
  Mox16s* const lastDC = f.inOut<Mox16s>(1);
  int32_t position = 0, marker = 0;
  for (int i = 0; i < n; i++) {
    results[3 * i] = k.huffDecode->block(src, length, &position, dst + 64 * i, lastDC, &marker,
                                         dcTable<DecodeTable>(n).get(), acTable<DecodeTable>(n).get(), state);
    results[3 * i + 1] = position;
    results[3 * i + 2] = marker;
  }
}

void decodeDirect(const mox::Kernels& k, Feed& f, int n) {
  const int32_t length = 100 * n;
  const Mox8u* const src = f.in<Mox8u>(static_cast<size_t>(length), [length, n](Random& random, Mox8u* bytes) {
    makeSegment(random, bytes, length - 2, n);
    bytes[length - 2] = 0xFF;  // the marker that this form's source must end in
    bytes[length - 1] = 0xD9;
  });
  Mox16s* const dst = f.out<Mox16s>(64 * static_cast<size_t>(n));
  int32_t* const results = f.out<int32_t>(static_cast<size_t>(4 * n));
  Mox16s* const lastDC = f.inOut<Mox16s>(1);
  int32_t position = 0, marker = 0, held = 0;
  Mox32u bits = 0;
  for (int i = 0; i < n; i++) {
    results[4 * i] = k.huffDecode->direct(src, &position, dst + 64 * i, lastDC, &marker, &bits, &held,
                                          dcTable<DecodeTable>(n).get(), acTable<DecodeTable>(n).get());
    results[4 * i + 1] = position;
    results[4 * i + 2] = marker;
    results[4 * i + 3] = held;
  }
}

const AddKernelCases cases{
    {"huffEncode.block", "blocks", 1, 18, kTimedBlocks, encode},
    {"huffEncode.direct", "blocks", 1, 18, kTimedBlocks, encodeDirect},
    {"huffEncode.statistics", "blocks", 1, 18, kTimedBlocks, count},
    {"huffDecode.block", "blocks", 1, 36, kTimedBlocks, decode},
    {"huffDecode.direct", "blocks", 1, 36, kTimedBlocks, decodeDirect},
};

}  // namespace
}  // namespace test
