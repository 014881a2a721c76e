// JPEG files (ITU-T T.81, JFIF, Adobe APP14) over the functions of moxj.h: writer, reader and inspection.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "bytes.h"
#include "failure.h"
#include "jpeg/script.h"
#include "pictures/image.h"
#include "pictures/picture.h"
#include "progress.h"

namespace moxj::jpeg {

using moxj::Decoded;
using moxj::Limits;

// ---- Writing ----------------------------------------------------------------------------------------------------

enum class Sampling { s444, s422, s420 };

struct EncodeOptions {
  int quality = 75;  // 1 to 100
  Sampling sampling = Sampling::s420;
  bool grayscale = false;      // luminance only; a grey picture always becomes a grey file
  int restart = 0;             // restart interval, 0 none, in MCUs ...
  bool restartInRows = false;  // ... or in MCU rows, of each scan
  bool fastMcu = false;        // colours and sampling by the functions on MCUs, a little coarser; not for grey
  bool optimize = false;       // tables made for the picture, in a second pass; progressive files always have them
  bool progressive = false;    // in the scans of cjpeg ...
  std::optional<Script> script = {};  // ... or in these, sequential or progressive
};

// A JFIF file of the picture: baseline with the tables of T.81 Annex K, or as the options say. Throws Failure (limit)
// for pictures beyond 65535 rows or columns and for restart intervals above 65535 MCUs.
Bytes encode(const Picture& picture, const EncodeOptions& options, const Progress& progress = {});

struct LosslessOptions {
  int predictor = 0;  // 1 to 7 (T.81 table H.1); 0: the one that makes the smallest file
  int point = 0;      // lowest bits of the samples that are left out
  int restart = 0;    // restart interval as in EncodeOptions, of whole rows
  bool restartInRows = false;
};

// A lossless file (T.81 Annex H) of 2 to 16 bits: grey, RGB or, of four components without opacity, inks; two have no
// meaning of their own. Opacity is dropped with a note. Predictors 5 to 7, which decoders differ on where
// samples are above 32767, are not chosen for such pictures. Throws Failure: refused for a depth or options that such
// files do not have, limit as encode() does.
Bytes encodeLossless(const Image& image, const LosslessOptions& options, std::vector<std::string>& notes,
                     const Progress& progress = {});

// ---- Reading ----------------------------------------------------------------------------------------------------

struct DecodeOptions {
  // Sub-sampled components are interpolated where their ratio is 2; otherwise samples are repeated.
  bool smooth = true;
  // 4:2:0, 4:2:2 and 4:4:4 by the functions on MCUs, which repeat samples; faster, and for other files of no effect.
  bool fastMcu = false;
  bool inks = false;   // CMYK and YCCK as 4 inks and not as RGB; decodeImage() also two lossless components as both
  int maxScans = 500;  // a file of more is refused: each costs as much as the whole picture
};

// The picture of a file as grey or RGB. Throws Failure: refused for what is no JPEG file, damaged before any of the
// picture could be had, or of an unsupported process (by name); limit for more pixels, before memory is taken, or
// more scans than allowed. A picture of which only a part could be had comes with complete = false and a warning.
Decoded decode(std::span<const std::uint8_t> file, const Limits& limits, const Progress& progress = {},
               const DecodeOptions& options = {});

// The same, but the rows go to the sink and the result has no picture. Where Failure is thrown, rows that mean
// nothing may have gone there before.
Decoded decodeInto(RowSink& sink, std::span<const std::uint8_t> file, const Limits& limits,
                   const Progress& progress = {}, const DecodeOptions& options = {});

// The same as an image with the depth of the file, which only lossless files have other than 8 bits.
DecodedImage decodeImage(std::span<const std::uint8_t> file, const Limits& limits, const Progress& progress = {},
                         const DecodeOptions& options = {});

// Whether a Picture would lose depth: 8 bits do not hold all that the file is.
bool holdsImage(std::span<const std::uint8_t> file);

// ---- Transcoding ------------------------------------------------------------------------------------------------

struct TranscodeOptions {
  enum class Process { asInput, sequential, progressive };
  Process process = Process::asInput;
  std::optional<Script> script = {};  // instead of `process`
  bool optimize = true;               // tables made for the picture; progressive files always have them
  bool strip = false;  // without APPn and COM segments but JFIF's and Adobe's, which say what the colours are
  int restart = 0;     // restart interval as in EncodeOptions; that of the input is not kept
  bool restartInRows = false;
};

struct Transcoded {
  Bytes file;
  bool complete = true;  // false: of what is missing in the input, coefficients are 0; `warning` says why
  std::string warning;
  std::vector<std::string> notes;
};

// The same picture, coefficient by coefficient, in other scans and with other tables. Throws Failure as encode and
// decode do; also (refused) for coefficients that cannot be coded as asked for.
Transcoded transcode(std::span<const std::uint8_t> file, const TranscodeOptions& options, const Limits& limits,
                     const Progress& progress = {}, const DecodeOptions& reading = {});

// ---- Inspection -------------------------------------------------------------------------------------------------

struct Component {
  int id = 0;
  int horizontal = 1;  // sampling factors
  int vertical = 1;
  int quantTable = 0;
  int width = 0;  // in samples (T.81 A.1.1)
  int height = 0;
};

struct QuantTable {
  int index = 0;                          // destination identifier, 0 to 3
  int bits = 8;                           // 8 or 16
  std::array<std::uint16_t, 64> steps{};  // row by row, not zig-zag
};

struct HuffTable {
  int index = 0;
  bool ac = false;
  int codes = 0;  // how many codes the table has
};

struct Segment {
  std::uint8_t marker = 0;   // second byte: 0xD8 for SOI
  std::string name;          // "SOI", "APP0", "DQT" ...
  std::uint64_t offset = 0;  // of the marker's 0xFF in the file
  std::uint64_t length = 0;  // bytes from there, the marker included and entropy-coded data not
  std::string detail;        // what a reader wants to know of it in a few words; may be empty
};

struct ScanComponent {
  int id = 0;
  int dcTable = 0;
  int acTable = 0;
};

struct Scan {
  std::vector<ScanComponent> components;
  int spectralStart = 0, spectralEnd = 63;
  int approxHigh = 0, approxLow = 0;
  std::uint64_t dataOffset = 0;  // of the entropy-coded data that follows the header
  std::uint64_t dataLength = 0;  // up to the marker that ends it, restart markers included
};

// A file's structure, as far as it can be followed.
struct Info {
  std::string process;     // "baseline", "extended sequential", "progressive", "lossless" ... and the coder
  bool supported = false;  // decode() reads this process
  int precision = 0;       // bits a sample
  int width = 0;
  int height = 0;
  std::string colourModel;  // "grey", "YCbCr", "RGB", "CMYK", "YCCK", "unknown"
  std::string sampling;     // "4:2:0" and the like where it has such a name, else empty
  int restartInterval = 0;  // MCUs, 0 none; the last one defined
  std::vector<Component> components;
  std::vector<QuantTable> quantTables;  // as last defined
  std::vector<HuffTable> huffTables;    // as last defined
  std::optional<int> quality;           // of the Annex K tables that come nearest
  bool qualityExact = false;            // the tables are exactly those of that quality
  std::vector<Segment> segments;
  std::vector<Scan> scans;
  bool complete = true;  // false: the file ends or goes wrong before its end, `warning` says where
  std::string warning;
};

// Throws Failure (refused) only where the file is no JPEG file or has no frame header that can be read.
Info inspect(std::span<const std::uint8_t> file);

}  // namespace moxj::jpeg
