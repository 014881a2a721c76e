// Targets of the library, and writing to standard output.
#include "cli/output.h"

#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "cli/console.h"
#include "cli/exit_status.h"

namespace moxj::cli {

namespace {

constexpr std::size_t kGathered = std::size_t{1} << 14;  // bytes that are written at once

void skip(iovec& part, std::size_t count) {
  part.iov_base = static_cast<char*>(part.iov_base) + count;
  part.iov_len -= count;
}

iovec partOf(std::string_view bytes) { return {const_cast<char*>(bytes.data()), bytes.size()}; }

}  // namespace

// Large pieces are not copied: they are written together with what was gathered before.
void StandardOutput::write(std::string_view bytes) {
  if (gathered_.size() + bytes.size() >= kGathered) return flush(bytes);
  if (gathered_.capacity() == 0) gathered_.reserve(kGathered);
  gathered_.insert(gathered_.end(), bytes.begin(), bytes.end());
}

void StandardOutput::flush(std::string_view last) {
  iovec parts[2] = {partOf({gathered_.data(), gathered_.size()}), partOf(last)};
  while (parts[0].iov_len + parts[1].iov_len > 0) {
    const ssize_t written = writev(STDOUT_FILENO, parts, 2);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0 && errno == EPIPE) endByClosedPipe();
    if (written < 0)
      throw Failure(ExitStatus::output, "cannot be written: " + std::system_category().message(errno),
                    displayName("-", false));
    const std::size_t count = static_cast<std::size_t>(written);
    const std::size_t ofFirst = std::min(count, parts[0].iov_len);
    skip(parts[0], ofFirst);
    skip(parts[1], count - ofFirst);
  }
  gathered_.clear();
}

MoxcTarget OutputTarget::target() {
  if (path_ == "-") return moxcStreamTarget(write, this);
  MoxcTarget target = moxcFileTarget(path_.c_str());
  target.keepExisting = existing_ == Existing::kept;
  temporary_.watch(target);
  return target;
}

// No exception may enter the library.
int OutputTarget::write(void* target, const void* bytes, std::size_t size) {
  OutputTarget& to = *static_cast<OutputTarget*>(target);
  try {
    to.standard_.write({static_cast<const char*>(bytes), size});
    return 0;
  } catch (...) {
    to.failure_ = std::current_exception();
    return 1;
  }
}

void writeText(std::string_view text) {
  StandardOutput output;
  output.flush(text);
}

}  // namespace moxj::cli
