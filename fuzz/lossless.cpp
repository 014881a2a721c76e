// Lossless coding: decodes arbitrary bytes with an arbitrary table, and encodes and decodes the resulting differences;
// then predicts and reconstructs the same numbers as rows, with every predictor.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "moxj.h"

namespace {

constexpr std::size_t kTableBytes = 16 + 256;

void require(bool holds) {
  if (!holds) std::abort();
}

// A Huffman object in memory of the caller, at any alignment.
template <class Object, std::size_t Size>
struct Bytes {
  std::uint8_t bytes[Size + 1];
  Object* get() { return reinterpret_cast<Object*>(bytes + 1); }
};

using EncodeTable = Bytes<MoxEncodeHuffmanSpec, 1024>;
using DecodeTable = Bytes<MoxDecodeHuffmanSpec, 1644>;
using EncodeState = Bytes<MoxEncodeHuffmanState, 1048>;
using DecodeState = Bytes<MoxDecodeHuffmanState, 24>;

// Decodes differences. After a marker, decoding continues as after a restart marker.
std::vector<Mox16s> decoded(const Mox8u* src, std::size_t size, const MoxDecodeHuffmanSpec* table) {
  const std::vector<Mox8u> source(src, src + size);  // a copy, so that the sanitizer knows its ends
  std::vector<Mox16s> differences;
  DecodeState state;
  moxiDecodeHuffmanStateInit_JPEG_8u(state.get());
  std::int32_t position = 0, marker = 0;
  const Mox8u none = 0;
  while (differences.size() < 4096) {
    Mox16s difference = 0;
    const MoxStatus status =
        moxiDecodeHuffmanOne_JPEG_1u16s_C1(size ? source.data() : &none, static_cast<std::int32_t>(size), &position,
                                           &difference, &marker, table, state.get());
    require(position >= 0 && position <= static_cast<std::int32_t>(size));
    if (status >= 0) {
      differences.push_back(difference);
    } else if (marker) {
      marker = 0;
      moxiDecodeHuffmanStateInit_JPEG_8u(state.get());
    } else {
      require(status == moxStatusOutOfBuffer);
      break;
    }
  }
  return differences;
}

// A table of all 17 categories, with code lengths (5 to 16 bits) from `lengths`.
void makeTables(std::uint8_t length, MoxEncodeHuffmanSpec* encoder, MoxDecodeHuffmanSpec* decoder) {
  Mox8u bits[16] = {}, values[256];
  bits[4 + length % 12] = 17;
  for (int i = 0; i < 256; i++) values[i] = static_cast<Mox8u>((i * 5 + length) % 17);
  require(moxiEncodeHuffmanSpecInit_JPEG_8u(bits, values, encoder) == moxStatusOk);
  require(moxiDecodeHuffmanSpecInit_JPEG_8u(bits, values, decoder) == moxStatusOk);
}

void encodeAndBack(const std::vector<Mox16s>& differences, std::uint8_t length) {
  EncodeTable encoder;
  DecodeTable decoder;
  makeTables(length, encoder.get(), decoder.get());
  EncodeState state;
  moxiEncodeHuffmanStateInit_JPEG_8u(state.get());
  std::vector<Mox8u> segment(8 * differences.size() + 2);
  std::int32_t position = 0;
  for (const Mox16s difference : differences)
    moxiEncodeHuffmanOne_JPEG_16s1u_C1(&difference, segment.data(), static_cast<std::int32_t>(segment.size()),
                                       &position, encoder.get(), state.get(), 0);
  moxiEncodeHuffmanOne_JPEG_16s1u_C1(nullptr, segment.data(), static_cast<std::int32_t>(segment.size()), &position,
                                     nullptr, state.get(), 1);
  const std::vector<Mox16s> back = decoded(segment.data(), static_cast<std::size_t>(position), decoder.get());
  // With short codes, padding may decode as further differences.
  require(back.size() >= differences.size() && std::equal(differences.begin(), differences.end(), back.begin()));
}

void predictAndBack(const std::vector<Mox16s>& numbers) {
  const std::size_t half = numbers.size() / 2;
  if (half == 0) return;
  const std::int32_t width = static_cast<std::int32_t>(half);
  const std::vector<Mox16s> row(numbers.begin(), numbers.begin() + width), above(numbers.end() - width, numbers.end());
  std::vector<Mox16s> differences(half), rebuilt(half);
  for (int predictor = 1; predictor <= 7; predictor++) {
    moxiDiffPredRow_JPEG_16s_C1(row.data(), above.data(), differences.data(), width, predictor);
    moxiReconstructPredRow_JPEG_16s_C1(differences.data(), above.data(), rebuilt.data(), width, predictor);
    require(rebuilt == row);
  }
  moxiDiffPredFirstRow_JPEG_16s_C1(row.data(), differences.data(), width, 2 + width % 15, width % 20);
  moxiReconstructPredFirstRow_JPEG_16s_C1(differences.data(), rebuilt.data(), width, 2 + width % 15, width % 20);
  require(rebuilt == row);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < kTableBytes) return 0;
  DecodeTable table;
  if (moxiDecodeHuffmanSpecInit_JPEG_8u(data, data + 16, table.get()) != moxStatusOk) return 0;
  const std::vector<Mox16s> differences = decoded(data + kTableBytes, size - kTableBytes, table.get());
  encodeAndBack(differences, data[16]);
  predictAndBack(differences);
  return 0;
}
