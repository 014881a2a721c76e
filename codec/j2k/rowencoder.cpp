// Two ways to do without the whole picture. With several tiles, the rows of a row of tiles are collected, and its tiles
// are coded when the last of them has come. A single tile is transformed in strips, and a row of code-blocks is coded
// when the rows of its band are there. What stays is the code-blocks, or nothing if a tile can be written at once;
// their bytes move into a temporary file if memory runs out.
#include <algorithm>
#include <cstring>
#include <map>
#include <optional>

#include "j2k/encoder.h"
#include "j2k/j2k.h"
#include "j2k/samples.h"
#include "j2k/striptransform.h"
#include "j2k/writeparams.h"
#include "pictures/rows.h"

namespace moxj::j2k {

namespace {

// ---- Rows of tiles ----------------------------------------------------------------------------------------------

class TileRows {
 public:
  TileRows(const Picture& layout, Encoder& encoder, Work& work, Output* direct)
      : encoder_(encoder), work_(work), direct_(direct), buffer_(layout), filled_(layout.planes.size()) {
    const Siz& siz = encoder.siz();
    const Coord height = std::min(siz.tileHeight, siz.image.height());
    for (Plane& plane : buffer_.planes)
      plane.height = static_cast<int>(std::min(ceilDiv(height, plane.dy) + 1, Coord{plane.height}));
    if (std::ranges::all_of(buffer_.planes, [](const Plane& p) { return p.dy == 1; }))
      for (Plane& plane : buffer_.planes) plane.height = static_cast<int>(height);
    buffer_.height = buffer_.planes[0].height;
    buffer_.metadata = nullptr;
    buffer_.allocate(&work.budget);
    // A tile's planes, and its code-blocks before they are truncated.
    for (const ComponentSize& size : siz.components)
      reserve_ += 2 * TilePlane::bytes(ceilDiv(siz.tileWidth, size.dx), ceilDiv(siz.tileHeight, size.dy));
    begin(0);
  }

  TileRows(const TileRows&) = delete;
  TileRows& operator=(const TileRows&) = delete;
  ~TileRows() { work_.budget.release(buffer_.bytes()); }

  void rows(const Picture& band) {
    std::vector<Coord> used(band.planes.size());
    while (take(band, used)) {
      encode();
      if (next_ < encoder_.siz().tilesHigh()) begin(next_);
    }
  }

 private:
  // Prepares for a row of tiles.
  void begin(Coord row) {
    const Rect rect = tileRect(encoder_.siz(), row * encoder_.siz().tilesWide());
    next_ = row;
    first_.clear();
    end_.clear();
    for (const ComponentSize& size : encoder_.siz().components) {
      const Rect part = componentRect(rect, size);
      first_.push_back(part.y0);
      end_.push_back(part.y1);
    }
    std::ranges::fill(filled_, 0);
  }

  // Copies rows until the row of tiles is complete or the band is used up. Whether it is complete.
  bool take(const Picture& band, std::vector<Coord>& used) {
    if (next_ == encoder_.siz().tilesHigh()) return false;
    bool complete = true;
    const bool together = band.interleaved() && buffer_.interleaved();
    for (std::size_t c = 0; c < band.planes.size(); ++c) {
      const Coord wanted = end_[c] - first_[c] - filled_[c];
      const Coord count = std::min(wanted, band.planes[c].height - used[c]);
      for (Coord y = 0; y < count && !(together && c > 0); ++y) copyRow(band, buffer_, c, used[c] + y, filled_[c] + y);
      used[c] += count;
      filled_[c] += count;
      complete &= count == wanted;
    }
    return complete;
  }

  // One row of a plane, or of all that are interleaved.
  static void copyRow(const Picture& from, const Picture& to, std::size_t c, Coord fromRow, Coord toRow) {
    const int y = static_cast<int>(fromRow), at = static_cast<int>(toRow);
    if (from.interleaved() && to.interleaved()) {
      std::memcpy(to.row(at), from.row(y), to.rowBytes());
      return;
    }
    const Plane &source = from.planes[c], &target = to.planes[c];
    visitRow(target, at, [&]<class Type>(Type* row) {
      const Type* const samples = source.row<const Type>(y);
      for (std::ptrdiff_t x = 0; x < target.width; ++x) row[x * target.pixelStep] = samples[x * source.pixelStep];
    });
  }

  void encode() {
    for (Coord i = 0; i < encoder_.siz().tilesWide(); ++i) {
      const std::uint64_t before = work_.budget.used();
      encoder_.addTile();
      encoder_.encodeTile({buffer_, first_}, nullptr);
      if (direct_) {
        encoder_.writeTile(*direct_);
        work_.budget.restore(before);
      } else {
        encoder_.economise(reserve_);
        encoder_.store(reserve_);
      }
    }
    ++next_;
  }

  Encoder& encoder_;
  Work& work_;
  Output* direct_;  // null: tiles wait for each other
  Picture buffer_;
  std::vector<Coord> first_, end_, filled_;  // of each plane: the rows of the tiles, and how many are there
  Coord next_ = 0;                           // row of tiles
  std::uint64_t reserve_ = 0;                // for the next tile
};

// ---- A single tile ----------------------------------------------------------------------------------------------

// Collects the rows of a band until a row of code-blocks is complete.
class BandRows {
 public:
  struct Member {
    const Block* block;
    CodedBlock* coded;
  };

  BandRows(const Band& band, int blockHeight) : band_(band), blockHeight_(blockHeight) {}

  void add(const Block& block, CodedBlock& coded) { rows_[block.y - band_.planeY].push_back({&block, &coded}); }

  std::uint64_t bytes() const { return TilePlane::bytes(band_.rect.width(), height()); }
  void allocate() { plane_ = TilePlane(static_cast<int>(band_.rect.width()), static_cast<int>(height())); }

  // Whether the row completes a row of code-blocks.
  bool put(Coord row, const std::int32_t* coefficients) {
    const Coord first = rows_.begin()->first;
    std::memcpy(plane_.row(static_cast<int>(row - first)), coefficients,
                static_cast<std::size_t>(band_.rect.width()) * 4);
    return row + 1 == first + rows_.begin()->second.front().block->height;
  }

  const std::vector<Member>& members() const { return rows_.begin()->second; }
  Coefficients coefficientsOf(const Block& block) { return {plane_.row(0) + (block.x - band_.planeX), plane_.step()}; }
  void drop() { rows_.erase(rows_.begin()); }
  const Band& band() const { return band_; }

 private:
  Coord height() const { return std::min(Coord{blockHeight_}, band_.rect.height()); }

  const Band& band_;
  int blockHeight_;
  std::map<Coord, std::vector<Member>> rows_;  // by their first row in the band; those that are not coded yet
  TilePlane plane_;
};

class TileStrips {
 public:
  TileStrips(const Picture& layout, const EncodeOptions& options, Encoder& encoder, Work& work)
      : options_(options),
        encoder_(encoder),
        work_(work),
        tile_(encoder.addTile()),
        rows_(std::max(kRows / rowMultiple(layout), 1) * rowMultiple(layout)) {
    const std::uint64_t before = work.budget.used();
    for (std::size_t c = 0; c < tile_.components.size(); ++c) addComponent(c);
    charged_ = work.budget.used() - before;
  }
  TileStrips(const TileStrips&) = delete;
  TileStrips& operator=(const TileStrips&) = delete;
  ~TileStrips() { work_.budget.release(charged_); }

  void rows(const Picture& band) {
    for (int y = 0; y < band.height; y += rows_) chunk(band.band(y, std::min(rows_, band.height - y)));
  }

 private:
  static constexpr int kRows = 64;  // that are converted at a time

  void addComponent(std::size_t c) {
    TileComponent& component = tile_.components[c];
    jobs_.push_back(std::make_unique<ComponentJobs>(component, static_cast<int>(c), encoder_.siz().components[c],
                                                    tile_.style.transform, options_));
    bands_.emplace_back(component.resolutions.size() * 3);
    for (Resolution& resolution : component.resolutions)
      for (Precinct& precinct : resolution.precincts)
        for (PrecinctBand& part : precinct.bands) addBlocks(c, resolution, part);
    std::uint64_t bytes = StripTransform::bytes(component);
    for (const auto& rows : bands_[c]) bytes += rows ? rows->bytes() : 0;
    bytes += TilePlane::bytes(component.rect.width(), ceilDiv(Coord{rows_}, encoder_.siz().components[c].dy));
    work_.budget.charge(1, bytes);
    for (const auto& rows : bands_[c])
      if (rows) rows->allocate();
    transforms_.push_back(std::make_unique<StripTransform>(
        component, [this, c](const Band& band, Coord row, const std::int32_t* from) { takeRow(c, band, row, from); }));
  }

  // The blocks of a precinct, in the order in which a whole tile is coded.
  void addBlocks(std::size_t c, const Resolution& resolution, PrecinctBand& part) {
    const Band& band = resolution.bands[static_cast<std::size_t>(part.band)];
    std::unique_ptr<BandRows>& rows = bands_[c][static_cast<std::size_t>(band.index)];
    if (!rows) rows = std::make_unique<BandRows>(band, options_.blockHeight);
    work_.budget.charge(part.blocks.size(), sizeof(BandRows::Member));
    for (Block& block : part.blocks) {
      CodedBlock& coded = encoder_.addBlock();
      block.coded = &coded;
      rows->add(block, coded);
    }
  }

  void chunk(const Picture& rows) {
    std::vector<TilePlane> planes;
    for (const Plane& plane : rows.planes) planes.emplace_back(plane.width, plane.height);
    const std::vector<Window> windows(planes.size());
    loadTile(rows, tile_, windows, planes, work_.workers);
    for (std::size_t c = 0; c < planes.size(); ++c)
      for (int y = 0; y < planes[c].height(); ++y) transforms_[c]->put(planes[c].row(y));
  }

  void takeRow(std::size_t c, const Band& band, Coord row, const std::int32_t* coefficients) {
    BandRows& rows = *bands_[c][static_cast<std::size_t>(band.index)];
    if (rows.put(row, coefficients)) encode(c, rows);
  }

  void encode(std::size_t c, BandRows& rows) {
    const std::vector<BandRows::Member>& members = rows.members();
    work_.workers.forEach(members.size(), [&](int worker, std::size_t i) {
      const Block& block = *members[i].block;
      CodedBlock& coded = *members[i].coded;
      coded = encoder_.blockEncoders()[static_cast<std::size_t>(worker)]->encode(
          rows.coefficientsOf(block), block, rows.band(), tile_.components[c], jobs_[c]->of(block, rows.band()));
      coded.component = static_cast<int>(c);
    });
    for (const BandRows::Member& member : members) encoder_.charge(*member.coded);
    rows.drop();
    encoder_.economise();
    encoder_.store();
  }

  const EncodeOptions& options_;
  Encoder& encoder_;
  Work& work_;
  Tile& tile_;
  int rows_;
  std::uint64_t charged_ = 0;
  std::vector<std::unique_ptr<ComponentJobs>> jobs_;
  std::vector<std::vector<std::unique_ptr<BandRows>>> bands_;  // of each component, by Band::index
  std::vector<std::unique_ptr<StripTransform>> transforms_;
};

}  // namespace

struct RowEncoder::State {
  State(const Picture& picture, const EncodeOptions& given, Work& job, Output& to)
      : layout(picture),
        options(given),
        work(job),
        output(to),
        encoder(layout, options, job, progress),
        direct(Encoder::writesDirectly(options)) {
    if (direct) encoder.writeStart(output);
    if (encoder.siz().tiles() > 1)
      tiles.emplace(layout, encoder, work, direct ? &output : nullptr);
    else
      strips.emplace(layout, options, encoder, work);
  }

  void finish();

  const Picture layout;
  const EncodeOptions options;
  Work& work;
  Output& output;
  Progress progress;  // none before finish(): the source of the rows reports
  Encoder encoder;
  const bool direct;
  std::optional<TileRows> tiles;
  std::optional<TileStrips> strips;
};

void RowEncoder::State::finish() {
  constexpr std::uint64_t kWriting = std::uint64_t{8} << 20;  // for what chooses and writes packets
  const bool single = strips.has_value();
  tiles.reset();
  strips.reset();
  encoder.store(kWriting);
  if (single || !direct) {
    progress = work.progress;
    encoder.restartProgress();
  }
  if (direct) {
    if (single) encoder.writeTile(output);
    encoder.writeEnd(output);
    return encoder.finish();
  }
  encoder.choose();
  if (!encoder.reached())
    fail(Kind::limit, "the requested PSNR needs more memory, or a lossless file", Setting::maxMemory);
  encoder.write(output);
  encoder.finish();
}

bool RowEncoder::isBetter(const Picture& layout, const EncodeOptions& options, const Budget& budget) {
  const Siz siz = sizOf(layout, options);
  if (siz.tilesHigh() > 1 && Encoder::writesDirectly(options)) return true;
  const double share = static_cast<double>(siz.tileWidth) * static_cast<double>(siz.tileHeight) /
                       (static_cast<double>(layout.width) * layout.height);
  double planes = 0;
  for (const Plane& plane : layout.planes) planes += 4.0 * plane.width * plane.height * std::min(share, 1.0);
  const auto samples = static_cast<double>(layout.bytes());  // and as much for the code-blocks
  return 2 * samples + planes > static_cast<double>(budget.left());
}

RowEncoder::RowEncoder(const Picture& layout, const EncodeOptions& options, Work& work, Output& output) {
  adviseTiles(options, [&] { state_ = std::make_unique<State>(layout, options, work, output); });
}

RowEncoder::~RowEncoder() = default;

void RowEncoder::rows(const Picture& band) {
  adviseTiles(state_->options, [&] { state_->tiles ? state_->tiles->rows(band) : state_->strips->rows(band); });
}

void RowEncoder::finish() {
  adviseTiles(state_->options, [&] { state_->finish(); });
}

}  // namespace moxj::j2k
