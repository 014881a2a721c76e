// PNG, PNM, PAM, PBM, PGX, BMP and TIFF files: round trips at every depth, files cut at every byte, memory, cancelling.
#include <gtest/gtest.h>
#include <png.h>

#include <algorithm>
#include <cstring>

#include "base/problem.h"
#include "pictures/support.h"
#include "support/guarded.h"

namespace moxj {
namespace {

using test::equal;
using test::equalRows;
using test::filled;

Picture layout(Colour colour, int planes, int bits, int width = 19, int height = 11) {
  Picture picture = Picture::layout(width, height, planes, bits, colour);
  if (planes % 2 == 0) picture.opacity = Opacity::straight;
  return picture;
}

Picture pgxLayout(int bits, bool isSigned) {
  Picture picture = layout(Colour::grey, 1, bits);
  picture.planes[0] = Plane::of(picture.width, picture.height, bits, isSigned);
  return picture;
}

// An interlaced PNG file, which the writer does not make.
std::string interlaced(const Picture& picture) {
  std::string file;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_set_write_fn(
      png, &file,
      [](png_structp p, png_bytep bytes, png_size_t count) {
        static_cast<std::string*>(png_get_io_ptr(p))->append(reinterpret_cast<const char*>(bytes), count);
      },
      nullptr);
  constexpr int kTypes[] = {PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_GRAY_ALPHA, PNG_COLOR_TYPE_RGB,
                            PNG_COLOR_TYPE_RGB_ALPHA};
  png_set_IHDR(png, info, static_cast<png_uint_32>(picture.width), static_cast<png_uint_32>(picture.height),
               picture.planes[0].bits, kTypes[picture.planes.size() - 1], PNG_INTERLACE_ADAM7,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_set_compression_level(png, 0);
  png_write_info(png, info);
  if (picture.planes[0].bits == 16) png_set_swap(png);
  std::vector<png_bytep> rows;
  for (int y = 0; y < picture.height; ++y) rows.push_back(picture.row(y));
  png_write_image(png, rows.data());
  png_write_end(png, info);
  png_destroy_write_struct(&png, &info);
  return file;
}

struct File {
  const char* format;
  Picture picture;
  std::string bytes;
};

std::vector<File> manyFiles() {
  std::vector<File> files;
  const auto add = [&](const char* format, const Picture& layout) {
    const Picture picture = filled(layout, static_cast<unsigned>(files.size()) + 1);
    files.push_back({format, picture, test::fileOf(picture, format)});
  };
  for (const int bits : {8, 16}) {
    for (int planes = 1; planes <= 4; ++planes)
      add("png", layout(planes < 3 ? Colour::grey : Colour::rgb, planes, bits));
  }
  for (const int bits : {1, 4, 8, 9, 12, 16}) {
    add("pgm", layout(Colour::grey, 1, bits));
    add("ppm", layout(Colour::rgb, 3, bits));
  }
  for (const int maxval : {100, 200, 1000, 65534}) {
    Picture odd = layout(Colour::rgb, 3, std::bit_width(static_cast<unsigned>(maxval)));
    for (Plane& plane : odd.planes) plane.maxval = maxval;
    add("pnm", odd);
  }
  for (const int bits : {1, 5, 8, 9, 16}) {
    for (int planes = 1; planes <= 4; ++planes)
      add("pam", layout(planes < 3 ? Colour::grey : Colour::rgb, planes, bits));
    add("pam", layout(Colour::unknown, 5, bits));
  }
  add("pbm", layout(Colour::grey, 1, 1));
  for (const int planes : {1, 3, 4}) add("bmp", layout(planes < 3 ? Colour::grey : Colour::rgb, planes, 8));
  for (const int bits : {8, 16}) {
    for (int planes = 1; planes <= 4; ++planes)
      add("tif", layout(planes < 3 ? Colour::grey : Colour::rgb, planes, bits));
    add("tif", layout(Colour::unknown, 5, bits));
  }
  for (const int bits : {1, 7, 8, 9, 16, 17, 24, 31}) {
    add("pgx", pgxLayout(bits, false));
    if (bits > 1) add("pgx", pgxLayout(bits, true));
  }
  return files;
}

TEST(Files, RoundTripsOfAllDepths) {
  for (const File& file : manyFiles()) {
    const test::Read read = test::readFile(file.bytes);
    EXPECT_TRUE(read.outcome.complete) << read.outcome.warning;
    EXPECT_TRUE(equal(read.picture, file.picture)) << file.format << " of " << file.picture.planes[0].bits << " bits";
    // The same in bands, of samples with gaps, and from an input that drips.
    for (const int rows : {1, 4}) EXPECT_EQ(test::fileOf(file.picture, file.format, rows), file.bytes);
    Picture loose = file.picture;
    loose.allocate(nullptr, 640, 12);
    for (std::size_t i = 0; i < loose.planes.size(); ++i)
      for (int y = 0; y < loose.height; ++y)
        for (int x = 0; x < loose.width; ++x) test::set(loose.planes[i], x, y, file.picture.planes[i].at(x, y));
    EXPECT_EQ(test::fileOf(loose, file.format), file.bytes);
    for (const std::size_t step : {1, 7, 4096}) {
      Work work;
      EXPECT_TRUE(equal(test::readFrom(test::dripping(test::spanOf(file.bytes), step), work).picture, file.picture));
    }
  }
}

// How many complete rows a picture of a cut file has, by its warning.
int rowsOf(const std::string& warning) {
  const std::size_t at = warning.find("after ");
  return at == std::string::npos ? 0 : std::stoi(warning.substr(at + 6));
}

// Every beginning of a file, at the end of a page, so that nothing after it may be read. All rows before the cut are
// there, the others are black.
TEST(Files, CutAtEveryByteKeepsTheRowsBefore) {
  for (const File& file : manyFiles()) {
    if (std::string(file.format) == "bmp") continue;  // begins with the last row
    const std::string name = std::string(file.format) + " of " + std::to_string(file.picture.planes[0].bits) + " bits";
    ::test::GuardedMemory memory(file.bytes.size());
    int refused = 0, last = 0;
    for (std::size_t length = 3; length < file.bytes.size(); ++length) {
      std::uint8_t* const bytes = memory.atEnd<std::uint8_t>(length);
      std::memcpy(bytes, file.bytes.data(), length);
      try {
        Work work;
        const test::Read read = test::readFrom(Input::memory({bytes, length}), work);
        EXPECT_FALSE(read.outcome.complete) << name << " " << length;
        const int rows = rowsOf(read.outcome.warning);
        EXPECT_GE(rows, last) << name << " " << length;
        last = rows;
        EXPECT_TRUE(equalRows(read.picture, file.picture, rows)) << name << " " << length;
        for (const Plane& plane : read.picture.planes)
          for (int y = rows + 1; y < plane.height; ++y) EXPECT_EQ(plane.at(3, y), 0) << name << " " << length;
      } catch (const Problem& problem) {
        EXPECT_TRUE(liesInFile(problem.kind)) << problem.what();
        EXPECT_EQ(last, 0) << name << " " << length;
        ++refused;
      }
    }
    EXPECT_GT(refused, 0);
    EXPECT_GE(last, file.picture.height - 1) << name;
  }
}

// Of raw samples, each is known: in a row that is cut, and in bands after others, whose memory is used again.
TEST(Files, CutRawSamplesKeepEverySampleBefore) {
  for (const int bits : {8, 12}) {
    const Picture picture = filled(layout(Colour::rgb, 3, bits, 500, 200));
    const std::string file = test::fileOf(picture, "ppm");
    const std::size_t sampleBytes = bits > 8 ? 2 : 1, header = file.size() - 500 * 200 * 3 * sampleBytes;
    for (const std::size_t samples : {1u, 1499u, 1500u, 1502u, 150001u, 299999u}) {
      Work work;
      const std::string cut = file.substr(0, header + samples * sampleBytes);
      const Picture read = test::readFrom(test::dripping(test::spanOf(cut), 10000), work).picture;
      int wrong = 0;
      for (std::size_t i = 0; i < 500 * 200 * 3; ++i) {
        const int x = static_cast<int>(i / 3 % 500), y = static_cast<int>(i / 1500);
        wrong += read.planes[i % 3].at(x, y) != (i < samples ? picture.planes[i % 3].at(x, y) : 0);
      }
      EXPECT_EQ(wrong, 0) << bits << " bits, " << samples << " samples";
    }
  }
}

// How many rows the bytes of a PNG file hold is known if they are random, and so not compressed.
TEST(Files, CutPngKeepsEveryRowThatItsBytesHold) {
  for (const int bits : {8, 16}) {
    for (int planes = 1; planes <= 4; ++planes) {
      const Picture picture = filled(layout(planes < 3 ? Colour::grey : Colour::rgb, planes, bits, 40, 60));
      const std::string file = test::fileOf(picture, "png");
      int last = 0;
      for (std::size_t length = file.size() / 4; length < file.size(); length += 97) {
        const test::Read read = test::readFile(file.substr(0, length));
        last = rowsOf(read.outcome.warning);
        EXPECT_GE(last,
                  static_cast<int>(static_cast<double>(length) / static_cast<double>(file.size()) * 60 * 0.85) - 4);
        EXPECT_TRUE(equalRows(read.picture, picture, last));
      }
      EXPECT_GT(last, 50);
    }
  }
}

TEST(Files, CutInterlacedPngShowsTheCoarsePicture) {
  for (const int bits : {8, 16}) {
    for (int planes = 1; planes <= 4; ++planes) {
      Picture picture = layout(planes < 3 ? Colour::grey : Colour::rgb, planes, bits, 32, 32);
      picture.allocate();
      const int unit = bits == 8 ? 1 : 256;
      for (const Plane& plane : picture.planes)
        for (int y = 0; y < 32; ++y)
          for (int x = 0; x < 32; ++x) test::set(plane, x, y, unit * (100 + x + y));
      const std::string file = interlaced(picture);
      EXPECT_TRUE(equal(test::readFile(file).picture, picture));
      const test::Read read = test::readFile(file.substr(0, file.size() / 3));  // in pass 5 of 7
      EXPECT_FALSE(read.outcome.complete);
      EXPECT_NE(read.outcome.warning.find("of pass "), std::string::npos) << read.outcome.warning;
      for (std::size_t plane = 0; plane < picture.planes.size(); ++plane)
        for (int y = 0; y < 32; ++y)
          for (int x = 0; x < 32; ++x)
            EXPECT_LE(std::abs(read.picture.planes[plane].at(x, y) - picture.planes[plane].at(x, y)), 8 * unit);
    }
  }
}

// ---- Memory --------------------------------------------------------------------------------------------------------

struct Counter : RowSink {
  void begin(const Picture& layout) override { height = layout.height; }
  void rows(const Picture& band) override {
    most = std::max(most, band.height);
    count += band.height;
  }
  void end() override { ended = true; }
  int height = 0, most = 0, count = 0;
  bool ended = false;
};

// That of PNG chunks.
std::uint32_t checksum(const std::string& bytes) {
  std::uint32_t crc = ~0u;
  for (const char byte : bytes) {
    crc ^= static_cast<std::uint8_t>(byte);
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320u : 0);
  }
  return ~crc;
}

// The first bytes of a file of 16000 x 16000 pixels.
std::string headerOfLarge(const char* format) {
  if (std::string(format) == "pgx") return "PG ML + 16 16000 16000\n" + std::string(40000, 'x');
  if (std::string(format) == "ppm") return "P6 16000 16000 255\n" + std::string(60000, 'x');
  Picture small = filled(layout(Colour::rgb, 3, 8, 300, 200));
  std::string file = std::string(format) == "interlaced" ? interlaced(small) : test::fileOf(small, "png");
  const unsigned char size[] = {0, 0, 0x3E, 0x80, 0, 0, 0x3E, 0x80};
  std::memcpy(file.data() + 16, size, 8);
  const std::uint32_t crc = checksum(file.substr(12, 17));
  for (int i = 0; i < 4; ++i) file[static_cast<std::size_t>(29 + i)] = static_cast<char>(crc >> (24 - 8 * i));
  return file;
}

TEST(Files, RowsOfALargePictureTakeLittleMemory) {
  for (const char* format : {"png", "ppm", "pgx"}) {
    Limits limits;
    limits.maxMemory = 2 << 20;
    Work work(limits);
    Counter counter;
    const std::string file = headerOfLarge(format);
    Input input = Input::memory(test::spanOf(file));
    const Outcome outcome = recognise(input).open(input, {}, work)->push(counter);
    EXPECT_FALSE(outcome.complete);
    EXPECT_TRUE(counter.ended);
    EXPECT_EQ(counter.count, 16000);
    EXPECT_LE(counter.most, 64);
  }
}

TEST(Files, WholePicturesAreRefusedBeforeTheyAreAllocated) {
  for (const char* format : {"png", "interlaced", "ppm", "pgx"}) {
    Limits limits;
    limits.maxMemory = 100 << 20;
    Work work(limits);
    const std::string file = headerOfLarge(format);
    try {
      test::readFrom(Input::memory(test::spanOf(file)), work);
      ADD_FAILURE() << format;
    } catch (const Problem& problem) {
      EXPECT_EQ(problem.kind, Kind::limit) << format;
      EXPECT_EQ(problem.setting, Setting::maxMemory) << format;
    }
    EXPECT_LT(work.budget.used(), 3u << 20) << format;
  }
}

TEST(Files, MorePixelsThanAllowed) {
  for (const char* format : {"png", "interlaced", "ppm", "pgx"}) {
    Limits limits;
    limits.maxPixels = 16000 * 16000 - 1;
    Work work(limits);
    const std::string file = headerOfLarge(format);
    try {
      test::readFrom(Input::memory(test::spanOf(file)), work);
      ADD_FAILURE() << format;
    } catch (const Problem& problem) {
      EXPECT_EQ(problem.kind, Kind::limit) << format;
      EXPECT_EQ(problem.setting, Setting::maxPixels) << format;
    }
  }
}

TEST(Files, RawBytesInMemoryAreUsedInPlace) {
  struct Watcher : Counter {
    void rows(const Picture& band) override {
      if (count == 0) first = band.row(0);
      Counter::rows(band);
    }
    const std::uint8_t* first = nullptr;
  } watcher;
  const std::string file = "P5 3 2 255\nabcdef";
  Work work;
  Input input = Input::memory(test::spanOf(file));
  recognise(input).open(input, {}, work)->push(watcher);
  EXPECT_EQ(static_cast<const void*>(watcher.first), file.data() + 11);
}

// ---- Cancelling ----------------------------------------------------------------------------------------------------

TEST(Files, CancelledAtEveryReport) {
  for (const char* format : {"png", "ppm", "pgx"}) {
    Picture picture = layout(format[1] == 'g' ? Colour::grey : Colour::rgb, format[1] == 'g' ? 1 : 3, 16, 300, 400);
    const std::string file = test::fileOf(filled(picture), format);
    EXPECT_GT(test::cancelAtEveryCall([&](Work& work) { test::readFrom(Input::memory(test::spanOf(file)), work); }), 2)
        << format;
  }
  const std::string coarse = interlaced(filled(layout(Colour::rgb, 4, 8, 100, 200)));
  EXPECT_GT(test::cancelAtEveryCall([&](Work& work) { test::readFrom(Input::memory(test::spanOf(coarse)), work); }),
            20);
}

// A sink that fails within libpng's callbacks.
TEST(Files, ProblemsOfASinkPassThroughThePngReader) {
  struct Failing : Counter {
    void rows(const Picture&) override { fail(Kind::output, "disk full"); }
  } failing;
  const std::string file = test::fileOf(filled(layout(Colour::rgb, 3, 8, 50, 50)), "png");
  Work work;
  Input input = Input::memory(test::spanOf(file));
  try {
    recognise(input).open(input, {}, work)->push(failing);
    ADD_FAILURE();
  } catch (const Problem& problem) {
    EXPECT_EQ(problem.kind, Kind::output);
    EXPECT_STREQ(problem.what(), "disk full");
  }
}

// ---- PGX -----------------------------------------------------------------------------------------------------------

TEST(Pgx, LittleEndianAndHeadersOfOtherPrograms) {
  const std::string samples("\x34\x12\xFF\x0F", 4);
  for (const char* header : {"PG LM + 12 2 1\n", "PG LM 12 2 1\r\n", "PG\tLM  +12 2 1\n"}) {
    const test::Read read = test::readFile(header + samples);
    EXPECT_EQ(read.picture.planes[0].at(0, 0), 0x234) << header;  // bits above the depth are dropped
    EXPECT_EQ(read.picture.planes[0].at(1, 0), 0xFFF) << header;
  }
}

TEST(Pgx, SeveralComponentsAreRefused) {
  try {
    test::fileOf(filled(layout(Colour::rgb, 3, 8)), "pgx");
    ADD_FAILURE();
  } catch (const Problem& problem) {
    EXPECT_EQ(problem.kind, Kind::unsupported);
    EXPECT_EQ(problem.option, "components");
    EXPECT_STREQ(problem.what(), "3 components: a PGX file has one");
  }
}

}  // namespace
}  // namespace moxj
