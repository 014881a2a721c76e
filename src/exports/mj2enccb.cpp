// The code-block encoder (ISO/IEC 15444-1, Annexes C and D).
//
// LoadCodeBlock scans the bit-planes and leaves a tape of symbols, one byte a decision. The first StoreBits runs the MQ
// and raw coders over the whole tape, pass by pass, into a buffer of the state that holds the longest possible code
// string; from then on StoreBits copies. So neither the scan nor the coder has to stop in the middle of a loop.
#include <algorithm>
#include <bit>
#include <cstring>

#include "exports/mj2cb.h"
#include "frame/check.h"
#include "frame/memory.h"
#include "kernels/dispatch.h"
#include "kernels/tier1/t1enc.h"
#include "moxj.h"

namespace mox {
namespace {

using namespace tier1;

constexpr int kMagnitudeBits = 31;
constexpr int kMaxPasses = 3 * kMagnitudeBits - 2;

struct Pass {
  int32_t distortion, exponent;
  int32_t rate;
  const uint8_t* symbols;  // its part of the tape
  const uint8_t* symbolsEnd;
  bool raw;
};

// Bounds for a block with `columns` columns of four. Each coefficient takes one decision in every bit-plane and one
// sign; a column's run is broken once, which takes at most two decisions more than its coefficients would (the run and
// two for the position, in place of one for the first coefficient). Each bit-plane may end with a segmentation symbol.
constexpr int64_t symbolsBound(int64_t columns) {
  return columns * (4 * (kMagnitudeBits + 1) + 2) + 4 * kMagnitudeBits + kSymbolSlack;
}
// No decision shifts by more than 15 bits and no byte takes less than 7; a termination adds at most five bytes to each
// pass, and the byte before the first needs room.
constexpr int64_t bytesBound(int64_t columns) { return symbolsBound(columns) * 15 / 7 + 5 * kMaxPasses + 2; }

}  // namespace
}  // namespace mox

struct MoxJ2KEncodeState {
  uint32_t tag;
  int32_t maxWidth, maxHeight;  // of a block
  int32_t options;
  mox::mq::Termination termination;
  int32_t numPasses, numSegments;
  bool coded;         // whether the symbols have become bytes
  int32_t length;     // of the code string
  int32_t delivered;  // bytes of it that the caller has
  mox::Pass passes[mox::kMaxPasses];
  int32_t segmentLengths[mox::kMaxPasses];
  mox::mq::Encoder coder;
  // Parts of one allocation, in this order.
  mox::tier1::Chunk* chunks;
  uint32_t* coefficients;
  uint8_t* windows;
  uint8_t* symbols;
  uint8_t* bytes;
};

namespace mox {
namespace {

// The sizes of a state's arrays, for blocks of up to width x height.
struct Layout {
  int64_t stride;  // of a stripe's chunks
  int64_t chunks, coefficients, windows, symbols, bytes;

  // Nothing overflows: fits() has found the product of the sides small.
  Layout(int32_t width, int32_t height) {
    const int64_t stripes = static_cast<int64_t>(stripesOf(height));
    stride = static_cast<int64_t>(chunksOf(width)) + 2;
    chunks = static_cast<int64_t>(sizeof(Chunk)) * stride * (stripes + 2);
    windows = static_cast<int64_t>(kChunkSize) * (stride - 2) * stripes;
    coefficients = static_cast<int64_t>(sizeof(uint32_t)) * windows;
    symbols = symbolsBound(width * stripes);
    bytes = bytesBound(width * stripes);
  }
  int64_t total() const { return chunks + coefficients + windows + symbols + bytes; }

  static bool fits(int32_t width, int32_t height) {
    const int64_t stripes = static_cast<int64_t>(stripesOf(height));
    return width * stripes <= INT32_MAX / 16 && Layout(width, height).total() <= INT32_MAX;
  }
};

void freeState(MoxJ2KEncodeState* state) {
  moxFree(state->chunks);
  moxFreeTagged(state);
}

MoxJ2KEncodeState* newState(int32_t width, int32_t height) {
  if (!Layout::fits(width, height)) return nullptr;
  const Layout layout(width, height);
  void* const head = moxMalloc(sizeof(MoxJ2KEncodeState));
  if (!head) return nullptr;
  MoxJ2KEncodeState* const state = static_cast<MoxJ2KEncodeState*>(std::memset(head, 0, sizeof(MoxJ2KEncodeState)));
  uint8_t* next = static_cast<uint8_t*>(moxMalloc(static_cast<int32_t>(layout.total())));
  if (!next) return moxFree(state), nullptr;
  state->chunks = reinterpret_cast<Chunk*>(next);
  state->coefficients = reinterpret_cast<uint32_t*>(next += layout.chunks);
  state->windows = next += layout.coefficients;
  state->symbols = next += layout.windows;
  state->bytes = next + layout.symbols;
  state->tag = kEncodeTag;
  state->maxWidth = width;
  state->maxHeight = height;
  return state;
}

// ---- LoadCodeBlock

struct Block {
  const Mox32s* src;
  int32_t srcStep, width, height;
  Subband subband;
  int lowest;  // the lowest coded bit-plane
};

// Turns the block into passes on the tape. Returns the number of its bit-planes.
int scanBlock(MoxJ2KEncodeState& state, const Block& block) {
  const Tier1EncodeKernels& kernels = kernels::tier1Encode();
  const Layout layout(block.width, block.height);
  Chunk* const chunks = state.chunks + layout.stride + 1;
  std::memset(state.chunks, 0, layout.chunks);
  const uint32_t all = kernels.arrange(block.src, block.srcStep, block.width, block.height, state.coefficients, chunks);
  const int planes = std::bit_width(all & 0x7FFFFFFF);

  ScanPass scan{.chunks = chunks,
                .windows = state.windows,
                .width = block.width,
                .height = block.height,
                .subband = block.subband,
                .causal = has(state.options, moxJ2KCausal),
                .exact = false,
                .symbols = state.symbols,
                .distortion = 0};
  Pass* next = state.passes;
  for (int plane = planes - 1; plane >= block.lowest; plane--) {
    kernels.window(state.coefficients, layout.windows, plane, state.windows);
    scan.exact = has(state.options, moxJ2KExactLast) && plane == block.lowest;
    const bool raw = has(state.options, moxJ2KBypass) && plane < planes - 4;
    const auto pass = [&](void (*kernel)(ScanPass&), bool isRaw) {
      const uint8_t* const first = scan.symbols;
      kernel(scan);
      *next++ = {.distortion = static_cast<int32_t>(scan.distortion),
                 .exponent = 2 * (plane - block.lowest) - kDistortionScale,
                 .rate = 0,
                 .symbols = first,
                 .symbolsEnd = scan.symbols,
                 .raw = isRaw};
    };
    if (plane < planes - 1) {
      pass(kernels.significance[raw], raw);
      pass(kernels.refinement, raw);
    }
    pass(kernels.cleanup, false);
    if (has(state.options, moxJ2KSegSymbol)) {
      for (const int bit : {1, 0, 1, 0}) *scan.symbols++ = symbol(mq::kUniform, bit);
      next[-1].symbolsEnd = scan.symbols;
    }
  }
  state.numPasses = static_cast<int32_t>(next - state.passes);
  return planes;
}

bool endsSegment(const MoxJ2KEncodeState& state, int pass) {
  return has(state.options, moxJ2KTermAll) || pass + 1 == state.numPasses ||
         state.passes[pass].raw != state.passes[pass + 1].raw;
}

int countSegments(const MoxJ2KEncodeState& state) {
  if (has(state.options, moxJ2KTermAll)) return state.numPasses;
  int count = 1;
  for (int pass = 0; pass + 1 < state.numPasses; pass++) count += endsSegment(state, pass);
  return count;
}

// ---- StoreBits

// Turns the whole tape into the code string, segment by segment, and records the rates of the passes.
class CodeString {
 public:
  explicit CodeString(MoxJ2KEncodeState& state)
      : state_(state), coder_(state.coder), begin_(state.bytes + 1), first_(begin_) {}

  void code() {
    coder_.contexts.reset();
    int segment = 0;
    bool starts = true;
    for (int pass = 0; pass < state_.numPasses; pass++) {
      if (starts) start(state_.passes[pass].raw);
      append(state_.passes[pass]);
      starts = endsSegment(state_, pass);
      int toCome = 0;
      if (starts)
        state_.segmentLengths[segment++] = finish(state_.passes[pass].raw);
      else
        toCome = state_.passes[pass].raw ? raw_.partial() : mq::bytesToCome(coder_, first_);
      recordRate(pass, toCome);
      if (has(state_.options, moxJ2KReset)) coder_.contexts.reset();
    }
    state_.length = static_cast<int32_t>(end_ - begin_);
    // A decoder supplies bytes of 0xFF past the end.
    for (int pass = 0; pass < state_.numPasses; pass++) {
      int32_t& rate = state_.passes[pass].rate;
      if (rate > 0 && begin_[rate - 1] == 0xFF) rate--;
    }
  }

 private:
  void start(bool raw) {
    before_ = first_[-1];
    if (raw)
      raw_.start(first_);
    else
      mq::start(coder_, first_);
  }

  void append(const Pass& pass) {
    if (pass.raw) {
      for (const uint8_t* p = pass.symbols; p != pass.symbolsEnd; p++) raw_.put(*p & 1);
      end_ = raw_.out();
    } else {
      kernels::tier1Encode().code(coder_, pass.symbols, pass.symbolsEnd);
      end_ = std::max(coder_.out, first_);
    }
  }

  // Ends the segment. Returns its length.
  int32_t finish(bool raw) {
    end_ = raw ? raw_.finish() : mq::finish(coder_, state_.termination, first_);
    const int32_t length = static_cast<int32_t>(end_ - first_);
    first_[-1] = before_;
    first_ = end_;
    return length;
  }

  // A rate without bytes to come is exact: no earlier pass needs more.
  void recordRate(int pass, int toCome) {
    const int32_t rate = static_cast<int32_t>(end_ - begin_) + toCome;
    state_.passes[pass].rate = rate;
    if (toCome == 0)
      for (int i = pass; i > 0 && state_.passes[i - 1].rate > rate; i--) state_.passes[i - 1].rate = rate;
  }

  MoxJ2KEncodeState& state_;
  mq::Encoder& coder_;
  mq::RawWriter raw_;
  uint8_t* const begin_;
  uint8_t* first_;  // of the current segment
  uint8_t* end_ = begin_;
  uint8_t before_ = 0;
};

// ---- Queries

// distortion * 2^exponent. The exponents lie between -13 and 47.
double scaled(int32_t distortion, int exponent) {
  const double power = static_cast<double>(UINT64_C(1) << (exponent < 0 ? -exponent : exponent));
  return exponent > 0 ? distortion * power : distortion / power;
}

// A query about one of `count` passes or segments.
template <class Result>
MoxStatus checkQuery(const MoxJ2KEncodeState* state, int32_t number, const int32_t MoxJ2KEncodeState::*count,
                     const Result* result) {
  return Check()
      .pointers(state)
      .tag(state, kEncodeTag)
      .pointers(result)
      .holds([=] { return number < state->*count && number >= 0; }, moxStatusBadPassNumber);
}

}  // namespace
}  // namespace mox

using namespace mox;

MoxStatus moxiEncodeInitAlloc_JPEG2K(MoxJ2KEncodeState** ppState, int32_t width, int32_t height) {
  if (const MoxStatus bad = Check().pointers(ppState).length(height).length(width)) return bad;
  *ppState = newState(width, height);
  return *ppState ? moxStatusOk : moxStatusNoMemory;
}

MoxStatus moxiEncodeFree_JPEG2K(MoxJ2KEncodeState* pState) {
  if (const MoxStatus bad = Check().pointers(pState)) return bad;
  freeState(pState);
  return moxStatusOk;
}

MoxStatus moxiEncodeLoadCodeBlock_JPEG2K_32s_C1R(const Mox32s* pSrc, int32_t srcStep, int32_t width, int32_t height,
                                                 MoxJ2KEncodeState* pState, int32_t subband, int32_t magnitudeBits,
                                                 int32_t termKind, int32_t /*reserved*/, int32_t options,
                                                 int32_t* pNumBitPlanes, int32_t* pNumPasses, int32_t* pNumSegments) {
  if (const MoxStatus bad =
          Check()
              .pointers(pState)
              .tag(pState, kEncodeTag)
              .pointers(pNumBitPlanes, pNumPasses, pNumSegments)
              .length(height)
              .length(width)
              .holds([=] { return width <= pState->maxWidth && height <= pState->maxHeight; }, moxStatusBadSize)
              .pointers(pSrc)
              .steps(srcStep))
    return bad;
  MoxJ2KEncodeState& state = *pState;
  state.options = options;
  state.termination = termKind == moxJ2KTermShortest      ? mq::kShortest
                      : termKind == moxJ2KTermPredictable ? mq::kPredictable
                                                          : mq::kFlush;
  state.coded = false;
  state.length = state.delivered = 0;
  std::memset(state.segmentLengths, 0, sizeof state.segmentLengths);
  const int lowest = kMagnitudeBits - std::clamp(magnitudeBits, 0, kMagnitudeBits);
  *pNumBitPlanes = scanBlock(state, {pSrc, srcStep, width, height, subbandOf(subband), lowest});
  *pNumPasses = state.numPasses;
  *pNumSegments = state.numSegments = countSegments(state);
  return moxStatusOk;
}

MoxStatus moxiEncodeStoreBits_JPEG2K_1u(Mox8u* pDst, int32_t* pDstLen, MoxJ2KEncodeState* pState,
                                        int32_t* pNotFinished) {
  if (const MoxStatus bad = Check()
                                .pointers(pState)
                                .tag(pState, kEncodeTag)
                                .pointers(pDst, pDstLen, pNotFinished)
                                .holds([=] { return *pDstLen >= 1; }, moxStatusBadSize))
    return bad;
  MoxJ2KEncodeState& state = *pState;
  if (!state.coded) CodeString(state).code();
  state.coded = true;
  const int32_t count = std::min(*pDstLen, state.length - state.delivered);
  if (count > 0) std::memcpy(pDst, state.bytes + 1 + state.delivered, count);
  state.delivered += count;
  *pDstLen = count;
  *pNotFinished = state.delivered < state.length;
  return moxStatusOk;
}

MoxStatus moxiEncodeGetRate_JPEG2K(MoxJ2KEncodeState* pState, int32_t pass, int32_t* pRate) {
  if (const MoxStatus bad = checkQuery(pState, pass, &MoxJ2KEncodeState::numPasses, pRate)) return bad;
  *pRate = pState->passes[pass].rate;
  return moxStatusOk;
}

MoxStatus moxiEncodeGetDist_JPEG2K(MoxJ2KEncodeState* pState, int32_t pass, double* pDist) {
  if (const MoxStatus bad = checkQuery(pState, pass, &MoxJ2KEncodeState::numPasses, pDist)) return bad;
  double sum = 0;
  for (int i = 0; i <= pass; i++) sum += scaled(pState->passes[i].distortion, pState->passes[i].exponent);
  *pDist = sum;
  return moxStatusOk;
}

MoxStatus moxiEncodeGetTermPassLen_JPEG2K(MoxJ2KEncodeState* pState, int32_t segment, int32_t* pLength) {
  if (const MoxStatus bad = checkQuery(pState, segment, &MoxJ2KEncodeState::numSegments, pLength)) return bad;
  *pLength = pState->segmentLengths[segment];
  return moxStatusOk;
}
