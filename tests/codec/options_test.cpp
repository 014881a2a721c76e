// Every option of every call, with every format, changes the output or is refused.
#include <functional>
#include <limits>

#include "support.h"

namespace {

using namespace codec;

// A value of an option, and the formats on which it has an effect.
template <class Options>
struct Option {
  const char* name;
  std::function<void(Options&)> set;
  std::string formats;  // separated by spaces, with one before and after each
};

struct Output {
  MoxcKind kind = moxcOk;
  Bytes bytes;
  std::string text, option;
};

template <class Call>
Output outputOf(Call&& call) {
  void* bytes = nullptr;
  std::size_t count = 0;
  const MoxcTarget target = moxcMemoryTarget(&bytes, &count);
  const Report report;
  Output output;
  output.kind = call(target, static_cast<MoxcReport*>(report));
  output.text = report.text();
  output.option = moxcReportOption(report);
  if (output.kind == moxcOk) output.bytes = taken(bytes, count);
  return output;
}

bool listed(const std::string& list, const std::string& name) {
  return list.find(" " + name + " ") != std::string::npos;
}

template <class Options>
void checkEffect(const Option<Options>& option, const std::string& format, const Output& with, const Output& without) {
  SCOPED_TRACE(std::string(option.name) + " for " + format);
  ASSERT_EQ(moxcOk, without.kind) << without.text;
  if (listed(option.formats, format)) {
    EXPECT_EQ(moxcOk, with.kind) << with.text;
    EXPECT_NE(without.bytes, with.bytes);
  } else {
    EXPECT_EQ(moxcBadOption, with.kind);
    EXPECT_NE("", with.option);
    EXPECT_EQ(0u, with.text.find(with.option)) << with.text;
  }
}

// ---- Metadata -----------------------------------------------------------------------------------------------------

// The smallest profile of RGB: a header without tags.
Bytes profile() {
  Bytes bytes(132);
  bytes[3] = 132;
  const auto put = [&](std::size_t at, const char* signature) { std::copy_n(signature, 4, bytes.begin() + at); };
  put(12, "mntr");
  put(16, "RGB ");
  put(20, "XYZ ");
  put(36, "acsp");
  return bytes;
}

// A picture that is turned by 90 degrees and has metadata of all kinds.
Bytes described(const Pixels& pixels, const char* format) {
  const Bytes icc = profile();
  const unsigned char exif[] = {'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1, 1, 0x12, 0, 3, 0, 0, 0, 1, 0, 6, 0, 0, 0, 0, 0, 0};
  const bool boxes = std::string(format) == "jp2";
  const unsigned char id[] = "0123456789abcdefcontents";
  const MoxcMetadata blocks[] = {{moxcIcc, "", icc.data(), icc.size()},
                                 {moxcExif, "", exif, sizeof exif},
                                 {moxcXmp, "", "<x/>", 4},
                                 {moxcIptc, "", "\x1C\2\5\0\1x", 6},
                                 {moxcComment, "", "text", 4},
                                 {moxcOtherMetadata, boxes ? "uuid" : "APP5", id, sizeof id - 1}};
  return outputOf([&](const MoxcTarget& target, MoxcReport* report) {
           return moxcEncode(&pixels.pixels, format, nullptr, blocks, std::size(blocks), &target, nullptr, report);
         })
      .bytes;
}

// ---- Writing ------------------------------------------------------------------------------------------------------

using Write = MoxcWriteOptions;

// Base options under which the option is tried.
void nothing(Write&) {}
void inLossless(Write& o) { o.lossless = 1; }

struct WriteCase {
  Option<Write> option;
  std::function<void(Write&)> base = nothing;
};

const char* const kDct = " jpg ";
const char* const kJpeg2000 = " jp2 j2k ";

constexpr double kRatios[] = {40, 20, 1}, kRates[] = {4, 8, 16};
constexpr std::int32_t kPrecincts[] = {64, 64, 32, 32}, kSizes[] = {64, 65};

std::vector<WriteCase> writeCases() {
  const auto script = "0 1 2: 0-0, 0, 1;\n0: 1-63, 0, 0;\n1: 1-63, 0, 0;\n2: 1-63, 0, 0;\n0 1 2: 0-0, 1, 0;\n";
  std::vector<WriteCase> cases = {
      {{"quality", [](Write& o) { o.quality = 40; }, kDct}},
      {{"sample 4:4:4", [](Write& o) { o.sample = moxcSample444; }, kDct}},
      {{"sample 4:2:2", [](Write& o) { o.sample = moxcSample422; }, kDct}},
      {{"sample 4:4:0", [](Write& o) { o.sample = moxcSample440; }, kDct}},
      {{"sample 4:1:1", [](Write& o) { o.sample = moxcSample411; }, kDct}},
      {{"sample 4:1:0", [](Write& o) { o.sample = moxcSample410; }, kDct}},
      {{"factors", [](Write& o) { o.factors = "1x1,2x1,1x2"; }, kDct}},
      {{"qualities", [](Write& o) { o.qualities = "75,40"; }, kDct}},
      {{"rgb", [](Write& o) { o.rgb = 1; }, kDct}},
      {{"depth", [](Write& o) { o.depth = 12; }, kDct}},
      {{"depth out of range", [](Write& o) { o.depth = 10; }, " "}},
      {{"factors and sample", [](Write& o) { o.factors = "2x1", o.sample = moxcSample444; }, " "}},
      {{"qualities and quality", [](Write& o) { o.qualities = "75,40", o.quality = 9; }, " "}},
      {{"factors that are none", [](Write& o) { o.factors = "2x5"; }, " "}},
      {{"qualities that are none", [](Write& o) { o.qualities = "75,,40"; }, " "}},
      {{"factors of too many blocks", [](Write& o) { o.factors = "4x4"; }, " "}},
      {{"fractional factors", [](Write& o) { o.factors = "3x1,2x1"; }, " "}},
      {{"rgb and grayscale", [](Write& o) { o.rgb = o.grayscale = 1; }, " "}},
      {{"rgb and fastMcu", [](Write& o) { o.rgb = o.fastMcu = 1; }, " "}},
      {{"depth and fastMcu", [](Write& o) { o.depth = 12, o.fastMcu = 1; }, " "}},
      {{"rgb and a named sampling", [](Write& o) { o.rgb = 1, o.sample = moxcSample420; }, " "}},
      {{"grayscale", [](Write& o) { o.grayscale = 1; }, kDct}},
      {{"progressive", [](Write& o) { o.progressive = 1; }, kDct}},
      {{"scans", [=](Write& o) { o.scans = script; }, kDct}},
      {{"optimize", [](Write& o) { o.optimize = 1; }, kDct}},
      {{"fastMcu", [](Write& o) { o.fastMcu = 1; }, kDct}},
      {{"restart", [](Write& o) { o.restart = 2; }, kDct}},
      {{"restartInRows", [](Write& o) { o.restart = 2, o.restartInRows = 1; }, kDct}},
      {{"restartInRows alone", [](Write& o) { o.restartInRows = 1; }, " "}},
      {{"lossless", inLossless, kDct}},
      {{"predictor", [](Write& o) { o.lossless = 1, o.predictor = 3; }, kDct}, inLossless},
      {{"point", [](Write& o) { o.lossless = 1, o.point = 2; }, kDct}, inLossless},
      {{"restart of lossless", [](Write& o) { o.lossless = 1, o.restart = 2, o.restartInRows = 1; }, kDct}, inLossless},
      {{"predictor alone", [](Write& o) { o.predictor = 3; }, " "}},
      {{"point alone", [](Write& o) { o.point = 3; }, " "}},
      {{"ratio", [](Write& o) { o.ratio = 12; }, kJpeg2000}},
      {{"bpp", [](Write& o) { o.bpp = 1.5; }, kJpeg2000}},
      {{"levels", [](Write& o) { o.levelsPlus1 = 3; }, kJpeg2000}},
      {{"no levels", [](Write& o) { o.levelsPlus1 = 1; }, kJpeg2000}},
      {{"blockWidth", [](Write& o) { o.blockWidth = 16; }, kJpeg2000}},
      {{"blockHeight", [](Write& o) { o.blockHeight = 16; }, kJpeg2000}},
      {{"tile", [](Write& o) { o.tileWidth = o.tileHeight = 50; }, kJpeg2000}},
      {{"tileWidth", [](Write& o) { o.tileWidth = 50; }, kJpeg2000}},
      {{"tileHeight", [](Write& o) { o.tileHeight = 50; }, kJpeg2000}},
      {{"layers", [](Write& o) { o.layers = 4; }, kJpeg2000}},
      {{"both sizes", [](Write& o) { o.ratio = 12, o.bpp = 1; }, " "}},
      {{"exact to a size", [](Write& o) { o.ratio = 12, o.lossless = 1; }, " "}},
      {{"exact to a rate", [](Write& o) { o.bpp = 12, o.lossless = 1; }, " "}},
      {{"ratios", [](Write& o) { o.ratios = kRatios, o.ratioCount = 3; }, kJpeg2000}},
      {{"bpps", [](Write& o) { o.bpps = kRates, o.bppCount = 3; }, kJpeg2000}},
      {{"psnrs", [](Write& o) { o.psnrs = kRates, o.psnrCount = 3; }, kJpeg2000}},
      {{"a psnr", [](Write& o) { o.psnrs = kRates, o.psnrCount = 1; }, kJpeg2000}},
      {{"precincts", [](Write& o) { o.precincts = kPrecincts, o.precinctCount = 4; }, kJpeg2000}},
      {{"sop", [](Write& o) { o.sop = 1; }, kJpeg2000}},
      {{"eph", [](Write& o) { o.eph = 1; }, kJpeg2000}},
      {{"plt", [](Write& o) { o.plt = 1; }, kJpeg2000}},
      {{"tlm", [](Write& o) { o.tlm = 1; }, kJpeg2000}},
      {{"tileParts R", [](Write& o) { o.tileParts = moxcTilePartsResolutions; }, kJpeg2000}},
      {{"tileParts C", [](Write& o) { o.tileParts = moxcTilePartsComponents; }, kJpeg2000}},
      {{"tileParts L", [](Write& o) { o.tileParts = moxcTilePartsLayers, o.layers = 3; }, kJpeg2000},
       [](Write& o) { o.layers = 3; }},
      {{"roi", [](Write& o) { o.roiX = 10, o.roiWidth = o.roiHeight = 20; }, kJpeg2000}},
      {{"visual", [](Write& o) { o.visual = 1, o.ratio = 12; }, kJpeg2000}, [](Write& o) { o.ratio = 12; }},
      {{"comment", [](Write& o) { o.comment = "by the test"; }, " jpg jp2 j2k "}},
      {{"words of 565", [](Write& o) { o.words = 565; }, " bmp "}},
      {{"words of 555", [](Write& o) { o.words = 555; }, " bmp "}},
      {{"words of no kind", [](Write& o) { o.words = 556; }, " "}},
      {{"ratios that rise", [](Write& o) { o.ratios = kRates, o.ratioCount = 2; }, " "}},
      {{"psnrs that fall", [](Write& o) { o.psnrs = kRatios, o.psnrCount = 2; }, " "}},
      {{"layers of another number", [](Write& o) { o.ratios = kRatios, o.ratioCount = 3, o.layers = 2; }, " "}},
      {{"ratio and psnr", [](Write& o) { o.psnrs = kRates, o.psnrCount = 1, o.ratio = 12; }, " "}},
      {{"psnr without loss", [](Write& o) { o.psnrs = kRates, o.psnrCount = 1, o.lossless = 1; }, " "}},
      {{"psnr of a region", [](Write& o) { o.psnrs = kRates, o.psnrCount = 1, o.roiWidth = o.roiHeight = 9; }, " "}},
      {{"psnr for the eye", [](Write& o) { o.psnrs = kRates, o.psnrCount = 1, o.visual = 1; }, " "}},
      {{"visual alone", [](Write& o) { o.visual = 1; }, " "}},
      {{"an odd number of precincts", [](Write& o) { o.precincts = kPrecincts, o.precinctCount = 3; }, " "}},
      {{"precincts of any size", [](Write& o) { o.precincts = kSizes, o.precinctCount = 2; }, " "}},
      {{"more precincts than levels",
        [](Write& o) { o.precincts = kPrecincts, o.precinctCount = 4, o.levelsPlus1 = 1; }, " "}},
      {{"no precincts", [](Write& o) { o.precinctCount = 2; }, " "}},
      {{"no ratios", [](Write& o) { o.ratioCount = 2; }, " "}},
      {{"a region without height", [](Write& o) { o.roiWidth = 20; }, " "}},
      {{"a place without a region", [](Write& o) { o.roiX = 20; }, " "}},
      {{"a region outside", [](Write& o) { o.roiX = 1000, o.roiWidth = o.roiHeight = 20; }, " "}},
      {{"two kinds of scans", [=](Write& o) { o.scans = script, o.progressive = 1; }, " "}},
  };
  for (const int mode : {1, 2, 4, 8, 16, 32})
    cases.push_back({{"modes", [=](Write& o) { o.modes = mode; }, kJpeg2000}});
  for (const MoxcProgression progression : {moxcRlcp, moxcRpcl, moxcPcrl, moxcCprl})
    cases.push_back({{"progression", [=](Write& o) { o.progression = progression; }, kJpeg2000}});
  const std::pair<const char*, std::function<void(Write&)>> ofDct[] = {
      {"quality of lossless", [](Write& o) { o.quality = 40; }},
      {"qualities of lossless", [](Write& o) { o.qualities = "40"; }},
      {"factors of lossless", [](Write& o) { o.factors = "2x1"; }},
      {"rgb of lossless", [](Write& o) { o.rgb = 1; }},
      {"depth of lossless", [](Write& o) { o.depth = 12; }},
      {"sample of lossless", [](Write& o) { o.sample = moxcSample444; }},
      {"grayscale of lossless", [](Write& o) { o.grayscale = 1; }},
      {"progressive of lossless", [](Write& o) { o.progressive = 1; }},
      {"scans of lossless", [=](Write& o) { o.scans = script; }},
      {"optimize of lossless", [](Write& o) { o.optimize = 1; }},
      {"fastMcu of lossless", [](Write& o) { o.fastMcu = 1; }},
  };
  for (const auto& [name, set] : ofDct)
    cases.push_back({{name, [set = set](Write& o) { o.lossless = 1, set(o); }, " "}});
  return cases;
}

const char* const kFormats[] = {"jpg", "jp2", "j2k", "png", "ppm", "pgm", "pnm",
                                "pam", "pbm", "pgx", "bmp", "tif", "raw", "rawl"};

TEST(Options, OfWritingChangeTheFileOrAreRefused) {
  const Pixels colour = picture(moxcRgb, 100, 75), grey = picture(moxcGrey, 100, 75);
  const Bytes input = encode(colour, "png"), greyInput = encode(grey, "png");
  for (const char* const format : kFormats) {
    const bool isGrey = std::string(format) == "pgm" || std::string(format) == "pgx";
    const Pixels& pixels = isGrey ? grey : colour;
    const MoxcSource from = source(isGrey ? greyInput : input);
    for (const WriteCase& c : writeCases()) {
      if (c.option.name == std::string("lossless") && listed(kJpeg2000, format)) continue;  // its default
      Write options, base;
      moxcWriteOptionsInit(&options);
      moxcWriteOptionsInit(&base);
      c.option.set(options);
      if (listed(c.option.formats, format)) c.base(base);
      const auto encoded = [&](const Write& given) {
        return outputOf([&](const MoxcTarget& target, MoxcReport* report) {
          return moxcEncode(&pixels.pixels, format, &given, nullptr, 0, &target, nullptr, report);
        });
      };
      const auto converted = [&](const Write& given) {
        return outputOf([&](const MoxcTarget& target, MoxcReport* report) {
          return moxcConvert(&from, nullptr, format, &given, &target, nullptr, report);
        });
      };
      checkEffect(c.option, format, encoded(options), encoded(base));
      checkEffect(c.option, format, converted(options), converted(base));
    }
  }
}

// Exact is what JPEG 2000 is by default: that option says the same again.
TEST(Options, LosslessIsTheDefaultOfJpeg2000) {
  Write options;
  moxcWriteOptionsInit(&options);
  options.lossless = 1;
  const Pixels colour = picture(moxcRgb, 60, 50);
  EXPECT_EQ(encode(colour, "jp2"), encode(colour, "jp2", &options));
  options.lossless = 0;
  options.progression = moxcLrcp;
  EXPECT_EQ(encode(colour, "jp2"), encode(colour, "jp2", &options));
  for (const char* const format : {"png", "ppm", "pgx"}) {
    options.lossless = 1;
    EXPECT_EQ(moxcBadOption, outputOf([&](const MoxcTarget& target, MoxcReport* report) {
                               return moxcEncode(&colour.pixels, format, &options, nullptr, 0, &target, nullptr,
                                                 report);
                             }).kind);
  }
}

// The sampling of planes is that of the file.
TEST(Options, OfSamplingAreNotForPlanes) {
  Write options;
  moxcWriteOptionsInit(&options);
  options.sample = moxcSample444;
  const Pixels planes = ycbcr(40, 30, 2, 2);
  const Output output = outputOf([&](const MoxcTarget& target, MoxcReport* report) {
    return moxcEncode(&planes.pixels, "jpg", &options, nullptr, 0, &target, nullptr, report);
  });
  EXPECT_EQ(moxcBadOption, output.kind);
  EXPECT_EQ("sample", output.option);
}

// ---- Ranges -------------------------------------------------------------------------------------------------------

struct RangeCase {
  const char* option;
  std::function<void(Write&, int)> set;
  int lowest, highest;
};

TEST(Options, OfWritingHaveRanges) {
  const RangeCase cases[] = {
      {"quality", [](Write& o, int v) { o.quality = v; }, 0, 100},
      {"sample", [](Write& o, int v) { setNumber(o.sample, v); }, 0, 6},
      {"rgb", [](Write& o, int v) { o.rgb = v; }, 0, 1},
      {"grayscale", [](Write& o, int v) { o.grayscale = v; }, 0, 1},
      {"progressive", [](Write& o, int v) { o.progressive = v; }, 0, 1},
      {"optimize", [](Write& o, int v) { o.optimize = v; }, 0, 1},
      {"fastMcu", [](Write& o, int v) { o.fastMcu = v; }, 0, 1},
      {"restart", [](Write& o, int v) { o.restart = v; }, 0, 65535},
      {"restartInRows", [](Write& o, int v) { o.restartInRows = v; }, 0, 1},
      {"lossless", [](Write& o, int v) { o.lossless = v; }, 0, 1},
      {"predictor", [](Write& o, int v) { o.predictor = v; }, 0, 7},
      {"point", [](Write& o, int v) { o.point = v; }, 0, 15},
      {"levelsPlus1", [](Write& o, int v) { o.levelsPlus1 = v; }, 0, 33},
      {"blockWidth", [](Write& o, int v) { o.blockWidth = v; }, 0, 64},
      {"blockHeight", [](Write& o, int v) { o.blockHeight = v; }, 0, 64},
      {"tileWidth", [](Write& o, int v) { o.tileWidth = v; }, 0, INT32_MAX},
      {"tileHeight", [](Write& o, int v) { o.tileHeight = v; }, 0, INT32_MAX},
      {"progression", [](Write& o, int v) { setNumber(o.progression, v); }, 0, 5},
      {"layers", [](Write& o, int v) { o.layers = v; }, 0, 100},
      {"modes", [](Write& o, int v) { o.modes = v; }, 0, 63},
  };
  const Pixels pixels = picture(moxcGrey, 8, 8);
  for (const RangeCase& c : cases) {
    for (const std::int64_t value : {std::int64_t{c.lowest} - 1, std::int64_t{c.highest} + 1}) {
      if (value > INT32_MAX) continue;
      SCOPED_TRACE(c.option);
      Write options;
      moxcWriteOptionsInit(&options);
      c.set(options, static_cast<int>(value));
      const Output output = outputOf([&](const MoxcTarget& target, MoxcReport* report) {
        return moxcEncode(&pixels.pixels, "jp2", &options, nullptr, 0, &target, nullptr, report);
      });
      EXPECT_EQ(moxcBadOption, output.kind);
      EXPECT_EQ(c.option, output.option);
    }
  }
  for (const double value :
       {-1.0, 0.5, 1e7, std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
    Write options;
    moxcWriteOptionsInit(&options);
    options.ratio = value;
    const Output output = outputOf([&](const MoxcTarget& target, MoxcReport* report) {
      return moxcEncode(&pixels.pixels, "jp2", &options, nullptr, 0, &target, nullptr, report);
    });
    EXPECT_EQ(moxcBadOption, output.kind) << value;
    EXPECT_EQ("ratio", output.option);
  }
}

// ---- Reading ------------------------------------------------------------------------------------------------------

using Read = MoxcReadOptions;

TEST(Options, OfReadingChangeThePictureOrAreRefused) {
  const Pixels colour = picture(moxcRgb, 120, 90);
  Write layered;
  moxcWriteOptionsInit(&layered);
  layered.ratio = 4;
  layered.layers = 5;
  layered.tileWidth = layered.tileHeight = 64;
  const std::vector<Option<Read>> options = {
      {"reduce", [](Read& o) { o.reduce = 1; }, " jpg jp2 j2k "},
      {"tile", [](Read& o) { o.tilePlus1 = 2; }, kJpeg2000},
      {"region", [](Read& o) { o.regionX = 3, o.regionWidth = 50; }, " jpg jp2 j2k png ppm pgm pam pgx bmp tif "},
      {"layers", [](Read& o) { o.layers = 1; }, kJpeg2000},
      {"nosmooth", [](Read& o) { o.nosmooth = 1; }, " jpg "},
      {"fastMcu", [](Read& o) { o.fastMcu = 1; }, " jpg "},
      {"picture", [](Read& o) { o.picture = 2; }, " jpg "},
  };
  for (const char* const format : {"jpg", "jp2", "j2k", "png", "ppm", "pgm", "pam", "pgx", "bmp", "tif"}) {
    const bool isJpeg2000 = listed(kJpeg2000, format);
    const Pixels grey = picture(moxcGrey, 120, 90);
    const bool isGrey = std::string(format) == "pgm" || std::string(format) == "pgx";
    Bytes file = encode(isGrey ? grey : colour, format, isJpeg2000 ? &layered : nullptr);
    if (std::string(format) == "jpg") {  // of two pictures
      const Bytes second = encode(picture(moxcRgb, 50, 40), format);
      file.insert(file.end(), second.begin(), second.end());
    }
    const MoxcSource from = source(file);
    for (const Option<Read>& option : options) {
      Read with, without;
      moxcReadOptionsInit(&with);
      moxcReadOptionsInit(&without);
      option.set(with);
      const auto converted = [&](const Read& reading) {
        return outputOf([&](const MoxcTarget& target, MoxcReport* report) {
          return moxcConvert(&from, &reading, "pnm", nullptr, &target, nullptr, report);
        });
      };
      checkEffect(option, format, converted(with), converted(without));
      Picture picture;
      EXPECT_EQ(listed(option.formats, format) ? moxcOk : moxcBadOption,
                moxcDecode(&from, &with, nullptr, nullptr, &picture.picture, nullptr));
    }
  }
}

// The pixels of a file that says how it is turned. Of others they stay, whatever the format.
TEST(Options, OrientTurnsThePicture) {
  Read turned, without;
  moxcReadOptionsInit(&turned);
  moxcReadOptionsInit(&without);
  turned.orient = 1;
  for (const char* const format : {"jpg", "jp2", "png", "ppm"}) {
    const Bytes file = described(picture(moxcRgb, 120, 90), format);
    const MoxcSource from = source(file);
    const auto converted = [&](const Read& reading) {
      return outputOf([&](const MoxcTarget& target, MoxcReport* report) {
        return moxcConvert(&from, &reading, "pnm", nullptr, &target, nullptr, report);
      });
    };
    const bool has = std::string(format) != "ppm";
    EXPECT_EQ(has, converted(turned).bytes != converted(without).bytes) << format;
  }
  turned.orient = 2;
  Picture picture;
  const Bytes file = encode(codec::picture(moxcGrey, 8, 8), "png");
  const MoxcSource from = source(file);
  EXPECT_EQ(moxcBadOption, moxcDecode(&from, &turned, nullptr, nullptr, &picture.picture, nullptr));
}

// Each kind that a format has a place for. In others there is nothing to drop.
TEST(Options, StripDropsMetadata) {
  const std::pair<std::int32_t, std::string> kinds[] = {
      {moxcStripAll, " jpg jp2 j2k png "}, {moxcStripIcc, " jpg png "},      {moxcStripExif, " jpg jp2 png "},
      {moxcStripXmp, " jpg jp2 png "},     {moxcStripIptc, " jpg jp2 png "}, {moxcStripComment, " jpg jp2 j2k png "},
      {moxcStripOther, " jpg "},           {moxcStripResolution, " "}};
  const Bytes file = described(picture(moxcRgb, 40, 30), "jpg");
  const MoxcSource from = source(file);
  for (const auto& [strip, formats] : kinds) {
    for (const char* const format : {"jpg", "jp2", "j2k", "png", "ppm", "pgm", "pnm"}) {
      const auto converted = [&](std::int32_t dropped) {
        Write options;
        moxcWriteOptionsInit(&options);
        options.strip = dropped;
        return outputOf([&](const MoxcTarget& target, MoxcReport* report) {
          return moxcConvert(&from, nullptr, format, &options, &target, nullptr, report);
        });
      };
      const Output with = converted(strip), without = converted(0);
      EXPECT_EQ(moxcOk, with.kind) << with.text;
      EXPECT_EQ(listed(formats, format), with.bytes != without.bytes) << strip << " for " << format;
    }
  }
}

// Inks stay inks.
TEST(Options, ComponentsChangeThePictureOrAreRefused) {
  Write lossless;
  moxcWriteOptionsInit(&lossless);
  lossless.lossless = 1;
  const Bytes inks = encode(picture(moxcCmyk, 40, 30), "jpg", &lossless);
  Read reading;
  moxcReadOptionsInit(&reading);
  reading.components = 1;
  const MoxcSource from = source(inks);
  Picture converted, kept;
  EXPECT_EQ(moxcOk, moxcDecode(&from, nullptr, nullptr, nullptr, &converted.picture, nullptr));
  EXPECT_EQ(moxcRgb, converted.pixels().layout);
  EXPECT_EQ(moxcOk, moxcDecode(&from, &reading, nullptr, nullptr, &kept.picture, nullptr));
  EXPECT_EQ(moxcCmyk, kept.pixels().layout);
}

// A file whose only component is sub-sampled has two sizes.
TEST(Options, UpsampleChangesThePictureOrIsRefused) {
  const Pixels grey = picture(moxcGrey, 20, 15);
  Bytes file = encode(grey, "j2k");
  constexpr int kFactor = 3;
  const auto siz = file.begin() + 2;  // after SOC
  ASSERT_EQ(0x51, static_cast<unsigned char>(siz[1]));
  for (const int at : {6, 10, 22, 26}) siz[at + 3] = static_cast<Bytes::value_type>(siz[at + 3] * kFactor);
  siz[41] = siz[42] = kFactor;
  const auto sizeOf = [](const Bytes& bytes, bool upsample, MoxcKind expected) {
    Read reading;
    moxcReadOptionsInit(&reading);
    reading.upsample = upsample;
    const MoxcSource from = source(bytes);
    Picture picture;
    const Report report;
    EXPECT_EQ(expected, moxcDecode(&from, &reading, nullptr, nullptr, &picture.picture, report)) << report.text();
    if (expected != moxcOk) {
      EXPECT_STREQ("upsample", moxcReportOption(report));
    }
    return picture.picture ? std::pair(picture.pixels().width, picture.pixels().height) : std::pair(0, 0);
  };
  EXPECT_EQ(std::pair(20, 15), sizeOf(file, false, moxcOk));
  EXPECT_EQ(std::pair(20 * kFactor, 15 * kFactor), sizeOf(file, true, moxcOk));
  sizeOf(encode(grey, "png"), true, moxcBadOption);
}

TEST(Options, OfReadingHaveRanges) {
  const Bytes file = encode(picture(moxcGrey, 20, 20), "jp2");
  const MoxcSource from = source(file);
  const std::pair<const char*, std::function<void(Read&)>> cases[] = {
      {"reduce", [](Read& o) { o.reduce = 33; }},        {"reduce", [](Read& o) { o.reduce = -1; }},
      {"layers", [](Read& o) { o.layers = 65536; }},     {"layers", [](Read& o) { o.layers = -1; }},
      {"nosmooth", [](Read& o) { o.nosmooth = 2; }},     {"fastMcu", [](Read& o) { o.fastMcu = -1; }},
      {"components", [](Read& o) { o.components = 2; }}, {"reduce", [](Read& o) { o.reduce = 6; }},
      {"picture", [](Read& o) { o.picture = -1; }},      {"upsample", [](Read& o) { o.upsample = 2; }},
      {"regionX", [](Read& o) { o.regionX = -1; }},      {"regionHeight", [](Read& o) { o.regionHeight = -1; }},
      {"region", [](Read& o) { o.regionX = 20; }},       {"tilePlus1", [](Read& o) { o.tilePlus1 = 65536; }},
      {"tile", [](Read& o) { o.tilePlus1 = 2; }},        {"tile", [](Read& o) { o.tilePlus1 = o.regionX = 1; }},
  };
  for (const auto& [name, set] : cases) {
    Read reading;
    moxcReadOptionsInit(&reading);
    set(reading);
    Picture picture;
    const Report report;
    EXPECT_EQ(moxcBadOption, moxcDecode(&from, &reading, nullptr, nullptr, &picture.picture, report)) << name;
    EXPECT_STREQ(name, moxcReportOption(report));
    EXPECT_EQ(moxcAdviceOption, moxcReportAdvice(report));
  }
}

// ---- Transcoding --------------------------------------------------------------------------------------------------

using Transcode = MoxcTranscodeOptions;

TEST(Options, OfTranscodingChangeTheFileOrAreRefused) {
  const Bytes file = described(picture(moxcRgb, 120, 90), "jpg");
  const auto script = "0 1 2: 0-0, 0, 0;\n0: 1-63, 0, 0;\n1: 1-63, 0, 0;\n2: 1-63, 0, 0;\n";
  std::vector<Option<Transcode>> options = {
      {"progressive", [](Transcode& o) { o.progressive = 1; }, " jpg "},
      {"sequential", [](Transcode& o) { o.sequential = 1; }, " jpg "},
      {"scans", [=](Transcode& o) { o.scans = script; }, " jpg "},
      {"strip all", [](Transcode& o) { o.strip = moxcStripAll; }, " jpg "},
      {"strip icc", [](Transcode& o) { o.strip = moxcStripIcc; }, " jpg "},
      {"strip exif", [](Transcode& o) { o.strip = moxcStripExif; }, " jpg "},
      {"strip xmp", [](Transcode& o) { o.strip = moxcStripXmp; }, " jpg "},
      {"strip iptc", [](Transcode& o) { o.strip = moxcStripIptc; }, " jpg "},
      {"strip comment", [](Transcode& o) { o.strip = moxcStripComment; }, " jpg "},
      {"strip other", [](Transcode& o) { o.strip = moxcStripOther; }, " jpg "},
      {"strip out of range", [](Transcode& o) { o.strip = 2 * moxcStripResolution; }, " "},
      {"strip below range", [](Transcode& o) { o.strip = -1; }, " "},
      {"orient", [](Transcode& o) { o.orient = 1; }, " jpg "},
      {"orient and trim", [](Transcode& o) { o.orient = o.trim = 1; }, " jpg "},
      {"orient with an edge", [](Transcode& o) { o.orient = o.perfect = 1; }, " "},
      {"orient and transform", [](Transcode& o) { o.orient = 1, o.transform = moxcTranspose; }, " "},
      {"orient out of range", [](Transcode& o) { o.orient = 2; }, " "},
      {"restart", [](Transcode& o) { o.restart = 3; }, " jpg "},
      {"restartInRows", [](Transcode& o) { o.restart = 3, o.restartInRows = 1; }, " jpg "},
      {"restartInRows alone", [](Transcode& o) { o.restartInRows = 1; }, " "},
      {"grayscale", [](Transcode& o) { o.grayscale = 1; }, " jpg "},
      {"trim", [](Transcode& o) { o.transform = moxcRotate90, o.trim = 1; }, " jpg "},
      {"trim alone", [](Transcode& o) { o.trim = 1; }, " "},
      {"perfect", [](Transcode& o) { o.transform = moxcTranspose, o.perfect = 1; }, " jpg "},
      {"perfect alone", [](Transcode& o) { o.perfect = 1; }, " "},
      {"perfect with an edge", [](Transcode& o) { o.transform = moxcRotate90, o.perfect = 1; }, " "},
      {"trim and perfect", [](Transcode& o) { o.transform = moxcTranspose, o.trim = o.perfect = 1; }, " "},
      {"cropWidth", [](Transcode& o) { o.cropWidth = 100; }, " jpg "},
      {"cropHeight", [](Transcode& o) { o.cropHeight = 70; }, " jpg "},
      {"cropX", [](Transcode& o) { o.cropX = 100; }, " jpg "},
      {"cropY", [](Transcode& o) { o.cropY = 70; }, " jpg "},
      {"cropWidth out of range", [](Transcode& o) { o.cropWidth = 121; }, " "},
      {"cropHeight out of range", [](Transcode& o) { o.cropHeight = 71, o.cropY = 20; }, " "},
      {"cropX out of range", [](Transcode& o) { o.cropX = 120; }, " "},
      {"cropY out of range", [](Transcode& o) { o.cropY = INT32_MAX; }, " "},
      {"cropX below range", [](Transcode& o) { o.cropX = -1; }, " "},
      {"trim out of range", [](Transcode& o) { o.transform = moxcRotate90, o.trim = 2; }, " "},
      {"transform out of range", [](Transcode& o) { o.transform = static_cast<MoxcTransform>(8); }, " "},
      {"transform below range", [](Transcode& o) { o.transform = static_cast<MoxcTransform>(-1); }, " "},
      {"progressive and sequential", [](Transcode& o) { o.progressive = o.sequential = 1; }, " "},
      {"scans and progressive", [=](Transcode& o) { o.scans = script, o.progressive = 1; }, " "},
      {"scans and sequential", [=](Transcode& o) { o.scans = script, o.sequential = 1; }, " "},
      {"restart out of range", [](Transcode& o) { o.restart = 65536; }, " "},
      {"optimize out of range", [](Transcode& o) { o.optimize = 2; }, " "},
      {"picture that is not there", [](Transcode& o) { o.picture = 2; }, " "},
  };
  for (int transform = moxcFlipHorizontal; transform <= moxcRotate270; ++transform)
    options.push_back(
        {"transform", [=](Transcode& o) { o.transform = static_cast<MoxcTransform>(transform); }, " jpg "});
  const MoxcSource from = source(file);
  const auto transcoded = [&](const MoxcSource& source, const Transcode& given) {
    return outputOf([&](const MoxcTarget& target, MoxcReport* report) {
      return moxcTranscode(&source, &given, &target, nullptr, report);
    });
  };
  for (const Option<Transcode>& option : options) {
    Transcode with, without;
    moxcTranscodeOptionsInit(&with);
    moxcTranscodeOptionsInit(&without);
    option.set(with);
    checkEffect(option, "jpg", transcoded(from, with), transcoded(from, without));
  }
  // A progressive file stays progressive, unless optimal tables of a sequential one are wanted.
  Transcode none, optimize;
  moxcTranscodeOptionsInit(&none);
  moxcTranscodeOptionsInit(&optimize);
  Transcode progressive = none;
  progressive.progressive = 1;
  optimize.optimize = 1;
  const Bytes other = transcode(file, &progressive);
  EXPECT_EQ(other, transcode(other, &none));
  EXPECT_EQ(transcode(file, &none), transcode(other, &optimize));
  EXPECT_EQ(moxcNotThisFormat, transcoded(moxcMemorySource("P5 1 1 255 a", 12), none).kind);
}

TEST(Options, ScriptsAreChecked) {
  Write options;
  moxcWriteOptionsInit(&options);
  options.scans = "0 1 2: 0-0, 0, 0;\n0: 9-70, 0, 0;\n";
  const Pixels pixels = picture(moxcRgb, 8, 8);
  const Output output = outputOf([&](const MoxcTarget& target, MoxcReport* report) {
    return moxcEncode(&pixels.pixels, "jpg", &options, nullptr, 0, &target, nullptr, report);
  });
  EXPECT_EQ(moxcBadOption, output.kind);
  EXPECT_EQ("scans", output.option);
  EXPECT_EQ(0u, output.text.find("scans: line 2: ")) << output.text;
}

}  // namespace
