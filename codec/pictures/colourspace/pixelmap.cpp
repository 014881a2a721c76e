// All spaces but tables go the same way: a table of each channel gives numbers, a matrix makes red, green and blue of
// them, and these are coded. Numbers of RGB spaces are light, which sRGB's curve codes; that of CIELab comes between
// table and matrix.
#include "pictures/colourspace/pixelmap.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "base/problem.h"

namespace moxj {

namespace {

using Layout = ColourTransform::Layout;
using Triple = std::array<double, 3>;
using Matrix = std::array<Triple, 3>;
using Tables = std::array<std::vector<float>, 3>;

// Calls work(Sample()) with the type of the samples.
template <class Work>
void visitDepth(int bits, const Work& work) {
  bits == 8 ? work(std::uint8_t()) : work(std::uint16_t());
}

// ---- Matrices ------------------------------------------------------------------------------------------------------

Triple times(const Matrix& matrix, const Triple& v) {
  Triple product = {};
  for (std::size_t i = 0; i < 3; ++i)
    for (std::size_t j = 0; j < 3; ++j) product[i] += matrix[i][j] * v[j];
  return product;
}

Matrix times(const Matrix& a, const Matrix& b) {
  Matrix product = {};
  for (std::size_t i = 0; i < 3; ++i)
    for (std::size_t j = 0; j < 3; ++j)
      for (std::size_t k = 0; k < 3; ++k) product[i][j] += a[i][k] * b[k][j];
  return product;
}

Matrix transposed(const Matrix& m) {
  Matrix made = {};
  for (std::size_t i = 0; i < 3; ++i)
    for (std::size_t j = 0; j < 3; ++j) made[i][j] = m[j][i];
  return made;
}

Matrix inverse(const Matrix& m) {
  const auto minor = [&](std::size_t i, std::size_t j) {
    const std::size_t a = (i + 1) % 3, b = (i + 2) % 3, c = (j + 1) % 3, d = (j + 2) % 3;
    return m[a][c] * m[b][d] - m[a][d] * m[b][c];
  };
  const double determinant = m[0][0] * minor(0, 0) + m[0][1] * minor(0, 1) + m[0][2] * minor(0, 2);
  Matrix made = {};
  for (std::size_t i = 0; i < 3; ++i)
    for (std::size_t j = 0; j < 3; ++j) made[i][j] = minor(j, i) / determinant;
  return made;
}

Triple xyzOf(const Chromaticity& white) { return {white.x / white.y, 1, (1 - white.x - white.y) / white.y}; }

// That of ICC profiles.
constexpr Triple kConnectionWhite = {0.9642, 1, 0.8249};

// The adaptation of Bradford from a white to that of ICC profiles.
Matrix adaptationOf(const Triple& white) {
  constexpr Matrix kCones = {{{0.8951, 0.2664, -0.1614}, {-0.7502, 1.7135, 0.0367}, {0.0389, -0.0685, 1.0296}}};
  const Triple from = times(kCones, white), to = times(kCones, kConnectionWhite);
  const Matrix gains = {{{to[0] / from[0], 0, 0}, {0, to[1] / from[1], 0}, {0, 0, to[2] / from[2]}}};
  return times(inverse(kCones), times(gains, kCones));
}

// XYZ relative to the white of ICC profiles, from light of the primaries.
Matrix xyzFrom(const Chromaticity& white, const std::array<Chromaticity, 3>& primaries) {
  const Matrix unscaled = transposed({xyzOf(primaries[0]), xyzOf(primaries[1]), xyzOf(primaries[2])});
  const Triple scale = times(inverse(unscaled), xyzOf(white));
  const Matrix diagonal = {{{scale[0], 0, 0}, {0, scale[1], 0}, {0, 0, scale[2]}}};
  return times(adaptationOf(xyzOf(white)), times(unscaled, diagonal));
}

Matrix srgbFromXyz() { return inverse(xyzFrom(kD65, kSrgbPrimaries)); }

// ---- Coding --------------------------------------------------------------------------------------------------------

double codeOf(double light) { return light <= 0.0031308 ? light * 12.92 : 1.055 * std::pow(light, 1 / 2.4) - 0.055; }

double lightOf(const Curve& curve, double x) {
  return x >= curve.d ? std::pow(std::max(curve.a * x + curve.b, 0.0), curve.g) : curve.c * x;
}

// sRGB's curve for light from 0 to 1. Interpolated between 65536 points, its error is far below 16 bits.
class SrgbCoder {
 public:
  SrgbCoder() : codes_(kPoints + 2) {
    for (std::size_t i = 0; i < codes_.size(); ++i)
      codes_[i] = static_cast<float>(codeOf(static_cast<double>(i) / kPoints));
  }
  static constexpr std::uint64_t bytes() { return (kPoints + 2) * sizeof(float); }

  // What is not a number counts as 0.
  float operator()(float light) const {
    const float at = (light > 0 ? std::min(light, 1.0f) : 0.0f) * kPoints;
    const auto below = static_cast<std::size_t>(at);
    return codes_[below] + (codes_[below + 1] - codes_[below]) * (at - static_cast<float>(below));
  }

 private:
  static constexpr int kPoints = 65536;
  std::vector<float> codes_;
};

struct IsCode {
  float operator()(float code) const { return code > 0 ? std::min(code, 1.0f) : 0.0f; }
};

template <class Sample>
Sample sampleOf(float code) {
  constexpr float kMax = std::numeric_limits<Sample>::max();
  return static_cast<Sample>(code * kMax + 0.5f);
}

// ---- Maps ----------------------------------------------------------------------------------------------------------

struct AsTheyAre {
  std::array<float, 3> operator()(float a, float b, float c) const { return {a, b, c}; }
};

// From L, a and b, each with its part of the sums: XYZ relative to the white.
struct XyzOfLab {
  static float cubed(float f) {
    constexpr float kEdge = 6.0f / 29;
    return f > kEdge ? f * f * f : 3 * kEdge * kEdge * (f - 4.0f / 29);
  }
  std::array<float, 3> operator()(float l, float a, float b) const { return {cubed(l + a), cubed(l), cubed(l - b)}; }
};

// Between: what becomes of the numbers of the tables; Coder: of red, green and blue.
template <class Between, class Coder>
class MatrixMap : public PixelMap {
 public:
  MatrixMap(Tables tables, const Matrix& matrix, const Layout& layout) : tables_(std::move(tables)), layout_(layout) {
    for (std::size_t i = 0; i < 3; ++i)
      for (std::size_t j = 0; j < 3; ++j) matrix_[i][j] = static_cast<float>(matrix[i][j]);
  }

  void run(const void* from, void* to, int width) const override {
    visitDepth(layout_.bits,
               [&]<class Sample>(Sample) { map(static_cast<const Sample*>(from), static_cast<Sample*>(to), width); });
  }

 private:
  template <class Sample>
  void map(const Sample* from, Sample* to, int width) const {
    const int channels = layout_.opacity ? 4 : 3;
    for (std::ptrdiff_t x = 0; x < width; ++x, from += channels, to += channels) {
      const auto [a, b, c] = between_(tables_[0][from[0]], tables_[1][from[1]], tables_[2][from[2]]);
      for (std::size_t i = 0; i < 3; ++i)
        to[i] = sampleOf<Sample>(coder_(matrix_[i][0] * a + matrix_[i][1] * b + matrix_[i][2] * c));
      if (layout_.opacity) to[3] = from[3];
    }
  }

  Tables tables_;
  std::array<std::array<float, 3>, 3> matrix_;
  Layout layout_;
  Between between_;
  Coder coder_;
};

class GreyMap : public PixelMap {
 public:
  GreyMap(const Curve& curve, const Layout& layout) : layout_(layout) {
    const int max = (1 << layout.bits) - 1;
    for (int sample = 0; sample <= max; ++sample) {
      const double code = codeOf(std::clamp(lightOf(curve, static_cast<double>(sample) / max), 0.0, 1.0));
      table_.push_back(static_cast<std::uint16_t>(code * max + 0.5));
    }
  }

  void run(const void* from, void* to, int width) const override {
    visitDepth(layout_.bits,
               [&]<class Sample>(Sample) { map(static_cast<const Sample*>(from), static_cast<Sample*>(to), width); });
  }

 private:
  template <class Sample>
  void map(const Sample* from, Sample* to, int width) const {
    const int channels = layout_.opacity ? 2 : 1;
    for (std::ptrdiff_t x = 0; x < width; ++x, from += channels, to += channels) {
      to[0] = static_cast<Sample>(table_[from[0]]);
      if (layout_.opacity) to[1] = from[1];
    }
  }

  Layout layout_;
  std::vector<std::uint16_t> table_;
};

class ProfileMap : public PixelMap {
 public:
  explicit ProfileMap(std::unique_ptr<ColourTransform> transform) : transform_(std::move(transform)) {}
  void run(const void* from, void* to, int width) const override { transform_->run(from, to, width); }

 private:
  std::unique_ptr<ColourTransform> transform_;
};

// ---- Spaces --------------------------------------------------------------------------------------------------------

// The number of each sample that a channel can have; `scale(s)` gets the sample as the file has it.
template <class Scale>
std::vector<float> tableOf(const Layout& layout, int bits, const Scale& scale) {
  const int max = (1 << layout.bits) - 1;
  const double largest = std::exp2(bits) - 1;
  std::vector<float> table(static_cast<std::size_t>(max) + 1);
  for (std::size_t i = 0; i < table.size(); ++i)
    table[i] = static_cast<float>(scale(static_cast<double>(i) * largest / max));
  return table;
}

std::unique_ptr<PixelMap> lightMap(Tables light, const Matrix& xyz, const Layout& layout) {
  return std::make_unique<MatrixMap<AsTheyAre, SrgbCoder>>(std::move(light), times(srgbFromXyz(), xyz), layout);
}

std::unique_ptr<PixelMap> calibratedMap(const ColourSpace& space, const Layout& layout) {
  if (layout.from == Colour::grey) return std::make_unique<GreyMap>(space.curve, layout);
  const std::vector<float> table = tableOf(
      layout, layout.bits, [&, max = std::exp2(layout.bits) - 1](double s) { return lightOf(space.curve, s / max); });
  return lightMap({table, table, table}, xyzFrom(space.white, space.primaries), layout);
}

// PIMA 7667.
std::unique_ptr<PixelMap> eSrgbMap(const FileBits& bits, const Layout& layout) {
  Tables tables;
  for (std::size_t i = 0; i < 3; ++i) {
    const double offset = std::exp2(bits[i] - 2) + std::exp2(bits[i] - 3), unit = 255 * std::exp2(bits[i] - 9);
    tables[i] = tableOf(layout, bits[i], [&](double s) { return (s - offset) / unit; });
  }
  constexpr Matrix kSame = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
  return std::make_unique<MatrixMap<AsTheyAre, IsCode>>(std::move(tables), kSame, layout);
}

std::unique_ptr<PixelMap> videoMap(const ColourSpace& space, const FileBits& bits, const Layout& layout) {
  Tables tables;
  for (std::size_t i = 0; i < 3; ++i) {
    const double step = std::exp2(bits[i] - 8), zero = i == 0 ? 16 : 128, range = i == 0 ? 219 : 224;
    tables[i] = tableOf(layout, bits[i], [&](double s) { return (s / step - zero) / range; });
  }
  const double red = space.redWeight, blue = space.blueWeight, green = 1 - red - blue;
  const Matrix matrix = {
      {{1, 0, 2 - 2 * red}, {1, -(2 - 2 * blue) * blue / green, -(2 - 2 * red) * red / green}, {1, 2 - 2 * blue, 0}}};
  return std::make_unique<MatrixMap<AsTheyAre, IsCode>>(std::move(tables), matrix, layout);
}

std::unique_ptr<PixelMap> labMap(const ColourSpace& space, const FileBits& bits, const Layout& layout) {
  constexpr double kDivisors[] = {116, 500, 200};
  Tables tables;
  for (std::size_t i = 0; i < 3; ++i) {
    const LabScale& scale = space.lab[i];
    const double largest = std::exp2(bits[i]) - 1, added = i == 0 ? 16 : 0;
    tables[i] = tableOf(layout, bits[i],
                        [&](double s) { return (scale.range * (s - scale.offset) / largest + added) / kDivisors[i]; });
  }
  const bool isD50 = space.white.x == kD50.x && space.white.y == kD50.y;
  const Triple white = isD50 ? kConnectionWhite : xyzOf(space.white);
  const Matrix scaled = {{{white[0], 0, 0}, {0, white[1], 0}, {0, 0, white[2]}}};
  const Matrix xyz = times(adaptationOf(white), scaled);
  return std::make_unique<MatrixMap<XyzOfLab, SrgbCoder>>(std::move(tables), times(srgbFromXyz(), xyz), layout);
}

}  // namespace

std::unique_ptr<PixelMap> mapOf(ByteSpan profile, const Layout& layout, Budget& budget) {
  if (layout.from == Colour::rgb) {
    if (std::optional<MatrixProfile> matrix = matrixProfileOf(profile, layout.bits, budget)) {
      budget.charge(1, SrgbCoder::bytes());
      return lightMap(std::move(matrix->light), transposed(matrix->colorants), layout);
    }
  }
  std::unique_ptr<ColourTransform> transform = ColourTransform::from(profile, layout, budget);
  return transform ? std::make_unique<ProfileMap>(std::move(transform)) : nullptr;
}

std::unique_ptr<PixelMap> mapOf(const ColourSpace& space, const FileBits& bits, const Layout& layout, Budget& budget) {
  budget.charge(3 * sizeof(float), std::uint64_t{1} << layout.bits);
  budget.charge(1, SrgbCoder::bytes());
  switch (space.kind) {
    case ColourSpace::Kind::calibrated:
      return calibratedMap(space, layout);
    case ColourSpace::Kind::lab:
      return labMap(space, bits, layout);
    case ColourSpace::Kind::eSrgb:
      return eSrgbMap(bits, layout);
    case ColourSpace::Kind::video:
      return videoMap(space, bits, layout);
    case ColourSpace::Kind::srgb:
    case ColourSpace::Kind::unusable:
      break;
  }
  fail(Kind::internal, "a colour space without a conversion to sRGB");
}

}  // namespace moxj
