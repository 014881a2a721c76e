// The MQ coder (ISO/IEC 15444-1, Annex C): probability states, contexts, the registers of encoder and decoder, a
// decision as the flow charts code it, bytes in and out; and the raw bits of D.6. mq_loop.h codes decisions faster,
// mq_end.cpp starts and ends codeword segments.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

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

// ---- Encoding

// The encoder's registers (C.2), with B, the byte under construction, kept above the code register in `c`: its lowest
// bit is bit 27 once `ct` more shifts have been made. So a carry propagates into B without a test. `out` points to the
// place of B in the code string, which holds it without the carry.
struct Encoder {
  Contexts contexts;
  uint32_t a;
  uint64_t c;
  int ct;
  uint8_t* out;
};

// What BYTEOUT makes of C and CT: the byte that is complete, the registers, and the new B.
struct Out {
  uint64_t c;
  int ct;
  uint8_t byte, next;
};

// BYTEOUT (C.2.7). The last shift may have gone past the one that completed B: by -ct places. The upper bits of c are B
// with its carry. 0xFF leaves only seven bits for the next byte, whose top bit takes a carry into the 0xFF.
constexpr Out byteOut(uint64_t c, int ct) {
  const int position = 27 - ct;
  const uint64_t top = c >> position, byte = top < 0xFF ? top : 0xFF;
  c -= byte << position;
  ct += byte < 0xFF ? 8 : 7;
  return {c, ct, static_cast<uint8_t>(byte), static_cast<uint8_t>(c >> (27 - ct))};
}

static_assert(byteOut(UINT64_C(0x12) << 27 | 0x34 << 19, 0).byte == 0x12);
static_assert(byteOut(UINT64_C(0x12) << 27 | 0x34 << 19, 0).next == 0x34);
static_assert(byteOut(UINT64_C(0xFF) << 27 | 0x34 << 20, 0).next == 0x34);
static_assert(byteOut(UINT64_C(0x100) << 27 | 0x34 << 20, 0).byte == 0xFF);
static_assert(byteOut(UINT64_C(0x100) << 27 | 0x34 << 20, 0).next == 0xB4);

// BYTEOUT when B still lacks `ct` shifts: makes these first.
inline void shiftOut(Encoder& coder) {
  const Out out = byteOut(coder.c << coder.ct, 0);
  coder.c = out.c;
  coder.ct = out.ct;
  *coder.out++ = out.byte;
  *coder.out = out.next;
}

// RENORME (C.2.6).
inline void renormalise(Encoder& coder) {
  do {
    coder.a <<= 1;
    coder.c <<= 1;
    if (--coder.ct == 0) shiftOut(coder);
  } while ((coder.a & 0x8000) == 0);
}

// ENCODE (C.2.2) with CODEMPS and CODELPS (C.2.4). The interval is cut into an upper part A - Qe for the MPS and a
// lower part Qe for the LPS. Where A - Qe is the smaller part, they change places.
inline void encode(Encoder& coder, int context, int decision) {
  uint8_t& state = coder.contexts.state[context];
  const uint32_t qe = kProbability[state >> 1].qe;
  const bool lps = decision != (state & 1);
  coder.a -= qe;
  if (lps == (coder.a < qe))
    coder.c += qe;
  else
    coder.a = qe;
  if (!lps && (coder.a & 0x8000) != 0) return;
  state = static_cast<uint8_t>(lps ? afterLps(state) : afterMps(state));
  renormalise(coder);
}

// ---- Decoding

// The decoder's registers (C.3, in the complemented form of J.1), aligned to the top of a machine word: A in the upper
// 16 bits; in C the 16 bits that are compared with A, and below them bits of the segment that have been read early.
using Word = std::conditional_t<sizeof(void*) == 8, uint64_t, uint32_t>;
inline constexpr int kWordBits = 8 * sizeof(Word);

struct Decoder {
  Contexts contexts;
  Word a, c;
  int ahead;          // bits of C below the upper 16 that hold data
  const uint8_t* at;  // the byte that was taken last
  const uint8_t* end;
  bool marker;    // a marker, or the segment's end, was met
  uint64_t read;  // all bits that were taken into C; read - ahead of them have been used
};

// The byte of a segment at `p`: 0xFF past the end.
inline uint32_t byteAt(const uint8_t* p, const uint8_t* end) { return p < end ? *p : 0xFF; }

// BYTEIN (C.3.4) once all bits of C have been used, and then as many further bytes as fit. A byte after 0xFF may have
// its top bit set, which reaches up into bits that are compared: such a byte is taken only when it is due.
inline void byteIn(Decoder& coder) {
  do {
    const uint32_t byte = byteAt(coder.at, coder.end);
    const uint32_t next = byteAt(coder.at + (coder.at < coder.end), coder.end);
    const int room = kWordBits - 16 - coder.ahead;
    if (byte == 0xFF && next >= 0x90) coder.marker = true;
    if (coder.marker) {  // zeros from here on, which C has below its bits anyway
      coder.ahead += room / 8 * 8;
      coder.read += room / 8 * 8;
      return;
    }
    const int bits = byte == 0xFF ? 7 : 8;
    if (bits == 7 && next >= 0x80 && coder.ahead > 0) return;
    const Word complement = static_cast<Word>(bits == 7 ? 0x7F : 0xFF) - next;
    coder.c += complement << (room - bits);
    coder.at++;
    coder.ahead += bits;
    coder.read += bits;
  } while (coder.ahead <= kWordBits - 16 - 8);
}

// RENORMD (C.3.3).
inline void renormalise(Decoder& coder) {
  do {
    if (coder.ahead == 0) byteIn(coder);
    coder.a <<= 1;
    coder.c <<= 1;
    coder.ahead--;
  } while (coder.a >> (kWordBits - 1) == 0);
}

// DECODE (C.3.2) with MPS_EXCHANGE and LPS_EXCHANGE.
inline int decide(Decoder& coder, int context) {
  uint8_t& state = coder.contexts.state[context];
  const Word qe = static_cast<Word>(kProbability[state >> 1].qe) << (kWordBits - 16);
  coder.a -= qe;
  const bool lower = coder.c >= coder.a;  // the code value lies in the lower part of the interval, Qe
  const bool lps = lower != (coder.a < qe);
  const int decision = (state & 1) ^ lps;
  if (lower) {
    coder.c -= coder.a;
    coder.a = qe;
  }
  if (!lps && coder.a >> (kWordBits - 1) != 0) return decision;
  state = static_cast<uint8_t>(lps ? afterLps(state) : afterMps(state));
  renormalise(coder);
  return decision;
}

// ---- Raw bits (D.6): a byte after 0xFF has a stuffed 0 for its top bit

class RawWriter {
 public:
  void start(uint8_t* first) { out_ = first, byte_ = 0, free_ = capacity_ = kByte; }
  void put(int bit) {
    byte_ |= bit << --free_;
    if (free_ == 0) flush();
  }
  // Ends the segment, with zeros in the last byte. Returns the end of its bytes.
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

struct RawReader {
  const uint8_t* at;
  const uint8_t* end;
  uint32_t byte;
  int left;  // bits of the byte that are still to be read

  uint32_t bit() {
    if (left == 0) {
      left = byte == 0xFF ? 7 : 8;
      byte = byteAt(at, end);
      at += at < end;
    }
    return byte >> --left & 1;
  }
};

// ---- Codeword segments

enum Termination { kFlush, kShortest, kPredictable };

// Starts an MQ-coded segment whose first byte is to lie at `first`. Until finish, the byte before it belongs to the
// coder: the first byte that comes out has no meaning and goes there.
void start(Encoder& coder, uint8_t* first);
// Ends the segment. Returns the end of its bytes.
uint8_t* finish(Encoder& coder, Termination kind, uint8_t* first);

// The number of bytes past those written that a decoder may need for everything coded so far: B, if there is one, and
// three or four bytes for the bits of the code register, of which two bytes in a row may be short of a bit.
int bytesToCome(const Encoder& coder, const uint8_t* first);

// Starts the decoder on a segment of `length` bytes (INITDEC, C.3.5); below 1: none.
void start(Decoder& coder, const uint8_t* segment, int32_t length);
void start(RawReader& reader, const uint8_t* segment, int32_t length);

// Whether a segment's decoder has ended in the state that predictable termination leaves (D.4.2).
bool endsPredictably(const Decoder& coder, const uint8_t* segment);

}  // namespace mox::mq
