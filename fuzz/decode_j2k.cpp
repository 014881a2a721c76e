// Decodes arbitrary bytes as JPEG 2000: the result must be a complete picture, a partial one or a Problem.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "base/problem.h"
#include "j2k/j2k.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace moxj;
  const std::span<const std::uint8_t> file(data, size);
  const Limits limits{.maxPixels = 1 << 16, .maxMemory = 1 << 25};
  try {
    const DecodedImage decoded = j2k::decode(file, limits, {}, {.reduce = size % 2 == 1, .components = size % 3 == 0});
    if (decoded.complete != decoded.warning.empty()) std::abort();
  } catch (const Problem&) {
  }
  try {
    j2k::inspect(file);
  } catch (const Problem&) {
  }
  return 0;
}
