// What the Netpbm formats have in common: text headers, samples as bytes, big-endian words or decimal numbers, in bands
// of rows. Only the first picture of a file is read.
#pragma once

#include <bit>
#include <cstdint>
#include <memory>
#include <string>

#include "formats/bytestream.h"
#include "formats/formats.h"

namespace moxj::netpbm {

constexpr bool isSpace(std::uint8_t byte) { return byte == ' ' || (byte >= '\t' && byte <= '\r'); }
constexpr bool isDigit(std::uint8_t byte) { return byte >= '0' && byte <= '9'; }

// Numbers separated by white space and comments.
class Text {
 public:
  explicit Text(Input& input) : bytes_(input) {}

  ByteStream& bytes() { return bytes_; }
  bool atEnd() { return bytes_.atEnd(); }

  void skipBlanks() {
    while (!atEnd() && (isSpace(bytes_.peek()) || bytes_.peek() == '#'))
      bytes_.peek() == '#' ? skipComment() : bytes_.skip();
  }
  void skipComment() {
    while (!atEnd() && bytes_.peek() != '\n' && bytes_.peek() != '\r') bytes_.skip();
  }
  // The header is separated from raw samples by one white-space character, or by a comment up to the end of its line.
  void skipToRaster() {
    if (!atEnd() && bytes_.peek() == '#') skipComment();
    if (!atEnd() && isSpace(bytes_.peek())) bytes_.skip();
  }

  // The next number; false if there is none. Saturates.
  bool number(std::uint64_t& value) {
    skipBlanks();
    if (atEnd() || !isDigit(bytes_.peek())) return false;
    for (value = 0; !atEnd() && isDigit(bytes_.peek()); bytes_.skip())
      value = value > (UINT64_MAX - 9) / 10 ? UINT64_MAX : value * 10 + (bytes_.peek() - '0');
    return true;
  }
  // The next sample of a plain bitmap; digits need no white space between them.
  bool bit(std::uint64_t& value) {
    skipBlanks();
    if (atEnd() || (bytes_.peek() != '0' && bytes_.peek() != '1')) return false;
    value = bytes_.peek() == '1';
    bytes_.skip();
    return true;
  }

 private:
  ByteStream bytes_;
};

struct Header {
  bool plain = false;   // samples are decimal numbers
  bool bitmap = false;  // samples are bits, and 1 is black
  int channels = 1;
  std::uint64_t width = 0, height = 0;
  int maxval = 1;
  Colour colour = Colour::grey;
  Opacity opacity = Opacity::none;

  int bits() const { return std::bit_width(static_cast<unsigned>(maxval)); }
};

// The header of a file, up to its samples. Throws Problem.
using ReadHeader = Header (*)(Text& text);

// The digit of the magic number, 1 to 7. Throws Problem (notThisFormat) if it is none of `digits`; `what` is for the
// message.
int readMagic(Text& text, std::string_view digits, const char* what);
// Width and height. Throws Problem.
void readSize(Text& text, Header& header);
[[noreturn]] void failHeader(Text& text);

std::unique_ptr<RowSource> reader(Input& input, ReadHeader readHeader, Work& work);

// Raw samples after a header, in bytes or, above a maximum value of 255, words. Inks are written as 0 for no ink.
std::unique_ptr<RowSink> writer(Output& output, std::string (*headerOf)(const Picture& layout));

// What the description of a file begins with, and the size of the file.
struct Facts {
  Header header;
  Description description;
  std::uint64_t bytes = 0;
};
Facts factsOf(Input& input, ReadHeader readHeader, Work& work);

// Whether a file begins with one of these magic numbers.
bool hasMagic(ByteSpan first, std::string_view digits);

}  // namespace moxj::netpbm
