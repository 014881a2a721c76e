// Temporary files next to their targets, symbolic links, permissions and direct writes.
#include "cli/output.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/random.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "base/problem.h"

namespace moxj {

namespace {

constexpr int kMaxLinks = 40;

[[noreturn]] void fail(const std::string& what, int error = errno) {
  fail(Kind::output, what + ": " + std::system_category().message(error));
}

void skip(iovec& part, std::size_t count) {
  part.iov_base = static_cast<char*>(part.iov_base) + count;
  part.iov_len -= count;
}

// The final target of a symbolic link, which need not exist.
std::string followLinks(std::string path) {
  char target[PATH_MAX];
  for (int links = 0; links < kMaxLinks; ++links) {
    const ssize_t length = readlink(path.c_str(), target, sizeof target);
    if (length < 0) return path;
    std::string next(target, static_cast<std::size_t>(length));
    path = next.starts_with('/') ? next : path.substr(0, path.rfind('/') + 1) + next;
  }
  fail("cannot be written", ELOOP);
}

// In the directory of the target, because a rename is atomic only within a file system. The name is random, so nobody
// can have created a file of that name in advance.
std::string temporaryPath(const std::string& target) {
  std::uint64_t random[2];
  if (getrandom(random, sizeof random, 0) != sizeof random) fail("cannot be written");
  std::string name = ".moxj-";
  for (std::uint64_t word : random)
    for (int digit = 0; digit < 16; ++digit, word >>= 4) name += "0123456789abcdef"[word & 15];
  return target.substr(0, target.rfind('/') + 1) + name;
}

void copyPermissions(int descriptor, const struct stat& from) {
  struct stat now;
  if (fstat(descriptor, &now) != 0) fail("cannot be written");
  // Only a privileged user may change the owner of a file; for others the new file stays theirs.
  if ((now.st_uid != from.st_uid || now.st_gid != from.st_gid) && fchown(descriptor, from.st_uid, from.st_gid) != 0) {
  }
  if (fchmod(descriptor, from.st_mode & 07777) != 0) fail("cannot be given the permissions of the old file");
}

}  // namespace

OutputFile::OutputFile(const std::string& path) {
  struct stat existing;
  if (path == "-") {
    direct_ = STDOUT_FILENO;
  } else if (stat(path.c_str(), &existing) != 0) {
    replace(path, nullptr);
  } else if (S_ISDIR(existing.st_mode)) {
    fail(Kind::output, "cannot be written: it is a directory");
  } else if (S_ISREG(existing.st_mode)) {
    replace(path, &existing);
  } else {
    direct_ = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (direct_ < 0) fail("cannot be opened");
  }
}

OutputFile::~OutputFile() {
  if (direct_ > STDERR_FILENO) ::close(direct_);
}

void OutputFile::replace(const std::string& path, const struct stat* existing) {
  target_ = followLinks(path);
  if (existing != nullptr && access(target_.c_str(), W_OK) != 0) fail("cannot be written");
  temporary_.emplace(temporaryPath(target_), existing != nullptr ? 0600 : 0666);
  if (temporary_->descriptor() < 0) fail("cannot be created");
  if (existing != nullptr) copyPermissions(temporary_->descriptor(), *existing);
}

void OutputFile::write(std::span<const std::uint8_t> first, std::span<const std::uint8_t> second) {
  iovec parts[2] = {{const_cast<std::uint8_t*>(first.data()), first.size()},
                    {const_cast<std::uint8_t*>(second.data()), second.size()}};
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
}

void OutputFile::close() {
  const bool closed =
      temporary_ ? temporary_->close() : direct_ <= STDERR_FILENO || ::close(std::exchange(direct_, -1)) == 0;
  if (!closed) fail("cannot be written");
}

void OutputFile::finish() {
  close();
  if (temporary_ && !temporary_->renameTo(target_)) fail("cannot be written");
}

bool canBeDiscarded(const std::string& path) {
  struct stat existing;
  return path != "-" && (stat(path.c_str(), &existing) != 0 || S_ISREG(existing.st_mode));
}

void writeFile(const std::string& path, const Content& content) {
  OutputFile file(path);
  file.write({content.head.data(), content.head.size()}, content.body);
  file.finish();
}

void writeText(std::string_view text) {
  try {
    OutputFile("-").write({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
  } catch (const Problem& problem) {
    throw Problem(problem.kind, std::string("standard output: ") + problem.what());
  }
}

}  // namespace moxj
