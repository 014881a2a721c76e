// The objects of the Huffman coders: tables built from BITS and HUFFVAL (T.81 Annex C), and coder states.
#include <cstdint>
#include <cstring>

#include "frame/check.h"
#include "frame/memory.h"
#include "kernels/entropy/state.h"

namespace mox {
namespace {

constexpr int kMaxCodes = 256;
constexpr int kFastBits = 8;

// The codes of a table in the order of HUFFVAL: lengths and values as Annex C generates them.
struct Codes {
  int count = 0;
  uint8_t length[kMaxCodes];
  uint32_t value[kMaxCodes];  // an over-full table's values need more bits than their length
  uint32_t next[17];          // the code that would follow the last one of each length
};

// Generates the codes; false when the counts add up to more than 256. Nothing past the count that exceeds it is read.
bool generate(const Mox8u* bits, Codes& codes) {
  uint32_t code = 0;
  for (int length = 1; length <= 16; length++) {
    const int here = bits[length - 1];
    if (codes.count + here > kMaxCodes) return false;
    code <<= 1;
    for (int i = 0; i < here; i++) {
      codes.length[codes.count] = static_cast<uint8_t>(length);
      codes.value[codes.count++] = code++;
    }
    codes.next[length] = code;
  }
  return true;
}

// In an encoder every code must fit its length, and none may be all ones, which padding could complete.
bool fits(const Codes& codes) {
  for (int length = 1; length <= 16; length++)
    if (codes.next[length] >= 1u << length) return false;
  return true;
}

MoxStatus ownmjBuild(const Mox8u* bits, const Mox8u* values, EncodeSpec& spec) {
  std::memset(&spec, 0, sizeof spec);
  Codes codes;
  if (!generate(bits, codes) || !fits(codes)) return moxStatusHuffTable;
  for (int k = 0; k < codes.count; k++)  // a value that occurs twice keeps its later code
    spec.code[values[k]] = static_cast<uint32_t>(codes.length[k]) << 16 | codes.value[k];
  return moxStatusOk;
}

// Over-full counts are accepted on purpose, unlike in the encoder: the table is useless but safe to decode with, since
// what would lie outside the object is left out.
MoxStatus ownmjBuild(const Mox8u* bits, const Mox8u* values, DecodeSpec& spec) {
  std::memset(&spec, 0, sizeof spec);
  Codes codes;
  if (!generate(bits, codes)) return moxStatusHuffTable;
  int index = 0;
  for (int length = 1; length <= 16; length++) {
    const int here = bits[length - 1];
    spec.lastCode[length] = kNoCode;
    if (here == 0) continue;
    spec.firstIndex[length] = static_cast<uint16_t>(index);
    spec.firstCode[length] = static_cast<uint16_t>(codes.value[index]);
    index += here;
    spec.lastCode[length] = static_cast<uint16_t>(codes.value[index - 1]);
  }
  spec.lastCode[17] = kNoCode;
  for (int k = 0; k < codes.count; k++) {
    spec.symbol[k] = values[k];
    const int length = codes.length[k];
    if (length > kFastBits) continue;
    const uint32_t first = codes.value[k] << (kFastBits - length), end = first + (1u << (kFastBits - length));
    for (uint32_t i = first; i < end && i < 1u << kFastBits; i++)
      spec.fast[i] = static_cast<uint32_t>(length) << 16 | values[k];
  }
  return moxStatusOk;
}

template <class Object>
MoxStatus ownmjSize(int32_t* pSize) {
  if (const MoxStatus bad = Check().pointers(pSize)) return bad;
  *pSize = static_cast<int32_t>(sizeof(Object));
  return moxStatusOk;
}

// The objects have no constructor: the builder overwrites whatever bytes they hold.
template <class Object>
Object* ownmjAlloc() {
  return static_cast<Object*>(moxMalloc(static_cast<int32_t>(sizeof(Object))));
}

MoxStatus ownmjFree(void* object) {
  if (const MoxStatus bad = Check().pointers(object)) return bad;
  moxFree(object);
  return moxStatusOk;
}

template <class Spec>
MoxStatus ownmjInit(const Mox8u* pBits, const Mox8u* pHuffVal, Spec* pSpec) {
  if (const MoxStatus bad = Check().pointers(pBits, pHuffVal, pSpec)) return bad;
  return ownmjBuild(pBits, pHuffVal, *pSpec);
}

// Returns the object even when it could not be built: the caller must free it in any case.
template <class Spec>
MoxStatus ownmjInitAlloc(const Mox8u* pBits, const Mox8u* pHuffVal, Spec** ppSpec) {
  if (const MoxStatus bad = Check().pointers(pBits, pHuffVal, ppSpec)) return bad;
  Spec* const spec = ownmjAlloc<Spec>();
  if (const MoxStatus bad = Check().pointers(spec)) return bad;
  *ppSpec = spec;
  return ownmjBuild(pBits, pHuffVal, *spec);
}

template <class State>
MoxStatus ownmjInit(State* pState) {
  if (const MoxStatus bad = Check().pointers(pState)) return bad;
  clear(*pState);
  return moxStatusOk;
}

template <class State>
MoxStatus ownmjInitAlloc(State** ppState) {
  if (const MoxStatus bad = Check().pointers(ppState)) return bad;
  State* const state = ownmjAlloc<State>();
  if (const MoxStatus bad = Check().pointers(state)) return bad;
  std::memset(state, 0, sizeof *state);
  *ppState = state;
  return moxStatusOk;
}

}  // namespace
}  // namespace mox

using namespace mox;

MoxStatus moxiEncodeHuffmanSpecGetBufSize_JPEG_8u(int32_t* pSize) { return ownmjSize<EncodeSpec>(pSize); }
MoxStatus moxiDecodeHuffmanSpecGetBufSize_JPEG_8u(int32_t* pSize) { return ownmjSize<DecodeSpec>(pSize); }
MoxStatus moxiEncodeHuffmanStateGetBufSize_JPEG_8u(int32_t* pSize) { return ownmjSize<EncodeState>(pSize); }
MoxStatus moxiDecodeHuffmanStateGetBufSize_JPEG_8u(int32_t* pSize) { return ownmjSize<DecodeState>(pSize); }

MoxStatus moxiEncodeHuffmanSpecInit_JPEG_8u(const Mox8u* pBits, const Mox8u* pHuffVal, MoxEncodeHuffmanSpec* pSpec) {
  return ownmjInit(pBits, pHuffVal, pSpec);
}
MoxStatus moxiDecodeHuffmanSpecInit_JPEG_8u(const Mox8u* pBits, const Mox8u* pHuffVal, MoxDecodeHuffmanSpec* pSpec) {
  return ownmjInit(pBits, pHuffVal, pSpec);
}
MoxStatus moxiEncodeHuffmanSpecInitAlloc_JPEG_8u(const Mox8u* pBits, const Mox8u* pHuffVal,
                                                 MoxEncodeHuffmanSpec** ppSpec) {
  return ownmjInitAlloc(pBits, pHuffVal, ppSpec);
}
MoxStatus moxiDecodeHuffmanSpecInitAlloc_JPEG_8u(const Mox8u* pBits, const Mox8u* pHuffVal,
                                                 MoxDecodeHuffmanSpec** ppSpec) {
  return ownmjInitAlloc(pBits, pHuffVal, ppSpec);
}

MoxStatus moxiEncodeHuffmanStateInit_JPEG_8u(MoxEncodeHuffmanState* pState) { return ownmjInit(pState); }
MoxStatus moxiDecodeHuffmanStateInit_JPEG_8u(MoxDecodeHuffmanState* pState) { return ownmjInit(pState); }
MoxStatus moxiEncodeHuffmanStateInitAlloc_JPEG_8u(MoxEncodeHuffmanState** ppState) { return ownmjInitAlloc(ppState); }
MoxStatus moxiDecodeHuffmanStateInitAlloc_JPEG_8u(MoxDecodeHuffmanState** ppState) { return ownmjInitAlloc(ppState); }

MoxStatus moxiEncodeHuffmanSpecFree_JPEG_8u(MoxEncodeHuffmanSpec* pSpec) { return ownmjFree(pSpec); }
MoxStatus moxiDecodeHuffmanSpecFree_JPEG_8u(MoxDecodeHuffmanSpec* pSpec) { return ownmjFree(pSpec); }
MoxStatus moxiEncodeHuffmanStateFree_JPEG_8u(MoxEncodeHuffmanState* pState) { return ownmjFree(pState); }
MoxStatus moxiDecodeHuffmanStateFree_JPEG_8u(MoxDecodeHuffmanState* pState) { return ownmjFree(pState); }
