// The vector stores of pixels against the definition of each format, in every order of three samples; and, refused by
// the compiler, a format with a sample for which the store has no value.
#include "kernels/colour/pixel_store.h"

#include <cstdio>
#include <cstring>

using namespace mox;
using MOX_TARGET::V128;

namespace {

template <class Pixel>
bool storesAsWritten() {
  constexpr int kPixels = V128::kBytes, kBytes = kPixels * Pixel::kSamples;
  Mox8u colours[3][kPixels], stored[kBytes] = {}, written[kBytes] = {};
  for (int i = 0; i < 3 * kPixels; i++) colours[i / kPixels][i % kPixels] = static_cast<Mox8u>(7 * i + 1);
  for (int i = 0; i < kPixels; i++)
    Pixel::write(written + Pixel::kSamples * i, {colours[0][i], colours[1][i], colours[2][i]});
  MOX_TARGET::storePixels<Pixel>(stored, MOX_TARGET::load<V128>(colours[0]), MOX_TARGET::load<V128>(colours[1]),
                                 MOX_TARGET::load<V128>(colours[2]));
  return std::memcmp(stored, written, sizeof stored) == 0;
}

}  // namespace

int main() {
#if defined(MOX_TEST_REFUSED)
  return !storesAsWritten<BytePixel<1, 2, 3, 4>>();
#else
  const bool right = storesAsWritten<BytePixel<0, 1, 2>>() && storesAsWritten<BytePixel<0, 2, 1>>() &&
                     storesAsWritten<BytePixel<1, 0, 2>>() && storesAsWritten<BytePixel<1, 2, 0>>() &&
                     storesAsWritten<BytePixel<2, 0, 1>>() && storesAsWritten<BytePixel<2, 1, 0>>();
  if (!right) std::puts("a vector store writes other bytes than the definition");
  return !right;
#endif
}
