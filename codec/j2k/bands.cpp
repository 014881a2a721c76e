// A region costs the packet headers of its tiles anew, and the code-blocks at its edges twice. Bands that are rows of
// tiles have neither. Bands of a large tile are as high as memory allows, so that little is decoded twice.
#include "j2k/bands.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "j2k/boxes.h"
#include "j2k/syntax.h"

namespace moxj::j2k {

namespace {

constexpr Coord kBlockRows = 128;  // of samples, that a code-block of the highest resolution has

// The rows that a band may begin with are multiples of this: those of samples of all components, after reduction.
Coord grainOf(const Siz& siz, int reduce) {
  Coord grain = 1;
  for (const ComponentSize& size : siz.components) grain = std::min(std::lcm(grain, Coord{size.dy}), Coord{1} << 20);
  return grain << std::min(reduce, 20);
}

// What decoding takes for each row: coefficients, samples before and after the transforms, and the band.
double bytesOfRow(const Siz& siz, int reduce) {
  double samples = 0;
  for (const ComponentSize& size : siz.components)
    samples +=
        static_cast<double>(siz.image.width()) / size.dx / size.dy * (8 + sizeOf(elementFor(size.bits, size.isSigned)));
  return samples / static_cast<double>(Coord{1} << std::min(2 * reduce, 40));
}

// The rows of the bands, of the picture before it is reduced; its height: one band.
Coord rowsOfBands(const Siz& siz, const DecodeOptions& options, const Budget& budget) {
  const Coord height = siz.image.height(), grain = grainOf(siz, options.reduce);
  const bool atOrigin = siz.image.x0 == 0 && siz.image.y0 == 0 && siz.tileX0 == 0 && siz.tileY0 == 0;
  const double bytes = bytesOfRow(siz, options.reduce), left = static_cast<double>(budget.left());
  if (!atOrigin || options.region.given() || options.tile || options.upsample ||
      bytes * static_cast<double>(height) <= left)
    return height;
  const auto fitting = static_cast<Coord>(left / 2 / bytes);  // the rest is for blocks and packets
  if (siz.tileHeight <= fitting && siz.tileHeight % grain == 0) return std::min(siz.tileHeight, height);
  const Coord unit = std::lcm(grain, kBlockRows);
  return std::min(std::max(fitting / unit, Coord{1}) * unit, height);
}

class Bands {
 public:
  Bands(RowSink& sink, ByteSpan file, const DecodeOptions& options, Work& work, const Siz& siz, Coord rows,
        const std::function<void()>& pause)
      : sink_(sink),
        file_(file),
        options_(options),
        work_(work),
        siz_(siz),
        rows_(rows),
        pause_(pause),
        progress_(work.progress) {}

  Outcome run() {
    const Coord height = siz_.image.height(), count = ceilDiv(height, rows_);
    for (Coord i = 0; i < count; ++i) {
      report(static_cast<std::uint64_t>(i), static_cast<std::uint64_t>(count));
      DecodeOptions part = options_;
      part.region = {0, static_cast<int>(i * rows_), static_cast<int>(siz_.image.width()),
                     static_cast<int>(std::min(rows_, height - i * rows_))};
      const std::uint64_t before = work_.budget.used();
      push(part);
      work_.budget.restore(before);
      if (pause_) pause_();
    }
    work_.progress = progress_;
    sink_.end();
    return std::move(outcome_);
  }

 private:
  // A band's own progress is its part of the whole.
  void report(std::uint64_t band, std::uint64_t bands) {
    if (!progress_) return;
    work_.progress = [this, band, bands](std::uint64_t done, std::uint64_t total) {
      return progress_(band * total + done, bands * total);
    };
  }

  // A band of which nothing can be decoded is black, unless it is the first.
  void push(const DecodeOptions& part) {
    try {
      Decoded decoded = decode(file_, part, work_);
      decoded.picture.wanted = {};
      if (!begun_) begin(decoded.picture);
      for (const std::string& note : decoded.notes)
        if (std::ranges::find(outcome_.notes, note) == outcome_.notes.end()) outcome_.notes.push_back(note);
      if (!decoded.complete) outcome_.incomplete(decoded.warning);
      sink_.rows(decoded.picture);
    } catch (const Problem& problem) {
      if (problem.kind != Kind::damaged || !begun_) throw;
      outcome_.incomplete(problem.what());
      Picture black = layout_;
      const Coord rows =
          ceilShift(part.region.y + part.region.height, options_.reduce) - ceilShift(part.region.y, options_.reduce);
      setHeight(black, rows);
      black.allocate(&work_.budget);
      black.clear();
      sink_.rows(black);
    }
  }

  static void setHeight(Picture& picture, Coord height) {
    picture.height = static_cast<int>(height);
    for (Plane& plane : picture.planes) plane.height = static_cast<int>(ceilDiv(height, plane.dy));
  }

  void begin(const Picture& band) {
    layout_ = band;
    layout_.owner = nullptr;
    for (Plane& plane : layout_.planes) plane.samples = nullptr;
    setHeight(layout_, ceilShift(siz_.image.height(), options_.reduce));
    sink_.begin(layout_);
    begun_ = true;
  }

  RowSink& sink_;
  ByteSpan file_;
  const DecodeOptions& options_;
  Work& work_;
  const Siz& siz_;
  Coord rows_;
  const std::function<void()>& pause_;
  const Progress progress_;
  Picture layout_;
  Outcome outcome_;
  bool begun_ = false;
};

}  // namespace

std::optional<Outcome> decodeInBands(RowSink& sink, ByteSpan file, const DecodeOptions& options, Work& work,
                                     const std::function<void()>& pause) {
  const Siz siz = parseCodestream(readBoxes(file).codestream).siz;
  const Coord rows = rowsOfBands(siz, options, work.budget);
  if (rows >= siz.image.height()) return std::nullopt;
  const Rect shown = reducedRect(siz.image, options.reduce);
  work.limits.check(static_cast<std::uint64_t>(shown.width()), static_cast<std::uint64_t>(shown.height()));
  return Bands(sink, file, options, work, siz, rows, pause).run();
}

}  // namespace moxj::j2k
