// Maps regular files and reads everything else to its end.
#include "cli/input.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <new>
#include <system_error>

#include "base/problem.h"
#include "pictures/format.h"

namespace moxj {

namespace {

constexpr std::size_t kFirstRead = std::size_t{1} << 18;
constexpr std::size_t kSniffed = 12;

class Descriptor {
 public:
  explicit Descriptor(const std::string& path)
      : descriptor_(path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
  ~Descriptor() {
    if (descriptor_ > STDERR_FILENO) close(descriptor_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return descriptor_; }

 private:
  int descriptor_;
};

[[noreturn]] void fail() { moxj::fail(Kind::input, "cannot be read: " + std::system_category().message(errno)); }

struct Unmap {
  std::size_t size;
  void operator()(void* address) const { munmap(address, size); }
};

bool map(int descriptor, std::size_t size, Source& source) {
  void* const address = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE, descriptor, 0);
  if (address == MAP_FAILED) return false;
  source.owner = std::shared_ptr<void>(address, Unmap{size});
  source.bytes = {static_cast<std::uint8_t*>(address), size};
  return true;
}

void readToEnd(int descriptor, std::uint64_t maxBytes, Source& source) {
  Bytes bytes;
  std::size_t size = 0;
  for (;;) {
    if (size == bytes.size()) bytes.resize(std::max(kFirstRead, size + size / 2));
    const ssize_t count = read(descriptor, bytes.data() + size, bytes.size() - size);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) fail();
    if (count == 0) break;
    // Anything that is not a picture may be endless (a device, for example): stop at once.
    if (size < kSniffed && size + static_cast<std::size_t>(count) >= kSniffed && !sniff({bytes.data(), kSniffed}))
      fail(Kind::notThisFormat, unrecognised({bytes.data(), kSniffed}));
    size += static_cast<std::size_t>(count);
    if (size > maxBytes)
      fail(Kind::limit, "longer than " + std::to_string(maxBytes) + " bytes, which is too long for --max-pixels");
  }
  std::uint8_t* const data = bytes.data();
  source.owner = bytes.release();
  source.bytes = {data, size};
}

}  // namespace

Source readFile(const std::string& path, std::uint64_t maxBytes) {
  const Descriptor file(path);
  if (file.get() < 0) fail();
  struct stat status;
  if (fstat(file.get(), &status) != 0) fail();
  Source source;
  const bool atStart = path != "-" || lseek(file.get(), 0, SEEK_CUR) == 0;
  const bool mapped = S_ISREG(status.st_mode) && status.st_size > 0 && atStart &&
                      static_cast<std::uint64_t>(status.st_size) <= SIZE_MAX &&
                      map(file.get(), static_cast<std::size_t>(status.st_size), source);
  if (!mapped) readToEnd(file.get(), maxBytes, source);
  if (source.bytes.empty()) fail(Kind::notThisFormat, "the file is empty");
  return source;
}

}  // namespace moxj
