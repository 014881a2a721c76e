// Any bytes through the JPEG reader: a picture, whole or in part, or a Failure; nothing else may happen.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "failure.h"
#include "jpeg/jpeg.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace moxj;
  const std::span<const std::uint8_t> file(data, size);
  const bool smooth = size % 2 == 0;
  try {
    const Decoded decoded = jpeg::decode(file, {.maxPixels = 1 << 18}, {}, {.smooth = smooth});
    if (decoded.complete != decoded.warning.empty()) std::abort();
  } catch (const Failure&) {
  }
  try {
    jpeg::inspect(file);
  } catch (const Failure&) {
  }
  return 0;
}
