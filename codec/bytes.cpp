#include "bytes.h"

#include <sys/mman.h>

#include <cstdlib>
#include <new>

namespace moxj {

namespace {

constexpr std::size_t kHugePage = std::size_t{2} << 20;

}  // namespace

// Below some huge pages the C library's heap is the better choice. Above, one fault for 2 MiB replaces 512, which
// otherwise cost as much as the coding of a picture's easy parts; where huge pages are off nothing changes.
void* takeBytes(std::size_t count) {
  if (count > SIZE_MAX - kHugePage) throw std::bad_alloc();
  void* bytes = nullptr;
  if (count < 2 * kHugePage) {
    bytes = std::malloc(count == 0 ? 1 : count);
  } else if (posix_memalign(&bytes, kHugePage, count) == 0) {
    madvise(bytes, count / kHugePage * kHugePage, MADV_HUGEPAGE);
  } else {
    bytes = nullptr;
  }
  if (bytes == nullptr) throw std::bad_alloc();
  return bytes;
}

void giveBytes(void* bytes) noexcept {
  std::free(bytes);
}

}  // namespace moxj
