// Converts coefficients to pixels, one MCU row at a time, in buffers that stay in the cache.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "jpeg/colour.h"
#include "jpeg/frame.h"
#include "jpeg/jpeg.h"
#include "jpeg/painter.h"
#include "jpeg/tables.h"
#include "jpeg/upsampler.h"
#include "jpeg/view.h"
#include "moxj.h"

namespace moxj::jpeg {

// Each component has a strip with the samples of one MCU row and the row above it. A triangle filter also needs the row
// below, so the last row of an MCU row is then painted together with the next MCU row. A single component needs no
// strip: it is decoded directly into the band that goes to the sink. The band stays in the cache too. (Memory that is
// written once and read once costs as much as the inverse transform.)
class Strips final : public Painter {
 public:
  // `steps` are the quantiser steps of each component.
  Strips(const View& view, ColourModel model, std::span<const Steps> steps, const DecodeOptions& options, RowSink& sink,
         Budget& budget);

  void put(int component, int x, int y, const Mox16s* coefficients) override {
    Strip& strip = strips_[component];
    const BlockSize size = strip.inverse.size();
    std::uint8_t* const to =
        strip.first + (std::ptrdiff_t{y} * size.height - strip.firstRow) * strip.step + std::ptrdiff_t{size.width} * x;
    strip.inverse(coefficients, to, strip.step);
  }

  void finishRow() override;
  void finish() override;

 private:
  struct Strip {
    Strip(const Upsampler& toPicture, const BlockInverse& toSamples) : upsampler(toPicture), inverse(toSamples) {}

    Upsampler upsampler;
    BlockInverse inverse;
    int height = 0;    // of the component
    int rows = 0;      // per MCU row
    int firstRow = 0;  // of the current MCU row
    std::ptrdiff_t step = 0;
    std::uint8_t* first = nullptr;  // first sample of the MCU row; the row above precedes it
    std::vector<std::uint8_t> samples;
  };

  void allocateBand(Budget& budget);
  const std::uint8_t* rowOf(const Strip& strip, int y) const;
  std::uint8_t* paintedRow(int y) const { return band_.row(y - bandBegin_); }
  void paintRow(int y);
  void makeRoom(int rows);
  void flush();

  Frame frame_;
  std::vector<Strip> strips_;
  RowPainter painter_;
  RowSink& sink_;
  Picture band_;  // the rows being painted: the next ones for the sink
  int bandBegin_ = 0, bandRows_ = 0;
  const std::uint8_t* lastRow_ = nullptr;  // the last painted row
  bool straight_;                          // the samples are decoded directly into the band
  int rowsLate_ = 0;                       // rows that are painted with the next MCU row
  int mcuRow_ = 0;
  int painted_ = 0;  // number of painted rows
};

}  // namespace moxj::jpeg
