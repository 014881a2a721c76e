// Decodes arbitrary bytes as JPEG 2000, whole or in part: the result must be a complete picture, a partial one or a
// Problem. The last four bytes choose the options.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "base/problem.h"
#include "formats/convert.h"
#include "structure.h"
#include "trailer.h"

namespace {

using namespace moxj;

ReadOptions optionsOf(fuzz::Trailer& in) {
  ReadOptions options{.reduce = in.oneIn(3) ? in.upTo(3) : 0,
                      .layers = in.oneIn(4) ? in.upTo(2) : 0,
                      .components = in.upTo(3) == 0,
                      .orient = in.oneIn(4),
                      .upsample = in.oneIn(3)};
  const int part = in.upTo(5);
  if (part == 0) options.tile = in.upTo(2);
  if (part == 1) options.region = {in.upTo(20), in.upTo(20), in.upTo(30), in.upTo(30)};
  options.srgb = !options.components && in.oneIn(4);
  return options;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Trailer in(data, size);
  try {
    fuzz::Job job(in);
    Input input = Input::memory(in.file);
    const Format& format = recognise(input);
    if (in.oneIn(5)) {
      format.describe(input, job.work);
      return 0;
    }
    PictureCollector collector;
    const Outcome outcome = read(input, optionsOf(in), fuzz::heldBy(in), collector, job.work);
    if (outcome.complete != outcome.warning.empty()) std::abort();
  } catch (const Problem& problem) {
    if (problem.kind == Kind::internal) std::abort();
  }
  return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned seed) {
  return fuzz::mutate(data, size, maxSize, seed);
}
