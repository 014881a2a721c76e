// The entry of PNG in the table of formats, and the description of PNG files.
#include "formats/png.h"

#include <cstring>
#include <exception>

#include "formats/plain.h"
#include "formats/png_metadata.h"
#include "formats/png_session.h"

namespace moxj {

namespace png {

namespace {

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

struct Header {
  png_uint_32 width = 0, height = 0;
  int bits = 0, colour = 0, interlace = 0;
  bool transparent = false, srgb = false;
  double gamma = 0;  // 0: not given
  std::shared_ptr<const Metadata> metadata;
  std::vector<std::string> notes;

  bool palette() const { return colour == PNG_COLOR_TYPE_PALETTE; }
  bool rgb() const { return (colour & PNG_COLOR_MASK_COLOR) != 0; }
  bool alpha() const { return (colour & PNG_COLOR_MASK_ALPHA) != 0; }
};

Header readHeader(ByteSpan file, const Limits& limits, Budget& budget) {
  Session session(Session::Direction::read);
  session.prepareChunks(limits.maxMemory);
  Cursor cursor{file.data(), file.size()};
  Header header;
  ChunkReader chunks(budget, header.notes);
  std::exception_ptr failure;
  const bool good = session.protect([&](png_structp png, png_infop info) {
    png_set_read_fn(png, &cursor, copyIn);
    png_read_info(png, info);
    png_get_IHDR(png, info, &header.width, &header.height, &header.bits, &header.colour, &header.interlace, nullptr,
                 nullptr);
    header.transparent = png_get_valid(png, info, PNG_INFO_tRNS) != 0 || header.alpha();
    header.srgb = png_get_valid(png, info, PNG_INFO_sRGB) != 0;
    if (!png_get_gAMA(png, info, &header.gamma) || header.srgb) header.gamma = 0;
    try {
      chunks.readEarly(png, info);
    } catch (...) {
      failure = std::current_exception();
    }
  });
  if (failure) std::rethrow_exception(failure);
  if (!good) fail(Kind::damaged, session.error());
  Input input = Input::memory(file);
  chunks.readLate(input);
  header.metadata = chunks.take();
  return header;
}

}  // namespace

Description describe(Input& input, Work& work) {
  const ByteSpan file = input.all(maxFileBytes(work.limits));
  const Header header = readHeader(file, work.limits, work.budget);
  std::string kind = header.palette() ? "palette" : header.rgb() ? "RGB" : "grey";
  if (header.transparent) kind += ", transparent";
  if (header.interlace != PNG_INTERLACE_NONE) kind += ", interlaced";
  if (header.srgb) kind += ", sRGB";
  if (header.gamma != 0) kind += text::format(", gamma %.5g", header.gamma);
  Description facts;
  facts.format = "PNG";
  facts.width = header.width;
  facts.height = header.height;
  facts.channels = (header.rgb() ? 3 : 1) + header.alpha();
  facts.bits = header.bits;
  facts.metadata = header.metadata;
  facts.notes = header.notes;
  return describePlain(std::move(facts), kind, file.size());
}

}  // namespace png

extern const Format kPngFormat;
constinit const Format kPngFormat = {
    .label = "PNG",
    .names = {"png"},
    .sniff = [](ByteSpan first) { return first.size() >= 3 && first[0] == 0x89 && first[1] == 'P' && first[2] == 'N'; },
    .describe = png::describe,
    .open = [](Input& input, const ReadOptions&, Work& work) { return png::reader(input, work); },
    .create = [](Output& output, const WriteOptions&, Work& work,
                 std::vector<std::string>& notes) { return png::writer(output, work, notes); },
    .holds =
        [](const WriteOptions&) {
          return Holds{.colours = {Colour::grey, Colour::rgb},
                       .opacity = true,
                       .depths = {8, 16},
                       .metadata = {.block = png::hasPlaceFor}};
        },
};

}  // namespace moxj
