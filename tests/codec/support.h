// What the tests of the C interface share: owners of its objects, synthetic pixels, and calls that must succeed.
#pragma once

#include <gtest/gtest.h>
#include <moxcodec.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "sized.h"

namespace codec {

using Bytes = std::vector<std::uint8_t>;

struct Report {
  Report() : report(moxcReportNew()) {}
  ~Report() { moxcReportFree(report); }
  Report(const Report&) = delete;
  Report& operator=(const Report&) = delete;
  operator MoxcReport*() const { return report; }
  std::string text() const { return moxcReportText(report); }
  MoxcReport* report;
};

struct Picture {
  Picture() = default;
  ~Picture() { moxcPictureFree(picture); }
  Picture(const Picture&) = delete;
  Picture& operator=(const Picture&) = delete;
  MoxcPixels pixels() const {
    MoxcPixels pixels = {};
    pixels.structSize = sizeof pixels;
    EXPECT_EQ(moxcOk, moxcPicturePixels(picture, &pixels));
    return pixels;
  }
  MoxcPicture* picture = nullptr;
};

// Any number in an enumeration, as a program in C can have it.
template <class Enum>
void setNumber(Enum& to, int number) {
  static_assert(sizeof to == sizeof number);
  std::memcpy(&to, &number, sizeof number);
}

// Lets `make` write a file into memory. Success without a file, or a file without success, is moxcInternal. Allocates
// nothing itself.
template <class Make>
MoxcKind toMemory(Make&& make) {
  void* bytes = nullptr;
  std::size_t count = 0;
  const MoxcTarget target = moxcMemoryTarget(&bytes, &count);
  const MoxcKind kind = make(target);
  if ((kind == moxcOk) != (bytes != nullptr)) return moxcInternal;
  moxcFree(bytes);
  return kind;
}

// ---- Samples ------------------------------------------------------------------------------------------------------

inline int channelsInMemory(MoxcLayout layout) { return layout == moxcPlanes ? 1 : moxcChannels(layout); }

inline std::int64_t load(const std::uint8_t* at, int size, bool isSigned) {
  std::int64_t value = 0;
  if (size == 1) value = isSigned ? std::int64_t{static_cast<std::int8_t>(*at)} : *at;
  if (size == 2) {
    std::uint16_t word;
    std::memcpy(&word, at, 2);
    value = isSigned ? std::int64_t{static_cast<std::int16_t>(word)} : word;
  }
  if (size == 4) {
    std::int32_t word;
    std::memcpy(&word, at, 4);
    value = word;
  }
  return value;
}

inline void store(std::uint8_t* at, int size, std::int64_t value) {
  const auto word = static_cast<std::uint32_t>(value);
  const auto half = static_cast<std::uint16_t>(word);
  if (size == 1) *at = static_cast<std::uint8_t>(word);
  if (size == 2) std::memcpy(at, &half, 2);
  if (size == 4) std::memcpy(at, &word, 4);
}

// Pixels with memory of their own.
struct Pixels {
  MoxcPixels pixels = {};
  Bytes memory;

  int planes() const { return pixels.layout == moxcYCbCr ? 3 : pixels.layout == moxcPlanes ? pixels.planeCount : 1; }
  int samplesInRow(int plane) const {
    return pixels.planes[plane].width * (pixels.layout == moxcYCbCr ? 1 : channelsInMemory(pixels.layout));
  }
  std::uint8_t* at(int plane, int y, int x) const {
    const MoxcPlane& p = pixels.planes[plane];
    return static_cast<std::uint8_t*>(p.samples) + p.step * y + std::ptrdiff_t{x} * pixels.sampleSize;
  }
  std::int64_t value(int plane, int y, int x) const {
    return load(at(plane, y, x), pixels.sampleSize, pixels.planes[plane].isSigned != 0);
  }
};

enum class Rows { tight, padded, upward };

// Gives each plane memory. `padded` puts rows at odd addresses.
inline void allocate(Pixels& made, Rows rows = Rows::tight) {
  MoxcPixels& pixels = made.pixels;
  std::size_t total = 0;
  std::vector<std::size_t> starts;
  for (int i = 0; i < made.planes(); ++i) {
    MoxcPlane& plane = pixels.planes[i];
    const std::ptrdiff_t step =
        std::ptrdiff_t{made.samplesInRow(i)} * pixels.sampleSize + (rows == Rows::padded ? 3 : 0);
    const std::size_t size = static_cast<std::size_t>(step) * static_cast<std::size_t>(plane.height);
    starts.push_back(total + (rows == Rows::padded) +
                     (rows == Rows::upward ? size - static_cast<std::size_t>(step) : 0));
    plane.step = rows == Rows::upward ? -step : step;
    total += size + 16 - size % 16;
  }
  made.memory.assign(total + 16, 0xA5);
  for (int i = 0; i < made.planes(); ++i)
    pixels.planes[i].samples = made.memory.data() + starts[static_cast<std::size_t>(i)];
}

inline Pixels blank(MoxcLayout layout, int width, int height, int bits = 8, int sampleSize = 0, bool isSigned = false,
                    Rows rows = Rows::tight) {
  Pixels made;
  made.pixels = moxcPixels(layout, width, height, bits, nullptr, 0);
  made.pixels.sampleSize = sampleSize ? sampleSize : bits > 16 ? 4 : bits > 8 ? 2 : 1;
  made.pixels.planes[0].isSigned = isSigned;
  made.pixels.planes[0].dx = made.pixels.planes[0].dy = 1;
  allocate(made, rows);
  return made;
}

// A smooth picture with detail, so that all coders have something to do.
inline std::int64_t wave(int x, int y, int channel, std::int64_t max) {
  const std::int64_t value = (x * x / 7 + 5 * y + (x ^ y) % 9 * 3 + 40 * channel) % 256;
  return value * max / 255;
}

inline void fill(const Pixels& to) {
  for (int plane = 0; plane < to.planes(); ++plane) {
    const MoxcPlane& p = to.pixels.planes[plane];
    const std::int64_t range = to.pixels.maxValue ? to.pixels.maxValue : (std::int64_t{1} << p.bits) - 1;
    const std::int64_t offset = p.isSigned ? std::int64_t{1} << (p.bits - 1) : 0;
    const int channels = to.samplesInRow(plane) / p.width;
    for (int y = 0; y < p.height; ++y)
      for (int x = 0; x < to.samplesInRow(plane); ++x)
        store(to.at(plane, y, x), to.pixels.sampleSize, wave(x / channels, y, plane + x % channels, range) - offset);
  }
}

inline Pixels picture(MoxcLayout layout, int width, int height, int bits = 8, int sampleSize = 0, bool isSigned = false,
                      Rows rows = Rows::tight) {
  Pixels made = blank(layout, width, height, bits, sampleSize, isSigned, rows);
  fill(made);
  return made;
}

// Planes of YCbCr, chroma sub-sampled.
inline Pixels ycbcr(int width, int height, int dx, int dy, bool filled = true) {
  Pixels made;
  made.pixels = moxcPixels(moxcYCbCr, width, height, 8, nullptr, 0);
  made.pixels.sampleSize = 1;
  for (int i = 0; i < 3; ++i) {
    MoxcPlane& plane = made.pixels.planes[i];
    plane = {};
    plane.dx = i == 0 ? 1 : dx;
    plane.dy = i == 0 ? 1 : dy;
    plane.width = (width + plane.dx - 1) / plane.dx;
    plane.height = (height + plane.dy - 1) / plane.dy;
    plane.bits = 8;
  }
  made.pixels.planeCount = 3;
  allocate(made);
  if (filled) fill(made);
  return made;
}

// The largest difference of two sets of pixels of the same layout.
inline std::int64_t distance(const Pixels& a, const Pixels& b) {
  std::int64_t largest = 0;
  for (int plane = 0; plane < a.planes(); ++plane)
    for (int y = 0; y < a.pixels.planes[plane].height; ++y)
      for (int x = 0; x < a.samplesInRow(plane); ++x)
        largest = std::max(largest, std::abs(a.value(plane, y, x) - b.value(plane, y, x)));
  return largest;
}

// A view of a picture of the library's, as the pixels of a test.
inline Pixels viewOf(const MoxcPixels& pixels) {
  Pixels view;
  view.pixels = pixels;
  return view;
}

// ---- Calls that must succeed --------------------------------------------------------------------------------------

inline Bytes taken(void* bytes, std::size_t count) {
  const auto* const from = static_cast<const std::uint8_t*>(bytes);
  Bytes copy(from, from + count);
  moxcFree(bytes);
  return copy;
}

inline Bytes encode(const Pixels& pixels, const char* format, const MoxcWriteOptions* options = nullptr,
                    const MoxcRun* run = nullptr) {
  void* bytes = nullptr;
  std::size_t count = 0;
  const MoxcTarget target = moxcMemoryTarget(&bytes, &count);
  const Report report;
  const MoxcKind kind = moxcEncode(&pixels.pixels, format, options, nullptr, 0, &target, run, report);
  EXPECT_EQ(moxcOk, kind) << report.text();
  return kind == moxcOk ? taken(bytes, count) : Bytes();
}

inline MoxcSource source(const Bytes& file) { return moxcMemorySource(file.data(), file.size()); }

inline void decodeInto(const Bytes& file, const Pixels& to, const MoxcReadOptions* options = nullptr) {
  const MoxcSource from = source(file);
  const Report report;
  EXPECT_EQ(moxcOk, moxcDecodeInto(&from, options, &to.pixels, nullptr, report)) << report.text();
}

inline Bytes convert(const Bytes& file, const char* format, const MoxcWriteOptions* writing = nullptr,
                     const MoxcReadOptions* reading = nullptr, const MoxcRun* run = nullptr) {
  void* bytes = nullptr;
  std::size_t count = 0;
  const MoxcTarget target = moxcMemoryTarget(&bytes, &count);
  const MoxcSource from = source(file);
  const Report report;
  const MoxcKind kind = moxcConvert(&from, reading, format, writing, &target, run, report);
  EXPECT_EQ(moxcOk, kind) << report.text();
  return kind == moxcOk ? taken(bytes, count) : Bytes();
}

inline Bytes transcode(const Bytes& file, const MoxcTranscodeOptions* options = nullptr, const MoxcRun* run = nullptr) {
  void* bytes = nullptr;
  std::size_t count = 0;
  const MoxcTarget target = moxcMemoryTarget(&bytes, &count);
  const MoxcSource from = source(file);
  const Report report;
  const MoxcKind kind = moxcTranscode(&from, options, &target, run, report);
  EXPECT_EQ(moxcOk, kind) << report.text();
  return kind == moxcOk ? taken(bytes, count) : Bytes();
}

inline std::vector<std::string> notes(const MoxcReport* report) {
  std::vector<std::string> list;
  for (std::size_t i = 0; i < moxcReportNoteCount(report); ++i) list.push_back(moxcReportNote(report, i));
  return list;
}

}  // namespace codec
