// Under the thread sanitizer: rows shared among threads, each written only by its own call, give no report. With the
// argument `overlap` every call also writes the first pixel of the next row, and must be reported.
#include <cstdio>
#include <cstring>
#include <vector>

#include "frame/rows.h"

int main(int argc, char** argv) {
  const bool overlap = argc > 1 && !std::strcmp(argv[1], "overlap");
  const MoxRoiSize roi{128, 128};
  std::vector<Mox8u> pixels(static_cast<size_t>(roi.width) * (roi.height + 1));
  for (int round = 1; round <= 20; round++) {
    mox::forEachRow(roi, [&](int y) {
      Mox8u* const row = mox::rowAt(pixels.data(), roi.width, y);
      for (int x = 0; x < roi.width + (overlap ? 1 : 0); x++) row[x] = static_cast<Mox8u>(x + round);
    });
    // The calling thread reads what the others wrote: right only if the end of the rows is a barrier.
    for (int i = 0; i < roi.width * roi.height; i++)
      if (!overlap && pixels[i] != static_cast<Mox8u>(i % roi.width + round)) return std::puts("wrong pixel"), 1;
  }
  return 0;
}
