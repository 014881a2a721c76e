// Mean squared error and SSIM, channel by channel.
#include "pictures/compare.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace moxj {

namespace {

constexpr int kWindow = 11;
constexpr double kDeviation = 1.5;
constexpr double kLuminanceTerm = 0.01 * 255 * 0.01 * 255;
constexpr double kContrastTerm = 0.03 * 255 * 0.03 * 255;

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

double similarity(const double (&m)[momentCount]) {
  const double means = m[meanA] * m[meanB];
  const double meanSquares = m[meanA] * m[meanA] + m[meanB] * m[meanB];
  const double variances = m[squareA] + m[squareB] - meanSquares;
  const double covariance = m[product] - means;
  return (2 * means + kLuminanceTerm) * (2 * covariance + kContrastTerm) /
         ((meanSquares + kLuminanceTerm) * (variances + kContrastTerm));
}

// The index of one channel. The window is separable: each row is filtered once and kept in a ring of the last rows,
// over which the columns are filtered.
class Ssim {
 public:
  Ssim(const Picture& a, const Picture& b, int channel)
      : a_(a),
        b_(b),
        channel_(channel),
        across_(gaussian(std::min(kWindow, a.width))),
        down_(gaussian(std::min(kWindow, a.height))),
        columns_(a.width - across_.size() + 1),
        ring_(down_.size()) {
    for (std::vector<double>& moment : samples_) moment.resize(static_cast<std::size_t>(a.width));
    for (std::vector<double>& moment : sums_) moment.resize(columns_);
    for (MomentRow& row : ring_)
      for (std::vector<double>& moment : row) moment.resize(columns_);
  }

  double mean() {
    double sum = 0;
    const std::size_t rows = down_.size();
    for (int y = 0; y < a_.height; ++y) {
      filterRow(y, ring_[y % rows]);
      if (y + 1 >= static_cast<int>(rows)) sum += sumOfWindows(y + 1 - rows);
    }
    return sum / (static_cast<double>(columns_) * (a_.height - static_cast<double>(rows) + 1));
  }

 private:
  void filterRow(int y, MomentRow& out) {
    const std::uint8_t* a = a_.row(y) + channel_;
    const std::uint8_t* b = b_.row(y) + channel_;
    for (int x = 0; x < a_.width; ++x, a += a_.channels, b += b_.channels) {
      const double p = *a, q = *b;
      samples_[meanA][x] = p;
      samples_[meanB][x] = q;
      samples_[squareA][x] = p * p;
      samples_[squareB][x] = q * q;
      samples_[product][x] = p * q;
    }
    for (int moment = 0; moment < momentCount; ++moment) {
      std::fill(out[moment].begin(), out[moment].end(), 0.0);
      for (std::size_t tap = 0; tap < across_.size(); ++tap)
        addWeighted(out[moment].data(), samples_[moment].data() + tap, across_[tap]);
    }
  }

  double sumOfWindows(std::size_t top) {
    for (int moment = 0; moment < momentCount; ++moment) {
      std::fill(sums_[moment].begin(), sums_[moment].end(), 0.0);
      for (std::size_t tap = 0; tap < down_.size(); ++tap)
        addWeighted(sums_[moment].data(), ring_[(top + tap) % down_.size()][moment].data(), down_[tap]);
    }
    double sum = 0;
    for (std::size_t x = 0; x < columns_; ++x) {
      const double moments[momentCount] = {sums_[meanA][x], sums_[meanB][x], sums_[squareA][x], sums_[squareB][x],
                                           sums_[product][x]};
      sum += similarity(moments);
    }
    return sum;
  }

  void addWeighted(double* __restrict to, const double* __restrict from, double weight) const {
    for (std::size_t x = 0; x < columns_; ++x) to[x] += weight * from[x];
  }

  const Picture& a_;
  const Picture& b_;
  int channel_;
  std::vector<double> across_;
  std::vector<double> down_;
  std::size_t columns_;
  std::vector<MomentRow> ring_;
  MomentRow samples_;
  MomentRow sums_;
};

double psnrOf(double meanSquare) {
  return meanSquare == 0 ? std::numeric_limits<double>::infinity() : 10 * std::log10(255.0 * 255.0 / meanSquare);
}

Difference differenceOf(const Picture& a, const Picture& b, int channel) {
  Difference difference;
  std::uint64_t squares = 0;
  for (int y = 0; y < a.height; ++y) {
    const std::uint8_t* p = a.row(y) + channel;
    const std::uint8_t* q = b.row(y) + channel;
    for (int x = 0; x < a.width; ++x, p += a.channels, q += b.channels) {
      const int distance = std::abs(*p - *q);
      difference.max = std::max(difference.max, distance);
      squares += static_cast<std::uint64_t>(distance * distance);
    }
  }
  difference.meanSquare = static_cast<double>(squares) / (static_cast<double>(a.width) * a.height);
  difference.psnr = psnrOf(difference.meanSquare);
  difference.ssim = difference.max == 0 ? 1 : Ssim(a, b, channel).mean();
  return difference;
}

}  // namespace

Comparison compare(const Picture& a, const Picture& b) {
  Comparison comparison;
  Difference& all = comparison.all;
  all.ssim = 0;
  for (int channel = 0; channel < a.channels; ++channel) {
    const Difference one = differenceOf(a, b, channel);
    comparison.channels.push_back(one);
    all.max = std::max(all.max, one.max);
    all.meanSquare += one.meanSquare / a.channels;
    all.ssim += one.ssim / a.channels;
  }
  all.psnr = psnrOf(all.meanSquare);
  return comparison;
}

}  // namespace moxj
