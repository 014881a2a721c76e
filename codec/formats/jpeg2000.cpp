// JPEG 2000 as a format: its reader decodes the whole picture before it gives any rows, its writer collects all rows
// before it codes them.
#include <bit>
#include <optional>

#include "formats/formats.h"
#include "j2k/boxes.h"
#include "j2k/j2k.h"
#include "j2k/metadata.h"

namespace moxj {

Description describeJpeg2000(Input& input, Work& work);  // jpeg2000_describe.cpp

namespace {

constexpr int kMaxWrittenLayers = 100;
constexpr int kMinBlock = 4, kMaxBlock = 1024, kMaxBlockArea = 4096;

constexpr std::string_view kReadOptions[] = {"reduce", "layers", "components", "upsample"};
constexpr std::string_view kWriteOptions[] = {"lossless", "ratio",       "bpp",    "levels", "block",
                                              "tile",     "progression", "layers", "modes"};

// ---- Reading ----------------------------------------------------------------------------------------------------

class Reader : public RowSource {
 public:
  Reader(Input& input, const j2k::DecodeOptions& options, Work& work) : input_(input), options_(options), work_(work) {}

  Outcome push(RowSink& sink) override {
    j2k::Decoded decoded = j2k::decode(input_.all(maxFileBytes(work_.limits)), options_, work_);
    if (options_.upsample) upsample(decoded.picture);
    pushPicture(decoded.picture, sink, work_.progress);
    return std::move(static_cast<Outcome&>(decoded));
  }

 private:
  // Every component gets the size of the picture.
  void upsample(Picture& picture) {
    const Holds fullSize = {
        .opacity = true, .anyMaxval = true, .isSigned = true, .mixedDepths = true, .metadata = {.silent = true}};
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
  j2k::DecodeOptions decoding{.reduce = options.reduce, .components = options.components, .upsample = options.upsample};
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
  if (boxes)
    held.metadata = {.block = j2k::hasPlaceFor, .ratio = false, .restrictedProfiles = true};
  else
    held.metadata = HeldMetadata::none();
  held.colours = {Colour::unknown, Colour::grey, Colour::rgb};
  if (boxes) held.colours.insert(held.colours.begin() + 1, Colour::cmyk);  // a codestream does not say that
  held.inks = Inks::plain;
  held.opacity = true;
  held.maxPlanes = j2k::kMaxWrittenComponents;
  held.maxBits = j2k::kMaxWrittenBits;
  held.isSigned = held.subsampled = held.mixedDepths = true;
  return held;
}

class Writer : public RowSink {
 public:
  Writer(Output& output, const j2k::EncodeOptions& options, Work& work, std::vector<std::string>& notes)
      : output_(output), options_(options), work_(work), notes_(notes), collector_(std::in_place, &work.budget) {}

  void begin(const Picture& layout) override { collector_->begin(layout); }
  void rows(const Picture& band) override {
    collector_->rows(band);
    if (band.owner != nullptr && band.owner == collector_->picture().owner) shared_ = true;
  }
  bool takesWhole() const override { return true; }
  void end() override {
    picture_ = collector_->picture();
    collector_.reset();
    if (!j2k::isOnGrid(picture_)) useGrid();
    for (std::string& note : j2k::encode(picture_, options_, work_, output_, [this] { freeSamples(); }))
      notes_.push_back(std::move(note));
  }

 private:
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

j2k::EncodeOptions encodeOptions(const WriteOptions& options) {
  j2k::EncodeOptions coding;
  if (options.ratio != 0) coding.ratio = options.ratio;
  if (options.bpp != 0) coding.bitsPerPixel = options.bpp;
  coding.lossless = options.lossless || (!coding.ratio && !coding.bitsPerPixel);
  coding.levels = options.levels.value_or(coding.levels);
  if (options.blockWidth != 0) coding.blockWidth = options.blockWidth;
  if (options.blockHeight != 0) coding.blockHeight = options.blockHeight;
  coding.tileWidth = options.tileWidth;
  coding.tileHeight = options.tileHeight;
  coding.order = options.progression.value_or(coding.order);
  if (options.layers != 0) coding.layers = options.layers;
  coding.modes = options.modes;
  return coding;
}

void check(const j2k::EncodeOptions& options) {
  if (options.ratio) checkRange("ratio", *options.ratio, 1, 1e6, "1 to 1000000");
  if (options.bitsPerPixel) checkRange("bpp", *options.bitsPerPixel, 1e-6, 1e6, "0.000001 to 1000000");
  if (options.levels < 0 || options.levels > j2k::kMaxLevels) failRange("levels", options.levels, 0, j2k::kMaxLevels);
  checkBlock(options.blockWidth, options.blockHeight);
  if (options.tileWidth < 0 || options.tileHeight < 0) failOption("tile", "has a negative size");
  if (options.layers < 1 || options.layers > kMaxWrittenLayers)
    failRange("layers", options.layers, 1, kMaxWrittenLayers);
  if (options.modes < 0 || options.modes > j2k::allModes) failRange("modes", options.modes, 0, j2k::allModes);
  if (options.order > j2k::Order::cprl) failOption("progression", "is not LRCP, RLCP, RPCL, PCRL or CPRL");
}

template <bool boxes>
std::unique_ptr<RowSink> create(Output& output, const WriteOptions& options, Work& work,
                                std::vector<std::string>& notes) {
  j2k::EncodeOptions coding = encodeOptions(options);
  coding.boxes = boxes;
  check(coding);
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
                           .create = create<false>,
                           .holds = holds<false>,
                           .readOptions = kReadOptions,
                           .writeOptions = kWriteOptions};

}  // namespace moxj
