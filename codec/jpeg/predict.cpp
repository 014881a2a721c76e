// Predictors 5 to 7 on unsigned samples.
#include "jpeg/predict.h"

#include <cstdint>

namespace moxj::jpeg {

namespace {

template <class Predict>  // Predict(left, above, aboveLeft)
void rebuild(const Mox16s* differences, const Mox16s* above, Mox16s* row, int width, Predict predict) {
  const auto at = [](const Mox16s* samples, int x) -> int { return static_cast<std::uint16_t>(samples[x]); };
  row[0] = static_cast<Mox16s>(differences[0] + above[0]);
  for (int x = 1; x < width; ++x) {
    row[x] = static_cast<Mox16s>(differences[x] + predict(at(row, x - 1), at(above, x), at(above, x - 1)));
  }
}

}  // namespace

void reconstructUnsignedRow(const Mox16s* differences, const Mox16s* above, Mox16s* row, int width, int predictor) {
  switch (predictor) {
    case 5:
      return rebuild(differences, above, row, width, [](int a, int b, int c) { return a + ((b - c) >> 1); });
    case 6:
      return rebuild(differences, above, row, width, [](int a, int b, int c) { return b + ((a - c) >> 1); });
    default:
      return rebuild(differences, above, row, width, [](int a, int b, int) { return (a + b) >> 1; });
  }
}

}  // namespace moxj::jpeg
