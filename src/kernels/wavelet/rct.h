// The component transforms of JPEG 2000 (ISO/IEC 15444-1, Annex G): reversible (RCT) and irreversible (ICT).
#pragma once

#include <bit>
#include <cstdint>
#include <type_traits>

#include "moxj.h"

namespace mox {

// One row of each; `planes` are R, G, B on the colour side and Y and the two chroma components on the other, `pixels`
// interleaved R, G, B. Elements need no alignment.
template <class T>
using PlanesInPlace = void (*)(T* const planes[3], int count);
template <class T>
using PixelsToPlanes = void (*)(const T* pixels, T* const planes[3], int count);
template <class T>
using PlanesToPixels = void (*)(const T* const planes[3], T* pixels, int count);

struct RctKernels {
  PlanesInPlace<Mox16s> rctForward16s, rctInverse16s, ictForward16s, ictInverse16s;
  PlanesInPlace<Mox32s> rctForward32s, rctInverse32s, ictForward32s, ictInverse32s;
  PlanesInPlace<Mox32f> ictForward32f, ictInverse32f;
  PixelsToPlanes<Mox16s> rctForwardC3P3_16s;
  PixelsToPlanes<Mox32s> rctForwardC3P3_32s;
  PixelsToPlanes<Mox32f> ictForwardC3P3_32f;
  PlanesToPixels<Mox16s> rctInverseP3C3_16s;
  PlanesToPixels<Mox32s> rctInverseP3C3_32s;
  PlanesToPixels<Mox32f> ictInverseP3C3_32f;
};

namespace definition {

template <class T>
struct Triple {
  T a, b, c;
  constexpr bool operator==(const Triple&) const = default;
};

// Integer transforms are formed in 32 bits, wrapping; narrower elements keep the low bits.
constexpr uint32_t wide(int32_t v) { return static_cast<uint32_t>(v); }
constexpr uint32_t shiftedRight(uint32_t sum, int bits) {
  return static_cast<uint32_t>(static_cast<int32_t>(sum) >> bits);
}

struct RctForward {
  template <class T>
  constexpr Triple<T> operator()(Triple<T> rgb) const {
    const uint32_t r = wide(rgb.a), g = wide(rgb.b), b = wide(rgb.c);
    return {static_cast<T>(shiftedRight(r + 2 * g + b, 2)), static_cast<T>(b - g), static_cast<T>(r - g)};
  }
};

struct RctInverse {
  template <class T>
  constexpr Triple<T> operator()(Triple<T> yuv) const {
    const uint32_t u = wide(yuv.b), v = wide(yuv.c);
    const uint32_t g = wide(yuv.a) - shiftedRight(u + v, 2);
    return {static_cast<T>(v + g), static_cast<T>(g), static_cast<T>(u + g)};
  }
};

// The fixed-point ICT has 14 fraction bits; every sum is rounded half up.
constexpr uint32_t rounded14(uint32_t sum) { return shiftedRight(sum + 8192, 14); }
constexpr uint32_t product(int32_t weight, uint32_t v) { return wide(weight) * v; }

struct IctForward {
  template <class T>
  requires std::is_integral_v<T>
  constexpr Triple<T> operator()(Triple<T> rgb) const {
    const uint32_t r = wide(rgb.a), g = wide(rgb.b), b = wide(rgb.c);
    return {static_cast<T>(rounded14(product(4899, r) + product(9617, g) + product(1868, b))),
            static_cast<T>(rounded14(product(-2765, r) + product(-5427, g) + product(8192, b))),
            static_cast<T>(rounded14(product(8192, r) + product(-6860, g) + product(-1332, b)))};
  }

  // In single precision the products are summed from left to right, each step rounded.
  constexpr Triple<Mox32f> operator()(Triple<Mox32f> rgb) const {
    return {0.299f * rgb.a + 0.587f * rgb.b + 0.114f * rgb.c, -0.16875f * rgb.a + -0.33126f * rgb.b + 0.5f * rgb.c,
            0.5f * rgb.a + -0.41869f * rgb.b + -0.08131f * rgb.c};
  }
};

struct IctInverse {
  template <class T>
  requires std::is_integral_v<T>
  constexpr Triple<T> operator()(Triple<T> ycc) const {
    const uint32_t y = wide(ycc.a), cb = wide(ycc.b), cr = wide(ycc.c);
    return {static_cast<T>(y + rounded14(product(22970, cr))),
            static_cast<T>(y + rounded14(product(-5638, cb) + product(-11700, cr))),
            static_cast<T>(y + rounded14(product(29032, cb)))};
  }

  constexpr Triple<Mox32f> operator()(Triple<Mox32f> ycc) const {
    return {ycc.a + 1.402f * ycc.c, ycc.a + -0.34413f * ycc.b + -0.71414f * ycc.c, ycc.a + 1.772f * ycc.b};
  }
};

// The coefficients in single precision, to the bit.
static_assert(std::bit_cast<uint32_t>(0.299f) == 0x3E991687 && std::bit_cast<uint32_t>(0.587f) == 0x3F1645A2 &&
              std::bit_cast<uint32_t>(0.114f) == 0x3DE978D5);
static_assert(std::bit_cast<uint32_t>(-0.16875f) == 0xBE2CCCCD && std::bit_cast<uint32_t>(-0.33126f) == 0xBEA99AE9);
static_assert(std::bit_cast<uint32_t>(-0.41869f) == 0xBED65E89 && std::bit_cast<uint32_t>(-0.08131f) == 0xBDA685DB);
static_assert(std::bit_cast<uint32_t>(1.402f) == 0x3FB374BC && std::bit_cast<uint32_t>(1.772f) == 0x3FE2D0E5);
static_assert(std::bit_cast<uint32_t>(-0.34413f) == 0xBEB031CF && std::bit_cast<uint32_t>(-0.71414f) == 0xBF36D1E1);

static_assert(RctForward{}(Triple<Mox16s>{5, 5, 5}) == Triple<Mox16s>{5, 0, 0});
static_assert(RctForward{}(Triple<Mox16s>{-1, 0, 0}) == Triple<Mox16s>{-1, 0, -1});
static_assert(RctInverse{}(Triple<Mox32s>{-1, 0, -1}) == Triple<Mox32s>{-1, 0, 0});
static_assert(IctForward{}(Triple<Mox16s>{100, 100, 100}) == Triple<Mox16s>{100, 0, 0});

}  // namespace definition

#if defined(MOX_TARGET)
namespace MOX_TARGET {
extern const RctKernels rctKernels;
}
#endif

}  // namespace mox
