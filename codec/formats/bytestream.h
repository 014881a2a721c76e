// An input read byte by byte, or in pieces.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "base/bytes.h"
#include "base/input.h"

namespace moxj {

class ByteStream {
 public:
  explicit ByteStream(Input& input) : input_(input), buffer_(kBufferBytes) {}

  bool atEnd() { return at_ == end_ && !fill(); }
  // The next byte. There must be one.
  std::uint8_t peek() const { return buffer_[at_]; }
  void skip() { ++at_; }
  // How many bytes have been read.
  std::size_t position() const { return filled_ - (end_ - at_); }

  // Returns how many bytes it has read: fewer than `size` at the end.
  std::size_t read(std::uint8_t* to, std::size_t size) {
    std::size_t done = std::min(size, end_ - at_);
    std::memcpy(to, buffer_.data() + at_, done);
    at_ += done;
    while (done < size) {
      const std::size_t count = input_.read(to + done, size - done);
      if (count == 0) break;
      done += count;
      filled_ += count;
    }
    return done;
  }

 private:
  static constexpr std::size_t kBufferBytes = std::size_t{64} << 10;
  static constexpr std::size_t kFirstBytes = 4096;  // enough for a header

  bool fill() {
    at_ = 0;
    end_ = input_.read(buffer_.data(), filled_ == 0 ? kFirstBytes : buffer_.size());
    filled_ += end_;
    return end_ != 0;
  }

  Input& input_;
  Bytes buffer_;  // not filled with zeros, which would touch all its pages for the smallest picture
  std::size_t at_ = 0, end_ = 0;
  std::size_t filled_ = 0;  // bytes read from the input
};

}  // namespace moxj
