// Sequential Huffman coding of an 8x8 block (T.81 F.1.2).
#pragma once

#include "kernels/entropy/bitio.h"
#include "kernels/entropy/state.h"
#include "kernels/entropy/zigzag.h"
#include "moxj.h"

namespace mox {

// Arguments are those of the exported functions, in their order, already checked.
struct HuffEncodeKernels {
  MoxStatus (*block)(const Mox16s* src, Mox8u* dst, int32_t length, int32_t* position, Mox16s* lastDC,
                     const EncodeSpec* dcTable, const EncodeSpec* acTable, EncodeState* state);
  void (*direct)(const Mox16s* src, Mox8u* dst, int32_t* bitPosition, Mox16s* lastDC, const EncodeSpec* dcTable,
                 const EncodeSpec* acTable);
  void (*statistics)(const Mox16s* src, int32_t* dcCounts, int32_t* acCounts, Mox16s* lastDC);
};

namespace definition {

// Calls the symbols of a block in the order of the segment: dc(difference); for each coefficient that is not 0, zeros()
// once per 16 zeros before it and ac(run, value); end() if the last coefficient is 0. Stops at the first failure.
template <class Symbols>
MoxStatus walkBlock(const Mox16s* src, Mox16s* lastDC, Symbols&& symbols) {
  const int difference = src[0] - *lastDC;
  *lastDC = src[0];
  if (const MoxStatus bad = symbols.dc(difference)) return bad;
  int run = 0;
  for (int k = 1; k < 64; k++) {
    const int value = src[kZigZag.natural[k]];
    if (value == 0) {
      run++;
      continue;
    }
    for (; run > 15; run -= 16)
      if (const MoxStatus bad = symbols.zeros()) return bad;
    if (const MoxStatus bad = symbols.ac(run, value)) return bad;
    run = 0;
  }
  return run > 0 ? symbols.end() : moxStatusOk;
}

inline constexpr int kEndOfBlock = 0x00;

struct SymbolWriter {
  BitWriter& out;
  const EncodeSpec& dcTable;
  const EncodeSpec& acTable;
  MoxStatus dc(int difference) { return out.emitValue(dcTable, 0, difference); }
  MoxStatus zeros() { return out.emitCode(acTable, kZeroRun); }
  MoxStatus ac(int run, int value) { return out.emitValue(acTable, run, value); }
  MoxStatus end() { return out.emitCode(acTable, kEndOfBlock); }
};

struct SymbolCounter {
  int32_t* dcCounts;
  int32_t* acCounts;
  MoxStatus dc(int difference) { return add(dcCounts, category(difference)); }
  MoxStatus zeros() { return add(acCounts, kZeroRun); }
  MoxStatus ac(int run, int value) { return add(acCounts, run * 16 + category(value)); }
  MoxStatus end() { return add(acCounts, kEndOfBlock); }
  static MoxStatus add(int32_t* counts, int symbol, int times = 1) {
    // Symbol 256 (category 16 after a run of 15) has no counter. Counts wrap.
    if (symbol < 256)
      counts[symbol] = static_cast<int32_t>(static_cast<uint32_t>(counts[symbol]) + static_cast<uint32_t>(times));
    return moxStatusOk;
  }
};

inline MoxStatus encodeBlock(const Mox16s* src, Mox8u* dst, int32_t length, int32_t* position, Mox16s* lastDC,
                             const EncodeSpec* dcTable, const EncodeSpec* acTable, EncodeState* state) {
  BitWriter out(dst, length, *position, *state);
  const MoxStatus status = walkBlock(src, lastDC, SymbolWriter{out, *dcTable, *acTable});
  *position = out.position;
  out.keep(*state);
  return status;
}

// A negative position is outside every destination: nothing is written.
inline void encodeBlockDirect(const Mox16s* src, Mox8u* dst, int32_t* bitPosition, Mox16s* lastDC,
                              const EncodeSpec* dcTable, const EncodeSpec* acTable) {
  if (*bitPosition < 0) return;
  BitWriter out(dst, *bitPosition);
  walkBlock(src, lastDC, SymbolWriter{out, *dcTable, *acTable});
  *bitPosition = out.keepInDestination();
}

inline void countBlock(const Mox16s* src, int32_t* dcCounts, int32_t* acCounts, Mox16s* lastDC) {
  walkBlock(src, lastDC, SymbolCounter{dcCounts, acCounts});
}

}  // namespace definition

#if defined(MOX_TARGET)
namespace MOX_TARGET {
extern const HuffEncodeKernels huffEncodeKernels;
}
#endif

}  // namespace mox
