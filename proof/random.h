// Seeded random numbers, the same on every machine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>

namespace test {

class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed) {}
  // Numbers made of given bytes, as long as there are any: a fuzzer chooses them.
  Random(uint64_t seed, const uint8_t* bytes, size_t count) : state_(seed), bytes_(bytes), left_(count) {}

  uint64_t bits(size_t bytes = sizeof(uint64_t)) { return left_ > 0 ? given(bytes) : next(); }

  int below(int bound) {
    const uint64_t number = left_ > 0 ? given(bound <= 256 ? 1 : 4) : next() >> 32;
    return static_cast<int>(static_cast<uint32_t>(number) % static_cast<uint32_t>(bound));
  }
  int between(int low, int high) { return low + below(high - low + 1); }
  bool oneIn(int n) { return below(n) == 0; }

  // Any bit pattern.
  template <class T>
  T any() {
    static_assert(std::is_integral_v<T>);
    return static_cast<T>(bits(sizeof(T)));
  }

  // The ends of the type's range and the values next to them, 0 and its neighbours.
  template <class T>
  T extreme() {
    const T low = std::numeric_limits<T>::min(), high = std::numeric_limits<T>::max();
    const T values[] = {low,  static_cast<T>(low + 1),     0, 1, static_cast<T>(-1), static_cast<T>(high - 1),
                        high, static_cast<T>(high / 2 + 1)};
    return values[below(8)];
  }

 private:
  uint64_t next() {  // splitmix64
    uint64_t z = state_ += 0x9E3779B97F4A7C15u;
    z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9u;
    z = (z ^ z >> 27) * 0x94D049BB133111EBu;
    return z ^ z >> 31;
  }
  uint64_t given(size_t count) {
    uint64_t value = 0;
    for (; count > 0 && left_ > 0; count--, left_--) value = value << 8 | *bytes_++;
    return value;
  }

  uint64_t state_;
  const uint8_t* bytes_ = nullptr;
  size_t left_ = 0;
};

// The contents of a test's inputs.
enum class Filling { any, extreme, small };

template <class T>
void fill(Random& random, Filling filling, T* values, size_t count) {
  for (size_t i = 0; i < count; i++) {
    switch (filling) {
      case Filling::any:
        values[i] = random.any<T>();
        break;
      case Filling::extreme:
        values[i] = random.extreme<T>();
        break;
      case Filling::small:
        values[i] = static_cast<T>(random.between(std::is_signed_v<T> ? -9 : 0, 9));
        break;
    }
  }
}

}  // namespace test
