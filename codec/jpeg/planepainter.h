// Converts coefficients to the planes of the components, without up-sampling and colour conversion.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "jpeg/colour.h"
#include "jpeg/frame.h"
#include "jpeg/painter.h"
#include "jpeg/tables.h"
#include "jpeg/view.h"
#include "moxj.h"

namespace moxj::jpeg {

// Each MCU row is a band for the sink. The planes have the sizes of the components.
class PlanePainter final : public Painter {
 public:
  // Whether a file can be painted in this way.
  static bool canPaint(const Frame& frame, ColourModel model);

  // `steps` are the quantiser steps of each component.
  PlanePainter(const View& view, ColourModel model, std::span<const Steps> steps, RowSink& sink, Budget& budget);

  void put(int component, int x, int y, const Mox16s* coefficients) override {
    const Strip& strip = strips_[component];
    const BlockSize size = strip.inverse.size();
    std::uint8_t* const to =
        strip.first + (std::ptrdiff_t{y} * size.height - strip.firstRow) * strip.step + std::ptrdiff_t{size.width} * x;
    strip.inverse(coefficients, to, strip.step);
  }

  void finishRow() override;
  void finish() override;

 private:
  struct Strip {
    explicit Strip(const BlockInverse& toSamples) : inverse(toSamples) {}

    BlockInverse inverse;
    int rows = 0;      // per MCU row
    int firstRow = 0;  // of the current MCU row
    std::ptrdiff_t step = 0;
    std::uint8_t* first = nullptr;
    std::vector<std::uint8_t> samples;
  };

  const Frame frame_;
  RowSink& sink_;
  std::vector<Strip> strips_;
  Picture layout_;
  int mcuRow_ = 0;
};

}  // namespace moxj::jpeg
