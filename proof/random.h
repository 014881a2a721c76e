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

  uint64_t bits() {  // splitmix64
    uint64_t z = state_ += 0x9E3779B97F4A7C15u;
    z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9u;
    z = (z ^ z >> 27) * 0x94D049BB133111EBu;
    return z ^ z >> 31;
  }

  int below(int bound) { return static_cast<int>(static_cast<uint32_t>(bits() >> 32) % static_cast<uint32_t>(bound)); }
  int between(int low, int high) { return low + below(high - low + 1); }
  bool oneIn(int n) { return below(n) == 0; }

  // Any bit pattern.
  template <class T>
  T any() {
    static_assert(std::is_integral_v<T>);
    return static_cast<T>(bits());
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
  uint64_t state_;
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
