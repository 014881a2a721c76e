// JPEG 2000 tier-1 as the flow charts and tables of ISO/IEC 15444-1 Annexes C and D have it: one decision at a time,
// one array element per flag, no tables but Table C.2. It shares no code with the library, so that the definition has
// an independent reference; the terminations are found here by arithmetic on the whole code string.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "moxj.h"

namespace test::reference {

struct Decision {
  int context;  // in the library's numbering; raw bits have none
  int bit;
};

struct Pass {
  std::vector<Decision> decisions;
  bool raw;
  int64_t distortion;
  int exponent;
  int rate;
};

struct Block {
  int width, height;
  std::vector<uint32_t> coefficients;  // sign-magnitude, row by row

  uint32_t& at(int x, int y) { return coefficients[static_cast<size_t>(y) * width + x]; }
  uint32_t at(int x, int y) const { return coefficients[static_cast<size_t>(y) * width + x]; }
};

struct Coded {
  int numBitPlanes = 0;
  std::vector<Pass> passes;
  std::vector<uint8_t> bytes;
  std::vector<int> segmentLengths;
  int numSegments = 0;

  double distortion(int pass) const;
};

Coded encode(const Block& block, int subband, int magnitudeBits, int termKind, int options);

// The pass-by-pass decoder.
class Decoder {
 public:
  // `block` gives the size and what the destination holds before.
  Decoder(const Block& block, int subband, int numBitPlanes, int options);

  MoxStatus step(const std::vector<uint8_t>& segment);

  Block block;
  int plane, counter = 0;

 private:
  struct Mq {
    const std::vector<uint8_t>* bytes;
    size_t index;
    bool marker;
    uint32_t a, c, ct;
    int state[19], mps[19];
  };
  struct Raw {
    const std::vector<uint8_t>* bytes;
    size_t index;
    unsigned byte;
    int left;
  };

  bool has(int option) const { return (options_ & option) != 0; }
  size_t index(int x, int y) const { return static_cast<size_t>(y) * block.width + x; }
  void resetContexts();
  void startMq(const std::vector<uint8_t>& segment);
  void byteIn();
  void renormalise();
  int decide(int context);
  bool endsPredictably();
  int rawBit();
  bool endOfMqPass(bool good, bool checks);
  void decodeSign(int x, int y, bool raw);
  bool significance(bool raw, bool checks);
  bool refinement(bool raw, bool checks);
  bool cleanup(bool checks);

  int subband_, options_, threshold_, state_ = 0;
  bool failed_ = false;
  std::vector<char> significant_, negative_, visited_, refined_;
  Mq mq_;
  Raw raw_;
};

// The one-call decoder; `block` gives the size and what the destination holds before, and takes the result.
MoxStatus decode(Block& block, int subband, int numBitPlanes, int numPasses,
                 const std::vector<std::vector<uint8_t>>& segments, int options, int* plane);

}  // namespace test::reference
