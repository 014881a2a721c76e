// Allocation of images, and their conversion to equal sizes and to 8-bit pictures.
#include "pictures/image.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "base/bytes.h"
#include "base/problem.h"

namespace moxj {

namespace {

bool isPlainByte(const Component& c, const Component& first) {
  return c.bits <= 8 && !c.isSigned && c.width == first.width && c.height == first.height && c.dx == 1 && c.dy == 1;
}

// A row of a component at the size of the image; sub-sampled components are upsampled by repetition.
void expandRow(const Component& c, int y, int width, std::int32_t* to) {
  const int row = std::min(y / c.dy, c.height - 1);
  for (int x = 0; x < width; ++x) to[x] = c.at(std::min(x / c.dx, c.width - 1), row);
}

// From full-range YCbCr (ITU-R BT.601), in place.
void toRgb(std::int32_t* a, std::int32_t* b, std::int32_t* c, int width, int bits) {
  const std::int32_t max = (1 << bits) - 1;
  const double half = 1 << (bits - 1);
  const auto store = [&](double value) { return std::clamp(static_cast<std::int32_t>(std::lround(value)), 0, max); };
  for (int x = 0; x < width; ++x) {
    const double y = a[x], cb = b[x] - half, cr = c[x] - half;
    a[x] = store(y + 1.402 * cr);
    b[x] = store(y - 0.344136 * cb - 0.714136 * cr);
    c[x] = store(y + 1.772 * cb);
  }
}

std::uint8_t toByte(std::int32_t value, const Component& c) {
  const std::int64_t range = std::int64_t{c.maxValue()} - c.minValue();
  return static_cast<std::uint8_t>((std::int64_t{255} * (value - c.minValue()) + range / 2) / range);
}

}  // namespace

bool Image::interleavedBytes() const {
  return std::ranges::all_of(components, [&](const Component& c) { return isPlainByte(c, components[0]); });
}

std::uint64_t Image::bytes() const {
  std::uint64_t size = 0;
  for (const Component& c : components)
    size += static_cast<std::uint64_t>(c.width) * static_cast<std::uint64_t>(c.height) * (interleavedBytes() ? 1 : 4);
  return size;
}

void Image::allocate(Budget* budget) {
  if (budget) budget->charge(1, bytes());
  const bool interleaved = interleavedBytes();
  try {
    if (bytes() > PTRDIFF_MAX) throw std::bad_alloc();
    owner = std::shared_ptr<void>(allocateBytes(static_cast<std::size_t>(bytes()), Filling::whole), freeBytes);
  } catch (const std::bad_alloc&) {
    fail(Kind::noMemory, "not enough memory for " + std::to_string(width) + " x " + std::to_string(height) + " pixels");
  }
  std::uint8_t* at = static_cast<std::uint8_t*>(owner.get());
  const int count = static_cast<int>(components.size());
  for (Component& c : components) {
    c.samples = at;
    c.wide = !interleaved;
    c.pixelStep = interleaved ? count : 1;
    c.step = interleaved ? std::ptrdiff_t{c.width} * count : std::ptrdiff_t{c.width} * 4;
    at += interleaved ? 1 : c.step * c.height;
  }
}

Image imageOf(const Picture& picture) {
  Image image;
  image.width = picture.width;
  image.height = picture.height;
  image.colour = picture.channels == 3 ? Colour::rgb : picture.channels == 1 ? Colour::grey : Colour::unknown;
  image.owner = picture.owner;
  for (int channel = 0; channel < picture.channels; ++channel) {
    image.components.push_back({.width = picture.width,
                                .height = picture.height,
                                .pixelStep = picture.channels,
                                .step = picture.step,
                                .samples = picture.samples + channel});
  }
  return image;
}

Image sameSize(const Image& image, Budget* budget) {
  const bool same = std::ranges::all_of(image.components, [&](const Component& c) {
    return c.width == image.width && c.height == image.height && c.bits == image.components[0].bits && !c.isSigned;
  });
  if (same && image.colour != Colour::ycc) return image;
  Image made = image;
  for (Component& c : made.components) {
    c.width = image.width;
    c.height = image.height;
    c.dx = c.dy = 1;
    c.isSigned = false;
    for (const Component& other : image.components) c.bits = std::max(c.bits, other.bits);
  }
  made.allocate(budget);
  std::vector<std::vector<std::int32_t>> rows(made.components.size(),
                                              std::vector<std::int32_t>(static_cast<std::size_t>(image.width)));
  for (int y = 0; y < image.height; ++y) {
    for (std::size_t i = 0; i < rows.size(); ++i) {
      const Component& from = image.components[i];
      expandRow(from, y, image.width, rows[i].data());
      const std::int64_t range = std::int64_t{from.maxValue()} - from.minValue(), max = made.components[i].maxValue();
      if (from.isSigned || range != max)
        for (std::int32_t& v : rows[i])
          v = static_cast<std::int32_t>(((v - from.minValue()) * max + range / 2) / range);
    }
    if (image.colour == Colour::ycc && rows.size() >= 3)
      toRgb(rows[0].data(), rows[1].data(), rows[2].data(), image.width, made.components[0].bits);
    for (std::size_t i = 0; i < rows.size(); ++i) {
      const Component& to = made.components[i];
      for (int x = 0; x < image.width; ++x) {
        if (to.wide)
          to.numbers(y)[std::ptrdiff_t{x} * to.pixelStep] = rows[i][static_cast<std::size_t>(x)];
        else
          to.bytes(y)[std::ptrdiff_t{x} * to.pixelStep] =
              static_cast<std::uint8_t>(rows[i][static_cast<std::size_t>(x)]);
      }
    }
  }
  if (made.colour == Colour::ycc) made.colour = Colour::rgb;
  return made;
}

Picture toPicture(const Image& image, std::vector<std::string>& notes, Budget* budget) {
  const Image same = sameSize(image, budget);
  const int count = static_cast<int>(same.components.size());
  const int channels = count >= 3 ? 3 : 1;
  if (same.alpha || count == 2 || count == 4)
    notes.push_back("transparency dropped");
  else if (count > 4)
    notes.push_back("only the first 3 of " + std::to_string(count) + " components used");
  const Component& first = same.components[0];
  if (first.bits > 8) notes.push_back("samples of " + std::to_string(first.bits) + " bits reduced to 8");
  bool inOrder = true;
  for (int channel = 0; channel < channels; ++channel)
    inOrder &= same.components[static_cast<std::size_t>(channel)].samples == first.samples + channel;
  if (!first.wide && first.bits == 8 && count == channels && inOrder)
    return {same.width, same.height, channels, first.step, first.samples, same.owner};
  Picture picture = Picture::make(same.width, same.height, channels, budget);
  for (int channel = 0; channel < channels; ++channel) {
    const Component& c = same.components[static_cast<std::size_t>(channel)];
    for (int y = 0; y < same.height; ++y)
      for (int x = 0; x < same.width; ++x)
        picture.row(y)[std::ptrdiff_t{x} * channels + channel] = toByte(c.at(x, y), c);
  }
  return picture;
}

}  // namespace moxj
