// File to file.
#include <memory>
#include <vector>

#include "api/options.h"
#include "api/run.h"
#include "api/source.h"
#include "api/structs.h"
#include "api/target.h"
#include "api/writing.h"
#include "formats/convert.h"

using namespace moxj::api;
using moxj::Outcome;

MoxcKind moxcConvert(const MoxcSource* source, const MoxcReadOptions* reading, const char* format,
                     const MoxcWriteOptions* writing, const MoxcTarget* target, const MoxcRun* run,
                     MoxcReport* report) {
  return guarded(report, [&] {
    const MoxcTarget prepared = preparedTarget(target);
    Run job(run);
    const moxj::Format& to = formatOf(format);
    const moxj::ReadOptions readOptions = readOptionsOf(reading);
    const moxj::WriteOptions writeOptions = writeOptionsOf(writing);
    moxj::Input input = inputOf(source);
    const std::unique_ptr<Target> output = targetOf(prepared);
    Outcome outcome = moxj::convert(input, readOptions, to, writeOptions, *output, job.work);
    job.complete();
    output->close();
    output->finish();
    return outcome;
  });
}

MoxcKind moxcConvertPlanes(const MoxcSource* source, const MoxcReadOptions* reading, const char* format,
                           MoxcOpenTarget open, void* context, const MoxcRun* run, MoxcReport* report) {
  return guarded(report, [&] {
    if (!open) throw BadArgument("open is null");
    Run job(run);
    const moxj::Format& to = formatOf(format);
    if (to.coded) throw BadArgument(std::string(to.label) + " is no format of plain samples");
    const moxj::ReadOptions readOptions = readOptionsOf(reading);
    moxj::Input input = inputOf(source);
    std::vector<std::unique_ptr<Target>> outputs;
    const auto openNext = [&](int index, int count) -> moxj::Output& {
      MoxcTarget target = {};
      target.structSize = sizeof target;
      if (open(context, index, count, &target) != 0) moxj::failCancelled();
      outputs.push_back(targetOf(preparedTarget(&target)));
      return *outputs.back();
    };
    Outcome outcome = moxj::convertComponents(input, readOptions, to, {}, openNext, job.work);
    job.complete();
    for (const std::unique_ptr<Target>& output : outputs) output->close();
    for (const std::unique_ptr<Target>& output : outputs) output->finish();
    return outcome;
  });
}

MoxcKind moxcTranscode(const MoxcSource* source, const MoxcTranscodeOptions* options, const MoxcTarget* target,
                       const MoxcRun* run, MoxcReport* report) {
  return guarded(report, [&] {
    const MoxcTarget prepared = preparedTarget(target);
    Run job(run);
    const moxj::jpeg::TranscodeOptions transcoding = transcodeOptionsOf(options);
    moxj::Input input = inputOf(source);
    if (moxj::recognise(input).names[0] != "jpg") moxj::fail(moxj::Kind::notThisFormat, "not a JPEG file");
    const std::unique_ptr<Target> output = targetOf(prepared);
    Outcome outcome = moxj::jpeg::transcode(input.all(maxFileBytes(job.work.limits)), transcoding, *output, job.work);
    job.complete();
    output->close();
    output->finish();
    return outcome;
  });
}
