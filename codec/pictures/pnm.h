// The Netpbm formats PGM and PPM, plain (P2, P3) and raw (P5, P6).
#pragma once

#include <functional>
#include <span>
#include <string>
#include <utility>

#include "file.h"
#include "pictures/describe.h"
#include "pictures/format.h"
#include "pictures/image.h"
#include "pictures/picture.h"

namespace moxj {

// Samples with a maximum value other than 255 are scaled, 16-bit ones with a note. Raw samples of 8 bits are used
// where they lie in the source. A file that ends early gives the rows so far, the others black. Only the first
// picture of a file is read.
Decoded readPnm(const Source& source, const Limits& limits);

// Writes raw PGM or PPM: as the format says (grey is written three times into a PPM, of colour a PGM gets the
// luminance), or, for pnm, as the picture has it. `write` gets the file piece by piece, two pieces a call.
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

// The same of a whole picture, whose samples are not copied where they lie as the file has them.
Content writePnm(const Picture& picture, Format format);

// With the depth of the file: as many bits as its maximum value needs, the samples as they are.
DecodedImage readPnmImage(const Source& source, const Limits& limits);

// Raw PGM or PPM with a maximum value of all bits set; 2 components and 4 lose the last, with a note.
Content writePnmImage(const Image& image, Format format, std::vector<std::string>& notes);

PictureInfo describePnm(const Source& source);

}  // namespace moxj
