// Down- and up-sampling by two, a row at a time.
//
// The plain loops form each output from two, four or three samples in integers (sample.h). The vectors:
//
//   downH2V1, downH2V2   dotU8 adds neighbouring bytes in 16 bits; bias, shift and a pack follow. Steps begin at even
//                        outputs, so that the alternating biases keep their lanes.
//   upH2V1               averages of bytes alone, two a result; one step a column.
//   upH2V2               column sums 3 n + f by dotU8, then along the row; one step a gap between two columns.
//
// The same code serves every target. Targets differ in the width of VMax and in the operations (vec/): dotU8 is one
// instruction from SSSE3 on, packsU16Linear has a permutation on AVX2 and AVX-512. Three more differences are here:
// prefetching (prefetchAround) is compiled for vectors above 128 bits only, narrowPairs depends on kHasMulRound16, and
// upH2V2 on kHasShlJoined16. Rows shorter than a vector are left to the plain loops, and so are the ends of up-sampled
// rows, whose neighbours come from elsewhere.
#include "kernels/colour/sample.h"

#include "kernels/vec/prefetch.h"
#include "kernels/vec/sweep.h"

namespace mox::MOX_TARGET {
namespace {

constexpr int biasAt(Bias bias, ptrdiff_t i) { return i % 2 ? bias.odd : bias.even; }

// Prefetches what a later step reads and writes, farther ahead where it reads more. Measured (AVX-512): up-sampling 6
// to 14 % faster in the second-level cache and a quarter beyond the caches, down-sampling up to 6 % and up to 18 %.
// Vectors of 128 bits, which would ask for each line several times, do without.
template <class V, int Reads, int Writes>
MOX_INLINE void prefetchAround(const Mox8u* src, const Mox8u* dst) {
  if constexpr (V::kBytes > V128::kBytes) {
    prefetchAhead<Reads, Reads <= V::kBytes ? 1024 : 2048>(src);
    prefetchAhead<Writes>(dst);
  }
}

// Where down-sampling steps should begin: at an even output, so that the biases keep their lanes.
inline ptrdiff_t evenLead(const Mox8u* src) { return bytesToLine(src) / 4 * 2; }

// The biases of consecutive outputs as 16-bit lanes, from output i on.
template <class V>
MOX_INLINE V biases(Bias bias, ptrdiff_t i) {
  return set32<V>(biasAt(bias, i) | biasAt(bias, i + 1) << 16);
}

template <class V>
MOX_INLINE V downPairs(const Mox8u* src, V bias) {
  return shrU16<1>(add16(dotU8<1, 1>(load<V>(src)), bias));
}

template <class V>
MOX_INLINE V downQuads(const Mox8u* upper, const Mox8u* lower, V bias) {
  return shrU16<2>(add16(add16(dotU8<1, 1>(load<V>(upper)), dotU8<1, 1>(load<V>(lower))), bias));
}

void downH2V1(const Mox8u* src, Mox8u* dst, ptrdiff_t count, Bias bias) {
  if (sweepBytes(0, count, evenLead(src), [=]<class V>(ptrdiff_t i) {
        prefetchAround<V, 2 * V::kBytes, V::kBytes>(src + 2 * i, dst + i);
        const V round = biases<V>(bias, i);
        store(dst + i, packsU16Linear(downPairs(src + 2 * i, round), downPairs(src + 2 * i + V::kBytes, round)));
      }))
    return;
  for (ptrdiff_t i = 0; i < count; i++) dst[i] = definition::downH2V1(src[2 * i], src[2 * i + 1], biasAt(bias, i));
}

void downH2V2(const Mox8u* upper, const Mox8u* lower, Mox8u* dst, ptrdiff_t count, Bias bias) {
  if (sweepBytes(0, count, evenLead(upper), [=]<class V>(ptrdiff_t i) {
        const V round = biases<V>(bias, i);
        const Mox8u *const a = upper + 2 * i, *const b = lower + 2 * i;
        prefetchAround<V, 2 * V::kBytes, V::kBytes>(a, dst + i);
        prefetchAround<V, 2 * V::kBytes, 0>(b, dst);
        store(dst + i, packsU16Linear(downQuads(a, b, round), downQuads(a + V::kBytes, b + V::kBytes, round)));
      }))
    return;
  for (ptrdiff_t i = 0; i < count; i++)
    dst[i] = definition::downH2V2(upper[2 * i], upper[2 * i + 1], lower[2 * i], lower[2 * i + 1], biasAt(bias, i));
}

// Along rows alone, up-sampling goes from column to column, outputs 2 k and 2 k + 1 of column k, so that stores can
// begin on cache lines.

// The triangle filter in bytes, by averages of two: with avg rounding halves up and floorAvg down,
//   (3 b + c + 2) >> 2 = avg(b, floorAvg(b, c)), (3 b + a + 1) >> 2 = floorAvg(b, avg(a, b)).
// floorAvg(b, c) is avg(b, c) less the parity of b + c; floorAvg(b, d) is avg(b, d - 1), and where d is 0 so is b.
template <class V>
MOX_INLINE void upColumns(const Mox8u* src, Mox8u* dst) {
  prefetchAround<V, V::kBytes, 2 * V::kBytes>(src, dst);
  const V one = set8<V>(1), a = load<V>(src - 1), b = load<V>(src), c = load<V>(src + 1);
  const V left = avgU8(b, subsU8(avgU8(a, b), one));
  const V right = avgU8(b, sub8(avgU8(b, c), bitAnd(bitXor(b, c), one)));
  storeBlocks(dst, low8(left, right), high8(left, right));
}

void upH2V1(const Mox8u* src, int before, int after, Mox8u* dst, ptrdiff_t count) {
  if (count == 0) return;
  const ptrdiff_t last = (count - 1) / 2;
  dst[0] = definition::upLeft(src[0], before);
  if (count > 1) dst[1] = definition::upRight(src[0], last > 0 ? src[1] : after);
  if (last == 0) return;
  dst[2 * last] = definition::upLeft(src[last], src[last - 1]);
  if (count % 2 == 0) dst[count - 1] = definition::upRight(src[last], after);
  if (sweepBytes(1, last, bytesToLine(dst + 2) / 2, [=]<class V>(ptrdiff_t k) { upColumns<V>(src + k, dst + 2 * k); }))
    return;
  for (ptrdiff_t k = 1; k < last; k++) {
    dst[2 * k] = definition::upLeft(src[k], src[k - 1]);
    dst[2 * k + 1] = definition::upRight(src[k], src[k + 1]);
  }
}

// In both directions at once the sums cost more than the stores, so this goes from gap to gap: outputs 2 k - 1 and 2 k,
// to the right of column k - 1 and to the left of column k, depend on the same two sums. One output lies before the
// first gap, one after the last.

// Column sums of bytes that interleaving has put side by side come doubled: the average of two is the plain sum of
// both columns. With kHasShlJoined16 they come times 32.
template <class V>
MOX_INLINE V doubledSums(V nearAndFar) {
  if constexpr (kHasShlJoined16) {
    return dotU8<96, 32>(nearAndFar);
  } else {
    return dotU8<6, 2>(nearAndFar);
  }
}

// (first + 7) >> 4 in the lower bytes, (second + 8) >> 4 in the upper ones.
template <class V>
MOX_INLINE V narrowPairs(V first, V second) {
  if constexpr (kHasMulRound16) {
    // (first + 7) >> 4 rounds halves down, as the negative of the negative rounded up does.
    return sub16(shl16<8>(mulRound16(second, set16<V>(1 << 11))), mulRound16(first, set16<V>(-(1 << 11))));
  } else {
    const V high = bitAnd(shl16<4>(add16(second, set16<V>(8))), set16<V>(0xFF00));
    return bitOr(shrU16<4>(add16(first, set16<V>(7))), high);
  }
}

// The two outputs of each gap, side by side, from the doubled sums of the columns to its left and right.
template <class V>
MOX_INLINE V upGapsOfSums(V a, V b) {
  const V both = avgU16(a, b);
  if constexpr (kHasShlJoined16) {
    // Everything is times 16, so that the upper byte of first is a result, which the shift moves below second's.
    const V first = add16(add16(both, a), set16<V>(7 << 4));
    return shlJoined16<8>(mulRound16(avgU16(both, b), set16<V>(1 << 8)), first);
  } else {
    return narrowPairs(add16(both, a), add16(both, b));
  }
}

template <class V>
MOX_INLINE void upGaps(const Mox8u* near, const Mox8u* far, Mox8u* dst) {
  prefetchAround<V, V::kBytes, 2 * V::kBytes>(near, dst);
  prefetchAround<V, V::kBytes, 0>(far, dst);
  const V n = load<V>(near), f = load<V>(far);
  const V low = doubledSums(low8(n, f)), high = doubledSums(high8(n, f));
  const V beforeLow = doubledSums(low8(load<V>(near - 1), load<V>(far - 1))), beforeHigh = slideBytes<14>(low, high);
  storeBlocks(dst - 1, upGapsOfSums(beforeLow, low), upGapsOfSums(beforeHigh, high));
}

void upH2V2(const Mox8u* near, const Mox8u* far, int before, int after, Mox8u* dst, ptrdiff_t count) {
  if (count == 0) return;
  const ptrdiff_t columns = (count + 1) / 2;
  const auto sum = [=](ptrdiff_t k) { return definition::columnSum(near[k], far[k]); };
  dst[0] = definition::upLeftOfSums(sum(0), before);
  if (count % 2 == 0) dst[count - 1] = definition::upRightOfSums(sum(columns - 1), after);
  if (sweepBytes(1, columns, bytesToLine(near + 1),
                 [=]<class V>(ptrdiff_t k) { upGaps<V>(near + k, far + k, dst + 2 * k); }))
    return;
  for (ptrdiff_t k = 1; k < columns; k++) {
    dst[2 * k - 1] = definition::upRightOfSums(sum(k - 1), sum(k));
    dst[2 * k] = definition::upLeftOfSums(sum(k), sum(k - 1));
  }
}

}  // namespace

const SampleKernels sampleKernels = {
    .downH2V1 = downH2V1,
    .downH2V2 = downH2V2,
    .upH2V1 = upH2V1,
    .upH2V2 = upH2V2,
};

}  // namespace mox::MOX_TARGET
