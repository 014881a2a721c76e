// Searches for SOI markers that begin a chain of segments, and walks through pictures to their ends.
#include "jpeg/locate.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>

#include "base/problem.h"
#include "jpeg/markers.h"
#include "jpeg/syntax.h"

namespace moxj::jpeg {

namespace {

// Bounds of the work that hostile bytes can cause. A profile of 16 MiB has 255 segments.
constexpr int kMaxSegments = 1000, kMaxCandidates = 500;

bool beginsWithSoi(ByteSpan file) { return file.size() >= 2 && file[0] == 0xFF && file[1] == marker::soi; }

bool mayPrecedeFrame(int code) {
  return marker::isKept(code) || code == marker::dqt || code == marker::dht || code == marker::dac ||
         code == marker::dri || code == marker::dhp;
}

// Whether a chain of segments without gaps leads from `at` to a frame header with a plausible length.
bool leadsToFrame(ByteSpan file, std::size_t at, bool cut) {
  for (int segments = 0; segments < kMaxSegments; ++segments) {
    if (at > file.size() || file.size() - at < 4) return cut;
    const int code = file[at + 1];
    const std::size_t length = file[at + 2] << 8 | file[at + 3];
    if (file[at] != 0xFF || length < 2) return false;
    if (marker::isFrameHeader(code)) {
      if (file.size() - at < 10) return cut;
      const std::size_t components = file[at + 9];
      return components > 0 && length == 8 + 3 * components;
    }
    if (!mayPrecedeFrame(code)) return false;
    at += 2 + length;
  }
  return false;
}

// The offset after the EOI marker of a picture; none if it is damaged or incomplete.
std::optional<std::size_t> endOfPicture(ByteSpan file, std::size_t begin) {
  try {
    SegmentWalker walker(file, begin);
    walker.next();  // SOI
    while (const std::optional<MarkerSegment> segment = walker.next()) {
      if (segment->marker == marker::eoi) return segment->end;
      if (segment->marker == marker::soi) break;
      if (segment->marker == marker::sos) walker.seek(findScanEnd(file, segment->end));
    }
  } catch (const Problem&) {
  }
  return std::nullopt;
}

std::size_t firstPicture(ByteSpan file) {
  const std::size_t begin = beginsWithSoi(file) ? 0 : findPicture(file, 0);
  if (begin == file.size()) fail(Kind::notThisFormat, "not a JPEG file");
  return begin;
}

// The picture after one that begins at `begin`, or the size of the file. Sets the end of that one.
std::size_t nextPicture(ByteSpan file, std::size_t begin, std::size_t& end) {
  const std::optional<std::size_t> found = endOfPicture(file, begin);
  end = found.value_or(file.size());
  return found ? findPicture(file, end) : file.size();
}

}  // namespace

std::size_t findPicture(ByteSpan file, std::size_t from, bool cut) {
  static constexpr std::uint8_t kStart[] = {0xFF, marker::soi, 0xFF};
  const ByteSpan searched = file.subspan(from, std::min(file.size() - from, kMaxBytesBefore + sizeof kStart));
  auto at = searched.begin();
  for (int candidates = 0; candidates < kMaxCandidates; ++candidates) {
    at = std::search(at, searched.end(), std::begin(kStart), std::end(kStart));
    if (at == searched.end()) break;
    const std::size_t offset = from + static_cast<std::size_t>(at - searched.begin());
    if (leadsToFrame(file, offset + 2, cut)) return offset;
    ++at;
  }
  return file.size();
}

LocatedPicture locatePicture(ByteSpan file, int number) {
  LocatedPicture picture{.offset = firstPicture(file), .bytes = {}, .note = {}};
  if (picture.offset > 0) {
    picture.note =
        std::to_string(picture.offset) + (picture.offset == 1 ? " byte" : " bytes") + " before the picture passed over";
  }
  picture.bytes = file.subspan(picture.offset);
  if (number == 0) return picture;
  std::size_t end = 0;
  for (int current = 1;; ++current) {
    const std::size_t next = nextPicture(file, picture.offset, end);
    if (current == number) break;
    if (next == file.size()) {
      failOption("picture", "is " + std::to_string(number) + ", but the file has " +
                                (current == 1 ? "one picture" : std::to_string(current) + " pictures"));
    }
    picture.offset = next;
    picture.note.clear();
  }
  picture.bytes = file.subspan(picture.offset, end - picture.offset);
  return picture;
}

int countPictures(ByteSpan file) {
  int count = 0;
  for (std::size_t begin = 0, end = 0; begin < file.size(); ++count) begin = nextPicture(file, begin, end);
  return count;
}

}  // namespace moxj::jpeg
