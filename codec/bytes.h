// Memory for files and samples: never filled with zeros that nobody reads, and in huge pages where it is large.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <utility>

namespace moxj {

enum class Filling { partly, whole };  // how much of the memory is going to be used

void* takeBytes(std::size_t count, Filling filling);  // throws std::bad_alloc
void giveBytes(void* bytes) noexcept;

// The bytes of a file under construction: a vector whose new elements stay uninitialised and which grows by copying
// memory (std::vector with an allocator of its own does neither well). Throws std::bad_alloc.
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
  void append(std::span<const std::uint8_t> from) { append(from.data(), from.size()); }

  // Hands the memory over; the object is empty then.
  std::shared_ptr<void> release();

 private:
  struct Give {
    void operator()(std::uint8_t* bytes) const noexcept { giveBytes(bytes); }
  };
  void grow(std::size_t atLeast);  // by half at least

  std::unique_ptr<std::uint8_t[], Give> bytes_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace moxj
