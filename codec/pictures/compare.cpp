// Mean squared error and SSIM, channel by channel.
#include "pictures/compare.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <type_traits>

#include "base/problem.h"
#include "pictures/fit.h"

namespace moxj {

namespace {

// ---- Equal layouts -------------------------------------------------------------------------------------------------

constexpr int kMinBits = 8;
// Planes of what counts as grey, RGB or inks, opacity included.
constexpr std::size_t kMaxGreys = 2, kMaxColours = 4, kMaxInks = 5;

bool areInks(const Picture& picture) { return picture.colour == Colour::cmyk; }

bool isPlanes(const Picture& picture) {
  const bool mayBecomeRgb = picture.colour == Colour::unknown || picture.colour == Colour::grey ||
                            picture.colour == Colour::rgb || picture.colour == Colour::ycbcr;
  return !mayBecomeRgb || hasFurtherPlanes(picture);
}

int bitsOf(const Picture& picture) {
  int bits = kMinBits;
  for (const Plane& plane : picture.planes) bits = std::max(bits, plane.bits);
  return bits;
}

struct Pair {
  Picture a, b;
};

// Both pictures with the same colours and the same depth.
Pair pairOf(const Picture& a, const Picture& b, Budget& budget) {
  std::vector<std::string> notes;
  Holds holds;
  holds.metadata.silent = true;
  holds.opacity = true;
  holds.depths = {std::max(bitsOf(a), bitsOf(b))};
  const bool further = hasFurtherPlanes(a) || hasFurtherPlanes(b);
  const bool inks = !further && areInks(a) && areInks(b);
  const bool planes = further || (!inks && a.colour == b.colour && isPlanes(a) && isPlanes(b));
  if (planes && a.planes.size() != b.planes.size())
    fail(Kind::badOption,
         std::to_string(b.planes.size()) + " components, but the first picture has " + std::to_string(a.planes.size()));
  if (planes && a.opacity != b.opacity)
    fail(Kind::badOption, b.opacity == Opacity::none ? "no opacity, which the first picture has"
                                                     : "opacity, which the first picture does not have");
  if (inks) {
    holds.colours = {Colour::cmyk};
    holds.inks = Inks::plain;
  } else if (!planes) {
    holds.colours = {Colour::grey, Colour::rgb};
    if (fit(a, holds, notes).colour != fit(b, holds, notes).colour) holds.colours = {Colour::rgb};
  }
  return {fitted(a, holds, notes, budget), fitted(b, holds, notes, budget)};
}

std::vector<std::string> namesOf(const Picture& picture, bool opacity) {
  std::vector<std::string> names;
  if (picture.colour == Colour::grey) names = {"grey"};
  if (picture.colour == Colour::rgb) names = {"red", "green", "blue"};
  if (picture.colour == Colour::cmyk) names = {"cyan", "magenta", "yellow", "black"};
  for (int i = static_cast<int>(names.size()); i < picture.colours(); ++i)
    names.push_back("plane " + std::to_string(i));
  if (opacity) names.push_back("opacity");
  return names;
}

// The rows of one channel. A picture without opacity is opaque.
template <class Type>
class Channel {
 public:
  Channel(const Picture& picture, int channel) {
    if (channel < static_cast<int>(picture.planes.size()))
      plane_ = &picture.planes[static_cast<std::size_t>(channel)];
    else
      opaque_.assign(static_cast<std::size_t>(picture.width), static_cast<Type>(picture.planes[0].maxval));
  }
  const Type* row(int y) const { return plane_ ? plane_->row<const Type>(y) : opaque_.data(); }
  std::ptrdiff_t pixelStep() const { return plane_ ? plane_->pixelStep : 1; }

 private:
  const Plane* plane_ = nullptr;
  std::vector<Type> opaque_;
};

// ---- SSIM ----------------------------------------------------------------------------------------------------------

constexpr int kWindow = 11;
constexpr double kDeviation = 1.5;
constexpr int kRowsOfReport = 32;

std::vector<double> gaussian(int taps) {
  std::vector<double> weights(static_cast<std::size_t>(taps));
  double sum = 0;
  for (int i = 0; i < taps; ++i) {
    const double distance = i - (taps - 1) / 2.0;
    sum += weights[i] = std::exp(-distance * distance / (2 * kDeviation * kDeviation));
  }
  for (double& weight : weights) weight /= sum;
  return weights;
}

// The index is computed from these moments: windowed means of the samples of both pictures, of their squares and of
// their product.
enum Moment { meanA, meanB, squareA, squareB, product, momentCount };
using MomentRow = std::array<std::vector<double>, momentCount>;

struct Terms {
  explicit Terms(double peak) : luminance(0.01 * peak * 0.01 * peak), contrast(0.03 * peak * 0.03 * peak) {}
  double luminance, contrast;
};

double similarity(const double (&m)[momentCount], const Terms& terms) {
  const double means = m[meanA] * m[meanB];
  const double meanSquares = m[meanA] * m[meanA] + m[meanB] * m[meanB];
  const double variances = m[squareA] + m[squareB] - meanSquares;
  const double covariance = m[product] - means;
  return (2 * means + terms.luminance) * (2 * covariance + terms.contrast) /
         ((meanSquares + terms.luminance) * (variances + terms.contrast));
}

// Sums of weighted rows. Some columns at a time, so that their sums stay in registers over all rows.
void filter(const std::vector<const double*>& rows, const std::vector<double>& weights, double* to,
            std::size_t columns) {
  constexpr std::size_t kAtOnce = 8;
  std::size_t x = 0;
  for (; x + kAtOnce <= columns; x += kAtOnce) {
    double sums[kAtOnce] = {};
    for (std::size_t row = 0; row < rows.size(); ++row)
      for (std::size_t i = 0; i < kAtOnce; ++i) sums[i] += weights[row] * rows[row][x + i];
    for (std::size_t i = 0; i < kAtOnce; ++i) to[x + i] = sums[i];
  }
  for (; x < columns; ++x) {
    double sum = 0;
    for (std::size_t row = 0; row < rows.size(); ++row) sum += weights[row] * rows[row][x];
    to[x] = sum;
  }
}

// The index of one channel. The window is separable: each row is filtered once and kept in a ring of the last rows,
// over which the columns are filtered.
template <class Type>
class Ssim {
 public:
  Ssim(const Channel<Type>& a, const Channel<Type>& b, int width, int height, double peak, Budget& budget)
      : a_(a),
        b_(b),
        height_(height),
        terms_(peak),
        across_(gaussian(std::min(kWindow, width))),
        down_(gaussian(std::min(kWindow, height))),
        columns_(static_cast<std::size_t>(width) - across_.size() + 1),
        ring_(down_.size()) {
    budget.charge((down_.size() + 2) * momentCount * sizeof(double), static_cast<std::uint64_t>(width));
    for (std::vector<double>& moment : samples_) moment.resize(static_cast<std::size_t>(width));
    for (std::vector<double>& moment : sums_) moment.resize(columns_);
    for (MomentRow& row : ring_)
      for (std::vector<double>& moment : row) moment.resize(columns_);
  }

  // Calls report(y) for each row.
  template <class Report>
  double mean(const Report& report) {
    double sum = 0;
    const std::size_t rows = down_.size();
    for (int y = 0; y < height_; ++y) {
      report(y);
      const std::size_t count = static_cast<std::size_t>(y) + 1;
      filterRow(y, ring_[(count - 1) % rows]);
      if (count >= rows) sum += sumOfWindows(count - rows);
    }
    return sum / (static_cast<double>(columns_) * (height_ - static_cast<double>(rows) + 1));
  }

 private:
  void filterRow(int y, MomentRow& out) {
    const Type* a = a_.row(y);
    const Type* b = b_.row(y);
    const std::ptrdiff_t stepA = a_.pixelStep(), stepB = b_.pixelStep();
    for (std::size_t x = 0, width = samples_[meanA].size(); x < width; ++x, a += stepA, b += stepB) {
      const double p = *a, q = *b;
      samples_[meanA][x] = p;
      samples_[meanB][x] = q;
      samples_[squareA][x] = p * p;
      samples_[squareB][x] = q * q;
      samples_[product][x] = p * q;
    }
    rows_.resize(across_.size());
    for (int moment = 0; moment < momentCount; ++moment) {
      for (std::size_t tap = 0; tap < rows_.size(); ++tap) rows_[tap] = samples_[moment].data() + tap;
      filter(rows_, across_, out[moment].data(), columns_);
    }
  }

  double sumOfWindows(std::size_t top) {
    rows_.resize(down_.size());
    for (int moment = 0; moment < momentCount; ++moment) {
      for (std::size_t tap = 0; tap < rows_.size(); ++tap)
        rows_[tap] = ring_[(top + tap) % rows_.size()][moment].data();
      filter(rows_, down_, sums_[moment].data(), columns_);
    }
    double sum = 0;
    for (std::size_t x = 0; x < columns_; ++x) {
      const double moments[momentCount] = {sums_[meanA][x], sums_[meanB][x], sums_[squareA][x], sums_[squareB][x],
                                           sums_[product][x]};
      sum += similarity(moments, terms_);
    }
    return sum;
  }

  const Channel<Type>& a_;
  const Channel<Type>& b_;
  int height_;
  Terms terms_;
  std::vector<double> across_;
  std::vector<double> down_;
  std::size_t columns_;
  std::vector<MomentRow> ring_;
  std::vector<const double*> rows_;  // to filter
  MomentRow samples_;
  MomentRow sums_;
};

// ---- Differences ---------------------------------------------------------------------------------------------------

double psnrOf(double meanSquare, double peak) {
  return meanSquare == 0 ? std::numeric_limits<double>::infinity() : 10 * std::log10(peak * peak / meanSquare);
}

// Compares channel after channel, each in two passes over the rows.
class Comparer {
 public:
  Comparer(const Picture& a, const Picture& b, int channels, Work& work)
      : a_(a), b_(b), total_(std::uint64_t{2} * static_cast<std::uint64_t>(channels) * rows()), work_(work) {}

  Difference channel(int channel) {
    return visitElement(a_.planes[0].element, [&]<class Type>(Type*) {
      const Channel<Type> a(a_, channel), b(b_, channel);
      return differenceOf(a, b, 2 * static_cast<std::uint64_t>(channel) * rows());
    });
  }

  double peak() const { return a_.planes[0].maxval; }

 private:
  std::uint64_t rows() const { return static_cast<std::uint64_t>(a_.height); }

  template <class Type>
  Difference differenceOf(const Channel<Type>& a, const Channel<Type>& b, std::uint64_t done) {
    // Squares of more than 16 bits do not fit the sum of integers.
    using Sum = std::conditional_t<sizeof(Type) == 4, double, std::uint64_t>;
    using Wide = std::conditional_t<sizeof(Type) == 4, std::int64_t, std::int32_t>;
    Sum squares = 0;
    Wide max = 0;
    const std::ptrdiff_t stepA = a.pixelStep(), stepB = b.pixelStep();
    Difference difference;
    for (int y = 0; y < a_.height; ++y) {
      report(done, y);
      const Type* p = a.row(y);
      const Type* q = b.row(y);
      for (int x = 0; x < a_.width; ++x, p += stepA, q += stepB) {
        const Wide distance = std::abs(Wide{*p} - Wide{*q});
        max = std::max(max, distance);
        squares += static_cast<Sum>(distance) * static_cast<Sum>(distance);
      }
    }
    difference.max = static_cast<std::uint32_t>(max);
    difference.meanSquare = static_cast<double>(squares) / (static_cast<double>(a_.width) * a_.height);
    difference.psnr = psnrOf(difference.meanSquare, peak());
    if (difference.max != 0) {
      const std::uint64_t used = work_.budget.used();
      difference.ssim =
          Ssim<Type>(a, b, a_.width, a_.height, peak(), work_.budget).mean([&](int y) { report(done + rows(), y); });
      work_.budget.restore(used);
    }
    return difference;
  }

  void report(std::uint64_t done, int y) const {
    if (y % kRowsOfReport == 0) reportProgress(work_.progress, done + static_cast<std::uint64_t>(y), total_);
  }

  const Picture& a_;
  const Picture& b_;
  std::uint64_t total_;
  Work& work_;
};

}  // namespace

bool hasFurtherPlanes(const Picture& picture) {
  const bool inks = picture.colour == Colour::cmyk || picture.colour == Colour::ycck;
  return picture.planes.size() > (picture.colour == Colour::grey ? kMaxGreys : inks ? kMaxInks : kMaxColours);
}

Comparison compare(const Picture& a, const Picture& b, Work& work) {
  if (a.width != b.width || a.height != b.height)
    fail(Kind::badOption, std::to_string(b.width) + " x " + std::to_string(b.height) +
                              " pixels, but the first picture has " + std::to_string(a.width) + " x " +
                              std::to_string(a.height));
  const Pair pair = pairOf(a, b, work.budget);
  const Picture& first = pair.a;
  Comparison comparison;
  comparison.width = a.width;
  comparison.height = a.height;
  comparison.bits = first.planes[0].bits;
  comparison.names = namesOf(first, first.opacity != Opacity::none || pair.b.opacity != Opacity::none);
  const int channels = static_cast<int>(comparison.names.size());
  Comparer comparer(first, pair.b, channels, work);
  Difference& all = comparison.all;
  all.ssim = 0;
  for (int channel = 0; channel < channels; ++channel) {
    const Difference one = comparer.channel(channel);
    comparison.channels.push_back(one);
    all.max = std::max(all.max, one.max);
    all.meanSquare += one.meanSquare / channels;
    all.ssim += one.ssim / channels;
  }
  all.psnr = psnrOf(all.meanSquare, comparer.peak());
  return comparison;
}

}  // namespace moxj
