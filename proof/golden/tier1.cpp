#include "moxj.h"
#include "proof/golden.h"

namespace test {
namespace {

struct Source {
  int width, height;
  std::vector<Mox32s> coefficients;
};

Source makeSource(Random& random, int width, int height, int planes) {
  Source s{width, height, std::vector<Mox32s>(static_cast<size_t>(width) * height)};
  for (Mox32s& c : s.coefficients) {
    const uint32_t magnitude = (random.any<uint32_t>() & ((1u << planes) - 1)) >> random.below(planes + 2);
    c = static_cast<Mox32s>(magnitude | (random.any<uint32_t>() & 0x80000000));
  }
  return s;
}

// Encodes seeded blocks in every set of modes; `report` sees the state once the code string is out.
template <class Report>
void forEachBlock(Random& random, const Report& report) {
  MoxJ2KEncodeState* state = nullptr;
  moxiEncodeInitAlloc_JPEG2K(&state, 64, 64);
  for (int options = 0; options < 64; options++) {
    const int planes = random.between(1, 11), height = 1 + random.below(40), width = 1 + random.below(64);
    const Source s = makeSource(random, width, height, planes);
    int32_t counts[3], notFinished, length = 1 << 17;
    moxiEncodeLoadCodeBlock_JPEG2K_32s_C1R(s.coefficients.data(), 4 * s.width, s.width, s.height, state, options % 5,
                                           options % 7 ? 31 : 29, options % 3, 0, options, &counts[0], &counts[1],
                                           &counts[2]);
    std::vector<Mox8u> bytes(length);
    moxiEncodeStoreBits_JPEG2K_1u(bytes.data(), &length, state, &notFinished);
    bytes.resize(length);
    report(state, s, counts, bytes, options);
  }
  moxiEncodeFree_JPEG2K(state);
}

using State = MoxJ2KEncodeState*;
using Bytes = std::vector<Mox8u>;

// Decodes random bytes in every set of modes, step by step.
template <class Report>
void forEachStep(Random& random, const Report& report) {
  MoxJ2KDecodeState* state = nullptr;
  moxiDecodeCBProgrInitAlloc_JPEG2K(&state, 40, 40);
  for (int options = 0; options < 32; options++) {
    const int width = 1 + random.below(40), height = 1 + random.below(40);
    std::vector<Mox32s> dst(static_cast<size_t>(width) * height);
    const int planes = random.between(1, 9);
    moxiDecodeCBProgrAttach_JPEG2K_32s_C1R(dst.data(), 4 * width, width, height, state, options % 5, planes,
                                           options | (random.oneIn(4) ? 0x100000 : 0));
    moxiDecodeCBProgrSetPassCounter_JPEG2K(3 * planes - 2, state);
    for (int step = 0; step < 6; step++) {
      const auto bytes = seeded<Mox8u>(random, 200);
      report(state, moxiDecodeCBProgrStep_JPEG2K(bytes.data(), 200, state), dst);
    }
  }
  moxiDecodeCBProgrFree_JPEG2K(state);
}

using DecodeState = MoxJ2KDecodeState*;
using Destination = std::vector<Mox32s>;

template <auto Size>
void sizes(Digest& digest, Random&) {
  for (const int width : {1, 6, 7, 64, 1024, 0})
    for (const int height : {1, 2, 3, 64, 0}) {
      int32_t size = 0;
      digest.value(Size(width, height, &size));
      digest.value(size);
    }
}

const GoldenCase kCases[] = {
    {"moxiEncodeInitAlloc_JPEG2K",
     [](Digest& digest, Random&) {
       State state = nullptr;
       digest.value(moxiEncodeInitAlloc_JPEG2K(&state, 64, 64));
       digest.words<uint32_t>(state, 4);
       moxiEncodeFree_JPEG2K(state);
       digest.value(moxiEncodeInitAlloc_JPEG2K(&state, 0, 64));
     }},
    {"moxiEncodeFree_JPEG2K",
     [](Digest& digest, Random&) {
       State state = nullptr;
       moxiEncodeInitAlloc_JPEG2K(&state, 4, 4);
       digest.value(moxiEncodeFree_JPEG2K(state));
       digest.value(moxiEncodeFree_JPEG2K(nullptr));
     }},
    {"moxiEncodeLoadCodeBlock_JPEG2K_32s_C1R",
     [](Digest& digest, Random& random) {
       forEachBlock(random, [&](State, const Source&, const int32_t* counts, const Bytes&, int) {
         digest.words<int32_t>(counts, 3 * sizeof *counts);
       });
     }},
    {"moxiEncodeStoreBits_JPEG2K_1u",
     [](Digest& digest, Random& random) {
       forEachBlock(random,
                    [&](State, const Source&, const int32_t*, const Bytes& bytes, int) { digest.values(bytes); });
     }},
    {"moxiEncodeGetRate_JPEG2K",
     [](Digest& digest, Random& random) {
       forEachBlock(random, [&](State state, const Source&, const int32_t* counts, const Bytes&, int) {
         for (int32_t i = 0, rate = 0; i <= counts[1]; i++) {
           digest.value(moxiEncodeGetRate_JPEG2K(state, i, &rate));
           digest.value(rate);
         }
       });
     }},
    {"moxiEncodeGetDist_JPEG2K",
     [](Digest& digest, Random& random) {
       forEachBlock(random, [&](State state, const Source&, const int32_t* counts, const Bytes&, int) {
         double distortion = 0;
         for (int32_t i = 0; i <= counts[1]; i++) {
           digest.value(moxiEncodeGetDist_JPEG2K(state, i, &distortion));
           digest.value(distortion);
         }
       });
     }},
    {"moxiEncodeGetTermPassLen_JPEG2K",
     [](Digest& digest, Random& random) {
       forEachBlock(random, [&](State state, const Source&, const int32_t* counts, const Bytes&, int) {
         for (int32_t i = 0, length = 0; i <= counts[2]; i++) {
           digest.value(moxiEncodeGetTermPassLen_JPEG2K(state, i, &length));
           digest.value(length);
         }
       });
     }},
    {"moxiDecodeGetBufSize_JPEG2K", sizes<moxiDecodeGetBufSize_JPEG2K>},
    {"moxiDecodeCodeBlock_JPEG2K_1u32s_C1R",
     [](Digest& digest, Random& random) {
       forEachBlock(random, [&](State state, const Source& s, const int32_t* counts, const Bytes& bytes, int options) {
         std::vector<int32_t> lengths(counts[2] + 1);
         for (int i = 0; i < counts[2]; i++) moxiEncodeGetTermPassLen_JPEG2K(state, i, &lengths[i]);
         Destination dst(s.coefficients.size());
         int32_t size = 0, plane = -1;
         moxiDecodeGetBufSize_JPEG2K(s.width, s.height, &size);
         Bytes buffer(size), source = bytes;
         source.push_back(0);
         if (random.oneIn(3)) source[random.below(static_cast<int>(source.size()))] ^= 0x10;
         const int passes = random.oneIn(2) ? counts[1] : random.between(0, counts[1]);
         digest.value(moxiDecodeCodeBlock_JPEG2K_1u32s_C1R(
             source.data(), dst.data(), 4 * s.width, s.width, s.height, options % 5, counts[0], passes, lengths.data(),
             counts[2], (options & 31) | (random.below(32) & 5) << 16, &plane, buffer.data()));
         digest.value(plane);
         digest.values(dst);
       });
     }},
    {"moxiDecodeCBProgrGetStateSize_JPEG2K", sizes<moxiDecodeCBProgrGetStateSize_JPEG2K>},
    {"moxiDecodeCBProgrInit_JPEG2K",
     [](Digest& digest, Random&) {
       Bytes memory(484);
       digest.value(moxiDecodeCBProgrInit_JPEG2K(reinterpret_cast<DecodeState>(memory.data())));
       digest.words<uint32_t>(memory.data(), 4);
       digest.value(moxiDecodeCBProgrInit_JPEG2K(nullptr));
     }},
    {"moxiDecodeCBProgrInitAlloc_JPEG2K",
     [](Digest& digest, Random&) {
       DecodeState state = nullptr;
       digest.value(moxiDecodeCBProgrInitAlloc_JPEG2K(&state, 64, 64));
       digest.words<uint32_t>(state, 4);
       moxiDecodeCBProgrFree_JPEG2K(state);
       digest.value(moxiDecodeCBProgrInitAlloc_JPEG2K(&state, 64, 0));
     }},
    {"moxiDecodeCBProgrFree_JPEG2K",
     [](Digest& digest, Random&) {
       DecodeState state = nullptr;
       moxiDecodeCBProgrInitAlloc_JPEG2K(&state, 4, 4);
       digest.value(moxiDecodeCBProgrFree_JPEG2K(state));
       digest.value(moxiDecodeCBProgrFree_JPEG2K(nullptr));
     }},
    {"moxiDecodeCBProgrAttach_JPEG2K_32s_C1R",
     [](Digest& digest, Random& random) {
       DecodeState state = nullptr;
       moxiDecodeCBProgrInitAlloc_JPEG2K(&state, 9, 9);
       for (const int options : {0, 0x20000}) {
         auto dst = seeded<Mox32s>(random, 81);
         digest.value(moxiDecodeCBProgrAttach_JPEG2K_32s_C1R(dst.data(), 36, 8, 9, state, 2, 5, options));
         digest.values(dst);
       }
       moxiDecodeCBProgrFree_JPEG2K(state);
     }},
    {"moxiDecodeCBProgrStep_JPEG2K",
     [](Digest& digest, Random& random) {
       forEachStep(random, [&](DecodeState, MoxStatus status, const Destination& dst) {
         digest.value(status);
         digest.values(dst);
       });
     }},
    {"moxiDecodeCBProgrGetPassCounter_JPEG2K",
     [](Digest& digest, Random& random) {
       forEachStep(random, [&](DecodeState state, MoxStatus, const Destination&) {
         int32_t count = 0;
         digest.value(moxiDecodeCBProgrGetPassCounter_JPEG2K(state, &count));
         digest.value(count);
       });
     }},
    {"moxiDecodeCBProgrSetPassCounter_JPEG2K",
     [](Digest& digest, Random& random) {
       forEachStep(random, [&](DecodeState state, MoxStatus, const Destination& dst) {
         digest.values(dst);
         digest.value(moxiDecodeCBProgrSetPassCounter_JPEG2K(random.between(0, 3), state));
       });
     }},
    {"moxiDecodeCBProgrGetCurBitPlaneNum_JPEG2K",
     [](Digest& digest, Random& random) {
       forEachStep(random, [&](DecodeState state, MoxStatus, const Destination&) {
         int32_t plane = 0;
         digest.value(moxiDecodeCBProgrGetCurBitPlaneNum_JPEG2K(state, &plane));
         digest.value(plane);
       });
     }},
};

}  // namespace

GoldenCases tier1Golden() { return kCases; }

}  // namespace test
