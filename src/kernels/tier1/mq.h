// The MQ coder's probability states and contexts (ISO/IEC 15444-1, Annex C), and how codeword segments end.
#pragma once

#include <cstddef>
#include <cstdint>

namespace mox::tier1 {
struct MqEncoder;
struct MqDecoder;
struct RawReader;
}  // namespace mox::tier1

namespace mox::mq {

struct Probability {
  uint16_t qe;
  uint8_t nextMps, nextLps;
  bool switches;  // an LPS flips the sense of the MPS
};

inline constexpr int kProbabilities = 47;

// Table C.2.
inline constexpr Probability kProbability[kProbabilities] = {
    {0x5601, 1, 1, true},    {0x3401, 2, 6, false},   {0x1801, 3, 9, false},   {0x0AC1, 4, 12, false},
    {0x0521, 5, 29, false},  {0x0221, 38, 33, false}, {0x5601, 7, 6, true},    {0x5401, 8, 14, false},
    {0x4801, 9, 14, false},  {0x3801, 10, 14, false}, {0x3001, 11, 17, false}, {0x2401, 12, 18, false},
    {0x1C01, 13, 20, false}, {0x1601, 29, 21, false}, {0x5601, 15, 14, true},  {0x5401, 16, 14, false},
    {0x5101, 17, 15, false}, {0x4801, 18, 16, false}, {0x3801, 19, 17, false}, {0x3401, 20, 18, false},
    {0x3001, 21, 19, false}, {0x2801, 22, 19, false}, {0x2401, 23, 20, false}, {0x2201, 24, 21, false},
    {0x1C01, 25, 22, false}, {0x1801, 26, 23, false}, {0x1601, 27, 24, false}, {0x1401, 28, 25, false},
    {0x1201, 29, 26, false}, {0x1101, 30, 27, false}, {0x0AC1, 31, 28, false}, {0x09C1, 32, 29, false},
    {0x08A1, 33, 30, false}, {0x0521, 34, 31, false}, {0x0441, 35, 32, false}, {0x02A1, 36, 33, false},
    {0x0221, 37, 34, false}, {0x0141, 38, 35, false}, {0x0111, 39, 36, false}, {0x0085, 40, 37, false},
    {0x0049, 41, 38, false}, {0x0025, 42, 39, false}, {0x0015, 43, 40, false}, {0x0009, 44, 41, false},
    {0x0005, 45, 42, false}, {0x0001, 45, 43, false}, {0x5601, 46, 46, false},
};

// A context's state: the row of Table C.2 and the sense of its MPS in one number, 2 * row + MPS.
inline constexpr int kStates = 2 * kProbabilities;

constexpr int afterMps(int state) { return 2 * kProbability[state >> 1].nextMps + (state & 1); }
constexpr int afterLps(int state) {
  const Probability& p = kProbability[state >> 1];
  return 2 * p.nextLps + ((state & 1) ^ p.switches);
}

static_assert(afterLps(0) == 3 && afterLps(1) == 2 && afterMps(1) == 3 && afterMps(93) == 93 && afterLps(92) == 92);

// The contexts of a code-block (Table D.7), in this library's numbering: the positions after a run and the
// segmentation symbol, the run, then the labels of Tables D.1, D.3 and D.4 in their order.
inline constexpr int kUniform = 0, kRun = 1, kSignificance = 2, kSign = 11, kRefinement = 16, kContexts = 19;

constexpr uint8_t initialState(int context) {
  switch (context) {
    case kUniform:
      return 2 * 46;
    case kRun:
      return 2 * 3;
    case kSignificance:
      return 2 * 4;
    default:
      return 0;
  }
}

struct Contexts {
  uint8_t state[kContexts];

  constexpr void reset() {
    for (int k = 0; k < kContexts; k++) state[k] = initialState(k);
  }
};

// ---- Codeword segments

enum Termination { kFlush, kShortest, kPredictable };

// Starts an MQ-coded segment whose first byte is to lie at `first`. Until finish, the byte before belongs to the
// coder: the first byte that comes out of it stands for nothing and goes there.
void start(tier1::MqEncoder& coder, uint8_t* first);
// Ends the segment; gives the end of its bytes.
uint8_t* finish(tier1::MqEncoder& coder, Termination kind, uint8_t* first);

// How many bytes beyond those that are out a decoder may need to decode everything that has been coded: B, if it is
// one, and three or four bytes for the bits of the code register, of which two bytes in a row may be short of a bit.
int bytesToCome(const tier1::MqEncoder& coder, const uint8_t* first);

// Packs raw bits (D.6): a byte after 0xFF has a 0 for its top bit.
class RawWriter {
 public:
  void start(uint8_t* first) { out_ = first, byte_ = 0, free_ = capacity_ = kByte; }
  void put(int bit) {
    byte_ |= bit << --free_;
    if (free_ == 0) flush();
  }
  // Ends the segment, with zeros in the last byte; gives the end of its bytes.
  uint8_t* finish() {
    if (partial()) flush();
    return out_;
  }
  uint8_t* out() const { return out_; }
  bool partial() const { return free_ != capacity_; }

 private:
  static constexpr int kByte = 8;
  void flush() {
    *out_++ = static_cast<uint8_t>(byte_);
    free_ = capacity_ = byte_ == 0xFF ? kByte - 1 : kByte;
    byte_ = 0;
  }

  uint8_t* out_ = nullptr;
  int byte_ = 0;
  int free_ = kByte, capacity_ = kByte;
};

// Starts the decoder on a segment of `length` bytes (INITDEC, C.3.5); below 1: none.
void start(tier1::MqDecoder& coder, const uint8_t* segment, int32_t length);
void start(tier1::RawReader& reader, const uint8_t* segment, int32_t length);

// Whether the decoder of a segment stands where predictable termination leaves it (D.4.2).
bool endsPredictably(const tier1::MqDecoder& coder, const uint8_t* segment);

}  // namespace mox::mq
