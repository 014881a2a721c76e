// The fast path between pixels and blocks: colour conversion, sampling and level shift of an MCU in one function.
#pragma once

#include <array>
#include <vector>

#include "jpeg/colour.h"
#include "jpeg/frame.h"
#include "jpeg/painter.h"
#include "jpeg/tables.h"
#include "moxj.h"
#include "pictures/picture.h"

namespace moxj::jpeg {

// The library's functions for one kind of sampling.
struct McuFunctions {
  MoxStatus (*toBlocks)(const Mox8u* pixels, std::int32_t step, Mox16s* const blocks[]);
  MoxStatus (*bgrToBlocks)(const Mox8u* pixels, std::int32_t step, Mox16s* const blocks[]);  // null for inks
  MoxStatus (*toPixels)(const Mox16s* const blocks[], Mox8u* pixels, std::int32_t step);
};

// For YCbCr and YCCK with 4:4:4, 4:2:2 or 4:2:0 sampling; otherwise null. K has the sampling of Y.
const McuFunctions* mcuFunctionsFor(const Frame& frame, ColourModel model);

// The layout of the blocks of an MCU, in the order of the stream: Y, Cb, Cr and, of inks, K.
class McuBlocks {
 public:
  explicit McuBlocks(const Frame& frame)
      : luminance_(frame.components[0].horizontal * frame.components[0].vertical),
        inks_(frame.components.size() == 4) {}

  int count() const { return (inks_ ? 2 : 1) * luminance_ + 2; }
  int channels() const { return inks_ ? 4 : 3; }
  template <class Sample>  // Mox16s, const or not
  std::array<Sample*, 4> pointers(Sample* blocks) const {
    return {blocks, blocks + 64 * luminance_, blocks + 64 * (luminance_ + 1),
            inks_ ? blocks + 64 * (luminance_ + 2) : nullptr};
  }

 private:
  int luminance_;
  bool inks_;
};

// Converts pixels to blocks for the transform, MCU by MCU. The pixels at the edges are repeated beyond them.
class McuSource {
 public:
  // Needs mcuFunctionsFor(frame, model).
  McuSource(const Frame& frame, ColourModel model);

  // MCU row `row` begins at row `first` of the band, which must outlive it.
  void beginRow(const Picture& band, int first, int row);
  void load(int mcu);
  const Mox16s* block(int index) const { return blocks_ + std::ptrdiff_t{64} * index; }

 private:
  const Frame frame_;
  const McuFunctions* functions_;
  const McuBlocks layout_;
  bool bgr_ = false;                   // the rows have blue first
  const std::uint8_t* top_ = nullptr;  // the first row of the MCU row
  std::ptrdiff_t step_ = 0;
  int rows_ = 0;  // that belong to the picture
  std::array<Mox8u, 16 * 16 * 4> edge_;
  alignas(64) Mox16s blocks_[10 * 64];
};

// Paints a picture from the blocks of MCUs: RGB, or inks.
class McuPainter final : public Painter {
 public:
  // Needs mcuFunctionsFor(frame, model).
  McuPainter(const Frame& frame, ColourModel model, std::vector<Steps> steps, RowSink& sink, Budget& budget);

  void put(int component, int x, int y, const Mox16s* coefficients) override;
  void finishRow() override;
  void finish() override;

 private:
  void pushRow();

  const Frame frame_;
  const McuFunctions* functions_;
  const McuBlocks layout_;
  const std::vector<Steps> steps_;
  RowSink& sink_;
  std::vector<Mox16s> row_;  // blocks of the current MCU row
  Picture band_;             // its pixels, of whole MCUs
  int mcuRow_ = 0;
};

}  // namespace moxj::jpeg
