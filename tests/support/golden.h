// Golden checksums: the results of every exported function for seeded inputs, which are the same on every target and
// machine.
#pragma once

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <vector>

#include "support/random.h"

namespace test {

class Digest {  // FNV-1a over little-endian bytes
 public:
  void bytes(const void* data, size_t count) {
    const uint8_t* const p = static_cast<const uint8_t*>(data);
    for (size_t i = 0; i < count; i++) hash_ = (hash_ ^ p[i]) * 0x100000001B3u;
  }
  template <class T>
  void value(const T& v) {
    bytes(&v, sizeof v);
  }
  template <class T>
  void values(const std::vector<T>& v) {
    bytes(v.data(), v.size() * sizeof(T));
  }
  uint64_t hash() const { return hash_; }

 private:
  uint64_t hash_ = 0xCBF29CE484222325u;
};

struct GoldenCase {
  const char* function;  // the exported function's name
  void (*run)(Digest& digest, Random& random);
};

inline std::vector<GoldenCase>& goldenCases() {
  static std::vector<GoldenCase> cases;
  return cases;
}

struct AddGoldenCases {
  AddGoldenCases(std::initializer_list<GoldenCase> added) {
    goldenCases().insert(goldenCases().end(), added.begin(), added.end());
  }
};

// A vector of seeded values: any patterns, with runs of extremes.
template <class T>
std::vector<T> seeded(Random& random, size_t count) {
  std::vector<T> values(count);
  for (size_t i = 0; i < count; i++) values[i] = random.oneIn(4) ? random.extreme<T>() : random.any<T>();
  return values;
}

}  // namespace test
