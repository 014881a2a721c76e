// Each allocation of each function fails once: the answer is moxcNoMemory, nothing leaks, and the next call works.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>

#include "support.h"
#include "support/failures.h"

namespace {

using namespace codec;
using test::Extent;
using test::Failures;
using test::Resource;

struct Call {
  std::string name;
  std::function<MoxcKind(MoxcReport*)> run;
  std::function<void()> prepare = [] {};
  std::function<void(MoxcKind)> check = [](MoxcKind) {};
};

// A call that does without some memory may also succeed.
void failEachAllocation(const Call& call, Extent extent) {
  const Report report;
  call.prepare();
  ASSERT_EQ(moxcOk, call.run(report)) << report.text();  // also loads what is loaded once
  long requests = 0;
  call.prepare();
  {
    const Failures none(Resource::memory, Failures::kNone);
    call.run(report);
    requests = none.requests();
  }
  int failures = 0;
  const long tested = extent == Extent::one ? 32 : 8;
  for (long number = 0; number < requests; number = test::nextRequest(call.name, requests, number, tested)) {
    MoxcKind kind = moxcOk;
    call.prepare();
    {
      const Failures failing(Resource::memory, number, extent);
      kind = call.run(report);
    }
    call.check(kind);
    if (kind == moxcOk) continue;
    ++failures;
    ASSERT_EQ(moxcNoMemory, kind) << "allocation " << number << " of " << requests << ": " << report.text();
    ASSERT_EQ(kind, moxcReportKind(report));
    ASSERT_NE("", report.text());
  }
  EXPECT_LT(0, failures);
}

void failEachAllocation(const Call& call) {
  for (const Extent extent : {Extent::one, Extent::allFurther}) {
    SCOPED_TRACE(call.name + (extent == Extent::one ? "" : ", and all further ones"));
    failEachAllocation(call, extent);
  }
}

// What a command of the system prints; empty if there is no such command.
Bytes outputOf(const std::string& command) {
  Bytes bytes;
  std::FILE* const pipe = popen((command + " 2>/dev/null").c_str(), "r");
  for (int c; pipe && (c = std::fgetc(pipe)) != EOF;) bytes.push_back(static_cast<std::uint8_t>(c));
  if (pipe) pclose(pipe);
  return bytes;
}

std::string saved(const std::string& name, const Bytes& file) {
  const std::string path = testing::TempDir() + name;
  std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(file.data()), std::ssize(file));
  return path;
}

struct Inputs {
  struct File {
    std::string name;
    Bytes bytes;
  };

  Pixels rgb = picture(moxcRgb, 24, 18), deep = picture(moxcRgba, 24, 18, 16), bgr = picture(moxcBgr, 24, 18),
         grey = picture(moxcGrey, 24, 18), bits = picture(moxcGrey, 24, 18, 1), twelve = picture(moxcRgb, 24, 18, 12);
  std::vector<File> files;

  Inputs() {
    using Options = MoxcWriteOptions;
    add("jpg", rgb, "jpg");
    add("progressive", rgb, "jpg", [](Options& options) { options.progressive = 1; });
    add("lossless", rgb, "jpg", [](Options& options) { options.lossless = 1; });
    add("12 bits", twelve, "jpg", [](Options& options) { options.depth = 12; });
    arithmetic();
    add("jp2", deep, "jp2");
    add("tiles", rgb, "j2k", [](Options& options) {
      options.levelsPlus1 = 3;
      options.tileWidth = options.tileHeight = 16;
      options.sop = options.eph = 1;
    });
    add("png", deep, "png");
    for (const char* const format : {"ppm", "pam", "bmp"}) add(format, rgb, format);
    for (const char* const format : {"pgm", "pgx"}) add(format, grey, format);
    add("pbm", bits, "pbm");
    add("tif", rgb, "tif");
  }

  const Bytes& named(const std::string& name) const {
    for (const File& file : files)
      if (file.name == name) return file.bytes;
    static const Bytes none;
    return none;
  }

 private:
  // With metadata, where the format has a place for it.
  void add(const char* name, const Pixels& pixels, const char* format,
           const std::function<void(MoxcWriteOptions&)>& choose = {}) {
    static constexpr char kComment[] = "a comment that is too long for the object of a short string";
    static constexpr char kXmp[] = "<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF/></x:xmpmeta>";
    static constexpr char kExif[] = "MM\0*\0\0\0\10\0\1\1\22\0\3\0\0\0\1\0\6\0\0\0\0\0";
    const MoxcMetadata blocks[] = {{moxcComment, "key", kComment, sizeof kComment - 1},
                                   {moxcXmp, "", kXmp, sizeof kXmp - 1},
                                   {moxcExif, "", kExif, sizeof kExif}};
    MoxcWriteOptions options;
    moxcWriteOptionsInit(&options);
    if (choose) choose(options);
    void* bytes = nullptr;
    std::size_t count = 0;
    const MoxcTarget target = moxcMemoryTarget(&bytes, &count);
    const Report report;
    ASSERT_EQ(moxcOk, moxcEncode(&pixels.pixels, format, &options, blocks, 3, &target, nullptr, report))
        << name << ": " << report.text();
    files.push_back({name, taken(bytes, count)});
  }
  void arithmetic() {
    const std::string path = saved("codec-memory-test.jpg", files[0].bytes);
    for (const std::string options : {"", " -progressive"}) {
      Bytes coded = outputOf("jpegtran -arithmetic" + options + " " + path);
      if (!coded.empty()) files.push_back({"arithmetic" + options, std::move(coded)});
    }
    std::filesystem::remove(path);
  }
};

class Memory : public testing::Test {
 protected:
  const Inputs in;
};

TEST_F(Memory, IsMissingWhenProbing) {
  for (const auto& [name, file] : in.files)
    failEachAllocation({name, [&, &file = file](MoxcReport* report) {
                          const MoxcSource from = source(file);
                          const char* format = nullptr;
                          return moxcProbe(&from, &format, report);
                        }});
}

TEST_F(Memory, IsMissingWhenDescribing) {
  for (const auto& [name, file] : in.files)
    failEachAllocation({name, [&, &file = file](MoxcReport* report) {
                          const MoxcSource from = source(file);
                          MoxcDescription* description = nullptr;
                          const MoxcKind kind = moxcDescribe(&from, nullptr, &description, report);
                          moxcDescriptionFree(description);
                          return kind;
                        }});
}

TEST_F(Memory, IsMissingWhenDecoding) {
  for (const auto& [name, file] : in.files) {
    for (const MoxcLayout layout : {static_cast<MoxcLayout>(0), moxcBgra, moxcRgb565, moxcGrey}) {
      failEachAllocation({name, [&, &file = file](MoxcReport* report) {
                            const MoxcSource from = source(file);
                            MoxcWanted wanted = sized<MoxcWanted>();
                            wanted.layout = layout;
                            MoxcPicture* picture = nullptr;
                            const MoxcKind kind = moxcDecode(&from, nullptr, &wanted, nullptr, &picture, report);
                            moxcPictureFree(picture);
                            return kind;
                          }});
    }
  }
}

TEST_F(Memory, IsMissingWhenDecodingIntoTheCallersMemory) {
  const Pixels to = blank(moxcRgba, 24, 18);
  for (const auto& [name, file] : in.files)
    failEachAllocation({name, [&, &file = file](MoxcReport* report) {
                          const MoxcSource from = source(file);
                          return moxcDecodeInto(&from, nullptr, &to.pixels, nullptr, report);
                        }});
}

TEST_F(Memory, IsMissingWhenDecodingRows) {
  const auto ignore = [](void*, const MoxcPixels*, int32_t, int32_t) { return 0; };
  for (const auto& [name, file] : in.files)
    failEachAllocation({name, [&, &file = file](MoxcReport* report) {
                          const MoxcSource from = source(file);
                          MoxcWanted wanted = sized<MoxcWanted>();
                          wanted.layout = moxcBgr;
                          return moxcDecodeRows(&from, nullptr, &wanted, ignore, nullptr, nullptr, report);
                        }});
}

TEST_F(Memory, IsMissingWhenEncoding) {
  MoxcWriteOptions plain, progressive, lossless, layered, quality;
  for (MoxcWriteOptions* options : {&plain, &progressive, &lossless, &layered, &quality}) moxcWriteOptionsInit(options);
  progressive.progressive = 1;
  progressive.comment = "a comment that is too long for the object of a short string";
  lossless.lossless = 1;
  layered.ratio = 3;
  layered.layers = 2;
  layered.tileWidth = layered.tileHeight = 16;
  const double psnrs[] = {30, 40};
  quality.psnrs = psnrs;
  quality.psnrCount = 2;
  const std::tuple<const char*, const char*, const MoxcWriteOptions*> uses[] = {
      {"jpg", "jpg", &plain},         {"progressive", "jpg", &progressive},
      {"lossless", "jpg", &lossless}, {"jp2", "jp2", &plain},
      {"layers", "j2k", &layered},    {"quality", "jp2", &quality},
      {"png", "png", &plain},         {"ppm", "ppm", &plain},
      {"pgm", "pgm", &plain},         {"pam", "pam", &plain},
      {"bmp", "bmp", &plain},         {"tif", "tif", &plain}};
  const MoxcMetadata block = {moxcComment, "key", "text", 4};
  for (const auto& [name, format, options] : uses) {
    for (const Pixels* const pixels : {&in.rgb, &in.bgr}) {
      failEachAllocation({name, [&, format = format, options = options](MoxcReport* report) {
                            return toMemory([&](const MoxcTarget& target) {
                              return moxcEncode(&pixels->pixels, format, options, &block, 1, &target, nullptr, report);
                            });
                          }});
      failEachAllocation({name, [&, format = format, options = options](MoxcReport* report) {
                            return toMemory([&](const MoxcTarget& target) {
                              MoxcEncoder* encoder = nullptr;
                              MoxcKind kind = moxcEncoderOpen(&pixels->pixels, format, options, nullptr, 0, &target,
                                                              nullptr, &encoder, report);
                              if (kind == moxcOk) kind = moxcEncoderRows(encoder, &pixels->pixels, report);
                              if (kind == moxcOk) kind = moxcEncoderFinish(encoder, report);
                              moxcEncoderFree(encoder);
                              return kind;
                            });
                          }});
    }
  }
}

TEST_F(Memory, IsMissingWhenConverting) {
  for (const auto& [name, file] : in.files)
    for (const char* const format : {"jpg", "jp2", "png", "pnm", "tif", "bmp"})
      failEachAllocation({std::string(name) + " to " + format, [&, &file = file](MoxcReport* report) {
                            return toMemory([&](const MoxcTarget& target) {
                              const MoxcSource from = source(file);
                              return moxcConvert(&from, nullptr, format, nullptr, &target, nullptr, report);
                            });
                          }});
}

TEST_F(Memory, IsMissingWhenWritingPlanes) {
  struct Outputs {
    void* bytes[4] = {};
    std::size_t counts[4] = {};
  };
  failEachAllocation({"planes", [&](MoxcReport* report) {
                        Outputs outputs;
                        const MoxcSource from = source(in.named("jp2"));
                        const auto open = [](void* context, int32_t index, int32_t, MoxcTarget* target) {
                          Outputs& to = *static_cast<Outputs*>(context);
                          *target = moxcMemoryTarget(&to.bytes[index], &to.counts[index]);
                          return 0;
                        };
                        const MoxcKind kind = moxcConvertPlanes(&from, nullptr, "pgx", open, &outputs, nullptr, report);
                        for (void* bytes : outputs.bytes) moxcFree(bytes);
                        return kind;
                      }});
}

TEST_F(Memory, IsMissingWhenTranscoding) {
  MoxcTranscodeOptions progressive;
  moxcTranscodeOptionsInit(&progressive);
  progressive.progressive = 1;
  for (const MoxcTranscodeOptions* const options :
       {static_cast<const MoxcTranscodeOptions*>(nullptr), &std::as_const(progressive)})
    failEachAllocation({"transcode", [&](MoxcReport* report) {
                          return toMemory([&](const MoxcTarget& target) {
                            const MoxcSource from = source(in.named("jpg"));
                            return moxcTranscode(&from, options, &target, nullptr, report);
                          });
                        }});
}

TEST_F(Memory, IsMissingWhenComparing) {
  failEachAllocation({"compare", [&](MoxcReport* report) {
                        const MoxcSource a = source(in.named("png")), b = source(in.named("jpg"));
                        MoxcComparison comparison = sized<MoxcComparison>();
                        return moxcCompare(&a, &b, nullptr, &comparison, report, report);
                      }});
}

// Each file beside a JPEG file with other pixels, so that depth, opacity and colours are brought together.
TEST_F(Memory, IsMissingWhenComparingFormats) {
  for (const auto& [name, file] : in.files)
    failEachAllocation({name, [&, &file = file](MoxcReport* report) {
                          const MoxcSource a = source(file), b = source(in.named("jpg"));
                          MoxcComparison comparison = sized<MoxcComparison>();
                          return moxcCompare(&a, &b, nullptr, &comparison, report, report);
                        }});
}

TEST_F(Memory, IsMissingForAReport) {
  MoxcReport* report = nullptr;
  {
    const Failures failing(Resource::memory, 0);
    report = moxcReportNew();
  }
  EXPECT_EQ(nullptr, report);
}

Bytes contentOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// A file that cannot be completed leaves the old one as it is, and nothing beside it.
TEST_F(Memory, IsMissingForFiles) {
  namespace fs = std::filesystem;
  const fs::path folder = fs::path(testing::TempDir()) / "codec-memory-test";
  const std::string path = folder / "picture", old = "the old file";
  for (const char* const format : {"png", "jpg", "jp2", "ppm", "tif"}) {
    const auto prepare = [&] {
      fs::create_directories(folder);
      std::ofstream(path) << old;
    };
    const auto check = [&](MoxcKind kind) {
      EXPECT_EQ(kind != moxcOk, contentOf(path) == Bytes(old.begin(), old.end()));
      EXPECT_EQ(1, std::distance(fs::directory_iterator(folder), {}));
    };
    const auto run = [&](MoxcReport* report) {
      const MoxcTarget target = moxcFileTarget(path.c_str());
      return moxcEncode(&in.rgb.pixels, format, nullptr, nullptr, 0, &target, nullptr, report);
    };
    failEachAllocation({format, run, prepare, check});
    prepare();
    ASSERT_EQ(moxcOk, run(nullptr));
    failEachAllocation({format, [&](MoxcReport* report) {
                          const MoxcSource from = moxcFileSource(path.c_str());
                          return moxcDecodeInto(&from, nullptr, &in.rgb.pixels, nullptr, report);
                        }});
  }
  fs::remove_all(folder);
}

}  // namespace
