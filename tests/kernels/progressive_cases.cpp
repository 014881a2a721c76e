#include "kernels/entropy/progdec.h"
#include "kernels/entropy/progenc.h"
#include "proof/progressive.h"
#include "support/coder_cases.h"
#include "support/kernel_case.h"

namespace test {
namespace {

const RawTable& rawTable() {
  static const RawTable table = seededTable(33, false);
  return table;
}
EncodeTable& encodeTable() {
  static EncodeTable table(rawTable());
  return table;
}
DecodeTable& decodeTable() {
  static DecodeTable table(rawTable());
  return table;
}

mox::Band bandOf(int n) {
  static const mox::Band bands[] = {{1, 63, 0}, {1, 5, 1}, {6, 63, 0}, {1, 63, 2}, {17, 40, 3}, {63, 63, 0}};
  return n >= kTimedBlocks ? bands[0] : bands[n % 6];
}

const Mox16s* blocks(Feed& f, int n) {
  return f.in<Mox16s>(64 * static_cast<size_t>(n),
                      [n](Random& random, Mox16s* values) { makeBlocks(random, values, n, random.oneIn(4) ? 15 : 9); });
}

template <auto Kernel>
void encode(const mox::Kernels& k, Feed& f, int n) {
  const Mox16s* const src = blocks(f, n);
  MoxEncodeHuffmanState* const state = encoderState(f);
  const int32_t length = n % 3 == 0 ? 16 * n : 513 * n;  // a third of them too short
  Mox8u* const dst = f.out<Mox8u>(static_cast<size_t>(length));
  int32_t* const results = f.out<int32_t>(static_cast<size_t>(2 * n));
  int32_t position = 0;
  for (int i = 0; i < n; i++) {
    results[2 * i] =
        (k.progEncode->*Kernel)(src + 64 * i, dst, length, &position, bandOf(n), encodeTable().get(), state);
    results[2 * i + 1] = position;
  }
}

template <auto Kernel>
void count(const mox::Kernels& k, Feed& f, int n) {
  const Mox16s* const src = blocks(f, n);
  MoxEncodeHuffmanState* const state = encoderState(f);
  int32_t *const counts = f.inOut<int32_t>(256), *const statuses = f.out<int32_t>(static_cast<size_t>(n));
  for (int i = 0; i < n; i++) statuses[i] = (k.progEncode->*Kernel)(src + 64 * i, counts, bandOf(n), state);
}

// What earlier scans have decoded of a block that a refinement completes.
void dropLowestBit(Mox16s* values, size_t count, int32_t low) {
  for (size_t i = 0; i < count; i++) {
    const int magnitude = (values[i] < 0 ? -values[i] : values[i]) >> (low + 1) << (low + 1);
    values[i] = static_cast<Mox16s>(values[i] < 0 ? -magnitude : magnitude);
  }
}

// The segment of a scan of `n` blocks, damaged but for the benchmark's; `known` becomes what the blocks hold before it.
void makeSegment(Random& random, Kind kind, Mox8u* bytes, int length, std::vector<Mox16s>& known) {
  const int n = static_cast<int>(known.size() / 64);
  const mox::Band band = bandOf(n);
  makeBlocks(random, known.data(), n, 9);
  ScanEncoder encoder({kind, band.start, band.end, band.low}, rawTable(), static_cast<size_t>(600 * n));
  for (int i = 0; i < n; i++) encoder.block(&known[64 * static_cast<size_t>(i)]);
  encoder.flush();
  const int coded = std::min(encoder.position, length);
  std::memcpy(bytes, encoder.bytes.data(), static_cast<size_t>(coded));
  std::memset(bytes + coded, 0, static_cast<size_t>(length - coded));
  if (n < kTimedBlocks && random.oneIn(2)) damage(random, bytes, length);
  if (kind == Kind::acRefine)
    dropLowestBit(known.data(), known.size(), band.low);
  else
    std::fill(known.begin(), known.end(), Mox16s{0});
}

template <Kind kind>
void decode(const mox::Kernels& k, Feed& f, int n) {
  const int32_t length = n % 3 == 0 ? 16 * n : 100 * n;
  std::vector<Mox16s> made(64 * static_cast<size_t>(n));
  const Mox8u* const src = f.in<Mox8u>(static_cast<size_t>(length), [&](Random& random, Mox8u* bytes) {
    makeSegment(random, kind, bytes, length, made);
  });
  const Mox16s* const known =
      f.in<Mox16s>(made.size(), [&](Random&, Mox16s* values) { std::copy(made.begin(), made.end(), values); });
  Mox16s* const dst = f.out<Mox16s>(made.size());
  std::memcpy(dst, known, made.size() * sizeof *dst);
  MoxDecodeHuffmanState* const state = decoderState(f);
  int32_t* const results = f.out<int32_t>(static_cast<size_t>(3 * n));
  Mox16s* const lastDC = f.inOut<Mox16s>(1);
  int32_t position = 0, marker = 0;
  const mox::Band band = bandOf(n);
  const MoxDecodeHuffmanSpec* const table = decodeTable().get();
  for (int i = 0; i < n; i++) {
    Mox16s* const block = dst + 64 * i;
    if constexpr (kind == Kind::dcFirst)
      results[3 * i] = k.progDecode->dcFirst(src, length, &position, block, lastDC, &marker, band.low, table, state);
    else if constexpr (kind == Kind::acFirst)
      results[3 * i] = k.progDecode->acFirst(src, length, &position, block, &marker, band, table, state);
    else
      results[3 * i] = k.progDecode->acRefine(src, length, &position, block, &marker, band, table, state);
    results[3 * i + 1] = position;
    results[3 * i + 2] = marker;
  }
}

using mox::ProgEncodeKernels;

const AddKernelCases cases{
    {"progEncode.acFirst", "blocks", 1, 18, kTimedBlocks, encode<&ProgEncodeKernels::acFirst>},
    {"progEncode.acRefine", "blocks", 1, 18, kTimedBlocks, encode<&ProgEncodeKernels::acRefine>},
    {"progEncode.countACFirst", "blocks", 1, 18, kTimedBlocks, count<&ProgEncodeKernels::countACFirst>},
    {"progEncode.countACRefine", "blocks", 1, 18, kTimedBlocks, count<&ProgEncodeKernels::countACRefine>},
    {"progDecode.dcFirst", "blocks", 1, 36, kTimedBlocks, decode<Kind::dcFirst>},
    {"progDecode.acFirst", "blocks", 1, 36, kTimedBlocks, decode<Kind::acFirst>},
    {"progDecode.acRefine", "blocks", 1, 36, kTimedBlocks, decode<Kind::acRefine>},
};

}  // namespace
}  // namespace test
