// Wavelet transforms of arbitrary regions, phases and steps. The 5/3 transforms of both sample types must restore the
// region exactly, in place and (where the fixed split allows) out of place; the 9/7 transforms must write only the
// region. Every buffer is allocated with exactly the documented size, so that the sanitizer sees every violation.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "moxj.h"

namespace {

struct Input {
  const uint8_t* data;
  size_t size;
  uint8_t byte() { return size ? (size--, *data++) : 0; }
};

using Block = std::unique_ptr<uint8_t[]>;
Block block(size_t bytes) { return std::make_unique<uint8_t[]>(bytes ? bytes : 1); }

template <class T>
struct Functions {
  MoxStatus (*forwardInPlace)(T*, int32_t, const MoxRect*, Mox8u*);
  MoxStatus (*inverseInPlace)(T*, int32_t, const MoxRect*, Mox8u*);
  MoxStatus (*forward)(const T*, int32_t, const MoxRect*, T* const[4], const int32_t[4], Mox8u*);
  MoxStatus (*inverse)(const T* const[4], const int32_t[4], T*, int32_t, const MoxRect*, Mox8u*);
  MoxStatus (*lineSize)(const MoxRect*, int32_t*);
  MoxStatus (*planeSize)(const MoxRect*, int32_t*);
  bool reversible;
};

void demand(bool holds) {
  if (!holds) std::abort();
}

Block bufferFor(MoxStatus (*size)(const MoxRect*, int32_t*), const MoxRect& roi) {
  int32_t bytes = -1;
  demand(size(&roi, &bytes) == moxStatusOk && bytes >= 0);
  return block(static_cast<size_t>(bytes));
}

// The samples of all rows, without the bytes between the rows.
template <class T>
bool sameRows(const uint8_t* a, const uint8_t* b, const MoxRect& roi, int32_t step) {
  for (int y = 0; y < roi.height; y++)
    if (std::memcmp(a + ptrdiff_t{y} * step, b + ptrdiff_t{y} * step, static_cast<size_t>(roi.width) * sizeof(T)) != 0)
      return false;
  return true;
}

template <class T>
void run(const Functions<T>& f, Input in) {
  const MoxRect roi = {in.byte(), in.byte(), 1 + in.byte() + (in.byte() & 3) * 700, 1 + in.byte() % 70};
  const int32_t step = roi.width * static_cast<int32_t>(sizeof(T)) + in.byte() % 67;
  const size_t bytes =
      static_cast<size_t>(step) * static_cast<size_t>(roi.height - 1) + static_cast<size_t>(roi.width) * sizeof(T);
  const Block source = block(bytes), plane = block(bytes);
  for (size_t i = 0; i < bytes; i++) source[i] = static_cast<uint8_t>(in.byte() + i * 37 % 251);
  if (roi.width == 1 || roi.height == 1)  // single odd samples are doubled: use a quarter of the range
    for (int y = 0; y < roi.height; y++)
      for (int x = 0; x < roi.width; x++) {
        uint8_t* const p = source.get() + ptrdiff_t{y} * step + x * static_cast<int>(sizeof(T));
        T v;
        std::memcpy(&v, p, sizeof v);
        v = static_cast<T>(v / 4);
        std::memcpy(p, &v, sizeof v);
      }
  std::memcpy(plane.get(), source.get(), bytes);

  const Block line = bufferFor(f.lineSize, roi), buffer = bufferFor(f.planeSize, roi);
  T* const samples = reinterpret_cast<T*>(plane.get());
  demand(f.forwardInPlace(samples, step, &roi, line.get()) == moxStatusOk);
  demand(f.inverseInPlace(samples, step, &roi, line.get()) == moxStatusOk);
  if (f.reversible) demand(std::memcmp(plane.get(), source.get(), bytes) == 0);

  Block bands[4];
  T* planes[4];
  const T* sources[4];
  int32_t steps[4];
  for (int i = 0; i < 4; i++) {
    const int width = (roi.width + (i & 2 ? 0 : 1)) / 2, height = (roi.height + (i & 1 ? 0 : 1)) / 2;
    steps[i] = width * static_cast<int32_t>(sizeof(T)) + 1 + i;
    bands[i] = block(height ? static_cast<size_t>(steps[i]) * static_cast<size_t>(height - 1) +
                                  static_cast<size_t>(width) * sizeof(T)
                            : 0);
    sources[i] = planes[i] = reinterpret_cast<T*>(bands[i].get());
  }
  demand(f.forward(reinterpret_cast<const T*>(source.get()), step, &roi, planes, steps, buffer.get()) == moxStatusOk);
  demand(f.inverse(sources, steps, samples, step, &roi, buffer.get()) == moxStatusOk);
  if (f.reversible) demand(sameRows<T>(plane.get(), source.get(), roi, step));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input in{data, size};
  switch (in.byte() & 3) {
    case 0:
      run<Mox16s>({moxiWTFwd_B53_JPEG2K_16s_C1IR, moxiWTInv_B53_JPEG2K_16s_C1IR, moxiWTFwd_B53_JPEG2K_16s_C1R,
                   moxiWTInv_B53_JPEG2K_16s_C1R, moxiWTGetBufSize_B53_JPEG2K_16s_C1IR,
                   moxiWTGetBufSize_B53_JPEG2K_16s_C1R, true},
                  in);
      break;
    case 1:
      run<Mox32s>({moxiWTFwd_B53_JPEG2K_32s_C1IR, moxiWTInv_B53_JPEG2K_32s_C1IR, moxiWTFwd_B53_JPEG2K_32s_C1R,
                   moxiWTInv_B53_JPEG2K_32s_C1R, moxiWTGetBufSize_B53_JPEG2K_32s_C1IR,
                   moxiWTGetBufSize_B53_JPEG2K_32s_C1R, true},
                  in);
      break;
    case 2:
      run<Mox16s>({moxiWTFwd_D97_JPEG2K_16s_C1IR, moxiWTInv_D97_JPEG2K_16s_C1IR, moxiWTFwd_D97_JPEG2K_16s_C1R,
                   moxiWTInv_D97_JPEG2K_16s_C1R, moxiWTGetBufSize_D97_JPEG2K_16s_C1IR,
                   moxiWTGetBufSize_D97_JPEG2K_16s_C1R, false},
                  in);
      break;
    default:
      run<Mox32s>({moxiWTFwd_D97_JPEG2K_32s_C1IR, moxiWTInv_D97_JPEG2K_32s_C1IR, moxiWTFwd_D97_JPEG2K_32s_C1R,
                   moxiWTInv_D97_JPEG2K_32s_C1R, moxiWTGetBufSize_D97_JPEG2K_32s_C1IR,
                   moxiWTGetBufSize_D97_JPEG2K_32s_C1R, false},
                  in);
  }
  return 0;
}
