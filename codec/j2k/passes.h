// Which coding passes of a block share a codeword segment (Table D.9).
#pragma once

#include "j2k/params.h"

namespace moxj::j2k {

inline constexpr int kMostPasses = 164;  // that a packet header can add

// The number of passes of the segment that starts with the given pass.
inline int segmentLength(int pass, int modes) {
  if (modes & termall) return 1;
  if (!(modes & bypass)) return kMostPasses * 128;
  constexpr int kFirst = 10;  // the first cleanup pass and three bit-planes
  if (pass < kFirst) return kFirst - pass;
  // Then two raw passes and a cleanup pass in turn.
  const int phase = (pass - kFirst) % 3;
  return phase == 2 ? 1 : 2 - phase;
}

// Whether a pass is a significance or refinement pass that is not arithmetically coded.
inline bool isRaw(int pass, int modes) { return (modes & bypass) && pass >= 10 && (pass - 10) % 3 != 2; }

}  // namespace moxj::j2k
