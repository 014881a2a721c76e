// A segment that begins at a whole byte is copied. Any other is shifted and stuffed again: eight bytes at a time, or as
// many as there are up to one of 0xFF.
#include "jpeg/segmentjoiner.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "jpeg/markers.h"

namespace moxj::jpeg {

namespace {

// The size of a piece, which goes to the writer at once.
constexpr std::size_t kPiece = std::size_t{16} << 10;

std::uint64_t load(const std::uint8_t* from) {
  std::uint64_t value;
  std::memcpy(&value, from, sizeof value);
  return std::endian::native == std::endian::little ? __builtin_bswap64(value) : value;
}

// The number of bytes before the first one of 0xFF, 8 if there is none.
int bytesBeforeStuffing(std::uint64_t value) {
  constexpr std::uint64_t kLower = 0x7F7F7F7F7F7F7F7F;
  // The highest bit of each byte that is 0xFF: no carry crosses a byte.
  const std::uint64_t full = ((value & kLower) + 0x0101010101010101) & value & ~kLower;
  return std::countl_zero(full) / 8;
}

// Shifts bytes to the right by 1 to 7 bits.
class Shifter {
 public:
  Shifter(std::uint64_t pending, int bits, std::uint8_t* to) : pending_(pending), bits_(bits), to_(to) {}

  // Of a byte of 0xFF, the stuffed zero comes with it. Up to 8 bytes after the last one are overwritten.
  void shift(const std::uint8_t* from, const std::uint8_t* end) {
    while (end - from >= 8) {
      const std::uint64_t value = load(from);
      const int before = bytesBeforeStuffing(value);
      if (before == 8) [[likely]] {
        store(join(value), 8);
        pending_ = value & mask();
        from += 8;
      } else {
        // The bytes up to that one and, in their place, zeros for the others.
        const int count = before + 1;
        store(join(value >> (64 - 8 * count) << (64 - 8 * count)), count);
        pending_ = 0xFF & mask();
        from += count + 1;
      }
    }
    while (from < end) {
      store(join(std::uint64_t{*from} << 56), 1);
      pending_ = *from & mask();
      from += *from == 0xFF ? 2 : 1;
    }
  }

  std::uint64_t pending() const { return pending_; }
  std::uint8_t* to() const { return to_; }

 private:
  std::uint64_t mask() const { return (1u << bits_) - 1; }
  std::uint64_t join(std::uint64_t value) const { return pending_ << (64 - bits_) | value >> bits_; }

  // The `count` highest bytes.
  void store(std::uint64_t value, int count) {
    for (;;) {
      const std::uint64_t bytes = std::endian::native == std::endian::little ? __builtin_bswap64(value) : value;
      std::memcpy(to_, &bytes, sizeof bytes);
      const int before = bytesBeforeStuffing(value);
      if (before >= count) [[likely]]
        break;
      to_ += before + 1;
      *to_++ = 0;
      count -= before + 1;
      if (count == 0) return;
      value <<= 8 * (before + 1);
    }
    to_ += count;
  }

  std::uint64_t pending_;
  const int bits_;
  std::uint8_t* to_;
};

}  // namespace

void SegmentJoiner::append(ByteSpan segment) {
  const std::uint8_t last = segment.back();
  ByteSpan whole = segment.first(segment.size() - 1);
  while (!whole.empty()) {
    std::size_t size = std::min(whole.size(), kPiece);
    // A byte of 0xFF and its zero stay together.
    if (size < whole.size() && whole[size - 1] == 0xFF) ++size;
    writer_.makeRoom(2 * size + 8);
    Bytes& file = writer_.pending();
    if (bits_ == 0) {
      file.append(whole.first(size));
    } else {
      const std::size_t before = file.size();
      file.resize(before + 2 * size + 8);
      Shifter shifter(pending_, bits_, file.data() + before);
      shifter.shift(whole.data(), whole.data() + size);
      pending_ = shifter.pending();
      file.resize(static_cast<std::size_t>(shifter.to() - file.data()));
    }
    whole = whole.subspan(size);
  }
  const int padding = std::countr_one(last) + 1;
  appendBits(last >> padding, 8 - padding);
}

void SegmentJoiner::appendBits(std::uint64_t bits, int count) {
  pending_ = pending_ << count | bits;
  bits_ += count;
  if (bits_ < 8) return;
  bits_ -= 8;
  writer_.makeRoom(2);
  const auto byte = static_cast<std::uint8_t>(pending_ >> bits_);
  writer_.pending().push_back(byte);
  if (byte == 0xFF) writer_.pending().push_back(0);
  pending_ &= (1u << bits_) - 1;
}

void SegmentJoiner::end() {
  if (bits_ > 0) appendBits((1u << (8 - bits_)) - 1, 8 - bits_);
}

void SegmentJoiner::restart() {
  end();
  writer_.marker(marker::rst0 + nextRestart_);
  nextRestart_ = (nextRestart_ + 1) % 8;
}

}  // namespace moxj::jpeg
