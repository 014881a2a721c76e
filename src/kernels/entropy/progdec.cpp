// Progressive decoding of a block.
//
// Most blocks of a progressive scan take a few bits or none, so the cost of a call is what counts: the bit reader lives
// in registers and loads its bytes in groups, and a block inside an end-of-band run is done before there is a reader.
//
// Refinements are harder. The definition visits every coefficient of the band and reads one bit at a time, each a
// branch that cannot be predicted. Here the block is a mask of its coefficients that are not 0, in zig-zag order. A run
// of zeros ends at the n-th 0 of the mask; the coefficients that it passes are the 1s before that, and their correction
// bits are taken all at once. These bits, and the new coefficients, are collected as masks, too, and applied to the
// block at the end. States that no call leaves go to the definition.
#include "kernels/entropy/progdec.h"

#include "kernels/entropy/bitmask.h"
#include "kernels/entropy/groupreader.h"
#include "kernels/entropy/zigzagblock.h"
#include "kernels/vec/prefetch.h"
#include "kernels/vec/vec.h"

namespace mox::MOX_TARGET {
namespace {

#if MOX_VECTOR

MoxStatus decodeDCFirst(const Mox8u* src, int32_t length, int32_t* position, Mox16s* dst, Mox16s* lastDC,
                        int32_t* marker, int32_t low, const DecodeSpec* table, DecodeState* state) {
  if (!GroupReader<false>::takes(*state)) [[unlikely]]
    return definition::decodeDCFirst(src, length, position, dst, lastDC, marker, low, table, state);
  GroupReader<false> in(src, length, *position, *marker, *state);
  const MoxStatus status = definition::walkDCFirst(in, dst, lastDC, low, *table);
  return in.keep(position, marker, state, status);
}

MoxStatus decodeACFirst(const Mox8u* src, int32_t length, int32_t* position, Mox16s* dst, int32_t* marker, Band band,
                        const DecodeSpec* table, DecodeState* state) {
  if (state->eobRun > 0) {
    state->eobRun--;
    return moxStatusOk;
  }
  if (!GroupReader<true>::takes(*state)) [[unlikely]]
    return definition::decodeACFirst(src, length, position, dst, marker, band, table, state);
  prefetchBlocks(dst);
  GroupReader<true> in(src, length, *position, *marker, *state);
  int32_t blocks = 0;
  const MoxStatus status = definition::walkACFirst(in, dst, band, *table, blocks);
  if (!status) state->eobRun = blocks > 0 ? blocks - 1 : 0;
  return in.keep(position, marker, state, status);
}

// ---- Refinement ---------------------------------------------------------------------------------------------------

// The coefficients that are not 0.
MOX_INLINE uint64_t knownPositions(const Mox16s* src) {
  uint64_t known = 0;
  VMax value[kZigZagVectors];
  loadZigZag(src, value);
  constexpr int kLanes = VMax::kBytes / 2;
#pragma GCC unroll 4
  for (int i = 0; i < kZigZagVectors; i += 2) known |= nonZero16(value[i], value[i + 1]) << (kLanes * i & 63);
  return known;
}

// Corrects the coefficients of one mask and stores new ones at the positions of another.
MOX_INLINE void refine(Mox16s* dst, int32_t low, uint64_t corrections, uint64_t added, uint64_t negative) {
  for (; corrections; corrections &= corrections - 1) {
    Mox16s& coefficient = dst[kZigZag.natural[__builtin_ctzll(corrections)]];
    coefficient = definition::corrected(coefficient, low);
  }
  for (; added; added &= added - 1) {
    const int k = __builtin_ctzll(added);
    dst[kZigZag.natural[k]] = definition::scaled(negative >> k & 1 ? -1 : 1, low);
  }
}

// What has been read for a block.
struct Refinement {
  uint64_t known;
  uint64_t passed = 0;  // the known ones whose correction bits have been taken
  uint64_t bits = 0;    // these bits, the last one lowest
  uint64_t added = 0, negative = 0;

  MOX_INLINE MoxStatus pass(GroupReader<true>& in, uint64_t passing) {
    int count = __builtin_popcountll(passing);
    const MoxStatus status = in.takeEach(count, bits);
    if (status) [[unlikely]]  // the first `count` of them only
      for (uint64_t first; count > 0; count--, passing ^= first) passed |= first = passing & -passing;
    else
      passed |= passing;
    return status;
  }
};

MOX_INLINE MoxStatus walk(GroupReader<true>& in, Refinement& block, uint64_t rest, const DecodeSpec& table,
                          int32_t& blocks) {
  const uint64_t known = block.known;
  while (blocks <= 0 && rest) {
    int symbol = 0;
    uint32_t positive = 0;
    if (const MoxStatus bad = in.symbol(table, symbol)) return bad;
    const int run = symbol >> 4, size = symbol & 15;
    if (size == 0 && run < 15) {
      if (const MoxStatus bad = definition::takeRun(in, run, blocks)) return bad;
      break;
    }
    if (size > 0)
      if (const MoxStatus bad = in.take(1, positive)) return bad;
    const uint64_t place = nthBit(rest & ~known, run);  // 0: all the rest is passed
    if (const MoxStatus bad = block.pass(in, known & rest & (place - 1))) return bad;
    if (size > 0) {
      block.added |= place;
      block.negative |= positive ? 0 : place;
    }
    rest &= ~(place ^ (place - 1));
  }
  if (blocks <= 0) return moxStatusOk;
  if (const MoxStatus bad = block.pass(in, known & rest)) return bad;
  blocks--;
  return moxStatusOk;
}

MoxStatus decodeACRefine(const Mox8u* src, int32_t length, int32_t* position, Mox16s* dst, int32_t* marker, Band band,
                         const DecodeSpec* table, DecodeState* state) {
  prefetchBlocks(dst);
  const uint64_t rest = positions(band);
  Refinement block{knownPositions(dst) & rest};
  int32_t blocks = state->eobRun;
  if (blocks > 0 && block.known == 0) {
    state->eobRun = blocks - 1;
    return moxStatusOk;
  }
  if (!GroupReader<true>::takes(*state)) [[unlikely]]
    return definition::decodeACRefine(src, length, position, dst, marker, band, table, state);
  GroupReader<true> in(src, length, *position, *marker, *state);
  const MoxStatus status = walk(in, block, rest, *table, blocks);
  refine(dst, band.low, spread(block.bits, block.passed), block.added, block.negative);
  state->eobRun = blocks;
  return in.keep(position, marker, state, status);
}

#else

constexpr auto decodeDCFirst = definition::decodeDCFirst;
constexpr auto decodeACFirst = definition::decodeACFirst;
constexpr auto decodeACRefine = definition::decodeACRefine;

#endif

}  // namespace

const ProgDecodeKernels progDecodeKernels = {
    .dcFirst = decodeDCFirst, .acFirst = decodeACFirst, .acRefine = decodeACRefine};

}  // namespace mox::MOX_TARGET
