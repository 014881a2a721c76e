// Reads and writes the Netpbm formats PGM and PPM, plain (P2, P3) and raw (P5, P6).
#pragma once

#include <functional>
#include <span>
#include <string>
#include <utility>

#include "base/file.h"
#include "pictures/describe.h"
#include "pictures/format.h"
#include "pictures/image.h"
#include "pictures/picture.h"

namespace moxj {

// Samples with a maximum value other than 255 are scaled to 8 bits, deeper ones with a note. Raw 8-bit samples are
// used in place, without a copy. A truncated file gives the samples it has; the rest is black. Only the first picture
// of a file is read.
Decoded readPnm(const Source& source, const Limits& limits);

// Writes raw PGM or PPM. A grey picture in a PPM has equal red, green and blue; a colour picture in a PGM is reduced
// to its luminance. Format::pnm is PPM for colour and PGM for grey. `write` receives the file in pieces, two per call.
class PnmWriter : public RowSink {
 public:
  using Piece = std::span<const std::uint8_t>;
  using Write = std::function<void(Piece first, Piece second)>;

  PnmWriter(Format format, Write write) : format_(format), write_(std::move(write)) {}
  void begin(int width, int height, int channels) override;
  void rows(const Picture& band) override;

  bool dropsColour() const { return dropsColour_; }

 private:
  Format format_;
  Write write_;
  bool colour_ = false;
  bool dropsColour_ = false;
  std::string header_;  // until it is written
};

// Writes a whole picture, without a copy if its samples are laid out as in the file.
Content writePnm(const Picture& picture, Format format);

// Keeps the depth of the file: as many bits as the maximum value needs. The samples are not scaled.
DecodedImage readPnmImage(const Source& source, const Limits& limits);

// Raw PGM or PPM with a maximum value of 2^bits - 1. The last of 2 or 4 components is dropped with a note.
Content writePnmImage(const Image& image, Format format, std::vector<std::string>& notes);

PictureInfo describePnm(const Source& source);

}  // namespace moxj
