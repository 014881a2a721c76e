// Expected segments, written as bits.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "proof/huffman.h"

namespace test {

// Collects bits as text and turns them into the bytes of a segment: padded with 1-bits, stuffed.
struct Bits {
  std::string text;
  Bits& code(const RawTable& table, int symbol) {
    int code = 0, k = 0;
    for (int length = 1; length <= 16; length++, code <<= 1)
      for (int i = 0; i < table.bits[length - 1]; i++, k++, code++)
        if (table.values[k] == symbol) return number(static_cast<uint32_t>(code), length);
    ADD_FAILURE() << "symbol " << symbol << " has no code";
    return *this;
  }
  Bits& number(uint32_t value, int length) {
    for (int i = length - 1; i >= 0; i--) text += value >> i & 1 ? '1' : '0';
    return *this;
  }
  std::vector<uint8_t> bytes() const {
    std::string padded = text;
    while (padded.size() % 8) padded += '1';
    std::vector<uint8_t> out;
    for (size_t i = 0; i < padded.size(); i += 8) {
      out.push_back(static_cast<uint8_t>(std::stoi(padded.substr(i, 8), nullptr, 2)));
      if (out.back() == 0xFF) out.push_back(0);
    }
    return out;
  }
};

}  // namespace test
