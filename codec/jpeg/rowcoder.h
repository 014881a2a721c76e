// Computes the quantised coefficients of MCU rows from the rows of a picture, and passes them to a sink.
#pragma once

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

#include "jpeg/coefficients.h"
#include "jpeg/colour.h"
#include "jpeg/deepdct.h"
#include "jpeg/deepsamples.h"
#include "jpeg/fastmcu.h"
#include "jpeg/frame.h"
#include "jpeg/library.h"
#include "jpeg/samplestrips.h"
#include "jpeg/tables.h"

namespace moxj::jpeg {

// A table of Annex K at some quality: as the file stores it, and as the transform needs it.
struct Quantiser {
  Steps steps;
  std::array<Mox16u, 64> reciprocals;

  Quantiser(const Steps& annexK, int quality) {
    std::array<Mox8u, 64> raw;
    for (int position = 0; position < 64; ++position) raw[position] = static_cast<Mox8u>(annexK[kZigZag[position]]);
    require(moxiQuantFwdRawTableInit_JPEG_8u(raw.data(), quality), "quality scaling");
    require(moxiQuantFwdTableInit_JPEG_8u16u(raw.data(), reciprocals.data()), "a quantisation table");
    for (int position = 0; position < 64; ++position) steps[kZigZag[position]] = raw[position];
  }
};

using Quantisers = std::vector<Quantiser>;

// Computes quantised coefficients from the samples of each component.
class StripSource {
 public:
  StripSource(const Picture& layout, const Frame& frame, ColourModel model, const Quantisers& quantisers,
              Budget& budget)
      : frame_(frame), quantisers_(quantisers), strips_(layout, frame, model, budget) {}

  void beginRow(const Picture& band, int first, int row) { strips_.loadRow(band, first, row); }
  void beginMcu(int) {}
  // Transforms a block of an MCU (the one with number `index`); `x` counts the blocks of the whole row.
  void transform(const ScanGeometry::Block& block, int, int x, Mox16s* coefficients) const {
    const int table = frame_.components[block.component].quantTable;
    moxiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(strips_.block(block.component, x, block.dy), strips_.step(block.component),
                                        coefficients, quantisers_[table].reciprocals.data());
  }

 private:
  const Frame& frame_;
  const Quantisers& quantisers_;
  SampleStrips strips_;
};

// Computes them from samples of more than 8 bits.
class DeepSource {
 public:
  DeepSource(const Picture& layout, const Frame& frame, ColourModel model, const Quantisers& quantisers, Budget& budget)
      : frame_(frame), quantisers_(quantisers), samples_(layout, frame, model, budget) {}

  void beginRow(const Picture& band, int first, int row) { samples_.loadRow(band, first, row); }
  void beginMcu(int) {}
  void transform(const ScanGeometry::Block& block, int, int x, Mox16s* coefficients) const {
    const int table = frame_.components[block.component].quantTable;
    transformDeep(samples_.block(block.component, x, block.dy), samples_.step(block.component), frame_.precision,
                  quantisers_[static_cast<std::size_t>(table)].steps, coefficients);
  }

 private:
  const Frame& frame_;
  const Quantisers& quantisers_;
  DeepSamples samples_;
};

// Computes them from the pixels of each MCU.
class FastSource {
 public:
  FastSource(const Picture&, const Frame& frame, ColourModel model, const Quantisers& quantisers, Budget&)
      : frame_(frame), quantisers_(quantisers), source_(frame, model) {}

  void beginRow(const Picture& band, int first, int row) { source_.beginRow(band, first, row); }
  void beginMcu(int mcu) { source_.load(mcu); }
  void transform(const ScanGeometry::Block& block, int index, int, Mox16s* coefficients) const {
    const int table = frame_.components[block.component].quantTable;
    moxiDCTQuantFwd8x8_JPEG_16s_C1(source_.block(index), coefficients, quantisers_[table].reciprocals.data());
  }

 private:
  const Frame& frame_;
  const Quantisers& quantisers_;
  McuSource source_;
};

// Blocks are transformed in groups and then coded. Entropy coding has many unpredictable branches, and each
// misprediction would discard the work the processor has already begun on the next transform.
constexpr int kBlocksAtOnce = 24;

// A group of MCUs in a row.
struct Run {
  int row, first, end;
  bool real[kBlocksAtOnce];  // false: a padding block, which only completes an MCU
};

template <class Source, class Sink>
void transform(const Frame& frame, const ScanGeometry& geometry, Run& run, Source& source, Sink& sink) {
  int index = 0;
  for (int mcu = run.first; mcu < run.end; ++mcu) {
    source.beginMcu(mcu);
    int ofMcu = 0;
    for (const ScanGeometry::Block& block : geometry.blocks) {
      const FrameComponent& c = frame.components[block.component];
      const int x = mcu * block.across + block.dx, y = run.row * block.down + block.dy;
      run.real[index] = x < c.blocksWide && y < c.blocksHigh;
      if (run.real[index]) source.transform(block, ofMcu, x, sink.place(index, block, x, y));
      ++ofMcu;
      ++index;
    }
  }
}

template <class Sink>
void put(const ScanGeometry& geometry, const Run& run, Sink& sink) {
  int index = 0;
  for (int mcu = run.first; mcu < run.end; ++mcu) {
    sink.beginMcu();
    for (const ScanGeometry::Block& block : geometry.blocks) {
      sink.put(index, block, run.real[index]);
      ++index;
    }
  }
}

inline ScanHeader allComponents(const Frame& frame) {
  ScanHeader all;
  for (int i = 0; i < static_cast<int>(frame.components.size()); ++i) all.components.push_back({i, 0, 0});
  return all;
}

// Computes the blocks of MCU rows. The sink has three members:
//   Mox16s* place(int index, const ScanGeometry::Block& block, int x, int y)
//                    returns the destination of the coefficients of block `index` of a run
//   beginMcu()
//   put(int index, const ScanGeometry::Block& block, bool real)
//                    called when the coefficients are stored; not `real`: a padding block
template <class Sink>
class RowCoder {
 public:
  virtual ~RowCoder() = default;
  // Codes MCU row `row`, whose pixels begin at row `first` of the band and lie within it.
  virtual void code(const Picture& band, int first, int row, Sink& sink) = 0;
};

template <class Source, class Sink>
class RowCoderOf final : public RowCoder<Sink> {
 public:
  RowCoderOf(const Picture& layout, const Frame& frame, ColourModel model, const Quantisers& quantisers, Budget& budget)
      : frame_(frame),
        geometry_(frame, allComponents(frame)),
        source_(layout, frame, model, quantisers, budget),
        mcusAtOnce_(kBlocksAtOnce / static_cast<int>(geometry_.blocks.size())) {}

  void code(const Picture& band, int first, int row, Sink& sink) override {
    source_.beginRow(band, first, row);
    for (int mcu = 0; mcu < geometry_.mcusWide; mcu += mcusAtOnce_) {
      Run run{row, mcu, std::min(mcu + mcusAtOnce_, geometry_.mcusWide), {}};
      transform(frame_, geometry_, run, source_, sink);
      put(geometry_, run, sink);
    }
  }

 private:
  const Frame& frame_;
  const ScanGeometry geometry_;
  Source source_;
  const int mcusAtOnce_;
};

// Selects the source.
template <class Sink>
std::unique_ptr<RowCoder<Sink>> rowCoder(bool fast, const Picture& layout, const Frame& frame, ColourModel model,
                                         const Quantisers& quantisers, Budget& budget) {
  if (frame.precision > 8)
    return std::make_unique<RowCoderOf<DeepSource, Sink>>(layout, frame, model, quantisers, budget);
  if (fast && mcuFunctionsFor(frame, model))
    return std::make_unique<RowCoderOf<FastSource, Sink>>(layout, frame, model, quantisers, budget);
  return std::make_unique<RowCoderOf<StripSource, Sink>>(layout, frame, model, quantisers, budget);
}

// Keeps the blocks.
struct CoefficientSink {
  Coefficients& coefficients;

  Mox16s* place(int, const ScanGeometry::Block& block, int x, int y) {
    return coefficients.block(block.component, x, y);
  }
  void beginMcu() {}
  void put(int, const ScanGeometry::Block&, bool) {}
};

}  // namespace moxj::jpeg
