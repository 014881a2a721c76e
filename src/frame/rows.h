// Rows of a region: their addresses, and how the parallel functions share them among threads.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kernels/bytes.h"
#include "moxcore.h"
#include "moxj.h"

namespace mox {

// Row `y` of a region whose rows lie `step` bytes apart; rows above the first have negative numbers.
template <class Pixel>
Pixel* rowAt(Pixel* first, int32_t step, ptrdiff_t y) {
  return bytesAfter(first, y * step);
}

// Regions of at most this many pixels stay on the calling thread: starting threads would cost more than it saves.
inline constexpr int32_t kSerialPixels = 8192;

// The product of the sizes wraps at 32 bits, as a signed 32-bit product: part of the documented rule.
constexpr bool worthThreads(MoxRoiSize roi) {
  return static_cast<int32_t>(static_cast<uint32_t>(roi.width) * static_cast<uint32_t>(roi.height)) > kSerialPixels;
}

// Calls `row(y)` for every row of the region. Above kSerialPixels the rows are divided in contiguous blocks among as
// many threads as the core library's variable asks for at this moment. For one thread no parallel region is started: it
// would cost some 0.4 us. Rows are independent, so the result is the same for any number of threads. Inside a caller's
// own parallel region OpenMP runs them on the calling thread. OpenMP's threads do not survive fork(): if a process has
// called this with several threads, a child of it must not.
template <class Row>
void forEachRow(MoxRoiSize roi, const Row& row) {
  const int32_t wanted = threads_omp_of_n_mox;
  if (wanted <= 1 || !worthThreads(roi)) {
    for (int y = 0; y < roi.height; y++) row(y);
    return;
  }
#pragma omp parallel for schedule(static) num_threads(wanted)
  for (int y = 0; y < roi.height; y++) row(y);
}

}  // namespace mox
