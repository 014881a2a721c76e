// Prediction of lossless JPEG (T.81 H.1.2), row by row: samples to differences and back, modulo 65536.
#pragma once

#include "kernels/bytes.h"
#include "kernels/dct/fixed.h"
#include "moxj.h"

namespace mox {

// `n` is at least 1. The first sample is predicted by `origin` in the first row, by the sample above in other rows.
struct LosslessKernels {
  void (*differFirst)(const Mox16s* src, Mox16s* dst, int n, Mox16s origin);
  void (*differ)(const Mox16s* src, const Mox16s* above, Mox16s* dst, int n, int predictor);
  void (*rebuildFirst)(const Mox16s* differences, Mox16s* dst, int n, Mox16s origin);
  void (*rebuild)(const Mox16s* differences, const Mox16s* above, Mox16s* dst, int n, int predictor);
};

namespace definition {

// The value that the first sample of an image or restart interval is predicted by, 2^(P - Pt - 1) in 16 bits. The
// count of the shift is taken modulo 32.
constexpr Mox16s losslessOrigin(int32_t precision, int32_t pointTransform) {
  return wrap16(static_cast<int32_t>(1u << ((precision - pointTransform - 1) & 31)));
}

// Ra to the left, Rb above, Rc above Ra; halves are those of signed values, rounded down.
template <int Predictor>
constexpr int predict(Mox16s a, Mox16s b, Mox16s c) {
  static_assert(Predictor >= 1 && Predictor <= 7);
  if constexpr (Predictor == 1) return a;
  if constexpr (Predictor == 2) return b;
  if constexpr (Predictor == 3) return c;
  if constexpr (Predictor == 4) return a + b - c;
  if constexpr (Predictor == 5) return a + ((b - c) >> 1);
  if constexpr (Predictor == 6) return b + ((a - c) >> 1);
  if constexpr (Predictor == 7) return (a + b) >> 1;
}

static_assert(losslessOrigin(8, 0) == 128 && losslessOrigin(16, 0) == -32768 && losslessOrigin(2, 1) == 1);
static_assert(losslessOrigin(8, 8) == 0 && losslessOrigin(2, INT32_MAX) == 4);
static_assert(wrap16(predict<4>(-1, -1, 0)) == -2 && wrap16(predict<7>(-32768, 0, 5)) == -16384);
static_assert(predict<5>(0, 0, 1) == -1 && predict<6>(32767, 0, -32768) == 32767);

// Rows may begin at odd addresses.

inline void differFirst(const Mox16s* src, Mox16s* dst, int n, Mox16s origin, int from = 0) {
  if (from == 0) put(dst, from++, wrap16(get(src, 0) - origin));
  for (int x = from; x < n; x++) put(dst, x, wrap16(get(src, x) - get(src, x - 1)));
}

template <int Predictor>
void differ(const Mox16s* src, const Mox16s* above, Mox16s* dst, int n, int from = 0) {
  if (from == 0) put(dst, from++, wrap16(get(src, 0) - get(above, 0)));
  for (int x = from; x < n; x++)
    put(dst, x, wrap16(get(src, x) - predict<Predictor>(get(src, x - 1), get(above, x), get(above, x - 1))));
}

inline void rebuildFirst(const Mox16s* differences, Mox16s* dst, int n, Mox16s origin, int from = 0) {
  if (from == 0) put(dst, from++, wrap16(get(differences, 0) + origin));
  for (int x = from; x < n; x++) put(dst, x, wrap16(get(differences, x) + get(dst, x - 1)));
}

template <int Predictor>
void rebuild(const Mox16s* differences, const Mox16s* above, Mox16s* dst, int n, int from = 0) {
  if (from == 0) put(dst, from++, wrap16(get(differences, 0) + get(above, 0)));
  for (int x = from; x < n; x++)
    put(dst, x, wrap16(get(differences, x) + predict<Predictor>(get(dst, x - 1), get(above, x), get(above, x - 1))));
}

}  // namespace definition

#if defined(MOX_TARGET)
namespace MOX_TARGET {
extern const LosslessKernels losslessKernels;
}
#endif

}  // namespace mox
