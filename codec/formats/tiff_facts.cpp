// Checks and defaults: what libtiff lets through need not make sense.
#if MOXJ_LIBTIFF

#include "formats/tiff_facts.h"

#include <algorithm>

#include "base/problem.h"

namespace moxj::tiff {

namespace {

constexpr int kMaxSamples = 16, kMaxBits = 16;

struct Name {
  std::uint16_t number;
  const char* name;
};

constexpr Name kCompressions[] = {{COMPRESSION_NONE, "uncompressed"},
                                  {COMPRESSION_CCITTRLE, "CCITT run lengths"},
                                  {COMPRESSION_CCITTFAX3, "CCITT group 3"},
                                  {COMPRESSION_CCITTFAX4, "CCITT group 4"},
                                  {COMPRESSION_LZW, "LZW"},
                                  {COMPRESSION_OJPEG, "old-style JPEG"},
                                  {COMPRESSION_JPEG, "JPEG"},
                                  {COMPRESSION_ADOBE_DEFLATE, "deflate"},
                                  {COMPRESSION_PACKBITS, "PackBits"},
                                  {COMPRESSION_DEFLATE, "deflate"},
                                  {COMPRESSION_LZMA, "LZMA"},
                                  {COMPRESSION_ZSTD, "Zstandard"},
                                  {COMPRESSION_WEBP, "WebP"}};

constexpr Name kPhotometrics[] = {{PHOTOMETRIC_MINISWHITE, "grey, 0 is white"},
                                  {PHOTOMETRIC_MINISBLACK, "grey"},
                                  {PHOTOMETRIC_RGB, "RGB"},
                                  {PHOTOMETRIC_PALETTE, "palette"},
                                  {PHOTOMETRIC_MASK, "mask"},
                                  {PHOTOMETRIC_SEPARATED, "inks"},
                                  {PHOTOMETRIC_YCBCR, "YCbCr"},
                                  {PHOTOMETRIC_CIELAB, "CIE L*a*b*"},
                                  {PHOTOMETRIC_ICCLAB, "ICC L*a*b*"},
                                  {PHOTOMETRIC_ITULAB, "ITU L*a*b*"},
                                  {PHOTOMETRIC_CFA, "colour filter array"},
                                  {PHOTOMETRIC_LOGL, "CIE log L"},
                                  {PHOTOMETRIC_LOGLUV, "CIE log Luv"}};

template <std::size_t Size>
std::string nameOf(std::uint16_t number, const Name (&names)[Size], const char* otherwise) {
  const auto* const found = std::ranges::find(names, number, &Name::number);
  return found == std::end(names) ? otherwise + std::to_string(number) : found->name;
}

std::string compressionOf(const Facts& facts) { return nameOf(facts.compression, kCompressions, "compression "); }
std::string photometricOf(const Facts& facts) { return nameOf(facts.photometric, kPhotometrics, "colours of kind "); }

void findColours(Facts& facts, std::uint16_t inkSet) {
  switch (facts.photometric) {
    case PHOTOMETRIC_MINISWHITE:
    case PHOTOMETRIC_MINISBLACK:
      facts.colour = Colour::grey;
      facts.colours = 1;
      break;
    case PHOTOMETRIC_PALETTE:
      facts.colour = Colour::rgb;
      facts.colours = 1;
      break;
    case PHOTOMETRIC_RGB:
    case PHOTOMETRIC_YCBCR:
      facts.colour = Colour::rgb;
      facts.colours = 3;
      break;
    case PHOTOMETRIC_SEPARATED:
      facts.colour = inkSet == INKSET_CMYK ? Colour::cmyk : Colour::unknown;
      facts.colours = inkSet == INKSET_CMYK ? 4 : facts.samples - static_cast<int>(facts.extraSamples.size());
      break;
    default:
      break;
  }
}

void findOpacity(Facts& facts) {
  const auto& types = facts.extraSamples;
  for (std::size_t i = 0; i < types.size() && facts.opacity < 0; ++i) {
    if (types[i] != EXTRASAMPLE_ASSOCALPHA && types[i] != EXTRASAMPLE_UNASSALPHA) continue;
    const int sample = facts.samples - static_cast<int>(types.size() - i);
    if (sample < facts.colours) continue;
    facts.opacity = sample;
    facts.premultiplied = types[i] == EXTRASAMPLE_ASSOCALPHA;
  }
  // Grey with more samples that are not explained is a picture of many bands.
  if (facts.colour == Colour::grey && facts.samples - (facts.opacity >= 0) > 1) facts.colour = Colour::unknown;
}

[[noreturn]] void unsupported(const std::string& what) {
  fail(Kind::unsupported, "TIFF files of " + what + " are not supported");
}

}  // namespace

Facts factsOf(const Session& session) {
  const Library& calls = session.calls();
  Facts facts;
  facts.width = session.number<std::uint32_t>(TIFFTAG_IMAGEWIDTH);
  facts.height = session.number<std::uint32_t>(TIFFTAG_IMAGELENGTH);
  if (facts.width == 0 || facts.height == 0) fail(Kind::damaged, "the picture has no pixels");
  facts.samples = session.number<std::uint16_t>(TIFFTAG_SAMPLESPERPIXEL);
  facts.bits = session.number<std::uint16_t>(TIFFTAG_BITSPERSAMPLE);
  facts.format = session.number<std::uint16_t>(TIFFTAG_SAMPLEFORMAT);
  facts.compression = session.number<std::uint16_t>(TIFFTAG_COMPRESSION);
  facts.separate = session.number<std::uint16_t>(TIFFTAG_PLANARCONFIG) == PLANARCONFIG_SEPARATE;
  if (facts.samples == 0 || facts.bits == 0) fail(Kind::damaged, "the pixels have no samples");
  if (!calls.getField(session.file(), TIFFTAG_PHOTOMETRIC, &facts.photometric))
    facts.photometric = facts.samples < 3 ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB;
  std::uint16_t count = 0, *types = nullptr;
  if (calls.getField(session.file(), TIFFTAG_EXTRASAMPLES, &count, &types) && count <= facts.samples)
    facts.extraSamples.assign(types, types + count);
  facts.tiled = calls.isTiled(session.file()) != 0;
  facts.chunkWidth = facts.tiled ? session.number<std::uint32_t>(TIFFTAG_TILEWIDTH) : facts.width;
  facts.chunkHeight = session.number<std::uint32_t>(facts.tiled ? TIFFTAG_TILELENGTH : TIFFTAG_ROWSPERSTRIP);
  if (facts.chunkWidth == 0 || facts.chunkHeight == 0) fail(Kind::damaged, "strips or tiles have no pixels");
  if (!facts.tiled) facts.chunkHeight = std::min(facts.chunkHeight, facts.height);
  if (facts.ycbcr())
    calls.getFieldDefaulted(session.file(), TIFFTAG_YCBCRSUBSAMPLING, &facts.horizontal, &facts.vertical);
  facts.several = !calls.isLastDirectory(session.file());
  findColours(facts, session.number<std::uint16_t>(TIFFTAG_INKSET));
  findOpacity(facts);
  return facts;
}

void checkSupported(const Facts& facts, const Session& session) {
  if (facts.compression == COMPRESSION_OJPEG || (!facts.jpeg() && !session.calls().hasCodec(facts.compression)))
    unsupported(compressionOf(facts));
  if (facts.colours == 0) unsupported(photometricOf(facts));
  if (facts.format != SAMPLEFORMAT_UINT && facts.format != SAMPLEFORMAT_INT && facts.format != SAMPLEFORMAT_VOID)
    unsupported(facts.format == SAMPLEFORMAT_IEEEFP ? "floating-point samples" : "complex samples");
  if (facts.samples > kMaxSamples) unsupported(std::to_string(facts.samples) + " samples a pixel");
  if (facts.bits > kMaxBits || (facts.isSigned() && facts.bits < 2))
    unsupported(std::to_string(facts.bits) + " bits a sample");
  if (facts.samples < facts.colours) fail(Kind::damaged, "the pixels have too few samples");
  if (facts.palette() && (facts.samples != 1 || facts.isSigned())) unsupported("palettes with further samples");
  if (!facts.ycbcr() || (facts.jpeg() && !facts.separate)) return;
  const auto good = [](std::uint16_t factor) { return factor == 1 || factor == 2 || factor == 4; };
  if (facts.samples != 3 || facts.bits != 8 || facts.separate || !good(facts.horizontal) || !good(facts.vertical))
    unsupported("this kind of YCbCr");
}

std::string kindOf(const Facts& facts) {
  std::string kind =
      facts.photometric == PHOTOMETRIC_SEPARATED && facts.colour == Colour::cmyk ? "CMYK" : photometricOf(facts);
  if (facts.opacity >= 0) kind += facts.premultiplied ? ", transparent (premultiplied)" : ", transparent";
  if (facts.isSigned()) kind += ", signed";
  if (facts.format == SAMPLEFORMAT_IEEEFP) kind += ", floating-point";
  kind += ", " + compressionOf(facts) + ", ";
  if (facts.tiled)
    kind += "tiles of " + std::to_string(facts.chunkWidth) + " x " + std::to_string(facts.chunkHeight);
  else
    kind += "strips of " + std::to_string(facts.chunkHeight) + (facts.chunkHeight == 1 ? " row" : " rows");
  if (facts.separate) kind += ", planes apart";
  return kind + (facts.several ? ", the first of several pictures" : "");
}

Palette paletteOf(const Facts& facts, const Session& session) {
  std::uint16_t *red = nullptr, *green = nullptr, *blue = nullptr;
  if (!session.calls().getField(session.file(), TIFFTAG_COLORMAP, &red, &green, &blue) || !red || !green || !blue)
    fail(Kind::damaged, "the palette is missing");
  Palette palette;
  for (std::size_t i = 0; i < std::size_t{1} << facts.bits; ++i) palette.colours.push_back({red[i], green[i], blue[i]});
  const auto all = [&](auto good) {
    return std::ranges::all_of(palette.colours, [&](const auto& colour) { return std::ranges::all_of(colour, good); });
  };
  const auto each = [&](auto change) {
    for (auto& colour : palette.colours)
      for (std::uint16_t& sample : colour) sample = static_cast<std::uint16_t>(change(sample));
  };
  // Most palettes have 8 bits, repeated or followed by zeros. Some writers forget that the numbers have 16.
  if (all([](std::uint16_t sample) { return sample < 256; })) return palette;
  if (all([](std::uint16_t sample) { return sample % 257 == 0; }) ||
      all([](std::uint16_t sample) { return sample % 256 == 0; }))
    each([](std::uint16_t sample) { return sample >> 8; });
  else
    palette.bits = 16;
  return palette;
}

}  // namespace moxj::tiff

#endif
