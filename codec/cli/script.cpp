// Reads a scan script, and lets the library check it.
#include "cli/script.h"

#include <cerrno>
#include <cstdio>
#include <memory>
#include <new>
#include <system_error>

#include "cli/console.h"
#include "cli/library.h"

namespace moxj::cli {

namespace {

constexpr std::size_t kMaxScriptBytes = 1 << 20;

struct Close {
  void operator()(std::FILE* file) const {
    if (file != stdin) std::fclose(file);
  }
};

std::string readText(const std::string& path) {
  const std::string name = displayName(path, true);
  const auto check = [&](bool failed) {
    if (!failed) return;
    if (errno == ENOMEM) throw std::bad_alloc();
    throw Failure(ExitStatus::refused, "cannot be read: " + std::system_category().message(errno), name);
  };
  const std::unique_ptr<std::FILE, Close> file(path == "-" ? stdin : std::fopen(path.c_str(), "rbe"));
  check(!file);
  std::string text;
  char piece[4096];
  while (const std::size_t count = std::fread(piece, 1, sizeof piece, file.get())) {
    text.append(piece, count);
    if (text.size() > kMaxScriptBytes)
      throw Failure(ExitStatus::limit, "longer than " + std::to_string(kMaxScriptBytes) + " bytes", name);
  }
  check(std::ferror(file.get()));
  if (text.empty()) throw Failure(ExitStatus::refused, "the file is empty", name);
  // The library takes the script as a C string.
  if (text.find('\0') != text.npos) throw Failure(ExitStatus::refused, "a scan script has no bytes of value 0", name);
  return text;
}

}  // namespace

// The library checks options before it reads its source, which is empty here.
std::string readScript(const Settings& settings) {
  std::string text = readText(settings.scansFile);
  MoxcTranscodeOptions options;
  moxcTranscodeOptionsInit(&options);
  options.scans = text.c_str();
  const MoxcSource nothing = moxcMemorySource("", 0);
  void* bytes = nullptr;
  std::size_t count = 0;
  const MoxcTarget target = moxcMemoryTarget(&bytes, &count);
  const CallReport report = newCallReport();
  const MoxcKind kind = moxcTranscode(&nothing, &options, &target, nullptr, report.get());
  moxcFree(bytes);
  if (kind == moxcBadOption)
    throw Failure(statusOf(kind), messageOf(errorOf(kind, report.get()), displayName(settings.scansFile, true)));
  return text;
}

}  // namespace moxj::cli
