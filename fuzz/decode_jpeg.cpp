// Decodes arbitrary bytes as JPEG, whole or in part, or transcodes them: the result must be a complete picture, a
// partial one or a Problem. The last four bytes choose which, and the options.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "base/problem.h"
#include "formats/convert.h"
#include "jpeg/jpeg.h"
#include "structure.h"
#include "trailer.h"

namespace {

using namespace moxj;

ReadOptions optionsOf(fuzz::Trailer& in) {
  ReadOptions options{.nosmooth = in.oneIn(2),
                      .fastMcu = in.oneIn(3),
                      .components = in.oneIn(5),
                      .orient = in.oneIn(3),
                      .picture = in.oneIn(7) ? 1 : 0,
                      .native = in.oneIn(3)};
  if (in.oneIn(3)) options.region = {in.upTo(22), in.upTo(16), in.upTo(30), in.upTo(9)};
  if (!options.fastMcu && in.oneIn(3)) options.reduce = in.upTo(3);
  options.srgb = !options.components && in.oneIn(4);
  return options;
}

void decode(fuzz::Trailer& in, Work& work) {
  Input input = Input::memory(in.file);
  PictureCollector collector;
  const Outcome outcome = read(input, optionsOf(in), fuzz::heldBy(in), collector, work);
  if (outcome.complete != outcome.warning.empty()) std::abort();
}

void describe(fuzz::Trailer& in, Work& work) {
  Input input = Input::memory(in.file);
  recognise(input).describe(input, work);
}

// What the transcoder writes must be complete.
void transcode(fuzz::Trailer& in, Work& work) {
  using Process = jpeg::TranscodeOptions::Process;
  constexpr Process kProcesses[] = {Process::asInput, Process::sequential, Process::progressive};
  jpeg::TranscodeOptions options{.process = kProcesses[in.upTo(2)],
                                 .optimize = in.oneIn(2),
                                 .strip = in.oneIn(3) ? MetadataSet::all() : MetadataSet(),
                                 .restart = in.oneIn(3) ? 1 + in.upTo(3) : 0,
                                 .orient = in.oneIn(4)};
  options.restartInRows = options.restart != 0 && in.oneIn(2);
  if (!options.orient && in.oneIn(2)) options.geometry.transform = jpeg::transformOf(1 + in.upTo(7));
  if (in.oneIn(4)) options.geometry.crop = {in.upTo(30), in.upTo(30), in.upTo(20), in.upTo(20)};
  options.geometry.trim = in.oneIn(4);
  options.geometry.grayscale = in.oneIn(6);
  options.picture = in.oneIn(7) ? 1 : 0;
  MemoryOutput made;
  jpeg::transcode(in.file, options, made, work);
  PictureCollector collector;
  fuzz::Job job({.maxPixels = 1 << 22, .maxMemory = 1 << 28});
  if (!jpeg::decode({made.bytes.data(), made.bytes.size()}, {}, collector, job.work).complete) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Trailer in(data, size);
  try {
    fuzz::Job job(in);
    const int way = in.upTo(7);
    if (way < 5)
      decode(in, job.work);
    else if (way < 7)
      transcode(in, job.work);
    else
      describe(in, job.work);
  } catch (const Problem& problem) {
    if (problem.kind == Kind::internal) std::abort();
  }
  return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned seed) {
  return fuzz::mutate(data, size, maxSize, seed);
}
