// File to pixels: a picture of the library's, the caller's memory, or rows for a callback.
#include <algorithm>
#include <memory>

#include "api/copyrows.h"
#include "api/metadata.h"
#include "api/objects.h"
#include "api/options.h"
#include "api/reading.h"
#include "api/run.h"
#include "api/structs.h"

namespace moxj::api {

namespace {

// The memory of pixels as the road allocates it.
Picture memoryFor(MoxcPixels& pixels, Budget* budget) {
  Picture picture;
  picture.width = pixels.width;
  picture.height = pixels.height;
  const LayoutFacts* const facts = factsOf(pixels.layout);
  const int planes = facts ? facts->channels : pixels.planeCount;
  for (int i = 0; i < planes; ++i) {
    const MoxcPlane& from = pixels.planes[facts ? 0 : i];
    Plane& plane = picture.planes.emplace_back(Plane::of(from.width, from.height, 8, false, from.dx, from.dy));
    plane.element = pixels.sampleSize == 1 ? Element::u8 : pixels.sampleSize == 2 ? Element::u16 : Element::i32;
  }
  isPlanar(pixels.layout) ? allocatePlanes(picture, budget) : picture.allocate(budget);
  for (int i = 0; i < pixels.planeCount; ++i) {
    const Plane& from = picture.planes[static_cast<std::size_t>(i)];
    pixels.planes[i].samples = from.samples;
    pixels.planes[i].step = from.step;
  }
  return picture;
}

// Keeps the picture. A band that is the whole picture and has an owner is shared.
class PictureSink : public PixelSink {
 public:
  PictureSink(const Wish& wish, Budget& budget) : PixelSink(wish), budget_(budget) {}

  void start(const MoxcPixels& shape, const Picture& picture) override {
    made_ = std::make_unique<MoxcPicture>();
    made_->pixels = shape;
    metadata_ = picture.metadata;
  }

  void take(const Picture& band, int y) override {
    MoxcPixels& pixels = made_->pixels;
    if (band.owner && band.height == pixels.height && sameBytes(band, pixels)) {
      pixels = pixelsOf(band, pixels);
      made_->picture = band;
      return;
    }
    if (y == 0) made_->picture = memoryFor(pixels, &budget_);
    copyRows(band, rowsOf(pixels, y, band.height));
  }

  bool takesWhole() const override { return true; }

  MoxcPicture* release() {
    made_->metadata = MetadataList(metadata_);
    return made_.release();
  }

 private:
  Budget& budget_;
  std::unique_ptr<MoxcPicture> made_;
  std::shared_ptr<const Metadata> metadata_;
};

std::string sizeText(std::int32_t width, std::int32_t height) {
  return std::to_string(width) + " x " + std::to_string(height);
}

// Writes to the caller's memory.
class MemorySink : public PixelSink {
 public:
  MemorySink(const Wish& wish, const MoxcPixels& to) : PixelSink(wish), to_(to) {}

  void start(const MoxcPixels& shape, const Picture&) override {
    if (shape.width != to_.width || shape.height != to_.height)
      throw BadArgument("the picture has " + sizeText(shape.width, shape.height) + " pixels, not " +
                        sizeText(to_.width, to_.height));
    if (shape.planeCount != to_.planeCount)
      throw BadArgument("the picture has " + std::to_string(shape.planeCount) + " planes, not " +
                        std::to_string(to_.planeCount));
    for (int i = 0; i < shape.planeCount; ++i) checkPlane(shape, i);
  }

  void take(const Picture& band, int y) override { copyRows(band, rowsOf(to_, y, band.height)); }

 private:
  void checkPlane(const MoxcPixels& shape, int index) const {
    const MoxcPlane &from = shape.planes[index], &to = to_.planes[index];
    const std::string plane = "plane " + std::to_string(index) + " of the picture ";
    if (from.width != to.width || from.height != to.height || from.dx != to.dx || from.dy != to.dy)
      throw BadArgument(plane + "has " + sizeText(from.width, from.height) + " samples, not " +
                        sizeText(to.width, to.height));
    if (from.bits != to.bits)
      throw BadArgument(plane + "has " + std::to_string(from.bits) + " bits, not " + std::to_string(to.bits));
    if (from.isSigned != to.isSigned) throw BadArgument(plane + (from.isSigned ? "is signed" : "is not signed"));
  }

  MoxcPixels to_;
};

// The same depth is asked of all planes; planes of different depths must be those of the file.
Wish wishFor(const MoxcPixels& to) {
  Wish wish;
  wish.layout = to.layout;
  wish.isSigned = to.planes[0].isSigned != 0 || to.layout == moxcPlanes;
  wish.anyMaxval = false;
  wish.bits = isWords(to.layout) ? 0 : to.planes[0].bits;
  for (int i = 1; i < to.planeCount; ++i)
    if (to.planes[i].bits != wish.bits) wish.bits = 0;
  for (int i = 0; i < to.planeCount; ++i)
    if (!isWords(to.layout) &&
        maxOf(to, to.planes[i]) != Plane::of(1, 1, to.planes[i].bits, to.planes[i].isSigned).maxval)
      throw BadArgument("maxValue is not the largest value of the bits");
  return wish;
}

// Hands rows to the caller's callback: as they are, or converted in small bands.
class CallbackSink : public PixelSink {
 public:
  CallbackSink(const Wish& wish, MoxcRows rows, void* context, Budget& budget)
      : PixelSink(wish), rows_(rows), context_(context), budget_(budget) {}

  void start(const MoxcPixels& shape, const Picture& picture) override {
    shape_ = shape;
    bandRows_ = bandRows(picture);
    MoxcPixels layout = shape;
    layout.height = 0;
    call(layout, 0);
  }

  void take(const Picture& band, int y) override {
    if (sameBytes(band, shape_)) return call(pixelsOf(band, shape_), y);
    for (int done = 0; done < band.height; done += bandRows_) {
      const Picture part = band.band(done, bandRows_);
      if (!buffer_.height) makeBuffer();
      MoxcPixels rows = rowsOf(buffer_, 0, part.height);
      copyRows(part, rows);
      for (int i = 0; i < rows.planeCount; ++i)
        if (isPlanar(rows.layout)) rows.planes[i].height = part.planes[static_cast<std::size_t>(i)].height;
      call(rows, y + done);
    }
  }

 private:
  void call(const MoxcPixels& rows, int y) {
    if (rows_(context_, &rows, y, shape_.height) != 0) failCancelled();
  }

  void makeBuffer() {
    buffer_ = rowsOf(shape_, 0, bandRows_);
    memory_ = memoryFor(buffer_, &budget_);
  }

  MoxcRows rows_;
  void* context_;
  Budget& budget_;
  MoxcPixels shape_ = {}, buffer_ = {};
  int bandRows_ = 0;
  Picture memory_;
};

}  // namespace

}  // namespace moxj::api

using namespace moxj::api;

MoxcKind moxcDecode(const MoxcSource* source, const MoxcReadOptions* options, const MoxcWanted* wanted,
                    const MoxcRun* run, MoxcPicture** picture, MoxcReport* report) {
  return guarded(report, [&] {
    need(picture, "picture");
    *picture = nullptr;
    Run job(run);
    PictureSink sink(wishOf(wanted), job.work.budget);
    moxj::Outcome outcome = readPixels(source, readOptionsOf(options), sink, job.work);
    job.complete();
    *picture = sink.release();
    return outcome;
  });
}

MoxcKind moxcDecodeInto(const MoxcSource* source, const MoxcReadOptions* options, const MoxcPixels* pixels,
                        const MoxcRun* run, MoxcReport* report) {
  return guarded(report, [&] {
    const MoxcPixels to = checkedPixels(pixels, true);
    Run job(run);
    MemorySink sink(wishFor(to), to);
    moxj::Outcome outcome = readPixels(source, readOptionsOf(options), sink, job.work);
    job.complete();
    return outcome;
  });
}

MoxcKind moxcDecodeRows(const MoxcSource* source, const MoxcReadOptions* options, const MoxcWanted* wanted,
                        MoxcRows rows, void* context, const MoxcRun* run, MoxcReport* report) {
  return guarded(report, [&] {
    if (!rows) throw BadArgument("rows is null");
    Run job(run);
    CallbackSink sink(wishOf(wanted), rows, context, job.work.budget);
    moxj::Outcome outcome = readPixels(source, readOptionsOf(options), sink, job.work);
    job.complete();
    return outcome;
  });
}

void moxcPictureFree(MoxcPicture* picture) { delete picture; }

MoxcKind moxcPicturePixels(const MoxcPicture* picture, MoxcPixels* pixels) {
  return guarded(nullptr, [&] {
    need(picture, "picture");
    give(picture->pixels, pixels, "pixels");
  });
}

size_t moxcPictureMetadataCount(const MoxcPicture* picture) { return picture ? picture->metadata.count() : 0; }

MoxcKind moxcPictureMetadata(const MoxcPicture* picture, size_t index, MoxcMetadata* metadata) {
  return guarded(nullptr, [&] {
    need(picture, "picture");
    need(metadata, "metadata");
    *metadata = picture->metadata.at(index);
  });
}
