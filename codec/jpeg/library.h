// Owners for the library's objects.
#pragma once

#include <cstddef>
#include <memory>
#include <new>

#include "base/library.h"
#include "jpeg/tables.h"

namespace moxj::jpeg {

template <auto Free>
struct Releaser {
  template <class Object>
  void operator()(Object* object) const {
    Free(object);
  }
};

using EncodeSpec = std::unique_ptr<MoxEncodeHuffmanSpec, Releaser<moxiEncodeHuffmanSpecFree_JPEG_8u>>;
using EncodeState = std::unique_ptr<MoxEncodeHuffmanState, Releaser<moxiEncodeHuffmanStateFree_JPEG_8u>>;
using DecodeSpec = std::unique_ptr<MoxDecodeHuffmanSpec, Releaser<moxiDecodeHuffmanSpecFree_JPEG_8u>>;
using DecodeState = std::unique_ptr<MoxDecodeHuffmanState, Releaser<moxiDecodeHuffmanStateFree_JPEG_8u>>;

// Creates an object with one of the InitAlloc functions, which report an allocation failure as a null pointer.
template <class Owner, class Init, class... Arguments>
Owner makeObject(Init init, Arguments... arguments) {
  typename Owner::pointer object = nullptr;
  const MoxStatus status = init(arguments..., &object);
  Owner owner(object);
  if (status == moxStatusNullPointer) throw std::bad_alloc();
  require(status, "the initialisation of a Huffman object");
  return owner;
}

inline EncodeSpec makeEncodeSpec(const HuffmanCode& code) {
  return makeObject<EncodeSpec>(moxiEncodeHuffmanSpecInitAlloc_JPEG_8u, code.bits.data(), code.values.data());
}
inline DecodeSpec makeDecodeSpec(const HuffmanCode& code) {
  return makeObject<DecodeSpec>(moxiDecodeHuffmanSpecInitAlloc_JPEG_8u, code.bits.data(), code.values.data());
}
inline EncodeState makeEncodeState() { return makeObject<EncodeState>(moxiEncodeHuffmanStateInitAlloc_JPEG_8u); }
inline DecodeState makeDecodeState() { return makeObject<DecodeState>(moxiDecodeHuffmanStateInitAlloc_JPEG_8u); }

// Bytes from one row of a strip to the next: an odd number of cache lines, so that the rows of a block do not all map
// to the same cache set.
constexpr std::ptrdiff_t stripStep(int width) { return ((std::ptrdiff_t{width} + 63) / 64 | 1) * 64; }

}  // namespace moxj::jpeg
