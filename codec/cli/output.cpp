// Temporary files next to their targets, symbolic links, permissions and direct writes.
#include "cli/output.h"

#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <sys/random.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "cli/console.h"
#include "cli/exit_status.h"

namespace moxj::cli {

namespace {

constexpr int kMaxLinks = 40;
constexpr std::size_t kGathered = std::size_t{1} << 14;  // bytes that are written at once

constexpr const char* kExists = "already exists (--no-clobber)";

void skip(iovec& part, std::size_t count) {
  part.iov_base = static_cast<char*>(part.iov_base) + count;
  part.iov_len -= count;
}

iovec partOf(std::string_view bytes) { return {const_cast<char*>(bytes.data()), bytes.size()}; }

// The final target of a symbolic link, which need not exist; empty if links form a ring.
std::string followLinks(std::string path) {
  char target[PATH_MAX];
  for (int links = 0; links < kMaxLinks; ++links) {
    const ssize_t length = readlink(path.c_str(), target, sizeof target);
    if (length < 0) return path;
    std::string next(target, static_cast<std::size_t>(length));
    path = next.starts_with('/') ? next : path.substr(0, path.rfind('/') + 1) + next;
  }
  return "";
}

// In the directory of the target, because a rename is atomic only within a file system. The name is random, so nobody
// can have created a file of that name in advance. Empty if there are no random numbers.
std::string temporaryPath(const std::string& target) {
  std::uint64_t random[2];
  if (getrandom(random, sizeof random, 0) != sizeof random) return "";
  std::string name = ".moxj-";
  for (std::uint64_t word : random)
    for (int digit = 0; digit < 16; ++digit, word >>= 4) name += "0123456789abcdef"[word & 15];
  return target.substr(0, target.rfind('/') + 1) + name;
}

// On failure false, with the cause in errno.
bool copyOwner(int descriptor, const struct stat& from) {
  struct stat now;
  if (fstat(descriptor, &now) != 0) return false;
  // Only a privileged user may change the owner of a file; for others the new file stays theirs.
  if ((now.st_uid != from.st_uid || now.st_gid != from.st_gid) && fchown(descriptor, from.st_uid, from.st_gid) != 0) {
  }
  return true;
}

}  // namespace

OutputFile::OutputFile(const std::string& path, Existing existing)
    : name_(displayName(path, false)), existing_(existing) {
  struct stat status;
  if (path == "-") {
    direct_ = STDOUT_FILENO;
  } else if (stat(path.c_str(), &status) != 0) {
    replace(path, nullptr);
  } else if (existing == Existing::kept) {
    throw Failure(ExitStatus::output, kExists, name_);
  } else if (S_ISDIR(status.st_mode)) {
    throw Failure(ExitStatus::output, "cannot be written: it is a directory", name_);
  } else if (S_ISREG(status.st_mode)) {
    replace(path, &status);
  } else {
    direct_ = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (direct_ < 0) fail("cannot be opened");
  }
}

OutputFile::~OutputFile() {
  if (direct_ > STDERR_FILENO) ::close(direct_);
}

void OutputFile::fail(const std::string& what, int error) const {
  throw Failure(ExitStatus::output, what + ": " + std::system_category().message(error), name_);
}

void OutputFile::fail(const std::string& what) const { fail(what, errno); }

void OutputFile::replace(const std::string& path, const struct stat* existing) {
  target_ = followLinks(path);
  if (target_.empty()) fail("cannot be written", ELOOP);
  if (existing != nullptr && access(target_.c_str(), W_OK) != 0) fail("cannot be written");
  const std::string temporary = temporaryPath(target_);
  if (temporary.empty()) fail("cannot be written");
  temporary_.emplace(temporary, existing != nullptr ? 0600 : 0666);
  const int descriptor = temporary_->descriptor();
  if (descriptor < 0) fail("cannot be created");
  if (existing == nullptr) return;
  if (!copyOwner(descriptor, *existing)) fail("cannot be written");
  if (fchmod(descriptor, existing->st_mode & 07777) != 0) fail("cannot be given the permissions of the old file");
}

// Large pieces are not copied: they are written together with what was gathered before.
void OutputFile::write(std::string_view bytes) {
  if (gathered_.size() + bytes.size() >= kGathered) return flush(bytes);
  if (gathered_.capacity() == 0) gathered_.reserve(kGathered);
  gathered_.insert(gathered_.end(), bytes.begin(), bytes.end());
}

void OutputFile::flush(std::string_view last) {
  iovec parts[2] = {partOf({gathered_.data(), gathered_.size()}), partOf(last)};
  while (parts[0].iov_len + parts[1].iov_len > 0) {
    const ssize_t written = writev(temporary_ ? temporary_->descriptor() : direct_, parts, 2);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0 && errno == EPIPE && direct_ == STDOUT_FILENO) endByClosedPipe();
    if (written < 0) fail("cannot be written");
    const std::size_t count = static_cast<std::size_t>(written);
    const std::size_t ofFirst = std::min(count, parts[0].iov_len);
    skip(parts[0], ofFirst);
    skip(parts[1], count - ofFirst);
  }
  gathered_.clear();
}

void OutputFile::close() {
  flush();
  const bool closed =
      temporary_ ? temporary_->close() : direct_ <= STDERR_FILENO || ::close(std::exchange(direct_, -1)) == 0;
  if (!closed) fail("cannot be written");
}

void OutputFile::finish() {
  close();
  if (!temporary_ || temporary_->renameTo(target_, existing_ == Existing::replaced)) return;
  if (existing_ == Existing::kept && errno == EEXIST) throw Failure(ExitStatus::output, kExists, name_);
  fail("cannot be written");
}

// No exception may enter the library.
int OutputStream::write(void* stream, const void* bytes, std::size_t size) {
  OutputStream& to = *static_cast<OutputStream*>(stream);
  try {
    to.file().write({static_cast<const char*>(bytes), size});
    return 0;
  } catch (...) {
    to.failure_ = std::current_exception();
    return 1;
  }
}

void refuseExisting(const std::string& path) {
  struct stat status;
  if (stat(path.c_str(), &status) == 0) throw Failure(ExitStatus::output, kExists, displayName(path, false));
}

void writeText(std::string_view text) {
  OutputFile file("-");
  file.write(text);
  file.finish();
}

}  // namespace moxj::cli
