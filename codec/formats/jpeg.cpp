// JPEG as a format. Baseline files are read and written as the rows come; lossless, progressive and optimised ones need
// the whole picture.
#include "jpeg/jpeg.h"

#include <algorithm>

#include "formats/formats.h"
#include "jpeg/locate.h"
#include "jpeg/metadata.h"

namespace moxj {

Description describeJpeg(Input& input, Work& work);  // jpeg_describe.cpp

namespace {

constexpr int kMaxQuality = 100, kMaxRestart = 65535, kMaxPredictor = 7, kMaxPoint = 15;
constexpr std::size_t kMaxComment = 65533;

constexpr std::string_view kReadOptions[] = {"reduce", "nosmooth", "fastMcu", "components", "picture"};
constexpr std::string_view kWriteOptions[] = {"quality", "sample",  "grayscale", "progressive", "scans", "optimize",
                                              "fastMcu", "restart", "lossless",  "predictor",   "point", "comment",
                                              "cmyk",    "rgb",     "factors",   "qualities",   "depth"};

bool isJpeg(ByteSpan first) { return first.size() >= 3 && first[0] == 0xFF && first[1] == 0xD8; }

// Files of other formats may have JPEG pictures in them (thumbnails, pages, covers), which are not what they are about.
bool isOtherFormat(ByteSpan first) {
  static constexpr const char* kSignatures[] = {"II",
                                                "MM",
                                                "BM",
                                                "GIF8",
                                                "RIFF",
                                                "%PDF",
                                                "%!PS",
                                                "8BPS",
                                                "ID3",
                                                "fLaC",
                                                "OggS",
                                                "PK\3\4",
                                                "\177ELF",
                                                "\37\213",
                                                "7z\274\257",
                                                "\211PNG",
                                                "<?xml",
                                                "FUJIFILM",
                                                "\305\320\323\306",
                                                "\32\105\337\243"};
  const std::string_view text(reinterpret_cast<const char*>(first.data()), first.size());
  return std::ranges::any_of(kSignatures, [&](const char* known) { return text.starts_with(known); }) ||
         (text.size() >= 8 && text.substr(4, 4) == "ftyp");
}

bool hasJpeg(ByteSpan first) { return !isOtherFormat(first) && jpeg::findPicture(first, 0, true) < first.size(); }

// ---- Reading ----------------------------------------------------------------------------------------------------

class Reader : public RowSource {
 public:
  Reader(Input& input, const jpeg::DecodeOptions& options, Work& work)
      : input_(input), options_(options), work_(work) {}

  Outcome push(RowSink& sink) override {
    const ByteSpan file = input_.all(maxFileBytes(work_.limits));
    jpeg::DecodeOptions options = options_;
    options.passed = [&](const std::uint8_t* end) { input_.discard(static_cast<std::size_t>(end - file.data())); };
    return jpeg::decode(file, options, sink, work_);
  }

 private:
  Input& input_;
  const jpeg::DecodeOptions options_;
  Work& work_;
};

std::unique_ptr<RowSource> open(Input& input, const ReadOptions& options, Work& work) {
  const jpeg::DecodeOptions decoding{.smooth = !options.nosmooth,
                                     .fastMcu = options.fastMcu,
                                     .inks = options.components || options.inks || options.srgb,
                                     .components = options.components,
                                     .native = options.native,
                                     .picture = options.picture,
                                     .region = options.region,
                                     .reduce = options.reduce};
  if (options.reduce < 0 || options.reduce > jpeg::kMaxReduce)
    failOption("reduce", std::to_string(options.reduce) + " is not a number from 0 to 3");
  return std::make_unique<Reader>(input, decoding, work);
}

bool hasFullYcbcr(Input& input, Work& work) {
  const jpeg::Info info = jpeg::inspect(input.all(maxFileBytes(work.limits)));
  return info.supported && info.precision == 8 && info.colourModel == "YCbCr" && info.sampling == "4:4:4";
}

// ---- Writing ----------------------------------------------------------------------------------------------------

void checkRange(std::string_view option, int value, int max) {
  if (value < 0 || value > max)
    failOption(option, std::to_string(value) + " is not a whole number from 0 to " + std::to_string(max));
}

// Options that are for the other kind of files are refused: ignored, they would be mistakes that nobody notices.
void check(const WriteOptions& options) {
  const OptionField<WriteOptions> kOfDct[] = {
      {"quality", [](const WriteOptions& o) { return o.quality != 0; }},
      {"sample", [](const WriteOptions& o) { return o.sample != Subsampling::none; }},
      {"grayscale", [](const WriteOptions& o) { return o.grayscale; }},
      {"progressive", [](const WriteOptions& o) { return o.progressive; }},
      {"scans", [](const WriteOptions& o) { return o.scans.has_value(); }},
      {"optimize", [](const WriteOptions& o) { return o.optimize; }},
      {"fastMcu", [](const WriteOptions& o) { return o.fastMcu; }},
      {"cmyk", [](const WriteOptions& o) { return o.cmyk; }},
      {"rgb", [](const WriteOptions& o) { return o.rgb; }},
      {"factors", [](const WriteOptions& o) { return !o.factors.empty(); }},
      {"qualities", [](const WriteOptions& o) { return !o.qualities.empty(); }},
      {"depth", [](const WriteOptions& o) { return o.depth != 0; }}};
  for (const OptionField<WriteOptions>& field : kOfDct)
    if (options.lossless && field.given(options)) failOption(field.name, "is not for lossless files");
  const bool deep = options.depth > 8;
  if (options.rgb && options.grayscale) failOption("rgb", "and grayscale cannot be combined");
  if (options.rgb && options.cmyk) failOption("rgb", "and cmyk cannot be combined");
  if (options.rgb && options.fastMcu) failOption("fastMcu", "is not for files of RGB");
  if (deep && options.fastMcu) failOption("fastMcu", "is for samples of 8 bits");
  if (deep && options.cmyk) failOption("cmyk", "is for samples of 8 bits");
  if (!options.lossless && options.predictor != 0) failOption("predictor", "is for lossless files only");
  if (!options.lossless && options.point != 0) failOption("point", "is for lossless files only");
  checkRange("quality", options.quality, kMaxQuality);
  checkRange("restart", options.restart, kMaxRestart);
  checkRange("predictor", options.predictor, kMaxPredictor);
  checkRange("point", options.point, kMaxPoint);
  if (options.comment.size() > kMaxComment)
    failOption("comment", "is longer than " + std::to_string(kMaxComment) + " bytes");
}

Holds holds(const WriteOptions& options) {
  check(options);
  Holds holds;
  if (options.lossless) {
    // More planes and other depths are refused by the encoder: a lossless file has all bits or is not made.
    holds.colours = {Colour::unknown, Colour::cmyk, Colour::grey, Colour::rgb};
  } else {
    holds.colours = {Colour::grey, Colour::rgb};
    const bool deep = options.depth > 8;
    if (options.rgb) holds.colours = {Colour::rgb};
    // The luminance is that of RGB.
    if (!options.grayscale && !options.rgb && !deep) holds.colours.insert(holds.colours.begin(), Colour::cmyk);
    if (options.native && !options.rgb) holds.colours.insert(holds.colours.begin(), Colour::ycbcr);
    holds.subsampled = options.native && !options.rgb;
    holds.depths = {deep ? 12 : 8};
  }
  holds.inks = Inks::inverted;
  holds.metadata.block = jpeg::hasPlaceFor;
  // Lossless files have no JFIF segment, and those of RGB and of inks neither.
  holds.metadata.resolution = holds.metadata.ratio = !options.lossless && !options.rgb;
  holds.metadata.resolutionWithInks = false;
  if (options.grayscale) holds.metadata.profileColour = Colour::grey;
  return holds;
}

std::optional<jpeg::Sampling> samplingOf(Subsampling sample) {
  switch (sample) {
    case Subsampling::s444:
      return jpeg::Sampling::s444;
    case Subsampling::s422:
      return jpeg::Sampling::s422;
    case Subsampling::s420:
      return jpeg::Sampling::s420;
    case Subsampling::s440:
      return jpeg::Sampling::s440;
    case Subsampling::s411:
      return jpeg::Sampling::s411;
    case Subsampling::s410:
      return jpeg::Sampling::s410;
    case Subsampling::none:
      break;
  }
  return std::nullopt;
}

jpeg::EncodeOptions encodeOptions(const WriteOptions& options) {
  jpeg::EncodeOptions coding{.sampling = samplingOf(options.sample),
                             .grayscale = options.grayscale,
                             .restart = options.restart,
                             .restartInRows = options.restartInRows,
                             .fastMcu = options.fastMcu,
                             .cmyk = options.cmyk,
                             .optimize = options.optimize,
                             .progressive = options.progressive,
                             .script = options.scans,
                             .factors = options.factors,
                             .qualities = options.qualities,
                             .rgb = options.rgb};
  if (options.depth != 0) coding.depth = options.depth;
  if (options.quality != 0) coding.quality = options.quality;
  return coding;
}

// Adds a comment to the metadata of the picture.
class CommentSink : public RowSink {
 public:
  CommentSink(std::unique_ptr<RowSink> next, std::string comment)
      : next_(std::move(next)), comment_(std::move(comment)) {}
  void begin(const Picture& layout) override {
    Picture commented = layout;
    Metadata metadata = layout.metadata ? *layout.metadata : Metadata();
    metadata.add(MetadataKind::comment, "", {reinterpret_cast<const std::uint8_t*>(comment_.data()), comment_.size()});
    commented.metadata = std::make_shared<const Metadata>(std::move(metadata));
    next_->begin(commented);
  }
  void rows(const Picture& band) override { next_->rows(band); }
  void end() override { next_->end(); }
  int rowsWanted() const override { return next_->rowsWanted(); }
  bool takesBgr() const override { return next_->takesBgr(); }

 private:
  std::unique_ptr<RowSink> next_;
  std::string comment_;
};

std::unique_ptr<RowSink> createPlain(Output& output, const WriteOptions& options, Work& work) {
  if (!options.lossless) return jpeg::encoder(output, encodeOptions(options), work);
  const jpeg::LosslessOptions coding{.predictor = options.predictor,
                                     .point = options.point,
                                     .restart = options.restart,
                                     .restartInRows = options.restartInRows};
  return jpeg::losslessEncoder(output, coding, work);
}

std::unique_ptr<RowSink> create(Output& output, const WriteOptions& options, Work& work, std::vector<std::string>&) {
  check(options);
  std::unique_ptr<RowSink> encoder = createPlain(output, options, work);
  if (options.comment.empty()) return encoder;
  return std::make_unique<CommentSink>(std::move(encoder), options.comment);
}

}  // namespace

extern const Format kJpegFormat;

const Format kJpegFormat = {.label = "JPEG",
                            .names = {"jpg", "jpeg", "jpe", "jfif"},
                            .coded = true,
                            .sniff = isJpeg,
                            .search = hasJpeg,
                            .describe = describeJpeg,
                            .open = open,
                            .hasFullYcbcr = hasFullYcbcr,
                            .cuts = true,
                            .create = create,
                            .holds = holds,
                            .readOptions = kReadOptions,
                            .writeOptions = kWriteOptions};

}  // namespace moxj
