// ICC profiles (ICC.1): what the codec has to know of them.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "base/bytes.h"
#include "pictures/picture.h"

namespace moxj {

inline constexpr std::size_t kMaxIccTags = 256;  // that are looked at

struct IccFacts {
  std::string description;          // "Display P3"; empty if it has none that can be read
  Colour colour = Colour::unknown;  // what the samples are
  std::string space;                // its name: "RGB", "grey", "CMYK" or the signature
  bool srgb = false;                // pictures look (nearly) the same without the profile
  bool exactlySrgb = false;         // there is nothing to convert
  bool restricted = false;          // of the kind that JP2 allows: matrix and curves, to XYZ (ISO/IEC 15444-1 I.5.3.3)
};

// None for what is not a profile.
std::optional<IccFacts> iccFactsOf(ByteSpan profile);

// "ICC profile 'Display P3'"
std::string iccName(const IccFacts& facts);

}  // namespace moxj
