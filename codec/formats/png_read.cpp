// The PNG reader. libpng gets the bytes as they come (its progressive reader): every row that they contain is there,
// while its other reader would lose the rows in the last 8 KiB of a truncated file.
#include <png.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <exception>
#include <memory>
#include <string_view>
#include <vector>

#include "formats/png.h"
#include "formats/png_colour.h"
#include "formats/png_metadata.h"
#include "formats/png_session.h"

namespace moxj::png {

namespace {

constexpr std::size_t kChunkBytes = std::size_t{64} << 10;
constexpr int kRowsOfReport = 64;

class Reader : public RowSource {
 public:
  Reader(Input& input, Work& work) : input_(input), work_(work) {}

  Outcome push(RowSink& sink) override {
    sink_ = &sink;
    session_.prepareChunks(work_.limits.maxMemory);
    chunks_.readLate(input_);
    const bool good = readAll();
    if (failure_) std::rethrow_exception(failure_);
    Outcome outcome;
    outcome.notes = std::move(notes_);
    if (!(good && ended_ && full())) outcome.incomplete(cause(good) + ", " + place());
    finish();
    return outcome;
  }

 private:
  // False if libpng failed.
  bool readAll() {
    Bytes chunk(kChunkBytes);
    session_.protect([&](png_structp png, png_infop) {
      png_set_progressive_read_fn(
          png, this, [](png_structp p, png_infop info) { readerOf(p).onInfo(p, info); },
          [](png_structp p, png_bytep row, png_uint_32 y, int pass) { readerOf(p).onRow(p, row, y, pass); },
          [](png_structp p, png_infop info) { readerOf(p).onEnd(p, info); });
    });
    while (!ended_) {
      std::size_t count = input_.read(chunk.data(), chunk.size());
      if (count == 0) return true;
      if (!session_.protect([&](png_structp png, png_infop info) { png_process_data(png, info, chunk.data(), count); }))
        return false;
    }
    return true;
  }

  // ---- Called by libpng: exceptions must not pass through it -------------------------------------------------------

  static Reader& readerOf(png_structp png) { return *static_cast<Reader*>(png_get_progressive_ptr(png)); }

  // An exception is kept until libpng has returned. The work owns nothing.
  template <class Work>
  void guarded(png_structp png, const Work& work) {
    try {
      work();
      return;
    } catch (...) {
      failure_ = std::current_exception();
    }
    png_error(png, "stopped");
  }

  void onInfo(png_structp png, png_infop info) {
    const png_uint_32 width = png_get_image_width(png, info), height = png_get_image_height(png, info);
    const int colour = png_get_color_type(png, info), bits = png_get_bit_depth(png, info);
    guarded(png, [&] { checkSize(width, height, (colour & PNG_COLOR_MASK_COLOR ? 4u : 2u) * (bits == 16 ? 2 : 1)); });
    guarded(png, [&] { describe(png, info); });
    if (colour == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(png);
    if (colour == PNG_COLOR_TYPE_GRAY && bits < 8) png_set_expand_gray_1_2_4_to_8(png);
    if (png_get_valid(png, info, PNG_INFO_tRNS)) png_set_tRNS_to_alpha(png);
    if (bits == 16 && std::endian::native == std::endian::little) png_set_swap(png);
    passes_ = png_set_interlace_handling(png);
    png_read_update_info(png, info);
    const int channels = png_get_channels(png, info), depth = png_get_bit_depth(png, info);
    guarded(png, [&] { prepare(channels, depth); });
    if (png_get_rowbytes(png, info) != rows_.rowBytes()) png_error(png, "unsupported kind of PNG");
  }

  void onRow(png_structp png, png_bytep row, png_uint_32 y, int pass) {
    if (y >= static_cast<png_uint_32>(layout_.height)) return;
    const int number = static_cast<int>(y);
    if (interlaced())  // fills in the pixels of later passes with those of earlier ones
      png_progressive_combine_row(png, rows_.row(number), row);
    else
      std::memcpy(rows_.row(inBand_++), row, rows_.rowBytes());
    pass_ = pass;
    rowsOfPass_ = number + 1;
    guarded(png, [&] {
      if (!interlaced() && inBand_ == rows_.height) giveBand();
      if (number % kRowsOfReport == 0) report(std::int64_t{pass} * layout_.height + number);
    });
  }

  void onEnd(png_structp png, png_infop info) {
    ended_ = true;
    guarded(png, [&] { chunks_.noteLate(png, info); });
  }

  // ---- Not called by libpng ----------------------------------------------------------------------------------------

  // Before libpng allocates its rows: two of them, and one for the transformations.
  void checkSize(png_uint_32 width, png_uint_32 height, std::uint64_t bytesPerPixel) {
    work_.limits.check(width, height);
    if (width > INT_MAX / 8) fail(Kind::limit, "the picture is too wide");
    work_.budget.charge(3, bytesPerPixel * width);
    layout_.width = static_cast<int>(width);
    layout_.height = static_cast<int>(height);
  }

  void describe(png_structp png, png_infop info) {
    chunks_.readEarly(png, info);
    metadata_ = chunks_.take();
    const bool profiled = metadata_ && metadata_->find(MetadataKind::icc);
    if (std::string_view(session_.warning()).starts_with("iCCP") && !profiled)
      notes_.push_back("ICC profile dropped: it is damaged");
    space_ = colourSpaceOf(png, info);
  }

  void prepare(int channels, int bits) {
    layout_ = Picture::layout(layout_.width, layout_.height, channels, bits, channels < 3 ? Colour::grey : Colour::rgb);
    layout_.metadata = metadata_;
    layout_.space = space_;
    if (channels % 2 == 0) layout_.opacity = Opacity::straight;
    rows_ = layout_;
    if (!interlaced()) rows_ = layout_.band(0, rowsOfBand(layout_));
    rows_.allocate(&work_.budget);
    if (interlaced()) rows_.clear();
  }

  void giveBand() {
    if (inBand_ == 0) return;
    begin();
    sink_->rows(rows_.band(0, inBand_));
    given_ += inBand_;
    inBand_ = 0;
  }

  // With the first rows: a file without any leaves no trace in the output.
  void begin() {
    if (!begun_) sink_->begin(layout_);
    begun_ = true;
  }

  void report(std::int64_t row) const { reportProgress(work_.progress, row, std::int64_t{passes_} * layout_.height); }

  // The rows that are missing are black.
  void finish() {
    if (interlaced()) {
      begin();
      pushBands(rows_, *sink_, work_.progress);
    } else {
      giveBand();
      if (given_ < layout_.height) rows_.clear();
      while (given_ < layout_.height) {
        inBand_ = std::min(rows_.height, layout_.height - given_);
        report(given_);
        giveBand();
      }
    }
    sink_->end();
  }

  bool interlaced() const { return passes_ > 1; }
  bool full() const { return pass_ == passes_ - 1 && rowsOfPass_ == layout_.height; }

  // Throws Problem if there are no rows.
  std::string cause(bool good) const {
    std::string text = !good ? session_.error() : ended_ ? session_.warning() : "the file ends early";
    if (text.empty()) text = "the picture's data ends early";  // a compressed stream with too few rows
    if (rowsOfPass_ == 0 && pass_ == 0) fail(Kind::damaged, text);
    return text;
  }
  std::string place() const {
    std::string text = "after " + std::to_string(rowsOfPass_) + " of " + std::to_string(layout_.height) + " rows";
    if (interlaced()) text += " of pass " + std::to_string(pass_ + 1) + " of " + std::to_string(passes_);
    return text;
  }

  Input& input_;
  Work& work_;
  Session session_{Session::Direction::read};
  RowSink* sink_ = nullptr;
  std::exception_ptr failure_;
  std::shared_ptr<const ColourSpace> space_;
  std::vector<std::string> notes_;
  ChunkReader chunks_{work_.budget, notes_};
  std::shared_ptr<const Metadata> metadata_;
  Picture layout_;
  Picture rows_;  // a band, or the whole picture if it is interlaced
  bool begun_ = false, ended_ = false;
  int passes_ = 1, pass_ = 0, rowsOfPass_ = 0;
  int inBand_ = 0, given_ = 0;  // rows
};

}  // namespace

std::unique_ptr<RowSource> reader(Input& input, Work& work) { return std::make_unique<Reader>(input, work); }

}  // namespace moxj::png
