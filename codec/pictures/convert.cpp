// Colour to luminance, and grey to three equal channels.
#include "pictures/convert.h"

#include "base/library.h"

namespace moxj {

Picture toGrey(const Picture& picture) {
  if (picture.channels == 1) return picture;
  Picture grey = Picture::make(picture.width, picture.height, 1);
  for (int y = 0; y < picture.height; ++y) {
    // Row by row: the step of a large picture may not fit the 32 bits of the function's parameter.
    require(moxiRGBToY_JPEG_8u_C3C1R(picture.row(y), picture.width * 3, grey.row(y), picture.width, {picture.width, 1}),
            "the conversion to grey");
  }
  return grey;
}

Picture toColour(const Picture& picture) {
  if (picture.channels == 3) return picture;
  Picture colour = Picture::make(picture.width, picture.height, 3);
  for (int y = 0; y < picture.height; ++y) {
    const std::uint8_t* from = picture.row(y);
    std::uint8_t* to = colour.row(y);
    for (int x = 0; x < picture.width; ++x, to += 3) to[0] = to[1] = to[2] = from[x];
  }
  return colour;
}

}  // namespace moxj
