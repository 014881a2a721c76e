// Pictures of any layout there and back, with options that go together, which a random choice hardly ever meets: what
// the format and the picture allow is known here. A file is complete, of the size of the picture, and equal where no
// option asks for loss; then it is decoded in parts, converted, transcoded, compared or divided into planes.
#include <array>
#include <cmath>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "blocks.h"
#include "interface.h"

namespace {

using namespace fuzz;

constexpr int kColours[] = {0, 1, 1, 3, 3, 3, 3, 4, 3, 0, 3, 3};  // by layout; 0: any

bool oneOf(std::string_view name, std::initializer_list<std::string_view> names) {
  return std::find(names.begin(), names.end(), name) != names.end();
}
bool is2000(std::string_view format) { return oneOf(format, {"jp2", "j2k"}); }

// ---- Shapes --------------------------------------------------------------------------------------------------------

// Mostly small. Now and then large enough for several threads, which JPEG files of 2^19 pixels are.
Shape shapeOf(Choices& in, std::string_view format) {
  constexpr MoxcLayout kLayouts[] = {moxcRgb,  moxcGrey, moxcRgb,   moxcBgr,    moxcRgba,   moxcGreyAlpha, moxcBgra,
                                     moxcCmyk, moxcCmyk, moxcYCbCr, moxcPlanes, moxcRgb565, moxcRgb555,    moxcPlanes};
  constexpr int kBits[] = {8, 8, 8, 8, 16, 12, 1, 2, 4, 5, 10, 15, 17, 24, 28, 31};
  Shape shape = {in.PickValueInArray(kLayouts), in.from(1, 70), in.from(1, 70), in.PickValueInArray(kBits)};
  if (format == "jpg" && in.oneIn(12)) {
    shape = {in.ConsumeBool() ? moxcRgb : moxcGrey, in.from(1024, 1100), in.from(513, 540), 8};
  } else if (in.oneIn(12)) {
    shape.width = in.from(100, 300);
    shape.height = in.from(60, 400);
  }
  if (shape.layout == moxcYCbCr) shape.bits = 8;
  return shape;
}

// ---- Options -------------------------------------------------------------------------------------------------------

// With what its pointers refer to.
class Writing {
 public:
  Writing(Choices& in, const char* name, const Shape& shape) : format(name) {
    moxcWriteOptionsInit(&options);
    if (in.oneIn(3)) options.strip = in.upTo(255);
    if (in.oneIn(8)) return;
    if (format == "jpg") jpeg(in, shape);
    if (is2000(format)) jpeg2000(in, shape);
    if (format == "bmp" && shape.layout != moxcGrey && in.oneIn(4)) options.words = in.ConsumeBool() ? 565 : 555;
  }
  Writing(const Writing&) = delete;
  Writing& operator=(const Writing&) = delete;

  // Whether no sample of a picture of the shape is changed.
  bool keeps(const Shape& shape) const {
    const bool opacity = shape.layout == moxcGreyAlpha || shape.layout == moxcRgba || shape.layout == moxcBgra;
    if (isWords(shape.layout) || !isInterleaved(shape.layout)) return false;
    if (format == "jpg")
      return options.lossless && options.point == 0 && !opacity && shape.bits > 1 && shape.bits <= 16;
    if (is2000(format)) return lossless_ && (format == "jp2" || !(opacity || shape.layout == moxcCmyk));
    if (options.words != 0 || shape.layout == moxcCmyk) return false;
    if (opacity) return shape.bits == 8 && oneOf(format, {"png", "tif", "pam"});
    return shape.bits == 8 && oneOf(format, {"png", "tif", "pam", "bmp", shape.layout == moxcGrey ? "pgm" : "ppm"});
  }

  const std::string_view format;
  MoxcWriteOptions options;

 private:
  void jpeg(Choices& in, const Shape& shape) {
    if (in.oneIn(3)) {
      options.restart = in.oneIn(4) ? in.from(60, 400) : in.from(1, 9);
      options.restartInRows = in.upTo(1);
    }
    if (in.oneIn(8)) options.comment = "text";
    if (shape.layout != moxcYCbCr && shape.bits > 1 && shape.bits <= 16 && in.oneIn(shape.bits == 8 ? 6 : 2)) {
      options.lossless = 1;
      options.predictor = in.upTo(7);
      if (in.oneIn(3)) options.point = in.upTo(std::min(shape.bits - 1, 4));
      if (options.restart) options.restartInRows = 1;
      return;
    }
    dct(in, shape);
  }

  void dct(Choices& in, const Shape& shape) {
    const bool ycbcr = shape.layout == moxcYCbCr;
    int colours = kColours[shape.layout];
    bool sampled = colours > 1 && !ycbcr;  // its chrominance is sub-sampled here
    if (!ycbcr && shape.layout != moxcCmyk && in.oneIn(5)) options.depth = 12;
    if (shape.layout == moxcCmyk && in.ConsumeBool()) {
      options.cmyk = 1;
      sampled = false;
    }
    if (colours == 3 && !ycbcr && in.oneIn(6)) {
      options.rgb = 1;
      if (in.ConsumeBool()) options.factors = "2x1,1x1,1x1";
      sampled = false;
    } else if (in.oneIn(8) && !options.cmyk) {
      options.grayscale = 1;
      colours = 1;
      sampled = false;
    }
    const bool quick = sampled && colours == 3 && options.depth == 0 && in.oneIn(5);
    constexpr MoxcSample kSamples[] = {moxcSampleDefault, moxcSample444, moxcSample422, moxcSample420,
                                       moxcSample440,     moxcSample411, moxcSample410};
    constexpr const char* kFactors[] = {"2x2,1x2,2x1", "1x2,1x1,1x1", "4x1,2x1,1x1", "2x2,1x1", "1x1,2x2,1x1", "3x1"};
    if (quick) {
      options.fastMcu = 1;
      options.sample = kSamples[in.upTo(3)];
    } else if (sampled && in.oneIn(4)) {
      options.factors = in.PickValueInArray(kFactors);
    } else if (sampled) {
      options.sample = in.PickValueInArray(kSamples);
    }
    if (in.oneIn(4))
      options.qualities = in.ConsumeBool() ? "90,70" : "30";
    else
      options.quality = in.upTo(100);
    scans(in, colours);
  }

  void scans(Choices& in, int colours) {
    constexpr const char* kOfOne[] = {"0;", "0: 0-0, 0, 1; 0: 1-5, 0, 2; 0: 6-63, 0, 2; 0: 1-63, 2, 1; 0: 0-0, 1, 0;"};
    constexpr const char* kOfThree[] = {
        "0; 1 2;", "0 1 2;", "0; 1; 2;", "0,1,2: 0-0, 0, 0; 0: 1-63, 0, 0; 1: 1-63, 0, 0; 2: 1-63, 0, 0;",
        "0,1,2: 0-0, 0, 1; 0: 1-63, 0, 2; 1: 1-63, 0, 1; 2: 1-63, 0, 1; 0: 1-63, 2, 1; 0,1,2: 0-0, 1, 0;"};
    constexpr const char* kOfFour[] = {"0; 1 2; 3;", "0 1 2 3;"};
    switch (in.upTo(3)) {
      case 1:
        options.optimize = 1;
        break;
      case 2:
        options.progressive = 1;
        break;
      case 3:
        if (colours == 1) options.scans = in.PickValueInArray(kOfOne);
        if (colours == 3) options.scans = in.PickValueInArray(kOfThree);
        if (colours == 4) options.scans = in.PickValueInArray(kOfFour);
        break;
      default:
        break;
    }
  }

  void jpeg2000(Choices& in, const Shape& shape) {
    const int levels = shape.bits > 27 ? 0 : in.oneIn(20) ? 32 : in.upTo(6);
    options.levelsPlus1 = levels + 1;
    if (in.ConsumeBool()) {
      const int across = in.from(2, 10);
      options.blockWidth = 1 << across;
      options.blockHeight = 1 << in.from(2, std::min(10, 12 - across));
    }
    if (in.oneIn(3)) {
      options.tileWidth = in.from(std::min(shape.width, 9), shape.width + 1);
      options.tileHeight = in.from(std::min(shape.height, 9), shape.height + 1);
    }
    goal(in, shape);
    options.progression = static_cast<MoxcProgression>(in.upTo(5));
    options.tileParts = static_cast<MoxcTileParts>(in.upTo(3));
    if (in.ConsumeBool()) options.modes = in.upTo(63);
    const int marks = in.oneIn(3) ? in.upTo(15) : 0;
    options.sop = marks & 1;
    options.eph = marks >> 1 & 1;
    options.plt = marks >> 2 & 1;
    options.tlm = marks >> 3 & 1;
    if (in.oneIn(3)) {
      for (int left = in.from(1, std::min(levels + 1, 4)); left > 0; --left)
        for (int i = 0; i < 2; ++i) precincts_.push_back(1 << in.from(3, in.oneIn(5) ? 15 : 7));
      options.precincts = precincts_.data();
      options.precinctCount = static_cast<std::int32_t>(precincts_.size());
    }
    if (in.oneIn(8)) options.comment = "text";
  }

  // Sizes and qualities of one layer or several. A region and weights go with all but a quality.
  void goal(Choices& in, const Shape& shape) {
    const int kind = shape.bits > 24 ? 0 : in.upTo(7);
    const bool single = kind < 4, quality = kind >= 6;
    lossless_ = kind < 2;
    if (kind == 1) options.lossless = 1;
    if (kind == 2) options.ratio = in.real(1.0, 40.0);
    if (kind == 3) options.bpp = in.real(0.05, 20.0);
    if (kind == 4) list(in, options.ratios, options.ratioCount, in.real(10.0, 60.0), 0.6);
    if (kind == 5) list(in, options.bpps, options.bppCount, in.real(0.05, 2.0), 1.7);
    if (quality) list(in, options.psnrs, options.psnrCount, in.real(15.0, 60.0), 1.2);
    if (single || values_.size() == 1) options.layers = in.upTo(4);
    if (quality) return;
    if (shape.bits <= 12 && in.oneIn(5)) {
      options.roiX = in.upTo(shape.width - 1);
      options.roiY = in.upTo(shape.height - 1);
      options.roiWidth = in.from(1, shape.width);
      options.roiHeight = in.from(1, shape.height);
    }
    const bool weighable = kind == 2 || kind == 3 || options.layers > 1 || values_.size() > 1;
    if (weighable && in.oneIn(4)) options.visual = 1;
  }

  // Each value is the last one times `step`; now and then, all there is at last.
  void list(Choices& in, const double*& values, std::int32_t& count, double first, double step) {
    for (int left = in.upTo(3); left >= 0; --left, first *= step) values_.push_back(std::max(first, 0.01));
    if (in.oneIn(3)) {
      values_.push_back(0);
      lossless_ = values_.size() > 1;
    }
    if (values_.size() == 1 && values_[0] == 0) values_[0] = 1;
    values = values_.data();
    count = static_cast<std::int32_t>(values_.size());
  }

  bool lossless_ = false;
  std::vector<double> values_;
  std::vector<std::int32_t> precincts_;
};

MoxcReadOptions readingOf(Choices& in, const Writing& writing, const Shape& shape) {
  const MoxcWriteOptions& written = writing.options;
  MoxcReadOptions options;
  moxcReadOptionsInit(&options);
  options.orient = in.upTo(1);
  const bool jpeg = writing.format == "jpg", coded = is2000(writing.format);
  if (coded && written.tileWidth > 0 && in.oneIn(3)) {
    options.tilePlus1 = in.from(1, 3);
  } else if (in.oneIn(3)) {
    options.regionX = in.upTo(shape.width - 1);
    options.regionY = in.upTo(shape.height - 1);
    options.regionWidth = in.upTo(shape.width);
    options.regionHeight = in.upTo(shape.height);
  }
  if (in.oneIn(3))
    options.srgb = 1;
  else if (in.oneIn(4) && (jpeg || coded || writing.format == "tif" || writing.format == "png"))
    options.components = 1;
  if (jpeg && in.oneIn(3) && !written.lossless) options.reduce = in.upTo(3);
  if (jpeg) options.nosmooth = in.upTo(1);
  if (jpeg && options.reduce == 0) options.fastMcu = in.upTo(1);
  if (jpeg) options.picture = in.upTo(1);
  if (coded && in.oneIn(3)) options.reduce = in.upTo(std::min(written.levelsPlus1 ? written.levelsPlus1 - 1 : 5, 5));
  if (coded && in.oneIn(3)) options.layers = in.from(1, 3);
  if (coded) options.upsample = in.upTo(1);
  return options;
}

MoxcTranscodeOptions transcodingOf(Choices& in, const Shape& shape) {
  constexpr const char* kScripts[] = {"0;", "0; 1 2;", "0 1 2;",
                                      "0: 0-0, 0, 1; 0: 1-63, 0, 1; 0: 1-63, 1, 0; 0: 0-0, 1, 0;"};
  MoxcTranscodeOptions options;
  moxcTranscodeOptionsInit(&options);
  const int process = in.upTo(4);
  options.progressive = process == 1;
  options.sequential = process == 2;
  options.optimize = process == 3;
  if (process == 4) options.scans = in.PickValueInArray(kScripts);
  if (in.oneIn(3)) options.strip = in.upTo(255);
  if (in.oneIn(3)) {
    options.restart = in.from(1, 5);
    options.restartInRows = in.upTo(1);
  }
  if (in.oneIn(3))
    options.orient = 1;
  else
    options.transform = static_cast<MoxcTransform>(in.upTo(7));
  if (options.orient || options.transform) {
    const int edge = in.upTo(3);
    options.trim = edge == 1;
    options.perfect = edge == 2;
  }
  options.grayscale = in.oneIn(5);
  if (in.oneIn(3)) {
    options.cropX = in.upTo(std::min(shape.width, shape.height) - 1);
    options.cropY = in.upTo(std::min(shape.width, shape.height) - 1);
    if (in.ConsumeBool()) options.cropWidth = options.cropHeight = 1;
  }
  options.picture = in.upTo(1);
  return options;
}

// ---- What is done with a file --------------------------------------------------------------------------------------

constexpr const char* kFormats[] = {"jpg", "jpg", "jpg", "jp2", "j2k", "jp2", "j2k", "png", "ppm",
                                    "pgm", "pam", "pbm", "pgx", "bmp", "tif", "pnm", "raw", "rawl"};

// All rows of a picture in turn, and no more.
void decodeRows(Choices& in, const MoxcSource& source, const MoxcReadOptions& options, const Run& run) {
  constexpr MoxcLayout kWanted[] = {static_cast<MoxcLayout>(0),
                                    moxcGrey,
                                    moxcGreyAlpha,
                                    moxcRgb,
                                    moxcBgr,
                                    moxcRgba,
                                    moxcBgra,
                                    moxcCmyk,
                                    moxcYCbCr,
                                    moxcPlanes,
                                    moxcRgb565,
                                    moxcRgb555};
  MoxcWanted wanted = sized<MoxcWanted>();
  wanted.layout = in.PickValueInArray(kWanted);
  if (wanted.layout < moxcRgb565 && in.oneIn(3)) wanted.bits = in.from(1, 31);
  if (in.ConsumeBool()) {
    MoxcPicture* picture = nullptr;
    succeeded(moxcDecode(&source, &options, &wanted, &run.run, &picture, nullptr));
    moxcPictureFree(picture);
    return;
  }
  struct Rows {
    int next = 0, height = 0;
  } rows;
  const auto take = [](void* context, const MoxcPixels* band, std::int32_t y, std::int32_t height) {
    auto& to = *static_cast<Rows*>(context);
    require(y == to.next && y + band->height <= height);
    to.next += band->height;
    to.height = height;
    return 0;
  };
  if (succeeded(moxcDecodeRows(&source, &options, &wanted, take, &rows, &run.run, nullptr)))
    require(rows.next == rows.height);
}

void convert(Choices& in, const MoxcSource& source, const MoxcReadOptions& options, const Shape& shape, const Run& run,
             const Run& free) {
  const Writing to(in, in.PickValueInArray(kFormats), shape);
  Bytes other;
  const auto make = [&](const MoxcTarget& target) {
    return moxcConvert(&source, &options, to.format.data(), &to.options, &target, &run.run, nullptr);
  };
  if (!toMemory(other, make) || !readable(to.format.data())) return;
  checkDecoded(other, nullptr, free);
  const MoxcSource second = moxcMemorySource(other.data(), other.size());
  MoxcComparison comparison = sized<MoxcComparison>();
  succeeded(moxcCompare(&source, &second, &free.run, &comparison, nullptr, nullptr));
}

void divide(Choices& in, const MoxcSource& source, const MoxcReadOptions& options, const Run& run) {
  constexpr const char* kPlain[] = {"pgm", "pgx", "png", "tif", "raw"};
  struct Files {
    std::array<void*, moxcMaxPlanes> bytes = {};
    std::array<std::size_t, moxcMaxPlanes> counts = {};
  } files;
  const auto open = [](void* context, std::int32_t index, std::int32_t, MoxcTarget* target) {
    auto& to = *static_cast<Files*>(context);
    const auto i = static_cast<std::size_t>(index);
    if (i >= to.bytes.size()) return 1;
    *target = moxcMemoryTarget(&to.bytes[i], &to.counts[i]);
    return 0;
  };
  const char* const format = in.PickValueInArray(kPlain);
  const bool done = succeeded(moxcConvertPlanes(&source, &options, format, open, &files, &run.run, nullptr));
  require(done == (files.bytes[0] != nullptr));
  for (void* bytes : files.bytes) moxcFree(bytes);
}

void transcode(Choices& in, const MoxcSource& source, const Shape& shape, const Run& run, const Run& free) {
  const MoxcTranscodeOptions options = transcodingOf(in, shape);
  Bytes made;
  if (toMemory(made, [&](const MoxcTarget& to) { return moxcTranscode(&source, &options, &to, &run.run, nullptr); }))
    checkDecoded(made, nullptr, free);
}

void describe(const MoxcSource& source, const Run& run) {
  MoxcDescription* description = nullptr;
  require(moxcDescribe(&source, &run.run, &description, nullptr) == moxcOk);
  moxcDescriptionFree(description);
}

Threads threadsOf(Choices& in) {
  return in.oneIn(16) ? Threads::own : in.ConsumeBool() ? Threads::executor : Threads::one;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Choices in(data, size);
  const char* const format = in.PickValueInArray(kFormats);
  const Shape shape = shapeOf(in, format);
  const Writing writing(in, format, shape);
  const Metadata metadata(in, shape.layout);
  const Threads threads = threadsOf(in);
  constexpr std::uint64_t kMaxPixels = 1 << 20, kMaxMemory = std::uint64_t{1} << 28;
  const Run free(threads, kMaxPixels, kMaxMemory);
  const bool inBands = in.ConsumeBool();
  const int bandHeight = 12 * in.upTo(3);
  const int tightness = in.oneIn(4) ? in.from(1, 20) : 0, laterTightness = in.oneIn(4) ? in.from(1, 20) : 0;
  const int action = in.upTo(7);
  const Pixels pixels(in, shape);
  // A limit that is some times half of the picture, so that what does not fit is done in parts or refused.
  const auto memoryOf = [&](int halves) {
    return halves == 0 ? kMaxMemory : (1 << 15) + pixels.memory().size() * static_cast<std::uint64_t>(halves) / 2;
  };
  const Run run(threads, kMaxPixels, memoryOf(tightness)), later(threads, kMaxPixels, memoryOf(laterTightness));
  Bytes file;
  const auto make = [&](const MoxcTarget& to) {
    return encode(pixels.pixels, format, writing.options, metadata, inBands ? &bandHeight : nullptr, run, to);
  };
  if (!toMemory(file, make) || !readable(format)) return 0;
  checkDecoded(file, isInterleaved(shape.layout) ? &pixels.pixels : nullptr, free);
  if (writing.keeps(shape)) checkLossless(file, pixels, free);

  const MoxcSource source = moxcMemorySource(file.data(), file.size());
  const MoxcReadOptions options = readingOf(in, writing, shape);
  if (action <= 1) decodeRows(in, source, options, later);
  if (action == 2 || action == 3) convert(in, source, options, shape, later, free);
  if (action == 4) divide(in, source, options, later);
  if (action >= 5 && writing.format == "jpg") transcode(in, source, shape, later, free);
  if (action >= 5 && writing.format != "jpg") convert(in, source, options, shape, later, free);
  if (action == 7) describe(source, free);
  return 0;
}
