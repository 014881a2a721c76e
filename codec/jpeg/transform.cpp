// Transposing the samples of a block transposes its coefficients; mirroring them changes the signs of the odd
// frequencies in that direction. The blocks change places in the same way: transposed, then mirrored. The rest is the
// arithmetic of the edges, the same in both directions.
#include "jpeg/transform.h"

#include <algorithm>
#include <utility>

#include "jpeg/codedpicture.h"

namespace moxj::jpeg {

namespace {

// One direction of the transformed picture.
struct Axis {
  int size = 0;  // before cropping
  int mcu = 0;   // its size
  bool mirrored = false;
  const char* side = "";   // of the picture as it was: "width" or "height"
  const char* lines = "";  // "columns" or "rows"
  int first = 0;           // MCU of the crop
  int kept = 0;            // size after cropping

  int wholeMcus() const { return size / mcu; }
  bool perfect() const { return !mirrored || size % mcu == 0; }
  // Lines of the result that should have been mirrored.
  int left() const { return perfect() ? 0 : std::max(0, first * mcu + kept - wholeMcus() * mcu); }

  void crop(int length, int offset) {
    first = offset / mcu;
    kept = (length == 0 ? size - offset : length) + offset % mcu;
  }
  // Never to nothing.
  void trim() {
    const int whole = kept / mcu;
    if (mirrored && whole > 0 && first + whole == wholeMcus()) kept = whole * mcu;
  }
};

struct Place {
  int block;      // before mirroring
  bool mirrored;  // then its odd coefficients change their signs
};

// Of a block of a component with this sampling factor.
Place placeOf(int block, const Axis& axis, int factor) {
  const int uncropped = block + axis.first * factor, mirrored = axis.mirrored ? axis.wholeMcus() * factor : 0;
  return uncropped < mirrored ? Place{mirrored - 1 - uncropped, true} : Place{uncropped, false};
}

template <bool transposed, class Value>
void arrange(const Value* from, Value* to, bool mirrorX, bool mirrorY) {
  for (int y = 0; y < 8; ++y) {
    for (int x = 0; x < 8; ++x) {
      const int sign = -static_cast<int>((mirrorX & x) ^ (mirrorY & y));  // 0 or -1
      const int value = transposed ? from[8 * x + y] : from[8 * y + x];
      to[8 * y + x] = static_cast<Value>((value ^ sign) - sign);
    }
  }
}

// Columns and rows of JFIF's density change places, or pixels that are not square would become wrong.
void transposeDensity(CodedPicture& picture) {
  constexpr int kColumns = 8, kRows = 10, kEnd = 12;
  for (MarkerSegment& segment : picture.segments) {
    if (segment.marker != marker::app0 || segment.body.size() < kEnd || !Tables().take(segment)) continue;
    picture.jfif.assign(segment.body.begin(), segment.body.end());
    std::swap_ranges(picture.jfif.begin() + kColumns, picture.jfif.begin() + kRows, picture.jfif.begin() + kRows);
    segment.body = picture.jfif;
    return;
  }
}

void transposeFrame(CodedPicture& picture) {
  std::swap(picture.frame.width, picture.frame.height);
  for (FrameComponent& c : picture.frame.components) std::swap(c.horizontal, c.vertical);
  for (Steps& steps : picture.steps) {
    const Steps before = steps;
    arrange<true>(before.data(), steps.data(), false, false);
  }
}

void keepLuminance(CodedPicture& picture) {
  if (picture.model != ColourModel::grey && picture.model != ColourModel::ycbcr)
    failOption("grayscale", std::string("is for YCbCr and grey pictures, not for ") + nameOf(picture.model));
  Frame& frame = picture.frame;
  const FrameComponent& luminance = frame.components[0];
  if (luminance.horizontal != frame.maxHorizontal || luminance.vertical != frame.maxVertical)
    failOption("grayscale", "is not for pictures whose luminance is sub-sampled");
  frame.components.resize(1);
  picture.steps.resize(1);
  picture.model = ColourModel::grey;
  std::erase_if(picture.segments, [](const MarkerSegment& segment) { return segment.marker == marker::app14; });
}

// The factors of a single component have no effect but on the size of the MCU.
void simplifySampling(Frame& frame) {
  if (frame.components.size() == 1) frame.components[0].horizontal = frame.components[0].vertical = 1;
}

void requirePerfect(const Axis& axis) {
  if (axis.perfect()) return;
  failOption("perfect", std::string("is impossible: the ") + axis.side + " of " + std::to_string(axis.size) +
                            " is not a multiple of the MCU's, " + std::to_string(axis.mcu));
}

void requireInside(const Axis& axis, int length, int offset, const char* option) {
  if (offset < axis.size && length <= axis.size - offset) return;
  failOption(option, "reaches past the " + std::to_string(axis.size) + " " + axis.lines + " of the picture");
}

void noteEdge(CodedPicture& picture, const Axis& axis) {
  if (axis.left() == 0) return;
  picture.notes.push_back("the last " + std::to_string(axis.left()) + " " + axis.lines +
                          " do not fill an MCU and are not mirrored");
}

std::unique_ptr<Coefficients> moved(const CodedPicture& picture, const Frame& to, const Axis& x, const Axis& y,
                                    bool transpose, Budget& budget) {
  auto result = std::make_unique<Coefficients>(to, budget);
  for (int i = 0; i < static_cast<int>(to.components.size()); ++i) {
    const FrameComponent& c = to.components[i];
    for (int row = 0; row < c.blocksHigh; ++row) {
      const Place down = placeOf(row, y, c.vertical);
      for (int column = 0; column < c.blocksWide; ++column) {
        const Place across = placeOf(column, x, c.horizontal);
        Mox16s* const block = result->block(i, column, row);
        if (transpose)
          arrange<true>(picture.coefficients->block(i, down.block, across.block), block, across.mirrored,
                        down.mirrored);
        else
          arrange<false>(picture.coefficients->block(i, across.block, down.block), block, across.mirrored,
                         down.mirrored);
      }
    }
  }
  return result;
}

}  // namespace

void transform(CodedPicture& picture, const Geometry& geometry, Budget& budget) {
  if (geometry == Geometry()) return;
  const auto [transpose, mirrorX, mirrorY] = geometry.transform;
  const Crop& crop = geometry.crop;
  if (geometry.grayscale) keepLuminance(picture);
  Frame& frame = picture.frame;
  simplifySampling(frame);
  if (transpose) transposeFrame(picture), transposeDensity(picture);
  frame.layOut();

  Axis x{frame.width, frame.mcuWidth(), mirrorX, transpose ? "height" : "width", "columns"};
  Axis y{frame.height, frame.mcuHeight(), mirrorY, transpose ? "width" : "height", "rows"};
  if (geometry.perfect) requirePerfect(x), requirePerfect(y);
  requireInside(x, crop.width, crop.x, "cropWidth");
  requireInside(y, crop.height, crop.y, "cropHeight");
  x.crop(crop.width, crop.x);
  y.crop(crop.height, crop.y);
  if (geometry.trim) x.trim(), y.trim();
  frame.width = x.kept;
  frame.height = y.kept;
  frame.layOut();
  noteEdge(picture, x);
  noteEdge(picture, y);
  if (geometry.transform == Transform() && x.first == 0 && y.first == 0) return;  // blocks keep their places
  picture.coefficients = moved(picture, frame, x, y, transpose, budget);
}

}  // namespace moxj::jpeg
