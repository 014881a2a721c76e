// Structs of other sizes, null pointers and pixels that make no sense.
#include "support.h"

namespace {

using namespace codec;

// A struct as a newer program has it: more fields than the library knows.
template <class Struct>
struct Newer {
  Struct known = {};
  std::uint64_t added = 0;
  Newer() { known.structSize = sizeof *this; }
  Newer(const Struct& from) : known(from) { known.structSize = sizeof *this; }
};

class Structs : public testing::Test {
 protected:
  const Pixels grey = picture(moxcGrey, 9, 7);
  const Bytes file = encode(grey, "jp2");
  const MoxcSource from = source(file);
  const Report report;
  void* bytes = nullptr;
  std::size_t count = 0;
  const MoxcTarget target = moxcMemoryTarget(&bytes, &count);
};

// Calls a function with a struct that is larger, larger with a field that is not known, and too small.
template <class Struct, class Call>
void tryOtherSizes(const Struct& good, Call&& call) {
  Newer<Struct> newer(good);
  EXPECT_EQ(moxcOk, call(&newer.known));
  newer.added = 1;
  EXPECT_EQ(moxcBadOption, call(&newer.known));
  Struct small = good;
  small.structSize = sizeof(Struct) - 4;
  EXPECT_EQ(moxcBadArgument, call(&small));
  small.structSize = 0;
  EXPECT_EQ(moxcBadArgument, call(&small));
  EXPECT_EQ(moxcOk, call(&good));
}

TEST_F(Structs, MayHaveOtherSizes) {
  Picture picture;
  const auto freed = [&](MoxcKind kind) {
    moxcPictureFree(picture.picture);
    picture.picture = nullptr;
    moxcFree(bytes);
    bytes = nullptr;
    return kind;
  };
  tryOtherSizes(sized<MoxcReadOptions>(), [&](const MoxcReadOptions* options) {
    return freed(moxcDecode(&from, options, nullptr, nullptr, &picture.picture, report));
  });
  tryOtherSizes(sized<MoxcWanted>(), [&](const MoxcWanted* wanted) {
    return freed(moxcDecode(&from, nullptr, wanted, nullptr, &picture.picture, report));
  });
  tryOtherSizes(sized<MoxcRun>(), [&](const MoxcRun* run) {
    return freed(moxcDecode(&from, nullptr, nullptr, run, &picture.picture, report));
  });
  tryOtherSizes(sized<MoxcLimits>(), [&](const MoxcLimits* limits) {
    MoxcRun run = sized<MoxcRun>();
    run.limits = limits;
    return freed(moxcDecode(&from, nullptr, nullptr, &run, &picture.picture, report));
  });
  tryOtherSizes(from, [&](const MoxcSource* source) {
    return freed(moxcDecode(source, nullptr, nullptr, nullptr, &picture.picture, report));
  });
  tryOtherSizes(sized<MoxcWriteOptions>(), [&](const MoxcWriteOptions* options) {
    return freed(moxcEncode(&grey.pixels, "jp2", options, nullptr, 0, &target, nullptr, report));
  });
  tryOtherSizes(target, [&](const MoxcTarget* to) {
    return freed(moxcEncode(&grey.pixels, "jp2", nullptr, nullptr, 0, to, nullptr, report));
  });
  tryOtherSizes(grey.pixels, [&](const MoxcPixels* pixels) {
    return freed(moxcEncode(pixels, "jp2", nullptr, nullptr, 0, &target, nullptr, report));
  });
  const Bytes jpeg = encode(grey, "jpg");
  const MoxcSource jpegSource = source(jpeg);
  tryOtherSizes(sized<MoxcTranscodeOptions>(), [&](const MoxcTranscodeOptions* options) {
    return freed(moxcTranscode(&jpegSource, options, &target, nullptr, report));
  });
}

// What the library fills in ends where the caller's struct ends; beyond what the library knows it is 0.
TEST_F(Structs, AreFilledToTheirSize) {
  Newer<MoxcComparison> comparison;
  comparison.added = 17;
  EXPECT_EQ(moxcOk, moxcCompare(&from, &from, nullptr, &comparison.known, nullptr, nullptr));
  EXPECT_EQ(sizeof comparison, comparison.known.structSize);
  EXPECT_EQ(0u, comparison.added);
  EXPECT_EQ(1, comparison.known.channels);
  comparison.known.structSize = 8;
  EXPECT_EQ(moxcBadArgument, moxcCompare(&from, &from, nullptr, &comparison.known, nullptr, nullptr));

  Newer<MoxcFormat> format;
  format.added = 17;
  EXPECT_EQ(moxcOk, moxcFormatAt(0, &format.known));
  EXPECT_EQ(0u, format.added);
}

TEST_F(Structs, InitFunctionsGiveNothing) {
  MoxcWriteOptions writing;
  std::memset(&writing, 0xFF, sizeof writing);
  moxcWriteOptionsInit(&writing);
  const MoxcWriteOptions zero = sized<MoxcWriteOptions>();
  EXPECT_EQ(0, std::memcmp(&zero, &writing, sizeof zero));
  MoxcReadOptions reading;
  moxcReadOptionsInit(&reading);
  EXPECT_EQ(sizeof reading, reading.structSize);
  MoxcTranscodeOptions transcoding;
  moxcTranscodeOptionsInit(&transcoding);
  EXPECT_EQ(sizeof transcoding, transcoding.structSize);
}

TEST_F(Structs, NullPointersAreRefused) {
  Picture picture;
  EXPECT_EQ(moxcBadArgument, moxcDecode(nullptr, nullptr, nullptr, nullptr, &picture.picture, report));
  EXPECT_EQ("source is null", report.text());
  EXPECT_EQ(moxcBadArgument, moxcDecode(&from, nullptr, nullptr, nullptr, nullptr, report));
  EXPECT_EQ(moxcBadArgument, moxcDecodeInto(&from, nullptr, nullptr, nullptr, report));
  EXPECT_EQ(moxcBadArgument, moxcDecodeRows(&from, nullptr, nullptr, nullptr, nullptr, nullptr, report));
  EXPECT_EQ(moxcBadArgument, moxcEncode(nullptr, "png", nullptr, nullptr, 0, &target, nullptr, report));
  EXPECT_EQ(moxcBadArgument, moxcEncode(&grey.pixels, nullptr, nullptr, nullptr, 0, &target, nullptr, report));
  EXPECT_EQ(moxcBadArgument, moxcEncode(&grey.pixels, "gif", nullptr, nullptr, 0, &target, nullptr, report));
  EXPECT_EQ("there is no format gif", report.text());
  EXPECT_EQ(moxcBadArgument, moxcEncode(&grey.pixels, "png", nullptr, nullptr, 0, nullptr, nullptr, report));
  EXPECT_EQ(moxcBadArgument,
            moxcEncoderOpen(&grey.pixels, "png", nullptr, nullptr, 0, &target, nullptr, nullptr, report));
  EXPECT_EQ(moxcBadArgument, moxcEncoderRows(nullptr, &grey.pixels, report));
  EXPECT_EQ(moxcBadArgument, moxcEncoderFinish(nullptr, report));
  EXPECT_EQ(moxcBadArgument, moxcConvert(&from, nullptr, "png", nullptr, nullptr, nullptr, report));
  EXPECT_EQ(moxcBadArgument, moxcConvertPlanes(&from, nullptr, "pgx", nullptr, nullptr, nullptr, report));
  EXPECT_EQ(moxcBadArgument, moxcTranscode(&from, nullptr, nullptr, nullptr, report));
  EXPECT_EQ(moxcBadArgument, moxcProbe(&from, nullptr, report));
  MoxcPixels pixels = sized<MoxcPixels>();
  EXPECT_EQ(moxcBadArgument, moxcPicturePixels(nullptr, &pixels));
  MoxcMetadata block;
  EXPECT_EQ(moxcBadArgument, moxcPictureMetadata(nullptr, 0, &block));
  EXPECT_EQ(moxcBadArgument, moxcDescriptionMetadata(nullptr, 0, &block));
  moxcPictureFree(nullptr);
  moxcEncoderFree(nullptr);
  moxcFree(nullptr);
}

TEST_F(Structs, SourcesAndTargetsAreOneThing) {
  const char* format = nullptr;
  MoxcSource none = sized<MoxcSource>();
  EXPECT_EQ(moxcBadArgument, moxcProbe(&none, &format, report));
  MoxcSource two = from;
  two.path = "x";
  EXPECT_EQ(moxcBadArgument, moxcProbe(&two, &format, report));
  EXPECT_EQ("a source needs one of bytes, path and read", report.text());
  MoxcTarget both = target;
  both.path = "x";
  EXPECT_EQ(moxcBadArgument, moxcEncode(&grey.pixels, "png", nullptr, nullptr, 0, &both, nullptr, report));
  MoxcTarget uncounted = target;
  uncounted.byteCount = nullptr;
  EXPECT_EQ(moxcBadArgument, moxcEncode(&grey.pixels, "png", nullptr, nullptr, 0, &uncounted, nullptr, report));
}

TEST_F(Structs, PixelsMustMakeSense) {
  const auto kindOf = [&](auto&& change) {
    MoxcPixels pixels = grey.pixels;
    change(pixels);
    const MoxcKind kind = moxcEncode(&pixels, "png", nullptr, nullptr, 0, &target, nullptr, report);
    EXPECT_EQ(nullptr, bytes);
    return kind;
  };
  EXPECT_EQ(moxcBadArgument, kindOf([](MoxcPixels& p) { setNumber(p.layout, 1000); }));
  EXPECT_EQ(moxcBadArgument, kindOf([](MoxcPixels& p) { setNumber(p.layout, 12); }));
  EXPECT_EQ(moxcBadArgument, kindOf([](MoxcPixels& p) { p.width = 0; }));
  EXPECT_EQ(moxcBadArgument, kindOf([](MoxcPixels& p) { p.height = -1; }));
  EXPECT_EQ(moxcBadArgument, kindOf([](MoxcPixels& p) { p.sampleSize = 3; }));
  EXPECT_EQ(moxcBadArgument, kindOf([](MoxcPixels& p) { p.planes[0].bits = 9; }));
  EXPECT_EQ(moxcBadArgument, kindOf([](MoxcPixels& p) { p.planes[0].bits = 32; }));
  EXPECT_EQ(moxcBadArgument, kindOf([](MoxcPixels& p) { p.planes[0].bits = -1; }));
  EXPECT_EQ(moxcBadArgument, kindOf([](MoxcPixels& p) { p.planes[0].isSigned = 2; }));
  EXPECT_EQ(moxcBadArgument, kindOf([](MoxcPixels& p) { p.planes[0].dx = 2; }));
  EXPECT_EQ(moxcBadArgument, kindOf([](MoxcPixels& p) { p.planes[0].width = 5; }));
  EXPECT_EQ(moxcBadArgument, kindOf([](MoxcPixels& p) { p.planes[0].step = 8; }));
  EXPECT_EQ(moxcBadArgument, kindOf([](MoxcPixels& p) { p.planes[0].step = -8; }));
  EXPECT_EQ(moxcBadArgument, kindOf([](MoxcPixels& p) { p.planes[0].samples = nullptr; }));
  EXPECT_EQ(moxcBadArgument, kindOf([](MoxcPixels& p) { p.maxValue = 256; }));
  EXPECT_EQ(moxcBadArgument, kindOf([](MoxcPixels& p) {
              p.layout = moxcPlanes;
              p.planeCount = 17;
            }));
  EXPECT_EQ(moxcBadArgument, kindOf([](MoxcPixels& p) {
              p.layout = moxcPlanes;
              p.planeCount = 0;
            }));
}

TEST_F(Structs, WishesMustMakeSense) {
  Picture picture;
  MoxcWanted wanted = sized<MoxcWanted>();
  setNumber(wanted.layout, -1);
  EXPECT_EQ(moxcBadArgument, moxcDecode(&from, nullptr, &wanted, nullptr, &picture.picture, report));
  wanted.layout = moxcGrey;
  wanted.bits = 32;
  EXPECT_EQ(moxcBadArgument, moxcDecode(&from, nullptr, &wanted, nullptr, &picture.picture, report));
  wanted.layout = moxcRgb565;
  wanted.bits = 8;
  EXPECT_EQ(moxcBadArgument, moxcDecode(&from, nullptr, &wanted, nullptr, &picture.picture, report));
  MoxcPixels scaled = grey.pixels;
  scaled.maxValue = 100;
  EXPECT_EQ(moxcBadArgument, moxcDecodeInto(&from, nullptr, &scaled, nullptr, report));
}

}  // namespace
