// Golden checksums: the results of every exported function for seeded inputs, which are the same on every target and
// machine.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>
#include <vector>

#include "proof/random.h"

namespace test {

class Digest {  // FNV-1a over the bytes of numbers, the lowest first on every machine
 public:
  void bytes(const void* data, size_t count) {
    const uint8_t* const p = static_cast<const uint8_t*>(data);
    for (size_t i = 0; i < count; i++) byte(p[i]);
  }
  template <class T>
  void value(const T& v) {
    words<T>(&v, sizeof v);
  }
  template <class T>
  void values(const std::vector<T>& v) {
    words<T>(v.data(), v.size() * sizeof(T));
  }
  // Memory that holds numbers of this type, in any alignment.
  template <class T>
  void words(const void* data, size_t size) {
    using Word = std::remove_all_extents_t<T>;
    static_assert(std::is_arithmetic_v<Word> || std::is_enum_v<Word>);
    const uint8_t* const p = static_cast<const uint8_t*>(data);
    for (size_t i = 0; i < size; i += sizeof(Word))
      for (size_t k = 0; k < sizeof(Word); k++)
        byte(p[std::endian::native == std::endian::little ? i + k : i + sizeof(Word) - 1 - k]);
  }
  uint64_t hash() const { return hash_; }

 private:
  void byte(uint8_t b) { hash_ = (hash_ ^ b) * 0x100000001B3u; }

  uint64_t hash_ = 0xCBF29CE484222325u;
};

struct GoldenCase {
  const char* function;  // the exported function's name
  void (*run)(Digest& digest, Random& random);
};

using GoldenCases = std::span<const GoldenCase>;
GoldenCases colourGolden();
GoldenCases componentsGolden();
GoldenCases dctGolden();
GoldenCases huffmanGolden();
GoldenCases losslessGolden();
GoldenCases mcuGolden();
GoldenCases progressiveGolden();
GoldenCases sampleGolden();
GoldenCases shiftGolden();
GoldenCases tier1Golden();
GoldenCases versionGolden();
GoldenCases waveletGolden();

// All of them, one for each exported function.
std::vector<GoldenCase> goldenCases();

// The checksum of a function on the target in use.
uint64_t checksumOf(const GoldenCase& golden);

struct Checksum {
  const char* function;
  uint64_t sum;
};

// Those of golden/checksums.txt, compiled in.
std::span<const Checksum> expectedChecksums();

// A vector of seeded values: any patterns, with runs of extremes.
template <class T>
std::vector<T> seeded(Random& random, size_t count) {
  std::vector<T> values(count);
  for (size_t i = 0; i < count; i++) values[i] = random.oneIn(4) ? random.extreme<T>() : random.any<T>();
  return values;
}

}  // namespace test
