// PAM files (P7): tuples of samples, whose type says what they are.
#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "base/problem.h"
#include "formats/netpbm.h"
#include "formats/plain.h"

namespace moxj {

namespace {

using netpbm::Header;
using netpbm::Text;

constexpr std::size_t kMaxLine = 256;  // of which more is not kept
constexpr std::uint64_t kMaxDepth = 16;

// ---- Tuple types ---------------------------------------------------------------------------------------------------

struct TupleType {
  std::string_view name;  // with the suffix _ALPHA, opacity follows
  Colour colour;
  int colours;
};

// The inks of CMYK are 0 where there is none, as other programs write them.
constexpr TupleType kTupleTypes[] = {{"BLACKANDWHITE", Colour::grey, 1},
                                     {"GRAYSCALE", Colour::grey, 1},
                                     {"RGB", Colour::rgb, 3},
                                     {"CMYK", Colour::cmyk, 4}};
constexpr std::string_view kAlpha = "_ALPHA";

// Planes of other types have no known meaning.
void applyTupleType(const std::string& name, Header& header) {
  header.colour = Colour::unknown;
  const bool opacity = name.ends_with(kAlpha);
  const std::string_view base = std::string_view(name).substr(0, name.size() - (opacity ? kAlpha.size() : 0));
  for (const TupleType& type : kTupleTypes) {
    if (type.name != base) continue;
    if (type.colours + opacity != header.channels)
      fail(Kind::damaged, "the tuple type " + name + " does not have " + std::to_string(header.channels) + " samples");
    header.colour = type.colour;
    header.opacity = opacity ? Opacity::straight : Opacity::none;
  }
}

// Empty if there is none for the layout.
std::string tupleTypeOf(const Picture& layout) {
  for (const TupleType& type : kTupleTypes) {
    const bool takesAnyMaxval = type.name != "BLACKANDWHITE" || layout.planes[0].maxval == 1;
    if (type.colour == layout.colour && type.colours == layout.colours() && takesAnyMaxval)
      return std::string(type.name).append(layout.opacity == Opacity::none ? "" : kAlpha);
  }
  return "";
}

// ---- Header --------------------------------------------------------------------------------------------------------

// A line of the header: a keyword and what follows it.
struct Line {
  std::string keyword, value;
};

Line readLine(Text& text) {
  std::string line;
  for (; !text.atEnd() && text.bytes().peek() != '\n'; text.bytes().skip())
    if (line.size() < kMaxLine) line += static_cast<char>(text.bytes().peek());
  if (text.atEnd()) fail(Kind::damaged, "the file ends in its header");
  text.bytes().skip();
  constexpr std::string_view kBlanks = " \t\r\v\f";
  const std::size_t begin = std::min(line.find_first_not_of(kBlanks), line.size());
  const std::size_t end = std::min(line.find_first_of(kBlanks, begin), line.size());
  const std::size_t value = std::min(line.find_first_not_of(kBlanks, end), line.size());
  const std::size_t last = line.find_last_not_of(kBlanks) + 1;
  return {line.substr(begin, end - begin), line.substr(value, std::max(last, value) - value)};
}

std::uint64_t numberOf(const Line& line) {
  std::uint64_t number = 0;
  for (const char c : line.value) {
    if (!netpbm::isDigit(static_cast<std::uint8_t>(c)))
      fail(Kind::damaged, "the " + line.keyword + " in the header is not a number");
    number = std::min<std::uint64_t>(number * 10 + static_cast<unsigned>(c - '0'), UINT32_MAX);
  }
  if (line.value.empty()) fail(Kind::damaged, "the " + line.keyword + " in the header is not a number");
  return number;
}

struct Entries {
  struct Number {
    std::string_view keyword;
    std::optional<std::uint64_t> value = {};
  };
  std::array<Number, 4> numbers = {{{"WIDTH"}, {"HEIGHT"}, {"DEPTH"}, {"MAXVAL"}}};
  std::string tupleType;

  bool take(const Line& line) {
    for (Number& number : numbers) {
      if (number.keyword != line.keyword) continue;
      number.value = numberOf(line);
      return true;
    }
    if (line.keyword != "TUPLTYPE") return false;
    tupleType.append(tupleType.empty() ? "" : " ").append(line.value);
    tupleType.resize(std::min(tupleType.size(), kMaxLine));
    return true;
  }
};

Entries readEntries(Text& text) {
  Entries entries;
  for (Line line = readLine(text); line.keyword != "ENDHDR"; line = readLine(text)) {
    const bool skipped = line.keyword.empty() || line.keyword[0] == '#';
    if (!skipped && !entries.take(line)) fail(Kind::damaged, "the header has an unknown line");
  }
  for (const Entries::Number& number : entries.numbers)
    if (!number.value) fail(Kind::damaged, "the header has no " + std::string(number.keyword));
  return entries;
}

Header readHeader(Text& text) {
  netpbm::readMagic(text, "7", "PAM");
  readLine(text);
  const Entries entries = readEntries(text);
  const std::uint64_t depth = *entries.numbers[2].value, maxval = *entries.numbers[3].value;
  Header header;
  header.width = *entries.numbers[0].value;
  header.height = *entries.numbers[1].value;
  if (header.width == 0 || header.height == 0 || depth == 0) fail(Kind::damaged, "the picture has no samples");
  if (maxval == 0 || maxval > 65535) fail(Kind::damaged, "the maximum value is not between 1 and 65535");
  if (depth > kMaxDepth)
    fail(Kind::unsupported, "PAM files of " + std::to_string(depth) + " samples a pixel are not supported");
  header.channels = static_cast<int>(depth);
  header.maxval = static_cast<int>(maxval);
  applyTupleType(entries.tupleType, header);
  return header;
}

std::string headerOf(const Picture& layout) {
  const std::string type = tupleTypeOf(layout);
  return "P7\nWIDTH " + std::to_string(layout.width) + "\nHEIGHT " + std::to_string(layout.height) + "\nDEPTH " +
         std::to_string(layout.planes.size()) + "\nMAXVAL " + std::to_string(layout.planes[0].maxval) + "\n" +
         (type.empty() ? "" : "TUPLTYPE " + type + "\n") + "ENDHDR\n";
}

// ---- Description ---------------------------------------------------------------------------------------------------

std::string kindOf(const Header& header) {
  std::string kind = "samples of unknown meaning";
  for (const TupleType& type : kTupleTypes)
    if (type.colour == header.colour) kind = type.colour == Colour::grey ? "grey" : type.name;
  if (header.opacity != Opacity::none) kind += ", transparent";
  return kind + ", maximum value " + std::to_string(header.maxval);
}

Description describe(Input& input, Work& work) {
  netpbm::Facts facts = netpbm::factsOf(input, readHeader, work);
  facts.description.format = "PAM";
  return describePlain(std::move(facts.description), kindOf(facts.header), facts.bytes);
}

}  // namespace

extern const Format kPamFormat;

constinit const Format kPamFormat = {
    .label = "PAM",
    .names = {"pam"},
    .sniff = [](ByteSpan first) { return netpbm::hasMagic(first, "7") && (first[2] == '\n' || first[2] == '\r'); },
    .describe = describe,
    .open = [](Input& input, const ReadOptions&, Work& work) { return netpbm::reader(input, readHeader, work); },
    .create = [](Output& output, const WriteOptions&, Work&,
                 std::vector<std::string>&) { return netpbm::writer(output, headerOf); },
    .holds =
        [](const WriteOptions&) {
          return Holds{.colours = {Colour::unknown, Colour::cmyk, Colour::grey, Colour::rgb},
                       .opacity = true,
                       .maxPlanes = static_cast<int>(kMaxDepth),
                       .maxBits = 16,
                       .anyMaxval = true,
                       .otherInks = true,
                       .metadata = HeldMetadata::none()};
        },
};

}  // namespace moxj
