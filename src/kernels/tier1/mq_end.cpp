// Where codeword segments begin and end: the MQ coder's initialisation and termination, and the check of the latter.
// Compiled once, not per target: it runs once per segment, and nothing in it can be vectorised.
#include "kernels/tier1/mq.h"

namespace mox::mq {
namespace {

// FLUSH (C.2.9), which sets as many bits of C to 1 as it can. A last byte of 0xFF is dropped.
void flush(Encoder& coder) {
  const uint64_t top = coder.a + coder.c;
  coder.c |= 0xFFFF;
  if (coder.c >= top) coder.c -= 0x8000;
  shiftOut(coder);
  coder.c |= 0x7FFF;
  shiftOut(coder);
  if (*coder.out != 0xFF) shiftOut(coder);
}

// Predictable termination (D.4.2).
void flushPredictably(Encoder& coder) {
  int bits = 12 - coder.ct;
  while (bits > 0) {
    shiftOut(coder);
    bits -= coder.ct;
  }
  if (*coder.out != 0xFF) shiftOut(coder);
}

// Appends bytes of the interval's base until they make a value inside the interval when all-ones follow them, as the
// decoder reads past the end of a segment. Of all strings of that length, these bytes followed by ones are the smallest
// value not below the base: where they are not enough, no others are.
void flushShortest(Encoder& coder, const uint8_t* first) {
  // The interval, with B's lowest bit at bit 27.
  uint64_t low = coder.c << coder.ct, high = (coder.c + coder.a) << coder.ct;
  const auto append = [&](uint64_t byte) {
    *coder.out++ = static_cast<uint8_t>(byte);
    const int bits = byte < 0xFF ? 8 : 7;
    low = (low - (byte << 27)) << bits;
    high = (high - (byte << 27)) << bits;
  };
  // Just above the value of ones in B and in everything after it.
  const auto ones = [&] { return UINT64_C(1) << (coder.out > first && coder.out[-1] == 0xFF ? 34 : 35); };
  if (coder.out < first) append(0);
  while (low >= ones() || high < ones()) append(low >> 27 < 0xFF ? low >> 27 : 0xFF);
  // Also drop trailing ones of bytes already output: the decoder supplies them.
  for (;;) {
    const ptrdiff_t length = coder.out - first;
    if (length >= 1 && coder.out[-1] == 0xFF)
      coder.out -= 1;
    else if (length >= 2 && coder.out[-1] == 0x7F && coder.out[-2] == 0xFF)
      coder.out -= 2;
    else
      break;
  }
}

}  // namespace

void start(Encoder& coder, uint8_t* first) {
  coder.a = 0x8000;
  coder.c = 0;
  coder.ct = 12;
  coder.out = first - 1;
  *coder.out = 0;
}

uint8_t* finish(Encoder& coder, Termination kind, uint8_t* first) {
  if (kind == kShortest)
    flushShortest(coder, first);
  else if (kind == kPredictable)
    flushPredictably(coder);
  else
    flush(coder);
  return coder.out;
}

int bytesToCome(const Encoder& coder, const uint8_t* first) {
  const int threeBytes = *coder.out >= 0xFE ? 22 : 23;
  return (coder.out >= first ? 1 : 0) + (27 - coder.ct > threeBytes ? 4 : 3);
}

void start(Decoder& coder, const uint8_t* segment, int32_t length) {
  coder.at = segment;
  coder.end = segment + (length > 0 ? length : 0);
  coder.marker = false;
  coder.a = static_cast<Word>(0x8000) << (kWordBits - 16);
  coder.c = static_cast<Word>(byteAt(coder.at, coder.end) ^ 0xFF) << (kWordBits - 16);
  coder.ahead = 0;
  coder.read = 0;
  byteIn(coder);
  coder.c <<= 7;
  coder.ahead -= 7;
}

void start(RawReader& reader, const uint8_t* segment, int32_t length) {
  reader = {segment, segment + (length > 0 ? length : 0), 0, 0};
}

bool endsPredictably(const Decoder& coder, const uint8_t* segment) {
  // The registers of the flow charts, which take a byte only when the next shift needs one.
  const uint64_t used = coder.read - coder.ahead;
  const uint8_t* at = segment;
  uint64_t taken = 0;
  bool marker = false;
  do {
    const uint32_t byte = byteAt(at, coder.end);
    marker = marker || (byte == 0xFF && byteAt(at + (at < coder.end), coder.end) >= 0x90);
    at += !marker;
    taken += byte == 0xFF && !marker ? 7 : 8;
  } while (taken < used);
  uint32_t ct = static_cast<uint32_t>(taken - used);

  if (!marker && (byteAt(at, coder.end) < 0xFF || ct != 0)) return false;
  if (ct == 1) return true;
  if (ct == 0) {
    if (!marker && byteAt(at + (at < coder.end), coder.end) < 0x90) return false;
    ct = 8;
  }
  const uint32_t a = static_cast<uint32_t>(coder.a >> (kWordBits - 16));
  const uint32_t c = static_cast<uint32_t>(coder.c >> (kWordBits - 16));
  return c >= a - (0x8000u >> (ct - 1));
}

}  // namespace mox::mq
