// Huffman coding of an 8x8 block for one scan of a progressive image, and the counting of its symbols (T.81 G.1.2).
#pragma once

#include "kernels/entropy/band.h"
#include "kernels/entropy/bitio.h"
#include "kernels/entropy/state.h"
#include "kernels/entropy/zigzag.h"
#include "moxj.h"

namespace mox {

// Arguments are those of the exported functions without the flush flag, already checked. A DC scan has too few bits per
// block for vectors to help: every target uses the definitions.
struct ProgEncodeKernels {
  MoxStatus (*acFirst)(const Mox16s* src, Mox8u* dst, int32_t length, int32_t* position, Band band,
                       const EncodeSpec* table, EncodeState* state);
  MoxStatus (*acRefine)(const Mox16s* src, Mox8u* dst, int32_t length, int32_t* position, Band band,
                        const EncodeSpec* table, EncodeState* state);
  MoxStatus (*countACFirst)(const Mox16s* src, int32_t* counts, Band band, EncodeState* state);
  MoxStatus (*countACRefine)(const Mox16s* src, int32_t* counts, Band band, EncodeState* state);
};

namespace definition {

inline constexpr int kLargestDC = 11;
inline constexpr int kHighestRunClass = 14;      // of an end-of-band run: 2^14 to 2^15 - 1 blocks
inline constexpr int kMaxHeldCorrections = 937;  // 1000 less what one block may add

// Where symbols go: into a segment, followed by their bits, or into counters. The largest category differs, too: 11 can
// be coded but not counted.
struct SegmentOutput {
  static constexpr int kLargest = 11;
  static constexpr bool kHoldsCorrections = true;
  BitWriter& out;
  const EncodeSpec& table;
  MoxStatus symbol(int symbol) { return out.emitCode(table, symbol); }
  MoxStatus bits(uint32_t bits, int count) { return count > 0 ? out.emit(bits, count) : moxStatusOk; }
};

struct CounterOutput {
  static constexpr int kLargest = 10;
  static constexpr bool kHoldsCorrections = false;
  int32_t* counts;
  MoxStatus symbol(int symbol, int times = 1) {  // counts wrap
    counts[symbol] = static_cast<int32_t>(static_cast<uint32_t>(counts[symbol]) + static_cast<uint32_t>(times));
    return moxStatusOk;
  }
  MoxStatus bits(uint32_t, int) { return moxStatusOk; }
};

// An end-of-band run of `blocks`: the symbol of its class and the bits that the class leaves open.
template <class Output>
MoxStatus putRun(Output out, uint32_t blocks) {
  const int runClass = std::bit_width(blocks) - 1;
  if (runClass > kHighestRunClass) return moxStatusCoefficientRange;
  if (const MoxStatus bad = out.symbol(runClass * 16)) return bad;
  return out.bits(blocks, runClass);
}

// Writes the pending end-of-band run, if there is one, and its correction bits. A run longer than calls of these
// functions can make it is written in two pieces.
template <class Output>
MoxStatus endRun(Output out, EncodeState& state) {
  if (state.eobRun == 0) return moxStatusOk;
  if (state.eobRun > kLongestRun) {
    if (const MoxStatus bad = putRun(out, kLongestRun)) return bad;
    state.eobRun -= kLongestRun;
  }
  if (const MoxStatus bad = putRun(out, static_cast<uint32_t>(state.eobRun))) return bad;
  if constexpr (Output::kHoldsCorrections)
    for (int i = 0; i < state.correctionCount && i < static_cast<int>(sizeof state.corrections); i++)
      if (const MoxStatus bad = out.bits(state.corrections[i], 1)) return bad;
  state.eobRun = state.correctionCount = 0;
  return moxStatusOk;
}

// One more block whose band ends in zeros; its `count` correction bits join those of the run. Bits that do not fit the
// area belong to a run that could not be written: the segment is lost already.
template <class Output>
MoxStatus extendRun(Output out, EncodeState& state, const uint8_t* corrections, int count) {
  const uint32_t held = static_cast<uint32_t>(state.correctionCount);
  if constexpr (Output::kHoldsCorrections)
    for (uint32_t i = 0; i < static_cast<uint32_t>(count); i++)
      if (held + i < sizeof state.corrections) state.corrections[held + i] = corrections[i];
  state.correctionCount = static_cast<int32_t>(held + static_cast<uint32_t>(count));
  state.eobRun = static_cast<int32_t>(static_cast<uint32_t>(state.eobRun) + 1);
  return state.eobRun == kLongestRun || state.correctionCount > kMaxHeldCorrections ? endRun(out, state) : moxStatusOk;
}

constexpr int magnitude(int value, Band band) { return (value < 0 ? -value : value) >> band.low; }

// T.81 G.1.2.2.
template <class Output>
MoxStatus walkACFirst(const Mox16s* src, Band band, Output out, EncodeState& state) {
  int run = 0;
  for (int k = band.start; k <= band.end; k++) {
    const int value = src[kZigZag.natural[k]], left = magnitude(value, band);
    if (left == 0) {
      run++;
      continue;
    }
    if (const MoxStatus bad = endRun(out, state)) return bad;
    for (; run > 15; run -= 16)
      if (const MoxStatus bad = out.symbol(kZeroRun)) return bad;
    const int size = category(left);
    if (size > Output::kLargest) return moxStatusCoefficientRange;
    if (const MoxStatus bad = out.symbol(run * 16 + size)) return bad;
    if (const MoxStatus bad = out.bits(static_cast<uint32_t>(value < 0 ? ~left : left), size)) return bad;
    run = 0;
  }
  return run > 0 ? extendRun(out, state, nullptr, 0) : moxStatusOk;
}

// T.81 G.1.2.3. The correction bits of coefficients that are passed follow the next symbol.
template <class Output>
MoxStatus walkACRefine(const Mox16s* src, Band band, Output out, EncodeState& state) {
  int lastNew = 0;  // after it no more runs of 16 zeros are coded
  for (int k = band.start; k <= band.end; k++)
    if (magnitude(src[kZigZag.natural[k]], band) == 1) lastNew = k;
  int run = 0, passed = 0;
  uint8_t corrections[63];
  const auto put = [&](int symbol, uint32_t sign, int signs) {
    if (const MoxStatus bad = endRun(out, state)) return bad;
    if (const MoxStatus bad = out.symbol(symbol)) return bad;
    if (const MoxStatus bad = out.bits(sign, signs)) return bad;
    for (int i = 0; i < passed; i++)
      if (const MoxStatus bad = out.bits(corrections[i], 1)) return bad;
    passed = 0;
    return moxStatusOk;
  };
  for (int k = band.start; k <= band.end; k++) {
    const int value = src[kZigZag.natural[k]], left = magnitude(value, band);
    if (left == 0) {
      run++;
      continue;
    }
    for (; run > 15 && k <= lastNew; run -= 16)
      if (const MoxStatus bad = put(kZeroRun, 0, 0)) return bad;
    if (left > 1) {
      corrections[passed++] = left & 1;
      continue;
    }
    if (const MoxStatus bad = put(run * 16 + 1, value > 0, 1)) return bad;
    run = 0;
  }
  return run > 0 || passed > 0 ? extendRun(out, state, corrections, passed) : moxStatusOk;
}

// Runs `walk` on a writer and keeps the writer's state, even after a failure.
template <class Walk>
MoxStatus appended(Mox8u* dst, int32_t length, int32_t* position, EncodeState* state, Walk&& walk) {
  BitWriter out(dst, length, *position, *state);
  const MoxStatus status = walk(out);
  *position = out.position;
  out.keep(*state);
  return status;
}

inline MoxStatus encodeACFirst(const Mox16s* src, Mox8u* dst, int32_t length, int32_t* position, Band band,
                               const EncodeSpec* table, EncodeState* state) {
  return appended(dst, length, position, state, [&](BitWriter& out) {
    return walkACFirst(src, band, SegmentOutput{out, *table}, *state);
  });
}

inline MoxStatus encodeACRefine(const Mox16s* src, Mox8u* dst, int32_t length, int32_t* position, Band band,
                                const EncodeSpec* table, EncodeState* state) {
  return appended(dst, length, position, state, [&](BitWriter& out) {
    return walkACRefine(src, band, SegmentOutput{out, *table}, *state);
  });
}

inline MoxStatus countACFirst(const Mox16s* src, int32_t* counts, Band band, EncodeState* state) {
  return walkACFirst(src, band, CounterOutput{counts}, *state);
}

inline MoxStatus countACRefine(const Mox16s* src, int32_t* counts, Band band, EncodeState* state) {
  return walkACRefine(src, band, CounterOutput{counts}, *state);
}

// The difference that a DC scan codes (T.81 G.1.2.1); false if its category cannot be coded. The predictor becomes the
// block's value in any case.
inline bool differenceDC(const Mox16s* src, int32_t low, Mox16s* lastDC, int& difference) {
  const int value = src[0] >> low;
  difference = value - *lastDC;
  *lastDC = static_cast<Mox16s>(value);
  return category(difference) <= kLargestDC;
}

inline MoxStatus encodeDCFirst(const Mox16s* src, Mox8u* dst, int32_t length, int32_t* position, Mox16s* lastDC,
                               int32_t low, const EncodeSpec* table, EncodeState* state) {
  int difference = 0;
  if (!differenceDC(src, low, lastDC, difference)) return moxStatusCoefficientRange;
  return appended(dst, length, position, state, [&](BitWriter& out) { return out.emitValue(*table, 0, difference); });
}

inline MoxStatus encodeDCRefine(const Mox16s* src, Mox8u* dst, int32_t length, int32_t* position, int32_t low,
                                EncodeState* state) {
  return appended(dst, length, position, state,
                  [&](BitWriter& out) { return out.emit(static_cast<uint32_t>(src[0] >> low) & 1, 1); });
}

inline MoxStatus countDCFirst(const Mox16s* src, int32_t* counts, Mox16s* lastDC, int32_t low) {
  int difference = 0;
  if (!differenceDC(src, low, lastDC, difference)) return moxStatusCoefficientRange;
  return CounterOutput{counts}.symbol(category(difference));
}

// Writes what is pending and clears the state, even when that fails. A DC scan has no run: flushBits() does for it.
inline MoxStatus flushAC(Mox8u* dst, int32_t length, int32_t* position, const EncodeSpec* table, EncodeState* state) {
  const MoxStatus status = appended(dst, length, position, state, [&](BitWriter& out) {
    if (const MoxStatus bad = endRun(SegmentOutput{out, *table}, *state)) return bad;
    return out.pad();
  });
  clear(*state);
  return status;
}

inline MoxStatus flushCounts(int32_t* counts, EncodeState* state) {
  const MoxStatus status = endRun(CounterOutput{counts}, *state);
  clear(*state);
  return status;
}

}  // namespace definition

#if defined(MOX_TARGET)
namespace MOX_TARGET {
extern const ProgEncodeKernels progEncodeKernels;
}
#endif

}  // namespace mox
