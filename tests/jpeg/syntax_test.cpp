// Marker segments: which are read, which are skipped, which are refused, and the messages.
#include "jpeg/syntax.h"

#include "moxj.h"
#include "support.h"

namespace moxj::jpeg {
namespace {

TEST(Markers, HaveTheNamesOfTheStandard) {
  EXPECT_EQ(markerName(0xC0), "SOF0");
  EXPECT_EQ(markerName(0xC4), "DHT");
  EXPECT_EQ(markerName(0xC8), "JPG");
  EXPECT_EQ(markerName(0xCC), "DAC");
  EXPECT_EQ(markerName(0xCF), "SOF15");
  EXPECT_EQ(markerName(0xD3), "RST3");
  EXPECT_EQ(markerName(0xD8), "SOI");
  EXPECT_EQ(markerName(0xDF), "EXP");
  EXPECT_EQ(markerName(0xEE), "APP14");
  EXPECT_EQ(markerName(0xF7), "JPG7");
  EXPECT_EQ(markerName(0xFE), "COM");
  EXPECT_EQ(markerName(0x02), "0x02");
  EXPECT_EQ(markerName(0x01), "TEM");
}

TEST(Markers, ProcessesAreNamed) {
  EXPECT_EQ(processName(0xC0), "baseline");
  EXPECT_EQ(processName(0xC2), "progressive");
  EXPECT_EQ(processName(0xC3), "lossless");
  EXPECT_EQ(processName(0xC5), "hierarchical, differential sequential");
  EXPECT_EQ(processName(0xC9), "extended sequential, arithmetic coding");
  EXPECT_EQ(processName(0xCF), "hierarchical, differential lossless, arithmetic coding");
}

TEST(Tables, CustomaryScalingIsThatOfTheLibrary) {
  for (int quality = 1; quality <= 100; ++quality) {
    for (const Steps& annexK : kAnnexKSteps) {
      std::array<Mox8u, 64> raw;
      std::copy(annexK.begin(), annexK.end(), raw.begin());
      ASSERT_EQ(moxiQuantFwdRawTableInit_JPEG_8u(raw.data(), quality), moxStatusOk);
      const Steps scaled = scaledSteps(annexK, quality, 255);
      EXPECT_TRUE(std::equal(raw.begin(), raw.end(), scaled.begin())) << quality;
    }
  }
}

TEST(FindMarker, PassesOverStuffedAndFillBytes) {
  const File data{1, 0xFF, 0, 2, 0xFF, 0xFF, 0xFF, 0xD9, 0xFF};
  EXPECT_EQ(findMarker(data, 0), 6u);
  EXPECT_EQ(findMarker(data, 7), data.size());
  EXPECT_EQ(findMarker(File{0xFF}, 0), 1u);
  EXPECT_EQ(findMarker(File{}, 0), 0u);
}

TEST(FindScanEnd, PassesOverRestartMarkers) {
  const File data{1, 0xFF, 0xD0, 2, 0xFF, 0xD7, 0xFF, 0xDA};
  EXPECT_EQ(findScanEnd(data, 0), 6u);
}

class HeaderTest : public testing::Test {
 protected:
  File file_ = fileOf(testPicture(40, 24, 3));
  Layout layout_{file_};
  std::size_t at(int code, int offset) const { return layout_.body(code) + offset; }
  File with(std::size_t offset, int value) const {
    File changed = file_;
    changed[offset] = static_cast<std::uint8_t>(value);
    return changed;
  }
};

TEST_F(HeaderTest, OtherThanJpegIsRefused) {
  expectRefused({}, "not a JPEG file", Kind::notThisFormat);
  expectRefused({0xFF}, "not a JPEG file", Kind::notThisFormat);
  expectRefused({0x89, 'P', 'N', 'G'}, "not a JPEG file", Kind::notThisFormat);
  expectRefused({0xFF, 0xD8}, "the file has no frame header");
  expectRefused({0xFF, 0xD8, 0xFF, 0xD9}, "the file has no frame header");
}

TEST_F(HeaderTest, UnsupportedProcessesAreRefusedByName) {
  const std::size_t sof = layout_.find(marker::sof0).offset + 1;
  expectRefused(with(sof, 0xCB), "arithmetic-coded lossless JPEG is not supported", Kind::unsupported);
  expectRefused(with(sof, 0xC3), "invalid predictor 0");
  expectRefused(with(sof, 0xC5), "hierarchical, differential sequential JPEG is not supported", Kind::unsupported);
  expectRefused(with(sof, 0xCD), "arithmetic-coded hierarchical, differential sequential JPEG is not supported",
                Kind::unsupported);
  expectRefused(with(at(marker::sof0, 0), 12), "12 bits is not supported", Kind::unsupported);
  const File dhp{0xFF, 0xDE, 0, 3, 0};
  expectRefused(withInserted(file_, 2, dhp), "hierarchical JPEG is not supported", Kind::unsupported);
}

TEST_F(HeaderTest, ExtendedSequentialIsReadLikeBaseline) {
  const Decoded extended = decodeFile(with(layout_.find(marker::sof0).offset + 1, 0xC1));
  EXPECT_EQ(largestDifference(extended.picture, decodeFile(file_).picture), 0);
}

TEST_F(HeaderTest, BadFrameHeadersAreRefused) {
  expectRefused(with(at(marker::sof0, 7), 0x02), "sampling factors of 0x2");
  expectRefused(with(at(marker::sof0, 7), 0x15), "sampling factors of 1x5");
  expectRefused(with(at(marker::sof0, 8), 4), "refers to quantisation table 4");
  expectRefused(with(at(marker::sof0, 8), 3), "quantisation table 3 is not defined");
  expectRefused(with(at(marker::sof0, 5), 0), "the SOF0 segment has no components");
  expectRefused(with(at(marker::sof0, 5), 2), "is too long");
  expectRefused(with(at(marker::sof0, 5), 4), "is too short");
  expectRefused(with(at(marker::sof0, 4), 0), "a width of 0");
  File again = file_;
  const MarkerSegment& sof = layout_.find(marker::sof0);
  again.insert(again.begin() + sof.end, file_.begin() + sof.offset, file_.begin() + sof.end);
  expectRefused(again, "the file has more than one frame header");
}

TEST_F(HeaderTest, BadScanHeadersAreRefused) {
  expectRefused(with(at(marker::sos, 0), 0), "the SOS segment has 0 components");
  expectRefused(with(at(marker::sos, 0), 5), "the SOS segment has 5 components");
  expectRefused(with(at(marker::sos, 1), 9), "refers to component 9");
  expectRefused(with(at(marker::sos, 3), 1), "refers to component 1");  // a second time
  expectRefused(with(at(marker::sos, 2), 0x40), "a Huffman table above 3");
  expectRefused(with(at(marker::sos, 2), 0x20), "Huffman table 2, which is not defined");
  expectRefused(with(at(marker::sof0, 7), 0x44), "an MCU of 18 blocks");
  const MarkerSegment& sof = layout_.find(marker::sof0);
  expectRefused(without(file_, sof.offset, sof.end), "a scan comes before the frame header");
}

TEST_F(HeaderTest, BadTablesAreRefused) {
  expectRefused(with(at(marker::dqt, 0), 0x04), "invalid table selector");
  expectRefused(with(at(marker::dqt, 0), 0x20), "invalid table selector");
  expectRefused(with(at(marker::dqt, 0), 0x10), "is too short");
  expectRefused(with(at(marker::dqt, 7), 0), "a quantiser step of 0");
  expectRefused(with(at(marker::dht, 0), 0x21), "invalid table selector");
  expectRefused(with(at(marker::dht, 1), 3), "has too many codes");
  expectRefused(with(at(marker::dht, 16), 255), "has too many codes");
  expectRefused(with(at(marker::dht, 17), 17), "a DC category above 16");
  expectRefused(with(at(marker::dht, 17), 16), "DC categories above 15");
}

TEST_F(HeaderTest, BadSegmentsAreRefused) {
  const std::size_t dqt = layout_.find(marker::dqt).offset;
  expectRefused(with(dqt + 3, 1), "the DQT segment has an invalid length");
  expectRefused(with(dqt + 2, 255), "the file ends within the DQT segment");
  expectRefused(with(dqt + 1, 0x77), "unknown marker 0x77");
  expectRefused(withInserted(file_, 2, {0xFF, 0xD8}), "SOI marker inside the picture");
  expectRefused(withInserted(file_, 2, {0xFF, 0xDD, 0, 3, 0}), "the DRI segment is too short");
  expectRefused(withInserted(file_, 2, {0xFF, 0xDD, 0, 5, 0, 0, 0}), "the DRI segment is too long");
  expectRefused(File(file_.begin(), file_.begin() + dqt + 3), "the file ends within the DQT segment");
}

TEST_F(HeaderTest, FillBytesAndUnknownSegmentsArePassedOver) {
  const Picture expected = decodeFile(file_).picture;
  File longer = withInserted(file_, layout_.dataEnd, {0xFF, 0xFF, 0xFF});
  longer = withInserted(longer, layout_.find(marker::sof0).offset, {0xFF, 0xFF});
  longer = withInserted(longer, 2, {0xFF, 0xE5, 0, 4, 1, 2, 0xFF, 0xFE, 0, 2, 0xFF, 0xF3, 0, 3, 9, 0xFF, 0x01});
  const Decoded decoded = decodeFile(longer);
  EXPECT_TRUE(decoded.complete) << decoded.warning;
  EXPECT_EQ(largestDifference(decoded.picture, expected), 0);
}

TEST_F(HeaderTest, LineCountMayFollowTheScan) {
  File later = with(at(marker::sof0, 2), 0);
  later = withInserted(later, layout_.dataEnd, {0xFF, 0xDC, 0, 4, 0, 24});
  const Decoded decoded = decodeFile(later);
  EXPECT_TRUE(decoded.complete) << decoded.warning;
  EXPECT_EQ(largestDifference(decoded.picture, decodeFile(file_).picture), 0);
  expectRefused(with(at(marker::sof0, 2), 0), "the file does not give the height of the picture");
}

TEST_F(HeaderTest, TablesOfAnnexKAreAssumedWhereNoneAreDefined) {
  File shorter = file_;
  for (auto segment = layout_.segments.rbegin(); segment != layout_.segments.rend(); ++segment) {
    if (segment->marker == marker::dht) shorter = without(shorter, segment->offset, segment->end);
  }
  const Decoded decoded = decodeFile(shorter);
  EXPECT_TRUE(decoded.complete);
  EXPECT_EQ(largestDifference(decoded.picture, decodeFile(file_).picture), 0);
}

TEST_F(HeaderTest, ComponentsOfOneIdentifierAreTakenInTurn) {
  File same = file_;
  for (int i = 0; i < 3; ++i) same[at(marker::sof0, 6 + 3 * i)] = same[at(marker::sos, 1 + 2 * i)] = 7;
  EXPECT_EQ(largestDifference(decodeFile(same).picture, decodeFile(file_).picture), 0);
}

TEST_F(HeaderTest, LimitsAreCheckedBeforeMemory) {
  File huge = file_;
  for (int i = 1; i <= 4; ++i) huge[at(marker::sof0, i)] = 0xFF;
  expectProblem(Kind::limit, "65535 x 65535 pixels", [&] { decodeFile(huge); });
  expectProblem(Kind::limit, "40 x 24 pixels", [&] { decodeFile(file_, {}, {.maxPixels = 959}); });
  EXPECT_TRUE(decodeFile(file_, {}, {.maxPixels = 960}).complete);
}

TEST_F(HeaderTest, NothingDecodedIsARefusal) {
  File none = file_;
  none.resize(layout_.dataBegin);
  expectRefused(none, "the file ends within the picture");
  none.push_back(0xFF);
  none.push_back(0xD9);
  expectRefused(none, "the picture's data ends early");
}

}  // namespace
}  // namespace moxj::jpeg
