// Small pictures of any layout through the C interface with any options: encoded, decoded, described, converted,
// transcoded and compared. What is refused leaves nothing; what is written is a complete file of the same size, and
// without loss where no option asks for loss.
#include <string>
#include <vector>

#include "interface.h"

namespace {

using namespace fuzz;

// ---- Options -------------------------------------------------------------------------------------------------------

template <class Options>
struct Field {
  std::int32_t Options::*number;
  std::int32_t max;
};

using Read = MoxcReadOptions;
constexpr Field<Read> kReading[] = {{&Read::reduce, 6},       {&Read::layers, 3},     {&Read::nosmooth, 1},
                                    {&Read::fastMcu, 1},      {&Read::components, 1}, {&Read::orient, 1},
                                    {&Read::picture, 2},      {&Read::upsample, 1},   {&Read::regionX, 40},
                                    {&Read::regionY, 40},     {&Read::tilePlus1, 5},  {&Read::regionWidth, 40},
                                    {&Read::regionHeight, 40}};

using Write = MoxcWriteOptions;
constexpr Field<Write> kWriting[] = {
    {&Write::quality, 100},    {&Write::grayscale, 1},  {&Write::progressive, 1},   {&Write::optimize, 1},
    {&Write::fastMcu, 1},      {&Write::restart, 9},    {&Write::restartInRows, 1}, {&Write::lossless, 1},
    {&Write::predictor, 7},    {&Write::point, 15},     {&Write::levelsPlus1, 33},  {&Write::blockWidth, 64},
    {&Write::blockHeight, 64}, {&Write::tileWidth, 40}, {&Write::tileHeight, 40},   {&Write::layers, 4},
    {&Write::modes, 63},       {&Write::strip, 255},    {&Write::sop, 1},           {&Write::eph, 1},
    {&Write::plt, 1},          {&Write::tlm, 1},        {&Write::roiX, 40},         {&Write::roiY, 40},
    {&Write::roiWidth, 40},    {&Write::roiHeight, 40}, {&Write::visual, 1},        {&Write::cmyk, 1},
    {&Write::rgb, 1},          {&Write::depth, 16}};

using Transcode = MoxcTranscodeOptions;
constexpr Field<Transcode> kTranscoding[] = {
    {&Transcode::optimize, 1},  {&Transcode::progressive, 1},   {&Transcode::sequential, 1},  {&Transcode::strip, 255},
    {&Transcode::restart, 9},   {&Transcode::restartInRows, 1}, {&Transcode::trim, 1},        {&Transcode::perfect, 1},
    {&Transcode::grayscale, 1}, {&Transcode::cropWidth, 40},    {&Transcode::cropHeight, 40}, {&Transcode::cropX, 40},
    {&Transcode::cropY, 40},    {&Transcode::orient, 1},        {&Transcode::picture, 2}};

constexpr const char* kScripts[] = {
    nullptr, "0,1,2: 0-0, 0, 0; 0: 1-63, 0, 0; 1: 1-63, 0, 0; 2: 1-63, 0, 0;",
    "0: 0-0, 0, 1; 0: 1-5, 0, 2; 0: 6-63, 0, 2; 0: 1-63, 2, 1; 0: 0-0, 1, 0; 0: 1-63, 1, 0;", "0; 1 2;", "0 1 2;"};
constexpr const char* kFactors[] = {nullptr, "2x1,1x1,1x1", "1x2", "4x1", "2x2,2x1,1x2", "3x2"};
constexpr const char* kComments[] = {nullptr, "text"};
constexpr const char* kQualities[] = {nullptr, "90,80", "5,100,50"};
constexpr const char* kFormats[] = {"jpg", "jpg", "jpg", "jp2", "j2k", "jp2", "png", "ppm",
                                    "pgm", "pam", "pbm", "pgx", "bmp", "tif", "raw", "pnm"};

// Gives some of the options a value, now and then one out of range.
template <class Options, std::size_t Count>
void choose(Choices& in, Options& options, const Field<Options> (&fields)[Count]) {
  for (int left = in.upTo(5); left > 0; --left) {
    const Field<Options>& field = fields[in.upTo(Count - 1)];
    options.*field.number = in.from(-1, field.max + 1);
  }
}

// With what its pointers refer to.
struct Writing {
  explicit Writing(Choices& in) : format(in.PickValueInArray(kFormats)) {
    moxcWriteOptionsInit(&options);
    plain = in.ConsumeBool();
    if (plain) return;
    choose(in, options, kWriting);
    options.sample = static_cast<MoxcSample>(in.upTo(6));
    options.progression = static_cast<MoxcProgression>(in.upTo(5));
    options.tileParts = static_cast<MoxcTileParts>(in.upTo(3));
    chooseText(in);
    chooseGoal(in);
    choosePrecincts(in);
    if (in.upTo(7) == 0) options.words = in.ConsumeBool() ? 565 : 555;
  }
  Writing(const Writing&) = delete;
  Writing& operator=(const Writing&) = delete;

  const char* format;
  bool plain;
  MoxcWriteOptions options;

 private:
  // One of those that are known to be good, or any bytes.
  template <std::size_t Count>
  const char* textOf(Choices& in, const char* const (&good)[Count]) {
    if (in.ConsumeBool()) return in.PickValueInArray(good);
    return (text_ = in.ConsumeRandomLengthString(60)).c_str();
  }
  void chooseText(Choices& in) {
    switch (in.upTo(7)) {
      case 0:
      case 1:
        options.scans = textOf(in, kScripts);
        break;
      case 2:
      case 3:
        options.factors = textOf(in, kFactors);
        break;
      case 4:
        options.qualities = textOf(in, kQualities);
        break;
      case 5:
        options.comment = textOf(in, kComments);
        break;
      default:
        break;
    }
  }
  void chooseGoal(Choices& in) {
    switch (in.upTo(7)) {
      case 0:
        options.ratio = in.real(0.5, 50.0);
        break;
      case 1:
        options.bpp = in.real(0.01, 30.0);
        break;
      case 2:
        list(options.ratios, options.ratioCount, in);
        break;
      case 3:
        list(options.bpps, options.bppCount, in);
        break;
      case 4:
        list(options.psnrs, options.psnrCount, in);
        break;
      default:
        break;
    }
  }
  void choosePrecincts(Choices& in) {
    constexpr std::int32_t kSizes[] = {4, 8, 16, 32, 64, 32768, 5};
    for (int left = in.upTo(7) - 3; left > 0; --left)
      for (int i = 0; i < 2; ++i) precincts_.push_back(in.PickValueInArray(kSizes));
    options.precincts = precincts_.data();
    options.precinctCount = static_cast<std::int32_t>(precincts_.size());
  }
  void list(const double*& values, std::int32_t& count, Choices& in) {
    sizes_.resize(static_cast<std::size_t>(in.upTo(3)));
    for (double& size : sizes_) size = in.real(-1.0, 60.0);
    values = sizes_.data();
    count = static_cast<std::int32_t>(sizes_.size());
  }

  std::string text_;
  std::vector<double> sizes_;
  std::vector<std::int32_t> precincts_;
};

MoxcReadOptions reading(Choices& in) {
  MoxcReadOptions options;
  moxcReadOptionsInit(&options);
  choose(in, options, kReading);
  return options;
}

MoxcTranscodeOptions transcoding(Choices& in) {
  MoxcTranscodeOptions options;
  moxcTranscodeOptionsInit(&options);
  choose(in, options, kTranscoding);
  options.transform = static_cast<MoxcTransform>(in.upTo(7));
  if (in.upTo(3) == 0) options.scans = in.PickValueInArray(kScripts);
  return options;
}

// ---- Calls ---------------------------------------------------------------------------------------------------------

Shape shapeOf(Choices& in) {
  const auto layout = static_cast<MoxcLayout>(in.from(1, 11));
  const int width = in.from(1, 40), height = in.from(1, 40);
  return {layout, width, height, in.ConsumeBool() ? 8 : in.from(1, 31)};
}

bool keepsAll(const char* format, const MoxcPixels& pixels) {
  const std::string name = format;
  if (pixels.planes[0].bits != 8) return false;
  if (pixels.layout == moxcRgb || pixels.layout == moxcBgr)
    return name == "png" || name == "ppm" || name == "jp2" || name == "j2k" || name == "bmp" || name == "tif";
  return (pixels.layout == moxcRgba || pixels.layout == moxcBgra) && (name == "png" || name == "jp2" || name == "tif");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Choices in(data, size);
  const Run run(in.ConsumeBool() ? Threads::executor : Threads::one);
  const bool rows = in.ConsumeBool();
  const Writing writing(in);
  const MoxcReadOptions options = reading(in);
  const Writing further(in);
  const MoxcTranscodeOptions transcoded = transcoding(in);
  const Pixels pixels(in, shapeOf(in));
  constexpr int kAllRows = 0;
  Bytes file, other;
  const auto coding = [&](const MoxcTarget& to) {
    return encode(pixels.pixels, writing.format, writing.options, {}, rows ? &kAllRows : nullptr, run, to);
  };
  if (!toMemory(file, coding)) return 0;
  if (!readable(writing.format)) return 0;
  checkDecoded(file, pixels.pixels.layout < moxcYCbCr ? &pixels.pixels : nullptr, run);
  if (writing.plain && keepsAll(writing.format, pixels.pixels)) checkLossless(file, pixels, run);

  const MoxcSource source = moxcMemorySource(file.data(), file.size());
  MoxcDescription* description = nullptr;
  require(moxcDescribe(&source, &run.run, &description, nullptr) == moxcOk);
  moxcDescriptionFree(description);
  const auto convert = [&](const MoxcTarget& to) {
    return moxcConvert(&source, &options, further.format, &further.options, &to, &run.run, nullptr);
  };
  if (toMemory(other, convert) && readable(further.format)) {
    checkDecoded(other, nullptr, run);
    const MoxcSource second = moxcMemorySource(other.data(), other.size());
    MoxcComparison comparison = sized<MoxcComparison>();
    succeeded(moxcCompare(&source, &second, &run.run, &comparison, nullptr, nullptr));
  }
  const auto transcode = [&](const MoxcTarget& to) {
    return moxcTranscode(&source, &transcoded, &to, &run.run, nullptr);
  };
  if (toMemory(other, transcode)) checkDecoded(other, nullptr, run);
  return 0;
}
