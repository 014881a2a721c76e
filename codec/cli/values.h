// Parses the values of options.
#pragma once

#include <charconv>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "moxcodec.h"

namespace moxj::cli {

// What is wrong with the value of an option, to follow the quoted value in the message; empty if nothing is.
using Complaint = std::string;

// Parses the whole text as a number from `min` to `max`.
template <typename Number>
bool parseNumber(std::string_view text, Number min, Number max, Number& value) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size() && value >= min && value <= max;
}

// `Target` is a number or an optional one.
template <typename Target>
Complaint useNumber(const std::string& text, int min, int max, Target& target) {
  int value = 0;
  if (!parseNumber(text, min, max, value))
    return "is not a whole number from " + std::to_string(min) + " to " + std::to_string(max);
  target = value;
  return "";
}

// A number from 1 to `max`; k, M or G after it multiplies it by `thousand`, its square or its cube.
Complaint useScaled(std::string_view text, std::uint64_t thousand, std::uint64_t max, std::uint64_t& target);
// A number, or several with commas between them, of which the last may be 0 or the word "lossless".
Complaint useReals(std::string_view text, double min, double max, std::vector<double>& target);

Complaint useReal(std::string_view text, double min, double max, double& target);
// Words with commas between them.
Complaint useWords(std::string_view text, std::vector<std::string>& words);

// One number, or a list of one for each component.
Complaint useQuality(const std::string& text, std::int32_t& quality, std::string& list);
// A name, or a list of factors for each component.
Complaint useSampling(std::string_view text, MoxcSample& sample, std::string& list);
Complaint useDepth(std::string_view text, std::int32_t& depth);
Complaint useWords(std::string_view text, std::int32_t& words);
// "N" or "NB"
Complaint useRestart(std::string_view text, std::int32_t& restart, std::int32_t& inRows);
// "P" or "P,T"
Complaint usePredictor(std::string_view text, MoxcWriteOptions& options);
Complaint useBlock(std::string_view text, MoxcWriteOptions& options);
Complaint useTile(std::string_view text, MoxcWriteOptions& options);
Complaint useProgression(std::string_view text, MoxcProgression& progression);
// The rotation in degrees, and the direction of a flip.
Complaint useRotation(std::string_view text, MoxcTransform& transform);
Complaint useFlip(std::string_view text, MoxcTransform& transform);
// "WxH+X+Y", "WxH" or "+X+Y"
Complaint useCrop(std::string_view text, MoxcTranscodeOptions& options);
// "X,Y,W,H"
Complaint useRegion(std::string_view text, MoxcReadOptions& options);
Complaint useTileParts(std::string_view text, MoxcTileParts& parts);
// "W,H" or more of them
Complaint usePrecincts(std::string_view text, std::vector<std::int32_t>& sizes);
// "X,Y,W,H"
Complaint useRoi(std::string_view text, MoxcWriteOptions& options);
Complaint useModes(std::string_view text, std::int32_t& modes);
// Nothing for all metadata, or the names of some
Complaint useStrip(std::string_view text, std::int32_t& strip);

}  // namespace moxj::cli
