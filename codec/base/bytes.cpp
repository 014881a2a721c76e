// Allocation of large blocks: huge pages, and pages requested in advance.
#include "bytes.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace moxj {

namespace {

constexpr std::size_t kPage = 4096;
constexpr std::size_t kHugePage = std::size_t{2} << 20;
// The size from which a huge page is cheaper than the small pages it replaces: measured, for memory that is filled.
constexpr std::size_t kHugeIfWhole = std::size_t{512} << 10;
constexpr std::size_t kHugeIfPartly = 2 * kHugePage;
// The size from which it pays to request all pages at once: smaller blocks come from pages that the heap already uses.
constexpr std::size_t kMappedByHeap = std::size_t{128} << 10;

void* allocateHugePages(std::size_t count) {
  void* bytes = nullptr;
  const std::size_t whole = (count + kHugePage - 1) / kHugePage * kHugePage;
  if (posix_memalign(&bytes, kHugePage, whole) != 0) return nullptr;
  madvise(bytes, whole, MADV_HUGEPAGE);
  return bytes;
}

// For the pages that lie entirely within the memory.
void advise(void* bytes, std::size_t count, std::size_t page, int advice) {
  const std::size_t before = (0 - reinterpret_cast<std::uintptr_t>(bytes)) % page;
  if (count > before) madvise(static_cast<std::uint8_t*>(bytes) + before, (count - before) / page * page, advice);
}

}  // namespace

// The first access to each page costs a fault: for the 192 pages of a picture of 512 x 512 pixels, a tenth of the
// decoding time. All requests to the kernel here are hints, so their failure is not an error.
void* allocateBytes(std::size_t count, Filling filling) {
  if (count > PTRDIFF_MAX - kHugePage) throw std::bad_alloc();
  const bool whole = filling == Filling::whole;
  const bool huge = count >= (whole ? kHugeIfWhole : kHugeIfPartly);
  void* const bytes = huge ? allocateHugePages(count) : std::malloc(std::max(count, std::size_t{1}));
  if (bytes == nullptr) throw std::bad_alloc();
  // A kernel without this request maps the pages one by one later.
  if (whole && !huge && count >= kMappedByHeap) advise(bytes, count, kPage, MADV_POPULATE_WRITE);
  return bytes;
}

void freeBytes(void* bytes) noexcept { std::free(bytes); }

void preferHugePages(void* bytes, std::size_t count) {
  if (count >= kHugeIfPartly) advise(bytes, count, kHugePage, MADV_HUGEPAGE);
}

void Bytes::reserve(std::size_t count) {
  if (count <= capacity_) return;
  std::unique_ptr<std::uint8_t[], Free> larger(static_cast<std::uint8_t*>(allocateBytes(count, Filling::partly)));
  if (size_ > 0) std::memcpy(larger.get(), bytes_.get(), size_);
  bytes_ = std::move(larger);
  capacity_ = count;
}

void Bytes::grow(std::size_t minCapacity) {
  reserve(std::max({minCapacity, capacity_ + capacity_ / 2, std::size_t{4096}}));
}

std::shared_ptr<void> Bytes::release() {
  size_ = capacity_ = 0;
  return std::shared_ptr<void>(bytes_.release(), [](void* bytes) { freeBytes(bytes); });
}

}  // namespace moxj
