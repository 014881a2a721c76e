// Parses and prints the values of the JPEG 2000 options.
#pragma once

#include <string>

#include "j2k/j2k.h"

namespace moxj {

// Each returns what is wrong with the text, to follow the quoted text in a message; empty if nothing is.
std::string useBlock(const std::string& text, j2k::EncodeOptions& options);
std::string useTile(const std::string& text, j2k::EncodeOptions& options);
std::string useOrder(const std::string& text, j2k::Order& order);
std::string useModes(const std::string& text, int& modes);

std::string orderName(j2k::Order order);
std::string modeNames(int modes);  // "bypass, reset", or "none"

}  // namespace moxj
