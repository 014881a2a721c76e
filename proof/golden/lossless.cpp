#include "moxj.h"
#include "proof/golden_huffman.h"
#include "proof/huffman.h"

namespace test {
namespace {

constexpr int kWidths[] = {1, 2, 9, 40, 203};

template <auto Function>
void firstRows(Digest& digest, Random& random) {
  for (const int width : kWidths)
    for (const int p : {2, 8, 12, 16}) {
      const auto src = seeded<Mox16s>(random, static_cast<size_t>(width));
      auto dst = seeded<Mox16s>(random, static_cast<size_t>(width));
      digest.value(Function(src.data(), dst.data(), width, p, random.below(p + 2)));
      digest.values(dst);
    }
}

template <auto Function>
void rows(Digest& digest, Random& random) {
  for (const int width : kWidths)
    for (int predictor = 1; predictor <= 7; predictor++) {
      const auto src = seeded<Mox16s>(random, static_cast<size_t>(width)),
                 above = seeded<Mox16s>(random, static_cast<size_t>(width));
      auto dst = seeded<Mox16s>(random, static_cast<size_t>(width));
      digest.value(Function(src.data(), above.data(), dst.data(), width, predictor));
      digest.values(dst);
    }
}

Mox16s seededDifference(Random& random) {
  return random.oneIn(20) ? random.extreme<Mox16s>() : static_cast<Mox16s>(random.any<Mox16s>() >> random.below(16));
}

void encode(Digest& digest, Random& random) {
  for (int i = 0; i < 20; i++) {
    EncodeTable table(i % 3 ? fullTable(random) : typicalDC());
    EncoderState state;
    std::vector<Mox8u> dst(i == 7 ? 30 : 1000);
    int32_t position = 0;
    for (int n = 0; n <= 100; n++) {
      const Mox16s difference = seededDifference(random);
      digest.value(moxiEncodeHuffmanOne_JPEG_16s1u_C1(&difference, dst.data(), static_cast<int32_t>(dst.size()),
                                                      &position, table.get(), state.get(), n == 100));
      digest.value(position);
      digest.words<uint32_t>(state.bytes, 16);
    }
    digest.values(dst);
  }
}

void decode(Digest& digest, Random& random) {
  for (int i = 0; i < 20; i++) {
    DecodeTable table(i % 3 ? fullTable(random) : typicalDC());
    DecoderState state;
    auto src = seeded<Mox8u>(random, 400);
    for (size_t n = 0; n + 1 < src.size(); n++)
      if (src[n] == 0xFF && n != 380) src[n + 1] = 0;
    int32_t position = 0, marker = 0;
    for (int n = 0; n < 300; n++) {
      Mox16s difference = 1;
      digest.value(moxiDecodeHuffmanOne_JPEG_1u16s_C1(src.data(), 400, &position, &difference, &marker, table.get(),
                                                      state.get()));
      digest.value(difference);
      digest.value(position);
      digest.value(marker);
      digestWholeState<MoxDecodeHuffmanState>(digest, state.bytes);
    }
  }
}

void statistics(Digest& digest, Random& random) {
  int32_t counts[256] = {};
  for (int n = 0; n < 500; n++) {
    const Mox16s difference = seededDifference(random);
    digest.value(moxiGetHuffmanStatisticsOne_JPEG_16s_C1(&difference, counts));
  }
  digest.value(counts);
}

const GoldenCase kCases[] = {
    {"moxiDiffPredFirstRow_JPEG_16s_C1", firstRows<moxiDiffPredFirstRow_JPEG_16s_C1>},
    {"moxiDiffPredRow_JPEG_16s_C1", rows<moxiDiffPredRow_JPEG_16s_C1>},
    {"moxiReconstructPredFirstRow_JPEG_16s_C1", firstRows<moxiReconstructPredFirstRow_JPEG_16s_C1>},
    {"moxiReconstructPredRow_JPEG_16s_C1", rows<moxiReconstructPredRow_JPEG_16s_C1>},
    {"moxiEncodeHuffmanOne_JPEG_16s1u_C1", encode},
    {"moxiDecodeHuffmanOne_JPEG_1u16s_C1", decode},
    {"moxiGetHuffmanStatisticsOne_JPEG_16s_C1", statistics},
};

}  // namespace

GoldenCases losslessGolden() { return kCases; }

}  // namespace test
