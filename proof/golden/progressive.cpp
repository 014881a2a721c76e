#include "proof/progressive.h"
#include "moxj.h"
#include "proof/golden_huffman.h"
#include "proof/huffman.h"

namespace test {
namespace {

Scan seededScan(Random& random, Kind kind) {
  const int start = random.between(1, 20);
  return {kind, start, random.between(start, 63), random.below(4)};
}

void seededBlock(Random& random, Mox16s* block, int i) {
  const int densities[] = {0, 1, 5, 20, 64};
  randomBlock(random, block, densities[i % 5], i % 19 == 6 ? 15 : 7);
}

template <Kind kind>
void encode(Digest& digest, Random& random) {
  for (int i = 0; i < 30; i++) {
    const RawTable table = i % 3 == 0 ? typicalAC() : fullTable(random);
    ScanEncoder encoder(seededScan(random, kind), table, i % 5 == 4 ? 200 : 4000);
    Mox16s block[64];
    for (int n = 0; n < 40; n++) {
      seededBlock(random, block, n);
      digest.value(encoder.call(block, n == 39));
      digest.value(encoder.position);
      digest.value(encoder.lastDC);
      digestWholeState<MoxEncodeHuffmanState>(digest, encoder.state.bytes);
    }
    digest.values(encoder.bytes);
  }
}

template <Kind kind>
void count(Digest& digest, Random& random) {
  for (int i = 0; i < 30; i++) {
    ScanCounter counter(seededScan(random, kind));
    Mox16s block[64];
    for (int n = 0; n < 40; n++) {
      seededBlock(random, block, n);
      digest.value(counter.call(block, n == 39));
      digest.value(counter.lastDC);
      digestWholeState<MoxEncodeHuffmanState>(digest, counter.state.bytes);
    }
    digest.value(counter.counts);
  }
}

template <Kind kind>
void decode(Digest& digest, Random& random) {
  for (int i = 0; i < 30; i++) {
    std::vector<uint8_t> source(1000);
    for (size_t k = 0; k + 2 < source.size(); k++) {
      source[k] = random.any<uint8_t>();
      if (source[k] == 0xFF || random.oneIn(50)) source[k] = 0xFF, source[++k] = random.oneIn(10) ? 0xD0 : 0;
    }
    const RawTable table = i % 3 == 0 ? typicalAC() : fullTable(random);
    ScanDecoder decoder(seededScan(random, kind), table, source);
    Mox16s block[64];
    for (int n = 0; n < 100; n++) {
      seededBlock(random, block, n);
      digest.value(decoder.block(block));
      digest.value(block);
      for (const int32_t v : {decoder.position, decoder.marker, static_cast<int32_t>(decoder.lastDC)}) digest.value(v);
      digestWholeState<MoxDecodeHuffmanState>(digest, decoder.state.bytes);
      decoder.marker = 0;
      if (decoder.eobRun() > 9) decoder.state.setWord(3, 2);
    }
  }
}

void optimalTable(Digest& digest, Random& random) {
  for (int i = 0; i < 200; i++) {
    int32_t counts[256] = {};
    const int used = random.between(0, 300), bits = random.between(1, 30);
    for (int n = 0; n < used; n++) {
      const int symbol = random.below(256);
      const uint32_t mask = (1u << random.between(1, bits)) - 1;
      counts[symbol] = static_cast<int32_t>(random.bits() & mask);
    }
    RawTable table;
    digest.value(moxiEncodeHuffmanRawTableInit_JPEG_8u(counts, table.bits, table.values));
    digest.bytes(&table, sizeof table);
  }
}

const GoldenCase kCases[] = {
    {"moxiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1", encode<Kind::dcFirst>},
    {"moxiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1", encode<Kind::dcRefine>},
    {"moxiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1", encode<Kind::acFirst>},
    {"moxiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1", encode<Kind::acRefine>},
    {"moxiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1", count<Kind::dcFirst>},
    {"moxiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1", count<Kind::acFirst>},
    {"moxiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1", count<Kind::acRefine>},
    {"moxiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1", decode<Kind::dcFirst>},
    {"moxiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1", decode<Kind::dcRefine>},
    {"moxiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1", decode<Kind::acFirst>},
    {"moxiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1", decode<Kind::acRefine>},
    {"moxiEncodeHuffmanRawTableInit_JPEG_8u", optimalTable},
};

}  // namespace

GoldenCases progressiveGolden() { return kCases; }

}  // namespace test
