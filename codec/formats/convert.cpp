// Every conversion is the same road: a reader pushes rows into a fitting sink, and that into a writer or the caller's
// sink. The conversion to sRGB, if it is wanted, comes before the fitting.
#include "formats/convert.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "pictures/colourspace/srgb.h"
#include "pictures/region.h"

namespace moxj {

extern const Format kJpegFormat, kBmpFormat;

namespace {

// Adds the notes that are not there yet.
void addNotes(Outcome& outcome, const std::vector<std::string>& notes) {
  for (const std::string& note : notes)
    if (std::ranges::find(outcome.notes, note) == outcome.notes.end()) outcome.notes.push_back(note);
}

// Pushes rows to a sink, with a layout that says which part of them is wanted.
Outcome push(const Format& from, Input& input, const ReadOptions& options, RowSink& sink, Work& work) {
  const std::unique_ptr<RowSource> reader = from.open(input, options, work);
  if (from.cuts || !options.region.given()) return reader->push(sink);
  std::vector<std::string> notes;
  Outcome outcome = reader->push(*wanting(sink, options.region, notes));
  addNotes(outcome, notes);
  return outcome;
}

// Pushes the rows of an input that is recognised and whose options are checked. The outcome has the notes of the
// reader, then those of the conversion.
Outcome pushFitted(const Format& from, Input& input, const ReadOptions& options, Holds holds, RowSink& sink,
                   Work& work) {
  std::vector<std::string> fitNotes;
  holds.upright = options.orient;
  const std::unique_ptr<RowSink> fit = fitting(sink, std::move(holds), fitNotes, work.budget);
  const std::unique_ptr<RowSink> srgb = options.srgb ? convertingToSrgb(*fit, fitNotes, work) : nullptr;
  Outcome outcome = push(from, input, options, srgb ? *srgb : *fit, work);
  addNotes(outcome, fitNotes);
  return outcome;
}

const Format& recogniseFor(Input& input, const ReadOptions& options) {
  const Format& format = recognise(input);
  checkOptions(format, options);
  return format;
}

// Inks stay inks where the format holds them. Lossless JPEG keeps all components of a JPEG file as they are coded.
ReadOptions readingFor(const Format& from, const ReadOptions& reading, const Format& to, const WriteOptions& writing) {
  ReadOptions options = reading;
  const Holds holds = to.holds(writing);
  options.inks = std::ranges::find(holds.colours, Colour::cmyk) != holds.colours.end();
  if (&from == &kJpegFormat && &to == &kJpegFormat && writing.lossless) options.components = true;
  return options;
}

// Words of a BMP file and a JPEG file without sub-sampling become each other through YCbCr, by the library's functions
// for it.
bool goesThroughYcbcr(const Format& from, Input& input, const ReadOptions& reading, const Format& to,
                      const WriteOptions& writing, Work& work) {
  const bool plain = !writing.lossless && !writing.grayscale && !writing.rgb && !writing.fastMcu && writing.depth != 12;
  const bool takes = &to == &kBmpFormat
                         ? &from == &kJpegFormat && writing.words != Words::none
                         : &from == &kBmpFormat && &to == &kJpegFormat && writing.sample == Subsampling::s444 && plain;
  return takes && !reading.orient && givesFullYcbcr(from, input, reading, work);
}

// One plane as a grey picture of its own size.
Picture greyOf(const Picture& picture, std::size_t plane) {
  Picture grey = picture;
  grey.planes = {picture.planes[plane]};
  grey.planes[0].dx = grey.planes[0].dy = 1;
  grey.width = grey.planes[0].width;
  grey.height = grey.planes[0].height;
  grey.colour = Colour::grey;
  grey.opacity = Opacity::none;
  grey.inverted = false;
  grey.space = nullptr;
  return grey;
}

// What a format holds, and what of it is wanted.
Holds holdsFor(const Format& to, const WriteOptions& writing) {
  Holds holds = to.holds(writing);
  holds.metadata.stripped = writing.strip;
  return holds;
}

void writeGrey(const Picture& grey, const Format& to, const WriteOptions& writing, bool orient, Output& output,
               Work& work, Outcome& outcome) {
  Holds holds = holdsFor(to, writing);
  holds.upright = orient;
  std::vector<std::string> fitNotes, writerNotes;
  const std::unique_ptr<RowSink> writer = to.create(output, writing, work, writerNotes);
  pushPicture(grey, *fitting(*writer, std::move(holds), fitNotes, work.budget), work.progress);
  addNotes(outcome, fitNotes);
  addNotes(outcome, writerNotes);
}

}  // namespace

bool givesFullYcbcr(const Format& format, Input& input, const ReadOptions& options, Work& work) {
  const bool first = options.picture <= 1;  // what hasFullYcbcr() looks at
  if (!first || options.region.given() || options.srgb || options.fastMcu) return false;
  return format.hasFullYcbcr && format.hasFullYcbcr(input, work);
}

Outcome read(Input& input, const ReadOptions& options, const Holds& holds, RowSink& sink, Work& work) {
  return pushFitted(recogniseFor(input, options), input, options, holds, sink, work);
}

Outcome convert(Input& input, const ReadOptions& reading, const Format& to, const WriteOptions& writing, Output& output,
                Work& work) {
  checkOptions(to, writing);
  const Format& from = recogniseFor(input, reading);
  std::vector<std::string> writerNotes;
  ReadOptions options = readingFor(from, reading, to, writing);
  WriteOptions asWritten = writing;
  if (goesThroughYcbcr(from, input, reading, to, writing, work)) {
    options.native = asWritten.native = true;
    asWritten.sample = Subsampling::none;  // the planes have their own
  }
  const std::unique_ptr<RowSink> writer = to.create(output, asWritten, work, writerNotes);
  Outcome outcome = pushFitted(from, input, options, holdsFor(to, asWritten), *writer, work);
  addNotes(outcome, writerNotes);
  return outcome;
}

Outcome convertComponents(Input& input, const ReadOptions& reading, const Format& to, const WriteOptions& writing,
                          const std::function<Output&(int index, int count)>& open, Work& work) {
  checkOptions(to, writing);
  ReadOptions options = reading;
  options.components = true;
  const Format& from = recogniseFor(input, options);
  PictureCollector collector(&work.budget);
  Outcome outcome = push(from, input, options, collector, work);
  const Picture& picture = collector.picture();
  const std::size_t count = picture.planes.size();
  for (std::size_t i = 0; i < count; ++i)
    writeGrey(greyOf(picture, i), to, writing, options.orient, open(static_cast<int>(i), static_cast<int>(count)), work,
              outcome);
  return outcome;
}

}  // namespace moxj
