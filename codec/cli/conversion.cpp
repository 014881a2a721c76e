// encode, decode and transcode: convert pictures from one format to another, one file or a batch.
#include <algorithm>
#include <atomic>
#include <deque>
#include <exception>
#include <filesystem>
#include <optional>

#include "base/workers.h"
#include "cli/commands.h"
#include "cli/input.h"
#include "cli/limits.h"
#include "cli/output.h"
#include "cli/plan.h"
#include "cli/read_picture.h"
#include "cli/transcode_file.h"
#include "moxcore.h"
#include "pictures/pgx.h"
#include "pictures/png.h"
#include "pictures/pnm.h"

namespace moxj {

namespace {

Content writeImageAs(const Image& image, const Job& job, Report& report) {
  const std::string name = displayName(job.input, true);
  std::vector<std::string> notes;
  Content content;
  if (job.format == Format::pgx) {
    if (image.components.size() > 1)
      fail(Kind::unsupported, std::to_string(image.components.size()) +
                                  " components: a PGX file has one; --components writes one file for each");
    content = writePgx(image.components[0]);
  } else {
    content = job.format == Format::png ? writePngImage(image, notes, report.progressOf(name))
                                        : writePnmImage(image, job.format, notes);
  }
  for (const std::string& note : notes) report.fileNote(name, note);
  return content;
}

Content encodeAs(const Picture& picture, const Job& job, const Settings& settings, Report& report) {
  const Progress progress = report.progressOf(displayName(job.input, true));
  Content content;
  switch (job.format) {
    case Format::jpeg:
      content.head = jpeg::encode(picture, settings.jpeg, progress, settings.limits);
      return content;
    case Format::png:
      return writePng(picture, progress);
    case Format::pgx:
      return writeImageAs(imageOf(picture), job, report);
    default:
      return writePnm(picture, job.format);
  }
}

void noteColour(bool dropped, const Job& job, Report& report) {
  if (dropped) report.fileNote(displayName(job.input, true), "colour dropped");
}

// Writes a PGM or PPM file row by row. The file is created when the decoder announces the size of the picture.
class PnmFile : public RowSink {
 public:
  PnmFile(const std::string& path, Format format)
      : path_(path), writer_(format, [this](auto first, auto second) { file_->write(first, second); }) {}
  void begin(int width, int height, int channels) override {
    file_.emplace(path_);
    writer_.begin(width, height, channels);
  }
  void rows(const Picture& band) override { writer_.rows(band); }
  void finish() { file_->finish(); }
  bool dropsColour() const { return writer_.dropsColour(); }

 private:
  const std::string& path_;
  std::optional<OutputFile> file_;
  PnmWriter writer_;
};

bool isPnm(Format format) { return format == Format::ppm || format == Format::pgm || format == Format::pnm; }

// "out.pgx" becomes "out_0.pgx", "out_1.pgx" ...
std::string numbered(const std::string& path, std::size_t number) {
  const std::size_t slash = path.rfind('/'), dot = path.rfind('.');
  const bool hasExtension = dot != std::string::npos && (slash == std::string::npos || dot > slash);
  const std::string stem = path.substr(0, hasExtension ? dot : path.size());
  return stem + "_" + std::to_string(number) + path.substr(stem.size());
}

// Does something with one of several outputs, which a failure then names.
template <class Work>
void forOutput(const std::string& path, const Work& work) {
  try {
    work(path);
  } catch (const Problem& problem) {
    if (problem.kind == Kind::output) throw OutputProblem(problem, path);
    throw;
  }
}

// All files are written before the first gets its name: none is there if one cannot be written.
void writeComponents(const Image& image, const Job& job, Report& report) {
  std::deque<OutputFile> files;
  for (std::size_t c = 0; c < image.components.size(); ++c) {
    Image one = image;
    one.components = {image.components[c]};
    one.width = one.components[0].width;
    one.height = one.components[0].height;
    one.components[0].dx = one.components[0].dy = 1;
    one.colour = Colour::grey;
    one.alpha = false;
    const Content content = writeImageAs(one, job, report);
    forOutput(numbered(job.output, c), [&](const std::string& path) {
      OutputFile& file = files.emplace_back(path);
      file.write({content.head.data(), content.head.size()}, content.body);
      file.close();
    });
  }
  for (std::size_t c = 0; c < files.size(); ++c)
    forOutput(numbered(job.output, c), [&](const std::string&) { files[c].finish(); });
}

// Whether 8-bit grey or RGB represents the image without loss.
bool isPlain(const Image& image) {
  const std::size_t count = image.components.size();
  return (count == 1 || count == 3) && image.interleavedBytes() && image.components[0].bits == 8 && !image.alpha;
}

ExitStatus decodeImage(const PictureFile& file, const Job& job, const Settings& settings, Report& report) {
  const DecodedImage decoded = readImage(file, settings.limits, report, readOptions(settings));
  std::vector<std::string> notes;
  if (settings.j2kReading.components) {
    writeComponents(decoded.image, job, report);
  } else if (isPlain(decoded.image) && decoded.image.colour != Colour::ycc && job.format != Format::pgx) {
    const Picture picture = toPicture(decoded.image, notes);
    noteColour(job.format == Format::pgm && picture.channels == 3, job, report);
    writeFile(job.output, encodeAs(picture, job, settings, report));
  } else {
    writeFile(job.output, writeImageAs(decoded.image, job, report));
  }
  return statusOf(decoded);
}

ExitStatus encodeJpeg2000(const PictureFile& file, const Job& job, const Settings& settings, Report& report) {
  const DecodedImage decoded = readImage(file, settings.limits, report, readOptions(settings));
  j2k::EncodeOptions options = settings.j2k;
  options.boxes = job.format == Format::jp2;
  options.threads = threadsOf(settings);
  Content content;
  content.head = j2k::encode(decoded.image, options, settings.limits, report.progressOf(displayName(job.input, true)));
  writeFile(job.output, content);
  return statusOf(decoded);
}

ExitStatus encodeLossless(const PictureFile& file, const Job& job, const Settings& settings, Report& report) {
  ReadOptions reading = readOptions(settings);
  reading.jpeg.inks = true;
  const DecodedImage decoded = readImage(file, settings.limits, report, reading);
  std::vector<std::string> notes;
  Content content;
  content.head = jpeg::encodeLossless(decoded.image, *settings.lossless, notes, report.progressOf(file.name));
  for (const std::string& note : notes) report.fileNote(file.name, note);
  writeFile(job.output, content);
  return statusOf(decoded);
}

// If the output can be discarded on failure, the rows of a JPEG file are written as they are decoded.
ExitStatus convertFile(const Job& job, const Settings& settings, Report& report) {
  if (settings.command == Command::transcode) return transcodeFile(job, settings, report);
  const PictureFile file = openPicture(job.input, settings.limits);
  if (settings.command == Command::decode) checkInput(file.format, settings);
  if (isJpeg2000(job.format)) return encodeJpeg2000(file, job, settings, report);
  if (job.format == Format::jpeg && settings.lossless) return encodeLossless(file, job, settings, report);
  const bool asImage =
      isJpeg2000(file.format) ||
      (file.format == Format::jpeg && (settings.j2kReading.components || jpeg::holdsImage(file.source.bytes)));
  if (asImage && settings.command == Command::decode) return decodeImage(file, job, settings, report);
  if (settings.j2kReading.components) fail(Kind::badOption, "--components is for JPEG and JPEG 2000 files");
  if (file.format == Format::jpeg && isPnm(job.format) && canBeDiscarded(job.output)) {
    PnmFile output(job.output, job.format);
    const Decoded decoded = readPicture(file, settings.limits, report, readOptions(settings), &output);
    noteColour(output.dropsColour(), job, report);
    output.finish();
    return statusOf(decoded);
  }
  const Decoded decoded = readPicture(file, settings.limits, report, readOptions(settings));
  noteColour(job.format == Format::pgm && decoded.picture.channels == 3, job, report);
  writeFile(job.output, encodeAs(decoded.picture, job, settings, report));
  return statusOf(decoded);
}

// Reports a failure under the name of the file that caused it: the output for output errors, otherwise the input.
ExitStatus convert(const Job& job, const Settings& settings, Report& report) {
  try {
    return convertFile(job, settings, report);
  } catch (const std::exception& exception) {
    const Ending ending = endingOf(exception);
    const bool atOutput = ending.status == ExitStatus::output;
    const std::string& output = ending.output.empty() ? job.output : ending.output;
    report.fileError(displayName(atOutput ? output : job.input, !atOutput), ending.text);
    return ending.status;
  }
}

void makeDirectory(const std::string& path) {
  std::error_code error;
  std::filesystem::create_directories(path, error);
  if (error) fail(Kind::output, displayName(path, false) + ": cannot be created: " + error.message());
}

// The status of the first input that failed, in command-line order (not in order of time). A failure takes precedence
// over an incomplete picture.
ExitStatus firstOf(const std::vector<ExitStatus>& statuses) {
  ExitStatus first = ExitStatus::ok;
  for (const ExitStatus status : statuses) {
    if (status == ExitStatus::incomplete) first = status;
    if (status != ExitStatus::ok && status != ExitStatus::incomplete) return status;
  }
  return first;
}

ExitStatus convertAll(const std::vector<Job>& jobs, const Settings& settings, Report& report) {
  makeDirectory(*settings.outputDirectory);
  std::vector<ExitStatus> statuses(jobs.size());
  std::atomic<std::size_t> done = 0;
  const std::size_t wanted = static_cast<std::size_t>(settings.jobs.value_or(moxGetNumThreads()));
  const std::size_t workers = std::min({wanted, jobs.size(), std::size_t{kMaxJobs}});
  // The processors are busy with other files: one thread per picture.
  if (workers > 1 && !settings.threads) moxSetNumThreads(1);
  Workers(static_cast<int>(workers)).forEach(jobs.size(), [&](int, std::size_t job) {
    statuses[job] = convert(jobs[job], settings, report);
    report.filesDone(++done, jobs.size());
  });
  return firstOf(statuses);
}

jpeg::Script readScript(const std::string& path) {
  constexpr std::uint64_t kMaxScriptBytes = 1 << 20;
  const std::string name = displayName(path, true);
  try {
    const Source source = readFile(path, kMaxScriptBytes);
    return jpeg::parseScript({reinterpret_cast<const char*>(source.bytes.data()), source.bytes.size()}, name);
  } catch (const Problem& problem) {
    const std::string text = problem.what();
    throw Problem(problem.kind, text.starts_with(name) ? text : name + ": " + text, problem.setting);
  }
}

}  // namespace

ExitStatus runConversion(const Settings& given, Report& report) {
  const std::vector<Job> jobs = planOf(given);
  Settings settings = given;
  if (!settings.scans.empty()) settings.jpeg.script = readScript(settings.scans);
  return settings.outputDirectory ? convertAll(jobs, settings, report) : convert(jobs[0], settings, report);
}

}  // namespace moxj
