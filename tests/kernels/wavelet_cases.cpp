#include <cmath>

#include "kernels/wavelet/wt.h"
#include "support/kernel_case.h"

namespace test {
namespace {

// Floats without infinities and NaNs, whose bits would depend on the order of operands.
void finite(Random& random, float* values, size_t count) {
  for (size_t i = 0; i < count; i++)
    values[i] = std::ldexp(static_cast<float>(random.between(-32768, 32767)), random.between(-20, 20));
}

template <class T>
T* inOut(Feed& f, int n) {
  if constexpr (std::is_same_v<T, Mox32f>)
    return const_cast<T*>(
        f.in<T>(static_cast<size_t>(n), [n](Random& r, T* v) { finite(r, v, static_cast<size_t>(n)); }));
  else
    return f.inOut<T>(static_cast<size_t>(n));
}

// n selects a shape: a long row of n, a long column of n, and shapes in between.
MoxRect shape(Feed& f, int n) {
  if (n >= 512) return {0, 0, n, 64};
  const int side = 1 + n * 7 % 41;
  return {n & 1, n >> 1 & 1, n % 3 ? side : n + 1, n % 3 ? 1 + n * 5 % 29 : 1 + (f.replaying() ? 0 : n % 11)};
}

size_t lineBytes(const MoxRect& roi, size_t sample, int margin) {
  return sample * static_cast<size_t>(std::max(roi.width, roi.height) + 2 * margin);
}
size_t planeBytes(const MoxRect& roi, size_t sample) {
  return (sample * static_cast<size_t>(roi.width) + 31) / 32 * 32 * static_cast<size_t>(roi.height);
}

template <auto Family, auto Planes, auto InPlace, class T, int Margin>
void planeInPlace(const mox::Kernels& k, Feed& f, int n) {
  const MoxRect roi = shape(f, n);
  T* const plane = inOut<T>(f, roi.width * roi.height);
  std::vector<Mox8u> line(lineBytes(roi, sizeof(T), Margin));
  ((k.*Family)->*Planes.*InPlace)(plane, roi.width * static_cast<int>(sizeof(T)), roi, line.data());
}

struct Sizes {
  int width[4], height[4];
  explicit Sizes(const MoxRect& roi) {
    for (int i = 0; i < 4; i++) {
      width[i] = (roi.width + (i & 2 ? 0 : 1)) / 2;
      height[i] = (roi.height + (i & 1 ? 0 : 1)) / 2;
    }
  }
};

template <auto Family, auto Planes, class T, int Margin>
void planeForward(const mox::Kernels& k, Feed& f, int n) {
  const MoxRect roi = shape(f, n);
  const Sizes sizes(roi);
  const T* const src = inOut<T>(f, roi.width * roi.height);
  T* dst[4];
  int32_t steps[4];
  for (int i = 0; i < 4; i++) {
    dst[i] = f.out<T>(static_cast<size_t>(sizes.width[i] * sizes.height[i]));
    steps[i] = sizes.width[i] * static_cast<int>(sizeof(T));
  }
  std::vector<Mox8u> buffer(planeBytes(roi, sizeof(T)) + lineBytes(roi, sizeof(T), Margin));
  ((k.*Family)->*Planes).forward(src, roi.width * static_cast<int>(sizeof(T)), roi, dst, steps, buffer.data());
}

template <auto Family, auto Planes, class T, int Margin>
void planeInverse(const mox::Kernels& k, Feed& f, int n) {
  const MoxRect roi = shape(f, n);
  const Sizes sizes(roi);
  const T* src[4];
  int32_t steps[4];
  for (int i = 0; i < 4; i++) {
    src[i] = inOut<T>(f, sizes.width[i] * sizes.height[i]);
    steps[i] = sizes.width[i] * static_cast<int>(sizeof(T));
  }
  T* const dst = f.out<T>(static_cast<size_t>(roi.width * roi.height));
  std::vector<Mox8u> buffer(planeBytes(roi, sizeof(T)) + lineBytes(roi, sizeof(T), Margin));
  ((k.*Family)->*Planes).inverse(src, steps, dst, roi.width * static_cast<int>(sizeof(T)), roi, buffer.data());
}

template <auto Family, auto Rows, class T, int Margin>
void rowForward(const mox::Kernels& k, Feed& f, int n) {
  const int phase = n & 1;
  const T* const src = inOut<T>(f, 2 * n + 2 * Margin - 1);
  T* const low = f.out<T>(static_cast<size_t>(n));
  ((k.*Family)->*Rows).forward(src + Margin - phase, low, f.out<T>(static_cast<size_t>(n)), n, phase);
}

// Low coefficients from -Before to n + Before (phase 0), one place on the other side at phase 1; high ones from
// -Margin.
template <auto Family, auto Rows, class T, int Margin>
void rowInverse(const mox::Kernels& k, Feed& f, int n) {
  const int phase = n & 1, before = Margin / 2 - 1 + phase;
  const T* const low = inOut<T>(f, n + Margin - 1);
  const T* const high = inOut<T>(f, n + Margin);
  ((k.*Family)->*Rows).inverse(low + before, high + Margin / 2, f.out<T>(static_cast<size_t>(2 * n)), n, phase);
}

template <auto Family, auto Columns, class T, int Margin>
void columnForward(const mox::Kernels& k, Feed& f, int n) {
  const int phase = n & 1, height = 1 + n % 5, step = n * static_cast<int>(sizeof(T));
  const T* const src = inOut<T>(f, n * (2 * height + 2 * Margin - 1));
  T* const low = f.out<T>(static_cast<size_t>(n * height));
  ((k.*Family)->*Columns)
      .forward(src + n * (Margin - phase), step, low, step, f.out<T>(static_cast<size_t>(n * height)), step,
               {n, height}, phase);
}
template <auto Family, auto Columns, class T, int Margin>
void columnInverse(const mox::Kernels& k, Feed& f, int n) {
  const int phase = n & 1, height = 1 + n % 5, before = Margin / 2 - 1 + phase, step = n * static_cast<int>(sizeof(T));
  const T* const low = inOut<T>(f, n * (height + Margin - 1));
  const T* const high = inOut<T>(f, n * (height + Margin));
  ((k.*Family)->*Columns)
      .inverse(low + n * before, step, high + n * (Margin / 2), step, {n, height},
               f.out<T>(static_cast<size_t>(2 * n * height)), step, phase);
}

template <auto Lifts, auto Step, class T>
void lift53(const mox::Kernels& k, Feed& f, int n) {
  T* rows[6];
  for (T*& row : rows) row = inOut<T>(f, n);
  (k.wt53->*Lifts.*Step)(rows[0], rows[1], rows[2], rows[3], rows[4], rows[5], n);
}
template <auto Lifts, auto Step, class T>
void lift97(const mox::Kernels& k, Feed& f, int n) {
  T* rows[8];
  for (T*& row : rows) row = inOut<T>(f, n);
  (k.wt97->*Lifts.*Step)(rows[0], rows[1], rows[2], rows[3], rows[4], rows[5], rows[6], rows[7], n);
}

using K53 = mox::Wt53Kernels;
using K97 = mox::Wt97Kernels;
template <class T>
using P = mox::WtPlaneKernels<T>;
constexpr auto k53 = &mox::Kernels::wt53;
constexpr auto k97 = &mox::Kernels::wt97;

template <class T>
constexpr auto k53Forward = &mox::Wt53LiftKernels<T>::forward;
template <class T>
constexpr auto k53Inverse = &mox::Wt53LiftKernels<T>::inverse;
template <class T>
constexpr auto k97Forward = &mox::Wt97LiftKernels<T>::forward;
template <class T>
constexpr auto k97Inverse = &mox::Wt97LiftKernels<T>::inverse;

const AddKernelCases cases{
    {"wt53.forwardInPlace16s", "rows of 64 samples", 0, 200, 1024,
     planeInPlace<k53, &K53::plane16s, &P<Mox16s>::forwardInPlace, Mox16s, 2>},
    {"wt53.inverseInPlace16s", "rows of 64 samples", 0, 200, 1024,
     planeInPlace<k53, &K53::plane16s, &P<Mox16s>::inverseInPlace, Mox16s, 2>},
    {"wt53.forwardInPlace32s", "rows of 64 samples", 0, 200, 1024,
     planeInPlace<k53, &K53::plane32s, &P<Mox32s>::forwardInPlace, Mox32s, 2>},
    {"wt53.inverseInPlace32s", "rows of 64 samples", 0, 200, 1024,
     planeInPlace<k53, &K53::plane32s, &P<Mox32s>::inverseInPlace, Mox32s, 2>},
    {"wt53.forward16s", "rows of 64 samples", 0, 200, 1024, planeForward<k53, &K53::plane16s, Mox16s, 2>},
    {"wt53.inverse16s", "rows of 64 samples", 0, 200, 1024, planeInverse<k53, &K53::plane16s, Mox16s, 2>},
    {"wt53.forward32s", "rows of 64 samples", 0, 200, 1024, planeForward<k53, &K53::plane32s, Mox32s, 2>},
    {"wt53.inverse32s", "rows of 64 samples", 0, 200, 1024, planeInverse<k53, &K53::plane32s, Mox32s, 2>},
    {"wt53.rowForward16s", "pairs", 1, 200, 1024, rowForward<k53, &K53::row16s, Mox16s, 2>},
    {"wt53.rowInverse16s", "pairs", 1, 200, 1024, rowInverse<k53, &K53::row16s, Mox16s, 2>},
    {"wt53.rowForward32s", "pairs", 1, 200, 1024, rowForward<k53, &K53::row32s, Mox32s, 2>},
    {"wt53.rowInverse32s", "pairs", 1, 200, 1024, rowInverse<k53, &K53::row32s, Mox32s, 2>},
    {"wt53.columnForward16s", "columns", 1, 200, 1024, columnForward<k53, &K53::column16s, Mox16s, 2>},
    {"wt53.columnInverse16s", "columns", 1, 200, 1024, columnInverse<k53, &K53::column16s, Mox16s, 2>},
    {"wt53.columnForward32s", "columns", 1, 200, 1024, columnForward<k53, &K53::column32s, Mox32s, 2>},
    {"wt53.columnInverse32s", "columns", 1, 200, 1024, columnInverse<k53, &K53::column32s, Mox32s, 2>},
    {"wt53.lift16s", "columns", 1, 200, 1024, lift53<&K53::lift16s, k53Forward<Mox16s>, Mox16s>},
    {"wt53.unlift16s", "columns", 1, 200, 1024, lift53<&K53::lift16s, k53Inverse<Mox16s>, Mox16s>},
    {"wt53.lift32s", "columns", 1, 200, 1024, lift53<&K53::lift32s, k53Forward<Mox32s>, Mox32s>},
    {"wt53.unlift32s", "columns", 1, 200, 1024, lift53<&K53::lift32s, k53Inverse<Mox32s>, Mox32s>},
    {"wt97.forwardInPlace16s", "rows of 64 samples", 0, 200, 1024,
     planeInPlace<k97, &K97::plane16s, &P<Mox16s>::forwardInPlace, Mox16s, 4>},
    {"wt97.inverseInPlace16s", "rows of 64 samples", 0, 200, 1024,
     planeInPlace<k97, &K97::plane16s, &P<Mox16s>::inverseInPlace, Mox16s, 4>},
    {"wt97.forwardInPlace32s", "rows of 64 samples", 0, 200, 1024,
     planeInPlace<k97, &K97::plane32s, &P<Mox32s>::forwardInPlace, Mox32s, 4>},
    {"wt97.inverseInPlace32s", "rows of 64 samples", 0, 200, 1024,
     planeInPlace<k97, &K97::plane32s, &P<Mox32s>::inverseInPlace, Mox32s, 4>},
    {"wt97.forward16s", "rows of 64 samples", 0, 200, 1024, planeForward<k97, &K97::plane16s, Mox16s, 4>},
    {"wt97.inverse16s", "rows of 64 samples", 0, 200, 1024, planeInverse<k97, &K97::plane16s, Mox16s, 4>},
    {"wt97.forward32s", "rows of 64 samples", 0, 200, 1024, planeForward<k97, &K97::plane32s, Mox32s, 4>},
    {"wt97.inverse32s", "rows of 64 samples", 0, 200, 1024, planeInverse<k97, &K97::plane32s, Mox32s, 4>},
    {"wt97.rowForward16s", "pairs", 1, 200, 1024, rowForward<k97, &K97::row16s, Mox16s, 4>},
    {"wt97.rowInverse16s", "pairs", 1, 200, 1024, rowInverse<k97, &K97::row16s, Mox16s, 4>},
    {"wt97.rowForward32s", "pairs", 1, 200, 1024, rowForward<k97, &K97::row32s, Mox32s, 4>},
    {"wt97.rowInverse32s", "pairs", 1, 200, 1024, rowInverse<k97, &K97::row32s, Mox32s, 4>},
    {"wt97.rowForward32f", "pairs", 1, 200, 1024, rowForward<k97, &K97::row32f, Mox32f, 4>},
    {"wt97.rowInverse32f", "pairs", 1, 200, 1024, rowInverse<k97, &K97::row32f, Mox32f, 4>},
    {"wt97.columnForward32f", "columns", 1, 200, 1024, columnForward<k97, &K97::column32f, Mox32f, 4>},
    {"wt97.columnInverse32f", "columns", 1, 200, 1024, columnInverse<k97, &K97::column32f, Mox32f, 4>},
    {"wt97.lift16s", "columns", 1, 200, 1024, lift97<&K97::lift16s, k97Forward<Mox16s>, Mox16s>},
    {"wt97.unlift16s", "columns", 1, 200, 1024, lift97<&K97::lift16s, k97Inverse<Mox16s>, Mox16s>},
    {"wt97.lift32s", "columns", 1, 200, 1024, lift97<&K97::lift32s, k97Forward<Mox32s>, Mox32s>},
    {"wt97.unlift32s", "columns", 1, 200, 1024, lift97<&K97::lift32s, k97Inverse<Mox32s>, Mox32s>},
    {"wt97.lift32f", "columns", 1, 200, 1024, lift97<&K97::lift32f, k97Forward<Mox32f>, Mox32f>},
    {"wt97.unlift32f", "columns", 1, 200, 1024, lift97<&K97::lift32f, k97Inverse<Mox32f>, Mox32f>},
};

}  // namespace
}  // namespace test
