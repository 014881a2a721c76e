// Translates the settings of the command line into options for jpeg::transcode().
#include "cli/transcode_file.h"

#include "cli/output.h"
#include "cli/read_picture.h"

namespace moxj {

namespace {

jpeg::TranscodeOptions optionsOf(const Settings& settings) {
  using Process = jpeg::TranscodeOptions::Process;
  const jpeg::EncodeOptions& given = settings.jpeg;
  jpeg::TranscodeOptions options;
  if (given.progressive)
    options.process = Process::progressive;
  else if (settings.sequential || given.optimize)
    options.process = Process::sequential;
  options.script = given.script;
  options.optimize = given.optimize || !settings.sequential;
  options.strip = settings.strip;
  options.restart = given.restart;
  options.restartInRows = given.restartInRows;
  return options;
}

}  // namespace

ExitStatus transcodeFile(const Job& job, const Settings& settings, Report& report) {
  const PictureFile file = openPicture(job.input, settings.limits);
  if (file.format != Format::jpeg) fail(Kind::notThisFormat, "not a JPEG file");
  jpeg::Transcoded result = jpeg::transcode(file.source.bytes, optionsOf(settings), settings.limits,
                                            report.progressOf(file.name), settings.reading);
  const ExitStatus status = reportOutcome(report, file.name, result);
  Content content;
  content.head = std::move(result.file);
  writeFile(job.output, content);
  return status;
}

}  // namespace moxj
