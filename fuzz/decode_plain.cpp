// Reads arbitrary bytes as a file of plain samples (PNG, PNM, PAM, PBM, PGX, BMP, TIFF), whole or in part, and writes
// the picture in another of these formats: a complete picture, a partial one or a Problem; and what was written can be
// read. The last four bytes choose the format and the options.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "base/problem.h"
#include "formats/convert.h"
#include "trailer.h"

namespace {

using namespace moxj;

ReadOptions optionsOf(fuzz::Trailer& in, const Format& from) {
  ReadOptions options{.components = in.oneIn(3) && !from.readOptions.empty(), .orient = in.oneIn(3)};
  if (in.oneIn(4)) options.region = {in.upTo(9), in.upTo(9), in.upTo(9), in.upTo(9)};
  options.srgb = !options.components && in.oneIn(4);
  return options;
}

void rewrite(fuzz::Trailer& in, Input& input, const Format& from, Work& work) {
  const Format* const to = formats()[static_cast<std::size_t>(in.upTo(static_cast<int>(formats().size()) - 1))];
  if (from.coded || to->coded || !to->open) return;  // they have fuzzers of their own
  MemoryOutput made;
  const Outcome outcome = convert(input, optionsOf(in, from), *to, {}, made, work);
  if (outcome.complete != outcome.warning.empty()) std::abort();
  Input again = Input::memory({made.bytes.data(), made.bytes.size()});
  PictureCollector collector;
  fuzz::Job job({.maxPixels = 1 << 20, .maxMemory = 1 << 28});
  if (!recognise(again).open(again, {}, job.work)->push(collector).complete) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Trailer in(data, size);
  try {
    fuzz::Job job(in);
    Input input = Input::memory(in.file);
    const Format& from = recognise(input);
    if (in.oneIn(6))
      from.describe(input, job.work);
    else
      rewrite(in, input, from, job.work);
  } catch (const Problem& problem) {
    if (problem.kind == Kind::internal) std::abort();
  }
  return 0;
}
