// What metadata is lost, block by block.
#include "pictures/metadata_fit.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

#include "pictures/exif.h"
#include "pictures/icc.h"

namespace moxj {

namespace {

constexpr std::uint8_t kGeoJp2[16] = {0xB1, 0x4B, 0xF8, 0xBD, 0x08, 0x3D, 0x4B, 0x43,
                                      0xA5, 0xAE, 0x8C, 0xD7, 0xD5, 0xA6, 0xCE, 0x03};

bool startsWith(const MetadataBlock& block, const void* bytes, std::size_t count) {
  return block.bytes.size() >= count && std::memcmp(block.bytes.data(), bytes, count) == 0;
}

std::string otherName(const MetadataBlock& block) {
  if (block.name == "uuid") return startsWith(block, kGeoJp2, sizeof kGeoJp2) ? "GeoJP2 box" : "uuid box";
  if (block.name == "xml") return "XML box";
  if (block.name == "APP2" && startsWith(block, "MPF", 4)) return "index of further pictures";
  if (block.name.starts_with("APP")) return block.name + " segment";
  return block.name.empty() ? "metadata of unknown kind" : block.name;
}

class Fit {
 public:
  Fit(const Picture& from, const Picture& to, bool upright, const HeldMetadata& held, std::vector<std::string>& notes)
      : from_(*from.metadata), width_(to.width), height_(to.height), upright_(upright), held_(held), notes_(notes) {
    outputColour_ = held.profileColour != Colour::unknown ? held.profileColour : to.colour;
    changesColour_ = from.colour != outputColour_;
  }

  std::shared_ptr<const Metadata> run() {
    orientation_ = orientationOf(&from_);
    for (const MetadataBlock& block : from_.blocks) take(block);
    takeResolution();
    noteOrientation();
    noteDropped();
    if (made_.empty()) return nullptr;
    return std::make_shared<const Metadata>(std::move(made_));
  }

 private:
  bool stripped(const MetadataBlock& block) const { return held_.stripped.has(block.kind); }
  bool hasPlace(const MetadataBlock& block) const { return !held_.block || held_.block(block); }

  void take(const MetadataBlock& block) {
    if (block.kind == MetadataKind::icc) return takeProfile(block);
    if (!stripped(block) && hasPlace(block)) return keep(block);
    if (!stripped(block)) drop(nameOf(block));
    if (block.kind == MetadataKind::exif) exifLost_ = true;
  }

  void keep(const MetadataBlock& block) {
    made_.blocks.push_back(block);
    const bool turned = upright_ && orientation_ != 1;
    std::vector<std::uint8_t>& bytes = made_.blocks.back().bytes;
    if (block.kind == MetadataKind::exif) adjustExif(bytes, turned);
    if (block.kind == MetadataKind::xmp && turned) setXmpOrientation(bytes, 1);
  }

  void adjustExif(std::vector<std::uint8_t>& exif, bool turned) {
    const bool transposed = turned && orientation_ > 4;
    setPixelSize(exif, transposed ? height_ : width_, transposed ? width_ : height_);
    if (!turned) return;
    setOrientation(exif, 1);
    if (unlinkThumbnail(exif)) note(kThumbnailDropped);
  }

  void takeProfile(const MetadataBlock& block) {
    const std::optional<IccFacts> facts = iccFactsOf(block.bytes);
    if (!facts) return note("ICC profile dropped: it is damaged");
    const bool kind = !held_.restrictedProfiles || facts->restricted || facts->colour == Colour::cmyk;
    const bool wanted = !stripped(block) && hasPlace(block) && kind;
    const bool fits = isFor(*facts);
    if (wanted && fits) return keep(block);
    if (!fits && !held_.bare)
      note(iccName(*facts) + " dropped: it describes " + facts->space + ", which the output is not");
    else if (!facts->srgb)
      note(iccName(*facts) + " dropped: colours will look different");
    else if (!stripped(block))
      drop(nameOf(block));
  }

  // Planes without a known meaning keep any profile, and so does every picture that keeps its colour model if the
  // profile is of another kind than those below.
  bool isFor(const IccFacts& facts) const {
    switch (outputColour_) {
      case Colour::unknown:
        return true;
      case Colour::ycbcr:
        return facts.colour == Colour::rgb;
      case Colour::ycck:
        return facts.colour == Colour::cmyk;
      default:
        return facts.colour == Colour::unknown ? !changesColour_ : facts.colour == outputColour_;
    }
  }

  void takeResolution() {
    if (!from_.hasResolution() || held_.stripped.hasResolution()) return;
    const bool inks = outputColour_ == Colour::cmyk && !held_.resolutionWithInks;
    if (inks || !(from_.ratioOnly ? held_.ratio : held_.resolution))
      return drop(from_.ratioOnly ? "pixel ratio" : "resolution");
    made_.horizontalResolution = from_.horizontalResolution;
    made_.verticalResolution = from_.verticalResolution;
    made_.ratioOnly = from_.ratioOnly;
    if (upright_ && orientation_ > 4) std::swap(made_.horizontalResolution, made_.verticalResolution);
  }

  void noteOrientation() {
    if (orientation_ == 1 || upright_) return;
    const std::string number = std::to_string(orientation_);
    if (exifLost_)
      note("the Exif orientation " + number + " is lost: the picture is turned; the option orient turns its pixels");
    else if (!held_.given)
      note("the picture is turned by its Exif orientation " + number + "; the option orient turns its pixels");
  }

  void noteDropped() {
    if (dropped_.empty() || held_.bare) return;
    std::string list;
    for (const std::string& name : dropped_) list += (list.empty() ? "" : ", ") + name;
    note("metadata dropped: " + list);
  }

  void note(const std::string& text) {
    if (!held_.silent) notes_.push_back(text);
  }
  void drop(const std::string& name) {
    if (std::ranges::find(dropped_, name) == dropped_.end()) dropped_.push_back(name);
  }

  const Metadata& from_;
  const int width_, height_;  // before turning
  const bool upright_;
  const HeldMetadata& held_;
  std::vector<std::string>& notes_;
  Colour outputColour_;
  bool changesColour_;
  int orientation_ = 1;
  bool exifLost_ = false;
  std::vector<std::string> dropped_;
  Metadata made_;
};

}  // namespace

std::string nameOf(const MetadataBlock& block) {
  switch (block.kind) {
    case MetadataKind::icc:
      return "ICC profile";
    case MetadataKind::exif:
      return "Exif data";
    case MetadataKind::xmp:
      return "XMP packet";
    case MetadataKind::iptc:
      return "IPTC data";
    case MetadataKind::comment:
      return "comment";
    case MetadataKind::other:
      break;
  }
  return otherName(block);
}

std::shared_ptr<const Metadata> fitMetadata(const Picture& from, const Picture& to, bool upright,
                                            const HeldMetadata& held, std::vector<std::string>& notes) {
  if (!from.metadata || from.metadata->empty()) return nullptr;
  return Fit(from, to, upright, held, notes).run();
}

}  // namespace moxj
