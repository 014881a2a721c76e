// Progressive scans for tests: the four kinds of scan, an encoder with its segment, a decoder with its source.
#pragma once

#include <cstring>
#include <vector>

#include "moxj.h"
#include "proof/huffman.h"

namespace test {

enum class Kind { dcFirst, dcRefine, acFirst, acRefine };

struct Scan {
  Kind kind;
  int32_t start, end, low;
};

// Encodes the blocks of a scan into a segment.
struct ScanEncoder {
  ScanEncoder(Scan scan, const RawTable& table, size_t size = 1 << 16) : scan(scan), table(table), bytes(size, 0xA5) {}

  MoxStatus block(const Mox16s* src) { return call(src, 0); }
  MoxStatus flush() { return call(nullptr, 1); }
  MoxStatus call(const Mox16s* src, int flush) {
    const int32_t length = static_cast<int32_t>(bytes.size());
    switch (scan.kind) {
      case Kind::dcFirst:
        return moxiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(src, bytes.data(), length, &position, &lastDC, scan.low,
                                                          table.get(), state.get(), flush);
      case Kind::dcRefine:
        return moxiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(src, bytes.data(), length, &position, scan.low, state.get(),
                                                           flush);
      case Kind::acFirst:
        return moxiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(src, bytes.data(), length, &position, scan.start, scan.end,
                                                          scan.low, table.get(), state.get(), flush);
      default:
        return moxiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(src, bytes.data(), length, &position, scan.start, scan.end,
                                                           scan.low, table.get(), state.get(), flush);
    }
  }
  std::vector<uint8_t> segment() const { return {bytes.begin(), bytes.begin() + position}; }
  int32_t eobRun() const { return static_cast<int32_t>(state.word(3)); }
  int32_t corrections() const { return static_cast<int32_t>(state.word(4)); }

  Scan scan;
  EncodeTable table;
  std::vector<uint8_t> bytes;
  int32_t position = 0;
  Mox16s lastDC = 0;
  EncoderState state;
};

// Decodes the blocks of a scan from a source.
struct ScanDecoder {
  ScanDecoder(Scan scan, const RawTable& table, std::vector<uint8_t> source)
      : scan(scan), table(table), source(std::move(source)) {}

  MoxStatus block(Mox16s* dst) {
    const int32_t length = static_cast<int32_t>(source.size());
    switch (scan.kind) {
      case Kind::dcFirst:
        return moxiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(source.data(), length, &position, dst, &lastDC, &marker,
                                                          scan.low, table.get(), state.get());
      case Kind::dcRefine:
        return moxiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(source.data(), length, &position, dst, &marker, scan.low,
                                                           state.get());
      case Kind::acFirst:
        return moxiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1(source.data(), length, &position, dst, &marker, scan.start,
                                                          scan.end, scan.low, table.get(), state.get());
      default:
        return moxiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(source.data(), length, &position, dst, &marker, scan.start,
                                                           scan.end, scan.low, table.get(), state.get());
    }
  }
  int32_t eobRun() const { return static_cast<int32_t>(state.word(3)); }

  Scan scan;
  DecodeTable table;
  std::vector<uint8_t> source;
  int32_t position = 0, marker = 0;
  Mox16s lastDC = 0;
  DecoderState state;
};

// Counts the symbols of a scan that uses Huffman codes.
struct ScanCounter {
  explicit ScanCounter(Scan scan) : scan(scan) {}
  MoxStatus block(const Mox16s* src) { return call(src, 0); }
  MoxStatus flush() { return call(nullptr, 1); }
  MoxStatus call(const Mox16s* src, int flush) {
    switch (scan.kind) {
      case Kind::dcFirst:
        return flush ? moxStatusOk : moxiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(src, counts, &lastDC, scan.low);
      case Kind::acFirst:
        return moxiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(src, counts, scan.start, scan.end, scan.low, state.get(),
                                                               flush);
      default:
        return moxiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(src, counts, scan.start, scan.end, scan.low,
                                                                state.get(), flush);
    }
  }
  int32_t eobRun() const { return static_cast<int32_t>(state.word(3)); }

  Scan scan;
  int32_t counts[256] = {};
  Mox16s lastDC = 0;
  EncoderState state;
};

// Symbol v has the 8-bit code v (255 has nine bits), so that bytes are symbols.
inline RawTable byteTable() {
  RawTable table;
  table.bits[7] = 255;
  table.bits[8] = 1;
  for (int i = 0; i < 256; i++) table.values[i] = static_cast<Mox8u>(i);
  return table;
}

}  // namespace test
