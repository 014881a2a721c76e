// Small pictures of any layout through the C interface with any options: encoded, decoded, described, converted,
// transcoded and compared. What is refused leaves nothing; what is written is a complete file of the same size, and
// without loss where no option asks for loss.
#include <fuzzer/FuzzedDataProvider.h>
#include <moxcodec.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

void require(bool condition) {
  if (!condition) std::abort();
}

// Every failure must be one that the caller can do something about.
bool succeeded(MoxcKind kind) {
  require(kind != moxcInternal && kind != moxcNoMemory);
  return kind == moxcOk;
}

template <class Struct>
Struct sized() {
  Struct made = {};
  made.structSize = sizeof made;
  return made;
}

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
constexpr const char* kQualities[] = {nullptr, "90,80", "5,100,50"};
constexpr const char* kFormats[] = {"jpg", "jpg", "jpg", "jp2", "j2k", "jp2", "png", "ppm",
                                    "pgm", "pam", "pbm", "pgx", "bmp", "tif", "raw", "pnm"};

class Choices : public FuzzedDataProvider {
 public:
  using FuzzedDataProvider::FuzzedDataProvider;

  int upTo(int max) { return ConsumeIntegralInRange(0, max); }

  // Gives some of the options a value, now and then one out of range.
  template <class Options, std::size_t Count>
  void choose(Options& options, const Field<Options> (&fields)[Count]) {
    for (int left = upTo(5); left > 0; --left) {
      const Field<Options>& field = fields[upTo(Count - 1)];
      options.*field.number = ConsumeIntegralInRange(-1, field.max + 1);
    }
  }
  std::vector<double> sizes() {
    std::vector<double> sizes(static_cast<std::size_t>(upTo(3)));
    for (double& size : sizes) size = ConsumeFloatingPointInRange(-1.0, 60.0);
    return sizes;
  }
};

// With what its pointers refer to.
struct Writing {
  explicit Writing(Choices& in) : format(in.PickValueInArray(kFormats)) {
    moxcWriteOptionsInit(&options);
    plain = in.ConsumeBool();
    if (plain) return;
    in.choose(options, kWriting);
    options.sample = static_cast<MoxcSample>(in.upTo(6));
    switch (in.upTo(7)) {
      case 0:
        options.scans = in.PickValueInArray(kScripts);
        break;
      case 1:
        options.scans = (text = in.ConsumeRandomLengthString(60)).c_str();
        break;
      case 2:
        options.factors = in.PickValueInArray(kFactors);
        break;
      case 3:
        options.factors = (text = in.ConsumeRandomLengthString(20)).c_str();
        break;
      case 4:
        options.qualities = in.PickValueInArray(kQualities);
        break;
      case 5:
        options.comment = (text = in.ConsumeRandomLengthString(60)).c_str();
        break;
      default:
        break;
    }
    options.progression = static_cast<MoxcProgression>(in.upTo(5));
    options.tileParts = static_cast<MoxcTileParts>(in.upTo(3));
    switch (in.upTo(7)) {
      case 0:
        options.ratio = in.ConsumeFloatingPointInRange(0.5, 50.0);
        break;
      case 1:
        options.bpp = in.ConsumeFloatingPointInRange(0.01, 30.0);
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
    constexpr std::int32_t kSizes[] = {4, 8, 16, 32, 64, 32768, 5};
    for (int left = in.upTo(7) - 3; left > 0; --left)
      for (int i = 0; i < 2; ++i) precincts.push_back(in.PickValueInArray(kSizes));
    options.precincts = precincts.data();
    options.precinctCount = static_cast<std::int32_t>(precincts.size());
    if (in.upTo(7) == 0) options.words = in.ConsumeBool() ? 565 : 555;
  }
  Writing(const Writing&) = delete;
  Writing& operator=(const Writing&) = delete;

  const char* format;
  bool plain;
  MoxcWriteOptions options;

 private:
  void list(const double*& values, std::int32_t& count, Choices& in) {
    sizes = in.sizes();
    values = sizes.data();
    count = static_cast<std::int32_t>(sizes.size());
  }

  std::string text;
  std::vector<double> sizes;
  std::vector<std::int32_t> precincts;
};

MoxcReadOptions reading(Choices& in) {
  MoxcReadOptions options;
  moxcReadOptionsInit(&options);
  in.choose(options, kReading);
  return options;
}

MoxcTranscodeOptions transcoding(Choices& in) {
  MoxcTranscodeOptions options;
  moxcTranscodeOptionsInit(&options);
  in.choose(options, kTranscoding);
  options.transform = static_cast<MoxcTransform>(in.upTo(7));
  if (in.upTo(3) == 0) options.scans = in.PickValueInArray(kScripts);
  return options;
}

// ---- Pictures ------------------------------------------------------------------------------------------------------

class Pixels {
 public:
  explicit Pixels(Choices& in) {
    const auto layout = static_cast<MoxcLayout>(1 + in.upTo(10));
    const int width = 1 + in.upTo(39), height = 1 + in.upTo(39), bits = in.ConsumeBool() ? 8 : 1 + in.upTo(30);
    pixels = moxcPixels(layout, width, height, layout >= moxcRgb565 ? 0 : bits, nullptr, 0);
    pixels.sampleSize = layout >= moxcRgb565 || (bits > 8 && bits <= 16) ? 2 : bits > 16 ? 4 : 1;
    if (layout == moxcYCbCr || layout == moxcPlanes) planes(in, bits);
    std::size_t total = 0;
    const int count = layout == moxcYCbCr ? 3 : pixels.planeCount;
    for (int i = 0; i < count; ++i) total += bytesOf(i);
    memory_.resize(total);
    const Bytes given = in.ConsumeBytes<std::uint8_t>(static_cast<std::size_t>(in.upTo(600)));
    for (std::size_t i = 0; i < total; ++i)
      memory_[i] = given.empty() ? static_cast<std::uint8_t>(i * 7 ^ i >> 4) : given[i % given.size()];
    std::size_t at = 0;
    for (int i = 0; i < count; at += bytesOf(i), ++i) {
      pixels.planes[i].samples = memory_.data() + at;
      if (layout != moxcRgb565 && layout != moxcRgb555) limit(i);
    }
  }
  Pixels(const Pixels&) = delete;
  Pixels& operator=(const Pixels&) = delete;

  const Bytes& memory() const { return memory_; }
  MoxcPixels pixels;

 private:
  void planes(Choices& in, int bits) {
    pixels.planeCount = pixels.layout == moxcYCbCr ? 3 : 1 + in.upTo(4);
    for (int i = 0; i < pixels.planeCount; ++i) {
      MoxcPlane& plane = pixels.planes[i];
      plane = {};
      plane.dx = i == 0 ? 1 : 1 + in.upTo(3);
      plane.dy = i == 0 ? 1 : 1 + in.upTo(3);
      plane.width = (pixels.width + plane.dx - 1) / plane.dx;
      plane.height = (pixels.height + plane.dy - 1) / plane.dy;
      plane.bits = bits;
      plane.isSigned = pixels.layout == moxcPlanes && in.ConsumeBool();
    }
  }
  std::size_t bytesOf(int plane) const {
    const MoxcPlane& p = pixels.planes[plane];
    const bool interleaved = pixels.layout != moxcYCbCr && pixels.layout != moxcPlanes;
    return static_cast<std::size_t>(p.width) * static_cast<std::size_t>(p.height) *
           static_cast<std::size_t>(pixels.sampleSize * (interleaved ? moxcChannels(pixels.layout) : 1));
  }
  // Samples within the depth of their plane.
  void limit(int plane) {
    const MoxcPlane& p = pixels.planes[plane];
    auto* const from = static_cast<std::uint8_t*>(p.samples);
    const auto size = static_cast<std::size_t>(pixels.sampleSize);
    for (std::size_t at = 0; at < bytesOf(plane); at += size) {
      std::uint32_t value = 0;
      std::memcpy(&value, from + at, size);
      value &= (1u << p.bits) - 1;
      if (p.isSigned && value >> (p.bits - 1)) value |= ~((1u << p.bits) - 1);
      std::memcpy(from + at, &value, size);
    }
  }

  Bytes memory_;
};

// ---- Calls ---------------------------------------------------------------------------------------------------------

// A run whose tasks are done by the calling thread, as those of two threads.
struct Run {
  explicit Run(bool parted) {
    limits.maxPixels = 1 << 16;
    limits.maxMemory = 1 << 26;
    limits.maxScans = 20;
    run.limits = &limits;
    if (!parted) return;
    run.threads = 2;
    run.executor = [](void*, std::int32_t tasks, void (*task)(void*, std::int32_t), void* argument) {
      for (std::int32_t i = 0; i < tasks; ++i) task(argument, i);
    };
  }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

  MoxcLimits limits = sized<MoxcLimits>();
  MoxcRun run = sized<MoxcRun>();
};

template <class Make>
bool toMemory(Bytes& made, Make&& make) {
  void* bytes = nullptr;
  std::size_t count = 0;
  const MoxcTarget target = moxcMemoryTarget(&bytes, &count);
  const bool done = succeeded(make(target));
  require(done == (bytes != nullptr));
  if (done) made.assign(static_cast<std::uint8_t*>(bytes), static_cast<std::uint8_t*>(bytes) + count);
  moxcFree(bytes);
  return done;
}

// Rows as they come, or all at once.
MoxcKind encode(const Pixels& from, const Writing& writing, bool rows, const Run& run, const MoxcTarget& target) {
  if (!rows) return moxcEncode(&from.pixels, writing.format, &writing.options, nullptr, 0, &target, &run.run, nullptr);
  MoxcEncoder* encoder = nullptr;
  MoxcKind kind =
      moxcEncoderOpen(&from.pixels, writing.format, &writing.options, nullptr, 0, &target, &run.run, &encoder, nullptr);
  if (kind == moxcOk) kind = moxcEncoderRows(encoder, &from.pixels, nullptr);
  if (kind == moxcOk) kind = moxcEncoderFinish(encoder, nullptr);
  moxcEncoderFree(encoder);
  return kind;
}

bool readable(const char* name) { return std::strncmp(name, "raw", 3) != 0; }

// A file of this library's is complete; of the size of the picture, if no option changes that.
void checkDecoded(const Bytes& file, const MoxcPixels* expected, const Run& run) {
  const MoxcSource from = moxcMemorySource(file.data(), file.size());
  MoxcReport* const report = moxcReportNew();
  MoxcPicture* picture = nullptr;
  require(moxcDecode(&from, nullptr, nullptr, &run.run, &picture, report) == moxcOk);
  require(moxcReportComplete(report));
  MoxcPixels pixels = sized<MoxcPixels>();
  require(moxcPicturePixels(picture, &pixels) == moxcOk);
  if (expected) require(pixels.width == expected->width && pixels.height == expected->height);
  moxcPictureFree(picture);
  moxcReportFree(report);
}

void checkLossless(const Bytes& file, const Pixels& from, const Run& run) {
  Bytes memory(from.memory().size());
  MoxcPixels to = from.pixels;
  to.planes[0].samples = memory.data();
  const MoxcSource source = moxcMemorySource(file.data(), file.size());
  require(moxcDecodeInto(&source, nullptr, &to, &run.run, nullptr) == moxcOk);
  require(memory == from.memory());
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
  const Run run(in.ConsumeBool());
  const bool rows = in.ConsumeBool();
  const Writing writing(in);
  const MoxcReadOptions options = reading(in);
  const Writing further(in);
  const MoxcTranscodeOptions transcoded = transcoding(in);
  const Pixels pixels(in);
  Bytes file, other;
  if (!toMemory(file, [&](const MoxcTarget& to) { return encode(pixels, writing, rows, run, to); })) return 0;
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
