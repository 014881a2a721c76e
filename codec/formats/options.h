// All options of reading and writing, whatever the format. Zero, empty or false: not given.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "j2k/j2k.h"
#include "jpeg/script.h"
#include "pictures/metadata.h"
#include "pictures/picture.h"
#include "pictures/words.h"

namespace moxj {

struct ReadOptions {
  int reduce = 0;           // JPEG 2000: resolution levels to skip
  int layers = 0;           // JPEG 2000: quality layers to decode
  bool nosmooth = false;    // JPEG: repeat samples instead of interpolating
  bool fastMcu = false;     // JPEG: convert MCU by MCU
  bool components = false;  // components and inks as they are coded: no palette, no conversion of inks to RGB
  bool orient = false;      // turns the pixels as the Exif orientation says; of files without one, nothing
  int picture = 0;          // JPEG: of several in a file, from 1
  bool upsample = false;    // JPEG 2000: all components at the size of the reference grid
  bool native = false;      // JPEG: also YCbCr as it is coded, not up-sampled; BMP: YCbCr of words (not an option of a
                            // file: never refused)
  Region region = {};       // of the picture before it is reduced or turned (of all formats: never refused)
  std::optional<int> tile = {};  // JPEG 2000: this tile alone
  bool inks = false;             // inks as they are (not an option of a file: never refused)
  bool srgb = false;             // converts colours to sRGB
};

enum class Subsampling { none, s444, s422, s420, s440, s411, s410 };

struct WriteOptions {
  // JPEG
  int quality = 0;                         // 1 to 100; default 75
  Subsampling sample = Subsampling::none;  // default 4:2:0
  bool grayscale = false;
  bool progressive = false;
  std::optional<jpeg::Script> scans;
  bool optimize = false;
  bool fastMcu = false;
  int restart = 0;
  bool restartInRows = false;
  bool rgb = false;                    // no conversion to YCbCr
  std::vector<jpeg::Factors> factors;  // instead of `sample`
  std::vector<int> qualities;          // instead of `quality`
  int depth = 0;                       // 8 or 12; default 8
  // both
  bool lossless = false;
  int predictor = 0, point = 0;  // of lossless JPEG
  // JPEG 2000
  std::vector<double> ratio, bpp;  // one value, or one for each layer; 0 in the last: without loss
  std::optional<int> levels;
  int blockWidth = 0, blockHeight = 0;
  int tileWidth = 0, tileHeight = 0;
  std::optional<j2k::Order> progression;
  int layers = 0;
  int modes = 0;
  MetadataSet strip = {};  // metadata that is not wanted (of all formats, which may have none)
  bool native = false;  // JPEG, and BMP of words: planes of YCbCr as they are (not an option of a file: never refused)
  // JPEG 2000
  std::vector<double> psnr;                  // as ratio
  std::vector<j2k::PrecinctSize> precincts;  // from the highest resolution down
  bool sop = false, eph = false, plt = false, tlm = false;
  j2k::Division tileParts = j2k::Division::whole;
  j2k::InterestRegion roi;
  bool visual = false;
  // both
  std::string comment;
  bool cmyk = false;  // JPEG: inks as they are; otherwise they become YCCK
  // BMP
  Words words = Words::none;  // instead of bytes
};

// An option by the name of its field, which is also its name on a command line (fastMcu: --fast-mcu).
template <class Options>
struct OptionField {
  std::string_view name;
  bool (*given)(const Options& options);
};

}  // namespace moxj
