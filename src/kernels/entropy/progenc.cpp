// Progressive encoding of a block.
//
// As in the sequential encoder, vectors bring a block into zig-zag order and compute magnitudes, categories and
// masks, and the symbols go into a 64-bit accumulator and a buffer of the call. A band of zeros is one test and one
// more block of the run. In a refinement the correction bits are a mask as well: those that follow a symbol are
// gathered from it at once.
//
// A block that cannot be coded this way (a symbol without a code, a magnitude that is too large, a run that must be
// written early, a state that no call leaves) has left no trace and goes to the definition.
#include "kernels/entropy/progenc.h"

#include "kernels/entropy/bitmask.h"
#include "kernels/entropy/packer.h"
#include "kernels/entropy/zigzagblock.h"
#include "kernels/vec/bits.h"
#include "kernels/vec/vec.h"

namespace mox::MOX_TARGET {
namespace {

#if MOX_VECTOR

constexpr int kLanes = VMax::kBytes / 2;

// Magnitudes without their lowest bits, in zig-zag order, and the values' signs (0 or -1).
struct BandVectors {
  MOX_INLINE BandVectors(const Mox16s* src, int32_t low) {
    VMax value[kZigZagVectors];
    loadZigZag(src, value);
#pragma GCC unroll 8
    for (int i = 0; i < kZigZagVectors; i++) {
      magnitude[i] = shrU16By(abs16(value[i]), low);
      sign[i] = shr16<15>(value[i]);
    }
  }
  VMax magnitude[kZigZagVectors], sign[kZigZagVectors];
};

// One bit for each lane of all vectors: whether `map` of it is not 0.
template <class Map>
MOX_INLINE uint64_t maskOf(const VMax* lanes, Map map) {
  uint64_t mask = 0;
#pragma GCC unroll 4
  for (int i = 0; i < kZigZagVectors; i += 2) mask |= nonZero16(map(lanes[i]), map(lanes[i + 1])) << (kLanes * i & 63);
  return mask;
}

constexpr auto kNonZero = [](VMax v) __attribute__((always_inline)) { return v; };

// What a first scan needs of a block.
template <int Largest>
struct FirstBlock {
  static_assert(Largest <= ZigZagBlock::kLargest);

  MOX_INLINE FirstBlock(const Mox16s* src, Band band) {
    const BandVectors vectors(src, band.low);
    const VMax* const magnitude = vectors.magnitude;
    VMax ignored = zero<VMax>();
#pragma GCC unroll 4
    for (int i = 0; i < kZigZagVectors; i += 2) {
      store(bits + kLanes * i, bitXor(magnitude[i], vectors.sign[i]));
      store(bits + kLanes * (i + 1), bitXor(magnitude[i + 1], vectors.sign[i + 1]));
      store(size + kLanes * i, bitWidths(magnitude[i], magnitude[i + 1], ignored));
    }
    const uint64_t inside = positions(band);
    nonZero = maskOf(magnitude, kNonZero) & inside;
    large = maskOf(
                magnitude, [](VMax v) __attribute__((always_inline)) { return shrU16<Largest>(v); }) &
            inside;
  }

  alignas(64) uint8_t size[64];
  alignas(64) uint16_t bits[64];  // the low `size` bits follow the code
  uint64_t nonZero;
  bool large;  // a category above Largest
};

// What a refinement needs of it.
struct RefineBlock {
  MOX_INLINE RefineBlock(const Mox16s* src, Band band) {
    const BandVectors vectors(src, band.low);
    const uint64_t inside = positions(band);
    const uint64_t nonZero = maskOf(vectors.magnitude, kNonZero) & inside;
    known = maskOf(
                vectors.magnitude, [](VMax v) __attribute__((always_inline)) { return shrU16<1>(v); }) &
            inside;
    added = nonZero & ~known;
    odd = maskOf(
        vectors.magnitude, [](VMax v) __attribute__((always_inline)) { return shl16<15>(v); });
    negative = maskOf(vectors.sign, kNonZero);
    tail = inside;
    if (added) tail &= ~((uint64_t{2} << (63 - __builtin_clzll(added))) - 1);
  }
  uint64_t known, added;   // magnitudes above 1; magnitudes of 1, the new coefficients
  uint64_t odd, negative;  // bit 0 of magnitudes; signs
  uint64_t tail;           // the band after the last new coefficient
};

// ---- Runs ---------------------------------------------------------------------------------------------------------

// Whether calls of the encoders can have left such a run.
MOX_INLINE bool isRun(const EncodeState& state) {
  return static_cast<uint32_t>(state.eobRun) < static_cast<uint32_t>(kLongestRun) &&
         static_cast<uint32_t>(state.correctionCount) <= (state.eobRun ? definition::kMaxHeldCorrections : 0);
}

// Whether one more block, with that many correction bits, joins the run without ending it.
MOX_INLINE bool joins(int32_t run, int32_t held, int corrections) {
  return run + 1 < kLongestRun && held + corrections <= definition::kMaxHeldCorrections;
}

// Eight correction bits from as many bytes, the first of them highest.
MOX_INLINE uint64_t eightCorrections(const uint8_t* bytes) {
  const uint64_t word = get<uint64_t>(bytes);
  // Byte i of the word, from the lowest, goes to bit 63 - i.
  return (word & 0x0101010101010101u) * 0x8040201008040201u >> 56;
}

// ---- Packing ------------------------------------------------------------------------------------------------------

// Correction bits, after a flush.
MOX_INLINE void packCorrections(uint64_t bits, int count, Packer& out) {
  constexpr int kMax = 48;  // of one flush
  for (; count > kMax; count -= kMax) {
    out.add(lowBits(bits >> (count - kMax), kMax), kMax);
    out.flush();
  }
  out.add(lowBits(bits, static_cast<uint64_t>(count)), static_cast<uint64_t>(count));
  out.flush();
}

MOX_INLINE bool packRun(const EncodeState& state, const EncodeSpec& table, Packer& out) {
  const uint32_t blocks = static_cast<uint32_t>(state.eobRun);
  if (blocks == 0) return true;
  const uint64_t runClass = static_cast<uint64_t>(std::bit_width(blocks) - 1);
  if (!out.symbol(table, runClass * 16, runClass, blocks)) [[unlikely]]
    return false;
  out.flush();
  const int held = state.correctionCount;
  for (int i = 0; i < held; i += 8) {
    const uint64_t bits = eightCorrections(state.corrections + i);
    const int count = held - i < 8 ? held - i : 8;
    out.add(bits >> (8 - count), static_cast<uint64_t>(count));
    out.flush();
  }
  return true;
}

// The flushes of a block: its run and that run's corrections; codes and corrections of coefficients and of 16 zeros.
using Buffer = PackBuffer<1 + (definition::kMaxHeldCorrections + 7) / 8 + 2 * (63 + 3) + 2>;
static_assert(7 + 16 + 14 < 64 && 7 + 48 < 64);

MOX_INLINE bool packFirst(const FirstBlock<definition::SegmentOutput::kLargest>& block, Band band,
                          const EncodeSpec& table, Packer& out) {
  static_assert(7 + 2 * (16 + definition::SegmentOutput::kLargest) < 64);
  uint64_t left = block.nonZero, last = static_cast<uint64_t>(band.start) - 1;
  const auto coefficient = [&]() __attribute__((always_inline)) {
    const uint64_t before = last;
    last = static_cast<uint64_t>(__builtin_ctzll(left));
    return out.coefficient(table, block, last, before);
  };
  while (left) {
    if (!coefficient()) [[unlikely]]
      return false;
    if (!(left &= left - 1)) break;
    if (!coefficient()) [[unlikely]]
      return false;
    out.flush();
    left &= left - 1;
  }
  out.flush();
  return true;
}

// The zeros and known coefficients before a new one: codes of 16 zeros with the corrections that follow them. What the
// new one's code must count and correct remains: `run` zeros and the known coefficients of `passing`.
MOX_INLINE bool packBefore(const RefineBlock& block, uint64_t before, const EncodeSpec& table, Packer& out,
                           uint64_t& passing, int& run) {
  passing = block.known & before;
  run = __builtin_popcountll(before ^ passing);
  if (run > 15) [[unlikely]]
    do {
      // The code is due at the first coefficient that is not 0 after 16 zeros: it corrects those before its last zero.
      const uint64_t sixteenth = nthBit(before & ~block.known, 15);
      const uint64_t until = sixteenth | (sixteenth - 1);
      if (!out.symbol(table, kZeroRun, 0, 0)) return false;
      out.flush();
      const uint64_t corrected = passing & until;
      packCorrections(gathered(block.odd, corrected), __builtin_popcountll(corrected), out);
      before &= ~until;
      passing &= ~until;
      run -= 16;
    } while (run > 15);
  return true;
}

MOX_INLINE bool packRefine(const RefineBlock& block, Band band, const EncodeSpec& table, Packer& out) {
  uint64_t rest = positions(band);
  for (uint64_t left = block.added; left; left &= left - 1) {
    const uint64_t place = left & -left;
    uint64_t passing;
    int run;
    if (!packBefore(block, rest & (place - 1), table, out, passing, run)) return false;
    if (!out.symbol(table, static_cast<uint64_t>(run * 16 + 1), 1, block.negative & place ? 0 : 1)) [[unlikely]]
      return false;
    out.flush();
    if (passing) packCorrections(gathered(block.odd, passing), __builtin_popcountll(passing), out);
    rest &= ~(place | (place - 1));
  }
  return true;
}

// ---- Blocks -------------------------------------------------------------------------------------------------------

// Packs a block and appends it. If it is one for the definition: false, with no trace left.
template <class Pack>
MOX_INLINE bool appendPacked(Mox8u* dst, int32_t length, int32_t* position, const EncodeSpec& table, EncodeState& state,
                             Pack pack) {
  const uint32_t low = state.low, pending = static_cast<uint32_t>(state.pending);
  const int32_t at = *position;
  if (static_cast<uint32_t>(at) >= static_cast<uint32_t>(length)) [[unlikely]]
    return false;
  Buffer buffer;
  Packer out{low >> (24 - pending), pending, buffer.end()};
  if (!packRun(state, table, out) || !pack(out)) [[unlikely]]
    return false;
  const Mox8u* const next = append(buffer.end(), static_cast<int>(buffer.end() - out.next), dst + at, length - at);
  if (!next) [[unlikely]]
    return false;
  *position = static_cast<int32_t>(next - dst);
  state.low = static_cast<uint32_t>(out.accumulator << (24 - out.used));
  state.high = 0;
  state.pending = static_cast<int32_t>(out.used);
  return true;
}

// Whether calls can have left the state. Another may hold bits below the pending ones, which the definition mixes with
// new ones.
MOX_INLINE bool isClean(const EncodeState& state) {
  const uint32_t pending = static_cast<uint32_t>(state.pending);
  return pending < 8 && state.low << (8 + pending) == 0 && isRun(state);
}

MoxStatus encodeACFirst(const Mox16s* src, Mox8u* dst, int32_t length, int32_t* position, Band band,
                        const EncodeSpec* table, EncodeState* state) {
  prefetchBlocks(src);
  const FirstBlock<definition::SegmentOutput::kLargest> block(src, band);
  if (isClean(*state)) [[likely]] {
    if (block.nonZero == 0) {
      if (joins(state->eobRun, state->correctionCount, 0)) [[likely]] {
        state->eobRun++;
        return moxStatusOk;
      }
    } else if (!block.large &&
               appendPacked(
                   dst, length, position, *table, *state, [&](Packer & out) __attribute__((always_inline)) {
                     return packFirst(block, band, *table, out);
                   })) [[likely]] {
      state->eobRun = !(block.nonZero >> band.end);
      state->correctionCount = 0;
      return moxStatusOk;
    }
  }
  return definition::encodeACFirst(src, dst, length, position, band, table, state);
}

// The block's last zeros, and the bits of its last known coefficients, join the run.
MOX_INLINE void extendRun(const RefineBlock& block, uint64_t corrections, int count, EncodeState& state) {
  uint8_t* const area = state.corrections + state.correctionCount;
  for (int i = 0; i < count; i++) area[i] = corrections >> (count - 1 - i) & 1;
  state.correctionCount += count;
  state.eobRun += block.tail != 0;
}

MoxStatus encodeACRefine(const Mox16s* src, Mox8u* dst, int32_t length, int32_t* position, Band band,
                         const EncodeSpec* table, EncodeState* state) {
  prefetchBlocks(src);
  const RefineBlock block(src, band);
  const uint64_t passing = block.known & block.tail;
  const int count = __builtin_popcountll(passing);
  if (isClean(*state)) [[likely]] {
    if (!block.added) {
      if (joins(state->eobRun, state->correctionCount, count)) [[likely]] {
        extendRun(block, gathered(block.odd, passing), count, *state);
        return moxStatusOk;
      }
    } else if (appendPacked(
                   dst, length, position, *table, *state, [&](Packer & out) __attribute__((always_inline)) {
                     return packRefine(block, band, *table, out);
                   })) [[likely]] {
      state->eobRun = state->correctionCount = 0;
      extendRun(block, gathered(block.odd, passing), count, *state);
      return moxStatusOk;
    }
  }
  return definition::encodeACRefine(src, dst, length, position, band, table, state);
}

// ---- Counting -----------------------------------------------------------------------------------------------------

MOX_INLINE void endRun(int32_t* counts, EncodeState& state) {
  if (state.eobRun) definition::endRun(definition::CounterOutput{counts}, state);
}

MoxStatus countACFirst(const Mox16s* src, int32_t* counts, Band band, EncodeState* state) {
  prefetchBlocks(src);
  const FirstBlock<definition::CounterOutput::kLargest> block(src, band);
  if (!isRun(*state) || block.large) [[unlikely]]
    return definition::countACFirst(src, counts, band, state);
  if (block.nonZero == 0) {
    if (!joins(state->eobRun, state->correctionCount, 0)) return definition::countACFirst(src, counts, band, state);
    state->eobRun++;
    return moxStatusOk;
  }
  endRun(counts, *state);
  definition::CounterOutput out{counts};
  int last = band.start - 1;
  for (uint64_t left = block.nonZero; left; left &= left - 1) {
    const int position = __builtin_ctzll(left), run = position - last - 1;
    last = position;
    if (run > 15) out.symbol(kZeroRun, run / 16);
    out.symbol(run % 16 * 16 + block.size[position]);
  }
  state->eobRun = last != band.end;
  return moxStatusOk;
}

MoxStatus countACRefine(const Mox16s* src, int32_t* counts, Band band, EncodeState* state) {
  prefetchBlocks(src);
  const RefineBlock block(src, band);
  const int count = __builtin_popcountll(block.known & block.tail);
  if (!isRun(*state)) [[unlikely]]
    return definition::countACRefine(src, counts, band, state);
  if (!block.added && !joins(state->eobRun, state->correctionCount, count)) [[unlikely]]
    return definition::countACRefine(src, counts, band, state);
  if (block.added) endRun(counts, *state);
  definition::CounterOutput out{counts};
  uint64_t rest = positions(band);
  for (uint64_t left = block.added; left; left &= left - 1) {
    const uint64_t place = left & -left;
    const int run = __builtin_popcountll(rest & (place - 1) & ~block.known);
    if (run > 15) out.symbol(kZeroRun, run / 16);
    out.symbol(run % 16 * 16 + 1);
    rest &= ~(place | (place - 1));
  }
  state->correctionCount += count;
  state->eobRun += block.tail != 0;
  return moxStatusOk;
}

#else

constexpr auto encodeACFirst = definition::encodeACFirst;
constexpr auto encodeACRefine = definition::encodeACRefine;
constexpr auto countACFirst = definition::countACFirst;
constexpr auto countACRefine = definition::countACRefine;

#endif

}  // namespace

const ProgEncodeKernels progEncodeKernels = {
    .acFirst = encodeACFirst, .acRefine = encodeACRefine, .countACFirst = countACFirst, .countACRefine = countACRefine};

}  // namespace mox::MOX_TARGET
