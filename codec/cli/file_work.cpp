#include "cli/file_work.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

#include "cli/library.h"

namespace moxj::cli {

namespace {

MoxcRun runWith(int threads) {
  MoxcRun run = {};
  run.structSize = sizeof run;
  run.threads = threads;
  return run;
}

std::string readAll(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot be read");
  return {std::istreambuf_iterator<char>(file), {}};
}

// The status of a run is that of the functions of libmoxj.
MoxStatus outcomeOf(MoxcKind kind) { return kind == moxcOk ? moxStatusOk : moxStatusError; }

MoxcKind encode(const MoxcPixels& pixels, const char* format, const MoxcRun& run, MoxcReport* report) {
  void* bytes = nullptr;
  std::size_t count = 0;
  const MoxcTarget target = moxcMemoryTarget(&bytes, &count);
  const MoxcKind kind = moxcEncode(&pixels, format, nullptr, nullptr, 0, &target, &run, report);
  moxcFree(bytes);
  return kind;
}

}  // namespace

FileWork::FileWork(const std::string& path) : bytes_(readAll(path)) {
  const MoxcSource source = moxcMemorySource(bytes_.data(), bytes_.size());
  const CallReport report = newCallReport();
  if (moxcDecode(&source, nullptr, nullptr, nullptr, &picture_, report.get()) != moxcOk)
    throw std::runtime_error(moxcReportText(report.get()));
  pixels_.structSize = sizeof pixels_;
  if (moxcPicturePixels(picture_, &pixels_) != moxcOk) throw std::runtime_error("the picture has no samples");
}

double FileWork::samples() const {
  const int channels = pixels_.layout == moxcPlanes ? pixels_.planeCount : moxcChannels(pixels_.layout);
  return static_cast<double>(pixels_.width) * pixels_.height * channels;
}

proof::Run FileWork::run(std::size_t work, int threads) const {
  const MoxcRun run = runWith(threads);
  if (work == 0)
    return [this, run] {
      const MoxcSource source = moxcMemorySource(bytes_.data(), bytes_.size());
      MoxcPicture* decoded = nullptr;
      const MoxcKind kind = moxcDecode(&source, nullptr, nullptr, &run, &decoded, nullptr);
      moxcPictureFree(decoded);
      return outcomeOf(kind);
    };
  const char* const format = work == 1 ? "jpg" : "jp2";
  const CallReport report = newCallReport();
  if (encode(pixels_, format, run, report.get()) != moxcOk) throw std::runtime_error(moxcReportText(report.get()));
  return [this, run, format] { return outcomeOf(encode(pixels_, format, run, nullptr)); };
}

}  // namespace moxj::cli
