#include <algorithm>
#include <vector>

#include "kernels/tier1/t1dec.h"
#include "kernels/tier1/t1enc.h"
#include "support/kernel_case.h"

namespace test {
namespace {

using namespace mox;
using namespace mox::tier1;

constexpr int kHeight = 11;  // two whole stripes and a part of one
constexpr int kStripes = 3;

// The passes of bit-planes 9 to 4 of a block of n x kHeight coefficients, which lie in chunks.
void scan(const Tier1EncodeKernels& kernels, Feed& f, int n, Subband subband, bool raw, bool causal) {
  const size_t values = static_cast<size_t>(n) * kHeight, stride = chunksOf(n) + 2;
  const size_t count = chunksOf(n) * kStripes * 4 * kChunkColumns, all = stride * (kStripes + 2);
  const Mox32s* const src = f.in<Mox32s>(values, [&](Random& random, Mox32s* block) {
    for (size_t i = 0; i < values; i++) {
      const uint32_t magnitude = (random.any<uint32_t>() & 0x3FF) >> random.below(12);
      block[i] = static_cast<Mox32s>(magnitude | (random.any<uint32_t>() & 0x80000000));
    }
  });
  Chunk* const chunks = f.out<Chunk>(all);
  uint32_t* const coefficients = f.out<uint32_t>(count);
  uint8_t* const windows = f.out<uint8_t>(count);
  uint8_t* const symbols = f.out<uint8_t>(count * 10 + kSymbolSlack);
  uint32_t* const distortions = f.out<uint32_t>(18);
  size_t* const counts = f.out<size_t>(18);
  std::fill(chunks, chunks + all, Chunk{});
  Chunk* const first = chunks + stride + 1;
  kernels.arrange(src, 4 * n, n, kHeight, coefficients, first);
  ScanPass pass{first, windows, n, kHeight, subband, causal, causal, symbols, 0};
  int i = 0;
  const auto run = [&](void (*kernel)(ScanPass&)) {
    uint8_t* const before = pass.symbols;
    kernel(pass);
    distortions[i] = pass.distortion;
    counts[i++] = pass.symbols - before;
  };
  for (int plane = 9; plane >= 4; plane--) {
    kernels.window(coefficients, count, plane, windows);
    run(kernels.significance[raw]);
    run(kernels.refinement);
    run(kernels.cleanup);
  }
  // What follows the last symbol may be anything.
  std::fill(pass.symbols, pass.symbols + kSymbolSlack, 0);
}

void decodePasses(const Tier1DecodeKernels& kernels, Feed& f, int n, Subband subband, bool raw, bool causal) {
  const size_t words = (static_cast<size_t>(n) + 2) * kStripes;
  uint64_t* const flags = f.out<uint64_t>(words);
  Mox32s* const dst = f.out<Mox32s>(static_cast<size_t>(n) * kHeight);
  const int length = n * 5;
  const uint8_t* const bytes = f.in<uint8_t>(length);
  uint64_t* const registers = f.out<uint64_t>(mq::kContexts + 4);
  std::fill(flags, flags + words, 0);
  DecodePass pass{};
  pass.flags = flags + 1;
  pass.dst = dst;
  pass.dstStep = 4 * n;
  pass.width = n;
  pass.height = kHeight;
  pass.significance = &kSignificanceContext[subband];
  pass.mq.contexts.reset();
  mq::start(pass.mq, bytes, length);
  mq::start(pass.raw, bytes, length);
  for (int plane = 9; plane >= 4; plane--) {
    pass.one = 1u << plane;
    pass.half = pass.one / 2;
    pass.kept = ~(2 * pass.one - 1);
    kernels.significance[raw][causal](pass);
    kernels.refinement[raw](pass);
    kernels.cleanup[causal](pass);
  }
  std::copy(pass.mq.contexts.state, pass.mq.contexts.state + mq::kContexts, registers);
  registers[mq::kContexts] = pass.mq.a;
  registers[mq::kContexts + 1] = pass.mq.c;
  registers[mq::kContexts + 2] = pass.mq.read - pass.mq.ahead;
  registers[mq::kContexts + 3] = static_cast<uint64_t>(pass.raw.at - bytes);
}

const AddKernelCases cases{
    {"tier1Encode.window", "chunks", 1, 31, 31,
     [](const Kernels& k, Feed& f, int n) {  // at every bit-plane once
       const size_t count = static_cast<size_t>(n) * 4 * kChunkColumns;
       const uint32_t* const coefficients = f.in<uint32_t>(count);
       k.tier1Encode->window(coefficients, count, n - 1, f.out<uint8_t>(count));
     }},
    {"tier1Encode.passes", "columns", 1, 40, 64,
     [](const Kernels& k, Feed& f, int n) { scan(*k.tier1Encode, f, n, kSubbandLow, false, false); }},
    {"tier1Encode.passesCausal", "columns", 1, 40, 64,
     [](const Kernels& k, Feed& f, int n) { scan(*k.tier1Encode, f, n, kSubbandHL, false, true); }},
    {"tier1Encode.passesRaw", "columns", 1, 40, 64,
     [](const Kernels& k, Feed& f, int n) { scan(*k.tier1Encode, f, n, kSubbandHH, true, false); }},
    {"tier1Encode.passesRawCausal", "columns", 1, 40, 64,
     [](const Kernels& k, Feed& f, int n) { scan(*k.tier1Encode, f, n, kSubbandLow, true, true); }},
    {"tier1Encode.code", "decisions", 0, 300, 4096,
     [](const Kernels& k, Feed& f, int n) {
       const uint8_t* const symbols = f.in<uint8_t>(n, [n](Random& random, uint8_t* values) {
         for (int i = 0; i < n; i++) values[i] = symbol(random.below(mq::kContexts), random.oneIn(3));
       });
       uint8_t* const out = f.out<uint8_t>(static_cast<size_t>(n) * 15 / 7 + 8);
       uint64_t* const registers = f.out<uint64_t>(mq::kContexts + 4);
       mq::Encoder coder;
       coder.contexts.reset();
       mq::start(coder, out + 1);
       k.tier1Encode->code(coder, symbols, symbols + n);
       std::copy(coder.contexts.state, coder.contexts.state + mq::kContexts, registers);
       registers[mq::kContexts] = coder.a;
       registers[mq::kContexts + 1] = coder.c;
       registers[mq::kContexts + 2] = coder.ct;
       registers[mq::kContexts + 3] = static_cast<uint64_t>(coder.out - out);
     }},
    {"tier1Decode.passes", "columns", 1, 40, 64,
     [](const Kernels& k, Feed& f, int n) { decodePasses(*k.tier1Decode, f, n, kSubbandLow, false, false); }},
    {"tier1Decode.passesCausal", "columns", 1, 40, 64,
     [](const Kernels& k, Feed& f, int n) { decodePasses(*k.tier1Decode, f, n, kSubbandHL, false, true); }},
    {"tier1Decode.passesRaw", "columns", 1, 40, 64,
     [](const Kernels& k, Feed& f, int n) { decodePasses(*k.tier1Decode, f, n, kSubbandHH, true, false); }},
    {"tier1Decode.passesRawCausal", "columns", 1, 40, 64,
     [](const Kernels& k, Feed& f, int n) { decodePasses(*k.tier1Decode, f, n, kSubbandLow, true, true); }},
};

}  // namespace
}  // namespace test
