// Numbered outputs.
#include "cli/components.h"

#include <deque>
#include <exception>
#include <string>

#include "cli/input.h"
#include "cli/library.h"
#include "cli/output.h"

namespace moxj::cli {

namespace {

// "out.pgx" becomes "out_0.pgx", "out_1.pgx" ...
std::string numbered(const std::string& path, int number) {
  const std::size_t slash = path.rfind('/'), dot = path.rfind('.');
  const bool hasExtension = dot != std::string::npos && (slash == std::string::npos || dot > slash);
  const std::string stem = path.substr(0, hasExtension ? dot : path.size());
  return stem + "_" + std::to_string(number) + path.substr(stem.size());
}

class ComponentFiles {
 public:
  ComponentFiles(const std::string& path, Existing existing) : path_(path), existing_(existing) {}

  // A MoxcOpenTarget.
  static int open(void* context, std::int32_t index, std::int32_t, MoxcTarget* target) {
    return static_cast<ComponentFiles*>(context)->open(index, *target);
  }
  void check() const {
    if (failure_) std::rethrow_exception(failure_);
  }

 private:
  // No exception may enter the library.
  int open(int index, MoxcTarget& target) {
    try {
      target = files_.emplace_back(numbered(path_, index), existing_).target();
      return 0;
    } catch (...) {
      failure_ = std::current_exception();
      return 1;
    }
  }

  std::string path_;
  Existing existing_;
  std::deque<OutputTarget> files_;
  std::exception_ptr failure_;
};

}  // namespace

ExitStatus convertComponents(const Job& job, const Settings& settings, Console& console) {
  const std::string name = displayName(job.input, true);
  const Input input(job.input);
  ComponentFiles files(job.output, settings.existing);
  const Call call(settings, console, name);
  const CallReport report = newCallReport();
  const MoxcKind kind = moxcConvertPlanes(input.source(), &settings.reading, job.format, ComponentFiles::open, &files,
                                          call.run(), report.get());
  files.check();
  input.check();
  return reportCall(console, name, kind, report.get(), settings);
}

}  // namespace moxj::cli
