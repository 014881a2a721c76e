// Row conversions: typed loops plane by plane, and colours in lines of 32-bit samples. The frequent cases of 8 bits
// have loops of their own.
#include "pictures/convert.h"

#include <algorithm>
#include <set>
#include <utility>

#include "base/library.h"
#include "pictures/opacity.h"

namespace moxj {

namespace {

template <class From, class To, class Map>
void mapRow(const From* from, std::ptrdiff_t fromStep, To* to, std::ptrdiff_t toStep, std::ptrdiff_t width, Map map) {
  if (fromStep == 1 && toStep == 1) {  // the compiler uses vectors
    for (std::ptrdiff_t x = 0; x < width; ++x) to[x] = map(from[x]);
  } else {
    for (std::ptrdiff_t x = 0; x < width; ++x) to[x * toStep] = map(from[x * fromStep]);
  }
}

// Each of `count` samples dx times; the last one fills the row.
template <class From, class To, class Map>
void repeatRow(const From* from, std::ptrdiff_t fromStep, int count, int dx, To* to, std::ptrdiff_t toStep, int width,
               Map map) {
  int x = 0;
  for (int at = 0; x < width; at = std::min(at + 1, count - 1)) {
    const To value = map(from[at * fromStep]);
    for (int i = 0; i < dx && x < width; ++i, ++x) to[x * toStep] = value;
  }
}

// Row `fromY` of a plane becomes row `toY` of another one, which may be wider.
void convertRow(const Plane& from, int fromY, const Plane& to, int toY, const Scale& scale) {
  visitRow(from, fromY, [&]<class From>(From* source) {
    visitRow(to, toY, [&]<class To>(To* target) {
      scale.visit<From, To>([&](auto map) {
        if (from.width == to.width && (from.dx == to.dx || from.width == 1))
          mapRow(source, from.pixelStep, target, to.pixelStep, to.width, map);
        else
          repeatRow(source, from.pixelStep, from.width, from.dx, target, to.pixelStep, to.width, map);
      });
    });
  });
}

// ---- Colours -------------------------------------------------------------------------------------------------------

void yccToRgb(std::int32_t* a, std::int32_t* b, std::int32_t* c, int width, std::int32_t max) {
  const double half = static_cast<double>((std::int64_t{max} + 1) / 2), limit = max;
  const auto rounded = [&](double value) { return static_cast<std::int32_t>(std::clamp(value, 0.0, limit) + 0.5); };
  for (int x = 0; x < width; ++x) {
    const double y = a[x], cb = b[x] - half, cr = c[x] - half;
    a[x] = rounded(y + 1.402 * cr);
    b[x] = rounded(y - 0.344136 * cb - 0.714136 * cr);
    c[x] = rounded(y + 1.772 * cb);
  }
}

// Black dims the other inks. The maximum value is no ink.
void inksToRgb(std::int32_t* a, std::int32_t* b, std::int32_t* c, const std::int32_t* black, int width,
               std::int64_t max) {
  const auto dimmed = [&](std::int64_t colour, std::int64_t by) {
    return static_cast<std::int32_t>((colour * by + max / 2) / max);
  };
  for (int x = 0; x < width; ++x) {
    a[x] = dimmed(a[x], black[x]);
    b[x] = dimmed(b[x], black[x]);
    c[x] = dimmed(c[x], black[x]);
  }
}

void invert(std::int32_t* samples, int width, std::int32_t max) {
  for (int x = 0; x < width; ++x) samples[x] = max - samples[x];
}

void invertRow(const Plane& plane, int y) {
  visitRow(plane, y, [&]<class Type>(Type* row) {
    for (std::ptrdiff_t x = 0; x < plane.width; ++x)
      row[x * plane.pixelStep] = static_cast<Type>(plane.maxval - row[x * plane.pixelStep]);
  });
}

// The luminance of JFIF, with the weights that the library has for planes of 8 bits.
template <class Sum>
void luminance(std::int32_t* red, const std::int32_t* green, const std::int32_t* blue, int width) {
  for (int x = 0; x < width; ++x) {
    const Sum sum = Sum{19595} * static_cast<Sum>(red[x]) + Sum{38470} * static_cast<Sum>(green[x]) +
                    Sum{7471} * static_cast<Sum>(blue[x]) + 32768;
    red[x] = static_cast<std::int32_t>(sum >> 16);
  }
}

bool isByte(const Plane& plane, const Picture& picture) {
  return plane.element == Element::u8 && plane.maxval == 255 && plane.width == picture.width &&
         plane.height == picture.height && plane.dx == 1 && plane.dy == 1;
}

bool sameSamples(const Plane& a, const Plane& b) {
  return a.width == b.width && a.height == b.height && a.dx == b.dx && a.dy == b.dy && a.bits == b.bits &&
         a.isSigned == b.isSigned && a.maxval == b.maxval && a.element == b.element;
}

}  // namespace

Converter::Converter(const Picture& from, Conversion conversion, Budget& budget) : conversion_(std::move(conversion)) {
  const auto& sources = conversion_.sources;
  const auto& planes = conversion_.to.planes;
  const auto source = [&](std::size_t i) -> const Plane& { return from.planes[static_cast<std::size_t>(sources[i])]; };
  bytes_ = true;
  for (std::size_t i = 0; i < sources.size(); ++i) bytes_ = bytes_ && isByte(source(i), from);
  if (!conversion_.convertsColours()) {
    keepsSamples_ = std::set<int>(sources.begin(), sources.end()).size() == sources.size();
    for (std::size_t i = 0; i < sources.size(); ++i) {
      scales_.emplace_back(source(i), planes[i]);
      keepsSamples_ = keepsSamples_ && sameSamples(source(i), planes[i]);
    }
    keepsSamples_ = keepsSamples_ && !conversion_.invertsInks(from) && !conversion_.divides;
    keepsPlanes_ = keepsSamples_ && sources.size() == from.planes.size();
    return;
  }
  Plane line = Plane::of(from.width, 1, 31);
  line.maxval = conversion_.workMax;
  const std::size_t width = static_cast<std::size_t>(from.width);
  budget.charge(sources.size() * sizeof(std::int32_t), width);
  memory_.resize(sources.size() * width);
  for (std::size_t i = 0; i < sources.size(); ++i) {
    line.samples = reinterpret_cast<std::uint8_t*>(memory_.data() + i * width);
    lines_.push_back(line);
    scales_.emplace_back(source(i), line);
  }
  for (const Plane& plane : planes) resultScales_.emplace_back(line, plane);
}

bool Converter::canView(const Picture& band) const {
  if (!keepsSamples_) return false;
  return keepsPlanes_ || std::ranges::all_of(band.planes, [](const Plane& plane) { return plane.pixelStep == 1; });
}

Picture Converter::view(const Picture& band) const {
  const Picture& to = conversion_.to;
  Picture view = band;
  view.colour = to.colour;
  view.opacity = to.opacity;
  view.inverted = to.inverted;
  view.metadata = to.metadata;
  view.space = to.space;
  view.planes.clear();
  for (const int source : conversion_.sources) view.planes.push_back(band.planes[static_cast<std::size_t>(source)]);
  return view;
}

void Converter::convert(const Picture& from, const Picture& to) {
  convertSamples(from, to);
  if (conversion_.divides) divideByOpacity(to);
}

void Converter::convertSamples(const Picture& from, const Picture& to) {
  if (conversion_.convertsColours())
    return isLuminanceOfBytes(to) ? luminanceOfBytes(from, to) : convertColours(from, to);
  if (isRepetitionOfBytes() && to.interleaved()) {
    for (int y = 0; y < to.height; ++y) {
      const Plane& grey = from.planes[0];
      const std::uint8_t* source = grey.row<std::uint8_t>(y);
      std::uint8_t* target = to.row(y);
      for (int x = 0; x < to.width; ++x, source += grey.pixelStep, target += 3)
        target[0] = target[1] = target[2] = *source;
    }
    return;
  }
  for (std::size_t plane = 0; plane < to.planes.size(); ++plane) convertPlane(from, to, plane);
}

bool Converter::isRepetitionOfBytes() const {
  return bytes_ && conversion_.to.planes.size() == 3 && scales_[0].same() &&
         std::ranges::all_of(conversion_.sources, [](int source) { return source == 0; });
}

void Converter::convertPlane(const Picture& from, const Picture& to, std::size_t plane) {
  const Plane& source = from.planes[static_cast<std::size_t>(conversion_.sources[plane])];
  const Plane& target = to.planes[plane];
  for (int y = 0; y < target.height; ++y)
    convertRow(source, std::min(conversion_.expands ? y / source.dy : y, source.height - 1), target, y, scales_[plane]);
  if (plane >= 4 || !conversion_.invertsInks(from)) return;
  for (int y = 0; y < target.height; ++y) invertRow(target, y);
}

// Makes the lines of inks as the next step needs them: inverted for the way to RGB, otherwise as the result has them.
void Converter::orientInks(const Picture& from, int width) {
  const bool wanted = conversion_.inksToRgb || conversion_.to.inverted;
  const bool coloursAre = conversion_.yccToRgb || from.inverted;  // red is the inverse of cyan
  for (std::size_t i = 0; i < 4; ++i)
    if ((i < 3 ? coloursAre : from.inverted) != wanted)
      invert(lines_[i].row<std::int32_t>(0), width, conversion_.workMax);
}

void Converter::convertColours(const Picture& from, const Picture& to) {
  const auto line = [&](std::size_t i) { return lines_[i].row<std::int32_t>(0); };
  const std::int32_t max = conversion_.workMax;
  for (int y = 0; y < to.height; ++y) {
    for (std::size_t i = 0; i < lines_.size(); ++i) loadLine(from, y, i);
    if (conversion_.yccToRgb) yccToRgb(line(0), line(1), line(2), to.width, max);
    if (conversion_.inks) orientInks(from, to.width);
    if (conversion_.inksToRgb) inksToRgb(line(0), line(1), line(2), line(3), to.width, max);
    if (conversion_.rgbToGrey)
      max <= 65535 ? luminance<std::uint32_t>(line(0), line(1), line(2), to.width)
                   : luminance<std::uint64_t>(line(0), line(1), line(2), to.width);
    const std::size_t opacity = to.opacity != Opacity::none;
    for (std::size_t plane = 0; plane + opacity < to.planes.size(); ++plane) storeLine(to, y, plane, plane);
    if (opacity) storeLine(to, y, lines_.size() - 1, to.planes.size() - 1);
  }
}

void Converter::loadLine(const Picture& from, int y, std::size_t line) {
  const Plane& source = from.planes[static_cast<std::size_t>(conversion_.sources[line])];
  convertRow(source, std::min(y / source.dy, source.height - 1), lines_[line], 0, scales_[line]);
}

void Converter::storeLine(const Picture& to, int y, std::size_t line, std::size_t plane) {
  convertRow(lines_[line], 0, to.planes[plane], y, resultScales_[plane]);
}

bool Converter::isLuminanceOfBytes(const Picture& to) const {
  return bytes_ && conversion_.rgbToGrey && conversion_.sources.size() == 3 && !conversion_.yccToRgb &&
         conversion_.to.planes.size() == 1 && conversion_.to.planes[0].maxval == 255 && to.planes[0].pixelStep == 1;
}

// By the library's function, in pieces of a row that it does not split among threads.
void Converter::luminanceOfBytes(const Picture& from, const Picture& to) {
  const bool inPlace = from.planes.size() == 3 && from.interleaved();
  if (!inPlace) pixels_.resize(std::size_t{3} * kPixelsOfOneThread);
  for (int y = 0; y < to.height; ++y) {
    for (int x = 0; x < to.width; x += kPixelsOfOneThread) {
      const int width = std::min(to.width - x, kPixelsOfOneThread);
      const std::uint8_t* pixels = inPlace ? from.row(y) + std::ptrdiff_t{3} * x : pixels_.data();
      for (std::size_t i = 0; i < 3 && !inPlace; ++i) {
        const Plane& plane = from.planes[static_cast<std::size_t>(conversion_.sources[i])];
        mapRow(plane.row<std::uint8_t>(y) + std::ptrdiff_t{x} * plane.pixelStep, plane.pixelStep, pixels_.data() + i, 3,
               width, [](std::uint8_t value) { return value; });
      }
      require(moxiRGBToY_JPEG_8u_C3C1R(pixels, width * 3, to.row(y) + x, width, {width, 1}), "the conversion to grey");
    }
  }
}

}  // namespace moxj
