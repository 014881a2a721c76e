// Decodes arbitrary bytes as JPEG 2000: the result must be a complete picture, a partial one or a Problem.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "base/problem.h"
#include "j2k/j2k.h"
#include "structure.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace moxj;
  const ByteSpan file(data, size);
  Work work({.maxPixels = 1 << 16, .maxMemory = 1 << 25});
  for (const bool partly : {false, true}) {
    j2k::DecodeOptions options{.reduce = size % 2 == 1, .components = size % 3 == 0, .upsample = size % 5 == 0};
    if (partly)
      options.region = {static_cast<int>(size % 13), static_cast<int>(size % 7), 1 + static_cast<int>(size % 29), 9};
    try {
      const j2k::Decoded decoded = j2k::decode(file, options, work);
      if (decoded.complete != decoded.warning.empty()) std::abort();
    } catch (const Problem&) {
    }
  }
  try {
    j2k::inspect(file, work.budget);
  } catch (const Problem&) {
  }
  return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned seed) {
  return fuzz::mutate(data, size, maxSize, seed);
}
