// Temporary files next to their targets, symbolic links, permissions and direct writes.
#include "api/outputfile.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/random.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <system_error>
#include <utility>

#include "base/problem.h"

namespace moxj::api {

namespace {

constexpr int kMaxLinks = 40;

[[noreturn]] void failToWrite(const char* what = "cannot be written", int error = errno) {
  fail(Kind::output, std::string(what) + ": " + std::system_category().message(error));
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
  failToWrite("cannot be written", ELOOP);
}

// In the directory of the target, because a rename is atomic only within a file system. The name is random, so nobody
// can have created a file of that name in advance.
std::string temporaryPath(const std::string& target) {
  std::uint64_t random[2];
  if (getrandom(random, sizeof random, 0) != sizeof random) failToWrite();
  std::string name = ".moxc-";
  for (std::uint64_t word : random)
    for (int digit = 0; digit < 16; ++digit, word >>= 4) name += "0123456789abcdef"[word & 15];
  return target.substr(0, target.rfind('/') + 1) + name;
}

void copyPermissions(int descriptor, const struct stat& from) {
  struct stat now;
  if (fstat(descriptor, &now) != 0) failToWrite();
  // Only a privileged user may change the owner of a file; for others the new file stays theirs.
  if ((now.st_uid != from.st_uid || now.st_gid != from.st_gid) && fchown(descriptor, from.st_uid, from.st_gid) != 0) {
  }
  if (fchmod(descriptor, from.st_mode & 07777) != 0) failToWrite("cannot be given the permissions of the old file");
}

}  // namespace

OutputFile::OutputFile(const std::string& path) {
  struct stat existing;
  if (stat(path.c_str(), &existing) != 0) {
    openBeside(path, nullptr);
  } else if (S_ISDIR(existing.st_mode)) {
    fail(Kind::output, "cannot be written: it is a directory");
  } else if (S_ISREG(existing.st_mode)) {
    openBeside(path, &existing);
  } else {
    descriptor_ = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (descriptor_ < 0) failToWrite("cannot be opened");
  }
}

OutputFile::~OutputFile() {
  if (descriptor_ >= 0) ::close(descriptor_);
  if (!temporary_.empty()) unlink(temporary_.c_str());
}

void OutputFile::openBeside(const std::string& path, const struct stat* existing) {
  target_ = followLinks(path);
  if (existing != nullptr && access(target_.c_str(), W_OK) != 0) failToWrite();
  std::string name = temporaryPath(target_);
  descriptor_ = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, existing != nullptr ? 0600 : 0666);
  if (descriptor_ < 0) failToWrite("cannot be created");
  temporary_ = std::move(name);
  if (existing == nullptr) return;
  try {
    copyPermissions(descriptor_, *existing);
  } catch (...) {  // there is no object whose destructor would do this
    ::close(descriptor_);
    unlink(temporary_.c_str());
    throw;
  }
}

void OutputFile::write(ByteSpan first, ByteSpan second) {
  iovec parts[2] = {{const_cast<std::uint8_t*>(first.data()), first.size()},
                    {const_cast<std::uint8_t*>(second.data()), second.size()}};
  while (parts[0].iov_len + parts[1].iov_len > 0) {
    const ssize_t written = writev(descriptor_, parts, 2);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) failToWrite();
    const std::size_t count = static_cast<std::size_t>(written);
    const std::size_t ofFirst = std::min(count, parts[0].iov_len);
    skip(parts[0], ofFirst);
    skip(parts[1], count - ofFirst);
  }
}

void OutputFile::close() {
  if (descriptor_ >= 0 && ::close(std::exchange(descriptor_, -1)) != 0) failToWrite();
}

void OutputFile::finish() {
  close();
  if (temporary_.empty()) return;
  if (std::rename(temporary_.c_str(), target_.c_str()) != 0) failToWrite();
  temporary_.clear();
}

}  // namespace moxj::api
