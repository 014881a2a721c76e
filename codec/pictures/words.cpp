// RGB goes into words by a table for each width of a field, YCbCr by the library's functions, which follow the same
// rule.
#include "pictures/words.h"

#include <array>
#include <cstddef>
#include <cstring>

#include "base/library.h"
#include "base/problem.h"

namespace moxj {

namespace {

constexpr unsigned sampleOf(unsigned field, int bits) { return field << (8 - bits) | field >> (2 * bits - 8); }
constexpr unsigned fieldOf(unsigned sample, int bits) {
  unsigned field = sample >> (8 - bits);
  const unsigned last = (1u << bits) - 1;
  const auto distance = [&](unsigned f) {
    const unsigned value = sampleOf(f, bits);
    return value > sample ? value - sample : sample - value;
  };
  if (field > 0 && distance(field - 1) < distance(field)) --field;
  if (field < last && distance(field + 1) <= distance(field)) ++field;
  return field;
}

template <int Bits>
constexpr std::array<std::uint8_t, 256> kFields = [] {
  std::array<std::uint8_t, 256> fields{};
  for (unsigned sample = 0; sample < 256; ++sample) fields[sample] = static_cast<std::uint8_t>(fieldOf(sample, Bits));
  return fields;
}();

// The samples of a row, colour after colour.
template <class Type>
std::array<Type*, 3> rowOf(const Picture& picture, int y) {
  return {picture.planes[0].row<Type>(y), picture.planes[1].row<Type>(y), picture.planes[2].row<Type>(y)};
}

template <int GreenBits>
bool packRgb(const Picture& from, int y, std::uint8_t* to) {
  auto [red, green, blue] = rowOf<const std::uint8_t>(from, y);
  const std::array steps = {from.planes[0].pixelStep, from.planes[1].pixelStep, from.planes[2].pixelStep};
  unsigned lost = 0;
  for (int x = 0; x < from.width; ++x, to += 2, red += steps[0], green += steps[1], blue += steps[2]) {
    const unsigned r = kFields<5>[*red], g = kFields<GreenBits>[*green], b = kFields<5>[*blue];
    lost |= (sampleOf(r, 5) ^ *red) | (sampleOf(g, GreenBits) ^ *green) | (sampleOf(b, 5) ^ *blue);
    const auto word = static_cast<std::uint16_t>(r << (5 + GreenBits) | g << 5 | b);
    std::memcpy(to, &word, sizeof word);
  }
  return lost == 0;
}

template <int GreenBits>
void unpackRgb(const std::uint8_t* from, const Picture& to, int y) {
  auto [red, green, blue] = rowOf<std::uint8_t>(to, y);
  const std::array steps = {to.planes[0].pixelStep, to.planes[1].pixelStep, to.planes[2].pixelStep};
  for (int x = 0; x < to.width; ++x, from += 2, red += steps[0], green += steps[1], blue += steps[2]) {
    std::uint16_t word = 0;
    std::memcpy(&word, from, sizeof word);
    *red = static_cast<std::uint8_t>(sampleOf(word >> (5 + GreenBits) & 31, 5));
    *green = static_cast<std::uint8_t>(sampleOf(word >> 5 & ((1u << GreenBits) - 1), GreenBits));
    *blue = static_cast<std::uint8_t>(sampleOf(word & 31, 5));
  }
}

// The library's functions take planes that are not interleaved.
void requirePlanes(const Picture& picture) {
  for (const Plane& plane : picture.planes)
    if (plane.pixelStep != 1) fail(Kind::internal, "the planes of words are interleaved");
}

}  // namespace

// The steps of the library's functions are 32-bit numbers, so they get one row at a time.
bool packWords(const Picture& from, int y, Words words, std::uint8_t* to) {
  if (from.colour != Colour::ycbcr) return words == Words::rgb565 ? packRgb<6>(from, y, to) : packRgb<5>(from, y, to);
  requirePlanes(from);
  const auto convert = words == Words::rgb565 ? moxiYCbCrToBGR565_JPEG_8u16u_P3C3R : moxiYCbCrToBGR555_JPEG_8u16u_P3C3R;
  require(convert(rowOf<const Mox8u>(from, y).data(), 1, reinterpret_cast<Mox16u*>(to), 1, {from.width, 1}),
          "the conversion to words");
  return false;
}

void unpackWords(const std::uint8_t* from, Words words, const Picture& to, int y) {
  if (to.colour != Colour::ycbcr) return words == Words::rgb565 ? unpackRgb<6>(from, to, y) : unpackRgb<5>(from, to, y);
  requirePlanes(to);
  const auto convert = words == Words::rgb565 ? moxiBGR565ToYCbCr_JPEG_16u8u_C3P3R : moxiBGR555ToYCbCr_JPEG_16u8u_C3P3R;
  require(convert(reinterpret_cast<const Mox16u*>(from), 1, rowOf<Mox8u>(to, y).data(), 1, {to.width, 1}),
          "the conversion of words");
}

}  // namespace moxj
