// Which coding passes of a code-block share a codeword segment (Table D.9).
#pragma once

#include "j2k/params.h"

namespace moxj::j2k {

inline constexpr int kMaxPasses = 164;  // in one packet header

// The number of passes of the segment that starts with the given pass.
inline int segmentLength(int pass, int modes) {
  if (modes & termall) return 1;
  if (!(modes & bypass)) return kMaxPasses * 128;
  constexpr int kFirst = 10;  // the first cleanup pass and three more bit-planes
  if (pass < kFirst) return kFirst - pass;
  // Then segments of two raw passes and of one cleanup pass alternate.
  const int phase = (pass - kFirst) % 3;
  return phase == 2 ? 1 : 2 - phase;
}

// Whether a pass is a significance propagation or magnitude refinement pass with raw bits.
inline bool isRaw(int pass, int modes) { return (modes & bypass) && pass >= 10 && (pass - 10) % 3 != 2; }

}  // namespace moxj::j2k
