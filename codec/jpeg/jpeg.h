// JPEG files (ITU-T T.81, JFIF, Adobe APP14): encoder, decoder, transcoding and inspection, built on moxj.h.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "base/input.h"
#include "base/outcome.h"
#include "jpeg/script.h"
#include "jpeg/transform.h"
#include "pictures/metadata.h"
#include "pictures/rows.h"
#include "pictures/work.h"

namespace moxj::jpeg {

// ---- Writing ----------------------------------------------------------------------------------------------------

enum class Sampling { s444, s422, s420, s440, s411, s410 };

struct EncodeOptions {
  int quality = 75;                       // 1 to 100
  std::optional<Sampling> sampling = {};  // of RGB and of inks as YCCK; default 4:2:0
  bool grayscale = false;                 // luminance only; a grey picture always becomes a grey file
  int restart = 0;                        // restart interval, 0: none
  bool restartInRows = false;             // in MCU rows of each scan instead of MCUs
  bool fastMcu = false;                   // colours and sampling MCU by MCU, slightly less accurate; not for grey
  bool cmyk = false;                      // inks as they are; otherwise they become YCCK
  bool optimize = false;                  // optimal tables, in a second pass; progressive files always have them
  bool progressive = false;               // with the same scans as cjpeg
  std::optional<Script> script = {};      // the scans, sequential or progressive; overrides `progressive`
  // Sampling factors of the components, 1 to 4; those that are missing are 1x1. Overrides `sampling`. The largest ones
  // must be multiples of the others, and an MCU has at most 10 blocks.
  std::vector<Factors> factors = {};
  std::vector<int> qualities = {};  // of the components, the last one of all further ones; overrides `quality`
  bool rgb = false;                 // codes RGB as it is, with an Adobe segment instead of JFIF
  int depth = 8;                    // 8 or 12 bits per sample; extended sequential or progressive, with optimal tables
};

// A sink that encodes a picture as a JFIF file or, of inks, one with an Adobe segment; by default baseline with the
// tables of T.81 Annex K, which is coded and written as the rows come. Optimal tables and several scans need the
// coefficients of the whole picture; then all the coding is done in end(), which reports progress.
//
// The picture has 8 bits: grey or RGB, interleaved; inks whose maximum value is no ink; or three planes of YCbCr. The
// sampling of the planes becomes that of the file: options.sampling and fastMcu are then refused.
//
// begin() throws Problem (limit) for pictures with more than 65535 rows or columns, restart intervals above 65535 MCUs,
// and more memory than allowed. Output and work must outlive the sink.
std::unique_ptr<RowSink> encoder(Output& output, const EncodeOptions& options, Work& work);

struct LosslessOptions {
  int predictor = 0;  // 1 to 7 (T.81 Table H.1); 0: the one with the smallest file
  int point = 0;      // point transform: the number of lowest bits that are dropped
  int restart = 0;    // restart interval as in EncodeOptions; whole rows only
  bool restartInRows = false;
};

// A sink that encodes a picture as a lossless file (T.81 Annex H) of 2 to 16 bits: grey, RGB, inks or planes without a
// meaning, at most four, of equal size and depth. It keeps the rows, and codes them in end(). Decoders disagree on
// predictors 5 to 7 for samples above 32767, so these are not chosen for such pictures. begin() throws Problem:
// unsupported or badOption for depths and options that lossless files do not allow; limit as encoder() does.
std::unique_ptr<RowSink> losslessEncoder(Output& output, const LosslessOptions& options, Work& work);

// ---- Reading ----------------------------------------------------------------------------------------------------

inline constexpr int kMaxReduce = 3;

struct DecodeOptions {
  // Interpolates components sub-sampled by 2; otherwise, and for other ratios, samples are repeated.
  bool smooth = true;
  // Decodes 4:2:0, 4:2:2 and 4:4:4 MCU by MCU: faster, but repeats samples. Has no effect on other files.
  bool fastMcu = false;
  // CMYK and YCCK as 4 inks, not as RGB.
  bool inks = false;
  // Both of two components, not the first as grey.
  bool components = false;
  // YCbCr and RGB components as planes of their own size, as they are coded, and inks. Has no effect if a component has
  // fractional sub-sampling such as 3:2.
  bool native = false;
  int picture = 0;  // of a file with several: its number, from 1. 0: the first; what follows it is noted
  // Of the picture before it is reduced. The sink gets some more pixels around it; the layout says which are wanted.
  // What follows in the file is not decoded.
  Region region = {};
  // Width and height are divided by 2^reduce, rounded up: 0 to 3; not of lossless files, and not with fastMcu. A region
  // has the pixels (x, y) for which (x, y) * 2^reduce lies in it. View and BlockInverse define the samples.
  int reduce = 0;
  // Called, by the calling thread, with the end of the bytes that will hardly be read again.
  std::function<void(const std::uint8_t* end)> passed = {};
};

// Up to 64 KiB before the SOI marker of a file are passed over, with a note, also by transcode() and inspect().
//
// Decodes a file and gives its rows to the sink: grey or RGB of 8 bits, interleaved, unless the options ask for
// something else. Lossless files of other depths keep their depth and have Colour grey, rgb, ycbcr or, with
// options.inks or options.components, cmyk or unknown; samples of sub-sampled components are repeated.
//
// If only a part of the picture can be decoded, the outcome is not complete and has a warning. Throws Problem:
// notThisFormat; damaged, if nothing of the picture can be decoded; unsupported, and names the process; limit for more
// pixels, memory or scans than allowed, before memory is allocated.
Outcome decode(ByteSpan file, const DecodeOptions& options, RowSink& sink, Work& work);

// ---- Transcoding ------------------------------------------------------------------------------------------------

struct TranscodeOptions {
  enum class Process { asInput, sequential, progressive };
  Process process = Process::asInput;
  std::optional<Script> script = {};  // the scans; overrides `process`
  bool optimize = true;               // optimal tables; progressive files always have them
  // Drops APPn and COM segments of these kinds, except JFIF and Adobe, which define the colours; with `other`, also
  // what follows the picture in the file.
  MetadataSet strip = {};
  int restart = 0;  // restart interval as in EncodeOptions; that of the input is not kept
  bool restartInRows = false;
  bool orient = false;     // the transform is that of the Exif orientation, which becomes 1
  Geometry geometry = {};  // scans and restart intervals are those of the result
  int picture = 0;  // of a file with several: its number, from 1, for it alone. 0: the first, and what follows it
};

// Re-encodes the same coefficients with other scans and Huffman tables, and in other places if a geometry is given. If
// the outcome is not complete, coefficients missing from the input are 0. Throws Problem as encoder(), decode() and
// transform() do, and (unsupported) for coefficients that cannot be coded as requested.
Outcome transcode(ByteSpan file, const TranscodeOptions& options, Output& output, Work& work);

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
  std::array<std::uint16_t, 64> steps{};  // in natural order, not zig-zag
};

struct HuffTable {
  int index = 0;
  bool ac = false;
  int codes = 0;  // how many codes the table has
};

struct Segment {
  std::uint8_t marker = 0;   // its second byte: 0xD8 for SOI
  std::string name;          // "SOI", "APP0", "DQT" ...
  std::uint64_t offset = 0;  // of the marker's 0xFF in the file
  std::uint64_t length = 0;  // including the marker, without entropy-coded data
  std::string detail;        // the contents in a few words; may be empty
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

// The structure of a file, as far as it can be parsed: not complete if the file is truncated or damaged.
struct Info : Outcome {
  std::string process;     // "baseline", "extended sequential", "progressive", "lossless" ... and the coder
  bool supported = false;  // by decode()
  int precision = 0;       // bits per sample
  int width = 0;
  int height = 0;
  std::string colourModel;  // "grey", "YCbCr", "RGB", "CMYK", "YCCK", "unknown"
  std::string sampling;     // "4:2:0" and the like; empty if it has no such name
  int restartInterval = 0;  // in MCUs, 0: none; as last defined
  std::vector<Component> components;
  std::vector<QuantTable> quantTables;  // as last defined
  std::vector<HuffTable> huffTables;    // as last defined
  std::optional<int> quality;           // of the most similar Annex K tables
  bool qualityExact = false;            // the tables are exactly those
  std::vector<Segment> segments;
  std::vector<Scan> scans;
  std::uint64_t bytesBefore = 0;    // before the SOI marker
  std::uint64_t bytesAfterEnd = 0;  // after the EOI marker
  int pictures = 1;                 // that follow each other; this is the structure of the first
};

// Throws Problem only if the file is not JPEG or has no readable frame header.
Info inspect(ByteSpan file);

}  // namespace moxj::jpeg
