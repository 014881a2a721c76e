// Converts coefficients to samples of more than 8 bits.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "jpeg/colour.h"
#include "jpeg/frame.h"
#include "jpeg/jpeg.h"
#include "jpeg/painter.h"
#include "jpeg/tables.h"
#include "jpeg/view.h"

namespace moxj::jpeg {

// Keeps the samples of all components until the end. They then go the way of lossless samples, up-sampled as those of 8
// bits are.
class DeepPainter final : public Painter {
 public:
  // `steps` are the quantiser steps of each component.
  DeepPainter(const View& view, ColourModel model, std::span<const Steps> steps, const DecodeOptions& options,
              RowSink& sink, Work& work);
  ~DeepPainter() override;

  void put(int component, int x, int y, const Mox16s* coefficients) override;
  void finishRow() override {}
  void finish() override;

 private:
  void enlarge();

  Frame frame_;
  const std::vector<BlockSize> blocks_;
  const ColourModel model_;
  const std::vector<Steps> steps_;
  const DecodeOptions options_;
  RowSink& sink_;
  Work& work_;
  std::uint64_t charged_;  // for the samples
  Picture samples_;
};

}  // namespace moxj::jpeg
