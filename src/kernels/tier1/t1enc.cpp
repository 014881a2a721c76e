#include "kernels/tier1/t1enc.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "kernels/tier1/mq_loop.h"
#include "kernels/vec/vec.h"

namespace mox::MOX_TARGET {
namespace {

using namespace tier1;

constexpr size_t kChunk = 4 * kChunkColumns;

// ---- Bytes for each coefficient of a chunk, and the choice of some of them

#if defined(MOX_TARGET_IS_avx512) && defined(__x86_64__)

using Bytes = __m512i;

Bytes load64(const void* p) { return _mm512_loadu_si512(p); }

template <int kBase, int kBits>
Bytes bytesOf(const slice::Numbers<kBase, kBits>& numbers) {
  Bytes bytes = _mm512_set1_epi8(kBase);
  for (int k = 0; k < kBits; k++)
    bytes = _mm512_mask_add_epi8(bytes, numbers.bit[k], bytes, _mm512_set1_epi8(static_cast<char>(1 << k)));
  return bytes;
}

void replace(Bytes& bytes, uint64_t set, uint8_t byte) {
  bytes = _mm512_mask_mov_epi8(bytes, set, _mm512_set1_epi8(static_cast<char>(byte)));
}

// The bytes of a set's coefficients, one after the other.
uint8_t* append(uint8_t* out, const Bytes& bytes, uint64_t set) {
  _mm512_storeu_si512(out, _mm512_maskz_compress_epi8(set, bytes));
  return out + _mm_popcnt_u64(set);
}

struct Pairs {
  Bytes half[2];
};

// So that unpacking, which works on blocks of 128 bits, gives the elements in their order.
Bytes apart(const Bytes& bytes) { return _mm512_permutexvar_epi64(_mm512_setr_epi64(0, 4, 1, 5, 2, 6, 3, 7), bytes); }
Pairs pairs(Bytes first, Bytes second) {
  first = apart(first), second = apart(second);
  return {_mm512_unpacklo_epi8(first, second), _mm512_unpackhi_epi8(first, second)};
}

// For each coefficient its byte of `first`, if it is in that set, and its byte of `second`.
uint8_t* appendPairs(uint8_t* out, const Bytes& first, uint64_t firstSet, const Bytes& second, uint64_t secondSet) {
  const Pairs both = pairs(first, second);
  for (int half = 0; half < 2; half++)
    out = append(out, both.half[half],
                 _pdep_u64(firstSet >> 32 * half, UINT64_C(0x5555555555555555)) |
                     _pdep_u64(secondSet >> 32 * half, UINT64_C(0xAAAAAAAAAAAAAAAA)));
  return out;
}

// The same with the first significant coefficients of some columns in run mode: ahead of the first row of such a
// column the broken run, ahead of such a coefficient its position. That makes four places for each coefficient, the
// third for the lower bit of the position or the significance.
uint8_t* appendBroken(uint8_t* out, Bytes significance, uint64_t coded, const Bytes& sign, uint64_t fresh,
                      uint64_t broken, uint64_t firsts) {
  significance = _mm512_mask_mov_epi8(significance, firsts, _mm512_set1_epi16(0x0100));
  const Pairs before = pairs(_mm512_set1_epi8(kRunBroken), _mm512_set1_epi32(0x01010000));
  const Pairs behind = pairs(significance, sign);
  for (int quarter = 0; quarter < 4; quarter++) {
    const auto places = [&](uint64_t set, int place) { return _pdep_u64(set >> 16 * quarter, slice::kTop << place); };
    const Bytes a = apart(before.half[quarter / 2]), b = apart(behind.half[quarter / 2]);
    out = append(out, quarter % 2 ? _mm512_unpackhi_epi16(a, b) : _mm512_unpacklo_epi16(a, b),
                 places(broken, 0) | places(firsts, 1) | places(coded | firsts, 2) | places(fresh, 3));
  }
  return out;
}

// The decisions of a bit-plane: the top bits of the windows.
uint64_t decisionsOf(const uint8_t* windows) {
  return _mm512_test_epi8_mask(load64(windows), _mm512_set1_epi8(1 << (kWindowBits - 1)));
}

void windowsOf(const uint32_t* coefficients, int plane, uint8_t* windows) {
  const int below = plane + 1 - kWindowBits;
  const __m128i right = _mm_cvtsi32_si128(below > 0 ? below : 0), left = _mm_cvtsi32_si128(below < 0 ? -below : 0);
  for (int i = 0; i < 4; i++) {
    const __m512i shifted = _mm512_sll_epi32(_mm512_srl_epi32(load64(coefficients + 16 * i), right), left);
    const __m512i window = _mm512_and_si512(shifted, _mm512_set1_epi32((1 << kWindowBits) - 1));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(windows + 16 * i), _mm512_cvtepi32_epi8(window));
  }
}

// The sums of the windows' lower bits over chosen coefficients, for their distortions.
class Moments {
 public:
  void add(const uint8_t* windows, uint64_t chosen) {
    const __m512i low = _mm512_set1_epi8((1 << (kWindowBits - 1)) - 1);
    const __m512i j = _mm512_maskz_mov_epi8(chosen, _mm512_and_si512(load64(windows), low));
    count_ += static_cast<uint32_t>(_mm_popcnt_u64(chosen));
    sum_ = _mm512_add_epi64(sum_, _mm512_sad_epu8(j, _mm512_setzero_si512()));
    squares_ = _mm512_dpbusd_epi32(squares_, j, j);
  }
  uint32_t weigh(const Gain& gain) const {
    return gain.constant * count_ + gain.linear * static_cast<uint32_t>(_mm512_reduce_add_epi64(sum_)) +
           gain.square * static_cast<uint32_t>(_mm512_reduce_add_epi32(squares_));
  }

 private:
  uint32_t count_ = 0;
  __m512i sum_ = _mm512_setzero_si512(), squares_ = _mm512_setzero_si512();
};

#else

static_assert(std::endian::native == std::endian::little);  // as eight bytes in a word are taken for in a row

// Eight bits as eight bytes.
constexpr auto kApart = [] {
  std::array<uint64_t, 256> table{};
  for (int bits = 0; bits < 256; bits++)
    for (int k = 0; k < 8; k++) table[bits] |= static_cast<uint64_t>(bits >> k & 1) << 8 * k;
  return table;
}();
constexpr uint64_t kEach = kApart[255];

uint64_t load8(const uint8_t* p) {
  uint64_t value;
  std::memcpy(&value, p, sizeof value);
  return value;
}
void store8(uint8_t* p, uint64_t value) { std::memcpy(p, &value, sizeof value); }

struct Bytes {
  uint8_t at[kChunk];
};

template <int kBase, int kBits>
Bytes bytesOf(const slice::Numbers<kBase, kBits>& numbers) {
  Bytes bytes;
  for (size_t i = 0; i < kChunk; i += 8) {
    uint64_t eight = kEach * kBase;
#pragma GCC unroll 8
    for (int k = 0; k < kBits; k++) eight += kApart[numbers.bit[k] >> i & 0xFF] << k;
    store8(bytes.at + i, eight);
  }
  return bytes;
}

template <class Body>
void forEach(uint64_t set, const Body& body) {
  for (; set; set &= set - 1) body(std::countr_zero(set));
}

void replace(Bytes& bytes, uint64_t set, uint8_t byte) {
  forEach(set, [&](int i) { bytes.at[i] = byte; });
}

// The bytes of a set's coefficients, one after the other.
uint8_t* append(uint8_t* out, const Bytes& bytes, uint64_t set) {
  forEach(set, [&](int i) { *out++ = bytes.at[i]; });
  return out;
}

// For each coefficient its byte of `first`, if it is in that set, and its byte of `second`.
uint8_t* appendPairs(uint8_t* out, const Bytes& first, uint64_t firstSet, const Bytes& second, uint64_t secondSet) {
  forEach(firstSet, [&](int i) {
    out[0] = first.at[i];
    out[1] = second.at[i];
    out += 1 + (secondSet >> i & 1);
  });
  return out;
}

// The same with the first significant coefficients of some columns in run mode: ahead of the first row of such a
// column the broken run, ahead of such a coefficient its position.
uint8_t* appendBroken(uint8_t* out, const Bytes& significance, uint64_t coded, const Bytes& sign, uint64_t fresh,
                      uint64_t broken, uint64_t firsts) {
  forEach(coded | broken | firsts, [&](int i) {
    if (broken >> i & 1) *out++ = kRunBroken;
    if (firsts >> i & 1) {
      *out++ = symbol(mq::kUniform, i >> 1 & 1);
      *out++ = symbol(mq::kUniform, i & 1);
    }
    *out = significance.at[i];
    out += coded >> i & 1;
    *out = sign.at[i];
    out += fresh >> i & 1;
  });
  return out;
}

// The decisions of a bit-plane: the top bits of the windows.
uint64_t decisionsOf(const uint8_t* windows) {
  uint64_t all = 0;
  for (size_t i = 0; i < kChunk; i += 8)  // each byte's bit to its place in the highest byte
    all |= ((load8(windows + i) >> (kWindowBits - 1) & kEach) * UINT64_C(0x0102040810204080) >> 56) << i;
  return all;
}

void windowsOf(const uint32_t* coefficients, int plane, uint8_t* windows) {
  const int below = plane + 1 - kWindowBits, right = std::max(below, 0), left = std::max(-below, 0);
  for (size_t i = 0; i < kChunk; i++)
    windows[i] = static_cast<uint8_t>(coefficients[i] >> right << left & ((1u << kWindowBits) - 1));
}

// The sums of the windows' lower bits over chosen coefficients, for their distortions.
class Moments {
 public:
  void add(const uint8_t* windows, uint64_t chosen) {
    constexpr uint64_t kLow = (1u << (kWindowBits - 1)) - 1, kEven = UINT64_C(0x00FF00FF00FF00FF);
    for (size_t i = 0; i < kChunk; i += 32) {
      uint64_t sums = 0;
      for (size_t k = i; k < i + 32; k += 8) sums += load8(windows + k) & kApart[chosen >> k & 0xFF] * kLow;
      sum_ += static_cast<uint32_t>(((sums & kEven) + (sums >> 8 & kEven)) * UINT64_C(0x0001000100010001) >> 48);
    }
    count_ += static_cast<uint32_t>(std::popcount(chosen));
    forEach(chosen, [&](int i) { squares_ += (windows[i] & kLow) * (windows[i] & kLow); });
  }
  uint32_t weigh(const Gain& gain) const {
    return gain.constant * count_ + gain.linear * sum_ + gain.square * squares_;
  }

 private:
  uint32_t count_ = 0, sum_ = 0, squares_ = 0;
};

#endif

// ---- Preparation

uint32_t arrange(const Mox32s* src, int32_t srcStep, int32_t width, int32_t height, uint32_t* coefficients,
                 Chunk* chunks) {
  uint32_t all = 0;
  for (int y = 0; y < height; y += 4, chunks += chunksOf(width) + 2) {
    for (size_t k = 0; k < chunksOf(width); k++, coefficients += kChunk) {
      std::memset(coefficients, 0, kChunk * sizeof *coefficients);
      const int columns = std::min(width - static_cast<int>(k) * kChunkColumns, kChunkColumns);
      uint64_t negative = 0;
      for (int row = 0; row < std::min(height - y, 4); row++) {
        const char* const line = reinterpret_cast<const char*>(src) + static_cast<ptrdiff_t>(y + row) * srcStep +
                                 sizeof(Mox32s) * kChunkColumns * k;
        for (int x = 0; x < columns; x++) {
          uint32_t value;
          std::memcpy(&value, line + 4 * x, sizeof value);
          coefficients[4 * x + row] = value;
          all |= value;
          negative |= static_cast<uint64_t>(value >> 31) << (4 * x + row);
        }
      }
      chunks[k].negative = negative;
    }
  }
  return all;
}

void window(const uint32_t* coefficients, size_t count, int plane, uint8_t* windows) {
  for (size_t i = 0; i < count; i += kChunk) windowsOf(coefficients + i, plane, windows + i);
}

// ---- The scan (D.3)

// A chunk, those above and below it, each between its neighbours of the stripe.
struct Place {
  Chunk* chunk;
  const Chunk* above;
  const Chunk* below;
  const uint8_t* windows;
  uint64_t valid;  // the coefficients within the block

  // The neighbours' bits of a set, which in this chunk holds `coded` for neighbours that come earlier in the scan and
  // `open` for those that come later.
  slice::Neighbours around(uint64_t Chunk::*set, uint64_t coded, uint64_t open) const {
    using namespace slice;
    const uint64_t before = chunk[-1].*set, after = chunk[1].*set;
    const uint64_t a = above->*set, b = below->*set;
    return {.n = north(coded, a),
            .s = south(open, b),
            .w = west(coded, before),
            .e = east(open, after),
            .nw = west(north(coded, a), north(before, above[-1].*set)),
            .ne = east(north(open, a), north(after, above[1].*set)),
            .sw = west(south(coded, b), south(before, below[-1].*set)),
            .se = east(south(open, b), south(after, below[1].*set))};
  }
};

template <class Body>
void forEachChunk(const ScanPass& pass, const Body& body) {
  const size_t chunks = chunksOf(pass.width), stride = chunks + 2;
  const Chunk* const nothing = pass.chunks - stride;  // the spare stripe
  Place p{pass.chunks, nullptr, nullptr, pass.windows, 0};
  for (int y = 0; y < pass.height; y += 4, p.chunk += 2) {
    const uint64_t rows = pass.height - y >= 4 ? ~UINT64_C(0) : slice::kTop * ((1u << (pass.height - y)) - 1);
    for (size_t k = 1; k <= chunks; k++, p.chunk++, p.windows += kChunk) {
      const int columns = pass.width - static_cast<int>(k - 1) * kChunkColumns;
      p.valid = columns >= kChunkColumns ? rows : rows & ((UINT64_C(1) << 4 * columns) - 1);
      p.above = p.chunk - stride;
      p.below = pass.causal ? nothing + k - 1 : p.chunk + stride;
      body(p);
    }
  }
}

Bytes significanceBytes(Band band, uint64_t decisions, const slice::Neighbours& of) {
  switch (band) {
    case kBandHL:
      return bytesOf(slice::significance<kBandHL>(decisions, of));
    case kBandHH:
      return bytesOf(slice::significance<kBandHH>(decisions, of));
    default:
      return bytesOf(slice::significance<kBandLow>(decisions, of));
  }
}

Bytes signBytes(const Place& p, const slice::Neighbours& of, bool raw) {
  const uint64_t negative = p.chunk->negative;
  if (raw) return bytesOf(slice::Numbers<0, 1>{{negative}});
  return bytesOf(slice::sign(negative, of, p.around(&Chunk::negative, negative, negative)));
}

template <bool kRaw>
void significance(ScanPass& pass) {
  Moments moments;
  forEachChunk(pass, [&](const Place& p) {
    Chunk& chunk = *p.chunk;
    const uint64_t before = chunk.significant, open = p.valid & ~before;
    slice::Neighbours of = p.around(&Chunk::significant, before, before);
    uint64_t coded = of.any() & open;
    if (coded != 0) {
      const uint64_t decisions = decisionsOf(p.windows);
      for (uint64_t fresh = coded & decisions; fresh != 0; fresh &= decisions) {
        fresh = slice::later(fresh) & open & ~coded;
        coded |= fresh;
      }
      const uint64_t fresh = coded & decisions;
      if (fresh == 0) {
        pass.symbols = append(pass.symbols, significanceBytes(pass.band, 0, of), coded);
      } else {
        chunk.significant = before | fresh;
        of = p.around(&Chunk::significant, chunk.significant, before);
        pass.symbols = appendPairs(pass.symbols, significanceBytes(pass.band, decisions, of), coded,
                                   signBytes(p, of, kRaw), fresh);
        moments.add(p.windows, fresh);
      }
    }
    chunk.visited = coded;
  });
  pass.distortion = moments.weigh(kGain[pass.exact].significance);
}

void refinement(ScanPass& pass) {
  Moments zeros, ones;
  forEachChunk(pass, [&](const Place& p) {
    Chunk& chunk = *p.chunk;
    const uint64_t coded = chunk.significant & ~chunk.visited;
    if (coded == 0) return;
    const uint64_t decisions = decisionsOf(p.windows);
    const uint64_t some = p.around(&Chunk::significant, chunk.significant, chunk.significant).any();
    pass.symbols = append(pass.symbols, bytesOf(slice::refinement(decisions, some, chunk.refined)), coded);
    chunk.refined |= coded;
    zeros.add(p.windows, coded & ~decisions);
    ones.add(p.windows, coded & decisions);
  });
  const Gains& gain = kGain[pass.exact];
  pass.distortion = zeros.weigh(gain.refinement[0]) + ones.weigh(gain.refinement[1]);
}

void cleanup(ScanPass& pass) {
  Moments moments;
  forEachChunk(pass, [&](const Place& p) {
    using namespace slice;
    Chunk& chunk = *p.chunk;
    const uint64_t before = chunk.significant;
    uint64_t coded = p.valid & ~(before | chunk.visited);
    chunk.visited = 0;
    if (coded == 0) return;
    const uint64_t decisions = decisionsOf(p.windows), fresh = coded & decisions;
    chunk.significant = before | fresh;
    const Neighbours of = p.around(&Chunk::significant, chunk.significant, before);
    // Columns of four without a significant neighbour when the scan comes to them.
    const uint64_t quiet = coded & ~(of.w | of.e | of.nw | of.ne | of.sw | of.se | (of.n & kTop) | (of.s & kBottom));
    const uint64_t runs = quiet & quiet >> 1 & quiet >> 2 & quiet >> 3 & kTop;
    const auto rowsBelow = [](uint64_t set) {
      return (set << 1 & ~kTop) | (set << 2 & ~(3 * kTop)) | (set << 3 & kBottom);
    };
    const uint64_t interrupting = fresh & 15 * runs, firsts = interrupting & ~rowsBelow(interrupting);
    coded = (coded & ~(15 * runs)) | rowsBelow(firsts);
    Bytes bytes = significanceBytes(pass.band, decisions, of);
    const uint64_t broken = (firsts | firsts >> 1 | firsts >> 2 | firsts >> 3) & kTop;
    replace(bytes, runs & ~broken, kRunOfZeros);
    coded |= runs & ~broken;
    if (fresh == 0) {
      pass.symbols = append(pass.symbols, bytes, coded);
      return;
    }
    const Bytes sign = signBytes(p, of, false);
    pass.symbols = broken == 0 ? appendPairs(pass.symbols, bytes, coded, sign, fresh)
                               : appendBroken(pass.symbols, bytes, coded, sign, fresh, broken, firsts);
    moments.add(p.windows, fresh);
  });
  pass.distortion = moments.weigh(kGain[pass.exact].significance);
}

void code(MqEncoder& coder, const uint8_t* symbols, const uint8_t* end) { encodeSymbols(coder, symbols, end); }

}  // namespace

const Tier1EncodeKernels tier1EncodeKernels = {
    .arrange = arrange,
    .window = window,
    .significance = {significance<false>, significance<true>},
    .refinement = refinement,
    .cleanup = cleanup,
    .code = code,
};

}  // namespace mox::MOX_TARGET
