// Pixels to file: all at once, or rows as they come.
#include <memory>
#include <optional>

#include "api/copyrows.h"
#include "api/metadata.h"
#include "api/options.h"
#include "api/run.h"
#include "api/structs.h"
#include "api/target.h"
#include "api/writing.h"
#include "formats/formats.h"

namespace moxj::api {

namespace {

bool isDctJpeg(const Format& format, const WriteOptions& options) {
  return format.names[0] == "jpg" && !options.lossless;
}

}  // namespace

const Format& formatOf(const char* name) {
  need(name, "format");
  const Format* const format = formatNamed(name);
  if (!format) throw BadArgument(std::string("there is no format ") + name);
  return *format;
}

}  // namespace moxj::api

using namespace moxj::api;
using moxj::Colour;
using moxj::Outcome;
using moxj::Picture;

// One file on its way from pixels to the target.
struct MoxcEncoder {
 public:
  MoxcEncoder(const MoxcPixels& layout, const moxj::Format& format, const moxj::WriteOptions& options,
              std::shared_ptr<const moxj::Metadata> metadata, const MoxcTarget& target, const MoxcRun* run)
      : layout_(layout), options_(options), metadata_(std::move(metadata)), run_(run) {
    checkOptions(format, options_);
    collects_ = format.coded && !isDctJpeg(format, options_);
    picture_ = layoutOf(layout_);
    chooseNativePlanes(format);
    moxj::Holds holds = format.holds(options_);
    holds.metadata.stripped = options_.strip;
    holds.metadata.given = true;
    holds.metadata.bare = false;  // the caller has given it on purpose
    target_ = targetOf(target);
    writer_ = format.create(*target_, options_, run_.work, writerNotes_);
    fit_ = fitting(*writer_, holds, notes_, run_.work.budget);
    picture_.metadata = metadata_;
    fit_->begin(picture_);
  }

  // `owner` may be null; the samples live until finish() if there is one.
  void rows(const MoxcPixels& pixels, const std::shared_ptr<void>& owner) {
    const int height = bandRows();
    for (int y = 0; y < pixels.height; y += height) {
      const MoxcPixels part = rowsOf(pixels, y, height);
      fit_->rows(bandOf(part, owner));
      y_ += part.height;
      moxj::reportProgress(run_.work.progress, y_, layout_.height);
    }
  }

  // Throws BadArgument unless these are the next rows of the picture.
  void checkRows(const MoxcPixels& rows) const {
    if (rows.layout != layout_.layout || rows.width != layout_.width || rows.sampleSize != layout_.sampleSize ||
        rows.maxValue != layout_.maxValue || rows.planeCount != layout_.planeCount)
      throw BadArgument("the rows have another layout");
    const bool last = rows.height == layout_.height - y_;
    if (rows.height > layout_.height - y_) throw BadArgument("there are more rows than the picture has");
    for (int i = 0; i < rows.planeCount; ++i) {
      const MoxcPlane &plane = rows.planes[i], &of = layout_.planes[i];
      if (plane.bits != of.bits || plane.isSigned != of.isSigned || plane.dx != of.dx || plane.dy != of.dy)
        throw BadArgument("the rows have another layout");
      if (!last && rows.height % of.dy != 0) throw BadArgument("the rows are not a multiple of the sub-sampling");
    }
  }

  Outcome finish() {
    if (y_ < layout_.height) throw BadArgument("there are fewer rows than the picture has");
    fit_->end();
    run_.complete();
    Outcome outcome;
    outcome.notes = std::move(notes_);
    outcome.notes.insert(outcome.notes.end(), writerNotes_.begin(), writerNotes_.end());
    target_->close();
    target_->finish();  // nothing may fail after it
    return outcome;
  }

  // Runs a step that ends the encoder's life if it fails.
  template <class Step>
  MoxcKind guardedStep(MoxcReport* report, Step&& step) noexcept {
    const MoxcKind kind = guarded(report, [&] {
      if (ended_) throw BadArgument("the encoder has failed or is finished");
      return step();
    });
    ended_ = ended_ || kind != moxcOk;
    return kind;
  }
  void end() { ended_ = true; }

  const MoxcPixels& layout() const { return layout_; }

 private:
  // JPEG takes YCbCr as it is, and inks so that the maximum value is no ink. Words become YCbCr by the library's
  // functions for them where the file's is not sub-sampled, and otherwise RGB.
  void chooseNativePlanes(const moxj::Format& format) {
    picture_.inverted = layout_.layout == moxcCmyk && format.names[0] == "jpg";
    if (!isDctJpeg(format, options_)) return;
    if (layout_.layout == moxcYCbCr) options_.native = true;
    const bool full = options_.sample == moxj::Subsampling::s444 && !options_.grayscale && !options_.fastMcu;
    if (!isWords(layout_.layout) || !full) return;
    options_.native = true;
    options_.sample = moxj::Subsampling::none;
    picture_.colour = Colour::ycbcr;
  }

  // A view of the caller's memory where the road can take it as it is, otherwise a copy.
  Picture bandOf(const MoxcPixels& part, const std::shared_ptr<void>& owner) {
    Picture view = viewOf(part, owner, fit_->takesBgr());
    if (view.hasSamples() && !picture_.inverted) {
      checkSamples(part);
      return view;
    }
    if (!copy_.hasSamples() || copy_.height < part.height) {
      if (copy_.hasSamples()) run_.work.budget.release(copy_.bytes());
      copy_ = picture_.band(0, part.height);
      const bool planar = isPlanar(layout_.layout) || copy_.colour == Colour::ycbcr;
      planar ? allocatePlanes(copy_, &run_.work.budget) : copy_.allocate(&run_.work.budget);
    }
    Picture band = copy_.band(0, part.height);
    copyRows(part, band);
    return band;
  }

  // Rows of a band: a multiple of every dy. Writers that collect the picture share the memory of one that comes whole.
  int bandRows() const { return collects_ ? layout_.height : moxj::api::bandRows(picture_); }

  MoxcPixels layout_;
  moxj::WriteOptions options_;
  std::shared_ptr<const moxj::Metadata> metadata_;
  Run run_;
  std::vector<std::string> notes_, writerNotes_;
  std::unique_ptr<Target> target_;
  std::unique_ptr<moxj::RowSink> writer_, fit_;
  Picture picture_, copy_;
  int y_ = 0;
  bool collects_ = false;
  bool ended_ = false;
};

MoxcKind moxcEncoderOpen(const MoxcPixels* layout, const char* format, const MoxcWriteOptions* options,
                         const MoxcMetadata* metadata, size_t metadataCount, const MoxcTarget* target,
                         const MoxcRun* run, MoxcEncoder** encoder, MoxcReport* report) {
  return guarded(report, [&] {
    need(encoder, "encoder");
    *encoder = nullptr;
    const MoxcTarget to = preparedTarget(target);
    *encoder = new MoxcEncoder(checkedPixels(layout, false), formatOf(format), writeOptionsOf(options),
                               metadataOf(metadata, metadataCount), to, run);
  });
}

MoxcKind moxcEncoderRows(MoxcEncoder* encoder, const MoxcPixels* pixels, MoxcReport* report) {
  if (!encoder) return guarded(report, [] { need(nullptr, "encoder"); });
  return encoder->guardedStep(report, [&] {
    const MoxcPixels rows = checkedPixels(pixels, true);
    encoder->checkRows(rows);
    encoder->rows(rows, nullptr);
  });
}

MoxcKind moxcEncoderFinish(MoxcEncoder* encoder, MoxcReport* report) {
  if (!encoder) return guarded(report, [] { need(nullptr, "encoder"); });
  const MoxcKind kind = encoder->guardedStep(report, [&] { return encoder->finish(); });
  encoder->end();
  return kind;
}

void moxcEncoderFree(MoxcEncoder* encoder) { delete encoder; }

MoxcKind moxcEncode(const MoxcPixels* pixels, const char* format, const MoxcWriteOptions* options,
                    const MoxcMetadata* metadata, size_t metadataCount, const MoxcTarget* target, const MoxcRun* run,
                    MoxcReport* report) {
  return guarded(report, [&] {
    const MoxcTarget to = preparedTarget(target);
    const MoxcPixels all = checkedPixels(pixels, true);
    MoxcEncoder encoder(all, formatOf(format), writeOptionsOf(options), metadataOf(metadata, metadataCount), to, run);
    // The caller's memory outlives the encoder, so its rows need not be copied.
    encoder.rows(all, std::shared_ptr<void>(std::shared_ptr<void>(), all.planes[0].samples));
    return encoder.finish();
  });
}
