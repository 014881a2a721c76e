// Optimal Huffman tables from the frequencies of symbols (T.81 K.2).
#include <algorithm>
#include <cstdint>

#include "frame/check.h"
#include "moxj.h"

namespace mox {
namespace {

constexpr int kSymbols = 256;
constexpr int kReserved = kSymbols;  // a symbol of frequency 1, so that no other gets the code of all ones
constexpr int kNone = -1;
constexpr int32_t kMaxFrequency = 1000000000;  // frequencies and their sums are clamped to it
constexpr int kLongest = 32, kLongestAllowed = 16;

// Code sizes by merging the two rarest groups of symbols until one is left (figure K.1).
class CodeSizes {
 public:
  explicit CodeSizes(const int32_t* frequencies) {
    for (int i = 0; i < kSymbols; i++) frequency_[i] = std::clamp(frequencies[i], 0, kMaxFrequency);
    frequency_[kReserved] = 1;
    std::fill_n(next_, kSymbols + 1, kNone);
    for (;;) {
      const int rarest = find(kNone), second = find(rarest);
      if (second == kNone) break;
      merge(rarest, second);
    }
  }
  int operator[](int symbol) const { return size_[symbol]; }

 private:
  // The group with the lowest frequency, the last one of several, other than `other`. A group is named by its first
  // symbol.
  int find(int other) const {
    int found = kNone;
    int32_t lowest = kMaxFrequency;
    for (int i = 0; i <= kReserved; i++)
      if (frequency_[i] != 0 && frequency_[i] <= lowest && i != other) {
        lowest = frequency_[i];
        found = i;
      }
    return found;
  }

  void merge(int group, int added) {
    frequency_[group] = std::min(frequency_[group] + frequency_[added], kMaxFrequency);
    frequency_[added] = 0;
    const int last = lengthen(group);
    next_[last] = added;
    lengthen(added);
  }

  // Adds a bit to the code of every symbol of a chain; returns the last symbol.
  int lengthen(int symbol) {
    for (;; symbol = next_[symbol]) {
      size_[symbol]++;
      if (next_[symbol] == kNone) return symbol;
    }
  }

  int32_t frequency_[kSymbols + 1];
  int size_[kSymbols + 1] = {};
  int next_[kSymbols + 1];
};

// Moves codes that are too long up the tree (figure K.3). Of a pair of them, one takes the place of their common
// prefix, one bit shorter; for the other, a shorter code becomes the prefix of both.
void limitSizes(int counts[kLongest + 1]) {
  for (int i = kLongest; i > kLongestAllowed; i--)
    while (counts[i] > 0) {
      int j = i - 2;
      while (counts[j] == 0) j--;
      counts[i] -= 2;
      counts[i - 1]++;
      counts[j + 1] += 2;
      counts[j]--;
    }
}

// Removes the reserved symbol's code, which is one of the longest.
void dropReserved(int counts[kLongest + 1]) {
  int longest = kLongestAllowed;
  while (longest > 0 && counts[longest] == 0) longest--;
  if (longest > 0) counts[longest]--;
}

}  // namespace
}  // namespace mox

using namespace mox;

MoxStatus moxiEncodeHuffmanRawTableInit_JPEG_8u(const int32_t pFreq[256], Mox8u pBits[16], Mox8u* pHuffVal) {
  if (const MoxStatus bad = Check().pointers(pFreq, pBits, pHuffVal)) return bad;
  const CodeSizes sizes(pFreq);
  int counts[kLongest + 1] = {};
  for (int symbol = 0; symbol <= kReserved; symbol++) {
    if (sizes[symbol] > kLongest) return moxStatusHuffTable;
    counts[sizes[symbol]]++;
  }
  limitSizes(counts);
  dropReserved(counts);
  for (int length = 1; length <= kLongestAllowed; length++) pBits[length - 1] = static_cast<Mox8u>(counts[length]);
  // Lengths are given by position. The sizes give only the order, which limiting has not changed.
  for (int size = 1; size <= kLongest; size++)
    for (int symbol = 0; symbol < kSymbols; symbol++)
      if (sizes[symbol] == size) *pHuffVal++ = static_cast<Mox8u>(symbol);
  return moxStatusOk;
}
