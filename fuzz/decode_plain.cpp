// Reads arbitrary bytes as a file of plain samples (PNG, PNM, PAM, PBM, PGX, BMP, TIFF) and writes the picture in
// another of these formats: a complete picture, a partial one or a Problem; and what was written can be read.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "base/problem.h"
#include "formats/convert.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace moxj;
  constexpr Limits kLimits{.maxPixels = 1 << 18, .maxMemory = 1 << 25};
  const Format* const to = formats()[size % formats().size()];
  try {
    Work work(kLimits), other;
    Input input = Input::memory({data, size});
    const Format& from = recognise(input);
    if (from.coded || to->coded || !to->open) return 0;  // they have fuzzers of their own
    const bool components = size % 3 == 0 && !from.readOptions.empty();
    MemoryOutput made;
    const Outcome outcome = convert(input, {.components = components}, *to, {}, made, work);
    if (outcome.complete != outcome.warning.empty()) std::abort();
    Input again = Input::memory({made.bytes.data(), made.bytes.size()});
    PictureCollector collector;
    if (!recognise(again).open(again, {}, other)->push(collector).complete) std::abort();
  } catch (const Problem&) {
  }
  try {
    Work work(kLimits);
    Input input = Input::memory({data, size});
    recognise(input).describe(input, work);
  } catch (const Problem&) {
  }
  return 0;
}
