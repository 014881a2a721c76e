// Whether a profile is sRGB is judged by what it does, not by its name: its colorants are compared with those of sRGB,
// and its curves in the middle.
#include "pictures/icc.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <initializer_list>

namespace moxj {

namespace {

constexpr std::size_t kHeaderBytes = 128, kTagEntry = 12;

class Profile {
 public:
  explicit Profile(ByteSpan bytes) : bytes_(bytes) {}

  bool valid() const { return bytes_.size() >= kHeaderBytes + 4 && is(36, "acsp") && u32(0) <= bytes_.size(); }
  bool is(std::size_t at, const char* signature) const { return std::memcmp(bytes_.data() + at, signature, 4) == 0; }
  std::string signature(std::size_t at) const {
    std::string text;
    for (const std::uint8_t byte : bytes_.subspan(at, 4))
      text += byte > ' ' && byte <= '~' ? static_cast<char>(byte) : ' ';
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
  }

  // The data of a tag; empty if there is none.
  ByteSpan tag(const char* signature) const {
    const std::size_t count = std::min<std::size_t>(u32(kHeaderBytes), kMaxIccTags);
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t at = kHeaderBytes + 4 + i * kTagEntry;
      if (at + kTagEntry > bytes_.size()) break;
      if (!is(at, signature)) continue;
      const std::size_t offset = u32(at + 4), size = u32(at + 8);
      if (offset > bytes_.size() || size > bytes_.size() - offset) return {};
      return bytes_.subspan(offset, size);
    }
    return {};
  }

 private:
  std::uint32_t u32(std::size_t at) const {
    return std::uint32_t{bytes_[at]} << 24 | bytes_[at + 1] << 16 | bytes_[at + 2] << 8 | bytes_[at + 3];
  }
  ByteSpan bytes_;
};

std::uint32_t number(ByteSpan data, std::size_t at, std::size_t size) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < size; ++i) value = value << 8 | (at + i < data.size() ? data[at + i] : 0);
  return value;
}

double fixed(ByteSpan data, std::size_t at) { return static_cast<std::int32_t>(number(data, at, 4)) / 65536.0; }

bool isType(ByteSpan data, const char* type) { return data.size() >= 8 && std::memcmp(data.data(), type, 4) == 0; }

// ---- Description ---------------------------------------------------------------------------------------------------

constexpr std::size_t kMaxText = 80;

std::string printable(std::string text) {
  text.resize(std::min(text.size(), kMaxText));
  text.resize(std::min(text.size(), text.find('\0')));
  for (char& c : text)
    if (c < ' ' || c > '~' || c == '\'') c = '?';
  return text;
}

// The first of the texts in all languages, or the English one. They are UTF-16.
std::string multiLocalised(ByteSpan data) {
  const std::size_t count = number(data, 8, 4), size = std::max<std::size_t>(number(data, 12, 4), 12);
  std::size_t chosen = 16;
  for (std::size_t i = 0; i < std::min<std::size_t>(count, 64) && i * size < data.size(); ++i)
    if (number(data, 16 + i * size, 2) == 0x656E) {  // "en"
      chosen = 16 + i * size;
      break;
    }
  const std::size_t length = number(data, chosen + 4, 4), offset = number(data, chosen + 8, 4);
  std::string text;
  for (std::size_t i = 0; i + 1 < std::min(length, 2 * kMaxText) && offset + i + 1 < data.size(); i += 2) {
    const std::uint32_t unit = number(data, offset + i, 2);
    text += unit < 128 ? static_cast<char>(unit) : '?';
  }
  return printable(text);
}

std::string descriptionOf(const Profile& profile) {
  const ByteSpan data = profile.tag("desc");
  if (isType(data, "mluc")) return multiLocalised(data);
  if (!isType(data, "desc") || data.size() < 12) return "";
  const ByteSpan text = data.subspan(12);
  const std::size_t length = std::min<std::size_t>(number(data, 8, 4), text.size());
  return printable(std::string(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(length)));
}

// ---- What it does --------------------------------------------------------------------------------------------------

// The value of a parametric curve. Below its threshold, kinds 1 and 2 are constant and the others a line.
double parametricAt(ByteSpan curve, double x) {
  const std::uint32_t function = number(curve, 8, 2);
  const auto parameter = [&](std::size_t i) { return fixed(curve, 12 + 4 * i); };
  const double gamma = parameter(0);
  if (function == 0) return std::pow(x, gamma);
  const double a = parameter(1), b = parameter(2), c = parameter(3), d = parameter(4);
  const double power = std::pow(std::max(a * x + b, 0.0), gamma);
  if (function <= 2) return power + (function == 2 ? c : 0);
  if (x < d) return c * x + (function == 4 ? parameter(6) : 0);
  return power + (function == 4 ? parameter(5) : 0);
}

// The value of a curve; negative if it is unknown.
double valueAt(ByteSpan curve, double x) {
  if (isType(curve, "curv")) {
    const std::size_t count = number(curve, 8, 4);
    if (count == 0) return x;
    if (count == 1) return std::pow(x, number(curve, 12, 2) / 256.0);
    if (curve.size() < 12 || (curve.size() - 12) / 2 < count) return -1;
    const double at = x * static_cast<double>(count - 1);
    const auto low = static_cast<std::size_t>(at);
    const double a = number(curve, 12 + 2 * low, 2), b = number(curve, 12 + 2 * std::min(low + 1, count - 1), 2);
    return (a + (b - a) * (at - static_cast<double>(low))) / 65535;
  }
  if (!isType(curve, "para") || curve.size() < 16) return -1;
  return parametricAt(curve, x);
}

bool isSrgbCurve(ByteSpan curve) {
  constexpr double kMiddle = 0.2140, kTolerance = 0.008;  // a gamma of 2.2 passes
  return std::abs(valueAt(curve, 0.5) - kMiddle) < kTolerance;
}

// Within less than a step of 8 bits, everywhere.
bool isExactSrgbCurve(ByteSpan curve) {
  constexpr double kTolerance = 0.0005;
  for (const double x : {0.01, 0.03, 0.06, 0.15, 0.3, 0.5, 0.7, 0.85, 0.95, 1.0}) {
    const double light = x < 0.04045 ? x / 12.92 : std::pow((x + 0.055) / 1.055, 2.4);
    if (!(std::abs(valueAt(curve, x) - light) < kTolerance * std::max(light, 0.1))) return false;
  }
  return true;
}

bool isColorant(ByteSpan data, const std::array<double, 3>& xyz, double tolerance) {
  if (!isType(data, "XYZ ") || data.size() < 20) return false;
  for (std::size_t i = 0; i < 3; ++i)
    if (!(std::abs(fixed(data, 8 + 4 * i) - xyz[i]) < tolerance)) return false;
  return true;
}

bool hasTags(const Profile& profile, std::initializer_list<const char*> tags) {
  for (const char* const tag : tags)
    if (profile.tag(tag).empty()) return false;
  return true;
}

bool hasTables(const Profile& profile) {
  for (const char* const tag : {"A2B0", "A2B1", "A2B2"})
    if (!profile.tag(tag).empty()) return true;
  return false;
}

// `isCurve` judges a curve, `tolerance` is that of the colorants.
bool isSrgb(const Profile& profile, Colour colour, bool (*isCurve)(ByteSpan), double tolerance) {
  if (hasTables(profile)) return false;
  if (colour == Colour::grey) return isCurve(profile.tag("kTRC"));
  if (colour != Colour::rgb) return false;
  // The primaries of ITU-R BT.709, adapted to D50.
  return isColorant(profile.tag("rXYZ"), {0.4361, 0.2225, 0.0139}, tolerance) &&
         isColorant(profile.tag("gXYZ"), {0.3851, 0.7169, 0.0971}, tolerance) &&
         isColorant(profile.tag("bXYZ"), {0.1431, 0.0606, 0.7141}, tolerance) && isCurve(profile.tag("rTRC")) &&
         isCurve(profile.tag("gTRC")) && isCurve(profile.tag("bTRC"));
}

bool isRestricted(const Profile& profile, Colour colour) {
  const bool input = profile.is(12, "scnr") || profile.is(12, "mntr");
  if (!input || !profile.is(20, "XYZ ") || hasTables(profile)) return false;
  if (colour == Colour::grey) return hasTags(profile, {"kTRC"});
  return colour == Colour::rgb && hasTags(profile, {"rXYZ", "gXYZ", "bXYZ", "rTRC", "gTRC", "bTRC"});
}

}  // namespace

std::optional<IccFacts> iccFactsOf(ByteSpan bytes) {
  const Profile profile(bytes);
  if (!profile.valid()) return std::nullopt;
  IccFacts facts;
  facts.description = descriptionOf(profile);
  struct Space {
    const char *signature, *name;
    Colour colour;
  };
  constexpr Space kSpaces[] = {{"RGB ", "RGB", Colour::rgb},
                               {"GRAY", "grey", Colour::grey},
                               {"CMYK", "CMYK", Colour::cmyk},
                               {"Lab ", "Lab", Colour::lab}};
  facts.space = profile.signature(16);
  for (const Space& space : kSpaces) {
    if (!profile.is(16, space.signature)) continue;
    facts.colour = space.colour;
    facts.space = space.name;
  }
  constexpr double kNear = 0.004, kExact = 0.0004;
  facts.srgb = isSrgb(profile, facts.colour, isSrgbCurve, kNear);
  facts.exactlySrgb = isSrgb(profile, facts.colour, isExactSrgbCurve, kExact);
  facts.restricted = isRestricted(profile, facts.colour);
  return facts;
}

std::string iccName(const IccFacts& facts) {
  return facts.description.empty() ? "ICC profile" : "ICC profile '" + facts.description + "'";
}

}  // namespace moxj
