#include "bytes.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdlib>
#include <new>

namespace moxj {

namespace {

constexpr std::size_t kHugePage = std::size_t{2} << 20;

}  // namespace

// Below some huge pages the C library's heap is the better choice. Above, one fault for 2 MiB replaces 512, which
// otherwise cost as much as the coding of a picture's easy parts; where huge pages are off nothing changes.
void* takeBytes(std::size_t count) {
  if (count > PTRDIFF_MAX - kHugePage) throw std::bad_alloc();
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

void Bytes::reserve(std::size_t count) {
  if (count <= capacity_) return;
  std::unique_ptr<std::uint8_t[], Give> larger(static_cast<std::uint8_t*>(takeBytes(count)));
  if (size_ > 0) std::memcpy(larger.get(), bytes_.get(), size_);
  bytes_ = std::move(larger);
  capacity_ = count;
}

void Bytes::grow(std::size_t atLeast) {
  reserve(std::max({atLeast, capacity_ + capacity_ / 2, std::size_t{4096}}));
}

std::shared_ptr<void> Bytes::release() {
  size_ = capacity_ = 0;
  return std::shared_ptr<void>(bytes_.release(), [](void* bytes) { giveBytes(bytes); });
}

}  // namespace moxj
