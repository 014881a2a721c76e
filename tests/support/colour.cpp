// Compiled with optimisation: the tests' time passes here.
#include "support/colour.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <stdexcept>

namespace test {
namespace {

// ---- The arithmetic ----

int clamped(int value) { return value < 0 ? 0 : value > 255 ? 255 : value; }

// The tail in its table form: eight tables of 256 words.
struct TailTables {
  int yOfRed[256], yOfGreen[256], yOfBlue[256], cbOfRed[256], cbOfGreen[256], half[256], crOfGreen[256], crOfBlue[256];

  TailTables() {
    for (int i = 0; i < 256; i++) {
      yOfRed[i] = 19595 * i, yOfGreen[i] = 38470 * i, yOfBlue[i] = 7471 * i + 32768;
      cbOfRed[i] = -11059 * i, cbOfGreen[i] = -21709 * i;
      half[i] = 32768 * i + 8421375;  // of blue in Cb and of red in Cr
      crOfGreen[i] = -27439 * i, crOfBlue[i] = -5329 * i;
    }
  }
  Triple ycc(int r, int g, int b) const {
    return {(yOfRed[r] + yOfGreen[g] + yOfBlue[b]) >> 16, (cbOfRed[r] + cbOfGreen[g] + half[b]) >> 16,
            (half[r] + crOfGreen[g] + crOfBlue[b]) >> 16};
  }
};
const TailTables kTailTables;

// The tail of the inverse conversion: two tables of shifted terms, and two of terms that are added before the shift.
struct InverseTailTables {
  int red[256], blue[256], greenOfCb[256], greenOfCr[256];

  InverseTailTables() {
    for (int i = 0; i < 256; i++) {
      red[i] = (91881 * (i - 128) + 32768) >> 16;
      blue[i] = (116130 * (i - 128) + 32768) >> 16;
      greenOfCb[i] = -22554 * (i - 128) + 32768;
      greenOfCr[i] = -46802 * (i - 128);
    }
  }
  Triple rgb(int y, int cb, int cr) const {
    return {clamped(y + red[cr]), clamped(y + ((greenOfCb[cb] + greenOfCr[cr]) >> 16)), clamped(y + blue[cb])};
  }
};
const InverseTailTables kInverseTailTables;

Triple chromaOfGroups(int y, int r, int g, int b) {
  return {y, clamped((-5529 * r - 10855 * g + 16384 * b + 4210688) >> 15),
          clamped((16384 * r - 13720 * g - 2664 * b + 4210704) >> 15)};
}
Triple complemented(Triple t) { return {255 - t[0], 255 - t[1], 255 - t[2]}; }

// The results of a function for three channels, in the columns of a group and in those of the tail.
struct FromPixels {
  static Triple group(Triple t) {
    return chromaOfGroups(clamped((9798 * t[0] + 19235 * t[1] + 3736 * t[2] + 16266) >> 15), t[0], t[1], t[2]);
  }
  static Triple tail(Triple t) { return kTailTables.ycc(t[0], t[1], t[2]); }
};
struct FromPlanes : FromPixels {
  static Triple group(Triple t) {
    return chromaOfGroups((19595 * t[0] + 38470 * t[1] + 7471 * t[2] + 32768) >> 16, t[0], t[1], t[2]);
  }
};
struct FromCmyk {
  static Triple group(Triple t) { return FromPlanes::group(complemented(t)); }
  static Triple tail(Triple t) { return FromPlanes::tail(complemented(t)); }
};
template <int GreenBits>
struct FromWords {
  static Triple group(Triple fields) {
    const int r = Layout::widened(5, fields[0]), g = Layout::widened(GreenBits, fields[1]);
    const int b = Layout::widened(5, fields[2]);
    return {clamped((4899 * r + 9617 * g + 1868 * b + 8192) >> 14),
            clamped((-2764 * r - 5428 * g + 8192 * b + 2105344) >> 14),
            clamped((8192 * r - 6860 * g - 1332 * b + 2105344) >> 14)};
  }
  static Triple tail(Triple fields) { return group(fields); }
};
struct ToRgb {
  static int16_t narrow(int term) { return static_cast<int16_t>(term); }
  static Triple group(Triple t) {
    const int16_t red = narrow((22970 * t[2] - 2932015) >> 14), blue = narrow((29032 * t[1] - 3708561) >> 14);
    const int16_t green = narrow((5638 * t[1] + 11700 * t[2] - 2211182) >> 14);
    return {clamped(narrow(t[0] + red)), clamped(narrow(t[0] - green)), clamped(narrow(t[0] + blue))};
  }
  static Triple tail(Triple t) { return kInverseTailTables.rgb(t[0], t[1], t[2]); }
};
struct ToCmyk {
  static Triple group(Triple t) { return complemented(ToRgb::group(t)); }
  static Triple tail(Triple t) { return complemented(ToRgb::tail(t)); }
};

template <class Arithmetic>
constexpr Rule ruleOf() {
  return {Arithmetic::group, Arithmetic::tail};
}

}  // namespace

const Rule kFromPixels = ruleOf<FromPixels>(), kFromPlanes = ruleOf<FromPlanes>(), kFromCmyk = ruleOf<FromCmyk>();
const Rule kFromWords555 = ruleOf<FromWords<5>>(), kFromWords565 = ruleOf<FromWords<6>>();
const Rule kToRgb = ruleOf<ToRgb>(), kToCmyk = ruleOf<ToCmyk>();

// ---- Images ----

int Layout::stored(int c, int value) const {
  static const auto nearest = [] {
    std::array<std::array<int, 256>, 2> fields{};
    for (int more = 0; more < 2; more++)
      for (int v = 0; v < 256; v++)
        for (int field = 1, &best = fields[more][v]; field < 1 << (5 + more); field++)
          if (std::abs(widened(5 + more, field) - v) <= std::abs(widened(5 + more, best) - v)) best = field;
    return fields;
  }();
  return kind == Kind::words ? nearest[bits(c) - 5][value] : value;
}

Image::Image(const Layout& layout, MoxRoiSize roi, Random& random, int gap, bool atEnd)
    : layout_(layout), roi_(roi), step_(roi.width * layout.pixelBytes() + gap) {
  const size_t bytes = static_cast<size_t>(step_) * (roi.height - 1) + (step_ - gap);
  for (int i = 0; i < layout.planes(); i++) {
    memory_[i] = std::make_unique<GuardedMemory>(bytes);
    const std::span<uint8_t> all = memory_[i]->bytes();  // whole pages
    for (size_t at = 0; at < all.size(); at += 8) {
      const uint64_t noise = random.bits();
      std::memcpy(&all[at], &noise, 8);
    }
    first_[i] = atEnd ? memory_[i]->atEnd<uint8_t>(bytes) : memory_[i]->atStart<uint8_t>();
    before_[i].assign(all.begin(), all.end());
  }
}

bool Image::gapsUntouched() const {
  for (int i = 0; i < layout_.planes(); i++) {
    std::vector<uint8_t> now(memory_[i]->bytes().begin(), memory_[i]->bytes().end());
    const ptrdiff_t start = first_[i] - memory_[i]->bytes().data();
    const size_t row = static_cast<size_t>(roi_.width) * layout_.pixelBytes();
    for (int y = 0; y < roi_.height; y++) {
      const ptrdiff_t at = start + static_cast<ptrdiff_t>(y) * step_;
      std::memcpy(now.data() + at, before_[i].data() + at, row);
    }
    if (now != before_[i]) return false;
  }
  return true;
}

AllColours::AllColours(const Layout& layout, int width) : layout_(layout), roi_{width, (65536 + width - 1) / width} {
  for (int i = 0; i < layout.planes(); i++) {
    planes_[i].assign(static_cast<size_t>(count()) * layout.pixelBytes(), 0);
    first_[i] = planes_[i].data();
  }
  if (layout.kind == Layout::Kind::words) return;  // only ever written to
  for (int x = 0; x < count(); x++)
    for (int c = 1; c < std::min(layout.channels, 3); c++) layout.set(pixel(x).data(), c, channels(0, x)[c]);
}

void AllColours::setFirst(int value) {
  for (int x = 0; x < count(); x++) layout_.set(pixel(x).data(), 0, value);
}

// ---- Comparison ----

namespace {

std::string text(Triple t) { return std::to_string(t[0]) + ", " + std::to_string(t[1]) + ", " + std::to_string(t[2]); }

}  // namespace

std::string ColourFunction::difference(const Image& from, const Image& to) const {
  const MoxRoiSize roi = from.roi();
  for (int y = 0; y < roi.height; y++) {
    for (int x = 0; x < roi.width; x++) {
      const Triple read{from.get(x, y, 0), from.get(x, y, 1), from.get(x, y, 2)};
      const Triple wanted = expected(read, x, roi.width);
      for (int c = 0; c < dst.channels; c++) {
        const int value = c == 3 ? from.get(x, y, 3) : wanted[c];
        if (to.get(x, y, c) == value) continue;
        return "column " + std::to_string(x) + " of " + std::to_string(roi.width) + ", channel " + std::to_string(c) +
               ": " + std::to_string(to.get(x, y, c)) + ", expected " + std::to_string(value) + " from " + text(read);
      }
    }
  }
  return {};
}

// All columns of a width are of one kind: it is below four, or a multiple of four.
std::string ColourFunction::difference(int first, const AllColours& to) const {
  const int channels = std::min(dst.channels, 3);
  for (int x = 0; x < to.count(); x++) {
    const Triple read = AllColours::channels(first, x), wanted = expected(read, 0, to.roi().width);
    for (int c = 0; c < channels; c++) {
      if (to.get(x, c) == wanted[c]) continue;
      return "channel " + std::to_string(c) + ": " + std::to_string(to.get(x, c)) + ", expected " +
             std::to_string(wanted[c]) + " from " + text(read);
    }
  }
  return {};
}

// ---- The functions ----

namespace {

// A function as one that takes pointers to anything: to pixels, or to planes.
template <auto Function, class Src, class Dst>
MoxStatus untyped(const void* src, int32_t srcStep, void* dst, int32_t dstStep, MoxRoiSize roi) {
  return Function(static_cast<Src>(src), srcStep, static_cast<Dst>(dst), dstStep, roi);
}
template <auto Function, class Src, class Dst>
ColourFunction colourFunction(const char* name, MoxStatus (*)(Src, int32_t, Dst, int32_t, MoxRoiSize),
                              const Layout& src, const Layout& dst, const Rule& rule) {
  return {name, untyped<Function, Src, Dst>, src, dst, rule};
}

const Layout kGrey{Layout::Kind::bytes, 1, {0}};
const Layout kRgb24{Layout::Kind::bytes, 3, {0, 1, 2}};
const Layout kBgr24{Layout::Kind::bytes, 3, {2, 1, 0}};
const Layout kCmyk32{Layout::Kind::bytes, 4, {0, 1, 2, 3}};
const Layout kPlanes3{Layout::Kind::planes, 3};
const Layout kPlanes4{Layout::Kind::planes, 4};
const Layout kRgb555{Layout::Kind::words, 3, {}, true, 5};
const Layout kBgr555{Layout::Kind::words, 3, {}, false, 5};
const Layout kRgb565{Layout::Kind::words, 3, {}, true, 6};
const Layout kBgr565{Layout::Kind::words, 3, {}, false, 6};

#define MOX_COLOUR(function, src, dst, rule) colourFunction<function>(#function, function, src, dst, rule)

}  // namespace

std::vector<ColourFunction> fromByteFunctions() {
  return {
      MOX_COLOUR(moxiRGBToYCbCr_JPEG_8u_P3R, kPlanes3, kPlanes3, kFromPlanes),
      MOX_COLOUR(moxiRGBToYCbCr_JPEG_8u_C3P3R, kRgb24, kPlanes3, kFromPixels),
      MOX_COLOUR(moxiBGRToYCbCr_JPEG_8u_C3P3R, kBgr24, kPlanes3, kFromPixels),
      MOX_COLOUR(moxiRGBToY_JPEG_8u_P3C1R, kPlanes3, kGrey, kFromPlanes),
      MOX_COLOUR(moxiRGBToY_JPEG_8u_C3C1R, kRgb24, kGrey, kFromPixels),
      MOX_COLOUR(moxiBGRToY_JPEG_8u_C3C1R, kBgr24, kGrey, kFromPixels),
      MOX_COLOUR(moxiCMYKToYCCK_JPEG_8u_P4R, kPlanes4, kPlanes4, kFromCmyk),
      MOX_COLOUR(moxiCMYKToYCCK_JPEG_8u_C4P4R, kCmyk32, kPlanes4, kFromCmyk),
      MOX_COLOUR(moxiYCbCrToRGB_JPEG_8u_P3R, kPlanes3, kPlanes3, kToRgb),
      MOX_COLOUR(moxiYCbCrToRGB_JPEG_8u_P3C3R, kPlanes3, kRgb24, kToRgb),
      MOX_COLOUR(moxiYCbCrToBGR_JPEG_8u_P3C3R, kPlanes3, kBgr24, kToRgb),
      MOX_COLOUR(moxiYCCKToCMYK_JPEG_8u_P4R, kPlanes4, kPlanes4, kToCmyk),
      MOX_COLOUR(moxiYCCKToCMYK_JPEG_8u_P4C4R, kPlanes4, kCmyk32, kToCmyk),
      MOX_COLOUR(moxiYCbCrToRGB555_JPEG_8u16u_P3C3R, kPlanes3, kRgb555, kToRgb),
      MOX_COLOUR(moxiYCbCrToBGR555_JPEG_8u16u_P3C3R, kPlanes3, kBgr555, kToRgb),
      MOX_COLOUR(moxiYCbCrToRGB565_JPEG_8u16u_P3C3R, kPlanes3, kRgb565, kToRgb),
      MOX_COLOUR(moxiYCbCrToBGR565_JPEG_8u16u_P3C3R, kPlanes3, kBgr565, kToRgb),
  };
}

std::vector<ColourFunction> colourFunctions() {
  std::vector<ColourFunction> all = fromByteFunctions();
  for (const ColourFunction& fromWords : {
           MOX_COLOUR(moxiRGB555ToYCbCr_JPEG_16u8u_C3P3R, kRgb555, kPlanes3, kFromWords555),
           MOX_COLOUR(moxiBGR555ToYCbCr_JPEG_16u8u_C3P3R, kBgr555, kPlanes3, kFromWords555),
           MOX_COLOUR(moxiRGB565ToYCbCr_JPEG_16u8u_C3P3R, kRgb565, kPlanes3, kFromWords565),
           MOX_COLOUR(moxiBGR565ToYCbCr_JPEG_16u8u_C3P3R, kBgr565, kPlanes3, kFromWords565),
       })
    all.push_back(fromWords);
  return all;
}

void PrintTo(const ColourFunction& function, std::ostream* out) { *out << function.name; }

const ColourFunction& functionNamed(const std::string& name) {
  static const std::vector<ColourFunction> all = colourFunctions();
  for (const ColourFunction& function : all)
    if (function.name == name) return function;
  throw std::invalid_argument(name);
}

#if defined(__has_feature)
#define MOX_HAS_FEATURE(feature) __has_feature(feature)
#else
#define MOX_HAS_FEATURE(feature) 0
#endif

// This file has the optimisation of the tests that count; the tests' own files have none.
bool thorough() {
#if !defined(__OPTIMIZE__) || defined(__SANITIZE_ADDRESS__) || MOX_HAS_FEATURE(thread_sanitizer) || \
    MOX_HAS_FEATURE(address_sanitizer)
  return false;
#else
  return !std::getenv("MOX_TEST_SAMPLED");
#endif
}

}  // namespace test
