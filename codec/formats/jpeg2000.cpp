// JPEG 2000 as a format: its reader decodes the whole picture before it gives any rows, its writer collects all rows
// before it codes them, unless memory or tiles that are written one by one speak for rows.
#include <bit>
#include <optional>
#include <utility>

#include "formats/formats.h"
#include "j2k/bands.h"
#include "j2k/boxes.h"
#include "j2k/j2k.h"
#include "j2k/metadata.h"

namespace moxj {

Description describeJpeg2000(Input& input, Work& work);  // jpeg2000_describe.cpp

namespace {

constexpr int kMaxWrittenLayers = 100;
constexpr int kMinBlock = 4, kMaxBlock = 1024, kMaxBlockArea = 4096;
constexpr int kMinPrecinct = 4, kMaxPrecinct = 32768;
constexpr std::size_t kMaxComment = 65531;

constexpr std::string_view kReadOptions[] = {"reduce", "layers", "components", "upsample", "tile"};
constexpr std::string_view kWriteOptions[] = {
    "lossless",  "ratio", "bpp", "levels", "block", "tile",      "progression", "layers", "modes",  "psnr",
    "precincts", "sop",   "eph", "plt",    "tlm",   "tileParts", "roi",         "visual", "comment"};

// ---- Reading ----------------------------------------------------------------------------------------------------

class Reader : public RowSource {
 public:
  Reader(Input& input, const j2k::DecodeOptions& options, Work& work) : input_(input), options_(options), work_(work) {}

  Outcome push(RowSink& sink) override {
    const ByteSpan file = input_.all(maxFileBytes(work_.limits));
    const auto forget = [this] { input_.forget(); };
    if (std::optional<Outcome> outcome = j2k::decodeInBands(sink, file, options_, work_, forget))
      return std::move(*outcome);
    j2k::Decoded decoded = j2k::decode(file, options_, work_);
    if (options_.upsample) upsample(decoded.picture);
    pushPicture(decoded.picture, sink, work_.progress);
    return std::move(static_cast<Outcome&>(decoded));
  }

 private:
  // Every component gets the size of the picture.
  void upsample(Picture& picture) {
    const Holds fullSize = {.opacity = true,
                            .premultiplied = true,
                            .anyMaxval = true,
                            .isSigned = true,
                            .mixedDepths = true,
                            .metadata = {.silent = true}};
    std::vector<std::string> notes;
    Picture made = fitted(picture, fullSize, notes, work_.budget);
    if (made.owner != picture.owner) work_.budget.release(picture.bytes());
    picture = std::move(made);
  }

  Input& input_;
  j2k::DecodeOptions options_;
  Work& work_;
};

std::unique_ptr<RowSource> open(Input& input, const ReadOptions& options, Work& work) {
  j2k::DecodeOptions decoding{.reduce = options.reduce,
                              .components = options.components,
                              .upsample = options.upsample,
                              .region = options.region,
                              .tile = options.tile};
  if (options.reduce < 0 || options.reduce > j2k::kMaxLevels)
    failOption("reduce", std::to_string(options.reduce) + " is not a number from 0 to 32");
  if (options.layers < 0 || options.layers > j2k::kMaxLayers)
    failOption("layers", std::to_string(options.layers) + " is not a number from 1 to 65535");
  if (options.layers > 0) decoding.layers = options.layers;
  return std::make_unique<Reader>(input, decoding, work);
}

// ---- Writing ----------------------------------------------------------------------------------------------------

template <bool boxes>
Holds holds(const WriteOptions&) {
  Holds held;
  if (boxes) {
    held.metadata = {.block = j2k::hasPlaceFor, .ratio = false, .restrictedProfiles = true};
  } else {
    held.metadata = HeldMetadata::none();
    held.metadata.block = j2k::hasPlaceInCodestream;
  }
  held.colours = {Colour::unknown, Colour::grey, Colour::rgb};
  // A codestream does not say either.
  if (boxes) held.colours.insert(held.colours.begin() + 1, {Colour::ycbcr, Colour::cmyk});
  held.inks = Inks::plain;
  held.otherInks = !boxes;
  held.opacity = true;
  held.premultiplied = boxes;
  held.maxPlanes = j2k::kMaxWrittenComponents;
  held.maxBits = 31;  // the writer refuses what it cannot write: scaling would lose bits of a lossless file
  held.isSigned = held.subsampled = held.mixedDepths = true;
  return held;
}

class Writer : public RowSink {
 public:
  Writer(Output& output, const j2k::EncodeOptions& options, Work& work, std::vector<std::string>& notes)
      : output_(output), options_(options), work_(work), notes_(notes), collector_(std::in_place, &work.budget) {}

  void begin(const Picture& layout) override {
    j2k::checkWritable(layout, options_);
    work_.limits.check(static_cast<std::uint64_t>(layout.width), static_cast<std::uint64_t>(layout.height));
    collector_->begin(layout);
    started_ = false;
  }
  void rows(const Picture& band) override {
    if (!std::exchange(started_, true)) chooseWay(band);
    if (encoder_) return encoder_->rows(band);
    collector_->rows(band);
    if (band.owner != nullptr && band.owner == collector_->picture().owner) shared_ = true;
  }
  bool takesWhole() const override { return true; }
  void end() override {
    if (encoder_) return encoder_->finish();
    picture_ = collector_->picture();
    collector_.reset();
    if (!j2k::isOnGrid(picture_)) useGrid();
    for (std::string& note : j2k::encode(picture_, options_, work_, output_, [this] { freeSamples(); }))
      notes_.push_back(std::move(note));
  }

 private:
  // A picture that is in memory anyway is coded from there.
  void chooseWay(const Picture& firstBand) {
    const Picture& layout = collector_->picture();
    const bool whole = firstBand.height == layout.height && firstBand.owner;
    if (whole || !j2k::isOnGrid(layout) || !j2k::RowEncoder::isBetter(layout, options_, work_.budget)) return;
    encoder_.emplace(layout, options_, work_, output_);
  }

  // Sub-sampled planes whose sizes do not follow from that of the picture (their tiles have an offset in the file that
  // they come from) get its size.
  void useGrid() {
    Holds fullSize = holds<true>({});
    fullSize.subsampled = false;
    fullSize.metadata = {.silent = true};
    Picture made = fitted(picture_, fullSize, notes_, work_.budget);
    if (!shared_) work_.budget.release(picture_.bytes());
    picture_ = std::move(made);
    shared_ = false;
  }

  void freeSamples() {
    for (Plane& plane : picture_.planes) plane.samples = nullptr;
    if (!shared_) work_.budget.release(picture_.bytes());
    picture_.owner.reset();
  }

  Output& output_;
  j2k::EncodeOptions options_;
  Work& work_;
  std::vector<std::string>& notes_;
  std::optional<PictureCollector> collector_;
  std::optional<j2k::RowEncoder> encoder_;  // instead of the collector
  bool started_ = false;
  Picture picture_;
  bool shared_ = false;  // the samples belong to the source of the rows
};

[[noreturn]] void failRange(std::string_view option, int value, int min, int max) {
  failOption(option, std::to_string(value) + " is not a whole number from " + std::to_string(min) + " to " +
                         std::to_string(max));
}

void checkBlock(int width, int height) {
  const auto allowed = [](int size) {
    return size >= kMinBlock && size <= kMaxBlock && std::has_single_bit(static_cast<unsigned>(size));
  };
  if (!allowed(width) || !allowed(height) || width * height > kMaxBlockArea)
    failOption("block", std::to_string(width) + "x" + std::to_string(height) +
                            " is not WxH with powers of two from 4 to 1024 and at most 4096 coefficients");
}

// The range includes its ends; not a number is not in it.
void checkRange(std::string_view option, double value, double min, double max, const char* range) {
  if (!(value >= min && value <= max)) failOption(option, std::string("is not a number from ") + range);
}

// Of several values the last may ask for everything.
void checkGoals(std::string_view option, const j2k::Goals& goals, double min, double max, const char* range) {
  for (std::size_t i = 0; i < goals.values.size(); ++i) {
    const bool last = i > 0 && i + 1 == goals.values.size();
    if (!last || goals.values[i] != j2k::Goals::kEverything) checkRange(option, goals.values[i], min, max, range);
    const bool rises = goals.kind != j2k::Goals::ratio;
    if (i == 0 || goals.values[i] == j2k::Goals::kEverything) continue;
    if (rises ? goals.values[i] <= goals.values[i - 1] : goals.values[i] >= goals.values[i - 1])
      failOption(option,
                 std::string("of a layer must be ") + (rises ? "more" : "less") + " than that of the one before");
  }
}

j2k::Goals goalsOf(const WriteOptions& options) {
  j2k::Goals goals;
  if (!options.ratio.empty()) {
    goals = {j2k::Goals::ratio, options.ratio};
    checkGoals("ratio", goals, 1, 1e6, "1 to 1000000");
    if (goals.values.size() > 1 && goals.values.back() == 1) goals.values.back() = j2k::Goals::kEverything;
  }
  if (!options.bpp.empty()) {
    goals = {j2k::Goals::bitsPerPixel, options.bpp};
    checkGoals("bpp", goals, 1e-6, 1e6, "0.000001 to 1000000");
  }
  if (!options.psnr.empty()) {
    goals = {j2k::Goals::psnr, options.psnr};
    checkGoals("psnr", goals, 1, 200, "1 to 200");
  }
  return goals;
}

j2k::EncodeOptions encodeOptions(const WriteOptions& options) {
  j2k::EncodeOptions coding;
  coding.goals = goalsOf(options);
  coding.lossless = options.lossless || !coding.goals.given() || coding.goals.endsLossless();
  coding.levels = options.levels.value_or(coding.levels);
  if (options.blockWidth != 0) coding.blockWidth = options.blockWidth;
  if (options.blockHeight != 0) coding.blockHeight = options.blockHeight;
  coding.tileWidth = options.tileWidth;
  coding.tileHeight = options.tileHeight;
  coding.order = options.progression.value_or(coding.order);
  if (options.layers != 0) coding.layers = options.layers;
  if (coding.goals.values.size() > 1) coding.layers = static_cast<int>(coding.goals.values.size());
  coding.modes = options.modes;
  coding.precincts = options.precincts;
  coding.sop = options.sop;
  coding.eph = options.eph;
  coding.plt = options.plt;
  coding.tlm = options.tlm;
  coding.tileParts = options.tileParts;
  coding.roi = options.roi;
  coding.visual = options.visual;
  coding.comment = options.comment;
  return coding;
}

void checkPrecincts(const j2k::EncodeOptions& options) {
  const auto allowed = [](int size) {
    return size >= kMinPrecinct && size <= kMaxPrecinct && std::has_single_bit(static_cast<unsigned>(size));
  };
  if (options.precincts.size() > static_cast<std::size_t>(options.levels) + 1)
    failOption("precincts", "are more than the resolutions, which are " + std::to_string(options.levels + 1));
  for (const j2k::PrecinctSize& size : options.precincts)
    if (!allowed(size.width) || !allowed(size.height)) failOption("precincts", "are not powers of two from 4 to 32768");
}

// Options that mean nothing together.
void checkTogether(const WriteOptions& given, const j2k::EncodeOptions& options) {
  const bool several = options.goals.values.size() > 1;
  const bool quality = options.goals.kind == j2k::Goals::psnr;
  if (given.lossless && quality) failOption("psnr", "and lossless cannot be combined");
  if (given.layers > 1 && several && given.layers != options.layers)
    failOption("layers", "and the number of values for them differ");
  if (!options.roi.empty() && quality) failOption("psnr", "and roi cannot be combined");
  if (options.visual && quality) failOption("psnr", "and visual cannot be combined");
  // Everything is taken from every block, whatever its weight.
  if (options.visual && options.lossless && options.layers == 1)
    failOption("visual", "has no effect on one layer without loss");
}

void check(const j2k::EncodeOptions& options) {
  if (options.levels < 0 || options.levels > j2k::kMaxLevels) failRange("levels", options.levels, 0, j2k::kMaxLevels);
  checkBlock(options.blockWidth, options.blockHeight);
  if (options.tileWidth < 0 || options.tileHeight < 0) failOption("tile", "has a negative size");
  if (options.layers < 1 || options.layers > kMaxWrittenLayers)
    failRange("layers", options.layers, 1, kMaxWrittenLayers);
  if (options.modes < 0 || options.modes > j2k::allModes) failRange("modes", options.modes, 0, j2k::allModes);
  if (options.order > j2k::Order::cprl) failOption("progression", "is not LRCP, RLCP, RPCL, PCRL or CPRL");
  checkPrecincts(options);
  if (options.roi.x < 0 || options.roi.y < 0 || options.roi.width < 0 || options.roi.height < 0)
    failOption("roi", "has a negative position or size");
  if (options.comment.size() > kMaxComment)
    failOption("comment", "is longer than " + std::to_string(kMaxComment) + " bytes");
}

template <bool boxes>
std::unique_ptr<RowSink> create(Output& output, const WriteOptions& options, Work& work,
                                std::vector<std::string>& notes) {
  j2k::EncodeOptions coding = encodeOptions(options);
  coding.boxes = boxes;
  check(coding);
  checkTogether(options, coding);
  return std::make_unique<Writer>(output, coding, work, notes);
}

// ---- The formats ------------------------------------------------------------------------------------------------

bool isCodestream(ByteSpan first) {
  return first.size() >= 3 && first[0] == 0xFF && first[1] == 0x4F && first[2] == 0xFF;
}

}  // namespace

extern const Format kJp2Format, kJ2kFormat;

const Format kJp2Format = {.label = "JPEG 2000",
                           .names = {"jp2"},
                           .coded = true,
                           .sniff = j2k::isBoxed,
                           .describe = describeJpeg2000,
                           .open = open,
                           .cuts = true,
                           .create = create<true>,
                           .holds = holds<true>,
                           .readOptions = kReadOptions,
                           .writeOptions = kWriteOptions};

const Format kJ2kFormat = {.label = "JPEG 2000",
                           .names = {"j2k", "j2c", "jpc"},
                           .coded = true,
                           .sniff = isCodestream,
                           .describe = describeJpeg2000,
                           .open = open,
                           .cuts = true,
                           .create = create<false>,
                           .holds = holds<false>,
                           .readOptions = kReadOptions,
                           .writeOptions = kWriteOptions};

}  // namespace moxj
