// Decodes arbitrary bytes as JPEG, and transcodes them: the result must be a complete picture, a partial one or a
// Problem.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "jpeg/jpeg.h"
#include "structure.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace moxj;
  const ByteSpan file(data, size);
  const Limits limits{.maxPixels = 1 << 18, .maxScans = 20};
  for (const int way : {0, 1, 2, 3}) {
    jpeg::DecodeOptions options{.smooth = size % 2 == 0,
                                .fastMcu = size % 3 == 0,
                                .inks = size % 5 == 0,
                                .native = way % 2 == 1,
                                .picture = static_cast<int>(size % 7 == 0)};
    if (way >= 2) {
      options.region = {static_cast<int>(size % 23), static_cast<int>(size % 17), 1 + static_cast<int>(size % 31), 9};
      options.reduce = static_cast<int>(size % 4);
    }
    try {
      PictureCollector collector;
      Work work(limits);
      const Outcome outcome = jpeg::decode(file, options, collector, work);
      if (outcome.complete != outcome.warning.empty()) std::abort();
    } catch (const Problem&) {
    }
  }
  try {
    using Process = jpeg::TranscodeOptions::Process;
    MemoryOutput made;
    Work work(limits), other;
    const jpeg::Geometry geometry{.transform = jpeg::transformOf(static_cast<int>(1 + size % 8)),
                                  .crop = {.x = static_cast<int>(size % 3 * 9)},
                                  .trim = size % 5 == 0,
                                  .grayscale = size % 7 == 0};
    const Process process = size % 2 ? Process::progressive : Process::sequential;
    jpeg::transcode(file, {.process = process, .geometry = geometry}, made, work);
    // The output of the transcoder must be complete.
    PictureCollector collector;
    if (!jpeg::decode({made.bytes.data(), made.bytes.size()}, {}, collector, other).complete) std::abort();
  } catch (const Problem&) {
  }
  try {
    jpeg::inspect(file);
  } catch (const Problem&) {
  }
  return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned seed) {
  return fuzz::mutate(data, size, maxSize, seed);
}
