#include "functions/tier1_reference.h"

#include <cmath>
#include <cstddef>
#include <cstdlib>

#include "moxj.h"

namespace test::reference {
namespace {

// Table C.2.
struct Row {
  uint32_t qe;
  int nmps, nlps, switches;
};
const Row kTable[47] = {
    {0x5601, 1, 1, 1},   {0x3401, 2, 6, 0},   {0x1801, 3, 9, 0},   {0x0AC1, 4, 12, 0},  {0x0521, 5, 29, 0},
    {0x0221, 38, 33, 0}, {0x5601, 7, 6, 1},   {0x5401, 8, 14, 0},  {0x4801, 9, 14, 0},  {0x3801, 10, 14, 0},
    {0x3001, 11, 17, 0}, {0x2401, 12, 18, 0}, {0x1C01, 13, 20, 0}, {0x1601, 29, 21, 0}, {0x5601, 15, 14, 1},
    {0x5401, 16, 14, 0}, {0x5101, 17, 15, 0}, {0x4801, 18, 16, 0}, {0x3801, 19, 17, 0}, {0x3401, 20, 18, 0},
    {0x3001, 21, 19, 0}, {0x2801, 22, 19, 0}, {0x2401, 23, 20, 0}, {0x2201, 24, 21, 0}, {0x1C01, 25, 22, 0},
    {0x1801, 26, 23, 0}, {0x1601, 27, 24, 0}, {0x1401, 28, 25, 0}, {0x1201, 29, 26, 0}, {0x1101, 30, 27, 0},
    {0x0AC1, 31, 28, 0}, {0x09C1, 32, 29, 0}, {0x08A1, 33, 30, 0}, {0x0521, 34, 31, 0}, {0x0441, 35, 32, 0},
    {0x02A1, 36, 33, 0}, {0x0221, 37, 34, 0}, {0x0141, 38, 35, 0}, {0x0111, 39, 36, 0}, {0x0085, 40, 37, 0},
    {0x0049, 41, 38, 0}, {0x0025, 42, 39, 0}, {0x0015, 43, 40, 0}, {0x0009, 44, 41, 0}, {0x0005, 45, 42, 0},
    {0x0001, 45, 43, 0}, {0x5601, 46, 46, 0}};

int initialState(int context) { return context == 0 ? 46 : context == 1 ? 3 : context == 2 ? 4 : 0; }

// The neighbourhood of a coefficient, for any storage of the flags. `significant(x, y)` and `negative(x, y)` are not
// called for places outside the block or hidden by causal contexts: these count as insignificant.
struct Neighbourhood {
  int h, v, d;  // numbers of significant neighbours
  int sh, sv;   // sign contributions, -1 to 1
};

template <class Significant, class Negative>
Neighbourhood neighbourhood(int width, int height, bool causal, int x, int y, const Significant& significant,
                            const Negative& negative) {
  const auto there = [&](int dx, int dy) {
    const int nx = x + dx, ny = y + dy;
    if (nx < 0 || ny < 0 || nx >= width || ny >= height) return 0;
    if (causal && ny / 4 > y / 4) return 0;
    return significant(nx, ny) ? 1 : 0;
  };
  const auto sign = [&](int dx, int dy) { return !there(dx, dy) ? 0 : negative(x + dx, y + dy) ? -1 : 1; };
  const auto clamp = [](int n) { return n < -1 ? -1 : n > 1 ? 1 : n; };
  Neighbourhood n;
  n.h = there(-1, 0) + there(1, 0);
  n.v = there(0, -1) + there(0, 1);
  n.d = there(-1, -1) + there(1, -1) + there(-1, 1) + there(1, 1);
  n.sh = clamp(sign(-1, 0) + sign(1, 0));
  n.sv = clamp(sign(0, -1) + sign(0, 1));
  return n;
}

// Table D.1, rows from the top.
int significanceContext(int subband, Neighbourhood n) {
  if (subband == 3) {
    const int hv = n.h + n.v;
    if (n.d >= 3) return 2 + 8;
    if (n.d == 2 && hv >= 1) return 2 + 7;
    if (n.d == 2) return 2 + 6;
    if (n.d == 1 && hv >= 2) return 2 + 5;
    if (n.d == 1 && hv == 1) return 2 + 4;
    if (n.d == 1) return 2 + 3;
    if (hv >= 2) return 2 + 2;
    return 2 + hv;
  }
  const int h = subband == 2 ? n.v : n.h, v = subband == 2 ? n.h : n.v;
  if (h == 2) return 2 + 8;
  if (h == 1 && v >= 1) return 2 + 7;
  if (h == 1 && n.d >= 1) return 2 + 6;
  if (h == 1) return 2 + 5;
  if (v == 2) return 2 + 4;
  if (v == 1) return 2 + 3;
  if (n.d >= 2) return 2 + 2;
  return 2 + n.d;
}

// Table D.3.
struct SignContext {
  int context, flip;
};
SignContext signContext(Neighbourhood n) {
  const SignContext table[3][3] = {                               // vertical -1, 0, 1
                                   {{15, 1}, {14, 1}, {13, 1}},   // horizontal -1
                                   {{12, 1}, {11, 0}, {12, 0}},   // 0
                                   {{13, 0}, {14, 0}, {15, 0}}};  // 1
  return table[n.sh + 1][n.sv + 1];
}

// Table D.4.
int refinementContext(Neighbourhood n, bool refined) { return refined ? 18 : n.h + n.v + n.d > 0 ? 17 : 16; }

// ---- The scan

class Scan {
 public:
  Scan(const Block& block, int subband, int options, int lowest)
      : block_(block),
        subband_(subband),
        options_(options),
        lowest_(lowest),
        significant_(block.coefficients.size()),
        visited_(significant_),
        refined_(significant_) {}

  void run(Coded& coded) {
    uint32_t largest = 0;
    for (const uint32_t c : block_.coefficients)
      if ((c & 0x7FFFFFFF) > largest) largest = c & 0x7FFFFFFF;
    int planes = 0;
    while (planes < 31 && largest >> planes) planes++;
    coded.numBitPlanes = planes;
    for (plane_ = planes - 1; plane_ >= lowest_; plane_--) {
      const bool raw = (options_ & 2) && plane_ < planes - 4;
      if (plane_ < planes - 1) {
        begin(coded, raw), significance();
        begin(coded, raw), refinement();
      }
      begin(coded, false), cleanup();
    }
  }

 private:
  size_t index(int x, int y) const { return static_cast<size_t>(y) * block_.width + x; }
  uint32_t magnitude(int x, int y) const { return block_.at(x, y) & 0x7FFFFFFF; }
  int bit(int x, int y) const { return magnitude(x, y) >> plane_ & 1; }

  void begin(Coded& coded, bool raw) {
    coded.passes.push_back({{}, raw, 0, 2 * (plane_ - lowest_) - 13, 0});
    pass_ = &coded.passes.back();
  }
  void put(int context, int bit) { pass_->decisions.push_back({context, bit}); }

  Neighbourhood around(int x, int y) const {
    return neighbourhood(
        block_.width, block_.height, options_ & 1, x, y, [&](int a, int b) { return significant_[index(a, b)]; },
        [&](int a, int b) { return block_.at(a, b) >> 31; });
  }

  template <class Visit>
  void inScanOrder(const Visit& visit) {
    for (int top = 0; top < block_.height; top += 4)
      for (int x = 0; x < block_.width; x++)
        for (int y = top; y < top + 4 && y < block_.height; y++) visit(x, y);
  }

  bool exact() const { return (options_ & 32) && plane_ == lowest_; }
  // The magnitude in steps of the bit-plane, the bits above it dropped, to 1 / 64 step.
  double fraction(int x, int y, int bits) const {
    const double steps = std::floor(64.0 * magnitude(x, y) / std::ldexp(1.0, plane_));
    return std::fmod(steps, 64.0 * (1 << bits)) / 64.0;
  }

  void becomeSignificant(int x, int y) {
    const Neighbourhood n = around(x, y);
    const int negative = block_.at(x, y) >> 31;
    if (pass_->raw)
      put(0, negative);
    else
      put(signContext(n).context, negative ^ signContext(n).flip);
    significant_[index(x, y)] = 1;
    const double m = 1 + fraction(x, y, 0);
    pass_->distortion += static_cast<int64_t>(8192 * (exact() ? m * m : 0.75 + 3 * (m - 1)));
  }

  void significance() {
    inScanOrder([&](int x, int y) {
      const Neighbourhood n = around(x, y);
      if (significant_[index(x, y)] || n.h + n.v + n.d == 0) return;
      put(significanceContext(subband_, n), bit(x, y));
      visited_[index(x, y)] = 1;
      if (bit(x, y)) becomeSignificant(x, y);
    });
  }

  void refinement() {
    inScanOrder([&](int x, int y) {
      if (!significant_[index(x, y)] || visited_[index(x, y)]) return;
      put(refinementContext(around(x, y), refined_[index(x, y)]), bit(x, y));
      refined_[index(x, y)] = 1;
      const double m = fraction(x, y, 1), before = (m - 1) * (m - 1);
      const double after = exact() ? 0 : m < 1 ? (m - 0.5) * (m - 0.5) : (m - 1.5) * (m - 1.5);
      pass_->distortion += static_cast<int64_t>(8192 * (before - after));
    });
  }

  void cleanup() {
    int runEnd = -1, runX = -1;  // the rows of this column that a run covers
    inScanOrder([&](int x, int y) {
      if (x == runX && y <= runEnd) return;
      if (x != runX || y % 4 == 0) runX = -1, runEnd = -1;
      if (y % 4 == 0 && y + 4 <= block_.height) {
        bool quiet = true;
        for (int i = 0; i < 4; i++) {
          const Neighbourhood n = around(x, y + i);
          if (significant_[index(x, y + i)] || visited_[index(x, y + i)] || n.h + n.v + n.d) quiet = false;
        }
        if (quiet) {
          int first = 0;
          while (first < 4 && !bit(x, y + first)) first++;
          put(1, first < 4);
          runX = x;
          runEnd = first < 4 ? y + first : y + 3;
          if (first < 4) {
            put(0, first >> 1);
            put(0, first & 1);
            becomeSignificant(x, y + first);
          }
          return;
        }
      }
      if (significant_[index(x, y)] || visited_[index(x, y)]) return;
      put(significanceContext(subband_, around(x, y)), bit(x, y));
      if (bit(x, y)) becomeSignificant(x, y);
    });
    if (options_ & 16)
      for (const int b : {1, 0, 1, 0}) put(0, b);
    visited_.assign(visited_.size(), 0);
  }

  const Block& block_;
  int subband_, options_, lowest_, plane_ = 0;
  std::vector<char> significant_, visited_, refined_;
  Pass* pass_ = nullptr;
};

// ---- The MQ encoder

// A binary number below 2, bit i with weight 2^-i, as long as needed.
class Fraction {
 public:
  void add(int position, unsigned value, int bits) {  // `value` of `bits` bits, the first of them at `position`
    for (int i = 0; i < bits; i++) digit(position + i) += value >> (bits - 1 - i) & 1;
  }
  int compare(Fraction& other) {
    carry();
    other.carry();
    for (size_t i = 0; i < digits_.size() || i < other.digits_.size(); i++) {
      const int a = i < digits_.size() ? digits_[i] : 0, b = i < other.digits_.size() ? other.digits_[i] : 0;
      if (a != b) return a < b ? -1 : 1;
    }
    return 0;
  }

 private:
  void carry() {
    for (size_t i = digits_.size(); i-- > 1;) digits_[i - 1] += digits_[i] / 2, digits_[i] %= 2;
  }
  int& digit(int position) {
    if (digits_.size() <= static_cast<size_t>(position)) digits_.resize(position + 1);
    return digits_[position];
  }
  std::vector<int> digits_;
};

class MqEncoder {
 public:
  MqEncoder() { resetContexts(); }

  void resetContexts() {
    for (int k = 0; k < 19; k++) state_[k] = initialState(k), mps_[k] = 0;
  }

  void start() {
    a_ = 0x8000, c_ = 0, ct_ = 12, b_ = 0, first_ = true, emitted_ = false;
    bytes.clear();
  }

  void encode(int context, int d) {
    const Row& row = kTable[state_[context]];
    a_ -= row.qe;
    if (d != mps_[context]) {  // CODELPS
      if (a_ < row.qe)
        c_ += row.qe;
      else
        a_ = row.qe;
      if (row.switches) mps_[context] ^= 1;
      state_[context] = row.nlps;
      renormalise();
    } else if (a_ & 0x8000) {  // CODEMPS
      c_ += row.qe;
    } else {
      if (a_ < row.qe)
        a_ = row.qe;
      else
        c_ += row.qe;
      state_[context] = row.nmps;
      renormalise();
    }
  }

  void terminate(int kind) {
    if (kind == 1)
      shortest();
    else if (kind == 2)
      predictable();
    else
      flush();
  }

  int allowance() const {
    const uint32_t l = b_ >= 254 ? 22 : 23;
    const int x = emitted_ ? 0 : -1;
    return 27 - ct_ > l ? x + 5 : x + 4;
  }

  std::vector<uint8_t> bytes;  // of the current segment

 private:
  void renormalise() {
    do {
      a_ <<= 1;
      c_ <<= 1;
      ct_--;
      if (ct_ == 0) byteOut();
    } while (!(a_ & 0x8000));
  }

  void emit() {
    if (!first_) bytes.push_back(static_cast<uint8_t>(b_));
    first_ = false;
    emitted_ = true;
  }

  void byteOut() {
    bool seven = b_ == 0xFF;
    if (!seven && c_ >= 0x8000000) {
      b_ = (b_ + 1) & 0xFF;
      if (b_ == 0xFF) c_ &= 0x7FFFFFF, seven = true;
    }
    emit();
    if (seven)
      b_ = c_ >> 20, c_ &= 0xFFFFF, ct_ = 7;
    else
      b_ = c_ >> 19 & 0xFF, c_ &= 0x7FFFF, ct_ = 8;
  }

  void flush() {
    uint32_t t = c_ | 0xFFFF;
    if (t >= a_ + c_) t -= 0x8000;
    c_ = t << ct_;
    byteOut();
    c_ |= 0x7FFF;
    c_ <<= ct_;
    byteOut();
    c_ |= 0x7FFF;
    if (b_ < 0xFF) {
      c_ <<= ct_;
      byteOut();
    }
  }

  void predictable() {
    int k = 12 - static_cast<int>(ct_);
    while (k > 0) {
      c_ <<= ct_;
      byteOut();
      k -= static_cast<int>(ct_);
    }
    if (b_ < 0xFF) {
      c_ <<= ct_;
      byteOut();
    }
  }

  // A segment's value as its decoder reads it, from bit 8 on (the place before is for carries): a byte after 0xFF
  // starts at the last bit of that one.
  static int addBytes(Fraction& sum, const std::vector<uint8_t>& bytes) {
    int position = 8;
    for (size_t i = 0; i < bytes.size(); i++) {
      if (i > 0 && bytes[i - 1] == 0xFF) position--;
      sum.add(position, bytes[i], 8);
      position += 8;
    }
    return position;
  }

  void shortest() {
    // The interval, from all that is out and the registers.
    Fraction low, high;
    for (Fraction* f : {&low, &high}) {
      int position = addBytes(*f, bytes);
      if (first_) {
        position = 0;  // B is the byte before the first
      } else if (!bytes.empty() && bytes.back() == 0xFF) {
        position--;
      }
      f->add(position, b_, 8);
      position += 8;
      // The last bit of B is bit 27 of the shifted registers.
      const uint64_t value = static_cast<uint64_t>(f == &low ? c_ : c_ + a_) << ct_;
      f->add(position - 5, static_cast<unsigned>(value), 32);
    }
    // The bytes of its base, far enough.
    for (int i = 0; i < 6; i++) {
      c_ <<= ct_;
      byteOut();
    }
    // The fewer of them, the larger the value with ones after them: as few as stay below the interval's end.
    const auto inside = [&](size_t length) {
      Fraction value;
      int position = addBytes(value, {bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(length)});
      for (int i = 0; i < 12; i++) value.add(position, 0xFFFFFF, 24), position += 24;
      return value.compare(low) >= 0 && value.compare(high) < 0;
    };
    size_t length = bytes.size();
    if (!inside(length)) std::abort();
    while (length > 0 && inside(length - 1)) length--;
    bytes.resize(length);
  }

  uint32_t a_ = 0, c_ = 0, ct_ = 0, b_ = 0;
  bool first_ = true, emitted_ = false;
  int state_[19], mps_[19];
};

class RawEncoder {
 public:
  void start() { bytes.clear(), byte_ = 0, position_ = 7, afterFF_ = false; }
  void put(int bit) {
    byte_ |= bit << position_;
    if (position_-- == 0) emit();
  }
  void terminate() {
    if (allowance()) emit();
  }
  int allowance() const { return position_ != (afterFF_ ? 6 : 7); }

  std::vector<uint8_t> bytes;

 private:
  void emit() {
    bytes.push_back(static_cast<uint8_t>(byte_));
    afterFF_ = byte_ == 0xFF;
    position_ = afterFF_ ? 6 : 7;
    byte_ = 0;
  }
  int byte_ = 0, position_ = 7;
  bool afterFF_ = false;
};

}  // namespace

double Coded::distortion(int pass) const {
  double sum = 0;
  for (int i = 0; i <= pass; i++)
    sum += static_cast<double>(static_cast<int32_t>(passes[i].distortion)) * std::ldexp(1.0, passes[i].exponent);
  return sum;
}

Coded encode(const Block& block, int subband, int magnitudeBits, int termKind, int options) {
  Coded coded;
  Scan(block, subband, options, 31 - magnitudeBits).run(coded);
  std::vector<Pass>& passes = coded.passes;
  MqEncoder mq;
  RawEncoder raw;
  for (size_t i = 0; i < passes.size(); i++) {
    const bool all = options & 4;
    const bool starts = i == 0 || all || passes[i - 1].raw != passes[i].raw;
    const bool ends = i + 1 == passes.size() || all || passes[i + 1].raw != passes[i].raw;
    if (starts) mq.start(), raw.start();
    for (const Decision d : passes[i].decisions) {
      if (passes[i].raw)
        raw.put(d.bit);
      else
        mq.encode(d.context, d.bit);
    }
    if (ends && passes[i].raw) raw.terminate();
    if (ends && !passes[i].raw) mq.terminate(termKind);
    const std::vector<uint8_t>& bytes = passes[i].raw ? raw.bytes : mq.bytes;
    const int allowance = passes[i].raw ? raw.allowance() : ends ? 0 : mq.allowance();
    passes[i].rate = static_cast<int>(coded.bytes.size() + bytes.size()) + allowance;
    if (allowance == 0)
      for (size_t k = i; k > 0 && passes[k].rate < passes[k - 1].rate; k--) passes[k - 1].rate = passes[k].rate;
    if (ends) {
      coded.bytes.insert(coded.bytes.end(), bytes.begin(), bytes.end());
      coded.segmentLengths.push_back(static_cast<int>(bytes.size()));
    }
    if (options & 8) mq.resetContexts();
  }
  for (Pass& pass : passes)
    if (pass.rate > 0 && coded.bytes[pass.rate - 1] == 0xFF) pass.rate--;
  coded.numSegments = (options & 4) ? static_cast<int>(passes.size()) : 1;
  if (!(options & 4))
    for (size_t i = 1; i < passes.size(); i++) coded.numSegments += passes[i].raw != passes[i - 1].raw;
  return coded;
}

// ---- The decoder

Decoder::Decoder(const Block& before, int subband, int numBitPlanes, int options)
    : block(before),
      plane(numBitPlanes - 1),
      subband_(subband),
      options_(options),
      significant_(before.coefficients.size()),
      negative_(significant_),
      visited_(significant_),
      refined_(significant_) {
  threshold_ = has(moxJ2KBypass) && numBitPlanes > 4 ? numBitPlanes - 4 : 0;
  if (!has(moxJ2KKeepDestination)) block.coefficients.assign(block.coefficients.size(), 0);
  resetContexts();
}

void Decoder::resetContexts() {
  for (int k = 0; k < 19; k++) mq_.state[k] = initialState(k), mq_.mps[k] = 0;
}

static unsigned byteOf(const std::vector<uint8_t>& bytes, size_t index) {
  return index < bytes.size() ? bytes[index] : 0xFF;
}

void Decoder::startMq(const std::vector<uint8_t>& segment) {
  mq_.bytes = &segment;
  mq_.index = 0;
  mq_.marker = false;
  mq_.c = (byteOf(segment, 0) ^ 0xFF) << 16;
  byteIn();
  mq_.c <<= 7;
  mq_.ct -= 7;
  mq_.a = 0x8000;
}

void Decoder::byteIn() {
  const unsigned b = byteOf(*mq_.bytes, mq_.index), b1 = byteOf(*mq_.bytes, mq_.index + 1);
  if (mq_.marker) {
    mq_.ct = 8;
  } else if (b < 0xFF) {
    mq_.index++;
    mq_.c += 0xFF00 - (b1 << 8);
    mq_.ct = 8;
  } else if (b1 < 0x90) {
    mq_.index++;
    mq_.c += 0xFE00 - (b1 << 9);
    mq_.ct = 7;
  } else {
    mq_.marker = true;
    mq_.ct = 8;
  }
}

void Decoder::renormalise() {
  do {
    if (mq_.ct == 0) byteIn();
    mq_.a <<= 1;
    mq_.c <<= 1;
    mq_.ct--;
  } while (!(mq_.a & 0x8000));
}

int Decoder::decide(int context) {
  int& state = mq_.state[context];
  int& mps = mq_.mps[context];
  const Row& row = kTable[state];
  mq_.a -= row.qe;
  int d;
  const auto codeLps = [&] {
    d = 1 - mps;
    if (row.switches) mps = 1 - mps;
    state = row.nlps;
  };
  const auto codeMps = [&] {
    d = mps;
    state = row.nmps;
  };
  if (mq_.c >> 16 < mq_.a) {
    if (mq_.a & 0x8000) return mps;
    if (mq_.a < row.qe)
      codeLps();
    else
      codeMps();
  } else {
    mq_.c -= mq_.a << 16;
    const bool conditional = mq_.a < row.qe;
    mq_.a = row.qe;
    if (conditional)
      codeMps();
    else
      codeLps();
  }
  renormalise();
  return d;
}

bool Decoder::endsPredictably() {
  const unsigned b = byteOf(*mq_.bytes, mq_.index), b1 = byteOf(*mq_.bytes, mq_.index + 1);
  if (b < 0xFF && !mq_.marker) return false;
  if (mq_.ct != 0 && !mq_.marker) return false;
  if (mq_.ct == 1) return true;
  if (mq_.ct == 0) {
    if (!mq_.marker && b1 < 0x90) return false;
    mq_.ct = 8;
  }
  const uint32_t t = 0x8000 >> (mq_.ct - 1);
  return mq_.c >> 16 >= mq_.a - t;
}

int Decoder::rawBit() {
  if (raw_.left == 0) {
    raw_.left = raw_.byte == 0xFF ? 7 : 8;
    raw_.byte = byteOf(*raw_.bytes, raw_.index++);
  }
  return raw_.byte >> --raw_.left & 1;
}

bool Decoder::endOfMqPass(bool good, bool checks) {
  if (checks) good = endsPredictably();
  if (has(moxJ2KReset)) resetContexts();
  return good;
}

namespace {
uint32_t planeBit(int p) { return p < 0 || p > 30 ? 0 : 1u << p; }

template <class Visit>
void inScanOrder(const Block& block, const Visit& visit) {
  for (int top = 0; top < block.height; top += 4)
    for (int x = 0; x < block.width; x++)
      for (int y = top; y < top + 4 && y < block.height; y++) visit(x, y);
}
}  // namespace

Neighbourhood aroundOf(const Block& block, bool causal, int x, int y, const std::vector<char>& significant,
                       const std::vector<char>& negative) {
  const auto index = [&](int nx, int ny) { return static_cast<size_t>(ny) * block.width + nx; };
  return neighbourhood(
      block.width, block.height, causal, x, y, [&](int nx, int ny) { return significant[index(nx, ny)]; },
      [&](int nx, int ny) { return negative[index(nx, ny)]; });
}

void Decoder::decodeSign(int x, int y, bool raw) {
  const SignContext s = signContext(aroundOf(block, has(moxJ2KCausal), x, y, significant_, negative_));
  const uint32_t sign = raw ? rawBit() : decide(s.context) ^ s.flip;
  significant_[index(x, y)] = 1;
  negative_[index(x, y)] = static_cast<char>(sign);
  block.at(x, y) |= sign << 31 | planeBit(plane) | planeBit(plane - 1);
}

bool Decoder::significance(bool raw, bool checks) {
  inScanOrder(block, [&](int x, int y) {
    const Neighbourhood n = aroundOf(block, has(moxJ2KCausal), x, y, significant_, negative_);
    if (significant_[index(x, y)] || n.h + n.v + n.d == 0) return;
    visited_[index(x, y)] = 1;
    if (raw ? rawBit() : decide(significanceContext(subband_, n))) decodeSign(x, y, raw);
  });
  return raw || endOfMqPass(true, checks);
}

bool Decoder::refinement(bool raw, bool checks) {
  inScanOrder(block, [&](int x, int y) {
    if (!significant_[index(x, y)] || visited_[index(x, y)]) return;
    const Neighbourhood n = aroundOf(block, has(moxJ2KCausal), x, y, significant_, negative_);
    const int bit = raw ? rawBit() : decide(refinementContext(n, refined_[index(x, y)]));
    refined_[index(x, y)] = 1;
    for (int p = 0; p <= plane && p < 31; p++) block.at(x, y) &= ~planeBit(p);
    block.at(x, y) |= (bit ? planeBit(plane) : 0) | planeBit(plane - 1);
  });
  return raw || endOfMqPass(true, checks);
}

bool Decoder::cleanup(bool checks) {
  int runX = -1, runEnd = -1;
  inScanOrder(block, [&](int x, int y) {
    if (x == runX && y <= runEnd) return;
    if (y % 4 == 0) runX = runEnd = -1;
    if (y % 4 == 0 && y + 4 <= block.height) {
      bool quiet = true;
      for (int i = 0; i < 4; i++) {
        const Neighbourhood n = aroundOf(block, has(moxJ2KCausal), x, y + i, significant_, negative_);
        if (significant_[index(x, y + i)] || visited_[index(x, y + i)] || n.h + n.v + n.d) quiet = false;
      }
      if (quiet) {
        runX = x;
        runEnd = y + 3;
        if (!decide(1)) return;
        int first = decide(0) << 1;
        first |= decide(0);
        runEnd = y + first;
        decodeSign(x, y + first, false);
        return;
      }
    }
    if (significant_[index(x, y)] || visited_[index(x, y)]) return;
    const Neighbourhood n = aroundOf(block, has(moxJ2KCausal), x, y, significant_, negative_);
    if (decide(significanceContext(subband_, n))) decodeSign(x, y, false);
  });
  visited_.assign(visited_.size(), 0);
  bool good = true;
  if (has(moxJ2KSegSymbol)) {
    int value = 0;
    for (int i = 0; i < 4; i++) value = value << 1 | decide(0);
    good = value == 10;
  }
  return endOfMqPass(good, checks);
}

MoxStatus Decoder::step(const std::vector<uint8_t>& segment) {
  if (failed_) return moxStatusDecodeFailed;
  if (counter < 1 || plane < 0) return moxStatusOk;
  const bool checks = has(moxJ2KCheckTermination);
  const auto startRaw = [&] { raw_ = {&segment, 0, 0xFFFFFFFF, 0}; };
  bool good = true;
  if (has(moxJ2KTermAll)) {
    counter--;
    switch (state_) {
      case 0:
      case 3:
        startMq(segment);
        good = cleanup(checks);
        if (!good) break;
        plane--;
        state_ = state_ == 0 && plane >= threshold_ ? 2 : 5;
        break;
      case 2:
        startMq(segment);
        good = significance(false, checks);
        if (good) state_ = 1;
        break;
      case 1:
        startMq(segment);
        good = refinement(false, checks);
        if (good) state_ = 0;
        break;
      case 5:
        startRaw();
        significance(true, false);
        state_ = 4;
        break;
      case 4:
        startRaw();
        refinement(true, false);
        state_ = 3;
        break;
    }
  } else if (state_ == 0) {
    startMq(segment);
    for (;;) {
      if (!(good = cleanup(checks && plane == threshold_))) break;
      counter--;
      if (plane <= threshold_) {
        if (counter > 0) state_ = 5, plane--;
        break;
      }
      if (counter == 0) break;
      plane--;
      significance(false, false);
      if (--counter == 0) break;
      refinement(false, false);
      if (--counter == 0) break;
    }
  } else if (state_ == 3) {
    startMq(segment);
    good = cleanup(checks);
    if (good && --counter > 0) plane--, state_ = 5;
  } else {
    startRaw();
    significance(true, false);
    if (--counter > 0) {
      refinement(true, false);
      state_ = 3;
      counter--;
    }
  }
  failed_ = !good;
  return good ? moxStatusOk : moxStatusDecodeFailed;
}

MoxStatus decode(Block& block, int subband, int numBitPlanes, int numPasses,
                 const std::vector<std::vector<uint8_t>>& segments, int options, int* plane) {
  Decoder decoder(block, subband, numBitPlanes, options);
  decoder.counter = numPasses;
  MoxStatus status = moxStatusOk;
  for (const auto& segment : segments)
    if ((status = decoder.step(segment)) != moxStatusOk) break;
  block = decoder.block;
  const int p = decoder.plane;
  uint32_t below = 0;
  for (int i = 0; i < p && i < 31; i++) below |= planeBit(i);
  if (status == moxStatusDecodeFailed) {
    *plane = p;
    if (options & moxJ2KFillOnError)
      for (uint32_t& v : block.coefficients) v = v & ~below & 0x7FFFFFFF ? (v & ~below) | planeBit(p) : 0;
  }
  if (!(options & moxJ2KKeepMidpoint) && p >= 1)
    for (uint32_t& v : block.coefficients) v &= ~below;
  return status;
}

}  // namespace test::reference
