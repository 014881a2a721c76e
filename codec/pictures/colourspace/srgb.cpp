// The way to sRGB has up to three steps: the picture is fitted to what the map takes (model, 8 or 16 bits), each row is
// mapped, and samples that were mapped with 16 bits get the depth of the picture, at least 8.
#include "pictures/colourspace/srgb.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

#include "pictures/colourspace/pixelmap.h"
#include "pictures/colourspace/space.h"
#include "pictures/fit.h"
#include "pictures/icc.h"

namespace moxj {

namespace {

using Notes = std::vector<std::string>;
using Layout = ColourTransform::Layout;

constexpr int kRowsOfTask = 8;

// ---- Mapping of rows -----------------------------------------------------------------------------------------------

// Gets uniform planes as the map takes them.
class MappingSink : public RowSink {
 public:
  MappingSink(RowSink& next, std::unique_ptr<PixelMap> map, Work& work)
      : next_(next), map_(std::move(map)), work_(work), lines_(static_cast<std::size_t>(work.workers.count())) {}

  void begin(const Picture& layout) override {
    layout_ = layout;
    made_ = layout;
    const int channels = (layout.colour == Colour::grey ? 1 : 3) + (layout.opacity != Opacity::none);
    made_.colour = layout.colour == Colour::grey ? Colour::grey : Colour::rgb;
    made_.planes.assign(static_cast<std::size_t>(channels), layout.planes[0]);
    next_.begin(made_);
  }

  void rows(const Picture& band) override {
    if (!buffer_.hasSamples()) allocate();
    for (int y = 0; y < band.height; y += buffer_.height) {
      const Picture from = band.band(y, buffer_.height), to = buffer_.band(0, from.height);
      const auto tasks = static_cast<std::size_t>((from.height + kRowsOfTask - 1) / kRowsOfTask);
      work_.workers.forEach(tasks, [&](int worker, std::size_t task) {
        const int first = static_cast<int>(task) * kRowsOfTask;
        map(from, to, first, std::min(first + kRowsOfTask, from.height), lines_[static_cast<std::size_t>(worker)]);
      });
      next_.rows(to);
    }
  }

  void end() override { next_.end(); }
  // The rows of a small band are not enough for several threads.
  bool takesWhole() const override { return work_.workers.count() > 1; }

 private:
  void allocate() {
    const int rows = std::max(rowsOfBand(made_), kRowsOfTask * work_.workers.count());
    buffer_ = made_.band(0, std::min(rows, made_.height));
    buffer_.allocate(&work_.budget);
    work_.budget.charge(lines_.size(), layout_.rowBytes());
  }

  void map(const Picture& from, const Picture& to, int first, int end, std::vector<std::uint8_t>& line) const {
    const bool interleaved = from.interleaved();
    if (!interleaved) line.resize(layout_.rowBytes());
    for (int y = first; y < end; ++y) {
      for (std::size_t i = 0; i < from.planes.size() && !interleaved; ++i) pack(from.planes[i], y, i, line.data());
      map_->run(interleaved ? from.row(y) : line.data(), to.row(y), to.width);
    }
  }

  void pack(const Plane& plane, int y, std::size_t place, std::uint8_t* line) const {
    const std::ptrdiff_t channels = static_cast<std::ptrdiff_t>(layout_.planes.size());
    visitRow(plane, y, [&]<class Type>(const Type* from) {
      Type* const to = reinterpret_cast<Type*>(line) + place;
      for (std::ptrdiff_t x = 0; x < plane.width; ++x) to[x * channels] = from[x * plane.pixelStep];
    });
  }

  RowSink& next_;
  std::unique_ptr<PixelMap> map_;
  Work& work_;
  std::vector<std::vector<std::uint8_t>> lines_;  // of each worker: a row, interleaved
  Picture layout_, made_, buffer_;
};

// ---- Plan ----------------------------------------------------------------------------------------------------------

Holds everything() {
  Holds holds;
  holds.opacity = holds.anyMaxval = holds.isSigned = holds.subsampled = holds.mixedDepths = true;
  holds.metadata.silent = true;  // whatever is lost is noted after these steps
  return holds;
}

// Whether pixels of a colour model can be those of a profile.
bool describes(Colour profile, Colour model) {
  if (model == Colour::ycbcr) return profile == Colour::rgb;
  if (model == Colour::ycck) return profile == Colour::cmyk;
  return profile == model && model != Colour::lab;
}

std::shared_ptr<const Metadata> withoutProfile(const Picture& picture) {
  if (!picture.metadata || !picture.metadata->find(MetadataKind::icc)) return picture.metadata;
  auto metadata = std::make_shared<Metadata>(*picture.metadata);
  std::erase_if(metadata->blocks, [](const MetadataBlock& block) { return block.kind == MetadataKind::icc; });
  return metadata->empty() ? nullptr : std::shared_ptr<const Metadata>(std::move(metadata));
}

class SrgbSink : public RowSink {
 public:
  SrgbSink(RowSink& next, Notes& notes, Work& work) : next_(next), notes_(notes), work_(work) {}

  void begin(const Picture& layout) override {
    if (layout.colour == Colour::unknown) note("components of unknown meaning are not converted to sRGB");
    if (layout.colour == Colour::unknown || cannotBeShown(layout)) return next_.begin(layout);
    Picture picture = layout;
    picture.metadata = withoutProfile(layout);
    if (!throughProfile(layout)) throughSpace(layout);
    static const auto srgb = std::make_shared<const ColourSpace>();
    picture.space = srgb;
    first().begin(picture);
  }
  void rows(const Picture& band) override { first().rows(band); }
  void end() override { first().end(); }
  bool takesWhole() const override { return first().takesWhole(); }

 private:
  RowSink& first() const { return front_ ? *front_ : next_; }

  // False if the picture has no ICC profile, or one that cannot be used.
  bool throughProfile(const Picture& layout) {
    const MetadataBlock* const block = layout.metadata ? layout.metadata->find(MetadataKind::icc) : nullptr;
    if (!block) return false;
    const std::optional<IccFacts> facts = iccFactsOf(block->bytes);
    if (!facts) return note("ICC profile dropped: it is damaged"), false;
    if (!describes(facts->colour, layout.colour)) {
      note(iccName(*facts) + " dropped: it describes " + facts->space + ", which the picture is not");
      return false;
    }
    if (facts->exactlySrgb) return true;
    const Layout taken = takenBy(layout, facts->colour);
    std::unique_ptr<PixelMap> map = mapOf(block->bytes, taken, work_.budget);
    if (!map) return note(iccName(*facts) + " dropped: it cannot be used"), false;
    through(layout, taken, std::move(map));
    return true;
  }

  void throughSpace(const Picture& layout) {
    if (layout.colour == Colour::cmyk || layout.colour == Colour::ycck) return byFormula();
    if (!layout.space || layout.space->kind == ColourSpace::Kind::srgb) return;
    if (layout.space->kind == ColourSpace::Kind::unusable) return noteUnusable(*layout.space);
    const Layout taken = takenBy(layout, layout.colour == Colour::ycbcr ? Colour::rgb : layout.colour);
    FileBits bits;
    for (std::size_t i = 0; i < 3; ++i) bits[i] = layout.planes[std::min(i, layout.planes.size() - 1)].bits;
    through(layout, taken, mapOf(*layout.space, bits, taken, work_.budget));
  }

  // What follows refuses it.
  static bool cannotBeShown(const Picture& layout) {
    const bool needsSpace = layout.colour == Colour::lab || layout.colour == Colour::special;
    return needsSpace && (!layout.space || layout.space->kind == ColourSpace::Kind::unusable);
  }

  void noteUnusable(const ColourSpace& space) {
    if (!space.note.empty()) note(space.note);
  }

  static int largestDepth(const Picture& layout) {
    int bits = 0;
    for (const Plane& plane : layout.planes) bits = std::max(bits, plane.bits);
    return bits;
  }

  // The planes of a model as a map takes them.
  static Holds holdsOf(const Picture& layout, Colour model) {
    Holds holds;
    holds.colours = {model};
    holds.opacity = true;
    holds.depths = {largestDepth(layout) == 8 ? 8 : 16};
    holds.inks = Inks::plain;
    holds.metadata.silent = true;
    return holds;
  }

  static Layout takenBy(const Picture& layout, Colour model) {
    Notes silent;
    const Picture taken = fit(layout, holdsOf(layout, model), silent);
    return {.from = model, .bits = taken.planes[0].bits, .opacity = taken.opacity != Opacity::none};
  }

  void byFormula() {
    Holds holds = everything();
    holds.colours = {Colour::rgb};
    front_ = fitting(next_, holds, notes_, work_.budget);
  }

  void through(const Picture& layout, const Layout& taken, std::unique_ptr<PixelMap> map) {
    const int bits = std::max(largestDepth(layout), 8);
    if (taken.bits > bits) {
      Holds depth = everything();
      depth.maxBits = bits;
      back_ = fitting(next_, depth, silent_, work_.budget);
    }
    mapping_ = std::make_unique<MappingSink>(back_ ? *back_ : next_, std::move(map), work_);
    front_ = fitting(*mapping_, holdsOf(layout, taken.from), notes_, work_.budget);
  }

  void note(const std::string& text) { notes_.push_back(text); }

  RowSink& next_;
  Notes& notes_;
  Work& work_;
  Notes silent_;
  std::unique_ptr<RowSink> back_, mapping_, front_;
};

}  // namespace

std::unique_ptr<RowSink> convertingToSrgb(RowSink& next, std::vector<std::string>& notes, Work& work) {
  return std::make_unique<SrgbSink>(next, notes, work);
}

}  // namespace moxj
