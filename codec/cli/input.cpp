// Reads standard input; files are left to the library, which maps them.
#include "cli/input.h"

#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "cli/console.h"
#include "cli/exit_status.h"

namespace moxj::cli {

namespace {

[[noreturn]] void fail(const std::string& path, int error) {
  const std::string cause = "cannot be read: " + std::system_category().message(error);
  throw Failure(ExitStatus::refused, cause, displayName(path, true));
}

}  // namespace

Input::Input(const std::string& path) : path_(path) {
  if (path.empty()) fail(path, ENOENT);
  source_ = path == "-" ? moxcStreamSource(readStandardInput, this) : moxcFileSource(path_.c_str());
}

void Input::check() const {
  if (error_ != 0) fail(path_, error_);
}

std::ptrdiff_t Input::readStandardInput(void* context, void* to, std::size_t size) {
  for (;;) {
    const ssize_t count = read(STDIN_FILENO, to, size);
    if (count >= 0) return count;
    if (errno == EINTR) continue;
    static_cast<Input*>(context)->error_ = errno;
    return -1;
  }
}

}  // namespace moxj::cli
