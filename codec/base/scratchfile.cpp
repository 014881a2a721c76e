// An anonymous file where the file system has such, otherwise one whose name is removed at once.
#include "base/scratchfile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>

#include "base/problem.h"

namespace moxj {

namespace {

[[noreturn]] void failFile(int error) {
  fail(Kind::output, "the temporary file cannot be used: " + std::system_category().message(error));
}

int openIn(const std::string& directory) {
#ifdef O_TMPFILE
  const int anonymous = ::open(directory.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
  if (anonymous >= 0) return anonymous;
#endif
  std::string name = directory + "/moxj-XXXXXX";
  const int file = mkostemp(name.data(), O_CLOEXEC);
  if (file >= 0) unlink(name.c_str());
  return file;
}

}  // namespace

ScratchFile::~ScratchFile() {
  if (descriptor_ >= 0) close(descriptor_);
}

bool ScratchFile::open() {
  if (descriptor_ >= 0) return true;
  const char* const given = std::getenv("TMPDIR");
  descriptor_ = openIn(given && *given ? given : "/var/tmp");
  return descriptor_ >= 0;
}

std::uint64_t ScratchFile::append(ByteSpan bytes) {
  const std::uint64_t begin = size_;
  while (!bytes.empty()) {
    const ssize_t count = pwrite(descriptor_, bytes.data(), bytes.size(), static_cast<off_t>(size_));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) failFile(count < 0 ? errno : ENOSPC);
    bytes = bytes.subspan(static_cast<std::size_t>(count));
    size_ += static_cast<std::uint64_t>(count);
  }
  return begin;
}

void ScratchFile::read(std::uint64_t offset, std::uint8_t* to, std::size_t size) const {
  while (size > 0) {
    const ssize_t count = pread(descriptor_, to, size, static_cast<off_t>(offset));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) failFile(count < 0 ? errno : EIO);
    to += count;
    offset += static_cast<std::uint64_t>(count);
    size -= static_cast<std::size_t>(count);
  }
}

}  // namespace moxj
