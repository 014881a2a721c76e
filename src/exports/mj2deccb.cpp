// The code-block decoders (ISO/IEC 15444-1, Annexes C and D): pass by pass, and in one call.
//
// A state is one piece of memory at any address: its fields, which every function copies out and back in, and a flag
// word for each column of a stripe. Step runs the passes of one codeword segment; which pass comes next is part of the
// state, so that decoding continues with the next segment. The one-call decoder is Attach and a Step for each segment.
#include <algorithm>
#include <cstring>

#include "exports/mj2cb.h"
#include "frame/check.h"
#include "frame/memory.h"
#include "frame/rows.h"
#include "kernels/dispatch.h"
#include "kernels/tier1/t1dec.h"
#include "moxj.h"

namespace mox {
namespace {

using namespace tier1;

// The part of a state's size that is not flags: the fields, and the slack that aligns the flags. The reported size is
// part of the interface and does not change with the fields.
constexpr int kFieldsSize = 388;
constexpr int kAlignment = 32;  // of the flags; the same as the allocator's

// The kind of the next segment, or with moxJ2KTermAll of the next pass.
enum class Next : int32_t { firstSegment, refinement, significance, cleanupAfterRaw, rawRefinement, rawSignificance };
constexpr Next kCleanup = Next::firstSegment;  // with moxJ2KTermAll

// What a state allows next. Any other value, as in a damaged state, counts as attached.
enum class Attachment : int32_t { none, attached, failed };

// The flags follow at the next multiple of kAlignment, with a spare word at either end of a stripe.
struct Fields {
  uint32_t tag;
  int32_t maxWidth, maxHeight;  // of a block
  Attachment attachment;
  Mox32s* dst;
  int32_t dstStep, width, height;
  Subband subband;
  int32_t options;
  int32_t plane;      // the current bit-plane
  int32_t threshold;  // the lowest bit-plane whose significance and refinement passes are MQ-coded
  int32_t counter;    // passes to decode
  Next next;
  mq::Contexts contexts;
};
static_assert(sizeof(Fields) + kAlignment - 1 <= kFieldsSize);

FlagWord* flagsOf(MoxJ2KDecodeState* state) {
  uint8_t* const end = reinterpret_cast<uint8_t*>(state) + sizeof(Fields);
  return reinterpret_cast<FlagWord*>(end + (-reinterpret_cast<uintptr_t>(end) & (kAlignment - 1)));
}

// The size is that of rows of 32-bit words, two coefficients each, with a spare word at both ends and a spare row above
// and below. Two such rows have room for the flags of one stripe; a last stripe that has only one takes a spare row.
uint64_t stateSize(int32_t width, int32_t height) {
  const uint64_t rowBytes = (UINT64_C(4) * width + 8 + 31) / 32 * 32;
  return rowBytes * ((UINT64_C(1) + height) / 2 + 2) + kFieldsSize;
}

MoxStatus getStateSize(int32_t width, int32_t height, int32_t* pSize) {
  const auto isRepresentable = [=] { return stateSize(width, height) <= INT32_MAX; };
  if (const MoxStatus bad =
          Check().length(height).length(width).pointers(pSize).holds(isRepresentable, moxStatusBadSize))
    return bad;
  *pSize = static_cast<int32_t>(stateSize(width, height));
  return moxStatusOk;
}

// ---- Fields

Fields fieldsOf(const MoxJ2KDecodeState* state) {
  Fields fields;
  std::memcpy(&fields, state, sizeof fields);
  return fields;
}
void setFields(MoxJ2KDecodeState* state, const Fields& fields) { std::memcpy(state, &fields, sizeof fields); }

void initialise(MoxJ2KDecodeState* state, int32_t maxWidth, int32_t maxHeight) {
  Fields fields{};
  fields.tag = kDecodeTag;
  fields.maxWidth = maxWidth;
  fields.maxHeight = maxHeight;
  setFields(state, fields);
}

bool hasRoom(const MoxJ2KDecodeState* state, int32_t width, int32_t height) {
  const Fields fields = fieldsOf(state);
  return width <= fields.maxWidth && height <= fields.maxHeight;
}

void attach(MoxJ2KDecodeState* state, Mox32s* dst, int32_t dstStep, int32_t width, int32_t height, int32_t subband,
            int32_t numBitPlanes, int32_t options) {
  Fields fields = fieldsOf(state);
  fields.attachment = Attachment::attached;
  fields.dst = dst;
  fields.dstStep = dstStep;
  fields.width = width;
  fields.height = height;
  fields.subband = subbandOf(subband);
  fields.options = options;
  fields.plane = std::max(numBitPlanes, INT32_MIN + 1) - 1;
  fields.threshold = has(options, moxJ2KBypass) ? std::max(numBitPlanes, 4) - 4 : 0;
  fields.counter = 0;
  fields.next = Next::firstSegment;
  fields.contexts.reset();
  setFields(state, fields);
  if (!has(options, moxJ2KKeepDestination))
    for (int y = 0; y < height; y++) std::memset(rowAt(dst, dstStep, y), 0, sizeof(Mox32s) * width);
  if (!has(options, moxJ2KKeepFlags))
    std::memset(flagsOf(state), 0, sizeof(FlagWord) * (static_cast<size_t>(width) + 2) * stripesOf(height));
}

// ---- Step

// The bit of a magnitude at bit-plane p: none below 0 or above 30.
constexpr uint32_t planeBit(int p) { return p >= 0 && p < 31 ? 1u << p : 0; }
// All bits below bit-plane p, of the magnitude alone.
constexpr uint32_t bitsBelow(int p) { return p <= 0 ? 0 : p < 31 ? (1u << p) - 1 : 0x7FFFFFFF; }

// The decoding of one segment.
class Segment {
 public:
  Segment(Fields& fields, FlagWord* flags, const uint8_t* bytes, int32_t length)
      : fields_(fields), bytes_(bytes), length_(length) {
    pass_.flags = flags + 1;
    pass_.dst = fields.dst;
    pass_.dstStep = fields.dstStep;
    pass_.width = fields.width;
    pass_.height = fields.height;
    pass_.significance = &kSignificanceContext[fields.subband];
    pass_.mq.contexts = fields.contexts;
  }
  ~Segment() { fields_.contexts = pass_.mq.contexts; }
  Segment(const Segment&) = delete;

  // One pass, with moxJ2KTermAll; false: undecodable.
  bool onePass() {
    fields_.counter--;
    const bool checks = has(fields_.options, moxJ2KCheckTermination);
    const Next now = fields_.next;
    if (now == kCleanup || now == Next::cleanupAfterRaw) {
      startMq();
      if (!cleanup(checks)) return false;
      fields_.plane--;
      fields_.next = now == kCleanup && fields_.plane >= fields_.threshold ? Next::significance : Next::rawSignificance;
    } else if (now == Next::significance || now == Next::refinement) {
      startMq();
      if (!(now == Next::significance ? significance(checks) : refinement(checks))) return false;
      fields_.next = now == Next::significance ? Next::refinement : kCleanup;
    } else {
      startRaw();
      now == Next::rawSignificance ? rawSignificance() : rawRefinement();
      fields_.next = now == Next::rawSignificance ? Next::rawRefinement : Next::cleanupAfterRaw;
    }
    return true;
  }

  // All passes of the segment that the counter allows; false: undecodable.
  bool allPasses() {
    const bool checks = has(fields_.options, moxJ2KCheckTermination);
    switch (fields_.next) {
      case Next::firstSegment:
        return firstSegment(checks);
      case Next::cleanupAfterRaw:
        startMq();
        if (!cleanup(checks)) return false;
        if (--fields_.counter > 0) fields_.plane--, fields_.next = Next::rawSignificance;
        return true;
      default:
        startRaw();
        rawSignificance();
        if (--fields_.counter > 0) {
          rawRefinement();
          fields_.next = Next::cleanupAfterRaw;
          fields_.counter--;
        }
        return true;
    }
  }

 private:
  bool firstSegment(bool checks) {
    startMq();
    for (;;) {
      const bool last = fields_.plane <= fields_.threshold;
      if (!cleanup(checks && fields_.plane == fields_.threshold)) return false;
      fields_.counter--;
      if (last) {
        if (fields_.counter > 0) fields_.plane--, fields_.next = Next::rawSignificance;
        return true;
      }
      if (fields_.counter == 0) return true;
      fields_.plane--;
      if (!significance(false)) return false;
      if (--fields_.counter == 0) return true;
      if (!refinement(false)) return false;
      if (--fields_.counter == 0) return true;
    }
  }

  void startMq() { mq::start(pass_.mq, bytes_, length_); }
  void startRaw() { mq::start(pass_.raw, bytes_, length_); }

  void run(void (*kernel)(DecodePass&)) {
    pass_.one = planeBit(fields_.plane);
    pass_.half = planeBit(fields_.plane - 1);
    pass_.kept = ~(pass_.one | bitsBelow(fields_.plane));
    kernel(pass_);
  }

  bool causal() const { return has(fields_.options, moxJ2KCausal); }
  bool significance(bool checks) {
    run(kernels::tier1Decode().significance[false][causal()]);
    return endOfMqPass(true, checks);
  }
  bool refinement(bool checks) {
    run(kernels::tier1Decode().refinement[false]);
    return endOfMqPass(true, checks);
  }
  bool cleanup(bool checks) {
    run(kernels::tier1Decode().cleanup[causal()]);
    bool good = true;
    if (has(fields_.options, moxJ2KSegSymbol)) {
      uint8_t symbol[4] = {mq::kUniform, mq::kUniform, mq::kUniform, mq::kUniform};
      kernels::tier1Decode().decide(pass_.mq, symbol, 4);
      good = symbol[0] == 1 && symbol[1] == 0 && symbol[2] == 1 && symbol[3] == 0;
    }
    return endOfMqPass(good, checks);
  }
  void rawSignificance() { run(kernels::tier1Decode().significance[true][causal()]); }
  void rawRefinement() { run(kernels::tier1Decode().refinement[true]); }

  // The check of the termination, where there is one, decides alone: it overrules a wrong segmentation symbol.
  bool endOfMqPass(bool good, bool checks) {
    if (checks) good = mq::endsPredictably(pass_.mq, bytes_);
    if (has(fields_.options, moxJ2KReset)) pass_.mq.contexts.reset();
    return good;
  }

  Fields& fields_;
  const uint8_t* const bytes_;
  const int32_t length_;
  DecodePass pass_;
};

MoxStatus step(const uint8_t* segment, int32_t length, MoxJ2KDecodeState* state) {
  Fields fields = fieldsOf(state);
  if (fields.attachment == Attachment::failed) return moxStatusDecodeFailed;
  if (fields.counter < 1 || fields.plane < 0) return moxStatusOk;
  bool good;
  {
    Segment s(fields, flagsOf(state), segment, length);
    good = has(fields.options, moxJ2KTermAll) ? s.onePass() : s.allPasses();
  }
  if (!good) fields.attachment = Attachment::failed;
  setFields(state, fields);
  return good ? moxStatusOk : moxStatusDecodeFailed;
}

// ---- The one-call decoder's last steps

template <class Change>
void forEachCoefficient(Mox32s* dst, int32_t dstStep, int32_t width, int32_t height, const Change& change) {
  for (int y = 0; y < height; y++) {
    char* p = reinterpret_cast<char*>(rowAt(dst, dstStep, y));
    for (int x = 0; x < width; x++, p += sizeof(uint32_t)) {
      uint32_t value;
      std::memcpy(&value, p, sizeof value);
      value = change(value);
      std::memcpy(p, &value, sizeof value);
    }
  }
}

}  // namespace
}  // namespace mox

using namespace mox;

MoxStatus moxiDecodeGetBufSize_JPEG2K(int32_t width, int32_t height, int32_t* pSize) {
  return getStateSize(width, height, pSize);
}

MoxStatus moxiDecodeCodeBlock_JPEG2K_1u32s_C1R(const Mox8u* pSrc, Mox32s* pDst, int32_t dstStep, int32_t width,
                                               int32_t height, int32_t subband, int32_t numBitPlanes, int32_t numPasses,
                                               const int32_t* pSegmentLengths, int32_t numSegments, int32_t options,
                                               int32_t* pCurBitPlane, Mox8u* pBuffer) {
  if (const MoxStatus bad =
          Check().pointers(pSrc, pBuffer).length(height).length(width).pointers(pSegmentLengths, pDst).steps(dstStep))
    return bad;
  MoxJ2KDecodeState* const state = reinterpret_cast<MoxJ2KDecodeState*>(pBuffer);
  initialise(state, width, height);
  attach(state, pDst, dstStep, width, height, subband, numBitPlanes, options);
  moxiDecodeCBProgrSetPassCounter_JPEG2K(numPasses, state);
  MoxStatus status = moxStatusOk;
  for (int i = 0; i < numSegments && status == moxStatusOk; i++) {
    const int32_t length = std::max(pSegmentLengths[i], 0);
    status = step(pSrc, length, state);
    pSrc += length;
  }
  const int plane = fieldsOf(state).plane;
  const uint32_t below = bitsBelow(plane);
  if (status == moxStatusDecodeFailed) {
    if (pCurBitPlane) *pCurBitPlane = plane;
    if (has(options, moxJ2KFillOnError))
      forEachCoefficient(pDst, dstStep, width, height, [=](uint32_t value) {
        const uint32_t cut = value & ~below;
        return cut & 0x7FFFFFFF ? cut | planeBit(plane) : 0;
      });
  }
  if (!has(options, moxJ2KKeepMidpoint) && plane >= 1)
    forEachCoefficient(pDst, dstStep, width, height, [=](uint32_t value) { return value & ~below; });
  return status;
}

MoxStatus moxiDecodeCBProgrGetStateSize_JPEG2K(int32_t width, int32_t height, int32_t* pSize) {
  return getStateSize(width, height, pSize);
}

MoxStatus moxiDecodeCBProgrInit_JPEG2K(MoxJ2KDecodeState* pState) {
  if (const MoxStatus bad = Check().pointers(pState)) return bad;
  initialise(pState, INT32_MAX, INT32_MAX);  // how much memory there is only the caller knows
  return moxStatusOk;
}

MoxStatus moxiDecodeCBProgrInitAlloc_JPEG2K(MoxJ2KDecodeState** ppState, int32_t width, int32_t height) {
  if (const MoxStatus bad = Check().pointers(ppState).length(height).length(width)) return bad;
  const uint64_t size = stateSize(width, height);
  void* const block = size > INT32_MAX ? nullptr : moxMalloc(static_cast<int32_t>(size));
  *ppState = static_cast<MoxJ2KDecodeState*>(block);
  if (!block) return moxStatusNoMemory;
  initialise(*ppState, width, height);
  return moxStatusOk;
}

MoxStatus moxiDecodeCBProgrFree_JPEG2K(MoxJ2KDecodeState* pState) {
  if (const MoxStatus bad = Check().pointers(pState).tag(pState, kDecodeTag)) return bad;
  moxFreeTagged(pState);
  return moxStatusOk;
}

MoxStatus moxiDecodeCBProgrAttach_JPEG2K_32s_C1R(Mox32s* pDst, int32_t dstStep, int32_t width, int32_t height,
                                                 MoxJ2KDecodeState* pState, int32_t subband, int32_t numBitPlanes,
                                                 int32_t options) {
  if (const MoxStatus bad = Check()
                                .pointers(pState)
                                .tag(pState, kDecodeTag)
                                .pointers(pDst)
                                .steps(dstStep)
                                .length(height)
                                .length(width)
                                .holds([=] { return hasRoom(pState, width, height); }, moxStatusBadSize))
    return bad;
  attach(pState, pDst, dstStep, width, height, subband, numBitPlanes, options);
  return moxStatusOk;
}

MoxStatus moxiDecodeCBProgrStep_JPEG2K(const Mox8u* pSegment, int32_t length, MoxJ2KDecodeState* pState) {
  const auto attached = [=] { return fieldsOf(pState).attachment != Attachment::none; };
  if (const MoxStatus bad =
          Check().pointers(pSegment, pState).tag(pState, kDecodeTag).holds(attached, moxStatusNotAttached))
    return bad;
  return step(pSegment, length, pState);
}

MoxStatus moxiDecodeCBProgrGetPassCounter_JPEG2K(MoxJ2KDecodeState* pState, int32_t* pCount) {
  if (const MoxStatus bad = Check().pointers(pState, pCount).tag(pState, kDecodeTag)) return bad;
  *pCount = fieldsOf(pState).counter;
  return moxStatusOk;
}

MoxStatus moxiDecodeCBProgrSetPassCounter_JPEG2K(int32_t count, MoxJ2KDecodeState* pState) {
  if (const MoxStatus bad = Check().pointers(pState).tag(pState, kDecodeTag)) return bad;
  Fields fields = fieldsOf(pState);
  fields.counter = count;
  setFields(pState, fields);
  return moxStatusOk;
}

MoxStatus moxiDecodeCBProgrGetCurBitPlaneNum_JPEG2K(MoxJ2KDecodeState* pState, int32_t* pBitPlane) {
  if (const MoxStatus bad = Check().pointers(pState).tag(pState, kDecodeTag).pointers(pBitPlane)) return bad;
  *pBitPlane = fieldsOf(pState).plane;
  return moxStatusOk;
}
