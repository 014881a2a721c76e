// Reads a picture in the layout that the caller wants.
#pragma once

#include <cstdint>

#include "api/pixels.h"
#include "formats/convert.h"
#include "moxcodec.h"

namespace moxj::api {

struct Wish {
  MoxcLayout layout = static_cast<MoxcLayout>(0);  // 0: as the file has it
  int bits = 0;                                    // 0: those of the file
  bool isSigned = true;                            // signed samples stay signed
  bool anyMaxval = true;                           // a maximum value that is not the largest of the bits stays
};

// Throws Problem (badOption) or BadArgument.
Wish wishOf(const MoxcWanted* wanted);

// Gets the picture, whose planes are what copyRows() needs.
class PixelSink : public RowSink {
 public:
  // Before any rows: the pixels to come, without samples. `picture` is the layout of the bands.
  virtual void start(const MoxcPixels& shape, const Picture& picture) = 0;
  // Rows `y` to `y + band.height - 1`.
  virtual void take(const Picture& band, int y) = 0;

  void begin(const Picture& layout) final {
    y_ = 0;
    start(pixelsFor(layout, wish_.layout), layout);
  }
  void rows(const Picture& band) final {
    take(band, y_);
    y_ += band.height;
  }
  void end() override {}

 protected:
  explicit PixelSink(const Wish& wish) : wish_(wish) {}

 private:
  friend Outcome readPixels(const MoxcSource*, const ReadOptions&, PixelSink&, Work&);
  Wish wish_;
  int y_ = 0;
};

Outcome readPixels(const MoxcSource* source, const ReadOptions& options, PixelSink& sink, Work& work);

}  // namespace moxj::api
