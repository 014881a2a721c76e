#include "proof/huffman.h"
#include "moxj.h"
#include "proof/golden_huffman.h"

namespace test {
namespace {

// Full tables and typical ones, and blocks that are empty, sparse and dense.
RawTable seededTable(Random& random, int i) { return i % 3 == 0 ? typicalAC() : fullTable(random); }

void seededBlock(Random& random, Mox16s* block, int i) {
  const int densities[] = {0, 1, 5, 20, 64};
  randomBlock(random, block, densities[i % 5], i % 7 == 6 ? 15 : 7);
}

template <auto GetBufSize>
void size(Digest& digest, Random&) {
  int32_t size = 0;
  digest.value(GetBufSize(&size));
  digest.value(size);
}

template <class Object, auto Init>
void table(Digest& digest, Random& random) {
  for (int i = 0; i < 20; i++) {
    const RawTable raw = i == 0 ? typicalDC() : seededTable(random, i);
    uint8_t object[LayoutOf<Object>::kSize];
    digest.value(Init(raw.bits, raw.values, reinterpret_cast<Object*>(object)));
    digestObject(digest, reinterpret_cast<const Object*>(object));
  }
}

template <class Object, auto InitAlloc, auto Free>
void allocatedTable(Digest& digest, Random& random) {
  const RawTable raw = seededTable(random, 1);
  Object* object = nullptr;
  digest.value(InitAlloc(raw.bits, raw.values, &object));
  digestObject(digest, object);
  digest.value(Free(object));
  digest.value(Free(nullptr));
}

template <class Object, auto Init>
void state(Digest& digest, Random& random) {
  uint8_t object[LayoutOf<Object>::kSize];
  for (uint8_t& b : object) b = random.any<uint8_t>();
  digest.value(Init(reinterpret_cast<Object*>(object)));
  digestWholeState<Object>(digest, object);
}

template <class Object, auto InitAlloc, auto Free>
void allocatedState(Digest& digest, Random&) {
  Object* object = nullptr;
  digest.value(InitAlloc(&object));
  digestObject(digest, object);
  digest.value(Free(object));
  digest.value(Free(nullptr));
}

void encode(Digest& digest, Random& random) {
  for (int i = 0; i < 30; i++) {
    EncodeTable dc(seededTable(random, i)), ac(seededTable(random, i + 1));
    EncoderState state;
    std::vector<Mox8u> dst(4000);
    int32_t position = 0;
    Mox16s lastDC = 0, block[64];
    for (int n = 0; n < 20; n++) {
      seededBlock(random, block, n);
      digest.value(moxiEncodeHuffman8x8_JPEG_16s1u_C1(block, dst.data(), 4000, &position, &lastDC, dc.get(), ac.get(),
                                                      state.get(), n == 19));
      digest.value(position);
      digest.value(lastDC);
      digestWholeState<MoxEncodeHuffmanState>(digest, state.bytes);
    }
    digest.values(dst);
  }
}

void encodeDirect(Digest& digest, Random& random) {
  for (int i = 0; i < 30; i++) {
    EncodeTable dc(seededTable(random, i)), ac(seededTable(random, i + 1));
    std::vector<Mox8u> dst(16000);
    int32_t position = i;
    Mox16s lastDC = 0, block[64];
    for (int n = 0; n < 20; n++) {
      seededBlock(random, block, n);
      digest.value(
          moxiEncodeHuffman8x8_Direct_JPEG_16s1u_C1(block, dst.data(), &position, &lastDC, dc.get(), ac.get()));
      digest.value(position);
    }
    digest.values(dst);
  }
}

void statistics(Digest& digest, Random& random) {
  std::vector<int32_t> dc(256), ac(256);
  Mox16s lastDC = 0, block[64];
  for (int n = 0; n < 50; n++) {
    seededBlock(random, block, n);
    digest.value(moxiGetHuffmanStatistics8x8_JPEG_16s_C1(block, dc.data(), ac.data(), &lastDC));
  }
  digest.values(dc);
  digest.values(ac);
}

// Random bytes with stuffing and, here and there, a marker.
std::vector<Mox8u> seededSegment(Random& random) {
  std::vector<Mox8u> src(1000);
  for (size_t i = 0; i + 2 < src.size(); i++) {
    src[i] = random.any<Mox8u>();
    if (src[i] == 0xFF || random.oneIn(50)) src[i] = 0xFF, src[++i] = random.oneIn(10) ? 0xD0 : 0;
  }
  src[998] = 0xFF;
  src[999] = 0xD9;
  return src;
}

void decode(Digest& digest, Random& random) {
  for (int i = 0; i < 30; i++) {
    DecodeTable dc(seededTable(random, i)), ac(seededTable(random, i + 1));
    DecoderState state;
    const std::vector<Mox8u> src = seededSegment(random);
    int32_t position = 0, marker = 0;
    Mox16s lastDC = 0, block[64];
    for (int n = 0; n < 100; n++) {
      digest.value(moxiDecodeHuffman8x8_JPEG_1u16s_C1(src.data(), 1000, &position, block, &lastDC, &marker, dc.get(),
                                                      ac.get(), state.get()));
      digest.values(std::vector<Mox16s>(block, block + 64));
      for (const int32_t v : {position, marker, static_cast<int32_t>(lastDC)}) digest.value(v);
      digestWholeState<MoxDecodeHuffmanState>(digest, state.bytes);
      marker = 0;
    }
  }
}

void decodeDirect(Digest& digest, Random& random) {
  for (int i = 0; i < 30; i++) {
    DecodeTable dc(seededTable(random, i)), ac(seededTable(random, i + 1));
    const std::vector<Mox8u> src = seededSegment(random);
    int32_t position = 0, marker = 0, count = 0;
    Mox32u bits = 0;
    Mox16s lastDC = 0, block[64];
    for (int n = 0; n < 100 && position < 998 * 8; n++) {
      digest.value(moxiDecodeHuffman8x8_Direct_JPEG_1u16s_C1(src.data(), &position, block, &lastDC, &marker, &bits,
                                                             &count, dc.get(), ac.get()));
      digest.values(std::vector<Mox16s>(block, block + 64));
      for (const int32_t v : {position, marker, count, static_cast<int32_t>(lastDC)}) digest.value(v);
      digest.value(bits);
      if (marker && marker != 0xD9) marker = 0;
    }
  }
}

const GoldenCase kCases[] = {
    {"moxiEncodeHuffmanSpecGetBufSize_JPEG_8u", size<moxiEncodeHuffmanSpecGetBufSize_JPEG_8u>},
    {"moxiDecodeHuffmanSpecGetBufSize_JPEG_8u", size<moxiDecodeHuffmanSpecGetBufSize_JPEG_8u>},
    {"moxiEncodeHuffmanStateGetBufSize_JPEG_8u", size<moxiEncodeHuffmanStateGetBufSize_JPEG_8u>},
    {"moxiDecodeHuffmanStateGetBufSize_JPEG_8u", size<moxiDecodeHuffmanStateGetBufSize_JPEG_8u>},
    {"moxiEncodeHuffmanSpecInit_JPEG_8u", table<MoxEncodeHuffmanSpec, moxiEncodeHuffmanSpecInit_JPEG_8u>},
    {"moxiDecodeHuffmanSpecInit_JPEG_8u", table<MoxDecodeHuffmanSpec, moxiDecodeHuffmanSpecInit_JPEG_8u>},
    {"moxiEncodeHuffmanSpecInitAlloc_JPEG_8u",
     allocatedTable<MoxEncodeHuffmanSpec, moxiEncodeHuffmanSpecInitAlloc_JPEG_8u, moxiEncodeHuffmanSpecFree_JPEG_8u>},
    {"moxiEncodeHuffmanSpecFree_JPEG_8u",
     allocatedTable<MoxEncodeHuffmanSpec, moxiEncodeHuffmanSpecInitAlloc_JPEG_8u, moxiEncodeHuffmanSpecFree_JPEG_8u>},
    {"moxiDecodeHuffmanSpecInitAlloc_JPEG_8u",
     allocatedTable<MoxDecodeHuffmanSpec, moxiDecodeHuffmanSpecInitAlloc_JPEG_8u, moxiDecodeHuffmanSpecFree_JPEG_8u>},
    {"moxiDecodeHuffmanSpecFree_JPEG_8u",
     allocatedTable<MoxDecodeHuffmanSpec, moxiDecodeHuffmanSpecInitAlloc_JPEG_8u, moxiDecodeHuffmanSpecFree_JPEG_8u>},
    {"moxiEncodeHuffmanStateInit_JPEG_8u", state<MoxEncodeHuffmanState, moxiEncodeHuffmanStateInit_JPEG_8u>},
    {"moxiDecodeHuffmanStateInit_JPEG_8u", state<MoxDecodeHuffmanState, moxiDecodeHuffmanStateInit_JPEG_8u>},
    {"moxiEncodeHuffmanStateInitAlloc_JPEG_8u",
     allocatedState<MoxEncodeHuffmanState, moxiEncodeHuffmanStateInitAlloc_JPEG_8u,
                    moxiEncodeHuffmanStateFree_JPEG_8u>},
    {"moxiEncodeHuffmanStateFree_JPEG_8u",
     allocatedState<MoxEncodeHuffmanState, moxiEncodeHuffmanStateInitAlloc_JPEG_8u,
                    moxiEncodeHuffmanStateFree_JPEG_8u>},
    {"moxiDecodeHuffmanStateInitAlloc_JPEG_8u",
     allocatedState<MoxDecodeHuffmanState, moxiDecodeHuffmanStateInitAlloc_JPEG_8u,
                    moxiDecodeHuffmanStateFree_JPEG_8u>},
    {"moxiDecodeHuffmanStateFree_JPEG_8u",
     allocatedState<MoxDecodeHuffmanState, moxiDecodeHuffmanStateInitAlloc_JPEG_8u,
                    moxiDecodeHuffmanStateFree_JPEG_8u>},
    {"moxiEncodeHuffman8x8_JPEG_16s1u_C1", encode},
    {"moxiEncodeHuffman8x8_Direct_JPEG_16s1u_C1", encodeDirect},
    {"moxiGetHuffmanStatistics8x8_JPEG_16s_C1", statistics},
    {"moxiDecodeHuffman8x8_JPEG_1u16s_C1", decode},
    {"moxiDecodeHuffman8x8_Direct_JPEG_1u16s_C1", decodeDirect},
};

}  // namespace

GoldenCases huffmanGolden() { return kCases; }

}  // namespace test
