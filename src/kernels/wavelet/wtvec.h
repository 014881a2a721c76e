// Vectors for the row filters: lines are gone through in blocks of pairs, as many as a vector has lanes, and all
// lifting steps of a block are done in registers. The types are the compiler's own, so that one source serves all
// targets.
#pragma once

#include <type_traits>
#include <utility>

#include "kernels/vec/vec.h"
#include "kernels/wavelet/wtline.h"

namespace mox::MOX_TARGET {

template <class T, int Bytes>
struct LanesOf {
  typedef T Type __attribute__((vector_size(Bytes)));
};
template <class T, int Bytes>
using Lanes = typename LanesOf<T, Bytes>::Type;

template <class V>
MOX_INLINE V lanesAt(const void* p) {
  V v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
template <class V>
MOX_INLINE void putLanes(void* p, V v) {
  std::memcpy(p, &v, sizeof v);
}
template <class V>
inline constexpr int kLanes = static_cast<int>(sizeof(V) / sizeof(std::declval<V>()[0]));

template <class V>
using Lane = std::remove_cvref_t<decltype(std::declval<V>()[0])>;
template <class V>
MOX_INLINE V alike(Lane<V> value) {
  return V{} + value;
}

// Lane i of the result is lane `Index::at(i, lanes)` of a and b together.
template <class Index, class V, size_t... I>
MOX_INLINE V shuffledBy(V a, V b, std::index_sequence<I...>) {
  return __builtin_shufflevector(a, b, Index::at(static_cast<int>(I), static_cast<int>(sizeof...(I)))...);
}
template <class Index, class V>
MOX_INLINE V shuffled(V a, V b) {
  return shuffledBy<Index>(a, b, std::make_index_sequence<kLanes<V>>());
}

struct EvenLanes {
  static constexpr int at(int i, int) { return 2 * i; }
};
struct OddLanes {
  static constexpr int at(int i, int) { return 2 * i + 1; }
};
struct LowerZip {
  static constexpr int at(int i, int lanes) { return i / 2 + (i & 1) * lanes; }
};
struct UpperZip {
  static constexpr int at(int i, int lanes) { return lanes / 2 + LowerZip::at(i, lanes); }
};
struct OneBefore {
  static constexpr int at(int i, int lanes) { return lanes - 1 + i; }
};
template <int Count>
struct After {
  static constexpr int at(int i, int) { return i + Count; }
};

// v moved by a lane, or by more, behind it what stands in the block before or behind.
template <class V>
MOX_INLINE V oneBefore(V blockBefore, V v) {
  return shuffled<OneBefore>(blockBefore, v);
}
template <int Count = 1, class V>
MOX_INLINE V after(V v, V next) {
  return shuffled<After<Count>>(v, next);
}

// Both halves of as many pairs as V has lanes.
template <class V>
struct Pairs {
  V even, odd;
};
template <class V, class T>
MOX_INLINE Pairs<V> pairsAt(const T* p, ptrdiff_t i) {
  const V a = lanesAt<V>(element(p, i)), b = lanesAt<V>(element(p, i + kLanes<V>));
  return {shuffled<EvenLanes>(a, b), shuffled<OddLanes>(a, b)};
}
template <class V, class T>
MOX_INLINE void putPairs(T* p, ptrdiff_t i, V even, V odd) {
  putLanes(element(p, i), shuffled<LowerZip>(even, odd));
  putLanes(element(p, i + kLanes<V>), shuffled<UpperZip>(even, odd));
}

// Filters the first `pairs` pairs of a line block by block, the last one moved back to end there. A filter loads a
// block, asks for what it needs of the next one, which behind the last is only `beyond` it, and keeps what the next
// one needs of it; `start` is for where there was none before. Returns false, with nothing done, if the line is
// shorter than a block.
template <class Filter>
MOX_INLINE bool inBlocks(Filter filter, ptrdiff_t pairs) {
  constexpr ptrdiff_t kSize = Filter::kPairs;
  if (pairs < kSize) return false;
  filter.start(0);
  auto block = filter.load(0);
  ptrdiff_t p = 0;
  for (; p + 2 * kSize <= pairs; p += kSize) {
    const auto next = filter.load(p + kSize);
    filter.step(p, block, next);
    block = next;
  }
  filter.step(p, block, filter.beyond(p + kSize));
  if (p + kSize == pairs) return true;
  filter.start(pairs - kSize);
  filter.step(pairs - kSize, filter.load(pairs - kSize), filter.beyond(pairs));
  return true;
}

// The same with the widest vectors of the target, or 128 bits for a line that is shorter.
template <class Make>
MOX_INLINE bool inBlocksOfAnySize([[maybe_unused]] ptrdiff_t pairs, [[maybe_unused]] const Make& make) {
#if MOX_VECTOR
  if (inBlocks(make.template operator()<VMax::kBytes>(), pairs)) return true;
  if constexpr (!std::is_same_v<VMax, V128>) return inBlocks(make.template operator()<V128::kBytes>(), pairs);
#endif
  return false;
}

// Covers a row, each element once: `step` is for vectors, `one` for elements, which are all there is on targets
// without vectors. The widest vectors are aligned with what lies at `written`: stores that straddle cache lines are
// slow.
template <class T, class Step, class One>
MOX_INLINE void eachVector([[maybe_unused]] const T* written, ptrdiff_t count, [[maybe_unused]] const Step& step,
                           const One& one) {
  ptrdiff_t i = 0;
#if MOX_VECTOR
  constexpr ptrdiff_t kSize = sizeof(T), kMost = VMax::kBytes / kSize, kLeast = V128::kBytes / kSize;
  if (count >= 2 * kMost) {
    const ptrdiff_t lead = static_cast<ptrdiff_t>(-reinterpret_cast<uintptr_t>(written) % VMax::kBytes) / kSize;
    for (; i < lead % kLeast; i++) one(i);
    for (; i < lead; i += kLeast) step.template operator()<V128::kBytes>(i);
  }
  for (; i <= count - kMost; i += kMost) step.template operator()<VMax::kBytes>(i);
  for (; i <= count - kLeast; i += kLeast) step.template operator()<V128::kBytes>(i);
#endif
  for (; i < count; i++) one(i);
}

}  // namespace mox::MOX_TARGET
