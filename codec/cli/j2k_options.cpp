// Sizes, packet orders and code-block modes as text.
#include "cli/j2k_options.h"

#include <bit>
#include <charconv>
#include <climits>
#include <string_view>

namespace moxj {

namespace {

constexpr std::string_view kOrders[] = {"LRCP", "RLCP", "RPCL", "PCRL", "CPRL"};

struct ModeName {
  j2k::Mode mode;
  std::string_view name;
};
constexpr ModeName kModes[] = {{j2k::bypass, "bypass"}, {j2k::reset, "reset"}, {j2k::termall, "termall"},
                               {j2k::causal, "causal"}, {j2k::pterm, "pterm"}, {j2k::segsym, "segsym"}};

// "WxH"
bool parseSize(std::string_view text, int& width, int& height) {
  const char* const end = text.data() + text.size();
  const auto first = std::from_chars(text.data(), end, width);
  if (first.ec != std::errc() || first.ptr == end || *first.ptr != 'x') return false;
  const auto second = std::from_chars(first.ptr + 1, end, height);
  return second.ec == std::errc() && second.ptr == end && width > 0 && height > 0;
}

int modeNamed(std::string_view name) {
  for (const ModeName& mode : kModes)
    if (mode.name == name) return mode.mode;
  return 0;
}

}  // namespace

std::string useBlock(const std::string& text, j2k::EncodeOptions& options) {
  int width = 0, height = 0;
  const auto allowed = [](int size) {
    return size >= 4 && size <= 1024 && std::has_single_bit(static_cast<unsigned>(size));
  };
  if (!parseSize(text, width, height) || !allowed(width) || !allowed(height) || width * height > 4096)
    return "is not WxH with powers of two from 4 to 1024 and at most 4096 coefficients";
  options.blockWidth = width;
  options.blockHeight = height;
  return "";
}

std::string useTile(const std::string& text, j2k::EncodeOptions& options) {
  return parseSize(text, options.tileWidth, options.tileHeight) ? "" : "is not WxH with two positive whole numbers";
}

std::string useOrder(const std::string& text, j2k::Order& order) {
  for (std::size_t i = 0; i < std::size(kOrders); ++i)
    if (kOrders[i] == text) return order = static_cast<j2k::Order>(i), "";
  return "is not LRCP, RLCP, RPCL, PCRL or CPRL";
}

std::string useModes(const std::string& text, int& modes) {
  modes = 0;
  for (std::size_t at = 0; at <= text.size();) {
    const std::size_t end = std::min(text.find(',', at), text.size());
    const int mode = modeNamed(std::string_view(text).substr(at, end - at));
    if (mode == 0) return "is not a comma-separated list of bypass, reset, termall, causal, pterm and segsym";
    modes |= mode;
    at = end + 1;
  }
  return "";
}

std::string orderName(j2k::Order order) { return std::string(kOrders[static_cast<std::size_t>(order)]); }

std::string modeNames(int modes) {
  std::string names;
  for (const ModeName& mode : kModes)
    if (modes & mode.mode) names.append(names.empty() ? "" : ", ").append(mode.name);
  return names.empty() ? "none" : names;
}

}  // namespace moxj
