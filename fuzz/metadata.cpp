// Reads and changes arbitrary bytes as Exif data, ICC profile, XMP packet and image resources, and as metadata of
// JPEG, PNG and JP2 files.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "base/input.h"
#include "formats/formats.h"
#include "jpeg/multipicture.h"
#include "pictures/exif.h"
#include "pictures/icc.h"
#include "pictures/imageresources.h"

namespace {

using namespace moxj;

void blocks(ByteSpan data) {
  std::vector<std::uint8_t> bytes(data.begin(), data.end());
  const ExifFacts facts = factsOf(bytes);
  if (facts.orientation < 1 || facts.orientation > 8) std::abort();
  setOrientation(bytes, 1);
  setPixelSize(bytes, 48, 30);
  if (unlinkThumbnail(bytes) && !factsOf(bytes).thumbnail.empty()) std::abort();
  dataOf(bytes, 0xB002);
  setXmpOrientation(bytes, 1);
  iccFactsOf(bytes);
  const ImageResources resources = imageResourcesOf(data);
  if (resources.iptc.size() + resources.others.size() > data.size()) std::abort();
}

// The index of further pictures of a file that is its own copy does not change.
void index(ByteSpan data) {
  std::vector<std::uint8_t> file(data.begin(), data.end());
  std::vector<jpeg::MarkerSegment> segments;
  try {
    jpeg::SegmentWalker walker(data);
    while (const auto segment = walker.next()) {
      if (segment->marker == jpeg::marker::sos) break;
      segments.push_back(*segment);
    }
  } catch (const Problem&) {
  }
  jpeg::moveFurtherPictures(file, segments, data.last(data.size() / 2));
  if (file.size() != data.size()) std::abort();
}

void describe(ByteSpan data) {
  Work work({.maxPixels = 1 << 18, .maxMemory = std::uint64_t{64} << 20, .maxScans = 20});
  Input input = Input::memory(data);
  try {
    recognise(input).describe(input, work);
  } catch (const Problem&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ByteSpan bytes(data, size);
  blocks(bytes);
  index(bytes);
  describe(bytes);
  return 0;
}
