// The ranges of all options, in tables, and the options that exclude each other.
#include "api/options.h"

#include <bit>
#include <charconv>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "api/checks.h"
#include "api/metadata.h"
#include "api/structs.h"
#include "j2k/params.h"

namespace moxj::api {

namespace {

constexpr std::int32_t kMaxInt = INT32_MAX;
constexpr double kMaxRatio = 1e6, kMaxBpp = 1e6, kMinBpp = 1e-6;
constexpr int kMaxCoefficients = 4096;  // of a code-block
constexpr std::size_t kMaxComponents = 4;

using Read = MoxcReadOptions;
constexpr Range<Read> kReadRanges[] = {
    {&Read::reduce, "reduce", 0, j2k::kMaxLevels}, {&Read::layers, "layers", 0, j2k::kMaxLayers},
    {&Read::nosmooth, "nosmooth", 0, 1},           {&Read::fastMcu, "fastMcu", 0, 1},
    {&Read::components, "components", 0, 1},       {&Read::orient, "orient", 0, 1},
    {&Read::picture, "picture", 0, kMaxInt},       {&Read::upsample, "upsample", 0, 1},
    {&Read::regionX, "regionX", 0, kMaxInt},       {&Read::regionWidth, "regionWidth", 0, kMaxInt},
    {&Read::regionY, "regionY", 0, kMaxInt},       {&Read::regionHeight, "regionHeight", 0, kMaxInt},
    {&Read::tilePlus1, "tilePlus1", 0, 65535},     {&Read::srgb, "srgb", 0, 1},
};

using Write = MoxcWriteOptions;
constexpr Range<Write> kWriteRanges[] = {
    {&Write::quality, "quality", 0, 100},
    {&Write::grayscale, "grayscale", 0, 1},
    {&Write::progressive, "progressive", 0, 1},
    {&Write::optimize, "optimize", 0, 1},
    {&Write::fastMcu, "fastMcu", 0, 1},
    {&Write::restart, "restart", 0, 65535},
    {&Write::restartInRows, "restartInRows", 0, 1},
    {&Write::lossless, "lossless", 0, 1},
    {&Write::predictor, "predictor", 0, 7},
    {&Write::point, "point", 0, 15},
    {&Write::levelsPlus1, "levelsPlus1", 0, j2k::kMaxLevels + 1},
    {&Write::tileWidth, "tileWidth", 0, kMaxInt},
    {&Write::tileHeight, "tileHeight", 0, kMaxInt},
    {&Write::layers, "layers", 0, 100},
    {&Write::modes, "modes", 0, j2k::allModes},
    {&Write::ratioCount, "ratioCount", 0, 100},
    {&Write::bppCount, "bppCount", 0, 100},
    {&Write::psnrCount, "psnrCount", 0, 100},
    {&Write::precinctCount, "precinctCount", 0, 2 * (j2k::kMaxLevels + 1)},
    {&Write::sop, "sop", 0, 1},
    {&Write::eph, "eph", 0, 1},
    {&Write::plt, "plt", 0, 1},
    {&Write::tlm, "tlm", 0, 1},
    {&Write::roiX, "roiX", 0, kMaxInt},
    {&Write::roiY, "roiY", 0, kMaxInt},
    {&Write::roiWidth, "roiWidth", 0, kMaxInt},
    {&Write::roiHeight, "roiHeight", 0, kMaxInt},
    {&Write::visual, "visual", 0, 1},
    {&Write::rgb, "rgb", 0, 1},
    {&Write::cmyk, "cmyk", 0, 1},
};

using Transcode = MoxcTranscodeOptions;
constexpr Range<Transcode> kTranscodeRanges[] = {
    {&Transcode::optimize, "optimize", 0, 1},
    {&Transcode::progressive, "progressive", 0, 1},
    {&Transcode::sequential, "sequential", 0, 1},
    {&Transcode::restart, "restart", 0, 65535},
    {&Transcode::restartInRows, "restartInRows", 0, 1},
    {&Transcode::trim, "trim", 0, 1},
    {&Transcode::perfect, "perfect", 0, 1},
    {&Transcode::grayscale, "grayscale", 0, 1},
    {&Transcode::cropWidth, "cropWidth", 0, kMaxInt},
    {&Transcode::cropX, "cropX", 0, kMaxInt},
    {&Transcode::cropHeight, "cropHeight", 0, kMaxInt},
    {&Transcode::cropY, "cropY", 0, kMaxInt},
    {&Transcode::orient, "orient", 0, 1},
    {&Transcode::picture, "picture", 0, kMaxInt},
};

// By MoxcTransform.
constexpr jpeg::Transform kTransforms[] = {{},
                                           jpeg::kFlipHorizontal,
                                           jpeg::kFlipVertical,
                                           jpeg::kTranspose,
                                           jpeg::kTransverse,
                                           jpeg::kRotate90,
                                           jpeg::kRotate180,
                                           jpeg::kRotate270};

bool isText(const char* text) { return text && *text; }

[[noreturn]] void failTogether(const char* option, const char* other) {
  failOption(option, std::string("and ") + other + " cannot be combined");
}

// 0 is "not given"; NaN is out of every range.
void checkReal(const char* name, double value, double min, double max) {
  if (value == 0 || (value >= min && value <= max)) return;
  failOption(name, "is out of range");
}

void checkEnum(const char* name, int value, int last) {
  if (value < 0 || value > last) failOption(name, "is " + std::to_string(value) + ", which is no value of its type");
}

void checkBlock(const Write& given) {
  const auto allowed = [](std::int32_t size) {
    return size == 0 || (size >= 4 && size <= 1024 && std::has_single_bit(static_cast<unsigned>(size)));
  };
  if (!allowed(given.blockWidth)) failOption("blockWidth", "is not a power of two from 4 to 1024");
  if (!allowed(given.blockHeight)) failOption("blockHeight", "is not a power of two from 4 to 1024");
  const int width = given.blockWidth ? given.blockWidth : 64, height = given.blockHeight ? given.blockHeight : 64;
  if (width * height > kMaxCoefficients)
    failOption(given.blockWidth ? "blockWidth" : "blockHeight", "makes code-blocks of " + std::to_string(width) +
                                                                    " x " + std::to_string(height) +
                                                                    " coefficients, more than 4096");
}

// The options of which one at most may be given, and none with lossless.
void checkGoals(const Write& given) {
  const std::pair<const char*, bool> goals[] = {{"ratio", given.ratio != 0},
                                                {"bpp", given.bpp != 0},
                                                {"ratios", given.ratioCount != 0},
                                                {"bpps", given.bppCount != 0},
                                                {"psnrs", given.psnrCount != 0}};
  const char* first = nullptr;
  for (const auto& [name, isGiven] : goals) {
    if (!isGiven) continue;
    if (first) failTogether(first, name);
    if (given.lossless) failTogether(name, "lossless");
    first = name;
  }
}

void checkRegion(const Write& given) {
  if ((given.roiWidth == 0) != (given.roiHeight == 0)) failOption(given.roiWidth ? "roiHeight" : "roiWidth", "is 0");
  if (given.roiWidth == 0 && (given.roiX || given.roiY))
    failOption(given.roiX ? "roiX" : "roiY", "has no effect without roiWidth and roiHeight");
}

void checkTogether(const Write& given) {
  checkGoals(given);
  checkRegion(given);
  if (given.precinctCount % 2 != 0) failOption("precinctCount", "is odd");
  if (isText(given.factors) && numberOf(given.sample)) failTogether("factors", "sample");
  if (isText(given.qualities) && given.quality) failTogether("qualities", "quality");
  if (isText(given.scans) && given.progressive) failTogether("scans", "progressive");
  if (given.predictor && !given.lossless) failOption("predictor", "is for lossless files");
  if (given.point && !given.lossless) failOption("point", "is for lossless files");
  if (given.restartInRows && !given.restart) failOption("restartInRows", "has no effect without restart");
}

void checkTogether(const Transcode& given) {
  if (given.progressive && given.sequential) failTogether("progressive", "sequential");
  if (isText(given.scans) && given.progressive) failTogether("scans", "progressive");
  if (isText(given.scans) && given.sequential) failTogether("scans", "sequential");
  if (given.restartInRows && !given.restart) failOption("restartInRows", "has no effect without restart");
  if (given.trim && given.perfect) failTogether("trim", "perfect");
  if (given.orient && given.transform) failTogether("orient", "transform");
  const bool turns = given.transform || given.orient;
  if (given.trim && !turns) failOption("trim", "has no effect without transform");
  if (given.perfect && !turns) failOption("perfect", "has no effect without transform");
}

// An array of the caller's; `single` is the same as an array of one value.
template <class Value>
std::vector<Value> listOf(const char* name, const Value* values, std::int32_t count, Value single = 0) {
  if (single != 0) return {single};
  if (count > 0 && !values) failOption(name, "is NULL");
  return {values, values + count};
}

std::vector<j2k::PrecinctSize> precinctsOf(const Write& write) {
  const std::vector<std::int32_t> numbers = listOf("precincts", write.precincts, write.precinctCount);
  std::vector<j2k::PrecinctSize> sizes;
  for (std::size_t i = 0; i < numbers.size(); i += 2) sizes.push_back({numbers[i], numbers[i + 1]});
  return sizes;
}

// The values of a list with commas, one for each component. `parse` gives the value of a text, or none.
template <class Parse>
auto listOf(const char* name, const char* text, const char* example, Parse parse) {
  std::vector<typename std::invoke_result_t<Parse, std::string_view>::value_type> values;
  if (!isText(text)) return values;
  std::string_view rest = text;
  for (bool more = true; more;) {
    const std::size_t comma = rest.find(',');
    const auto value = parse(rest.substr(0, comma));
    if (!value || values.size() == kMaxComponents)
      failOption(name, std::string("is \"") + text + "\", which is not like \"" + example + "\"");
    values.push_back(*value);
    more = comma != std::string_view::npos;
    if (more) rest.remove_prefix(comma + 1);
  }
  return values;
}

std::optional<jpeg::Factors> parseFactors(std::string_view text) {
  const auto isFactor = [](char digit) { return digit >= '1' && digit <= '4'; };
  if (text.size() != 3 || !isFactor(text[0]) || text[1] != 'x' || !isFactor(text[2])) return std::nullopt;
  return jpeg::Factors{text[0] - '0', text[2] - '0'};
}

std::optional<int> parseQuality(std::string_view text) {
  int quality = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), quality);
  if (error != std::errc() || end != text.data() + text.size() || quality < 1 || quality > 100) return std::nullopt;
  return quality;
}

std::optional<jpeg::Script> scriptOf(const char* text) {
  if (!isText(text)) return std::nullopt;
  try {
    return jpeg::parseScript(text, "scans");
  } catch (Problem& problem) {
    problem.setting = Setting::option;
    problem.option = "scans";
    throw;
  }
}

}  // namespace

ReadOptions readOptionsOf(const MoxcReadOptions* options) {
  const Read read = given(options, "options");
  checkRanges(read, kReadRanges);
  ReadOptions to;
  to.reduce = read.reduce;
  to.layers = read.layers;
  to.nosmooth = read.nosmooth;
  to.fastMcu = read.fastMcu;
  to.components = read.components;
  to.orient = read.orient;
  to.picture = read.picture;
  to.upsample = read.upsample;
  to.region = {read.regionX, read.regionY, read.regionWidth, read.regionHeight};
  if (read.tilePlus1) to.tile = read.tilePlus1 - 1;
  if (to.tile && to.region.given()) failTogether("tile", "region");
  to.srgb = read.srgb;
  if (to.srgb && to.components) failTogether("srgb", "components");
  return to;
}

WriteOptions writeOptionsOf(const MoxcWriteOptions* options) {
  const Write write = given(options, "options");
  checkRanges(write, kWriteRanges);
  checkEnum("sample", numberOf(write.sample), moxcSample410);
  checkEnum("progression", numberOf(write.progression), moxcCprl);
  checkEnum("tileParts", numberOf(write.tileParts), moxcTilePartsComponents);
  checkReal("ratio", write.ratio, 1, kMaxRatio);
  checkReal("bpp", write.bpp, kMinBpp, kMaxBpp);
  checkBlock(write);
  if (write.depth != 0 && write.depth != 8 && write.depth != 12)
    failOption("depth", "is " + std::to_string(write.depth) + ", not 8 or 12");
  if (write.words != 0 && write.words != 555 && write.words != 565)
    failOption("words", "is " + std::to_string(write.words) + ", not 555 or 565");
  checkTogether(write);
  WriteOptions to;
  to.quality = write.quality;
  to.sample = static_cast<Subsampling>(write.sample);
  to.grayscale = write.grayscale;
  to.progressive = write.progressive;
  to.scans = scriptOf(write.scans);
  to.optimize = write.optimize;
  to.fastMcu = write.fastMcu;
  to.restart = write.restart;
  to.restartInRows = write.restartInRows;
  to.lossless = write.lossless;
  to.predictor = write.predictor;
  to.point = write.point;
  to.ratio = listOf("ratios", write.ratios, write.ratioCount, write.ratio);
  to.bpp = listOf("bpps", write.bpps, write.bppCount, write.bpp);
  to.psnr = listOf("psnrs", write.psnrs, write.psnrCount);
  if (write.levelsPlus1) to.levels = write.levelsPlus1 - 1;
  to.blockWidth = write.blockWidth;
  to.blockHeight = write.blockHeight;
  to.tileWidth = write.tileWidth;
  to.tileHeight = write.tileHeight;
  if (write.progression) to.progression = static_cast<j2k::Order>(write.progression - 1);
  to.layers = write.layers;
  to.modes = write.modes;
  to.precincts = precinctsOf(write);
  to.sop = write.sop;
  to.eph = write.eph;
  to.plt = write.plt;
  to.tlm = write.tlm;
  to.tileParts = static_cast<j2k::Division>(write.tileParts);
  to.roi = {write.roiX, write.roiY, write.roiWidth, write.roiHeight};
  to.visual = write.visual;
  if (write.comment) to.comment = write.comment;
  to.strip = stripOf(write.strip);
  to.rgb = write.rgb;
  to.factors = listOf("factors", write.factors, "2x1,1x1,1x1", parseFactors);
  to.qualities = listOf("qualities", write.qualities, "90,80", parseQuality);
  to.depth = write.depth;
  to.cmyk = write.cmyk;
  if (write.words) to.words = write.words == 565 ? Words::rgb565 : Words::rgb555;
  return to;
}

jpeg::TranscodeOptions transcodeOptionsOf(const MoxcTranscodeOptions* options) {
  using Process = jpeg::TranscodeOptions::Process;
  const Transcode given = api::given(options, "options");
  checkRanges(given, kTranscodeRanges);
  checkEnum("transform", numberOf(given.transform), moxcRotate270);
  checkTogether(given);
  jpeg::TranscodeOptions to;
  if (given.progressive)
    to.process = Process::progressive;
  else if (given.sequential || given.optimize)
    to.process = Process::sequential;
  to.optimize = given.optimize || !given.sequential;
  to.script = scriptOf(given.scans);
  // The density is in the JFIF segment, which stays unless the density is named.
  to.strip = stripOf(given.strip);
  if (given.strip & moxcStripAll) to.strip = to.strip.withoutResolution();
  to.restart = given.restart;
  to.restartInRows = given.restartInRows;
  to.geometry = {.transform = kTransforms[given.transform],
                 .crop = {given.cropWidth, given.cropHeight, given.cropX, given.cropY},
                 .trim = given.trim != 0,
                 .perfect = given.perfect != 0,
                 .grayscale = given.grayscale != 0};
  to.orient = given.orient;
  to.picture = given.picture;
  return to;
}

}  // namespace moxj::api
