// The decision loops of the MQ coder (ISO/IEC 15444-1, C.2 and C.3) without branches.
//
// In the flow charts, which mq.h follows, a decision takes three or four branches that depend on the data, and half
// of the decisions are close to random: each misprediction costs more than the whole decision should. Here the cases
// become masks. With the interval cut into an upper part A - Qe and a lower part Qe, an LPS is coded in the smaller of
// the two, so:
//
//   encoding   lower part taken  <=>  (LPS) xor (upper part < Qe)
//   decoding   LPS               <=>  (lower part taken) xor (upper part < Qe)
//
// Both renormalised parts are computed before it is known which one is needed; that of Qe comes from a table. The path
// from one decision to the next is then a subtraction, a count of leading zeros, a shift and a selection, and, through
// memory, the state of the context.
#pragma once

#include <array>
#include <bit>
#include <cstdint>

#include "kernels/tier1/mq.h"

// Hides where a value comes from, so that the compiler does not turn a selection into a branch.
#define MOX_OPAQUE(value) asm("" : "+r"(value))

namespace mox::MOX_TARGET {

// x is not 0.
inline int leadingZeros(uint32_t x) { return __builtin_clz(x); }
inline int leadingZeros(uint64_t x) { return __builtin_clzll(x); }

// ---- Encoding

// What a decision does in a state.
struct alignas(16) CodingStep {
  uint32_t qe;            // in the upper 16 bits, like A
  uint32_t renormalised;  // Qe shifted until bit 31 is set
  uint16_t qeLow;         // Qe, for C
  uint16_t next;          // the new state: byte offset of its two steps
  uint16_t unshifted;     // the same where A has needed no shift
  uint8_t shift;          // of `renormalised`
  int8_t lps;             // -1: the decision is the LPS, 0: the MPS
};

inline constexpr int kBytesPerState = 2 * sizeof(CodingStep);

inline constexpr auto kCodingStep = [] {
  std::array<CodingStep, 2 * mq::kStates> steps{};
  for (int state = 0; state < mq::kStates; state++)
    for (int decision = 0; decision < 2; decision++) {
      const uint16_t qe = mq::kProbability[state >> 1].qe;
      const bool lps = decision != (state & 1);
      const int next = lps ? mq::afterLps(state) : mq::afterMps(state), shift = std::countl_zero(qe);
      steps[2 * state + decision] = {static_cast<uint32_t>(qe) << 16,
                                     static_cast<uint32_t>(qe) << (16 + shift),
                                     qe,
                                     static_cast<uint16_t>(kBytesPerState * next),
                                     static_cast<uint16_t>(kBytesPerState * (lps ? next : state)),
                                     static_cast<uint8_t>(shift),
                                     static_cast<int8_t>(lps ? -1 : 0)};
    }
  return steps;
}();

inline void encodeSymbols(mq::Encoder& coder, const uint8_t* symbols, const uint8_t* end) {
  uint16_t states[mq::kContexts];
  for (int k = 0; k < mq::kContexts; k++) states[k] = static_cast<uint16_t>(coder.contexts.state[k] * kBytesPerState);
  const char* const steps = reinterpret_cast<const char*>(kCodingStep.data());
  uint32_t a = coder.a << 16;
  uint64_t c = coder.c;
  int ct = coder.ct;
  uint8_t* out = coder.out;
  while (symbols != end) {
    const uint32_t symbol = *symbols++;
    uint16_t& state = states[symbol >> 1];
    const CodingStep& step = *reinterpret_cast<const CodingStep*>(steps + state + sizeof(CodingStep) * (symbol & 1));
    const uint32_t upper = a - step.qe;
    uint32_t lower = -static_cast<uint32_t>(upper < step.qe) ^ static_cast<uint32_t>(int32_t{step.lps});
    MOX_OPAQUE(lower);
    const uint32_t shifted = step.next, unshifted = step.unshifted;
    uint32_t next = static_cast<int32_t>(upper) < 0 ? unshifted : shifted;
    MOX_OPAQUE(next);
    state = static_cast<uint16_t>(next);
    const uint32_t upperShift = leadingZeros(upper), upperA = upper << upperShift;
    const uint32_t shift = upperShift ^ ((upperShift ^ step.shift) & lower);
    a = upperA ^ ((upperA ^ step.renormalised) & lower);
    c = (c + (step.qeLow & ~lower)) << shift;
    ct -= static_cast<int>(shift);
    if (ct <= 0) [[unlikely]] {
      do {
        const mq::Out o = mq::byteOut(c, ct);
        *out++ = o.byte;
        c = o.c, ct = o.ct;
        *out = o.next;
      } while (ct <= 0);
    }
  }
  for (int k = 0; k < mq::kContexts; k++) coder.contexts.state[k] = static_cast<uint8_t>(states[k] / kBytesPerState);
  coder.a = a >> 16;
  coder.c = c;
  coder.ct = ct;
  coder.out = out;
}

// ---- Decoding

// Everything about a state in one 64-bit word, so that a context holds the word itself, and both possible successors
// are loaded before it is known which one follows: Qe in the upper 16 bits, then, a byte each from bit 24 down, the
// state, its MPS, the state after an LPS and the state after an MPS.
inline constexpr auto kStateWord = [] {
  std::array<uint64_t, mq::kStates> words{};
  for (int state = 0; state < mq::kStates; state++)
    words[state] = static_cast<uint64_t>(mq::kProbability[state >> 1].qe) << 48 | static_cast<uint64_t>(state) << 24 |
                   (state & 1) << 16 | mq::afterLps(state) << 8 | mq::afterMps(state);
  return words;
}();

struct MqRegister {
  mq::Word c;
  int ahead;
};

// A shift by `shift` that needs more bits than C holds: the bytes come in where they are due.
[[gnu::noinline]] static MqRegister shiftAcross(mq::Decoder& coder, MqRegister r, int shift) {
  coder.c = r.c;
  coder.ahead = r.ahead;
  while (shift > coder.ahead) {
    coder.c <<= coder.ahead;
    shift -= coder.ahead;
    coder.ahead = 0;
    mq::byteIn(coder);
  }
  return {coder.c << shift, coder.ahead - shift};
}

// The decoder with its registers in local variables for the duration of a pass.
class MqSource {
 public:
  explicit MqSource(mq::Decoder& coder) : home_(coder), a_(coder.a), c_(coder.c), ahead_(coder.ahead) {
    next_ = kStateWord;
    for (int k = 0; k < mq::kContexts; k++) words_[k] = next_[coder.contexts.state[k]];
  }
  ~MqSource() {
    for (int k = 0; k < mq::kContexts; k++) home_.contexts.state[k] = static_cast<uint8_t>(words_[k] >> 24);
    home_.a = a_, home_.c = c_, home_.ahead = ahead_;
  }
  MqSource(const MqSource&) = delete;

  [[gnu::always_inline]] uint32_t decide(int context) {
    using mq::kWordBits, mq::Word;
    const uint64_t word = words_[context];
    const Word qe = static_cast<Word>(word >> (64 - kWordBits)) & kTop;
    const uint64_t afterMps = next_[static_cast<uint8_t>(word)];
    const uint64_t afterLps = next_[static_cast<uint8_t>(word >> 8)];
    const Word upper = a_ - qe;
    Word lower = -static_cast<Word>(c_ >= upper);
    MOX_OPAQUE(lower);
    uint32_t lps = static_cast<uint32_t>(lower) ^ -static_cast<uint32_t>(upper < qe);
    MOX_OPAQUE(lps);
    uint64_t next = upper >> (kWordBits - 1) ? word : afterMps;  // an MPS that has needed no shift changes nothing
    MOX_OPAQUE(next);
    words_[context] = lps ? afterLps : next;
    c_ -= upper & lower;
    a_ = upper ^ ((upper ^ qe) & lower);
    const int shift = leadingZeros(a_);
    a_ <<= shift;
    if (shift > ahead_) [[unlikely]] {
      const MqRegister r = shiftAcross(home_, {c_, ahead_}, shift);
      c_ = r.c, ahead_ = r.ahead;
    } else {
      c_ <<= shift, ahead_ -= shift;
    }
    return ((static_cast<uint32_t>(word) >> 16) ^ lps) & 1;
  }

  // The same for a context whose MPS is nearly certain and seldom needs a shift: there a branch is predicted well.
  [[gnu::always_inline]] uint32_t decideSkewed(int context) {
    const uint64_t word = words_[context];
    const mq::Word upper = a_ - (static_cast<mq::Word>(word >> (64 - mq::kWordBits)) & kTop);
    if (c_ >= upper || upper >> (mq::kWordBits - 1) == 0) return decide(context);
    a_ = upper;
    return static_cast<uint32_t>(word >> 16) & 1;
  }

 private:
  static constexpr mq::Word kTop = static_cast<mq::Word>(0xFFFF) << (mq::kWordBits - 16);

  mq::Decoder& home_;
  mq::Word a_, c_;
  int ahead_;
  uint64_t words_[mq::kContexts];
  // A copy of kStateWord on the stack, 752 bytes a pass: the loops have no free register for the table's address.
  std::array<uint64_t, mq::kStates> next_;
};

}  // namespace mox::MOX_TARGET
