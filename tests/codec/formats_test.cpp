// Formats, kinds of problems, reports, metadata, descriptions and comparison.
#include <cmath>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "support.h"

namespace {

using namespace codec;

TEST(Formats, HaveNamesAndExtensions) {
  const char* const names[] = {"jpg", "jp2", "j2k", "png", "ppm", "pgm", "pnm",
                               "pam", "pbm", "pgx", "bmp", "tif", "raw", "rawl"};
  ASSERT_EQ(std::size(names), moxcFormatCount());
  for (std::size_t i = 0; i < moxcFormatCount(); ++i) {
    MoxcFormat format = sized<MoxcFormat>();
    ASSERT_EQ(moxcOk, moxcFormatAt(i, &format));
    EXPECT_STREQ(names[i], format.name);
    EXPECT_EQ(i < 3, format.coded != 0);
    EXPECT_EQ(std::string(format.name).starts_with("raw"), format.writeOnly != 0);
    EXPECT_EQ(0u, std::string(format.extensions).find(names[i]));
  }
  MoxcFormat format = sized<MoxcFormat>();
  ASSERT_EQ(moxcOk, moxcFormatAt(0, &format));
  EXPECT_STREQ("JPEG", format.label);
  EXPECT_STREQ("jpg jpeg jpe jfif", format.extensions);
  EXPECT_EQ(moxcBadArgument, moxcFormatAt(moxcFormatCount(), &format));
  EXPECT_EQ(moxcBadArgument, moxcFormatAt(0, nullptr));
}

TEST(Formats, AreFoundByNameAndPath) {
  EXPECT_STREQ("jpg", moxcFormatNamed("JPEG"));
  EXPECT_STREQ("jp2", moxcFormatNamed("jp2"));
  EXPECT_STREQ("tif", moxcFormatNamed("TIFF"));
  EXPECT_EQ(nullptr, moxcFormatNamed("gif"));
  EXPECT_EQ(nullptr, moxcFormatNamed(""));
  EXPECT_EQ(nullptr, moxcFormatNamed(nullptr));
  EXPECT_STREQ("png", moxcFormatOfPath("/tmp/a.b/c.PNG"));
  EXPECT_EQ(nullptr, moxcFormatOfPath("png"));
  EXPECT_EQ(nullptr, moxcFormatOfPath("/x.png/y"));
  EXPECT_EQ(nullptr, moxcFormatOfPath(nullptr));
}

TEST(Formats, AreRecognised) {
  const Pixels grey = picture(moxcGrey, 9, 7);
  const struct {
    const char *written, *found;
  } cases[] = {{"jpg", "jpg"}, {"jp2", "jp2"}, {"j2k", "j2k"}, {"png", "png"}, {"pgm", "pnm"},
               {"pam", "pam"}, {"bmp", "bmp"}, {"tif", "tif"}, {"pgx", "pgx"}};
  for (const auto& c : cases) {
    const Bytes file = encode(grey, c.written);
    const MoxcSource from = source(file);
    const char* format = "";
    EXPECT_EQ(moxcOk, moxcProbe(&from, &format, nullptr));
    EXPECT_STREQ(c.found, format);
  }
}

TEST(Formats, OthersAreNamedInTheReport) {
  const Report report;
  const char* format = "";
  const struct {
    std::string bytes;
    const char* text;
  } cases[] = {{"RIFFxxxxWEBP", "WebP files are not supported"}, {"GIF89a......", "GIF files are not supported"}};
  for (const auto& c : cases) {
    const MoxcSource from = moxcMemorySource(c.bytes.data(), c.bytes.size());
    EXPECT_EQ(moxcNotThisFormat, moxcProbe(&from, &format, report));
    EXPECT_EQ(c.text, report.text());
    EXPECT_EQ(nullptr, format);
  }
  const MoxcSource empty = moxcMemorySource("x", 0);
  EXPECT_EQ(moxcNotThisFormat, moxcProbe(&empty, &format, report));
  EXPECT_EQ("the file is empty", report.text());
}

TEST(Reports, KindsHaveNames) {
  for (int kind = moxcOk; kind <= moxcInternal; ++kind)
    EXPECT_STRNE("unknown", moxcKindName(static_cast<MoxcKind>(kind))) << kind;
  EXPECT_STREQ("ok", moxcKindName(moxcOk));
  EXPECT_STREQ("unknown", moxcKindName(static_cast<MoxcKind>(moxcInternal + 1)));
}

TEST(Reports, MayBeNull) {
  EXPECT_EQ(moxcOk, moxcReportKind(nullptr));
  EXPECT_STREQ("", moxcReportText(nullptr));
  EXPECT_EQ(moxcAdviceNone, moxcReportAdvice(nullptr));
  EXPECT_STREQ("", moxcReportOption(nullptr));
  EXPECT_EQ(1, moxcReportComplete(nullptr));
  EXPECT_STREQ("", moxcReportWarning(nullptr));
  EXPECT_EQ(0u, moxcReportNoteCount(nullptr));
  EXPECT_STREQ("", moxcReportNote(nullptr, 0));
  moxcReportFree(nullptr);
}

TEST(Reports, AreClearedByTheNextCall) {
  const Report report;
  const char* format = nullptr;
  const MoxcSource bad = moxcMemorySource("nothing", 7);
  EXPECT_EQ(moxcNotThisFormat, moxcProbe(&bad, &format, report));
  EXPECT_EQ(moxcNotThisFormat, moxcReportKind(report));
  const Bytes file = encode(picture(moxcGrey, 4, 4), "png");
  const MoxcSource good = source(file);
  EXPECT_EQ(moxcOk, moxcProbe(&good, &format, report));
  EXPECT_EQ(moxcOk, moxcReportKind(report));
  EXPECT_EQ("", report.text());
}

TEST(Reports, LimitsNameWhatCanBeChanged) {
  const Bytes file = encode(picture(moxcRgb, 40, 30), "png");
  const MoxcSource from = source(file);
  MoxcLimits limits = sized<MoxcLimits>();
  MoxcRun run = sized<MoxcRun>();
  run.limits = &limits;
  const Report report;
  Picture picture;
  limits.maxPixels = 1199;
  EXPECT_EQ(moxcLimit, moxcDecode(&from, nullptr, nullptr, &run, &picture.picture, report));
  EXPECT_EQ(moxcAdviceMaxPixels, moxcReportAdvice(report));
  EXPECT_EQ(nullptr, picture.picture);
  limits.maxPixels = 1200;
  limits.maxMemory = 1000;
  EXPECT_EQ(moxcLimit, moxcDecode(&from, nullptr, nullptr, &run, &picture.picture, report));
  EXPECT_EQ(moxcAdviceMaxMemory, moxcReportAdvice(report));
  limits.maxMemory = 0;
  EXPECT_EQ(moxcOk, moxcDecode(&from, nullptr, nullptr, &run, &picture.picture, report)) << report.text();
}

TEST(Reports, ScansAreLimited) {
  MoxcWriteOptions options;
  moxcWriteOptionsInit(&options);
  options.progressive = 1;
  const Bytes file = encode(picture(moxcRgb, 40, 30), "jpg", &options);
  const MoxcSource from = source(file);
  MoxcLimits limits = sized<MoxcLimits>();
  limits.maxScans = 3;
  MoxcRun run = sized<MoxcRun>();
  run.limits = &limits;
  const Report report;
  MoxcComparison comparison = sized<MoxcComparison>();
  EXPECT_EQ(moxcLimit, moxcCompare(&from, &from, &run, &comparison, report, nullptr));
  EXPECT_EQ(moxcAdviceMaxScans, moxcReportAdvice(report));
}

// Half a file gives a picture that is not complete.
TEST(Reports, DamageMakesAnIncompletePicture) {
  const Bytes file = encode(picture(moxcRgb, 200, 200), "jpg");
  const MoxcSource from = moxcMemorySource(file.data(), file.size() / 2);
  const Report report;
  Picture picture;
  ASSERT_EQ(moxcOk, moxcDecode(&from, nullptr, nullptr, nullptr, &picture.picture, report));
  EXPECT_EQ(0, moxcReportComplete(report));
  EXPECT_STRNE("", moxcReportWarning(report));
  EXPECT_EQ(200, picture.pixels().height);
}

// ---- Metadata -----------------------------------------------------------------------------------------------------

TEST(Metadata, ThatIsNotWrittenIsNoted) {
  const Pixels grey = picture(moxcGrey, 9, 7);
  const MoxcMetadata blocks[] = {{moxcIcc, nullptr, "abcd", 4},
                                 {moxcXmp, "", "<x/>", 4},
                                 {moxcIptc, "", "data", 4},
                                 {moxcComment, "Title", "text", 4},
                                 {moxcOtherMetadata, "APP13", nullptr, 0}};
  for (const char* const format : {"j2k", "pgm", "pgx"}) {
    const bool hasComments = std::string_view(format) == "j2k";
    void* bytes = nullptr;
    std::size_t count = 0;
    const MoxcTarget target = moxcMemoryTarget(&bytes, &count);
    const Report report;
    ASSERT_EQ(moxcOk, moxcEncode(&grey.pixels, format, nullptr, blocks, std::size(blocks), &target, nullptr, report));
    EXPECT_EQ(hasComments, encode(grey, format) != taken(bytes, count));
    const std::string lost =
        hasComments ? "XMP packet, IPTC data, APP13 segment" : "XMP packet, IPTC data, comment, APP13 segment";
    EXPECT_EQ((std::vector<std::string>{"ICC profile dropped: it is damaged", "metadata dropped: " + lost}),
              notes(report));
  }
}

// Blocks of a file, by kind.
std::map<MoxcMetadataKind, std::string> blocksOf(const Bytes& file) {
  const MoxcSource from = source(file);
  Picture picture;
  EXPECT_EQ(moxcOk, moxcDecode(&from, nullptr, nullptr, nullptr, &picture.picture, nullptr));
  std::map<MoxcMetadataKind, std::string> blocks;
  for (std::size_t i = 0; i < moxcPictureMetadataCount(picture.picture); ++i) {
    MoxcMetadata block = {};
    EXPECT_EQ(moxcOk, moxcPictureMetadata(picture.picture, i, &block));
    blocks[block.kind] = std::string(static_cast<const char*>(block.bytes), block.byteCount);
  }
  MoxcDescription* description = nullptr;
  EXPECT_EQ(moxcOk, moxcDescribe(&from, nullptr, &description, nullptr));
  EXPECT_EQ(blocks.size(), moxcDescriptionMetadataCount(description));
  moxcDescriptionFree(description);
  return blocks;
}

// An orientation of 6.
constexpr unsigned char kExif[] = {'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1, 1, 0x12, 0,
                                   3,   0,   0, 0,  1, 0, 6, 0, 0, 0, 0, 0,    0};

TEST(Metadata, IsWrittenAndRead) {
  const Pixels rgb = picture(moxcRgb, 9, 7);
  const MoxcMetadata blocks[] = {{moxcExif, "", kExif, sizeof kExif}, {moxcXmp, "", "<x/>", 4}};
  const std::map<MoxcMetadataKind, std::string> expected = {{moxcExif, std::string(kExif, kExif + sizeof kExif)},
                                                            {moxcXmp, "<x/>"}};
  MoxcWriteOptions options;
  moxcWriteOptionsInit(&options);
  for (const int strip : {0, int{moxcStripXmp}, int{moxcStripAll}}) {
    options.strip = strip;
    for (const char* const format : {"jpg", "png", "jp2"}) {
      void* bytes = nullptr;
      std::size_t count = 0;
      const MoxcTarget target = moxcMemoryTarget(&bytes, &count);
      ASSERT_EQ(moxcOk, moxcEncode(&rgb.pixels, format, &options, blocks, 2, &target, nullptr, nullptr));
      std::map<MoxcMetadataKind, std::string> left = expected;
      if (strip != 0) left.erase(moxcXmp);
      if (strip == moxcStripAll) left.clear();
      EXPECT_EQ(left, blocksOf(taken(bytes, count))) << format;
    }
  }
}

// As a block of its own, into files and out of them; without a unit only where a format has a place for that.
TEST(Metadata, ResolutionIsABlock) {
  const Pixels rgb = picture(moxcRgb, 9, 7);
  for (const MoxcDensity& density : {MoxcDensity{300 / 0.0254, 150 / 0.0254, 0}, MoxcDensity{4, 3, 1}}) {
    const MoxcMetadata block = {moxcResolution, nullptr, &density, sizeof density};
    for (const char* const format : {"jpg", "png", "jp2", "ppm"}) {
      void* bytes = nullptr;
      std::size_t count = 0;
      const MoxcTarget target = moxcMemoryTarget(&bytes, &count);
      const Report report;
      ASSERT_EQ(moxcOk, moxcEncode(&rgb.pixels, format, nullptr, &block, 1, &target, nullptr, report));
      const Bytes file = taken(bytes, count);
      const MoxcSource from = source(file);
      Picture picture;
      ASSERT_EQ(moxcOk, moxcDecode(&from, nullptr, nullptr, nullptr, &picture.picture, nullptr));
      const std::string name = format;
      const bool kept = name == "jpg" || name == "png" || (name == "jp2" && !density.ratioOnly);
      ASSERT_EQ(kept ? 1u : 0u, moxcPictureMetadataCount(picture.picture)) << format;
      EXPECT_EQ(kept ? 0u : 1u, notes(report).size()) << format;
      if (!kept) continue;
      MoxcMetadata read = {};
      ASSERT_EQ(moxcOk, moxcPictureMetadata(picture.picture, 0, &read));
      EXPECT_EQ(moxcResolution, read.kind);
      ASSERT_EQ(sizeof density, read.byteCount);
      const MoxcDensity& found = *static_cast<const MoxcDensity*>(read.bytes);
      EXPECT_NEAR(density.horizontal, found.horizontal, 0.5);
      EXPECT_NEAR(density.vertical, found.vertical, 0.5);
      EXPECT_EQ(density.ratioOnly, found.ratioOnly);
    }
  }
  const MoxcDensity good = {1, 1, 0};
  const double infinite = std::numeric_limits<double>::infinity();
  for (const MoxcDensity& density : {MoxcDensity{0, 1, 0}, MoxcDensity{1, -1, 0}, MoxcDensity{infinite, 1, 0}, good}) {
    const bool isGood = density.horizontal == 1 && density.vertical == 1;
    const MoxcMetadata block = {moxcResolution, nullptr, &density, isGood ? sizeof density - 1 : sizeof density};
    void* bytes = nullptr;
    std::size_t count = 0;
    const MoxcTarget target = moxcMemoryTarget(&bytes, &count);
    EXPECT_EQ(moxcBadArgument, moxcEncode(&rgb.pixels, "png", nullptr, &block, 1, &target, nullptr, nullptr));
  }
}

TEST(Metadata, OrientationTurnsThePicture) {
  const Pixels rgb = picture(moxcRgb, 9, 7);
  const MoxcMetadata block = {moxcExif, "", kExif, sizeof kExif};
  void* bytes = nullptr;
  std::size_t count = 0;
  const MoxcTarget target = moxcMemoryTarget(&bytes, &count);
  ASSERT_EQ(moxcOk, moxcEncode(&rgb.pixels, "png", nullptr, &block, 1, &target, nullptr, nullptr));
  const Bytes file = taken(bytes, count);
  const MoxcSource from = source(file);
  MoxcReadOptions options;
  moxcReadOptionsInit(&options);
  for (const int orient : {0, 1}) {
    options.orient = orient;
    const Report report;
    Picture picture;
    ASSERT_EQ(moxcOk, moxcDecode(&from, &options, nullptr, nullptr, &picture.picture, report));
    EXPECT_EQ(orient ? 7 : 9, picture.pixels().width);
    EXPECT_EQ(orient ? 0u : 1u, notes(report).size());
    MoxcMetadata read = {};
    ASSERT_EQ(moxcOk, moxcPictureMetadata(picture.picture, 0, &read));
    EXPECT_EQ(orient ? 1 : 6, static_cast<const unsigned char*>(read.bytes)[19]);
  }
}

TEST(Metadata, OfNoKindIsRefused) {
  const Pixels grey = picture(moxcGrey, 9, 7);
  MoxcMetadata block = {moxcIcc, nullptr, "abcd", 4};
  setNumber(block.kind, 17);
  void* bytes = nullptr;
  std::size_t count = 0;
  const MoxcTarget target = moxcMemoryTarget(&bytes, &count);
  EXPECT_EQ(moxcBadArgument, moxcEncode(&grey.pixels, "png", nullptr, &block, 1, &target, nullptr, nullptr));
  block = {moxcIcc, nullptr, nullptr, 4};
  EXPECT_EQ(moxcBadArgument, moxcEncode(&grey.pixels, "png", nullptr, &block, 1, &target, nullptr, nullptr));
  EXPECT_EQ(moxcBadArgument, moxcEncode(&grey.pixels, "png", nullptr, nullptr, 1, &target, nullptr, nullptr));
}

TEST(Metadata, IsNotThereWithoutAny) {
  const Bytes file = encode(picture(moxcGrey, 9, 7), "png");
  const MoxcSource from = source(file);
  Picture picture;
  ASSERT_EQ(moxcOk, moxcDecode(&from, nullptr, nullptr, nullptr, &picture.picture, nullptr));
  EXPECT_EQ(0u, moxcPictureMetadataCount(picture.picture));
  MoxcMetadata block = {};
  EXPECT_EQ(moxcBadArgument, moxcPictureMetadata(picture.picture, 0, &block));
  EXPECT_EQ(0u, moxcPictureMetadataCount(nullptr));
}

// ---- Descriptions -------------------------------------------------------------------------------------------------

TEST(Descriptions, HaveFactsTextAndJson) {
  const struct {
    const char *format, *label;
    MoxcLayout layout;
    int bits, channels;
  } cases[] = {{"jpg", "JPEG", moxcRgb, 8, 3},        {"jp2", "JPEG 2000", moxcRgba, 12, 4},
               {"j2k", "JPEG 2000", moxcGrey, 16, 1}, {"png", "PNG", moxcGreyAlpha, 16, 2},
               {"ppm", "PPM", moxcRgb, 8, 3},         {"pgm", "PGM", moxcGrey, 16, 1},
               {"pgx", "PGX", moxcGrey, 12, 1}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.format);
    const Bytes file = encode(picture(c.layout, 31, 17, c.bits), c.format);
    const MoxcSource from = source(file);
    MoxcDescription* description = nullptr;
    const Report report;
    ASSERT_EQ(moxcOk, moxcDescribe(&from, nullptr, &description, report)) << report.text();
    MoxcFacts facts = sized<MoxcFacts>();
    ASSERT_EQ(moxcOk, moxcDescriptionFacts(description, &facts));
    EXPECT_STREQ(c.label, facts.format);
    EXPECT_EQ(31u, facts.width);
    EXPECT_EQ(17u, facts.height);
    EXPECT_EQ(c.channels, facts.channels);
    EXPECT_EQ(c.bits, facts.bits);
    EXPECT_NE(nullptr, std::strstr(moxcDescriptionText(description), "31 x 17"));
    EXPECT_NE(nullptr, std::strstr(moxcDescriptionJson(description), "\"width\": 31"));
    EXPECT_EQ(0u, moxcDescriptionMetadataCount(description));
    moxcDescriptionFree(description);
  }
}

TEST(Descriptions, FailCleanly) {
  MoxcDescription* description = nullptr;
  const MoxcSource bad = moxcMemorySource("nothing at all", 14);
  EXPECT_EQ(moxcNotThisFormat, moxcDescribe(&bad, nullptr, &description, nullptr));
  EXPECT_EQ(nullptr, description);
  EXPECT_EQ(moxcBadArgument, moxcDescribe(&bad, nullptr, nullptr, nullptr));
  EXPECT_EQ(moxcBadArgument, moxcDescriptionFacts(nullptr, nullptr));
  EXPECT_STREQ("", moxcDescriptionText(nullptr));
  EXPECT_STREQ("", moxcDescriptionJson(nullptr));
  moxcDescriptionFree(nullptr);
}

// ---- Comparison ---------------------------------------------------------------------------------------------------

MoxcComparison compared(const Bytes& a, const Bytes& b) {
  MoxcComparison comparison = sized<MoxcComparison>();
  const MoxcSource first = source(a), second = source(b);
  const Report report;
  EXPECT_EQ(moxcOk, moxcCompare(&first, &second, nullptr, &comparison, report, report)) << report.text();
  return comparison;
}

TEST(Comparison, IsInStepsOfTheLargerDepth) {
  const Pixels a = picture(moxcGrey, 40, 30, 16), b = picture(moxcGrey, 40, 30, 16);
  store(b.at(0, 7, 9), 2, a.value(0, 7, 9) ^ 3);
  const MoxcComparison result = compared(encode(a, "png"), encode(b, "jp2"));
  EXPECT_EQ(1, result.channels);
  EXPECT_EQ(16, result.bits);
  EXPECT_STREQ("grey", result.names[0]);
  EXPECT_LE(1u, result.all.max);
  EXPECT_GE(3u, result.all.max);
  EXPECT_FALSE(std::isinf(result.all.psnr));
  const MoxcComparison equal = compared(encode(a, "png"), encode(a, "jp2"));
  EXPECT_TRUE(std::isinf(equal.all.psnr));
  EXPECT_EQ(1, equal.all.ssim);
}

TEST(Comparison, SeesOpacity) {
  const Pixels rgba = picture(moxcRgba, 20, 20);
  const MoxcComparison result = compared(encode(rgba, "png"), encode(picture(moxcRgb, 20, 20), "png"));
  ASSERT_EQ(4, result.channels);
  EXPECT_STREQ("opacity", result.names[3]);
  EXPECT_EQ(0u, result.channel[0].max);
  EXPECT_LT(0u, result.channel[3].max);
}

TEST(Comparison, ReportsTheFileThatFails) {
  const Bytes file = encode(picture(moxcGrey, 20, 20), "png"), small = encode(picture(moxcGrey, 20, 19), "png");
  const MoxcSource good = source(file), other = source(small), bad = moxcMemorySource("nothing", 7);
  const Report a, b;
  MoxcComparison comparison = sized<MoxcComparison>();
  EXPECT_EQ(moxcNotThisFormat, moxcCompare(&bad, &good, nullptr, &comparison, a, b));
  EXPECT_EQ(moxcNotThisFormat, moxcReportKind(a));
  EXPECT_EQ(moxcOk, moxcReportKind(b));
  EXPECT_EQ(moxcNotThisFormat, moxcCompare(&good, &bad, nullptr, &comparison, a, b));
  EXPECT_EQ(moxcOk, moxcReportKind(a));
  EXPECT_EQ(moxcNotThisFormat, moxcReportKind(b));
  EXPECT_EQ(moxcBadOption, moxcCompare(&good, &other, nullptr, &comparison, a, b));
  EXPECT_EQ("20 x 19 pixels, but the first picture has 20 x 20", b.text());
  EXPECT_EQ(20u, comparison.a.height);
  EXPECT_EQ(19u, comparison.b.height);
  EXPECT_EQ(1, comparison.b.channels);
  EXPECT_EQ(moxcBadArgument, moxcCompare(&good, &good, nullptr, nullptr, a, b));
}

// Both warnings end up in a report that is given twice.
TEST(Comparison, OneReportForBoth) {
  const Bytes file = encode(picture(moxcRgb, 200, 200), "jpg");
  const MoxcSource cut = moxcMemorySource(file.data(), file.size() / 2), whole = source(file);
  const Report report;
  MoxcComparison comparison = sized<MoxcComparison>();
  EXPECT_EQ(moxcOk, moxcCompare(&cut, &whole, nullptr, &comparison, report, report));
  EXPECT_EQ(0, moxcReportComplete(report));
  const Report a, b;
  EXPECT_EQ(moxcOk, moxcCompare(&cut, &whole, nullptr, &comparison, a, b));
  EXPECT_EQ(0, moxcReportComplete(a));
  EXPECT_EQ(1, moxcReportComplete(b));
}

TEST(Version, IsThatOfTheProject) { EXPECT_EQ(0u, std::string(moxcVersion()).find("5.")); }

}  // namespace
