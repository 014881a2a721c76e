// Temporary files next to their targets, symbolic links, permissions and direct writes.
#include "api/outputfile.h"

#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <sys/random.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <string_view>
#include <system_error>
#include <utility>

#include "base/problem.h"

namespace moxj::api {

namespace {

constexpr int kMaxLinks = 40;
constexpr std::size_t kGathered = std::size_t{1} << 14;  // bytes that are written at once

[[noreturn]] void failOutput(const std::string& path, const std::string& text, std::string_view option = {}) {
  Problem problem(Kind::output, text, option.empty() ? Setting::none : Setting::option);
  problem.path = path;
  problem.option = option;
  throw problem;
}

[[noreturn]] void failExisting(const std::string& path) { failOutput(path, "already exists", "keepExisting"); }

void skip(iovec& part, std::size_t count) {
  part.iov_base = static_cast<char*>(part.iov_base) + count;
  part.iov_len -= count;
}

iovec partOf(ByteSpan bytes) { return {const_cast<std::uint8_t*>(bytes.data()), bytes.size()}; }

// The final target of a symbolic link, which need not exist; empty if links form a ring.
std::string followLinks(std::string path) {
  char target[PATH_MAX];
  for (int links = 0; links < kMaxLinks; ++links) {
    const ssize_t length = readlink(path.c_str(), target, sizeof target);
    if (length < 0) return path;
    std::string next(target, static_cast<std::size_t>(length));
    path = next.starts_with('/') ? next : path.substr(0, path.rfind('/') + 1) + next;
  }
  errno = ELOOP;
  return "";
}

// In the directory of the target, because a rename is atomic only within a file system. The name is random, so nobody
// can have created a file of that name in advance. Empty if there are no random numbers.
std::string temporaryPath(const std::string& target) {
  std::uint64_t random[2];
  if (getrandom(random, sizeof random, 0) != sizeof random) return "";
  std::string name = ".moxc-";
  for (std::uint64_t word : random)
    for (int digit = 0; digit < 16; ++digit, word >>= 4) name += "0123456789abcdef"[word & 15];
  return target.substr(0, target.rfind('/') + 1) + name;
}

// File systems that cannot rename without replacing leave a moment between the check and the change.
bool renameFile(const std::string& from, const std::string& to, bool replace) {
  if (!replace) {
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
    if (errno != EINVAL && errno != ENOSYS) return false;
    if (access(to.c_str(), F_OK) == 0) return errno = EEXIST, false;
  }
  return std::rename(from.c_str(), to.c_str()) == 0;
}

}  // namespace

OutputFile::OutputFile(const MoxcTarget& target)
    : path_(target.path),
      keepsExisting_(target.keepExisting != 0),
      temporaryChanged_(target.temporaryChanged),
      context_(target.temporaryContext) {}

OutputFile::~OutputFile() {
  if (descriptor_ >= 0) ::close(descriptor_);
  if (temporary_.empty()) return;
  unlink(temporary_.c_str());
  report(moxcTemporaryGone);
}

void OutputFile::failToWrite(const char* what) const {
  failOutput(path_, std::string(what) + ": " + std::system_category().message(errno));
}

void OutputFile::report(MoxcTemporaryState state) const {
  if (temporaryChanged_) temporaryChanged_(context_, state, temporary_.c_str());
}

void OutputFile::open() {
  if (opened_) return;
  opened_ = true;
  struct stat existing;
  if (stat(path_.c_str(), &existing) != 0) {
    openBeside(nullptr);
  } else if (keepsExisting_) {
    failExisting(path_);
  } else if (S_ISDIR(existing.st_mode)) {
    failOutput(path_, "cannot be written: it is a directory");
  } else if (S_ISREG(existing.st_mode)) {
    openBeside(&existing);
  } else {
    descriptor_ = ::open(path_.c_str(), O_WRONLY | O_CLOEXEC);
    if (descriptor_ < 0) failToWrite("cannot be opened");
  }
}

void OutputFile::openBeside(const struct stat* existing) {
  target_ = followLinks(path_);
  if (target_.empty()) failToWrite();
  if (existing != nullptr && access(target_.c_str(), W_OK) != 0) failToWrite();
  temporary_ = temporaryPath(target_);
  if (temporary_.empty()) failToWrite();
  report(moxcTemporaryCreating);
  descriptor_ = ::open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, existing != nullptr ? 0600 : 0666);
  const int error = errno;
  report(moxcTemporaryCreated);
  if (descriptor_ < 0) {
    report(moxcTemporaryGone);
    temporary_.clear();
    errno = error;
    failToWrite("cannot be created");
  }
  if (existing != nullptr) copyPermissions(*existing);
}

void OutputFile::copyPermissions(const struct stat& from) {
  struct stat now;
  if (fstat(descriptor_, &now) != 0) failToWrite();
  // Only a privileged user may change the owner of a file; for others the new file stays theirs.
  if ((now.st_uid != from.st_uid || now.st_gid != from.st_gid) && fchown(descriptor_, from.st_uid, from.st_gid) != 0) {
  }
  if (fchmod(descriptor_, from.st_mode & 07777) != 0) failToWrite("cannot be given the permissions of the old file");
}

// Large pieces are not copied: they are written together with what was gathered before.
void OutputFile::write(ByteSpan first, ByteSpan second) {
  if (gathered_.size() + first.size() + second.size() >= kGathered) return flush(first, second);
  if (gathered_.capacity() == 0) gathered_.reserve(kGathered);
  gathered_.insert(gathered_.end(), first.begin(), first.end());
  gathered_.insert(gathered_.end(), second.begin(), second.end());
}

void OutputFile::flush(ByteSpan first, ByteSpan second) {
  open();
  iovec parts[] = {partOf(gathered_), partOf(first), partOf(second)};
  std::size_t left = gathered_.size() + first.size() + second.size();
  while (left > 0) {
    const ssize_t written = writev(descriptor_, parts, static_cast<int>(std::size(parts)));
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) failToWrite();
    left -= static_cast<std::size_t>(written);
    std::size_t count = static_cast<std::size_t>(written);
    for (iovec& part : parts) {
      const std::size_t done = std::min(count, part.iov_len);
      skip(part, done);
      count -= done;
    }
  }
  gathered_.clear();
}

void OutputFile::close() {
  if (!opened_ || !gathered_.empty()) flush();
  if (descriptor_ >= 0 && ::close(std::exchange(descriptor_, -1)) != 0) failToWrite();
}

void OutputFile::finish() {
  close();
  if (temporary_.empty()) return;
  if (!renameFile(temporary_, target_, !keepsExisting_)) {
    if (keepsExisting_ && errno == EEXIST) failExisting(path_);
    failToWrite();
  }
  report(moxcTemporaryGone);
  temporary_.clear();
}

void checkExisting(const MoxcTarget& target) {
  struct stat existing;
  if (target.path && target.keepExisting && stat(target.path, &existing) == 0) failExisting(target.path);
}

}  // namespace moxj::api
