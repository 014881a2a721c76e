// The lossless JPEG encoder (T.81 Annex H): one scan with all components, in two passes, statistics and data.
#include <algorithm>
#include <array>
#include <limits>

#include "base/problem.h"
#include "jpeg/coefficientwriter.h"
#include "jpeg/jpeg.h"
#include "jpeg/library.h"
#include "jpeg/metadata.h"
#include "jpeg/scanstatistics.h"
#include "jpeg/writer.h"

namespace moxj::jpeg {

namespace {

constexpr int kPredictors = 7, kMaxComponents = 4, kMaxWord = 65535;
// The maximum size of a coded difference, and of the end of an interval with its marker.
constexpr std::size_t kMaxDifferenceBytes = 8, kMaxEndBytes = 4;

void requireEncodable(const Picture& layout) {
  const int bits = layout.planes[0].bits;
  if (layout.planes.size() > kMaxComponents)
    fail(Kind::unsupported,
         std::to_string(layout.planes.size()) + " components: at most 4 can be written to lossless JPEG");
  if (layout.width > kMaxWord || layout.height > kMaxWord)
    fail(Kind::limit, std::to_string(layout.width) + " x " + std::to_string(layout.height) +
                          " pixels: JPEG allows at most 65535 x 65535");
  if (bits < 2 || bits > 16)
    fail(Kind::unsupported,
         "samples of " + std::to_string(bits) + (bits == 1 ? " bit" : " bits") + ": lossless JPEG allows 2 to 16");
  const bool unsignedOnly = std::ranges::none_of(layout.planes, [](const Plane& plane) { return plane.isSigned; });
  if (!layout.uniform() || !unsignedOnly || layout.opacity != Opacity::none)
    fail(Kind::unsupported, "lossless JPEG takes unsigned samples of equal size and depth, without opacity");
}

Frame frameFor(const Picture& layout, const LosslessOptions& options) {
  requireEncodable(layout);
  const int bits = layout.planes[0].bits;
  if (options.point >= bits)
    fail(Kind::badOption, "a point transform of " + std::to_string(options.point) + " leaves nothing of " +
                              std::to_string(bits) + " bits");
  Frame frame{.process = marker::sof3,
              .precision = bits,
              .width = layout.width,
              .height = layout.height,
              .components = {},
              .unit = 1};
  const bool rgb = layout.planes.size() == 3;
  for (std::size_t i = 0; i < layout.planes.size(); ++i)
    frame.components.push_back({.id = rgb ? "RGB"[i] : static_cast<int>(i) + 1});
  frame.layOut();
  return frame;
}

// Computes the differences of a row of each component, for any predictor.
class Rows {
 public:
  Rows(const Picture& picture, const Frame& frame, int point, int restartRows, Budget& budget)
      : picture_(picture), precision_(frame.precision), point_(point), restartRows_(restartRows) {
    const std::size_t width = static_cast<std::size_t>(picture.width), planes = picture.planes.size();
    budget.charge(width * (differences_.size() + 2 * planes), sizeof(Mox16s));
    for (auto& row : differences_) row.resize(width);
    current_.assign(planes, differences_[0]);
    above_ = current_;
  }

  void load(int y) {
    first_ = restartRows_ == 0 ? y == 0 : y % restartRows_ == 0;
    std::swap(current_, above_);
    for (std::size_t i = 0; i < current_.size(); ++i) {
      const Plane& plane = picture_.planes[i];
      visitRow(plane, y, [&](const auto* row) {
        for (int x = 0; x < plane.width; ++x)
          current_[i][static_cast<std::size_t>(x)] =
              static_cast<Mox16s>(row[std::ptrdiff_t{x} * plane.pixelStep] >> point_);
      });
    }
  }
  // The first row of an interval, where all predictors are equivalent.
  bool first() const { return first_; }

  const Mox16s* differences(std::size_t component, int predictor) {
    Mox16s* const to = differences_[component].data();
    if (first_)
      require(moxiDiffPredFirstRow_JPEG_16s_C1(current_[component].data(), to, picture_.width, precision_, point_),
              "the prediction of a first row");
    else
      require(moxiDiffPredRow_JPEG_16s_C1(current_[component].data(), above_[component].data(), to, picture_.width,
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
  const Picture& picture_;
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

// Reports the progress of both passes.
class Passes {
 public:
  Passes(const Progress& progress, int height) : progress_(progress), total_(2 * static_cast<std::uint64_t>(height)) {}
  void beginRow() {
    if (done_++ % 64 == 0) reportProgress(progress_, done_ - 1, total_);
  }
  void end() const { reportProgress(progress_, done_, total_); }

 private:
  const Progress& progress_;
  const std::uint64_t total_;
  std::uint64_t done_ = 0;
};

// Counts the categories of the differences of each component, for each allowed predictor.
class Statistics {
 public:
  Statistics(Rows& rows, int height, int width, std::size_t components, int only, Passes& passes)
      : counts_(components), first_(only > 0 ? only : 1), last_(only > 0 ? only : kPredictors) {
    for (int y = 0; y < height; ++y) {
      passes.beginRow();
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
  DifferenceWriter(Writer& writer, const std::vector<HuffmanCode>& codes, int width, Budget& budget)
      : writer_(writer),
        file_(writer.pending()),
        rowBytes_(kMaxDifferenceBytes * codes.size() * static_cast<std::size_t>(width)),
        state_(makeEncodeState()) {
    for (const HuffmanCode& code : codes) specs_.push_back(makeEncodeSpec(code));
    budget.charge(2, rowBytes_);  // the writer's capacity
  }

  void row(const std::array<const Mox16s*, 4>& differences, int width) {
    beginPiece(rowBytes_);
    for (int x = 0; x < width; ++x) {
      for (std::size_t i = 0; i < specs_.size(); ++i)
        require(moxiEncodeHuffmanOne_JPEG_16s1u_C1(differences[i] + x, file_.data() + start_, room_, &position_,
                                                   specs_[i].get(), state_.get(), 0),
                "the coding of a difference");
    }
    endPiece();
  }
  void restart() {
    end();
    writer_.marker(marker::rst0 + nextRestart_);
    nextRestart_ = (nextRestart_ + 1) % 8;
  }
  void end() {
    beginPiece(kMaxEndBytes);
    require(
        moxiEncodeHuffmanOne_JPEG_16s1u_C1(nullptr, file_.data() + start_, room_, &position_, nullptr, state_.get(), 1),
        "the end of an interval");
    endPiece();
  }

 private:
  // Extends the file by the maximum size of what will be written.
  void beginPiece(std::size_t bytes) {
    writer_.makeRoom(bytes);
    start_ = file_.size();
    file_.resize(start_ + bytes);
    position_ = 0;
    room_ = static_cast<std::int32_t>(bytes);
  }
  void endPiece() { file_.resize(start_ + static_cast<std::size_t>(position_)); }

  Writer& writer_;
  Bytes& file_;  // what is pending there
  const std::size_t rowBytes_;
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

class LosslessEncoder final : public RowSink {
 public:
  LosslessEncoder(Output& output, const LosslessOptions& options, Work& work)
      : options_(options), work_(work), collector_(&work.budget), writer_(output) {}

  void begin(const Picture& layout) override {
    frame_ = frameFor(layout, options_);
    restartRows_ = restartRowsFor(frame_, options_);
    collector_.begin(layout);
  }
  void rows(const Picture& band) override { collector_.rows(band); }
  void end() override;
  bool takesWhole() const override { return true; }

 private:
  void writeHeader(int predictor, const std::vector<HuffmanCode>& codes);

  const LosslessOptions options_;
  Work& work_;
  PictureCollector collector_;
  Writer writer_;
  Frame frame_;
  int restartRows_ = 0;
};

void LosslessEncoder::end() {
  collector_.end();
  const std::size_t components = frame_.components.size();
  Rows rows(collector_.picture(), frame_, options_.point, restartRows_, work_.budget);
  Passes passes(work_.progress, frame_.height);
  const Statistics statistics(rows, frame_.height, frame_.width, components, options_.predictor, passes);
  const int predictor = statistics.best();
  std::vector<HuffmanCode> codes;
  for (std::size_t i = 0; i < components; ++i) codes.push_back(statistics.code(i, predictor));

  writeHeader(predictor, codes);
  DifferenceWriter data(writer_, codes, frame_.width, work_.budget);
  for (int y = 0; y < frame_.height; ++y) {
    passes.beginRow();
    rows.load(y);
    if (y > 0 && rows.first()) data.restart();
    std::array<const Mox16s*, 4> differences{};
    for (std::size_t i = 0; i < components; ++i) differences[i] = rows.differences(i, predictor);
    data.row(differences, frame_.width);
  }
  data.end();
  passes.end();
  writer_.marker(marker::eoi);
  writer_.flush();
}

void LosslessEncoder::writeHeader(int predictor, const std::vector<HuffmanCode>& codes) {
  ScanHeader scan{
      .components = {}, .spectralStart = predictor, .spectralEnd = 0, .approxHigh = 0, .approxLow = options_.point};
  writer_.marker(marker::soi);
  writeMetadata(writer_, collector_.picture().metadata.get());
  if (codes.size() > 1) writer_.adobe();  // neither YCbCr nor YCCK
  writer_.frame(frame_);
  for (int i = 0; i < static_cast<int>(codes.size()); ++i) {
    scan.components.push_back({i, i, 0});
    writer_.code(kDc, i, codes[static_cast<std::size_t>(i)]);
  }
  if (restartRows_ > 0) writer_.restartInterval(restartRows_ * frame_.width);
  writer_.scan(frame_, scan);
}

}  // namespace

std::unique_ptr<RowSink> losslessEncoder(Output& output, const LosslessOptions& options, Work& work) {
  return std::make_unique<LosslessEncoder>(output, options, work);
}

}  // namespace moxj::jpeg
