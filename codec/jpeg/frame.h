// Frames, scans, and the geometry that follows from the sampling factors (T.81 A.1.1, A.2).
#pragma once

#include <cstdint>
#include <type_traits>
#include <vector>

#include "base/arithmetic.h"
#include "jpeg/tables.h"

namespace moxj::jpeg {

// Sampling factors.
struct Factors {
  int horizontal = 1, vertical = 1;
};

struct FrameComponent {
  int id = 0;
  int horizontal = 1, vertical = 1;  // sampling factors, 1 to 4
  int quantTable = 0;

  // Set by Frame::layOut().
  int width = 0, height = 0;           // in samples
  int blocksWide = 0, blocksHigh = 0;  // blocks (units of the frame) with samples: those of a non-interleaved scan
  int paddedWide = 0, paddedHigh = 0;  // the same with the padding blocks of an interleaved scan
};

struct Frame {
  static constexpr std::uint8_t kBaseline = 0xC0;
  std::uint8_t process = 0;  // marker code of the frame header
  int precision = 8;
  int width = 0, height = 0;  // height 0: a DNL segment follows
  std::vector<FrameComponent> components;
  int unit = 8;  // width and height of a coded unit: a block or, in a lossless frame, a sample

  int maxHorizontal = 1, maxVertical = 1;  // largest sampling factors
  int mcusWide = 0, mcusHigh = 0;          // of an interleaved scan

  // Processes differ in bits of their marker codes.
  bool lossless() const { return (process & 3) == 3; }
  bool progressive() const { return (process & 3) == 2; }
  bool arithmetic() const { return (process & 8) != 0; }
  // Whether the depth is one of those of the DCT processes (T.81 Table B.2): 8 or, except in baseline files, 12 bits.
  bool hasDctPrecision() const { return precision == 8 || (precision == 12 && process != kBaseline); }

  // Derives the geometry from the size and the sampling factors.
  void layOut();

  int mcuWidth() const { return unit * maxHorizontal; }
  int mcuHeight() const { return unit * maxVertical; }
  // Whether all components have whole numbers of pixels for each sample, across and down.
  bool wholeRatios() const;
};

struct ScanHeader {
  struct Selector {
    int component = 0;  // index in the frame
    int dcTable = 0, acTable = 0;
  };
  std::vector<Selector> components;
  int spectralStart = 0, spectralEnd = 63;
  int approxHigh = 0, approxLow = 0;
};

// Which part of the coefficients a scan codes (T.81 Annexes F and G).
enum class ScanKind { sequential, dcFirst, dcRefine, acFirst, acRefine };

constexpr bool isProgressive(ScanKind kind) { return kind != ScanKind::sequential; }

ScanKind kindOf(const Frame& frame, const ScanHeader& scan);

// Whether a kind of scan uses Huffman tables of a class.
constexpr bool usesTable(ScanKind kind, TableClass tableClass) {
  if (kind == ScanKind::sequential) return true;
  return tableClass == kDc ? kind == ScanKind::dcFirst : kind == ScanKind::acFirst || kind == ScanKind::acRefine;
}

// Calls action(std::integral_constant<ScanKind, kind>()).
template <class Action>
void forKind(ScanKind kind, Action&& action) {
  using enum ScanKind;
  switch (kind) {
    case sequential:
      return action(std::integral_constant<ScanKind, sequential>());
    case dcFirst:
      return action(std::integral_constant<ScanKind, dcFirst>());
    case dcRefine:
      return action(std::integral_constant<ScanKind, dcRefine>());
    case acFirst:
      return action(std::integral_constant<ScanKind, acFirst>());
    case acRefine:
      return action(std::integral_constant<ScanKind, acRefine>());
  }
}

// The MCUs of a scan. In a scan of one component, an MCU is one block, whatever the sampling factors, and there are no
// padding blocks (T.81 A.2.2). Otherwise an MCU has horizontal x vertical blocks of each component (A.2.3).
struct ScanGeometry {
  struct Block {
    int component = 0;         // index in the frame
    int selector = 0;          // index in the scan header
    int dx = 0, dy = 0;        // within the MCU
    int across = 1, down = 1;  // blocks of this component from one MCU to the next
  };
  int mcusWide = 0, mcusHigh = 0;
  std::vector<Block> blocks;  // of one MCU, in the order of the stream

  ScanGeometry(const Frame& frame, const ScanHeader& scan);
};

}  // namespace moxj::jpeg
