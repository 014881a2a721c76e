// Huffman tables for tests: the typical ones of T.81 Annex K.3 and random ones; blocks of random density.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "moxj.h"
#include "proof/random.h"

namespace test {

// Natural index of each zig-zag position (T.81 figure A.6), written out: the library computes its own.
inline constexpr int kNatural[64] = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,
                                     12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,
                                     35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,
                                     58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

// BITS and HUFFVAL as in a DHT segment. The values after the coded ones are noise that must not matter.
struct RawTable {
  Mox8u bits[16] = {};
  Mox8u values[256] = {};
  int count() const {
    int sum = 0;
    for (const Mox8u b : bits) sum += b;
    return sum;
  }
};

inline RawTable typicalDC() {  // Table K.3
  return {{0, 1, 5, 1, 1, 1, 1, 1, 1}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}};
}

inline RawTable typicalAC() {  // Table K.5
  return {{0, 2, 1, 3, 3, 2, 4, 3, 5, 5, 4, 4, 0, 0, 1, 0x7D},
          {0x01, 0x02, 0x03, 0x00, 0x04, 0x11, 0x05, 0x12, 0x21, 0x31, 0x41, 0x06, 0x13, 0x51, 0x61, 0x07, 0x22, 0x71,
           0x14, 0x32, 0x81, 0x91, 0xA1, 0x08, 0x23, 0x42, 0xB1, 0xC1, 0x15, 0x52, 0xD1, 0xF0, 0x24, 0x33, 0x62, 0x72,
           0x82, 0x09, 0x0A, 0x16, 0x17, 0x18, 0x19, 0x1A, 0x25, 0x26, 0x27, 0x28, 0x29, 0x2A, 0x34, 0x35, 0x36, 0x37,
           0x38, 0x39, 0x3A, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, 0x49, 0x4A, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58, 0x59,
           0x5A, 0x63, 0x64, 0x65, 0x66, 0x67, 0x68, 0x69, 0x6A, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x79, 0x7A, 0x83,
           0x84, 0x85, 0x86, 0x87, 0x88, 0x89, 0x8A, 0x92, 0x93, 0x94, 0x95, 0x96, 0x97, 0x98, 0x99, 0x9A, 0xA2, 0xA3,
           0xA4, 0xA5, 0xA6, 0xA7, 0xA8, 0xA9, 0xAA, 0xB2, 0xB3, 0xB4, 0xB5, 0xB6, 0xB7, 0xB8, 0xB9, 0xBA, 0xC2, 0xC3,
           0xC4, 0xC5, 0xC6, 0xC7, 0xC8, 0xC9, 0xCA, 0xD2, 0xD3, 0xD4, 0xD5, 0xD6, 0xD7, 0xD8, 0xD9, 0xDA, 0xE1, 0xE2,
           0xE3, 0xE4, 0xE5, 0xE6, 0xE7, 0xE8, 0xE9, 0xEA, 0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8, 0xF9, 0xFA}};
}

// A random prefix code for `count` symbols. The last code point of every length stays free, as an encoder needs it. The
// lengths of `steep` codes increase quickly.
inline RawTable randomTable(Random& random, int count, bool steep) {
  RawTable table;
  int left = count;
  uint32_t room = 1;  // free code points of the length
  for (int length = 1; length <= 16 && left > 0; length++) {
    room *= 2;
    // Enough code points must stay free for the rest: each free one becomes 2^(16 - length) codes of 16 bits.
    int most = static_cast<int>(room) - 1;
    while (most > 0 && (static_cast<int64_t>(room) - most) << (16 - length) <= left - most) most--;
    if (length == 16) most = left;
    most = std::min(most, left);
    int used = length == 16 ? left : steep ? std::min(most, random.below(3)) : random.between(0, most);
    if (length == 15 && left == 256) used = std::max(used, 1);  // a count is a byte
    used = std::min(used, 255);
    table.bits[length - 1] = static_cast<Mox8u>(used);
    left -= used;
    room -= static_cast<uint32_t>(used);
  }
  for (int i = 0; i < 256; i++) table.values[i] = static_cast<Mox8u>(i);
  for (int i = 255; i > 0; i--) std::swap(table.values[i], table.values[random.below(i + 1)]);
  return table;
}

// 256 codes, so that every symbol has one.
inline RawTable fullTable(Random& random) { return randomTable(random, 256, random.oneIn(2)); }

struct EncodeTable {
  explicit EncodeTable(const RawTable& raw) { status = moxiEncodeHuffmanSpecInit_JPEG_8u(raw.bits, raw.values, get()); }
  MoxEncodeHuffmanSpec* get() { return reinterpret_cast<MoxEncodeHuffmanSpec*>(bytes); }
  uint8_t bytes[1024];
  MoxStatus status;
};

struct DecodeTable {
  explicit DecodeTable(const RawTable& raw) { status = moxiDecodeHuffmanSpecInit_JPEG_8u(raw.bits, raw.values, get()); }
  MoxDecodeHuffmanSpec* get() { return reinterpret_cast<MoxDecodeHuffmanSpec*>(bytes); }
  uint8_t bytes[1644];
  MoxStatus status;
};

// The states as the caller sees them: bytes, with words at fixed offsets.
struct EncoderState {
  EncoderState() { moxiEncodeHuffmanStateInit_JPEG_8u(get()); }
  MoxEncodeHuffmanState* get() { return reinterpret_cast<MoxEncodeHuffmanState*>(bytes); }
  uint32_t word(int i) const {
    uint32_t w;
    std::memcpy(&w, bytes + 4 * i, 4);
    return w;
  }
  void setWord(int i, uint32_t w) { std::memcpy(bytes + 4 * i, &w, 4); }
  uint8_t bytes[1048] = {};
};

struct DecoderState {
  DecoderState() { moxiDecodeHuffmanStateInit_JPEG_8u(get()); }
  MoxDecodeHuffmanState* get() { return reinterpret_cast<MoxDecodeHuffmanState*>(bytes); }
  uint32_t word(int i) const {
    uint32_t w;
    std::memcpy(&w, bytes + 4 * i, 4);
    return w;
  }
  void setWord(int i, uint32_t w) { std::memcpy(bytes + 4 * i, &w, 4); }
  uint8_t bytes[24] = {};
};

// A block with about `density` of 64 coefficients set, mostly small, up to `bits` bits.
inline void randomBlock(Random& random, Mox16s block[64], int density, int bits) {
  for (int i = 0; i < 64; i++) {
    const int size = random.between(0, bits);
    const int magnitude = static_cast<int>(random.bits() & ((1u << size) - 1));
    const bool set = random.below(64) < density;
    block[i] = static_cast<Mox16s>(!set ? 0 : random.oneIn(2) ? magnitude : -magnitude);
  }
}

}  // namespace test
