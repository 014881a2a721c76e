// Rows as they come give the same as the whole picture, to and from memory, files and streams.
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "support.h"

namespace {

using namespace codec;
namespace fs = std::filesystem;

class Folder {
 public:
  Folder() {
    std::string pattern = (fs::temp_directory_path() / "codec-test-XXXXXX").string();
    path_ = mkdtemp(pattern.data());
  }
  ~Folder() { fs::remove_all(path_); }
  fs::path operator/(const char* name) const { return path_ / name; }
  std::size_t files() const {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(path_), fs::directory_iterator()));
  }

 private:
  fs::path path_;
};

Bytes contents(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(file), {});
}

void write(const fs::path& path, const Bytes& bytes) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// Some rows of pixels.
MoxcPixels part(const Pixels& all, int y, int rows) {
  MoxcPixels band = all.pixels;
  band.height = rows;
  for (int i = 0; i < all.planes(); ++i) {
    MoxcPlane& plane = band.planes[i];
    plane.height = (rows + plane.dy - 1) / plane.dy;
    plane.samples = all.at(i, y / plane.dy, 0);
  }
  return band;
}

Bytes encodeRows(const Pixels& pixels, const char* format, int rows, const MoxcWriteOptions* options) {
  void* bytes = nullptr;
  std::size_t count = 0;
  const MoxcTarget target = moxcMemoryTarget(&bytes, &count);
  const Report report;
  MoxcEncoder* encoder = nullptr;
  MoxcPixels layout = pixels.pixels;
  for (MoxcPlane& plane : layout.planes) plane.samples = nullptr;
  EXPECT_EQ(moxcOk, moxcEncoderOpen(&layout, format, options, nullptr, 0, &target, nullptr, &encoder, report))
      << report.text();
  for (int y = 0; y < layout.height; y += rows) {
    const MoxcPixels band = part(pixels, y, std::min(rows, layout.height - y));
    EXPECT_EQ(moxcOk, moxcEncoderRows(encoder, &band, report)) << report.text();
  }
  EXPECT_EQ(nullptr, bytes);
  EXPECT_EQ(moxcOk, moxcEncoderFinish(encoder, report)) << report.text();
  moxcEncoderFree(encoder);
  return taken(bytes, count);
}

struct Case {
  const char* format;
  MoxcLayout layout;
  int bits;
  bool lossless, progressive;
};

const Case kCases[] = {{"jpg", moxcRgb, 8, false, false},     {"jpg", moxcBgra, 8, false, true},
                       {"jpg", moxcGrey, 12, true, false},    {"jpg", moxcCmyk, 8, true, false},
                       {"jp2", moxcRgba, 16, false, false},   {"j2k", moxcGrey, 8, false, false},
                       {"png", moxcRgb, 8, false, false},     {"png", moxcGreyAlpha, 16, false, false},
                       {"ppm", moxcRgb565, 16, false, false}, {"pgm", moxcGrey, 16, false, false},
                       {"pgx", moxcGrey, 12, false, false}};

MoxcWriteOptions optionsOf(const Case& c) {
  MoxcWriteOptions options;
  moxcWriteOptionsInit(&options);
  options.lossless = c.lossless;
  options.progressive = c.progressive;
  return options;
}

TEST(Rows, AsTheyComeGiveTheSameFile) {
  for (const Case& c : kCases) {
    SCOPED_TRACE(std::string(c.format) + " " + std::to_string(c.layout));
    const MoxcWriteOptions options = optionsOf(c);
    const Pixels pixels = picture(c.layout, 75, 61, c.bits);
    const Bytes whole = encode(pixels, c.format, &options);
    for (const int rows : {1, 7, 16, 61}) EXPECT_EQ(whole, encodeRows(pixels, c.format, rows, &options)) << rows;
  }
}

TEST(Rows, OfSubSampledPlanesComeInMultiples) {
  const Pixels pixels = ycbcr(75, 61, 2, 2);
  const Bytes whole = encode(pixels, "jpg");
  for (const int rows : {2, 16, 60}) EXPECT_EQ(whole, encodeRows(pixels, "jpg", rows, nullptr)) << rows;
}

class RowsEncoder : public testing::Test {
 protected:
  void open(const Pixels& pixels, const char* format) {
    ASSERT_EQ(moxcOk, moxcEncoderOpen(&pixels.pixels, format, nullptr, nullptr, 0, &target, nullptr, &encoder, report));
  }
  void TearDown() override {
    moxcEncoderFree(encoder);
    EXPECT_EQ(nullptr, bytes);
  }
  void* bytes = nullptr;
  std::size_t count = 0;
  const MoxcTarget target = moxcMemoryTarget(&bytes, &count);
  const Report report;
  MoxcEncoder* encoder = nullptr;
};

TEST_F(RowsEncoder, RefusesTooManyRows) {
  const Pixels pixels = picture(moxcGrey, 20, 10);
  open(pixels, "png");
  MoxcPixels rows = part(pixels, 0, 10);
  EXPECT_EQ(moxcOk, moxcEncoderRows(encoder, &rows, report));
  rows = part(pixels, 0, 1);
  EXPECT_EQ(moxcBadArgument, moxcEncoderRows(encoder, &rows, report));
  EXPECT_EQ(moxcBadArgument, moxcEncoderFinish(encoder, report));
}

TEST_F(RowsEncoder, RefusesTooFewRows) {
  const Pixels pixels = picture(moxcGrey, 20, 10);
  open(pixels, "png");
  const MoxcPixels rows = part(pixels, 0, 9);
  EXPECT_EQ(moxcOk, moxcEncoderRows(encoder, &rows, report));
  EXPECT_EQ(moxcBadArgument, moxcEncoderFinish(encoder, report));
}

TEST_F(RowsEncoder, RefusesAnotherLayout) {
  open(picture(moxcGrey, 20, 10), "png");
  const Pixels other = picture(moxcRgb, 20, 10);
  EXPECT_EQ(moxcBadArgument, moxcEncoderRows(encoder, &other.pixels, report));
  EXPECT_EQ("the rows have another layout", report.text());
}

TEST_F(RowsEncoder, RefusesRowsBetweenSamples) {
  const Pixels pixels = ycbcr(32, 32, 2, 2);
  open(pixels, "jpg");
  const MoxcPixels rows = part(pixels, 0, 3);
  EXPECT_EQ(moxcBadArgument, moxcEncoderRows(encoder, &rows, report));
}

TEST_F(RowsEncoder, DiscardsWhatIsNotFinished) { open(picture(moxcGrey, 20, 10), "png"); }

// ---- Decoding in rows ---------------------------------------------------------------------------------------------

struct Received {
  Pixels pixels;
  int next = -1, calls = 0, stopAt = -1;
};

int receive(void* context, const MoxcPixels* rows, int32_t y, int32_t height) {
  Received& received = *static_cast<Received*>(context);
  if (received.calls++ == received.stopAt) return 1;
  if (received.next < 0) {
    EXPECT_EQ(0, y);
    EXPECT_EQ(0, rows->height);
    received.pixels.pixels = *rows;
    received.pixels.pixels.height = height;
    received.pixels.pixels.planes[0].height = height;
    allocate(received.pixels);
    received.next = 0;
    return 0;
  }
  EXPECT_EQ(received.next, y);
  EXPECT_EQ(received.pixels.pixels.layout, rows->layout);
  received.next = y + rows->height;
  const Pixels from = viewOf(*rows);
  for (int plane = 0; plane < from.planes(); ++plane)
    for (int row = 0; row < rows->planes[plane].height; ++row)
      std::memcpy(received.pixels.at(plane, y / rows->planes[plane].dy + row, 0), from.at(plane, row, 0),
                  static_cast<std::size_t>(from.samplesInRow(plane)) * static_cast<std::size_t>(rows->sampleSize));
  return 0;
}

TEST(Rows, ReceivedAreThePicture) {
  for (const Case& c : kCases) {
    for (const MoxcLayout wish : {static_cast<MoxcLayout>(0), moxcBgra, moxcGrey, moxcRgb565}) {
      if (c.layout == moxcCmyk && wish == moxcGrey) continue;
      SCOPED_TRACE(std::string(c.format) + " " + std::to_string(c.layout) + " " + std::to_string(wish));
      const MoxcWriteOptions options = optionsOf(c);
      const Bytes file = encode(picture(c.layout, 75, 61, c.bits), c.format, &options);
      const MoxcSource from = source(file);
      MoxcWanted wanted = sized<MoxcWanted>();
      wanted.layout = wish;
      const Report report;
      Picture picture;
      ASSERT_EQ(moxcOk, moxcDecode(&from, nullptr, &wanted, nullptr, &picture.picture, report)) << report.text();
      const auto wholeNotes = notes(report);
      Received received;
      ASSERT_EQ(moxcOk, moxcDecodeRows(&from, nullptr, &wanted, receive, &received, nullptr, report));
      EXPECT_EQ(61, received.next);
      EXPECT_EQ(wholeNotes, notes(report));
      EXPECT_EQ(0, distance(viewOf(picture.pixels()), received.pixels));
    }
  }
}

TEST(Rows, CanBeStopped) {
  const Bytes file = encode(picture(moxcRgb, 75, 2001), "png");
  const MoxcSource from = source(file);
  for (const int at : {0, 1, 3}) {
    Received received;
    received.stopAt = at;
    const Report report;
    EXPECT_EQ(moxcCancelled, moxcDecodeRows(&from, nullptr, nullptr, receive, &received, nullptr, report));
    EXPECT_EQ(at + 1, received.calls);
  }
}

// ---- Sources and targets ------------------------------------------------------------------------------------------

struct Stream {
  Bytes bytes;
  std::size_t at = 0, piece = 1000;
  bool fails = false;
};

ptrdiff_t readStream(void* context, void* to, size_t size) {
  Stream& stream = *static_cast<Stream*>(context);
  if (stream.fails && stream.at > 0) return -1;
  const std::size_t count = std::min({size, stream.piece, stream.bytes.size() - stream.at});
  std::memcpy(to, stream.bytes.data() + stream.at, count);
  stream.at += count;
  return static_cast<ptrdiff_t>(count);
}

int writeStream(void* context, const void* bytes, size_t size) {
  Stream& stream = *static_cast<Stream*>(context);
  if (stream.fails) return 1;
  const auto* const from = static_cast<const std::uint8_t*>(bytes);
  stream.bytes.insert(stream.bytes.end(), from, from + size);
  return 0;
}

TEST(Sources, AreAllTheSame) {
  const Folder folder;
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.format);
    const MoxcWriteOptions options = optionsOf(c);
    const Bytes file = encode(picture(c.layout, 75, 61, c.bits), c.format, &options);
    const Bytes expected = convert(file, "pnm");
    const std::string path = (folder / "file").string();
    write(path, file);
    Stream stream;
    for (const std::size_t piece : {std::size_t{1}, std::size_t{1000}}) {
      stream = {file, 0, piece, false};
      for (const MoxcSource& from : {moxcFileSource(path.c_str()), moxcStreamSource(readStream, &stream)}) {
        void* bytes = nullptr;
        std::size_t count = 0;
        const MoxcTarget target = moxcMemoryTarget(&bytes, &count);
        const Report report;
        ASSERT_EQ(moxcOk, moxcConvert(&from, nullptr, "pnm", nullptr, &target, nullptr, report)) << report.text();
        EXPECT_EQ(expected, taken(bytes, count));
      }
    }
  }
}

TEST(Sources, ReportWhatCannotBeRead) {
  const Report report;
  const char* format = nullptr;
  const MoxcSource missing = moxcFileSource("/nowhere/at/all");
  EXPECT_EQ(moxcInput, moxcProbe(&missing, &format, report));
  EXPECT_EQ("cannot be read: No such file or directory", report.text());
  Stream stream{encode(picture(moxcGrey, 75, 61), "png"), 0, 20, true};
  const MoxcSource from = moxcStreamSource(readStream, &stream);
  Picture picture;
  EXPECT_EQ(moxcInput, moxcDecode(&from, nullptr, nullptr, nullptr, &picture.picture, report));
  EXPECT_EQ("cannot be read", report.text());
}

class Targets : public testing::Test {
 protected:
  MoxcKind encodeTo(const MoxcTarget& target) {
    return moxcEncode(&pixels.pixels, "png", nullptr, nullptr, 0, &target, nullptr, report);
  }
  const Folder folder;
  const Pixels pixels = picture(moxcRgb, 75, 61);
  const Bytes expected = encode(pixels, "png");
  const Report report;
};

TEST_F(Targets, AreAllTheSame) {
  Stream stream;
  EXPECT_EQ(moxcOk, encodeTo(moxcStreamTarget(writeStream, &stream)));
  EXPECT_EQ(expected, stream.bytes);
  EXPECT_EQ(moxcOk, encodeTo(moxcFileTarget((folder / "x.png").c_str()))) << report.text();
  EXPECT_EQ(expected, contents(folder / "x.png"));
  EXPECT_EQ(1u, folder.files());
}

TEST_F(Targets, ReplaceFilesAndKeepTheirPermissions) {
  write(folder / "x.png", {1, 2, 3});
  fs::permissions(folder / "x.png", fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(moxcOk, encodeTo(moxcFileTarget((folder / "x.png").c_str())));
  EXPECT_EQ(expected, contents(folder / "x.png"));
  EXPECT_EQ(fs::perms::owner_read | fs::perms::owner_write, fs::status(folder / "x.png").permissions());
}

TEST_F(Targets, FollowLinks) {
  write(folder / "x.png", {1, 2, 3});
  fs::create_symlink("x.png", folder / "link");
  EXPECT_EQ(moxcOk, encodeTo(moxcFileTarget((folder / "link").c_str())));
  EXPECT_TRUE(fs::is_symlink(folder / "link"));
  EXPECT_EQ(expected, contents(folder / "x.png"));
}

TEST_F(Targets, OfFailedCallsStayAsTheyWere) {
  write(folder / "x.png", {1, 2, 3});
  const std::string path = (folder / "x.png").string();
  const MoxcTarget target = moxcFileTarget(path.c_str());
  Bytes half(expected.begin(), expected.begin() + 40);
  const MoxcSource from = source(half);
  EXPECT_NE(moxcOk, moxcConvert(&from, nullptr, "jpg", nullptr, &target, nullptr, report));
  MoxcEncoder* encoder = nullptr;
  ASSERT_EQ(moxcOk, moxcEncoderOpen(&pixels.pixels, "png", nullptr, nullptr, 0, &target, nullptr, &encoder, report));
  moxcEncoderFree(encoder);
  EXPECT_EQ((Bytes{1, 2, 3}), contents(path));
  EXPECT_EQ(1u, folder.files());
}

TEST_F(Targets, ReportWhatCannotBeWritten) {
  EXPECT_EQ(moxcOutput, encodeTo(moxcFileTarget((folder / "none" / "x.png").c_str())));
  EXPECT_EQ("cannot be created: No such file or directory", report.text());
  EXPECT_EQ(moxcOutput, encodeTo(moxcFileTarget((folder / "").c_str())));
  EXPECT_EQ("cannot be written: it is a directory", report.text());
  Stream stream;
  stream.fails = true;
  EXPECT_EQ(moxcOutput, encodeTo(moxcStreamTarget(writeStream, &stream)));
  EXPECT_EQ("cannot be written", report.text());
  EXPECT_EQ(moxcOutput, encodeTo(moxcFileTarget("/dev/full")));
  EXPECT_EQ("cannot be written: No space left on device", report.text());
}

TEST_F(Targets, ThatMustNotBeReplacedAreRefused) {
  const std::string path = (folder / "x.png").string();
  MoxcTarget target = moxcFileTarget(path.c_str());
  target.keepExisting = 1;
  EXPECT_EQ(moxcOk, encodeTo(target));
  EXPECT_EQ(expected, contents(path));
  write(path, {1, 2, 3});
  EXPECT_EQ(moxcOutput, encodeTo(target));
  EXPECT_EQ("already exists", report.text());
  EXPECT_EQ(path, moxcReportPath(report));
  EXPECT_STREQ("keepExisting", moxcReportOption(report));
  EXPECT_EQ((Bytes{1, 2, 3}), contents(path));
  EXPECT_EQ(1u, folder.files());
  Stream stream;
  MoxcTarget other = moxcStreamTarget(writeStream, &stream);
  other.keepExisting = 1;
  EXPECT_EQ(moxcBadOption, encodeTo(other));
  target.keepExisting = 2;
  EXPECT_EQ(moxcBadOption, encodeTo(target));
}

struct Temporaries {
  std::vector<std::pair<int, bool>> states;  // and whether the file is there
  std::string path;
};

void temporaryChanged(void* context, MoxcTemporaryState state, const char* path) {
  Temporaries& seen = *static_cast<Temporaries*>(context);
  seen.states.emplace_back(state, fs::exists(path));
  seen.path = path;
}

// Before it is created, when it is there, and when it is not any more.
TEST_F(Targets, ReportTheirTemporaryFile) {
  const std::string path = (folder / "x.png").string(), nowhere = (folder / "none" / "x.png").string();
  Temporaries seen;
  MoxcTarget target = moxcFileTarget(path.c_str());
  target.temporaryChanged = temporaryChanged;
  target.temporaryContext = &seen;
  using States = std::vector<std::pair<int, bool>>;
  const States all = {{moxcTemporaryCreating, false}, {moxcTemporaryCreated, true}, {moxcTemporaryGone, false}};
  EXPECT_EQ(moxcOk, encodeTo(target));
  EXPECT_EQ(all, seen.states);
  EXPECT_EQ(fs::path(path).parent_path(), fs::path(seen.path).parent_path());
  seen = {};
  target.path = nowhere.c_str();
  EXPECT_EQ(moxcOutput, encodeTo(target));
  EXPECT_EQ(nowhere, moxcReportPath(report));
  EXPECT_EQ((States{{moxcTemporaryCreating, false}, {moxcTemporaryCreated, false}, {moxcTemporaryGone, false}}),
            seen.states);
  seen = {};
  target.path = "/dev/null";
  EXPECT_EQ(moxcOk, encodeTo(target));
  EXPECT_TRUE(seen.states.empty());
}

TEST_F(Targets, DevicesAreWrittenDirectly) { EXPECT_EQ(moxcOk, encodeTo(moxcFileTarget("/dev/null"))); }

// ---- Planes -------------------------------------------------------------------------------------------------------

struct Planes {
  std::vector<std::string> paths;
  int failsAt = -1;
};

int openPlane(void* context, int32_t index, int32_t count, MoxcTarget* target) {
  const Planes& planes = *static_cast<Planes*>(context);
  EXPECT_EQ(3, count);
  if (index == planes.failsAt) return 1;
  *target = moxcFileTarget(planes.paths[static_cast<std::size_t>(index)].c_str());
  return 0;
}

TEST_F(Targets, OfPlanesAppearTogether) {
  const Bytes jp2 = encode(pixels, "jp2");
  const MoxcSource from = source(jp2);
  Planes planes{{(folder / "0.pgx").string(), (folder / "1.pgx").string(), (folder / "2.pgx").string()}, -1};
  for (const int failsAt : {0, 1, 2}) {
    planes.failsAt = failsAt;
    EXPECT_EQ(moxcCancelled, moxcConvertPlanes(&from, nullptr, "pgx", openPlane, &planes, nullptr, report));
    EXPECT_EQ(0u, folder.files());
  }
  planes.failsAt = -1;
  EXPECT_EQ(moxcOk, moxcConvertPlanes(&from, nullptr, "pgx", openPlane, &planes, nullptr, report)) << report.text();
  EXPECT_EQ(3u, folder.files());
  for (int i = 0; i < 3; ++i) {
    const Pixels plane = blank(moxcGrey, 75, 61);
    decodeInto(contents(planes.paths[static_cast<std::size_t>(i)]), plane);
    for (int y = 0; y < 61; ++y)
      for (int x = 0; x < 75; ++x) ASSERT_EQ(pixels.value(0, y, 3 * x + i), plane.value(0, y, x));
  }
  EXPECT_EQ(moxcBadArgument, moxcConvertPlanes(&from, nullptr, "jpg", openPlane, &planes, nullptr, report));
}

}  // namespace
