// Converts a small picture to sRGB by arbitrary bytes as its ICC profile: every profile is used, dropped or refused.
// The first byte chooses the picture.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "pictures/colourspace/srgb.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace moxj;
  if (size == 0) return 0;
  constexpr Colour kColours[] = {Colour::rgb, Colour::cmyk, Colour::grey, Colour::ycbcr};
  const Colour colour = kColours[data[0] % 4];
  const int colours = colour == Colour::grey ? 1 : colour == Colour::cmyk ? 4 : 3, opacity = data[0] >> 2 & 1;
  Picture picture = Picture::layout(7, 5, colours + opacity, data[0] & 8 ? 16 : 8, colour);
  if (opacity) picture.opacity = Opacity::straight;
  picture.allocate();
  picture.clear();
  auto metadata = std::make_shared<Metadata>();
  metadata->add(MetadataKind::icc, "", ByteSpan(data + 1, size - 1));
  picture.metadata = metadata;
  Work work(Limits{.maxMemory = std::uint64_t{64} << 20});
  std::vector<std::string> notes;
  PictureCollector collector;
  try {
    pushPicture(picture, *convertingToSrgb(collector, notes, work));
    const Picture& made = collector.picture();
    const bool grey = colour == Colour::grey;
    if (made.colours() != (grey ? 1 : 3) || made.colour == Colour::cmyk || made.width != 7) std::abort();
    if (made.metadata && made.metadata->find(MetadataKind::icc)) std::abort();
  } catch (const Problem& problem) {
    if (problem.kind == Kind::internal) std::abort();
  }
  return 0;
}
