// A mutator for files of marker segments and boxes: it changes, repeats, drops or swaps whole ones, and writes their
// lengths anew, so that the reader gets past them to what has changed. One time in four it leaves the bytes to
// libFuzzer alone, which also damages lengths.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "trailer.h"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

namespace fuzz {

using Bytes = std::vector<std::uint8_t>;

// A marker segment (marker and payload), a box (type, payload or parts), or bytes without a length.
struct Part {
  enum class Kind { plain, segment, box } kind = Kind::plain;
  Bytes name = {};
  Bytes payload = {};
  std::vector<Part> parts = {};  // of a box, instead of a payload
};

class File {
 public:
  File(const std::uint8_t* data, std::size_t size) {
    const Span all{data, data + size};
    parts_ = isBox(all) ? boxes(all, 0) : segments(all);
  }

  Bytes bytes() const {
    Bytes all;
    append(parts_, all);
    return all;
  }

  void mutate(unsigned seed, std::size_t maxSize) {
    std::minstd_rand random(seed);
    std::vector<Part>* list = &parts_;
    while (!list->empty()) {
      const std::size_t i = random() % list->size();
      Part& part = (*list)[i];
      if (!part.parts.empty() && random() % 4 != 0) {
        list = &part.parts;
        continue;
      }
      switch (random() % 6) {
        case 0:
          list->insert(list->begin() + static_cast<std::ptrdiff_t>(random() % list->size()), Part(part));
          break;
        case 1:
          list->erase(list->begin() + static_cast<std::ptrdiff_t>(i));
          break;
        case 2:
          std::swap(part, (*list)[random() % list->size()]);
          break;
        default:
          mutatePayload(part, maxSize);
      }
      return;
    }
  }

 private:
  struct Span {
    const std::uint8_t *at, *end;
    std::size_t size() const { return static_cast<std::size_t>(end - at); }
  };

  static std::uint32_t number(const std::uint8_t* at, int bytes) {
    std::uint32_t value = 0;
    while (bytes-- > 0) value = value << 8 | *at++;
    return value;
  }
  static void appendNumber(Bytes& to, std::size_t value, int bytes) {
    while (bytes-- > 0) to.push_back(static_cast<std::uint8_t>(value >> 8 * bytes));
  }

  static bool isBox(Span from) {
    const auto letter = [](std::uint8_t c) { return c >= ' ' && c <= '~'; };
    return from.size() >= 8 && number(from.at, 4) >= 8 && number(from.at, 4) <= from.size() &&
           std::all_of(from.at + 4, from.at + 8, letter);
  }

  static std::vector<Part> boxes(Span from, int depth) {
    std::vector<Part> list;
    for (; isBox(from); from.at += number(from.at, 4)) {
      const Span inner{from.at + 8, from.at + number(from.at, 4)};
      Part box{Part::Kind::box, Bytes(from.at + 4, from.at + 8)};
      if (depth < 4 && isBox(inner))
        box.parts = boxes(inner, depth + 1);
      else if (inner.size() > 4 && inner.at[0] == 0xFF && inner.at[1] == 0x4F)
        box.parts = segments(inner);
      else
        box.payload.assign(inner.at, inner.end);
      list.push_back(std::move(box));
    }
    if (from.size() > 0) list.push_back(plain(from.at, from.end));
    return list;
  }

  static Part plain(const std::uint8_t* begin, const std::uint8_t* end) {
    return {Part::Kind::plain, {}, {begin, end}};
  }

  // Markers without a segment: SOI, EOI, RST, SOC, SOD, EPH and those from 0xFF30 to 0xFF3F.
  static bool standsAlone(std::uint8_t code) {
    return (code >= 0xD0 && code <= 0xD9) || code == 0x4F || code == 0x93 || code == 0x92 || code <= 0x3F;
  }

  // Coded data, which has no markers but its own, goes to the part without a length that follows a header.
  static std::vector<Part> segments(Span from) {
    std::vector<Part> list;
    while (from.size() > 0) {
      const bool marker = from.size() >= 2 && from.at[0] == 0xFF && from.at[1] >= 0x30 && from.at[1] != 0xFF;
      const std::size_t length = from.size() >= 4 ? number(from.at + 2, 2) : 0;
      if (marker && !standsAlone(from.at[1]) && length >= 2 && length + 2 <= from.size()) {
        list.push_back({Part::Kind::segment, Bytes(from.at, from.at + 2), Bytes(from.at + 4, from.at + 2 + length)});
        from.at += length + 2;
        continue;
      }
      const std::uint8_t* end = from.at + std::min<std::size_t>(from.size(), 2);
      while (end < from.end && !(end[0] == 0xFF && end + 1 < from.end && end[1] >= 0x30 && end[1] != 0xFF)) ++end;
      list.push_back(plain(from.at, end));
      from.at = end;
    }
    return list;
  }

  static void append(const std::vector<Part>& parts, Bytes& to) {
    for (const Part& part : parts) {
      Bytes inner = part.payload;
      append(part.parts, inner);
      if (part.kind == Part::Kind::box) appendNumber(to, inner.size() + 8, 4);
      to.insert(to.end(), part.name.begin(), part.name.end());
      if (part.kind == Part::Kind::segment) appendNumber(to, inner.size() + 2, 2);
      to.insert(to.end(), inner.begin(), inner.end());
    }
  }

  static void mutatePayload(Part& part, std::size_t maxSize) {
    const std::size_t size = part.payload.size(), room = std::min(size + 32, maxSize);
    if (room < size || room == 0) return;
    part.payload.resize(room);
    part.payload.resize(LLVMFuzzerMutate(part.payload.data(), size, room));
  }

  std::vector<Part> parts_;
};

// The trailer stays, or is all that changes.
inline std::size_t mutate(std::uint8_t* data, std::size_t size, std::size_t maxSize, unsigned seed) {
  if (seed % 4 == 0 || size < kTrailer) return LLVMFuzzerMutate(data, size, maxSize);
  const std::uint8_t* const trailer = data + size - kTrailer;
  if (seed / 4 % 8 == 0) {
    LLVMFuzzerMutate(data + size - kTrailer, kTrailer, kTrailer);
    return size;
  }
  File file(data, size - kTrailer);
  file.mutate(seed / 32, maxSize);
  Bytes bytes = file.bytes();
  bytes.insert(bytes.end(), trailer, trailer + kTrailer);
  if (bytes.empty() || bytes.size() > maxSize) return LLVMFuzzerMutate(data, size, maxSize);
  std::memcpy(data, bytes.data(), bytes.size());
  return bytes.size();
}

}  // namespace fuzz
