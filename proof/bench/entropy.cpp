// Huffman coding of the blocks: sequential, progressive (a first AC scan, and a refinement), lossless.
#include <memory>

#include "proof/bench.h"
#include "proof/bench/blocks.h"
#include "proof/bench/data.h"
#include "proof/huffman.h"
#include "proof/progressive.h"

namespace moxj::proof {
namespace {

constexpr int32_t kRoom = 1 << 17;  // bytes for a segment
constexpr double kCoefficients = kBlockSamples, kBytes = 2 * kBlockSamples;

// The marker that ends a segment: without it a decoder that looks ahead would find the source too short.
void endSegment(std::vector<Mox8u>& segment, int32_t& length) {
  segment[static_cast<size_t>(length++)] = 0xFF;
  segment[static_cast<size_t>(length++)] = 0xD9;
}

// ---- Sequential ----

struct Sequential {
  Sequential() {
    encode();
    endSegment(segment, length);
  }

  MoxStatus encode() {
    test::EncoderState state;
    Mox16s lastDC = 0;
    length = 0;
    MoxStatus status = moxStatusOk;
    for (int i = 0; i < kBlocks && status >= 0; i++)
      status = moxiEncodeHuffman8x8_JPEG_16s1u_C1(blocks.levelsOf(i), segment.data(), kRoom, &length, &lastDC,
                                                  dcCodes.get(), acCodes.get(), state.get(), 0);
    return status < 0 ? status
                      : moxiEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, segment.data(), kRoom, &length, &lastDC,
                                                           dcCodes.get(), acCodes.get(), state.get(), 1);
  }

  MoxStatus decode() {
    test::DecoderState state;
    Mox16s lastDC = 0;
    int32_t position = 0, marker = 0;
    MoxStatus status = moxStatusOk;
    for (int i = 0; i < kBlocks && status >= 0; i++)
      status = moxiDecodeHuffman8x8_JPEG_1u16s_C1(segment.data(), length, &position, decoded.data() + 64 * i, &lastDC,
                                                  &marker, dcTable.get(), acTable.get(), state.get());
    return status;
  }

  MoxStatus count() {
    int32_t dc[256] = {}, ac[256] = {};
    Mox16s lastDC = 0;
    MoxStatus status = moxStatusOk;
    for (int i = 0; i < kBlocks && status >= 0; i++)
      status = moxiGetHuffmanStatistics8x8_JPEG_16s_C1(blocks.levelsOf(i), dc, ac, &lastDC);
    return status;
  }

  Blocks blocks;
  test::EncodeTable dcCodes{test::typicalDC()}, acCodes{test::typicalAC()};
  test::DecodeTable dcTable{test::typicalDC()}, acTable{test::typicalAC()};
  std::vector<Mox8u> segment = std::vector<Mox8u>(kRoom);
  int32_t length = 0;
  std::vector<Mox16s> decoded = std::vector<Mox16s>(kBlocks * 64);
};

template <auto Member>
Run sequential() {
  return [coder = std::make_shared<Sequential>()] { return (coder.get()->*Member)(); };
}

// ---- Progressive ----

constexpr test::Scan kFirst = {test::Kind::acFirst, 1, 63, 1}, kRefine = {test::Kind::acRefine, 1, 63, 0};

// The best table for the scan.
test::RawTable tableFor(test::Scan scan, Blocks& blocks) {
  test::ScanCounter counter(scan);
  for (int i = 0; i < kBlocks; i++) counter.block(blocks.levelsOf(i));
  counter.flush();
  test::RawTable table;
  moxiEncodeHuffmanRawTableInit_JPEG_8u(counter.counts, table.bits, table.values);
  return table;
}

struct Progressive {
  explicit Progressive(test::Scan scan)
      : encoder(scan, tableFor(scan, blocks), kRoom), decoder(scan, tableFor(scan, blocks), {}) {
    encode();
    endSegment(encoder.bytes, encoder.position);
    decoder.source = encoder.segment();
    // What the scan before has decoded.
    if (scan.kind == test::Kind::acRefine)
      for (size_t i = 0; i < known.size(); i++) known[i] = static_cast<Mox16s>(blocks.levels[i] / 2 * 2);
  }

  MoxStatus encode() {
    encoder.position = 0;
    encoder.state = {};
    MoxStatus status = moxStatusOk;
    for (int i = 0; i < kBlocks && status >= 0; i++) status = encoder.block(blocks.levelsOf(i));
    return status < 0 ? status : encoder.flush();
  }

  MoxStatus decode() {
    decoder.position = decoder.marker = 0;
    decoder.state = {};
    decoded = known;
    MoxStatus status = moxStatusOk;
    for (int i = 0; i < kBlocks && status >= 0; i++) status = decoder.block(decoded.data() + 64 * i);
    return status;
  }

  Blocks blocks;
  test::ScanEncoder encoder;
  test::ScanDecoder decoder;
  std::vector<Mox16s> known = std::vector<Mox16s>(kBlocks * 64), decoded = known;
};

template <const test::Scan& scan, auto Member>
Run progressive() {
  return [coder = std::make_shared<Progressive>(scan)] { return (coder.get()->*Member)(); };
}

// ---- Lossless ----

constexpr int kWidth = 512, kRows = 16, kPredictor = 7;
constexpr double kSamples = double{kWidth} * kRows;

struct Lossless {
  Lossless() {
    predict();
    encode();
    endSegment(segment, length);
  }

  MoxStatus predict() {
    MoxStatus status = moxStatusOk;
    for (int y = 1; y <= kRows && status >= 0; y++)
      status =
          moxiDiffPredRow_JPEG_16s_C1(row(samples, y), row(samples, y - 1), row(differences, y), kWidth, kPredictor);
    return status;
  }

  MoxStatus reconstruct() {
    MoxStatus status = moxStatusOk;
    for (int y = 1; y <= kRows && status >= 0; y++)
      status = moxiReconstructPredRow_JPEG_16s_C1(row(differences, y), row(samples, y - 1), row(rebuilt, y), kWidth,
                                                  kPredictor);
    return status;
  }

  MoxStatus encode() {
    test::EncoderState state;
    length = 0;
    MoxStatus status = moxStatusOk;
    for (int i = 0; i < kWidth * kRows && status >= 0; i++)
      status = moxiEncodeHuffmanOne_JPEG_16s1u_C1(&differences[kWidth + i], segment.data(), kRoom, &length, codes.get(),
                                                  state.get(), 0);
    return status < 0 ? status
                      : moxiEncodeHuffmanOne_JPEG_16s1u_C1(nullptr, segment.data(), kRoom, &length, codes.get(),
                                                           state.get(), 1);
  }

  MoxStatus decode() {
    test::DecoderState state;
    int32_t position = 0, marker = 0;
    MoxStatus status = moxStatusOk;
    for (int i = 0; i < kWidth * kRows && status >= 0; i++)
      status = moxiDecodeHuffmanOne_JPEG_1u16s_C1(segment.data(), length, &position, &rebuilt[kWidth + i], &marker,
                                                  table.get(), state.get());
    return status;
  }

  static Mox16s* row(std::vector<Mox16s>& rows, int y) { return rows.data() + y * kWidth; }

  std::vector<Mox16s> samples = centred<Mox16s>(picture(kWidth, kRows + 1, 1));
  std::vector<Mox16s> differences = std::vector<Mox16s>(samples.size()), rebuilt = samples;
  test::EncodeTable codes{test::typicalDC()};
  test::DecodeTable table{test::typicalDC()};
  std::vector<Mox8u> segment = std::vector<Mox8u>(kRoom);
  int32_t length = 0;
};

template <auto Member>
Run lossless() {
  return [coder = std::make_shared<Lossless>()] { return (coder.get()->*Member)(); };
}

const Workload kWorkloads[] = {
    {"huffman", "encode", "coefficient", kCoefficients, kBytes, sequential<&Sequential::encode>},
    {"huffman", "decode", "coefficient", kCoefficients, kBytes, sequential<&Sequential::decode>},
    {"huffman", "statistics", "coefficient", kCoefficients, kBytes, sequential<&Sequential::count>},
    {"progressive", "encode, first AC scan", "coefficient", kCoefficients, kBytes,
     progressive<kFirst, &Progressive::encode>},
    {"progressive", "decode, first AC scan", "coefficient", kCoefficients, kBytes,
     progressive<kFirst, &Progressive::decode>},
    {"progressive", "encode, refinement of AC", "coefficient", kCoefficients, kBytes,
     progressive<kRefine, &Progressive::encode>},
    {"progressive", "decode, refinement of AC", "coefficient", kCoefficients, kBytes,
     progressive<kRefine, &Progressive::decode>},
    {"lossless", "predict", "sample", kSamples, 4 * kSamples, lossless<&Lossless::predict>},
    {"lossless", "reconstruct", "sample", kSamples, 4 * kSamples, lossless<&Lossless::reconstruct>},
    {"lossless", "encode", "sample", kSamples, 2 * kSamples, lossless<&Lossless::encode>},
    {"lossless", "decode", "sample", kSamples, 2 * kSamples, lossless<&Lossless::decode>},
};

}  // namespace

Workloads entropyWorkloads() { return kWorkloads; }

}  // namespace moxj::proof
