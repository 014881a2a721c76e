// What the fuzzers of the C interface share: choices made of any bytes, pixels of any layout, and calls that must not
// fail for a reason that is the library's own.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>
#include <moxcodec.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "sized.h"

namespace fuzz {

using Bytes = std::vector<std::uint8_t>;
using codec::sized;

[[noreturn]] inline void fail(const char* what) {
  std::fprintf(stderr, "not so: %s\n", what);
  std::abort();
}
inline void require(bool condition, int line = __builtin_LINE()) {
  if (!condition) fail(("line " + std::to_string(line)).c_str());
}

// Every failure must be one that the caller can do something about.
inline bool succeeded(MoxcKind kind, int line = __builtin_LINE()) {
  require(kind != moxcInternal && kind != moxcNoMemory, line);
  return kind == moxcOk;
}

// When the bytes are used up, each choice is the first one.
class Choices : public FuzzedDataProvider {
 public:
  using FuzzedDataProvider::FuzzedDataProvider;

  int upTo(int max) { return ConsumeIntegralInRange(0, max); }
  int from(int min, int max) { return ConsumeIntegralInRange(min, max); }
  bool oneIn(int count) { return upTo(count - 1) == count - 1; }
  double real(double min, double max) { return ConsumeFloatingPointInRange(min, max); }
};

inline bool isWords(MoxcLayout layout) { return layout >= moxcRgb565; }
inline bool isInterleaved(MoxcLayout layout) { return layout != moxcYCbCr && layout != moxcPlanes; }

struct Shape {
  MoxcLayout layout;
  int width, height, bits;
};

// Samples of a shape, within the depth of their planes. Planes are sub-sampled and signed by choice.
class Pixels {
 public:
  Pixels(Choices& in, const Shape& shape) {
    const MoxcLayout layout = shape.layout;
    pixels = moxcPixels(layout, shape.width, shape.height, isWords(layout) ? 0 : shape.bits, nullptr, 0);
    pixels.sampleSize = isWords(layout) || (shape.bits > 8 && shape.bits <= 16) ? 2 : shape.bits > 16 ? 4 : 1;
    if (!isInterleaved(layout)) planes(in, shape.bits);
    std::size_t total = 0;
    const int count = layout == moxcYCbCr ? 3 : pixels.planeCount;
    for (int i = 0; i < count; ++i) total += bytesOf(i);
    memory_.resize(total);
    fill(in);
    std::size_t at = 0;
    for (int i = 0; i < count; at += bytesOf(i), ++i) {
      pixels.planes[i].samples = memory_.data() + at;
      if (!isWords(layout)) limit(i);
    }
  }
  Pixels(const Pixels&) = delete;
  Pixels& operator=(const Pixels&) = delete;

  const Bytes& memory() const { return memory_; }
  MoxcPixels pixels;

 private:
  void planes(Choices& in, int bits) {
    pixels.planeCount = pixels.layout == moxcYCbCr ? 3 : in.from(1, 5);
    for (int i = 0; i < pixels.planeCount; ++i) {
      MoxcPlane& plane = pixels.planes[i];
      plane = {};
      plane.dx = i == 0 ? 1 : in.from(1, 4);
      plane.dy = i == 0 ? 1 : in.from(1, 4);
      plane.width = (pixels.width + plane.dx - 1) / plane.dx;
      plane.height = (pixels.height + plane.dy - 1) / plane.dy;
      plane.bits = bits;
      plane.isSigned = pixels.layout == moxcPlanes && in.ConsumeBool();
    }
  }
  // A pattern, or some bytes again and again.
  void fill(Choices& in) {
    const Bytes given = in.ConsumeBytes<std::uint8_t>(static_cast<std::size_t>(in.upTo(600)));
    for (std::size_t i = 0; i < memory_.size(); ++i)
      memory_[i] = given.empty() ? static_cast<std::uint8_t>(i * 7 ^ i >> 4) : given[i % given.size()];
  }
  std::size_t bytesOf(int plane) const {
    const MoxcPlane& p = pixels.planes[plane];
    const int channels = isInterleaved(pixels.layout) ? moxcChannels(pixels.layout) : 1;
    return static_cast<std::size_t>(p.width) * static_cast<std::size_t>(p.height) *
           static_cast<std::size_t>(pixels.sampleSize * channels);
  }
  void limit(int plane) {
    const MoxcPlane& p = pixels.planes[plane];
    auto* const from = static_cast<std::uint8_t*>(p.samples);
    const auto size = static_cast<std::size_t>(pixels.sampleSize);
    for (std::size_t at = 0; at < bytesOf(plane); at += size) {
      std::uint32_t value = 0;
      std::memcpy(&value, from + at, size);
      value &= (1u << p.bits) - 1;
      if (p.isSigned && value >> (p.bits - 1)) value |= ~((1u << p.bits) - 1);
      std::memcpy(from + at, &value, size);
    }
  }

  Bytes memory_;
};

// One thread; two, whose tasks the calling thread does; or two of the library's own.
enum class Threads { one, executor, own };

struct Run {
  explicit Run(Threads threads, std::uint64_t maxPixels = 1 << 16, std::uint64_t maxMemory = 1 << 26) {
    limits.maxPixels = maxPixels;
    limits.maxMemory = maxMemory;
    limits.maxScans = 20;
    run.limits = &limits;
    if (threads == Threads::one) return;
    run.threads = 2;
    if (threads == Threads::own) return;
    run.executor = [](void*, std::int32_t tasks, void (*task)(void*, std::int32_t), void* argument) {
      for (std::int32_t i = 0; i < tasks; ++i) task(argument, i);
    };
  }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

  MoxcLimits limits = sized<MoxcLimits>();
  MoxcRun run = sized<MoxcRun>();
};

// Success has a file, failure has none.
template <class Make>
bool toMemory(Bytes& made, Make&& make) {
  void* bytes = nullptr;
  std::size_t count = 0;
  const MoxcTarget target = moxcMemoryTarget(&bytes, &count);
  const bool done = succeeded(make(target));
  require(done == (bytes != nullptr));
  if (done) made.assign(static_cast<std::uint8_t*>(bytes), static_cast<std::uint8_t*>(bytes) + count);
  moxcFree(bytes);
  return done;
}

struct Blocks {
  const MoxcMetadata* first = nullptr;
  std::size_t count = 0;
};

// Rows as they come, in bands of so many, a multiple of each dy (0: all at once).
inline MoxcKind encodeRows(const MoxcPixels& from, int bandHeight, MoxcEncoder* encoder) {
  const int height = bandHeight == 0 ? from.height : bandHeight;
  for (int y = 0; y < from.height; y += height) {
    MoxcPixels band = from;
    band.height = std::min(height, from.height - y);
    const int count = from.layout == moxcYCbCr ? 3 : from.layout == moxcPlanes ? from.planeCount : 1;
    for (int i = 0; i < count; ++i) {
      MoxcPlane& plane = band.planes[i];
      const int dy = std::max(plane.dy, 1), channels = isInterleaved(from.layout) ? moxcChannels(from.layout) : 1;
      plane.samples =
          static_cast<std::uint8_t*>(plane.samples) + std::ptrdiff_t{y} / dy * plane.width * channels * from.sampleSize;
      plane.height = (band.height + dy - 1) / dy;
    }
    if (const MoxcKind kind = moxcEncoderRows(encoder, &band, nullptr)) return kind;
  }
  return moxcEncoderFinish(encoder, nullptr);
}

// All rows in one call, or those of bands, if a height is given.
inline MoxcKind encode(const MoxcPixels& from, const char* format, const MoxcWriteOptions& options,
                       const Blocks& blocks, const int* bandHeight, const Run& run, const MoxcTarget& target) {
  if (!bandHeight) return moxcEncode(&from, format, &options, blocks.first, blocks.count, &target, &run.run, nullptr);
  MoxcEncoder* encoder = nullptr;
  MoxcKind kind =
      moxcEncoderOpen(&from, format, &options, blocks.first, blocks.count, &target, &run.run, &encoder, nullptr);
  if (kind == moxcOk) kind = encodeRows(from, *bandHeight, encoder);
  moxcEncoderFree(encoder);
  return kind;
}

inline bool readable(const char* format) { return std::strncmp(format, "raw", 3) != 0; }

// A file of this library's is complete; of the size of the picture, if one is given.
inline void checkDecoded(const Bytes& file, const MoxcPixels* expected, const Run& run) {
  const MoxcSource from = moxcMemorySource(file.data(), file.size());
  MoxcReport* const report = moxcReportNew();
  MoxcPicture* picture = nullptr;
  if (moxcDecode(&from, nullptr, nullptr, &run.run, &picture, report) != moxcOk) fail(moxcReportText(report));
  if (!moxcReportComplete(report)) fail(moxcReportWarning(report));
  MoxcPixels pixels = sized<MoxcPixels>();
  require(moxcPicturePixels(picture, &pixels) == moxcOk);
  if (expected) require(pixels.width == expected->width && pixels.height == expected->height);
  moxcPictureFree(picture);
  moxcReportFree(report);
}

// A file has all samples.
inline void checkLossless(const Bytes& file, const Pixels& from, const Run& run) {
  Bytes memory(from.memory().size());
  MoxcPixels to = from.pixels;
  for (MoxcPlane& plane : to.planes)
    if (plane.samples)
      plane.samples = memory.data() + (static_cast<std::uint8_t*>(plane.samples) - from.memory().data());
  const MoxcSource source = moxcMemorySource(file.data(), file.size());
  MoxcReport* const report = moxcReportNew();
  if (moxcDecodeInto(&source, nullptr, &to, &run.run, report) != moxcOk) fail(moxcReportText(report));
  moxcReportFree(report);
  require(memory == from.memory());
}

}  // namespace fuzz
