// The libpng wrapper (errors by longjmp, no exceptions through C frames), and the readers and writers on top of it.
#include "pictures/png.h"

#include <png.h>

#include <algorithm>
#include <climits>
#include <csetjmp>
#include <cstring>
#include <vector>

#include "base/problem.h"

namespace moxj {

namespace {

constexpr std::size_t kTextSize = 128;

// Takes half the time of the default level, 6, for 3 % (photographs) to 15 % (text) more bytes, measured on decoded
// JPEG files.
constexpr int kCompression = 4;

// libpng reports errors by longjmp, which must not skip destructors. So it is called only inside protect(), by a
// function object that captures references and owns nothing. protect() is never inlined: everything that the work
// changes is then in memory, not in a register that longjmp restores.
class Session {
 public:
  enum class Direction { read, write };

  explicit Session(Direction direction) : direction_(direction) {
    if (direction == Direction::read)
      png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, onError, onWarning);
    else
      png_ = png_create_write_struct(PNG_LIBPNG_VER_STRING, this, onError, onWarning);
    info_ = png_ ? png_create_info_struct(png_) : nullptr;
    if (!info_) {
      destroy();
      fail(Kind::noMemory, "not enough memory for libpng");
    }
  }
  ~Session() { destroy(); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // False if libpng failed, for the reason in error().
  template <typename Work>
  [[gnu::noinline]] bool protect(const Work& work) {
    if (setjmp(jump_)) return false;
    work(png_, info_);
    return true;
  }
  const char* error() const { return error_; }
  const char* warning() const { return warning_; }  // the last one

 private:
  void destroy() {
    if (direction_ == Direction::read)
      png_destroy_read_struct(&png_, &info_, nullptr);
    else
      png_destroy_write_struct(&png_, &info_);
  }
  [[noreturn]] static void onError(png_structp png, png_const_charp text) {
    Session& session = sessionOf(png);
    keep(session.error_, text);
    std::longjmp(session.jump_, 1);
  }
  static void onWarning(png_structp png, png_const_charp text) { keep(sessionOf(png).warning_, text); }
  static Session& sessionOf(png_structp png) { return *static_cast<Session*>(png_get_error_ptr(png)); }
  static void keep(char (&place)[kTextSize], png_const_charp text) { std::strncpy(place, text, kTextSize - 1); }

  Direction direction_;
  char error_[kTextSize] = {};
  char warning_[kTextSize] = {};
  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
  std::jmp_buf jump_;
};

struct Cursor {
  const std::uint8_t* at;
  std::size_t left;
};

void copyIn(png_structp png, png_bytep to, png_size_t count) {
  Cursor& cursor = *static_cast<Cursor*>(png_get_io_ptr(png));
  if (count > cursor.left) png_error(png, "the file ends early");
  std::memcpy(to, cursor.at, count);
  cursor.at += count;
  cursor.left -= count;
}

// The output of libpng, through which no exception may pass.
struct Collector {
  Bytes& bytes;
  bool full = false;
  bool cancelled = false;

  void report(png_structp png, const Progress& progress, int row, int rows) {
    cancelled = progress && !progress(static_cast<std::uint64_t>(row), static_cast<std::uint64_t>(rows));
    if (cancelled) png_error(png, "cancelled");
  }
  // After libpng has failed.
  [[noreturn]] void failFor(const char* error) const {
    if (cancelled) failCancelled();
    fail(full ? Kind::noMemory : Kind::output, error);
  }
};

void copyOut(png_structp png, png_bytep from, png_size_t count) {
  Collector& collector = *static_cast<Collector*>(png_get_io_ptr(png));
  try {
    collector.bytes.append(from, count);
    return;
  } catch (const std::bad_alloc&) {
    collector.full = true;
  }
  png_error(png, "not enough memory");
}

struct Header {
  png_uint_32 width = 0;
  png_uint_32 height = 0;
  int bits = 0;
  int colour = 0;
  int interlace = 0;
  bool transparent = false;
};

Header readHeader(const Source& source) {
  Session session(Session::Direction::read);
  Cursor cursor{source.bytes.data(), source.bytes.size()};
  Header header;
  const bool good = session.protect([&](png_structp png, png_infop info) {
    png_set_read_fn(png, &cursor, copyIn);
    png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    png_read_info(png, info);
    png_get_IHDR(png, info, &header.width, &header.height, &header.bits, &header.colour, &header.interlace, nullptr,
                 nullptr);
    header.transparent = png_get_valid(png, info, PNG_INFO_tRNS) != 0 || (header.colour & PNG_COLOR_MASK_ALPHA) != 0;
  });
  if (!good) fail(Kind::damaged, session.error());
  return header;
}

// A picture that grows row by row. The progressive (push) reader delivers every row that the available bytes contain;
// with the pull reader, a truncated file would lose the rows in its last 8 KiB.
struct Growth {
  const Header& header;
  Decoded& decoded;
  const Progress& progress;
  int passes = 1;
  int pass = 0;
  int rows = 0;  // in this pass
  bool ended = false;
  bool cancelled = false;

  const Picture& picture() const { return decoded.picture; }
  bool interlaced() const { return header.interlace != PNG_INTERLACE_NONE; }
  bool empty() const { return rows == 0 && pass == 0; }
  bool full() const { return pass == passes - 1 && rows == picture().height; }
  std::string place() const {
    std::string text = "after " + std::to_string(rows) + " of " + std::to_string(picture().height) + " rows";
    if (passes > 1) text += " of pass " + std::to_string(pass + 1) + " of " + std::to_string(passes);
    return text;
  }
};

Growth& growthOf(png_structp png) { return *static_cast<Growth*>(png_get_progressive_ptr(png)); }

void onInfo(png_structp png, png_infop info) {
  Growth& growth = growthOf(png);
  const Header& header = growth.header;
  if (header.bits == 16) png_set_scale_16(png);
  if (header.colour == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(png);
  if (header.colour == PNG_COLOR_TYPE_GRAY && header.bits < 8) png_set_expand_gray_1_2_4_to_8(png);
  png_set_strip_alpha(png);  // also the alpha that a tRNS chunk adds to a palette
  growth.passes = png_set_interlace_handling(png);
  png_read_update_info(png, info);
  if (png_get_rowbytes(png, info) != growth.picture().rowBytes()) png_error(png, "unsupported kind of PNG");
}

void onRow(png_structp png, png_bytep row, png_uint_32 y, int pass) {
  Growth& growth = growthOf(png);
  if (y >= static_cast<png_uint_32>(growth.picture().height)) return;
  std::uint8_t* const to = growth.picture().row(static_cast<int>(y));
  if (growth.interlaced())
    png_progressive_combine_row(png, to, row);  // fills in the pixels of later passes with those of earlier ones
  else
    std::memcpy(to, row, growth.picture().rowBytes());
  growth.pass = pass;
  growth.rows = static_cast<int>(y) + 1;
  if (growth.progress && y % 64 == 0) {
    const auto height = static_cast<std::uint64_t>(growth.picture().height);
    growth.cancelled = !growth.progress(static_cast<std::uint64_t>(pass) * height + y,
                                        static_cast<std::uint64_t>(growth.passes) * height);
    if (growth.cancelled) png_error(png, "cancelled");
  }
}

void onEnd(png_structp png, png_infop) { growthOf(png).ended = true; }

// Reads grey or RGB, with opacity if the file has it.
class DeepReader {
 public:
  DeepReader(const Source& source, const Header& header, const Limits& limits)
      : header_(header), cursor_{source.bytes.data(), source.bytes.size()}, budget_(limits.maxMemory) {}

  DecodedImage read() {
    makeImage();
    const bool good = session_.protect([&](png_structp png, png_infop info) {
      png_set_read_fn(png, &cursor_, copyIn);
      png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
      png_read_info(png, info);
      if (header_.colour == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(png);
      if (header_.bits < 8) png_set_expand_gray_1_2_4_to_8(png);
      if (png_get_valid(png, info, PNG_INFO_tRNS)) png_set_tRNS_to_alpha(png);
      const int passes = png_set_interlace_handling(png);
      png_read_update_info(png, info);
      if (png_get_rowbytes(png, info) * decoded_.image.height != memory_.size())
        png_error(png, "unsupported kind of PNG");
      for (int pass = 0; pass < passes; ++pass)
        for (rows_ = 0; rows_ < decoded_.image.height; ++rows_) png_read_row(png, row(rows_), nullptr);
      png_read_end(png, nullptr);
    });
    if (!good) {
      if (rows_ == 0) fail(Kind::damaged, session_.error());
      decoded_.complete = false;
      decoded_.warning = std::string(session_.error()) + ", after " + std::to_string(rows_) + " of " +
                         std::to_string(decoded_.image.height) + " rows";
    }
    fill();
    return std::move(decoded_);
  }

 private:
  void makeImage() {
    const bool colour = (header_.colour & PNG_COLOR_MASK_COLOR) != 0;
    Image& image = decoded_.image;
    image.width = static_cast<int>(header_.width);
    image.height = static_cast<int>(header_.height);
    image.colour = colour ? Colour::rgb : Colour::grey;
    image.alpha = header_.transparent;
    image.components.assign((colour ? 3u : 1u) + image.alpha,
                            {.width = image.width, .height = image.height, .bits = header_.bits == 16 ? 16 : 8});
    image.allocate(&budget_);
    const std::size_t rowBytes =
        static_cast<std::size_t>(image.width) * image.components.size() * (header_.bits == 16 ? 2 : 1);
    budget_.charge(rowBytes, static_cast<std::uint64_t>(image.height));
    memory_.resize(rowBytes * static_cast<std::size_t>(image.height));
    std::memset(memory_.data(), 0, memory_.size());
  }
  std::uint8_t* row(int y) {
    return memory_.data() +
           memory_.size() / static_cast<std::size_t>(decoded_.image.height) * static_cast<std::size_t>(y);
  }
  void fill() {
    const std::size_t count = decoded_.image.components.size();
    for (int y = 0; y < decoded_.image.height; ++y) {
      const std::uint8_t* from = row(y);
      if (header_.bits != 16) {
        std::memcpy(decoded_.image.components[0].bytes(y), from,
                    count * static_cast<std::size_t>(decoded_.image.width));
        continue;
      }
      for (int x = 0; x < decoded_.image.width; ++x)
        for (const Component& c : decoded_.image.components) {
          c.numbers(y)[x] = from[0] << 8 | from[1];
          from += 2;
        }
    }
  }

  const Header& header_;
  Cursor cursor_;
  Budget budget_;
  Session session_{Session::Direction::read};
  DecodedImage decoded_;
  Bytes memory_;
  int rows_ = 0;
};

// A row scaled to the full range of 8 or 16 bits.
void scaledRow(const Image& image, int y, int count, int bits, std::uint8_t* to) {
  const std::uint32_t max = static_cast<std::uint32_t>(image.components[0].maxValue()), full = (1u << bits) - 1;
  for (int x = 0; x < image.width; ++x) {
    for (int channel = 0; channel < count; ++channel) {
      const auto value = static_cast<std::uint32_t>(image.components[static_cast<std::size_t>(channel)].at(x, y));
      const auto scaled = static_cast<std::uint32_t>((std::uint64_t{value} * full + max / 2) / max);
      if (bits == 16) *to++ = static_cast<std::uint8_t>(scaled >> 8);
      *to++ = static_cast<std::uint8_t>(scaled);
    }
  }
}

void clear(const Picture& picture, int firstRow) {
  for (int y = firstRow; y < picture.height; ++y) std::memset(picture.row(y), 0, picture.rowBytes());
}

}  // namespace

Decoded readPng(const Source& source, const Limits& limits, const Progress& progress) {
  const Header header = readHeader(source);
  limits.check(header.width, header.height);
  if (header.width > INT_MAX / 3) fail(Kind::limit, "the picture is too wide");

  Decoded decoded;
  const bool colour = (header.colour & PNG_COLOR_MASK_COLOR) != 0;
  if (header.bits == 16) decoded.notes.push_back("samples of 16 bits reduced to 8");
  if (header.transparent) decoded.notes.push_back("transparency dropped");
  Budget budget(limits.maxMemory);
  decoded.picture =
      Picture::make(static_cast<int>(header.width), static_cast<int>(header.height), colour ? 3 : 1, &budget);
  Growth growth{header, decoded, progress};
  if (growth.interlaced()) clear(decoded.picture, 0);

  Session session(Session::Direction::read);
  const bool good = session.protect([&](png_structp png, png_infop info) {
    png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    png_set_progressive_read_fn(png, &growth, onInfo, onRow, onEnd);
    png_process_data(png, info, source.bytes.data(), source.bytes.size());
  });
  if (growth.cancelled) failCancelled();
  if (good && growth.ended && growth.full()) return decoded;
  const std::string cause = !good ? session.error() : growth.ended ? session.warning() : "the file ends early";
  if (growth.empty()) fail(Kind::damaged, cause);
  decoded.complete = false;
  decoded.warning = cause + ", " + growth.place();
  if (!growth.interlaced()) clear(decoded.picture, growth.rows);
  return decoded;
}

Content writePng(const Picture& picture, const Progress& progress) {
  Session session(Session::Direction::write);
  Content content;
  Collector collector{content.head};
  const bool good = session.protect([&](png_structp png, png_infop info) {
    png_set_write_fn(png, &collector, copyOut, nullptr);
    png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    png_set_IHDR(png, info, static_cast<png_uint_32>(picture.width), static_cast<png_uint_32>(picture.height), 8,
                 picture.channels == 3 ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_compression_level(png, kCompression);
    png_write_info(png, info);
    for (int y = 0; y < picture.height; ++y) {
      png_write_row(png, picture.row(y));
      if (y % 64 == 0) collector.report(png, progress, y, picture.height);
    }
    png_write_end(png, info);
  });
  if (!good) collector.failFor(session.error());
  return content;
}

DecodedImage readPngImage(const Source& source, const Limits& limits, const Progress& progress) {
  const Header header = readHeader(source);
  if (header.bits != 16 && !header.transparent) {
    Decoded decoded = readPng(source, limits, progress);
    return {decoded, imageOf(decoded.picture)};
  }
  limits.check(header.width, header.height);
  if (header.width > INT_MAX / 16) fail(Kind::limit, "the picture is too wide");
  return DeepReader(source, header, limits).read();
}

Content writePngImage(const Image& given, std::vector<std::string>& notes, const Progress& progress) {
  const Image image = sameSize(given);
  const int count = std::min(static_cast<int>(image.components.size()), 4);
  if (static_cast<int>(image.components.size()) > count)
    notes.push_back("only the first 4 of " + std::to_string(image.components.size()) + " components written");
  const int bits = image.components[0].bits > 8 ? 16 : 8;
  constexpr int kinds[] = {PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_GRAY_ALPHA, PNG_COLOR_TYPE_RGB,
                           PNG_COLOR_TYPE_RGB_ALPHA};
  std::vector<std::uint8_t> row(static_cast<std::size_t>(image.width) * static_cast<std::size_t>(count) * 2);
  Session session(Session::Direction::write);
  Content content;
  Collector collector{content.head};
  const bool good = session.protect([&](png_structp png, png_infop info) {
    png_set_write_fn(png, &collector, copyOut, nullptr);
    png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    png_set_IHDR(png, info, static_cast<png_uint_32>(image.width), static_cast<png_uint_32>(image.height), bits,
                 kinds[count - 1], PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_compression_level(png, kCompression);
    png_write_info(png, info);
    for (int y = 0; y < image.height; ++y) {
      scaledRow(image, y, count, bits, row.data());
      png_write_row(png, row.data());
      if (y % 64 == 0) collector.report(png, progress, y, image.height);
    }
    png_write_end(png, info);
  });
  if (!good) collector.failFor(session.error());
  return content;
}

PictureInfo describePng(const Source& source) {
  const Header header = readHeader(source);
  PictureInfo info;
  info.format = "PNG";
  info.kind = header.colour == PNG_COLOR_TYPE_PALETTE  ? "palette"
              : (header.colour & PNG_COLOR_MASK_COLOR) ? "RGB"
                                                       : "grey";
  if (header.transparent) info.kind += ", transparent";
  if (header.interlace != PNG_INTERLACE_NONE) info.kind += ", interlaced";
  info.width = header.width;
  info.height = header.height;
  info.channels = (header.colour == PNG_COLOR_TYPE_PALETTE || (header.colour & PNG_COLOR_MASK_COLOR) ? 3 : 1) +
                  ((header.colour & PNG_COLOR_MASK_ALPHA) != 0);
  info.bits = header.bits;
  return info;
}

}  // namespace moxj
