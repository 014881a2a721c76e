// Lists the structure of a file without decoding it.
#include "base/bigendian.h"
#include "j2k/boxes.h"
#include "j2k/j2k.h"
#include "j2k/syntax.h"
#include "j2k/tile.h"

namespace moxj::j2k {

namespace {

std::string sizeText(Coord width, Coord height) { return std::to_string(width) + " x " + std::to_string(height); }

// The printable characters of a comment.
std::string commentOf(ByteSpan body) {
  constexpr std::size_t kMaxLength = 60;
  std::string text;
  for (std::size_t i = 2; i < body.size() && text.size() < kMaxLength; ++i)
    if (body[i] >= ' ' && body[i] <= '~') text += static_cast<char>(body[i]);
  return text;
}

std::string detailOf(const MarkerSegment& segment, const Siz& siz) {
  const auto component = [&] {
    const bool wide = siz.components.size() >= 257;
    if (segment.body.size() < 2) return std::string();
    return "component " + std::to_string(wide ? segment.body[0] << 8 | segment.body[1] : segment.body[0]);
  };
  switch (segment.marker) {
    case marker::siz:
      return sizeText(siz.image.width(), siz.image.height()) + ", tiles of " + sizeText(siz.tileWidth, siz.tileHeight);
    case marker::coc:
    case marker::qcc:
    case marker::rgn:
      return component();
    case marker::com:
      return commentOf(segment.body);
    default:
      return "";
  }
}

}  // namespace

Info inspect(ByteSpan file, Budget& budget) {
  Boxes boxes = readBoxes(file);
  const Codestream stream = parseCodestream(boxes.codestream);
  Info info;
  info.boxed = boxes.boxed;
  info.colour = boxes.colourName;
  if (boxes.palette) info.palette = static_cast<int>(boxes.palette->columns[0].values.size());
  info.boxes = boxes.list;
  for (const MarkerSegment& segment : stream.header)
    if (segment.marker == marker::com) boxes.metadata.takeComment(segment.body);
  info.metadata = boxes.metadata.metadata(budget);
  info.siz = stream.siz;
  const Rect shown = shownRect(stream.siz);
  info.width = shown.width();
  info.height = shown.height();
  info.params = stream.params;
  info.tileParts = stream.parts.size();
  const auto add = [&](int marker, std::size_t offset, std::size_t length, std::string detail) {
    info.segments.push_back({marker, markerName(marker), boxes.codestreamOffset + offset, length, std::move(detail)});
  };
  add(marker::soc, 0, 2, "");
  for (const MarkerSegment& segment : stream.header)
    add(segment.marker, segment.offset, segment.length(), detailOf(segment, stream.siz));
  for (const TilePart& part : stream.parts) {
    add(marker::sot, part.offset, part.length,
        "tile " + std::to_string(part.tile) + ", part " + std::to_string(part.number) +
            (part.of > 0 ? " of " + std::to_string(part.of) : ""));
    for (const MarkerSegment& segment : part.header)
      add(segment.marker, segment.offset, segment.length(), detailOf(segment, stream.siz));
  }
  info.complete = stream.problem.empty();
  info.warning = stream.problem;
  info.notes = stream.notes;
  info.notes.insert(info.notes.end(), boxes.metadata.notes.begin(), boxes.metadata.notes.end());
  return info;
}

}  // namespace moxj::j2k
