// Pictures in memory, and what a reader hands over with one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace moxj {

// Interleaved 8-bit samples: grey (1 channel) or red, green, blue (3 channels), top row first. Copies share the
// samples. Pictures of deeper samples or of separate planes are to be a type of their own beside this one.
struct Picture {
  int width = 0;
  int height = 0;
  int channels = 0;
  std::ptrdiff_t step = 0;  // bytes from one row to the next, at least width * channels
  std::uint8_t* samples = nullptr;
  std::shared_ptr<void> owner;  // keeps the samples alive

  // Takes memory for a picture without filling it. `rowBytes` and `rows` may ask for more than the picture needs, so
  // that a decoder can store whole blocks at its edges. Throws Failure (limit) where there is no memory.
  static Picture make(int width, int height, int channels, std::size_t rowBytes = 0, std::size_t rows = 0);

  std::uint8_t* row(int y) const { return samples + step * y; }
  std::size_t rowBytes() const { return static_cast<std::size_t>(width) * static_cast<std::size_t>(channels); }
  bool packed() const { return static_cast<std::size_t>(step) == rowBytes(); }
};

// Takes a picture as its rows come, so that none of it needs to be kept.
class RowSink {
 public:
  virtual ~RowSink() = default;
  // Once, before any row.
  virtual void begin(int width, int height, int channels) = 0;
  // The next rows, as a picture of their own, whose samples may be overwritten afterwards.
  virtual void rows(const Picture& band) = 0;
};

// Checked before memory is taken for a picture. The number is compared in pixels: width times height.
struct Limits {
  std::uint64_t maxPixels = 268435456;
  std::uint64_t maxMemory = std::uint64_t{1} << 30;  // bytes that a coder of JPEG 2000 takes

  // Throws Failure (limit) where the picture has more pixels than allowed.
  void check(std::uint64_t width, std::uint64_t height) const;
};

// A picture that a reader made of a file.
struct Decoded {
  Picture picture;
  bool complete = true;            // false: part of the picture is missing or was guessed, `warning` says why
  std::string warning;             // cause, as in Failure
  std::vector<std::string> notes;  // what the picture lost by intent: an alpha channel, bits beyond 8
};

}  // namespace moxj
