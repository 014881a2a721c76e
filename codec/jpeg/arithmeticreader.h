// Decodes the arithmetic-coded data of a scan of blocks (T.81 F.2.4, G.2), MCU row by MCU row.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "jpeg/arithmetic.h"
#include "jpeg/entropyreader.h"

namespace moxj::jpeg {

// Missing blocks are as those of ScanReader. Arithmetic-coded data do not show every damage: what is decoded after it
// may be wrong up to the end of the restart interval.
class ArithmeticReader final : public EntropyReader {
 public:
  ArithmeticReader(const Frame& frame, const ScanHeader& scan, const Tables& tables, ByteSpan data);

  // Decodes the next MCU row; the sink is that of ScanReader.
  template <class Sink>
  void readRow(Sink&& sink);

 private:
  // The contexts of a DC table (Table F.4) and of an AC table (Table F.5).
  static constexpr int kDcBins = 49, kAcBins = 245;

  struct DcModel {
    std::array<ArithmeticBin, kDcBins> bins;
    int lower = 0, upper = 1;  // bounds of the classes of differences
  };
  struct AcModel {
    std::array<ArithmeticBin, kAcBins> bins;
    int split = 5;  // the last coefficient of low frequency
    ArithmeticBin* of(int k) { return bins.data() + std::ptrdiff_t{3} * (k - 1); }
  };
  struct Component {
    DcModel* dc;
    AcModel* ac;
    Mox16s last = 0;  // DC value
    int context = 0;  // class of the last DC difference
  };

  // All return false for data that cannot be right.
  template <ScanKind kind>
  bool decode(Component& component, Mox16s* block);
  bool decodeDc(Component& component);
  bool decodeBand(AcModel& model, int start, int end, int low, Mox16s* block);
  bool refineBand(AcModel& model, Mox16s* block);
  bool decodeMagnitude(ArithmeticBin* first, ArithmeticBin* second, ArithmeticBin* third, int& value);

  template <ScanKind kind, class Sink>
  void readRowOf(Sink& sink);
  bool dataEnded();
  void restarted() override;

  const ScanHeader scan_;
  const ScanKind kind_;
  std::array<DcModel, 4> dcModels_;
  std::array<AcModel, 4> acModels_;
  std::vector<Component> components_;  // of the scan
  ArithmeticDecoder decoder_;
};

template <class Sink>
void ArithmeticReader::readRow(Sink&& sink) {
  moveWindow();
  decoder_.move(window() + position_, window() + windowLength_);
  if (row_ == 0) restarted();
  forKind(kind_, [&](auto kind) { readRowOf<kind()>(sink); });
  ++row_;
}

template <ScanKind kind, class Sink>
void ArithmeticReader::readRowOf(Sink& sink) {
  static constexpr Mox16s kEmpty[64] = {};
  for (int mcu = 0; mcu < geometry_.mcusWide; ++mcu) {
    beginMcu();
    for (const ScanGeometry::Block& block : geometry_.blocks) {
      const int x = mcu * block.across + block.dx;
      const int y = row_ * block.down + block.dy;
      Mox16s* const coefficients = sink.begin(block.component, x, y);
      if (!skipping_) {
        const bool decoded = decode<kind>(components_[block.selector], coefficients);
        position_ = static_cast<std::int32_t>(decoder_.next() - window());
        if (dataEnded()) {
          lose("the file ends within the picture", true);
        } else if (!decoded) {
          lose("damaged data", false);
        }
      }
      sink.end(block.component, x, y, skipping_ ? kEmpty : coefficients);
    }
    goodMcus_ += !skipping_;
  }
}

template <ScanKind kind>
bool ArithmeticReader::decode(Component& component, Mox16s* block) {
  if constexpr (kind == ScanKind::sequential) {
    std::fill_n(block, 64, Mox16s{0});
    if (!decodeDc(component)) return false;
    block[0] = component.last;
    return decodeBand(*component.ac, 1, 63, 0, block);
  } else if constexpr (kind == ScanKind::dcFirst) {
    if (!decodeDc(component)) return false;
    block[0] = static_cast<Mox16s>(component.last * (1 << scan_.approxLow));
    return true;
  } else if constexpr (kind == ScanKind::dcRefine) {
    if (decoder_.decodeEven()) block[0] |= static_cast<Mox16s>(1 << scan_.approxLow);
    return true;
  } else if constexpr (kind == ScanKind::acFirst) {
    return decodeBand(*component.ac, scan_.spectralStart, scan_.spectralEnd, scan_.approxLow, block);
  } else {
    return refineBand(*component.ac, block);
  }
}

}  // namespace moxj::jpeg
