// Numbers, sizes, and names of JPEG and JPEG 2000.
#include "cli/values.h"

#include <algorithm>
#include <bit>

namespace moxj::cli {

namespace {

template <typename Value>
struct Named {
  std::string_view name;
  Value value;
};

constexpr Named<MoxcSample> kSamplings[] = {{"4:4:4", moxcSample444}, {"4:2:2", moxcSample422},
                                            {"4:2:0", moxcSample420}, {"4:4:0", moxcSample440},
                                            {"4:1:1", moxcSample411}, {"4:1:0", moxcSample410}};
constexpr Named<MoxcProgression> kProgressions[] = {
    {"LRCP", moxcLrcp}, {"RLCP", moxcRlcp}, {"RPCL", moxcRpcl}, {"PCRL", moxcPcrl}, {"CPRL", moxcCprl}};
constexpr Named<std::int32_t> kModes[] = {{"bypass", moxcModeBypass},   {"reset", moxcModeReset},
                                          {"termall", moxcModeTermall}, {"causal", moxcModeCausal},
                                          {"pterm", moxcModePterm},     {"segsym", moxcModeSegsym}};
constexpr Named<MoxcTileParts> kTileParts[] = {
    {"R", moxcTilePartsResolutions}, {"L", moxcTilePartsLayers}, {"C", moxcTilePartsComponents}};
constexpr Named<MoxcTransform> kRotations[] = {{"90", moxcRotate90}, {"180", moxcRotate180}, {"270", moxcRotate270}};
constexpr Named<MoxcTransform> kFlips[] = {{"h", moxcFlipHorizontal},
                                           {"v", moxcFlipVertical},
                                           {"horizontal", moxcFlipHorizontal},
                                           {"vertical", moxcFlipVertical}};

constexpr Named<std::int32_t> kMetadata[] = {{"all", moxcStripAll},     {"icc", moxcStripIcc},
                                             {"exif", moxcStripExif},   {"xmp", moxcStripXmp},
                                             {"iptc", moxcStripIptc},   {"comment", moxcStripComment},
                                             {"other", moxcStripOther}, {"resolution", moxcStripResolution}};

// Null if there is none.
template <typename Value, std::size_t count>
const Value* valueNamed(const Named<Value> (&table)[count], std::string_view name) {
  const auto found = std::ranges::find(table, name, &Named<Value>::name);
  return found == std::end(table) ? nullptr : &found->value;
}

// Adds up the values of names that are separated by commas. False if one is unknown.
template <std::size_t count>
bool useList(std::string_view text, const Named<std::int32_t> (&table)[count], std::int32_t& sum) {
  sum = 0;
  for (std::size_t at = 0; at <= text.size();) {
    const std::size_t end = std::min(text.find(',', at), text.size());
    const std::int32_t* const value = valueNamed(table, text.substr(at, end - at));
    if (!value) return false;
    sum |= *value;
    at = end + 1;
  }
  return true;
}

// What stands between commas.
std::vector<std::string_view> wordsOf(std::string_view text) {
  std::vector<std::string_view> words;
  for (std::size_t at = 0; at <= text.size();) {
    const std::size_t end = std::min(text.find(',', at), text.size());
    words.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return words;
}

// Whether each of the values between commas, four at most, is right.
template <class IsRight>
bool isList(std::string_view text, IsRight isRight) {
  for (int values = 1; values <= 4; ++values) {
    const std::size_t comma = text.find(',');
    if (!isRight(text.substr(0, comma))) return false;
    if (comma == std::string_view::npos) return true;
    text.remove_prefix(comma + 1);
  }
  return false;
}

// "WxH"
bool parseSize(std::string_view text, std::int32_t& width, std::int32_t& height) {
  const std::size_t cross = std::min(text.find('x'), text.size());
  return parseNumber(text.substr(0, cross), 1, INT32_MAX, width) && cross < text.size() &&
         parseNumber(text.substr(cross + 1), 1, INT32_MAX, height);
}

// "+X+Y"
bool parseOffset(std::string_view text, std::int32_t& x, std::int32_t& y) {
  const std::size_t second = std::min(text.find('+', 1), text.size());
  return parseNumber(text.substr(1, second - 1), 0, INT32_MAX, x) && second < text.size() &&
         parseNumber(text.substr(second + 1), 0, INT32_MAX, y);
}

std::string shortest(double value) {
  char text[32];
  return std::string(text, std::to_chars(text, text + sizeof text, value, std::chars_format::fixed).ptr);
}

// Removes the suffix k, M or G and returns its factor, or 1.
std::uint64_t takeFactor(std::string_view& text, std::uint64_t thousand) {
  const std::size_t power = text.empty() ? std::string_view::npos : std::string_view("kKmMgG").find(text.back()) / 2;
  std::uint64_t factor = 1;
  if (power > 2) return factor;
  text.remove_suffix(1);
  for (std::size_t i = 0; i <= power; ++i) factor *= thousand;
  return factor;
}

}  // namespace

Complaint useScaled(std::string_view text, std::uint64_t thousand, std::uint64_t max, std::uint64_t& target) {
  const std::uint64_t factor = takeFactor(text, thousand);
  std::uint64_t value = 0;
  if (!parseNumber<std::uint64_t>(text, 1, max / factor, value))
    return "is not a whole number from 1 to " + std::to_string(max) + ", optionally in units of k, M or G";
  target = value * factor;
  return "";
}

Complaint useReals(std::string_view text, double min, double max, std::vector<double>& target) {
  const std::vector<std::string_view> words = wordsOf(text);
  target.clear();
  for (const std::string_view word : words) {
    double value = 0;
    const bool everything =
        words.size() > 1 && target.size() + 1 == words.size() && (word == "0" || word == "lossless");
    if (!everything && !parseNumber(word, min, max, value))
      return (words.size() == 1 ? "is not a number from " : "is not a list of numbers from ") + shortest(min) + " to " +
             shortest(max);
    target.push_back(value);
  }
  return "";
}

Complaint useReal(std::string_view text, double min, double max, double& target) {
  if (parseNumber(text, min, max, target)) return "";
  return "is not a number from " + shortest(min) + " to " + shortest(max);
}

Complaint useWords(std::string_view text, std::vector<std::string>& words) {
  const std::vector<std::string_view> parts = wordsOf(text);
  words.assign(parts.begin(), parts.end());
  return std::ranges::find(words, "") == words.end() ? "" : "is not a list of names";
}

Complaint useQuality(const std::string& text, std::int32_t& quality, std::string& list) {
  list.clear();
  quality = 0;
  if (text.find(',') == std::string::npos) return useNumber(text, 1, 100, quality);
  int one = 0;
  if (!isList(text, [&](std::string_view value) { return parseNumber(value, 1, 100, one); }))
    return "is not a list of whole numbers from 1 to 100, one for each component";
  list = text;
  return "";
}

Complaint useSampling(std::string_view text, MoxcSample& sample, std::string& list) {
  list.clear();
  sample = moxcSampleDefault;
  if (const MoxcSample* const named = valueNamed(kSamplings, text)) {
    sample = *named;
    return "";
  }
  const auto isFactor = [](char digit) { return digit >= '1' && digit <= '4'; };
  const auto areFactors = [&](std::string_view pair) {
    return pair.size() == 3 && isFactor(pair[0]) && pair[1] == 'x' && isFactor(pair[2]);
  };
  if (!isList(text, areFactors)) return "is not 4:4:4, 4:2:2, 4:2:0, 4:4:0, 4:1:1, 4:1:0 or factors like 2x1,1x1,1x1";
  list = text;
  return "";
}

Complaint useWords(std::string_view text, std::int32_t& words) {
  return parseNumber(text, 555, 565, words) && (words == 555 || words == 565) ? "" : "is not 555 or 565";
}

Complaint useDepth(std::string_view text, std::int32_t& depth) {
  return parseNumber(text, 8, 12, depth) && (depth == 8 || depth == 12) ? "" : "is not 8 or 12";
}

Complaint useRestart(std::string_view text, std::int32_t& restart, std::int32_t& inRows) {
  inRows = text.ends_with('B');
  if (inRows) text.remove_suffix(1);
  if (!parseNumber(text, 0, 65535, restart)) return "is not a whole number from 0 to 65535, optionally followed by B";
  if (restart == 0) inRows = 0;
  return "";
}

Complaint usePredictor(std::string_view text, MoxcWriteOptions& options) {
  const std::size_t comma = text.find(',');
  const bool pointed = comma != text.npos;
  if (parseNumber(text.substr(0, comma), 1, 7, options.predictor) &&
      (!pointed || parseNumber(text.substr(comma + 1), 0, 15, options.point)))
    return "";
  return "is not a predictor from 1 to 7, optionally followed by a comma and a point transform from 0 to 15";
}

Complaint useBlock(std::string_view text, MoxcWriteOptions& options) {
  std::int32_t width = 0, height = 0;
  const auto allowed = [](std::int32_t size) {
    return size >= 4 && size <= 1024 && std::has_single_bit(static_cast<std::uint32_t>(size));
  };
  if (!parseSize(text, width, height) || !allowed(width) || !allowed(height) || width * height > 4096)
    return "is not WxH with powers of two from 4 to 1024 and at most 4096 coefficients";
  options.blockWidth = width;
  options.blockHeight = height;
  return "";
}

Complaint useTile(std::string_view text, MoxcWriteOptions& options) {
  return parseSize(text, options.tileWidth, options.tileHeight) ? "" : "is not WxH with two positive whole numbers";
}

Complaint useProgression(std::string_view text, MoxcProgression& progression) {
  const MoxcProgression* const named = valueNamed(kProgressions, text);
  if (!named) return "is not LRCP, RLCP, RPCL, PCRL or CPRL";
  progression = *named;
  return "";
}

Complaint useTileParts(std::string_view text, MoxcTileParts& parts) {
  const MoxcTileParts* const named = valueNamed(kTileParts, text);
  if (!named) return "is not R, L or C";
  parts = *named;
  return "";
}

Complaint usePrecincts(std::string_view text, std::vector<std::int32_t>& sizes) {
  constexpr std::int32_t kMin = 4, kMax = 32768;
  sizes.clear();
  for (const std::string_view word : wordsOf(text)) {
    std::int32_t size = 0;
    if (!parseNumber(word, kMin, kMax, size) || !std::has_single_bit(static_cast<std::uint32_t>(size)))
      return "is not W,H or a list of them with powers of two from 4 to 32768";
    sizes.push_back(size);
  }
  return sizes.size() % 2 == 0 ? "" : "has a width without a height";
}

Complaint useRoi(std::string_view text, MoxcWriteOptions& options) {
  const std::vector<std::string_view> words = wordsOf(text);
  if (words.size() == 4 && parseNumber(words[0], 0, INT32_MAX, options.roiX) &&
      parseNumber(words[1], 0, INT32_MAX, options.roiY) && parseNumber(words[2], 1, INT32_MAX, options.roiWidth) &&
      parseNumber(words[3], 1, INT32_MAX, options.roiHeight))
    return "";
  return "is not X,Y,W,H with whole numbers";
}

Complaint useRotation(std::string_view text, MoxcTransform& transform) {
  const MoxcTransform* const named = valueNamed(kRotations, text);
  if (!named) return "is not 90, 180 or 270";
  transform = *named;
  return "";
}

Complaint useFlip(std::string_view text, MoxcTransform& transform) {
  const MoxcTransform* const named = valueNamed(kFlips, text);
  if (!named) return "is not h, v, horizontal or vertical";
  transform = *named;
  return "";
}

Complaint useCrop(std::string_view text, MoxcTranscodeOptions& options) {
  const std::size_t plus = std::min(text.find('+'), text.size());
  const std::string_view size = text.substr(0, plus), offset = text.substr(plus);
  options.cropWidth = options.cropHeight = options.cropX = options.cropY = 0;
  const bool sized = size.empty() || parseSize(size, options.cropWidth, options.cropHeight);
  const bool placed = offset.empty() || parseOffset(offset, options.cropX, options.cropY);
  return sized && placed && !text.empty() ? "" : "is not WxH+X+Y, WxH or +X+Y with whole numbers";
}

Complaint useRegion(std::string_view text, MoxcReadOptions& options) {
  struct Number {
    std::int32_t& value;
    std::int32_t min;
  };
  const Number numbers[] = {
      {options.regionX, 0}, {options.regionY, 0}, {options.regionWidth, 1}, {options.regionHeight, 1}};
  bool good = true;
  for (const Number& number : numbers) {
    const std::size_t comma = &number == std::end(numbers) - 1 ? text.size() : text.find(',');
    good = good && comma <= text.size() && parseNumber(text.substr(0, comma), number.min, INT32_MAX, number.value);
    if (good) text.remove_prefix(std::min(comma + 1, text.size()));
  }
  return good ? "" : "is not X,Y,W,H with whole numbers, W and H at least 1";
}

Complaint useModes(std::string_view text, std::int32_t& modes) {
  return useList(text, kModes, modes)
             ? ""
             : "is not a comma-separated list of bypass, reset, termall, causal, pterm and segsym";
}

Complaint useStrip(std::string_view text, std::int32_t& strip) {
  if (text.empty()) return strip = moxcStripAll, "";
  return useList(text, kMetadata, strip)
             ? ""
             : "is not all or a comma-separated list of icc, exif, xmp, iptc, comment, other and resolution";
}

}  // namespace moxj::cli
