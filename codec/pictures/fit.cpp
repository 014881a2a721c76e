// What a picture loses on its way into a format: meaning of the planes, colours, depth, opacity, in this order. The
// notes are in the order depth, opacity, planes, colour, metadata.
#include "pictures/fit.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "base/arithmetic.h"
#include "base/problem.h"
#include "pictures/colourspace/space.h"
#include "pictures/convert.h"
#include "pictures/exif.h"
#include "pictures/region.h"
#include "pictures/turn.h"

namespace moxj {

namespace {

using Notes = std::vector<std::string>;

bool holdsColour(const Holds& holds, Colour colour) {
  return holds.colours.empty() || std::ranges::find(holds.colours, colour) != holds.colours.end();
}

const char* nameOf(Colour colour) {
  switch (colour) {
    case Colour::grey:
      return "grey";
    case Colour::rgb:
      return "RGB";
    case Colour::ycbcr:
      return "YCbCr";
    case Colour::cmyk:
      return "CMYK";
    case Colour::ycck:
      return "YCCK";
    case Colour::lab:
      return "Lab";
    case Colour::special:
    case Colour::unknown:
      break;
  }
  return "unknown colours";
}

int planesOf(Colour colour) {
  return colour == Colour::grey ? 1 : colour == Colour::cmyk || colour == Colour::ycck ? 4 : 3;
}

// Of the result, which has inks or is what the picture is.
bool invertedFor(const Picture& from, Colour meaning, Colour to, const Holds& holds) {
  if (to == Colour::cmyk && holds.inks != Inks::any) return holds.inks == Inks::inverted;
  return from.inverted && to == meaning;
}

// ---- Meaning -------------------------------------------------------------------------------------------------------

// The planes that a picture is made of.
struct Meaning {
  Colour colour = Colour::unknown;
  Opacity opacity = Opacity::none;
  std::vector<int> planes;  // opacity is the last
};

std::vector<int> firstPlanes(int count) {
  std::vector<int> planes(static_cast<std::size_t>(count));
  std::iota(planes.begin(), planes.end(), 0);
  return planes;
}

// Planes for a format that holds certain colour models only: where the picture does not say what they are, three or
// more are red, green and blue, the one that follows the colours is opacity, and others are left out.
Meaning meaningOf(const Picture& picture) {
  const int count = static_cast<int>(picture.planes.size()), colours = picture.colours();
  const bool known = picture.colour != Colour::unknown;
  if (known && colours == planesOf(picture.colour)) return {picture.colour, picture.opacity, firstPlanes(count)};
  Meaning meaning;
  const bool keepsModel = known && picture.colour != Colour::grey && colours > planesOf(picture.colour);
  meaning.colour = keepsModel ? picture.colour : colours >= 3 ? Colour::rgb : Colour::grey;
  meaning.planes = firstPlanes(planesOf(meaning.colour));
  meaning.opacity = picture.opacity;
  const int next = static_cast<int>(meaning.planes.size());
  if (picture.opacity != Opacity::none) {
    meaning.planes.push_back(count - 1);
  } else if (next < count) {
    meaning.opacity = Opacity::straight;
    meaning.planes.push_back(next);
  }
  return meaning;
}

void dropOpacity(Meaning& meaning) {
  meaning.opacity = Opacity::none;
  meaning.planes.pop_back();
}

std::string onlyTheFirst(std::size_t kept, std::size_t of, const char* what) {
  return "only the first " + std::to_string(kept) + " of " + std::to_string(of) + " components " + what;
}

// Planes that the colour model does not explain are kept where planes without a meaning are allowed: they may be
// anything.
bool keepsAllPlanes(const Picture& from, const Holds& holds) {
  if (holds.colours.empty()) return true;
  const bool explained =
      from.colour != Colour::unknown && (from.opacity != Opacity::none || from.colours() == planesOf(from.colour));
  return !explained && holdsColour(holds, Colour::unknown);
}

[[noreturn]] void failColours(const Picture& picture, Colour from, const Holds& holds) {
  const ColourSpace* const space = picture.space.get();
  const std::string name = space && !space->name.empty() ? space->name : nameOf(from);
  const bool convertible =
      (from == Colour::lab || from == Colour::special) && space && space->kind != ColourSpace::Kind::unusable;
  fail(Kind::unsupported, name + " cannot be written as " + nameOf(holds.colours.back()) +
                              (convertible ? "; the option srgb converts it" : ""));
}

// Planes without a colour model that are known to be no colours.
bool areOtherInks(const Picture& picture) {
  return picture.colour == Colour::unknown && picture.space && picture.space->kind == ColourSpace::Kind::unusable;
}

// What is left of the picture, before colours are converted.
Meaning heldPlanes(const Picture& from, const Holds& holds, Notes& notes) {
  if (areOtherInks(from) && !holds.otherInks && !holds.colours.empty()) failColours(from, from.colour, holds);
  const std::size_t count = from.planes.size();
  Meaning meaning{from.colour, from.opacity, firstPlanes(static_cast<int>(count))};
  if (!keepsAllPlanes(from, holds)) meaning = meaningOf(from);
  const bool leavesOut = meaning.planes.size() < count;
  const bool dropsOpacity = meaning.opacity != Opacity::none && !holds.opacity;
  if (dropsOpacity) dropOpacity(meaning);
  if (dropsOpacity && (!leavesOut || from.opacity != Opacity::none)) notes.push_back("transparency dropped");
  if (leavesOut) notes.push_back(onlyTheFirst(meaning.planes.size(), count, holds.opacity ? "written" : "used"));
  if (from.opacity == Opacity::none && meaning.opacity != Opacity::none)
    notes.push_back("a component of unknown meaning is taken as opacity");
  const std::size_t maxPlanes = static_cast<std::size_t>(holds.maxPlanes);
  if (maxPlanes != 0 && meaning.planes.size() == maxPlanes + 1 && meaning.opacity != Opacity::none) {
    notes.push_back("transparency dropped");
    dropOpacity(meaning);
  }
  if (maxPlanes != 0 && meaning.planes.size() > maxPlanes) {
    notes.push_back(onlyTheFirst(maxPlanes, meaning.planes.size(), "written"));
    meaning.planes.resize(maxPlanes);
    meaning.opacity = Opacity::none;
    meaning.colour = Colour::unknown;
  }
  return meaning;
}

// ---- Colours -------------------------------------------------------------------------------------------------------

bool areInks(Colour colour) { return colour == Colour::cmyk || colour == Colour::ycck; }

bool canBecome(Colour from, Colour to) {
  if (to == Colour::rgb) return from == Colour::grey || from == Colour::ycbcr || areInks(from);
  return to == Colour::grey && (from == Colour::rgb || from == Colour::ycbcr || areInks(from));
}

Colour targetColour(const Picture& picture, Colour from, const Holds& holds) {
  if (holdsColour(holds, from)) return from;
  if (from == Colour::ycck && holdsColour(holds, Colour::cmyk)) return Colour::cmyk;
  for (std::size_t i = holds.colours.size(); i-- > 0;)
    if (canBecome(from, holds.colours[i])) return holds.colours[i];
  failColours(picture, from, holds);
}

// Changes the planes to take from those of the meaning to those of the conversion.
void planColours(Conversion& conversion, Colour from, Colour to) {
  std::vector<int>& sources = conversion.sources;
  conversion.inks = areInks(from) && (from != to || from == Colour::cmyk);
  if (from == to) return;
  if (from == Colour::grey) {
    sources.insert(sources.begin(), 2, sources[0]);
  } else if (from == Colour::ycbcr && to == Colour::grey) {  // Y is the luminance
    sources.erase(sources.begin() + 1, sources.begin() + 3);
  } else {
    conversion.yccToRgb = from == Colour::ycbcr || from == Colour::ycck;
    conversion.inksToRgb = areInks(from) && to != Colour::cmyk;
    conversion.rgbToGrey = to == Colour::grey;
  }
}

// ---- Depth ---------------------------------------------------------------------------------------------------------

int heldBits(int bits, const Holds& holds) {
  if (holds.depths.empty()) return std::clamp(bits, holds.minBits, holds.maxBits);
  for (const int depth : holds.depths)
    if (depth >= bits) return depth;
  return holds.depths.back();
}

bool subsampled(const Plane& plane, const Picture& picture) {
  return plane.dx != 1 || plane.dy != 1 || plane.width != picture.width || plane.height != picture.height;
}

// Whether the last samples of a plane are as large as the others, so that it can be turned.
bool fillsGrid(const Plane& plane, const Picture& picture) {
  return std::int64_t{plane.width} * plane.dx == picture.width &&
         std::int64_t{plane.height} * plane.dy == picture.height;
}

int orientationToTurn(const Picture& from, const Holds& holds) {
  return holds.upright ? orientationOf(from.metadata.get()) : 1;
}

// The plane that a format holds instead of one of these bits and maximum value.
Plane heldDepth(const Plane& from, const Holds& holds) {
  const int bits = heldBits(from.bits, holds);
  Plane plane = Plane::of(from.width, from.height, bits, from.isSigned && holds.isSigned, from.dx, from.dy);
  if (holds.anyMaxval && bits == from.bits && plane.isSigned == from.isSigned) plane.maxval = from.maxval;
  return plane;
}

void noteDepth(const Plane& from, const Plane& to, const Holds& holds, Notes& notes) {
  std::string note;
  if (to.bits < from.bits)
    note = "samples of " + std::to_string(from.bits) + " bits reduced to " + std::to_string(to.bits);
  else if (to.bits == from.bits && !from.fullRange() && to.maxval != from.maxval && holds.depths.empty())
    note = "samples scaled from " + std::to_string(from.minval()) + ".." + std::to_string(from.maxval) + " to " +
           std::to_string(to.minval()) + ".." + std::to_string(to.maxval);
  if (!note.empty() && std::ranges::find(notes, note) == notes.end()) notes.push_back(note);
}

// A plane that stands for all: of the largest depth, signed if all are, with their maximum value if it is the same.
Plane commonDepth(const Picture& from, const std::vector<int>& sources) {
  const auto source = [&](int i) -> const Plane& { return from.planes[static_cast<std::size_t>(i)]; };
  Plane common = source(sources[0]);
  bool same = true;
  for (const int i : sources) {
    same = same && source(i).bits == common.bits && source(i).isSigned == common.isSigned &&
           source(i).maxval == common.maxval;
    common.bits = std::max(common.bits, source(i).bits);
    common.isSigned = common.isSigned && source(i).isSigned;
  }
  return same ? common : Plane::of(from.width, from.height, common.bits, common.isSigned);
}

// The planes of the result. With colours to convert, these are fewer or as many as the planes taken.
void planDepths(Conversion& conversion, const Picture& from, const Holds& holds, std::size_t count, Notes& notes) {
  Picture& to = conversion.to;
  Plane common = commonDepth(from, conversion.sources);
  if (conversion.convertsColours() && common.isSigned) common = Plane::of(from.width, from.height, common.bits);
  conversion.workMax = common.maxval;
  const bool own = holds.mixedDepths && !conversion.convertsColours();
  to.planes.clear();
  for (std::size_t i = 0; i < count; ++i) {
    const Plane& source = from.planes[static_cast<std::size_t>(conversion.sources[i])];
    const Plane& depth = own ? source : common;
    Plane plane = heldDepth(depth, holds);
    plane.width = conversion.expands ? from.width : source.width;
    plane.height = conversion.expands ? from.height : source.height;
    plane.dx = conversion.expands ? 1 : source.dx;
    plane.dy = conversion.expands ? 1 : source.dy;
    to.planes.push_back(plane);
    noteDepth(depth, plane, holds, notes);
  }
}

Conversion conversionOf(const Picture& from, const Holds& holds, Notes& notes) {
  Conversion conversion;
  Notes planeNotes;
  const Meaning meaning = heldPlanes(from, holds, planeNotes);
  const Colour colour = targetColour(from, meaning.colour, holds);
  conversion.to = from;
  conversion.to.owner = nullptr;
  conversion.to.wanted = {};
  conversion.to.colour = colour;
  conversion.divides = meaning.opacity == Opacity::premultiplied && !holds.premultiplied;
  conversion.to.opacity = conversion.divides ? Opacity::straight : meaning.opacity;
  conversion.to.inverted = invertedFor(from, meaning.colour, colour, holds);
  conversion.sources = meaning.planes;
  planColours(conversion, meaning.colour, colour);
  const bool turned = orientationToTurn(from, holds) != 1;
  conversion.expands = std::ranges::any_of(conversion.sources, [&](int source) {
    const Plane& plane = from.planes[static_cast<std::size_t>(source)];
    const bool fills = !from.wanted.given() && fillsGrid(plane, from);
    const bool keeps = holds.subsampled && !conversion.convertsColours() && (!turned || fills);
    return !keeps && subsampled(plane, from);
  });
  const bool opacity = meaning.opacity != Opacity::none;
  const std::size_t count =
      conversion.convertsColours() ? static_cast<std::size_t>(planesOf(colour)) + opacity : conversion.sources.size();
  planDepths(conversion, from, holds, count, notes);
  notes.insert(notes.end(), planeNotes.begin(), planeNotes.end());
  if (conversion.inksToRgb) notes.push_back(kInksByFormula);
  if (from.space && !from.space->note.empty() && !holds.metadata.silent) notes.push_back(from.space->note);
  if (colour == Colour::grey && meaning.colour != Colour::grey) notes.push_back("colour dropped");
  Picture shown = conversion.to;
  if (from.wanted.given()) {
    shown.width = from.wanted.width;
    shown.height = from.wanted.height;
  }
  conversion.to.metadata = fitMetadata(from, shown, holds.upright, holds.metadata, notes);
  return conversion;
}

// ---- The sink ------------------------------------------------------------------------------------------------------

// Bands begin at rows that all planes have.
int rowsAtOnce(const Picture& from, const Picture& to, int wanted) {
  const int multiple = rowMultiple(from);
  return std::min(ceilDiv(std::max(rowsOfBand(to), wanted), multiple) * multiple, to.height);
}

class FittingSink : public RowSink {
 public:
  FittingSink(RowSink& next, Holds holds, Notes& notes, Budget& budget)
      : next_(&next), holds_(std::move(holds)), notes_(notes), budget_(budget) {}

  void begin(const Picture& layout) override {
    if (const int orientation = orientationToTurn(layout, holds_); orientation != 1) {
      turning_ = turning(*next_, orientation, budget_);
      next_ = turning_.get();
    }
    if (layout.wanted.given()) {
      cutting_ = cutting(*next_, layout.wanted, budget_);
      next_ = cutting_.get();
    }
    converter_ = std::make_unique<Converter>(layout, conversionOf(layout, holds_, notes_), budget_);
    layout_ = layout;
    next_->begin(converter_->to());
  }

  void stayingRows(const Picture& band) override {
    if (!converter_->canView(band)) return rows(band);
    next_->stayingRows(converter_->view(band));
  }

  void rows(const Picture& band) override {
    if (converter_->canView(band)) return next_->rows(converter_->view(band));
    if (!buffer_.hasSamples()) allocateBuffer();
    for (int y = 0; y < band.height; y += buffer_.height) {
      const Picture from = band.band(y, buffer_.height);
      const Picture to = buffer_.band(0, from.height);
      converter_->convert(from, to);
      next_->rows(to);
    }
  }

  void end() override { next_->end(); }
  bool takesWhole() const override { return next_->takesWhole(); }
  int rowsWanted() const override { return next_->rowsWanted(); }
  bool takesBgr() const override { return converter_->keepsPlanes() && !turning_ && !cutting_ && next_->takesBgr(); }

 private:
  void allocateBuffer() {
    buffer_ = converter_->to();
    buffer_ = buffer_.band(0, rowsAtOnce(layout_, buffer_, next_->rowsWanted()));
    buffer_.allocate(&budget_);
  }

  RowSink* next_;  // the sink or, before it, one that cuts the picture, and one that turns it
  std::unique_ptr<RowSink> turning_, cutting_;
  Holds holds_;
  Notes& notes_;
  Budget& budget_;
  Picture layout_;
  std::unique_ptr<Converter> converter_;
  Picture buffer_;
};

}  // namespace

Picture fit(const Picture& from, const Holds& holds, std::vector<std::string>& notes) {
  return conversionOf(from, holds, notes).to;
}

std::unique_ptr<RowSink> fitting(RowSink& next, Holds holds, std::vector<std::string>& notes, Budget& budget) {
  return std::make_unique<FittingSink>(next, std::move(holds), notes, budget);
}

Picture fitted(const Picture& picture, const Holds& holds, std::vector<std::string>& notes, Budget& budget) {
  Converter converter(picture, conversionOf(picture, holds, notes), budget);
  if (converter.canView(picture)) return converter.view(picture);
  Picture made = converter.to();
  made.allocate(&budget);
  converter.convert(picture, made);
  return made;
}

}  // namespace moxj
