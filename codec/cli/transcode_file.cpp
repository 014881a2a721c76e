#include "cli/transcode_file.h"

#include "cli/output.h"
#include "cli/read_picture.h"

namespace moxj {

namespace {

jpeg::TranscodeOptions optionsOf(const Settings& settings) {
  using Process = jpeg::TranscodeOptions::Process;
  const jpeg::EncodeOptions& asked = settings.jpeg;
  jpeg::TranscodeOptions options;
  if (asked.progressive)
    options.process = Process::progressive;
  else if (settings.sequential || asked.optimize)
    options.process = Process::sequential;
  options.script = asked.script;
  options.optimize = asked.optimize || !settings.sequential;
  options.strip = settings.strip;
  options.restart = asked.restart;
  options.restartInRows = asked.restartInRows;
  return options;
}

}  // namespace

ExitStatus transcodeFile(const Job& job, const Settings& settings, Report& report) {
  const PictureFile file = openPicture(job.input, settings.limits);
  if (file.format != Format::jpeg) refuse("no JPEG file");
  jpeg::Transcoded made = jpeg::transcode(file.source.bytes, optionsOf(settings), settings.limits,
                                          report.progressOf(file.name), settings.reading);
  for (const std::string& note : made.notes) report.fileNote(file.name, note);
  if (!made.complete) report.fileWarning(file.name, made.warning);
  Content content;
  content.head = std::move(made.file);
  writeFile(job.output, content);
  return made.complete ? ExitStatus::ok : ExitStatus::incomplete;
}

}  // namespace moxj
