// The statistical models of DC differences and AC coefficients.
#include "jpeg/arithmeticreader.h"

#include <algorithm>

#include "jpeg/tables.h"

namespace moxj::jpeg {

namespace {

// The bins of a DC table (Table F.4): for each class of the last difference whether this one is 0, its sign, and
// whether it is more than 1, if positive and if negative; then the categories, and a bin for the bits of each category.
constexpr int kDcSign = 1, kDcPositive = 2, kDcCategories = 20;
// The classes, by their first bins.
constexpr int kZero = 0, kSmallPositive = 4, kSmallNegative = 8, kLargePositive = 12, kLargeNegative = 16;

// The bins of an AC table (Table F.5): for each coefficient from 1 on the end of the block, whether it is 0, and
// whether it is more than 1; then the categories of low and of high frequencies.
constexpr int kEnd = 0, kNotZero = 1, kMoreThanOne = 2;
constexpr int kCorrection = 2;  // of a coefficient that is not 0, in a refining scan
constexpr int kLowCategories = 189, kHighCategories = 217;

constexpr int kBitsAfterCategory = 14;  // from the bin of a category to that of its bits
constexpr int kMaxMagnitude = 1 << 15;

// A scan may leave a few bytes that no decision depended on.
constexpr int kUnreadBytes = 2;

}  // namespace

ArithmeticReader::ArithmeticReader(const Frame& frame, const ScanHeader& scan, const Tables& tables, ByteSpan data)
    : EntropyReader(frame, scan, tables, data, kUnreadBytes), scan_(scan), kind_(kindOf(frame, scan)) {
  for (int i = 0; i < 4; ++i) {
    dcModels_[i].lower = tables.conditioning.lower[i];
    dcModels_[i].upper = tables.conditioning.upper[i];
    acModels_[i].split = tables.conditioning.split[i];
  }
  for (const ScanHeader::Selector& selector : scan.components)
    components_.push_back({&dcModels_[selector.dcTable], &acModels_[selector.acTable]});
}

void ArithmeticReader::restarted() {
  for (DcModel& model : dcModels_) model.bins.fill({});
  for (AcModel& model : acModels_) model.bins.fill({});
  for (Component& component : components_) component.last = 0, component.context = kZero;
  decoder_.begin(window() + position_, window() + windowLength_);
}

// The registers of the decoder hold bytes that no decision has depended on yet.
bool ArithmeticReader::dataEnded() { return decoder_.missing() > kUnreadBytes; }

// The magnitude of a value that is not 0, less 1 (F.1.4.3): its category in unary, each digit with a bin of its own,
// then the bits below the highest.
bool ArithmeticReader::decodeMagnitude(ArithmeticBin* first, ArithmeticBin* second, ArithmeticBin* third, int& value) {
  value = 0;
  if (!decoder_.decode(*first)) return true;
  int highest = 1;
  ArithmeticBin* bin = second;
  while (decoder_.decode(*bin)) {
    bin = highest == 1 ? third : bin + 1;
    highest <<= 1;
    if (highest == kMaxMagnitude) return false;
  }
  value = highest;
  for (int bit = highest >> 1; bit != 0; bit >>= 1) {
    if (decoder_.decode(bin[kBitsAfterCategory])) value |= bit;
  }
  return true;
}

bool ArithmeticReader::decodeDc(Component& component) {
  DcModel& model = *component.dc;
  ArithmeticBin* const bins = model.bins.data() + component.context;
  if (!decoder_.decode(bins[0])) {
    component.context = kZero;
    return true;
  }
  const int negative = decoder_.decode(bins[kDcSign]);
  int value = 0;
  ArithmeticBin* const categories = model.bins.data() + kDcCategories;
  if (!decodeMagnitude(bins + kDcPositive + negative, categories, categories + 1, value)) return false;
  // Classes of the difference for the next one (F.1.4.4.1.2).
  if (value < (1 << model.lower) >> 1) {
    component.context = kZero;
  } else if (value >= 1 << model.upper) {
    component.context = negative ? kLargeNegative : kLargePositive;
  } else {
    component.context = negative ? kSmallNegative : kSmallPositive;
  }
  component.last = static_cast<Mox16s>(component.last + (negative ? -(value + 1) : value + 1));
  return true;
}

// The coefficients of a band that are not 0, up to the last one (F.2.4.2). `block` has none of them yet.
bool ArithmeticReader::decodeBand(AcModel& model, int start, int end, int low, Mox16s* block) {
  for (int k = start; k <= end; ++k) {
    ArithmeticBin* bins = model.of(k);
    if (decoder_.decode(bins[kEnd])) return true;
    while (!decoder_.decode(bins[kNotZero])) {
      if (++k > end) return false;
      bins = model.of(k);
    }
    const int negative = decoder_.decodeEven();
    ArithmeticBin* const more = bins + kMoreThanOne;
    int value = 0;
    if (!decodeMagnitude(more, more, model.bins.data() + (k <= model.split ? kLowCategories : kHighCategories), value))
      return false;
    block[kZigZag[k]] = static_cast<Mox16s>((negative ? -(value + 1) : value + 1) * (1 << low));
  }
  return true;
}

// One bit of all coefficients of a band (G.1.3.3). Coefficients that have been 0 become 1 or -1 in this bit.
bool ArithmeticReader::refineBand(AcModel& model, Mox16s* block) {
  const int step = 1 << scan_.approxLow, end = scan_.spectralEnd;
  int last = end;  // that is not 0 so far: the end of the band is not coded before it
  while (last >= scan_.spectralStart && block[kZigZag[last]] == 0) --last;
  for (int k = scan_.spectralStart; k <= end; ++k) {
    if (k > last && decoder_.decode(model.of(k)[kEnd])) return true;
    for (;; ++k) {
      if (k > end) return false;
      Mox16s& coefficient = block[kZigZag[k]];
      if (coefficient != 0) {
        if (decoder_.decode(model.of(k)[kCorrection]))
          coefficient = static_cast<Mox16s>(coefficient + (coefficient < 0 ? -step : step));
        break;
      }
      if (decoder_.decode(model.of(k)[kNotZero])) {
        coefficient = static_cast<Mox16s>(decoder_.decodeEven() ? -step : step);
        break;
      }
    }
  }
  return true;
}

}  // namespace moxj::jpeg
