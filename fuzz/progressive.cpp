// Progressive scans: decodes arbitrary bytes with arbitrary tables, then encodes the resulting blocks, which the
// decoders must restore.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "moxj.h"

namespace {

struct Input {
  const std::uint8_t* data;
  std::size_t left;
  int byte() { return left ? left--, *data++ : 0; }
  int below(int bound) { return byte() % bound; }
};

struct Scan {
  bool dc, refine;
  int start, end, low;
};

constexpr int kBlocks = 40;
using Image = std::vector<Mox16s>;

Scan anyScan(Input& in) {
  const int kind = in.byte(), start = 1 + in.below(63);
  return {(kind & 1) != 0, (kind & 2) != 0, start, start + in.below(64 - start), kind >> 4 & 7};
}

// BITS and HUFFVAL from the input.
void anyTable(Input& in, Mox8u bits[16], Mox8u values[256]) {
  int left = 256;
  for (int i = 0; i < 16; i++) left -= bits[i] = static_cast<Mox8u>(std::min({in.byte(), left, 255}));
  for (int i = 0; i < 256; i++) values[i] = static_cast<Mox8u>(in.byte());
}

template <std::size_t Size>
struct Object {
  alignas(8) std::uint8_t bytes[Size] = {};
  template <class T>
  T* as() {
    return reinterpret_cast<T*>(bytes);
  }
};
using EncodeTable = Object<1024>;
using DecodeTable = Object<1644>;
using EncodeState = Object<1048>;
using DecodeState = Object<24>;

struct Decoder {
  const Scan& scan;
  DecodeTable& table;
  const std::uint8_t* src;
  std::int32_t length, position = 0, marker = 0;
  Mox16s lastDC = 0;
  DecodeState state{};

  MoxStatus block(Mox16s* dst) {
    auto* const spec = table.as<const MoxDecodeHuffmanSpec>();
    auto* const s = state.as<MoxDecodeHuffmanState>();
    if (scan.dc)
      return scan.refine
                 ? moxiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(src, length, &position, dst, &marker, scan.low, s)
                 : moxiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(src, length, &position, dst, &lastDC, &marker, scan.low,
                                                              spec, s);
    const auto decode =
        scan.refine ? moxiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1 : moxiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1;
    return decode(src, length, &position, dst, &marker, scan.start, scan.end, scan.low, spec, s);
  }
};

// Encodes a scan of an image with its optimal table. Empty if a value cannot be counted.
std::vector<Mox8u> encode(const Scan& scan, const Image& image, DecodeTable& table) {
  std::int32_t counts[256] = {}, position = 0;
  EncodeState counting, state;
  EncodeTable codes;
  Mox16s lastDC = 0;
  auto* const c = counting.as<MoxEncodeHuffmanState>();
  auto* const s = state.as<MoxEncodeHuffmanState>();
  for (int n = 0; n <= kBlocks; n++) {
    const bool flush = n == kBlocks;
    const Mox16s* const src = flush ? nullptr : &image[static_cast<std::size_t>(n) * 64];
    MoxStatus status = moxStatusOk;
    if (!scan.dc)
      status = (scan.refine ? moxiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1
                            : moxiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1)(src, counts, scan.start, scan.end,
                                                                               scan.low, c, flush);
    else if (!scan.refine && !flush)
      status = moxiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(src, counts, &lastDC, scan.low);
    if (status == moxStatusCoefficientRange) return {};
    if (status) std::abort();
  }
  Mox8u bits[16], values[256];
  if (moxiEncodeHuffmanRawTableInit_JPEG_8u(counts, bits, values)) std::abort();
  if (moxiEncodeHuffmanSpecInit_JPEG_8u(bits, values, codes.as<MoxEncodeHuffmanSpec>())) std::abort();
  if (moxiDecodeHuffmanSpecInit_JPEG_8u(bits, values, table.as<MoxDecodeHuffmanSpec>())) std::abort();

  std::vector<Mox8u> segment(kBlocks * 512);
  const std::int32_t length = static_cast<std::int32_t>(segment.size());
  auto* const spec = codes.as<const MoxEncodeHuffmanSpec>();
  lastDC = 0;
  for (int n = 0; n <= kBlocks; n++) {
    const bool flush = n == kBlocks;
    const Mox16s* const src = flush ? nullptr : &image[static_cast<std::size_t>(n) * 64];
    MoxStatus status;
    if (scan.dc)
      status = scan.refine ? moxiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(src, segment.data(), length, &position,
                                                                         scan.low, s, flush)
                           : moxiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(src, segment.data(), length, &position, &lastDC,
                                                                        scan.low, spec, s, flush);
    else
      status = (scan.refine ? moxiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1 : moxiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1)(
          src, segment.data(), length, &position, scan.start, scan.end, scan.low, spec, s, flush);
    if (status) std::abort();  // every symbol has a code, and there is room
  }
  segment.resize(static_cast<std::size_t>(position));
  segment.insert(segment.end(), {0xFF, 0xD9});
  return segment;
}

// The value of a coefficient after the earlier scans and this one.
Mox16s known(const Scan& scan, int k, int value, int low) {
  if (scan.dc) return k == 0 ? static_cast<Mox16s>(value >> low << low) : Mox16s{0};
  const int magnitude = std::abs(value) >> low << low;
  return static_cast<Mox16s>(value < 0 ? -magnitude : magnitude);
}

void roundTrip(const Scan& scan, const Image& image) {
  DecodeTable table;
  const std::vector<Mox8u> segment = encode(scan, image, table);
  if (segment.empty()) return;
  static const std::uint8_t natural[64] = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,
                                           12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,
                                           35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,
                                           58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};
  Decoder decoder{scan, table, segment.data(), static_cast<std::int32_t>(segment.size())};
  const int start = scan.dc ? 0 : scan.start, end = scan.dc ? 0 : scan.end;
  for (std::size_t n = 0; n < kBlocks; n++) {
    Mox16s before[64] = {}, after[64] = {};
    for (int k = start; k <= end; k++) {
      const Mox16s value = image[n * 64 + natural[k]];
      if (scan.refine) before[natural[k]] = known(scan, k, value, scan.low + 1);
      after[natural[k]] = known(scan, k, value, scan.low);
    }
    if (decoder.block(before) < 0) std::abort();
    if (std::memcmp(before, after, sizeof before) != 0) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input in{data, size};
  const Scan scan = anyScan(in), other = anyScan(in);
  Mox8u bits[16], values[256];
  anyTable(in, bits, values);
  DecodeTable table;
  Image image(kBlocks * 64);
  if (in.left == 0 || moxiDecodeHuffmanSpecInit_JPEG_8u(bits, values, table.as<MoxDecodeHuffmanSpec>())) return 0;
  // A copy, so that the sanitizer sees reads past its end.
  const std::vector<std::uint8_t> source(in.data, in.data + in.left);
  Decoder decoder{scan, table, source.data(), static_cast<std::int32_t>(source.size())};
  for (std::size_t n = 0; n < 4 * kBlocks; n++) {
    const MoxStatus status = decoder.block(&image[n % kBlocks * 64]);
    if (decoder.position > decoder.length) std::abort();
    if (status == moxStatusOutOfBuffer) break;
    if (status != moxStatusOk && status != moxStatusMarkerMet && status != moxStatusError) std::abort();
    decoder.marker = 0;
  }
  roundTrip(other, image);
  return 0;
}
