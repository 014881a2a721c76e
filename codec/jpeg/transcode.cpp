// Transcoding: re-encodes a file without decoding it further than to its coefficients.
#include <algorithm>

#include "jpeg/codedpicture.h"
#include "jpeg/coefficientwriter.h"
#include "jpeg/metadata.h"
#include "jpeg/multipicture.h"
#include "jpeg/writer.h"

namespace moxj::jpeg {

namespace {

using Process = TranscodeOptions::Process;

bool isProgressive(const CodedPicture& picture, const TranscodeOptions& options) {
  if (options.script) return options.script->progressive();
  if (options.process == Process::asInput) return picture.frame.progressive();
  return options.process == Process::progressive;
}

// Chrominance uses tables 1; luminance, black and all other components use tables 0.
int tableOf(const CodedPicture& picture, int component) {
  const bool chrominance = component == 1 || component == 2;
  return chrominance && (picture.model == ColourModel::ycbcr || picture.model == ColourModel::ycck) ? 1 : 0;
}

std::vector<ScanHeader> scansFor(const CodedPicture& picture, const Frame& frame, const TranscodeOptions& options) {
  std::vector<ScanHeader> scans = options.script ? scansOf(*options.script, frame)
                                  : frame.process == marker::sof2
                                      ? progressiveScans(frame, picture.model == ColourModel::ycbcr)
                                      : sequentialScans(frame);
  for (ScanHeader& scan : scans) {
    for (ScanHeader::Selector& selector : scan.components)
      selector.dcTable = selector.acTable = tableOf(picture, selector.component);
  }
  return scans;
}

// The distinct tables of quantiser steps. Sets the references of the frame's components to them.
std::vector<Steps> tablesFor(const CodedPicture& picture, Frame& frame) {
  std::vector<Steps> tables;
  for (std::size_t i = 0; i < picture.steps.size(); ++i) {
    auto found = std::find(tables.begin(), tables.end(), picture.steps[i]);
    if (found == tables.end()) found = tables.insert(found, picture.steps[i]);
    frame.components[i].quantTable = static_cast<int>(found - tables.begin());
  }
  return tables;
}

// A large point transform in a damaged file can produce -32768, which no scan can code.
void requireCodable(const CodedPicture& picture) {
  for (int i = 0; i < static_cast<int>(picture.frame.components.size()); ++i) {
    const FrameComponent& c = picture.frame.components[i];
    for (int y = 0; y < c.blocksHigh; ++y) {
      const Mox16s* const row = picture.coefficients->block(i, 0, y);
      if (*std::min_element(row, row + std::ptrdiff_t{64} * c.blocksWide) == -32768)
        fail(Kind::damaged, "a coefficient is too large to be coded");
    }
  }
}

bool definesColours(const MarkerSegment& segment) {
  return (segment.marker == marker::app0 || segment.marker == marker::app14) && Tables().take(segment);
}

// The segments that are wanted, changed with the picture.
void writeSegments(Writer& writer, CodedPicture& picture, const TranscodeOptions& options, const Change& change) {
  for (const MarkerSegment& segment : picture.segments) {
    const bool colours = definesColours(segment);
    if (!colours && options.strip.has(kindOf(segment))) continue;
    if (colours && segment.marker == marker::app0 && options.strip.hasResolution())
      writer.application(segment.marker, {}, bodyWithoutDensity(segment));
    else if (change.upright || change.width > 0)
      writer.application(segment.marker, {}, changedBody(segment, change, picture.notes));
    else
      writer.copy(segment);
  }
}

Frame frameFor(const CodedPicture& picture, const TranscodeOptions& options) {
  Frame frame = picture.frame;
  const bool wide = std::any_of(picture.steps.begin(), picture.steps.end(), isWide);
  const bool extended = wide || frame.precision > 8;
  frame.process = isProgressive(picture, options) ? marker::sof2 : extended ? marker::sof1 : marker::sof0;
  return frame;
}

// Keeps the file, charged to a budget as it grows.
class ChargedOutput : public MemoryOutput {
 public:
  explicit ChargedOutput(Budget& budget) : budget_(budget) {}
  void write(ByteSpan first, ByteSpan second) override {
    budget_.charge(1, first.size() + second.size());
    MemoryOutput::write(first, second);
  }

 private:
  Budget& budget_;
};

void transcodeTo(Output& output, CodedPicture& picture, const TranscodeOptions& options, Work& work) {
  Geometry geometry = options.geometry;
  const int width = picture.frame.width, height = picture.frame.height;
  Change change;
  change.upright = options.orient && orientationOf(picture.segments) != 1;
  if (change.upright) geometry.transform = transformOf(orientationOf(picture.segments));
  transform(picture, geometry, work.budget);
  Frame frame = frameFor(picture, options);
  if (frame.width != width || frame.height != height) {
    change.width = frame.width;
    change.height = frame.height;
  }
  const std::vector<Steps> tables = tablesFor(picture, frame);
  const Coding coding{scansFor(picture, frame, options), options.optimize, {options.restart, options.restartInRows}};
  fillMcus(frame, *picture.coefficients);

  Writer writer(output);
  writer.marker(marker::soi);
  writeSegments(writer, picture, options, change);
  for (std::size_t i = 0; i < tables.size(); ++i) writer.steps(static_cast<int>(i), tables[i]);
  writer.frame(frame);
  writeScans(writer, frame, *picture.coefficients, coding, work);
  writer.marker(marker::eoi);
  writer.flush();
}

}  // namespace

// The index of further pictures has their offsets, which are known when the first picture is coded.
Outcome transcode(ByteSpan file, const TranscodeOptions& options, Output& output, Work& work) {
  CodedPicture picture = readCoefficients(file, options.picture, work);
  requireCodable(picture);
  const bool keepsTail = !options.strip.has(MetadataKind::other) && !picture.tail.empty();
  const std::vector<MarkerSegment> segments = picture.segments;
  if (!keepsTail || std::ranges::none_of(segments, isMultiPictureIndex)) {
    transcodeTo(output, picture, options, work);
    if (keepsTail) output.write(picture.tail);
  } else {
    ChargedOutput first(work.budget);
    transcodeTo(first, picture, options, work);
    moveFurtherPictures({first.bytes.data(), first.bytes.size()}, segments, picture.tail);
    output.write({first.bytes.data(), first.bytes.size()}, picture.tail);
  }
  return std::move(static_cast<Outcome&>(picture));
}

}  // namespace moxj::jpeg
