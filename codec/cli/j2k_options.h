// The values of the options of JPEG 2000.
#pragma once

#include <string>

#include "j2k/j2k.h"

namespace moxj {

// Each answers what is wrong with the text, or nothing.
std::string useBlock(const std::string& text, j2k::EncodeOptions& options);
std::string useTile(const std::string& text, j2k::EncodeOptions& options);
std::string useOrder(const std::string& text, j2k::Order& order);
std::string useModes(const std::string& text, int& modes);

std::string orderName(j2k::Order order);
std::string modeNames(int modes);  // "bypass, reset", or "none"

}  // namespace moxj
