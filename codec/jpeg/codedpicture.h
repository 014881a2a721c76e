// A JPEG file decoded up to its quantised coefficients, for transcoding.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "jpeg/coefficients.h"
#include "jpeg/colour.h"
#include "jpeg/jpeg.h"
#include "jpeg/syntax.h"

namespace moxj::jpeg {

struct CodedPicture : Outcome {
  Frame frame;
  std::vector<Steps> steps;  // for each component
  std::unique_ptr<Coefficients> coefficients;
  ColourModel model;
  std::vector<MarkerSegment> segments;  // APPn and COM; they point into the file
  ByteSpan tail = {};                   // what follows the EOI marker in the file
  std::vector<std::uint8_t> jfif = {};  // or `segments` into this, where one was changed
};

// Like decode(), but stops at the coefficients.
CodedPicture readCoefficients(ByteSpan file, int picture, Work& work);

}  // namespace moxj::jpeg
