// Memory for files and samples: never zero-filled without need, and in huge pages if large.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <utility>

namespace moxj {

using ByteSpan = std::span<const std::uint8_t>;

enum class Filling { partly, whole };  // how much of the memory will be written

void* allocateBytes(std::size_t count, Filling filling);  // throws std::bad_alloc
void freeBytes(void* bytes) noexcept;
// Asks for huge pages in memory that is to be written for the first time, if it is large.
void preferHugePages(void* bytes, std::size_t count);

// The bytes of a file under construction: a vector whose new elements are uninitialised and which grows by memcpy.
// (std::vector does neither well, even with a custom allocator.) Throws std::bad_alloc.
class Bytes {
 public:
  Bytes() = default;
  explicit Bytes(std::size_t count) { resize(count); }
  Bytes(Bytes&& from) noexcept
      : bytes_(std::move(from.bytes_)),
        size_(std::exchange(from.size_, 0)),
        capacity_(std::exchange(from.capacity_, 0)) {}
  Bytes& operator=(Bytes&& from) noexcept {
    bytes_ = std::move(from.bytes_);
    size_ = std::exchange(from.size_, 0);
    capacity_ = std::exchange(from.capacity_, 0);
    return *this;
  }

  std::size_t size() const { return size_; }
  std::size_t capacity() const { return capacity_; }
  bool empty() const { return size_ == 0; }
  std::uint8_t* data() { return bytes_.get(); }
  const std::uint8_t* data() const { return bytes_.get(); }
  std::uint8_t* begin() { return data(); }
  std::uint8_t* end() { return data() + size_; }
  const std::uint8_t* begin() const { return data(); }
  const std::uint8_t* end() const { return data() + size_; }
  std::uint8_t& operator[](std::size_t at) { return data()[at]; }
  std::uint8_t operator[](std::size_t at) const { return data()[at]; }

  void reserve(std::size_t count);
  void clear() { size_ = 0; }
  void resize(std::size_t count) {
    if (count > capacity_) grow(count);
    size_ = count;
  }
  void push_back(std::uint8_t byte) {
    if (size_ == capacity_) grow(size_ + 1);
    data()[size_++] = byte;
  }
  void append(const void* from, std::size_t count) {
    const std::size_t before = size_;
    resize(before + count);
    if (count > 0) std::memcpy(data() + before, from, count);
  }
  void append(ByteSpan from) { append(from.data(), from.size()); }

  // Gives up the memory and leaves the object empty.
  std::shared_ptr<void> release();
  // The same, for a caller that frees it by freeBytes().
  std::uint8_t* detach() noexcept {
    size_ = capacity_ = 0;
    return bytes_.release();
  }

 private:
  struct Free {
    void operator()(std::uint8_t* bytes) const noexcept { freeBytes(bytes); }
  };
  void grow(std::size_t minCapacity);  // and by at least half

  std::unique_ptr<std::uint8_t[], Free> bytes_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace moxj
