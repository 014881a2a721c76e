// PPM and PGM, plain (P2, P3) and raw (P5, P6).
#include <string>

#include "base/problem.h"
#include "formats/netpbm.h"
#include "formats/plain.h"

namespace moxj {

namespace {

using netpbm::Header;
using netpbm::Text;

constexpr std::string_view kDigits = "2356";

Header readHeader(Text& text) {
  const int type = netpbm::readMagic(text, kDigits, "PPM or PGM");
  Header header;
  header.plain = type < 4;
  header.channels = type % 3 == 0 ? 3 : 1;
  header.colour = header.channels == 3 ? Colour::rgb : Colour::grey;
  std::uint64_t maxval = 0;
  netpbm::readSize(text, header);
  if (!text.number(maxval)) netpbm::failHeader(text);
  if (header.width == 0 || header.height == 0) fail(Kind::damaged, "the picture has no pixels");
  if (maxval == 0 || maxval > 65535) fail(Kind::damaged, "the maximum value is not between 1 and 65535");
  header.maxval = static_cast<int>(maxval);
  if (!header.plain) text.skipToRaster();
  return header;
}

Description describe(Input& input, Work& work) {
  netpbm::Facts facts = netpbm::factsOf(input, readHeader, work);
  const bool colour = facts.header.colour == Colour::rgb;
  facts.description.format = colour ? "PPM" : "PGM";
  const std::string kind = std::string(colour ? "RGB" : "grey") + (facts.header.plain ? ", plain" : ", raw") +
                           ", maximum value " + std::to_string(facts.header.maxval);
  return describePlain(std::move(facts.description), kind, facts.bytes);
}

std::string headerOf(const Picture& layout) {
  return std::string(layout.planes.size() == 3 ? "P6\n" : "P5\n") + std::to_string(layout.width) + " " +
         std::to_string(layout.height) + "\n" + std::to_string(layout.planes[0].maxval) + "\n";
}

std::unique_ptr<RowSource> open(Input& input, const ReadOptions&, Work& work) {
  return netpbm::reader(input, readHeader, work);
}

std::unique_ptr<RowSink> create(Output& output, const WriteOptions&, Work&, std::vector<std::string>&) {
  return netpbm::writer(output, headerOf);
}

template <Colour... colours>
Holds holds(const WriteOptions&) {
  return {.colours = {colours...}, .maxBits = 16, .anyMaxval = true, .metadata = HeldMetadata::none()};
}

}  // namespace

extern const Format kPpmFormat, kPgmFormat, kPnmFormat;

constinit const Format kPpmFormat = {.label = "PPM",
                                     .names = {"ppm"},
                                     .describe = describe,
                                     .open = open,
                                     .create = create,
                                     .holds = holds<Colour::rgb>};

constinit const Format kPgmFormat = {.label = "PGM",
                                     .names = {"pgm"},
                                     .describe = describe,
                                     .open = open,
                                     .create = create,
                                     .holds = holds<Colour::grey>};

// PPM for colour, PGM for grey. It recognises both.
constinit const Format kPnmFormat = {.label = "PPM/PGM",
                                     .names = {"pnm"},
                                     .sniff = [](ByteSpan first) { return netpbm::hasMagic(first, kDigits); },
                                     .describe = describe,
                                     .open = open,
                                     .create = create,
                                     .holds = holds<Colour::grey, Colour::rgb>};

}  // namespace moxj
