// A picture as a file has it: coefficients, and what stands beside them.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "jpeg/coefficients.h"
#include "jpeg/colour.h"
#include "jpeg/jpeg.h"
#include "jpeg/syntax.h"

namespace moxj::jpeg {

struct CodedPicture {
  Frame frame;
  std::vector<Steps> steps;  // of each component
  std::unique_ptr<Coefficients> coefficients;
  ColourModel model;
  std::vector<MarkerSegment> segments;  // APPn and COM, within the file
  std::string warning;                  // as in Decoded: empty where nothing is missing
  std::vector<std::string> notes;
};

// As decode(), up to the coefficients.
CodedPicture readCoefficients(ByteSpan file, const Limits& limits, const Progress& progress,
                              const DecodeOptions& options);

}  // namespace moxj::jpeg
