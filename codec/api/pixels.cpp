// The layouts, in a table, and the checks of the caller's pixels.
#include "api/pixels.h"

#include <algorithm>
#include <string>

#include "api/structs.h"
#include "base/arithmetic.h"
#include "pictures/rows.h"

namespace moxj::api {

namespace {

constexpr LayoutFacts kLayouts[] = {
    {moxcGrey, Colour::grey, false, 1, {0}},          {moxcGreyAlpha, Colour::grey, true, 2, {0, 1}},
    {moxcRgb, Colour::rgb, false, 3, {0, 1, 2}},      {moxcBgr, Colour::rgb, false, 3, {2, 1, 0}},
    {moxcRgba, Colour::rgb, true, 4, {0, 1, 2, 3}},   {moxcBgra, Colour::rgb, true, 4, {2, 1, 0, 3}},
    {moxcCmyk, Colour::cmyk, false, 4, {0, 1, 2, 3}}, {moxcRgb565, Colour::rgb, false, 1, {0}},
    {moxcRgb555, Colour::rgb, false, 1, {0}},
};

constexpr int kMaxSubsampling = 255;

std::string text(std::int64_t number) { return std::to_string(number); }

// Samples in a row of plane `plane`.
std::int64_t samplesInRow(const MoxcPixels& pixels, const MoxcPlane& plane) {
  const LayoutFacts* const facts = factsOf(pixels.layout);
  return std::int64_t{plane.width} * (facts ? facts->channels : 1);
}

int planesInMemory(const MoxcPixels& pixels) {
  return pixels.layout == moxcPlanes ? pixels.planeCount : pixels.layout == moxcYCbCr ? 3 : 1;
}

void checkPlane(const MoxcPixels& pixels, MoxcPlane& plane) {
  if (plane.dx == 0) plane.dx = 1;
  if (plane.dy == 0) plane.dy = 1;
  const int max = isPlanar(pixels.layout) ? kMaxSubsampling : 1;
  if (plane.dx < 1 || plane.dx > max || plane.dy < 1 || plane.dy > max)
    throw BadArgument("sub-sampling of " + text(plane.dx) + " x " + text(plane.dy));
  const auto width = static_cast<std::int32_t>(ceilDiv(std::int64_t{pixels.width}, plane.dx));
  const auto height = static_cast<std::int32_t>(ceilDiv(std::int64_t{pixels.height}, plane.dy));
  if (plane.width == 0) plane.width = width;
  if (plane.height == 0) plane.height = height;
  if (plane.width < width - 1 || plane.width > width || plane.height < height - 1 || plane.height > height)
    throw BadArgument("a plane of " + text(plane.width) + " x " + text(plane.height) + " samples instead of " +
                      text(width) + " x " + text(height));
  if (plane.bits == 0) plane.bits = pixels.sampleSize == 2 ? 16 : 8;
  if (isWords(pixels.layout)) plane.bits = 16;
  if (plane.bits < 1 || plane.bits > 31) throw BadArgument("samples of " + text(plane.bits) + " bits");
  if (plane.isSigned < 0 || plane.isSigned > 1) throw BadArgument("isSigned is neither 0 nor 1");
}

void setSampleSize(MoxcPixels& pixels, int planes) {
  int bits = 0;
  for (int i = 0; i < planes; ++i) bits = std::max(bits, pixels.planes[i].bits);
  const int needed = bits > 16 ? 4 : bits > 8 ? 2 : 1;
  if (pixels.sampleSize == 0) pixels.sampleSize = needed;
  if (pixels.sampleSize != 1 && pixels.sampleSize != 2 && pixels.sampleSize != 4)
    throw BadArgument("samples of " + text(pixels.sampleSize) + " bytes");
  if (pixels.sampleSize < needed)
    throw BadArgument(text(bits) + " bits do not fit into " + text(pixels.sampleSize) + " bytes");
  if (isWords(pixels.layout) && pixels.sampleSize != 2) throw BadArgument("words of other than 2 bytes");
}

void checkStep(const MoxcPixels& pixels, MoxcPlane& plane) {
  const std::int64_t rowBytes = samplesInRow(pixels, plane) * pixels.sampleSize;
  if (plane.step == 0 && rowBytes <= PTRDIFF_MAX) plane.step = static_cast<std::ptrdiff_t>(rowBytes);
  const std::int64_t step = plane.step;
  if (step < rowBytes && step > -rowBytes)
    throw BadArgument("a step of " + text(step) + " bytes for rows of " + text(rowBytes));
}

void checkMaxValue(const MoxcPixels& pixels, int planes) {
  if (pixels.maxValue == 0) return;
  if (isWords(pixels.layout)) throw BadArgument("maxValue is not for words");
  for (int i = 0; i < planes; ++i) {
    const MoxcPlane& plane = pixels.planes[i];
    const std::uint32_t largest = (1u << (plane.isSigned ? plane.bits - 1 : plane.bits)) - 1;
    if (pixels.maxValue > largest)
      throw BadArgument("maxValue " + text(pixels.maxValue) + " needs more than " + text(plane.bits) + " bits");
  }
}

SampleType typeOf(Element element) {
  switch (element) {
    case Element::u8:
      return SampleType::u8;
    case Element::u16:
      return SampleType::u16;
    case Element::i16:
      return SampleType::i16;
    case Element::i32:
      break;
  }
  return SampleType::i32;
}

// Unsigned samples have at most 31 bits, so those of 4 bytes are never negative.
SampleType typeOf(int sampleSize, bool isSigned) {
  if (sampleSize == 4) return SampleType::i32;
  if (sampleSize == 2) return isSigned ? SampleType::i16 : SampleType::u16;
  return isSigned ? SampleType::i8 : SampleType::u8;
}

MoxcLayout layoutFor(const Picture& picture) {
  if (!picture.uniform()) return moxcPlanes;
  const bool opacity = picture.opacity != Opacity::none;
  if (picture.colour == Colour::grey && picture.colours() == 1) return opacity ? moxcGreyAlpha : moxcGrey;
  if (picture.colour == Colour::rgb && picture.colours() == 3) return opacity ? moxcRgba : moxcRgb;
  if (picture.colour == Colour::cmyk && picture.colours() == 4 && !opacity) return moxcCmyk;
  return moxcPlanes;
}

MoxcPlane planeFor(const Plane& from) {
  MoxcPlane plane = {};
  plane.width = from.width;
  plane.height = from.height;
  plane.dx = from.dx;
  plane.dy = from.dy;
  plane.bits = from.bits;
  plane.isSigned = from.isSigned;
  return plane;
}

bool aligned(const MoxcPlane& plane, int sampleSize) {
  return reinterpret_cast<std::uintptr_t>(plane.samples) % static_cast<unsigned>(sampleSize) == 0 &&
         plane.step % sampleSize == 0;
}

}  // namespace

const LayoutFacts* factsOf(MoxcLayout layout) {
  for (const LayoutFacts& facts : kLayouts)
    if (facts.layout == layout) return &facts;
  return nullptr;
}

void checkLayout(const MoxcLayout& layout) {
  const int number = numberOf(layout);
  if (number < moxcGrey || number > moxcRgb555) throw BadArgument("there is no layout " + text(number));
}

MoxcPixels checkedPixels(const MoxcPixels* given, bool samples) {
  MoxcPixels pixels = needed(given, "pixels");
  checkLayout(pixels.layout);
  if (pixels.width < 1 || pixels.height < 1)
    throw BadArgument("pixels of " + text(pixels.width) + " x " + text(pixels.height));
  if (pixels.layout == moxcPlanes && (pixels.planeCount < 1 || pixels.planeCount > moxcMaxPlanes))
    throw BadArgument(text(pixels.planeCount) + " planes");
  const int planes = pixels.planeCount = planesInMemory(pixels);
  for (int i = 0; i < planes; ++i) checkPlane(pixels, pixels.planes[i]);
  setSampleSize(pixels, planes);
  checkMaxValue(pixels, planes);
  for (int i = 0; i < planes; ++i) {
    checkStep(pixels, pixels.planes[i]);
    if (samples) need(pixels.planes[i].samples, "samples");
  }
  return pixels;
}

std::int32_t maxOf(const MoxcPixels& pixels, const MoxcPlane& plane) {
  if (pixels.maxValue) return static_cast<std::int32_t>(pixels.maxValue);
  return static_cast<std::int32_t>((1u << (plane.isSigned ? plane.bits - 1 : plane.bits)) - 1);
}

std::int32_t minOf(const MoxcPixels& pixels, const MoxcPlane& plane) {
  return plane.isSigned ? -maxOf(pixels, plane) - 1 : 0;
}

Picture layoutOf(const MoxcPixels& pixels) {
  if (isWords(pixels.layout)) return Picture::layout(pixels.width, pixels.height, 3, 8, Colour::rgb);
  Picture picture;
  picture.width = pixels.width;
  picture.height = pixels.height;
  const LayoutFacts* const facts = factsOf(pixels.layout);
  picture.colour = facts ? facts->colour : pixels.layout == moxcYCbCr ? Colour::ycbcr : Colour::unknown;
  if (pixels.layout == moxcPlanes && pixels.planeCount == 1) picture.colour = Colour::grey;
  picture.opacity = facts && facts->opacity ? Opacity::straight : Opacity::none;
  const int planes = facts ? facts->channels : pixels.planeCount;
  for (int i = 0; i < planes; ++i) {
    const MoxcPlane& from = pixels.planes[facts ? 0 : i];
    Plane& plane = picture.planes.emplace_back(
        Plane::of(from.width, from.height, from.bits, from.isSigned != 0, from.dx, from.dy));
    plane.maxval = maxOf(pixels, from);
  }
  return picture;
}

MoxcPixels pixelsFor(const Picture& picture, MoxcLayout layout) {
  if (layout == 0) layout = layoutFor(picture);
  MoxcPixels pixels = {};
  pixels.structSize = sizeof pixels;
  pixels.layout = layout;
  pixels.width = picture.width;
  pixels.height = picture.height;
  if (isPlanar(layout) && picture.planes.size() > moxcMaxPlanes)
    fail(Kind::unsupported,
         text(static_cast<std::int64_t>(picture.planes.size())) + " planes are more than " + text(moxcMaxPlanes));
  pixels.planeCount = isPlanar(layout) ? static_cast<std::int32_t>(picture.planes.size()) : 1;
  bool sameMax = true;
  for (int i = 0; i < pixels.planeCount; ++i) {
    const Plane& from = picture.planes[static_cast<std::size_t>(i)];
    pixels.planes[i] = planeFor(from);
    pixels.sampleSize = std::max(pixels.sampleSize, sizeOf(from.element));
    sameMax = sameMax && from.maxval == picture.planes[0].maxval;
  }
  if (isWords(layout)) {
    pixels.sampleSize = 2;
    pixels.planes[0].bits = 16;
  } else if (sameMax) {
    pixels.maxValue = static_cast<std::uint32_t>(picture.planes[0].maxval);
  }
  return pixels;
}

MoxcPixels rowsOf(const MoxcPixels& pixels, int first, int count) {
  MoxcPixels rows = pixels;
  rows.height = std::min(count, pixels.height - first);
  for (int i = 0; i < pixels.planeCount; ++i) {
    MoxcPlane& plane = rows.planes[i];
    const int top = std::min(first / plane.dy, plane.height);
    plane.height = std::min(ceilDiv(rows.height, plane.dy), plane.height - top);
    if (plane.samples) plane.samples = static_cast<std::uint8_t*>(plane.samples) + plane.step * top;
  }
  return rows;
}

int bandRows(const Picture& layout) {
  const std::int64_t multiple = rowMultiple(layout);
  return static_cast<int>(std::min<std::int64_t>(ceilDiv(rowsOfBand(layout), multiple) * multiple, layout.height));
}

Channel channelOf(const Plane& plane) {
  return {plane.samples, plane.step, plane.pixelStep, plane.width, plane.height, typeOf(plane.element)};
}

Channel channelOf(const MoxcPixels& pixels, int index) {
  const LayoutFacts* const facts = factsOf(pixels.layout);
  const MoxcPlane& plane = pixels.planes[facts ? 0 : index];
  const int place = facts ? facts->order[static_cast<std::size_t>(index)] : 0;
  return {static_cast<std::uint8_t*>(plane.samples) + place * pixels.sampleSize,
          plane.step,
          facts ? facts->channels : 1,
          plane.width,
          plane.height,
          typeOf(pixels.sampleSize, plane.isSigned != 0)};
}

void allocatePlanes(Picture& picture, Budget* budget) {
  auto owners = std::make_shared<std::vector<std::shared_ptr<void>>>();
  for (Plane& plane : picture.planes) {
    Picture one;
    one.width = plane.width;
    one.height = plane.height;
    one.planes.push_back(plane);
    one.planes[0].dx = one.planes[0].dy = 1;
    one.allocate(budget);
    plane.samples = one.planes[0].samples;
    plane.step = one.planes[0].step;
    plane.pixelStep = 1;
    owners->push_back(one.owner);
  }
  picture.owner = owners;
}

Picture viewOf(const MoxcPixels& pixels, const std::shared_ptr<void>& owner, bool bgr) {
  const bool reordered = (pixels.layout == moxcBgr && !bgr) || pixels.layout == moxcBgra || isWords(pixels.layout);
  Picture picture;
  if (reordered) return picture;
  picture = layoutOf(pixels);
  picture.owner = owner;
  for (std::size_t i = 0; i < picture.planes.size(); ++i) {
    const MoxcPlane& from = pixels.planes[isPlanar(pixels.layout) ? i : 0];
    Plane& plane = picture.planes[i];
    if (sizeOf(plane.element) != pixels.sampleSize || from.step < 0 || !aligned(from, pixels.sampleSize)) return {};
    const Channel channel = channelOf(pixels, static_cast<int>(i));
    plane.samples = channel.samples;
    plane.step = channel.step;
    plane.pixelStep = channel.pixelStep;
  }
  return picture;
}

}  // namespace moxj::api

int32_t moxcChannels(MoxcLayout layout) {
  if (layout == moxcYCbCr) return 3;
  const moxj::api::LayoutFacts* const facts = moxj::api::factsOf(layout);
  return facts ? facts->channels : 0;
}
