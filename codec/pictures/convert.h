// Converts rows of a picture to another layout: planes are selected, up-sampled, scaled, and change their colour model.
#pragma once

#include <cstdint>
#include <vector>

#include "pictures/picture.h"
#include "pictures/scale.h"

namespace moxj {

// How one layout becomes another. Colours are converted with samples of 0 to workMax.
struct Conversion {
  Picture to;
  std::vector<int> sources;  // the planes of the picture to take, in order; opacity is the last if `to` has it
  bool yccToRgb = false;     // full-range ITU-R BT.601; the first three of the planes taken. Of YCCK, CMY come of it
  bool inks = false;         // the first four planes taken are CMYK or YCCK; `to` says whether inks are inverted
  bool inksToRgb = false;    // then
  bool rgbToGrey = false;    // then
  bool divides = false;      // last: colours are divided by the opacity
  bool expands = false;      // planes are up-sampled to the size of the picture
  std::int32_t workMax = 0;

  bool convertsColours() const { return yccToRgb || inksToRgb || rgbToGrey; }
  // Whether the inks of a picture are inverted and those of the result are not, or the other way round.
  bool invertsInks(const Picture& from) const { return inks && !convertsColours() && from.inverted != to.inverted; }
};

class Converter {
 public:
  // `from` is the layout of the picture. Scratch memory is charged to the budget.
  Converter(const Picture& from, Conversion conversion, Budget& budget);

  const Picture& to() const { return conversion_.to; }
  // Whether there is nothing to do.
  bool keepsPlanes() const { return keepsPlanes_; }
  // Whether a band can be passed on as view() of it, without copying samples.
  bool canView(const Picture& band) const;
  Picture view(const Picture& band) const;
  // Converts all rows of a band; the rows of `to` are the same.
  void convert(const Picture& from, const Picture& to);

 private:
  void convertSamples(const Picture& from, const Picture& to);
  void convertPlane(const Picture& from, const Picture& to, std::size_t plane);
  void orientInks(const Picture& from, int width);
  void convertColours(const Picture& from, const Picture& to);
  void loadLine(const Picture& from, int y, std::size_t line);
  void storeLine(const Picture& to, int y, std::size_t line, std::size_t plane);
  bool isLuminanceOfBytes(const Picture& to) const;
  void luminanceOfBytes(const Picture& from, const Picture& to);
  bool isRepetitionOfBytes() const;

  Conversion conversion_;
  std::vector<Scale> scales_;         // plane by plane; with colours to convert, from the planes taken to lines
  std::vector<Scale> resultScales_;   // from lines to the planes of the result
  std::vector<Plane> lines_;          // of colours to convert
  std::vector<std::int32_t> memory_;  // of the lines
  std::vector<std::uint8_t> pixels_;  // RGB bytes, gathered
  bool keepsSamples_ = false;         // planes are selected, and nothing else
  bool keepsPlanes_ = false;          // nothing is to be done
  bool bytes_ = false;                // all planes taken are unsigned full-range 8-bit samples of the picture's size
};

}  // namespace moxj
