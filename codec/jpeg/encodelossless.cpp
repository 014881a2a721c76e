// The lossless JPEG encoder (T.81 Annex H): one scan with all components, in two passes, statistics and data.
#include <array>
#include <limits>

#include "base/problem.h"
#include "jpeg/coefficientwriter.h"
#include "jpeg/jpeg.h"
#include "jpeg/library.h"
#include "jpeg/scanstatistics.h"
#include "jpeg/writer.h"

namespace moxj::jpeg {

namespace {

constexpr int kPredictors = 7, kMaxWord = 65535;
// The maximum size of a coded difference, and of the end of an interval with its marker.
constexpr std::size_t kMaxDifferenceBytes = 8, kMaxEndBytes = 4;

// The image as coded: components of equal size, without opacity.
Image codedComponents(const Image& image, std::vector<std::string>& notes) {
  Image coded = sameSize(image);
  auto& components = coded.components;
  if (coded.alpha) {
    notes.push_back("transparency dropped");
    components.pop_back();
  }
  if (components.size() > 4)
    fail(Kind::unsupported,
         std::to_string(components.size()) + " components: at most 4 can be written to lossless JPEG");
  return coded;
}

Frame frameFor(const Image& image, const LosslessOptions& options) {
  const int bits = image.components[0].bits;
  if (image.width > kMaxWord || image.height > kMaxWord)
    fail(Kind::limit, std::to_string(image.width) + " x " + std::to_string(image.height) +
                          " pixels: JPEG allows at most 65535 x 65535");
  if (bits < 2 || bits > 16)
    fail(Kind::unsupported,
         "samples of " + std::to_string(bits) + (bits == 1 ? " bit" : " bits") + ": lossless JPEG allows 2 to 16");
  if (options.point >= bits)
    fail(Kind::badOption, "a point transform of " + std::to_string(options.point) + " leaves nothing of " +
                              std::to_string(bits) + " bits");
  Frame frame{.process = marker::sof3,
              .precision = bits,
              .width = image.width,
              .height = image.height,
              .components = {},
              .unit = 1};
  const bool rgb = image.components.size() == 3;
  for (std::size_t i = 0; i < image.components.size(); ++i)
    frame.components.push_back({.id = rgb ? "RGB"[i] : static_cast<int>(i) + 1});
  frame.layOut();
  return frame;
}

// Computes the differences of a row of each component, for any predictor.
class Rows {
 public:
  Rows(const Image& image, const Frame& frame, int point, int restartRows)
      : image_(image), precision_(frame.precision), point_(point), restartRows_(restartRows) {
    for (auto& row : differences_) row.resize(static_cast<std::size_t>(image.width));
    current_.assign(image.components.size(), differences_[0]);
    above_ = current_;
  }

  void load(int y) {
    first_ = restartRows_ == 0 ? y == 0 : y % restartRows_ == 0;
    std::swap(current_, above_);
    for (std::size_t i = 0; i < current_.size(); ++i) {
      for (int x = 0; x < image_.width; ++x)
        current_[i][static_cast<std::size_t>(x)] = static_cast<Mox16s>(image_.components[i].at(x, y) >> point_);
    }
  }
  // The first row of an interval, where all predictors are equivalent.
  bool first() const { return first_; }

  const Mox16s* differences(std::size_t component, int predictor) {
    Mox16s* const to = differences_[component].data();
    if (first_)
      require(moxiDiffPredFirstRow_JPEG_16s_C1(current_[component].data(), to, image_.width, precision_, point_),
              "the prediction of a first row");
    else
      require(moxiDiffPredRow_JPEG_16s_C1(current_[component].data(), above_[component].data(), to, image_.width,
                                          predictor),
              "the prediction of a row");
    return to;
  }

  // Whether the row has samples for which decoders disagree on the halves in predictors 5 to 7.
  bool beyondSigned() const {
    for (const std::vector<Mox16s>& row : current_) {
      for (const Mox16s sample : row) {
        if (sample < 0) return true;
      }
    }
    return false;
  }

 private:
  const Image& image_;
  int precision_, point_, restartRows_;
  bool first_ = true;
  std::vector<std::vector<Mox16s>> current_, above_;
  std::array<std::vector<Mox16s>, 4> differences_;
};

// The number of bits that a code needs for the counted data and for its table.
std::uint64_t bitsOf(const SymbolCounts& counts, const HuffmanCode& code) {
  std::uint64_t bits = 8 * code.values.size();
  std::size_t at = 0;
  for (std::size_t length = 1; length <= code.bits.size(); ++length) {
    for (int i = 0; i < code.bits[length - 1]; ++i) {
      const int category = code.values[at++];
      bits += static_cast<std::uint64_t>(counts[category]) * (length + static_cast<std::size_t>(category % 16));
    }
  }
  return bits;
}

// Counts the categories of the differences of each component, for each allowed predictor.
class Statistics {
 public:
  Statistics(Rows& rows, int height, int width, std::size_t components, int only)
      : counts_(components), first_(only > 0 ? only : 1), last_(only > 0 ? only : kPredictors) {
    for (int y = 0; y < height; ++y) {
      rows.load(y);
      if (last_ > 4 && rows.beyondSigned()) {
        if (only > 0)
          fail(Kind::badOption,
               "predictor " + std::to_string(only) + ": decoders disagree on it for samples above 32767");
        last_ = 4;
      }
      for (std::size_t i = 0; i < components; ++i) {
        for (int predictor = first_; predictor <= last_; ++predictor) {
          const Mox16s* const differences = rows.differences(i, predictor);
          for (int x = 0; x < width; ++x)
            moxiGetHuffmanStatisticsOne_JPEG_16s_C1(differences + x, counts_[i][predictor - 1].data());
        }
      }
    }
  }

  // The predictor with the smallest file.
  int best() const {
    int best = first_;
    std::uint64_t minBits = std::numeric_limits<std::uint64_t>::max();
    for (int predictor = first_; predictor <= last_; ++predictor) {
      std::uint64_t bits = 0;
      for (const auto& component : counts_)
        bits += bitsOf(component[predictor - 1], optimalCode(component[predictor - 1]));
      if (bits >= minBits) continue;
      minBits = bits;
      best = predictor;
    }
    return best;
  }
  HuffmanCode code(std::size_t component, int predictor) const {
    return optimalCode(counts_[component][predictor - 1]);
  }

 private:
  std::vector<std::array<SymbolCounts, kPredictors>> counts_;
  int first_, last_;
};

// Codes the differences of all components, interleaved sample by sample.
class DifferenceWriter {
 public:
  DifferenceWriter(Bytes& file, const std::vector<HuffmanCode>& codes) : file_(file), state_(makeEncodeState()) {
    for (const HuffmanCode& code : codes) specs_.push_back(makeEncodeSpec(code));
  }

  void row(const std::array<const Mox16s*, 4>& differences, int width) {
    makeRoom(kMaxDifferenceBytes * specs_.size() * static_cast<std::size_t>(width));
    for (int x = 0; x < width; ++x) {
      for (std::size_t i = 0; i < specs_.size(); ++i)
        require(moxiEncodeHuffmanOne_JPEG_16s1u_C1(differences[i] + x, file_.data() + start_, room_, &position_,
                                                   specs_[i].get(), state_.get(), 0),
                "the coding of a difference");
    }
  }
  void restart() {
    end();
    file_.push_back(0xFF);
    file_.push_back(static_cast<std::uint8_t>(marker::rst0 + nextRestart_));
    nextRestart_ = (nextRestart_ + 1) % 8;
  }
  void end() {
    makeRoom(kMaxEndBytes);
    require(
        moxiEncodeHuffmanOne_JPEG_16s1u_C1(nullptr, file_.data() + start_, room_, &position_, nullptr, state_.get(), 1),
        "the end of an interval");
    file_.resize(start_ + static_cast<std::size_t>(position_));
    position_ = room_ = 0;
  }

 private:
  // While rows are written, the file is extended by `room_` bytes that are not used up yet.
  void makeRoom(std::size_t bytes) {
    const std::size_t used = room_ == 0 ? file_.size() : start_ + static_cast<std::size_t>(position_);
    file_.resize(used);
    if (file_.capacity() - used < bytes) file_.reserve(file_.capacity() + file_.capacity() / 2 + bytes);
    file_.resize(used + bytes);
    start_ = used;
    position_ = 0;
    room_ = static_cast<std::int32_t>(bytes);
  }

  Bytes& file_;
  EncodeState state_;
  std::vector<EncodeSpec> specs_;
  std::size_t start_ = 0;
  std::int32_t position_ = 0, room_ = 0;
  int nextRestart_ = 0;
};

int restartRowsFor(const Frame& frame, const LosslessOptions& options) {
  const int interval = RestartInterval{options.restart, options.restartInRows}.of(frame.width);
  if (interval % frame.width != 0)
    fail(Kind::limit, "a restart interval of " + std::to_string(interval) +
                          " samples: lossless JPEG needs whole rows, of " + std::to_string(frame.width));
  return interval / frame.width;
}

}  // namespace

Bytes encodeLossless(const Image& image, const LosslessOptions& options, std::vector<std::string>& notes,
                     const Progress& progress) {
  const Image coded = codedComponents(image, notes);
  const std::size_t components = coded.components.size();
  const Frame frame = frameFor(coded, options);
  const int restartRows = restartRowsFor(frame, options);
  Rows rows(coded, frame, options.point, restartRows);
  const Statistics statistics(rows, frame.height, frame.width, components, options.predictor);
  const int predictor = statistics.best();
  std::vector<HuffmanCode> codes;
  ScanHeader scan{
      .components = {}, .spectralStart = predictor, .spectralEnd = 0, .approxHigh = 0, .approxLow = options.point};
  for (int i = 0; i < static_cast<int>(components); ++i) {
    codes.push_back(statistics.code(static_cast<std::size_t>(i), predictor));
    scan.components.push_back({i, i, 0});
  }

  Writer writer;
  writer.marker(marker::soi);
  if (components > 1) writer.adobe();  // neither YCbCr nor YCCK
  writer.frame(frame);
  for (int i = 0; i < static_cast<int>(components); ++i) writer.code(kDc, i, codes[static_cast<std::size_t>(i)]);
  if (restartRows > 0) writer.restartInterval(restartRows * frame.width);
  writer.scan(frame, scan);
  DifferenceWriter data(writer.file(), codes);
  for (int y = 0; y < frame.height; ++y) {
    rows.load(y);
    if (y > 0 && rows.first()) data.restart();
    std::array<const Mox16s*, 4> differences{};
    for (std::size_t i = 0; i < components; ++i) differences[i] = rows.differences(i, predictor);
    data.row(differences, frame.width);
    if (y % 64 == 0) reportProgress(progress, y, frame.height);
  }
  data.end();
  writer.marker(marker::eoi);
  return std::move(writer.file());
}

}  // namespace moxj::jpeg
