// The writer: a baseline JFIF file in one pass, an MCU row at a time; with optimal tables or several scans, the
// coefficients of the whole picture first.
#include <array>
#include <cstring>

#include "jpeg/coefficientwriter.h"
#include "jpeg/frame.h"
#include "jpeg/jpeg.h"
#include "jpeg/library.h"
#include "jpeg/markers.h"
#include "jpeg/samplestrips.h"
#include "jpeg/scanwriter.h"
#include "jpeg/writer.h"

namespace moxj::jpeg {

namespace {

constexpr int kLargestWord = 65535;

[[noreturn]] void exceeds(const std::string& what) {
  throw Failure(ExitStatus::limit, what);
}

Frame frameFor(const Picture& picture, const EncodeOptions& options) {
  if (picture.width > kLargestWord || picture.height > kLargestWord) {
    exceeds(std::to_string(picture.width) + " x " + std::to_string(picture.height) +
            " pixels: JPEG goes up to 65535 x 65535");
  }
  Frame frame{.process = marker::sof0, .width = picture.width, .height = picture.height, .components = {{.id = 1}}};
  if (picture.channels == 3 && !options.grayscale) {
    FrameComponent& luminance = frame.components[0];
    luminance.horizontal = options.sampling == Sampling::s444 ? 1 : 2;
    luminance.vertical = options.sampling == Sampling::s420 ? 2 : 1;
    frame.components.push_back({.id = 2, .quantTable = 1});
    frame.components.push_back({.id = 3, .quantTable = 1});
  }
  frame.layOut();
  return frame;
}

// A table of Annex K at some quality, as the file has it and as the transform takes it.
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

using Quantisers = std::array<Quantiser, 2>;

void writeScan(const Picture& picture, const Frame& frame, const ScanHeader& scan, const Quantisers& quantisers,
               int restartInterval, Bytes& file, const Progress& progress) {
  const ScanGeometry geometry(frame, scan);
  SampleStrips strips(picture, frame);
  ScanWriter writer(file, ScanKind::sequential, scan, kAnnexKCodes, restartInterval);
  alignas(64) Mox16s coefficients[64];
  for (int row = 0; row < geometry.mcusHigh; ++row) {
    strips.loadRow(row);
    for (int mcu = 0; mcu < geometry.mcusWide; ++mcu) {
      writer.beginMcu();
      for (const ScanGeometry::Block& block : geometry.blocks) {
        const FrameComponent& c = frame.components[block.component];
        const int x = mcu * block.across + block.dx;
        if (x < c.blocksWide && row * block.down + block.dy < c.blocksHigh) {
          moxiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(strips.block(block.component, x, block.dy),
                                              strips.step(block.component), coefficients,
                                              quantisers[c.quantTable].reciprocals.data());
        } else {  // a block that only fills up the MCU: what costs least
          std::memset(coefficients, 0, sizeof coefficients);
          coefficients[0] = writer.lastDc(block.selector);
        }
        writer.put<ScanKind::sequential>(block.selector, coefficients);
      }
    }
    if (progress) progress(row + 1, geometry.mcusHigh);
  }
  writer.end();
}

// Scans are of these frames' own tables: 0 for the first component, 1 for the others.
void selectTables(std::vector<ScanHeader>& scans) {
  for (ScanHeader& scan : scans) {
    for (ScanHeader::Selector& selector : scan.components)
      selector.dcTable = selector.acTable = std::min(selector.component, 1);
  }
}

std::vector<ScanHeader> scansFor(const Frame& frame, const EncodeOptions& options) {
  std::vector<ScanHeader> scans = options.script        ? scansOf(*options.script, frame)
                                  : options.progressive ? progressiveScans(frame, true)
                                                        : sequentialScans(frame);
  selectTables(scans);
  return scans;
}

void transform(const Picture& picture, const Frame& frame, const Quantisers& quantisers, Coefficients& coefficients) {
  SampleStrips strips(picture, frame);
  for (int row = 0; row < frame.mcusHigh; ++row) {
    strips.loadRow(row);
    for (int component = 0; component < static_cast<int>(frame.components.size()); ++component) {
      const FrameComponent& c = frame.components[component];
      const int end = std::min((row + 1) * c.vertical, c.blocksHigh);
      for (int y = row * c.vertical; y < end; ++y) {
        for (int x = 0; x < c.blocksWide; ++x) {
          moxiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(strips.block(component, x, y - row * c.vertical), strips.step(component),
                                              coefficients.block(component, x, y),
                                              quantisers[c.quantTable].reciprocals.data());
        }
      }
    }
  }
  fillMcus(frame, coefficients);
}

void writeInOnePass(Writer& writer, const Picture& picture, const Frame& frame, const ScanHeader& scan,
                    const Quantisers& quantisers, int restartInterval, const Progress& progress) {
  for (int table = 0; table < static_cast<int>(std::min(frame.components.size(), quantisers.size())); ++table) {
    writer.code(kDc, table, kAnnexKCodes[kDc][table]);
    writer.code(kAc, table, kAnnexKCodes[kAc][table]);
  }
  if (restartInterval != 0) writer.restartInterval(restartInterval);
  writer.scan(frame, scan);
  writeScan(picture, frame, scan, quantisers, restartInterval, writer.file(), progress);
}

}  // namespace

Bytes encode(const Picture& picture, const EncodeOptions& options, const Progress& progress) {
  Frame frame = frameFor(picture, options);
  const Coding coding{scansFor(frame, options), options.optimize, {options.restart, options.restartInRows}};
  const int restartInterval = coding.restart.of(frame.mcusWide);
  if (options.script ? options.script->progressive() : options.progressive) frame.process = marker::sof2;
  const bool colour = frame.components.size() > 1;
  const Quantisers quantisers{Quantiser(kAnnexKSteps[0], options.quality), Quantiser(kAnnexKSteps[1], options.quality)};

  Writer writer;
  // Two bits a pixel are enough for many files.
  writer.file().reserve(std::size_t{4096} + picture.rowBytes() * static_cast<std::size_t>(picture.height) / 12);
  writer.marker(marker::soi);
  writer.jfif();
  for (int table = 0; table <= int{colour}; ++table) writer.steps(table, quantisers[table].steps);
  writer.frame(frame);
  if (frame.process == marker::sof0 && coding.scans.size() == 1 && !coding.optimal) {
    writeInOnePass(writer, picture, frame, coding.scans[0], quantisers, restartInterval, progress);
  } else {
    Coefficients coefficients(frame);
    transform(picture, frame, quantisers, coefficients);
    writeScans(writer, frame, coefficients, coding, progress);
  }
  writer.marker(marker::eoi);
  return std::move(writer.file());
}

}  // namespace moxj::jpeg
