// The structure that inspect() reports.
#include "support.h"

namespace moxj::jpeg {
namespace {

TEST(Inspect, TellsFrameTablesAndScans) {
  const File file = fileOf(testPicture(33, 17, 3), {.quality = 80, .sampling = Sampling::s422, .restart = 2});
  const Info info = inspect(file);
  EXPECT_EQ(info.process, "baseline");
  EXPECT_EQ(info.precision, 8);
  EXPECT_EQ(info.width, 33);
  EXPECT_EQ(info.height, 17);
  EXPECT_EQ(info.restartInterval, 2);
  ASSERT_EQ(info.components.size(), 3u);
  EXPECT_EQ(info.components[0].horizontal, 2);
  EXPECT_EQ(info.components[1].width, 17);
  EXPECT_EQ(info.components[1].height, 17);
  EXPECT_EQ(info.components[2].quantTable, 1);
  ASSERT_EQ(info.quantTables.size(), 2u);
  EXPECT_EQ(info.quantTables[1].steps[0], (17 * 40 + 50) / 100);
  ASSERT_EQ(info.huffTables.size(), 4u);
  EXPECT_EQ(info.huffTables[0].codes, 12);
  EXPECT_EQ(info.huffTables[3].codes, 162);
  EXPECT_TRUE(info.huffTables[3].ac);
  ASSERT_EQ(info.scans.size(), 1u);
  EXPECT_EQ(info.scans[0].components.size(), 3u);
  EXPECT_EQ(info.scans[0].spectralStart, 0);
  EXPECT_EQ(info.scans[0].spectralEnd, 63);
  const Layout layout(file);
  EXPECT_EQ(info.scans[0].dataOffset, layout.dataBegin);
  EXPECT_EQ(info.scans[0].dataLength, layout.dataEnd - layout.dataBegin);
  // Segments and scan data cover the whole file.
  std::uint64_t sum = info.scans[0].dataLength;
  for (const Segment& segment : info.segments) sum += segment.length;
  EXPECT_EQ(sum, file.size());
}

TEST(Inspect, FollowsDamagedFilesAsFarAsItCan) {
  File file = fileOf(testPicture(33, 17, 3));
  file.resize(file.size() - 2);
  Info info = inspect(file);
  EXPECT_FALSE(info.complete);
  EXPECT_EQ(info.warning, "the file ends without an EOI marker");
  const Layout layout(file);
  file.resize(layout.find(marker::sos).offset + 3);
  info = inspect(file);
  EXPECT_FALSE(info.complete);
  EXPECT_EQ(info.warning, "the file ends within the SOS segment");
  EXPECT_EQ(info.width, 33);
  file.resize(layout.find(marker::sof0).offset);
  expectProblem(Kind::damaged, "no frame header", [&] { inspect(file); });
}

TEST(Inspect, NamesWhatIsNotSupported) {
  File file = fileOf(testPicture(33, 17, 3));
  const std::size_t sof = Layout(file).find(marker::sof0).offset + 1;
  for (const auto& [code, name, supported] : {std::tuple(0xCB, "lossless, arithmetic coding", false),
                                              {0xC5, "hierarchical, differential sequential", false},
                                              {0xC9, "extended sequential, arithmetic coding", true},
                                              {0xCA, "progressive, arithmetic coding", true}}) {
    file[sof] = static_cast<std::uint8_t>(code);
    const Info info = inspect(file);
    EXPECT_EQ(info.process, name);
    EXPECT_EQ(info.supported, supported);
  }
}

TEST(Inspect, JudgesTablesThatAreNotOfAnnexK) {
  File file = fileOf(testPicture(33, 17, 3), {.quality = 60});
  const std::size_t dqt = Layout(file).body(marker::dqt);
  ++file[dqt + 1];
  const Info info = inspect(file);
  EXPECT_EQ(info.quality, 60);
  EXPECT_FALSE(info.qualityExact);
}

}  // namespace
}  // namespace moxj::jpeg
