// Rows are copied whole where the bytes are the same, pixel by pixel where only the order differs, and otherwise
// channel by channel.
#include "api/copyrows.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>

#include "api/report.h"
#include "pictures/words.h"

namespace moxj::api {

namespace {

// Rows of the caller may be unaligned.
template <class Type>
Type load(const std::uint8_t* from) {
  Type value;
  std::memcpy(&value, from, sizeof value);
  return value;
}

template <class Type>
void store(std::uint8_t* to, Type value) {
  std::memcpy(to, &value, sizeof value);
}

template <class From, class To>
void copySamples(const std::uint8_t* from, int fromStep, std::uint8_t* to, int toStep, int width) {
  const std::ptrdiff_t fromBytes = fromStep * std::ptrdiff_t{sizeof(From)};
  const std::ptrdiff_t toBytes = toStep * std::ptrdiff_t{sizeof(To)};
  for (int x = 0; x < width; ++x, from += fromBytes, to += toBytes) store(to, static_cast<To>(load<From>(from)));
}

void copyChannel(const Channel& from, const Channel& to) {
  const int rows = std::min(from.height, to.height), width = std::min(from.width, to.width);
  visitType(from.type, [&]<class From>(From*) {
    visitType(to.type, [&]<class To>(To*) {
      const bool same = std::is_same_v<From, To> && from.pixelStep == 1 && to.pixelStep == 1;
      for (int y = 0; y < rows; ++y) {
        if (same)
          std::memcpy(to.row(y), from.row(y), static_cast<std::size_t>(width) * sizeof(To));
        else
          copySamples<From, To>(from.row(y), from.pixelStep, to.row(y), to.pixelStep, width);
      }
    });
  });
}

// Calls work(bytes of a sample, its type) for all samples of a channel.
template <class Work>
void forEachSample(const Channel& channel, Work&& work) {
  visitType(channel.type, [&]<class Type>(Type*) {
    const std::ptrdiff_t step = channel.pixelStep * std::ptrdiff_t{sizeof(Type)};
    for (int y = 0; y < channel.height; ++y) {
      std::uint8_t* at = channel.row(y);
      for (int x = 0; x < channel.width; ++x, at += step) work(at, Type());
    }
  });
}

void fill(const Channel& channel, std::int32_t value) {
  forEachSample(channel, [&]<class Type>(std::uint8_t* at, Type) { store(at, static_cast<Type>(value)); });
}

void invert(const Channel& channel, std::int32_t max) {
  forEachSample(channel,
                [&]<class Type>(std::uint8_t* at, Type) { store(at, static_cast<Type>(max - load<Type>(at))); });
}

// ---- Pixels that differ in the order of their samples only --------------------------------------------------------

// Pixels of `Channels` samples become pixels of `Wanted`. The place of red and blue changes if Swapped.
template <class Type, int Channels, int Wanted, bool Swapped>
void reorder(const std::uint8_t* from, std::uint8_t* to, int width, Type opaque) {
  constexpr std::ptrdiff_t size = sizeof(Type);
  for (int x = 0; x < width; ++x, from += Channels * size, to += Wanted * size) {
    const Type a = load<Type>(from), b = load<Type>(from + size), c = load<Type>(from + 2 * size);
    store(to, Swapped ? c : a);
    store(to + size, b);
    store(to + 2 * size, Swapped ? a : c);
    if constexpr (Wanted == 4) store(to + 3 * size, Channels == 4 ? load<Type>(from + 3 * size) : opaque);
  }
}

template <class Type>
using Reorder = void (*)(const std::uint8_t* from, std::uint8_t* to, int width, Type opaque);

template <class Type>
Reorder<Type> reorderFor(int channels, int wanted, bool swapped) {
  if (channels == 3 && wanted == 3) return swapped ? reorder<Type, 3, 3, true> : nullptr;
  if (channels == 3 && wanted == 4) return swapped ? reorder<Type, 3, 4, true> : reorder<Type, 3, 4, false>;
  if (channels == 4 && wanted == 4) return swapped ? reorder<Type, 4, 4, true> : nullptr;
  return nullptr;
}

bool isSwapped(MoxcLayout layout) { return layout == moxcBgr || layout == moxcBgra; }

template <class Type>
bool reorderRows(const Picture& from, const MoxcPixels& to) {
  const LayoutFacts& facts = *factsOf(to.layout);
  const Reorder<Type> reorder =
      reorderFor<Type>(static_cast<int>(from.planes.size()), facts.channels, isSwapped(to.layout));
  if (!reorder) return false;
  const auto opaque = static_cast<Type>(maxOf(to, to.planes[0]));
  std::uint8_t* row = static_cast<std::uint8_t*>(to.planes[0].samples);
  for (int y = 0; y < to.height; ++y, row += to.planes[0].step) reorder(from.row(y), row, to.width, opaque);
  return true;
}

bool reordered(const Picture& from, const MoxcPixels& to) {
  const LayoutFacts* const facts = factsOf(to.layout);
  if (!facts || facts->colour != Colour::rgb || !from.interleaved() || from.planes[0].isSigned) return false;
  if (sizeOf(from.planes[0].element) != to.sampleSize) return false;
  return to.sampleSize == 1   ? reorderRows<std::uint8_t>(from, to)
         : to.sampleSize == 2 ? reorderRows<std::uint16_t>(from, to)
                              : false;
}

// The other direction: the order is its own inverse.
bool reordered(const MoxcPixels& from, const Picture& to) {
  if (!isSwapped(from.layout) || !to.interleaved() || sizeOf(to.planes[0].element) != from.sampleSize) return false;
  const int channels = static_cast<int>(to.planes.size());
  const auto rows = [&]<class Type>(Type opaque) {
    const Reorder<Type> reorder = reorderFor<Type>(channels, channels, true);
    const auto* row = static_cast<const std::uint8_t*>(from.planes[0].samples);
    for (int y = 0; y < from.height; ++y, row += from.planes[0].step) reorder(row, to.row(y), from.width, opaque);
    return true;
  };
  return from.sampleSize == 1 ? rows(std::uint8_t{}) : from.sampleSize == 2 ? rows(std::uint16_t{}) : false;
}

Words wordsOf(MoxcLayout layout) { return layout == moxcRgb565 ? Words::rgb565 : Words::rgb555; }

// ---- All layouts --------------------------------------------------------------------------------------------------

template <class Type>
bool inRange(const std::uint8_t* from, int pixelStep, int width, std::int32_t min, std::int32_t max) {
  const std::ptrdiff_t step = pixelStep * std::ptrdiff_t{sizeof(Type)};
  bool good = true;
  for (int x = 0; x < width; ++x, from += step) {
    const Type value = load<Type>(from);
    good &= value >= min && value <= max;
  }
  return good;
}

void checkRange(const Channel& channel, std::int32_t min, std::int32_t max) {
  visitType(channel.type, [&]<class Type>(Type*) {
    using Limits = std::numeric_limits<Type>;
    if (min <= std::int32_t{Limits::min()} && max >= std::int32_t{Limits::max()}) return;
    for (int y = 0; y < channel.height; ++y) {
      if (!inRange<Type>(channel.row(y), channel.pixelStep, channel.width, min, max))
        throw BadArgument("a sample is not from " + std::to_string(min) + " to " + std::to_string(max));
    }
  });
}

}  // namespace

bool sameBytes(const Picture& band, const MoxcPixels& pixels) {
  if (isWords(pixels.layout) || isSwapped(pixels.layout) || band.inverted) return false;
  if (isPlanar(pixels.layout)) {
    for (const Plane& plane : band.planes)
      if (plane.pixelStep != 1 || sizeOf(plane.element) != pixels.sampleSize) return false;
    return true;
  }
  const LayoutFacts& facts = *factsOf(pixels.layout);
  return static_cast<int>(band.planes.size()) == facts.channels && band.interleaved() &&
         sizeOf(band.planes[0].element) == pixels.sampleSize;
}

MoxcPixels pixelsOf(const Picture& band, const MoxcPixels& shape) {
  MoxcPixels pixels = shape;
  pixels.height = band.height;
  for (int i = 0; i < pixels.planeCount; ++i) {
    const Plane& from = band.planes[static_cast<std::size_t>(i)];
    pixels.planes[i].samples = from.samples;
    pixels.planes[i].step = from.step;
    pixels.planes[i].height = from.height;
  }
  return pixels;
}

void copyRows(const Picture& from, const MoxcPixels& to) {
  if (isWords(to.layout)) {
    auto* row = static_cast<std::uint8_t*>(to.planes[0].samples);
    for (int y = 0; y < to.height; ++y, row += to.planes[0].step) packWords(from, y, wordsOf(to.layout), row);
    return;
  }
  if (!isPlanar(to.layout) && sameBytes(from, to)) {
    std::uint8_t* row = static_cast<std::uint8_t*>(to.planes[0].samples);
    for (int y = 0; y < to.height; ++y, row += to.planes[0].step) std::memcpy(row, from.row(y), from.rowBytes());
    return;
  }
  if (reordered(from, to)) return;
  const LayoutFacts* const facts = factsOf(to.layout);
  const int channels = facts ? facts->channels : to.planeCount, given = static_cast<int>(from.planes.size());
  for (int i = 0; i < channels; ++i) {
    const Channel channel = channelOf(to, i);
    if (i >= given) {
      fill(channel, maxOf(to, to.planes[0]));
      continue;
    }
    copyChannel(channelOf(from.planes[static_cast<std::size_t>(i)]), channel);
    if (from.inverted) invert(channel, from.planes[static_cast<std::size_t>(i)].maxval);
  }
}

void checkSamples(const MoxcPixels& pixels) {
  if (isWords(pixels.layout)) return;
  const LayoutFacts* const facts = factsOf(pixels.layout);
  const int channels = facts ? facts->channels : pixels.planeCount;
  for (int i = 0; i < channels; ++i) {
    const MoxcPlane& plane = pixels.planes[facts ? 0 : i];
    checkRange(channelOf(pixels, i), minOf(pixels, plane), maxOf(pixels, plane));
  }
}

void copyRows(const MoxcPixels& from, const Picture& to) {
  if (isWords(from.layout)) {
    const auto* row = static_cast<const std::uint8_t*>(from.planes[0].samples);
    for (int y = 0; y < from.height; ++y, row += from.planes[0].step) unpackWords(row, wordsOf(from.layout), to, y);
    return;
  }
  checkSamples(from);
  if (reordered(from, to)) return;
  for (std::size_t i = 0; i < to.planes.size(); ++i) {
    copyChannel(channelOf(from, static_cast<int>(i)), channelOf(to.planes[i]));
    if (to.inverted) invert(channelOf(to.planes[i]), to.planes[i].maxval);
  }
}

}  // namespace moxj::api
