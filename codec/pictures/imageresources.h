// Image resources: blocks that JPEG and PNG files carry IPTC data in. Each has the signature 8BIM, a number, a name,
// a size and data; name and data have an even length.
#pragma once

#include <vector>

#include "base/bytes.h"

namespace moxj {

struct ImageResources {
  ByteSpan iptc;                     // of the first resource of IPTC data, in the bytes that were given
  std::vector<std::uint8_t> others;  // complete resources
  bool damaged = false;              // what comes after the damage is lost
  bool repeated = false;             // further IPTC data, which are lost
};

bool isImageResources(ByteSpan bytes);
ImageResources imageResourcesOf(ByteSpan bytes);

// One resource with IPTC data.
Bytes iptcResource(ByteSpan iptc);

}  // namespace moxj
