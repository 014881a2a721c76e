// Decodes arbitrary bytes as JPEG, and transcodes them: the result must be a complete picture, a partial one or a
// Problem.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "base/problem.h"
#include "jpeg/jpeg.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace moxj;
  const std::span<const std::uint8_t> file(data, size);
  const Limits limits{.maxPixels = 1 << 18};
  const jpeg::DecodeOptions options{
      .smooth = size % 2 == 0, .fastMcu = size % 3 == 0, .inks = size % 5 == 0, .maxScans = 20};
  try {
    const Decoded decoded = jpeg::decode(file, limits, {}, options);
    if (decoded.complete != decoded.warning.empty()) std::abort();
  } catch (const Problem&) {
  }
  try {
    jpeg::decodeImage(file, limits, {}, options);
  } catch (const Problem&) {
  }
  try {
    using Process = jpeg::TranscodeOptions::Process;
    const jpeg::Transcoded made =
        jpeg::transcode(file, {.process = size % 2 ? Process::progressive : Process::sequential}, limits, {}, options);
    // The output of the transcoder must be complete.
    if (!jpeg::decode({made.file.data(), made.file.size()}, limits).complete) std::abort();
  } catch (const Problem&) {
  }
  try {
    jpeg::inspect(file);
  } catch (const Problem&) {
  }
  return 0;
}
