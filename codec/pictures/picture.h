// 8-bit pictures in memory, and the result of a reader.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "base/budget.h"
#include "base/outcome.h"

namespace moxj {

// Interleaved 8-bit samples, top row first: grey (1 channel) or red, green, blue (3 channels). Copies share the
// samples. For other depths and planar samples see Image.
struct Picture {
  int width = 0;
  int height = 0;
  int channels = 0;
  std::ptrdiff_t step = 0;  // bytes from one row to the next, at least width * channels
  std::uint8_t* samples = nullptr;
  std::shared_ptr<void> owner;  // keeps the samples alive

  // Allocates an uninitialised picture, charged to the budget if there is one. `rowBytes` and `rows` may be larger than
  // the picture, so that a decoder can store whole blocks at its edges. Throws Problem (limit or noMemory).
  static Picture make(int width, int height, int channels, Budget* budget = nullptr, std::size_t rowBytes = 0,
                      std::size_t rows = 0);

  std::uint8_t* row(int y) const { return samples + step * y; }
  std::size_t rowBytes() const { return static_cast<std::size_t>(width) * static_cast<std::size_t>(channels); }
  bool packed() const { return static_cast<std::size_t>(step) == rowBytes(); }
};

// Receives a picture row by row, so that the decoder need not keep it.
class RowSink {
 public:
  virtual ~RowSink() = default;
  // Once, before any row.
  virtual void begin(int width, int height, int channels) = 0;
  // The next rows, as a picture whose samples are valid only during the call.
  virtual void rows(const Picture& band) = 0;
};

// Checked before memory is allocated for a picture.
struct Limits {
  std::uint64_t maxPixels = 268435456;               // width x height
  std::uint64_t maxMemory = std::uint64_t{1} << 30;  // bytes that a reader or a writer may hold

  // Throws Problem (limit) if the picture has more pixels than allowed.
  void check(std::uint64_t width, std::uint64_t height) const;
};

// The result of a reader.
struct Decoded : Outcome {
  Picture picture;
};

}  // namespace moxj
