// Each allocation of each function fails once: the answer is moxcNoMemory, nothing leaks, and the next call works. The
// program is linked so that the library's calls of malloc and its like come here first; C++'s operator new does anyway.
#include <cstdlib>
#include <functional>
#include <new>

#include "support.h"

namespace {

long countdown = -1;  // allocations that succeed before one fails; -1: all do
long allocations = 0;

bool failsNow() {
  if (countdown < 0) return false;
  ++allocations;
  return countdown-- == 0;
}

}  // namespace

extern "C" {
void* __real_malloc(std::size_t);
void* __real_calloc(std::size_t, std::size_t);
void* __real_realloc(void*, std::size_t);
int __real_posix_memalign(void**, std::size_t, std::size_t);
void* __real_aligned_alloc(std::size_t, std::size_t);
void* __wrap_malloc(std::size_t size) { return failsNow() ? nullptr : __real_malloc(size); }
void* __wrap_calloc(std::size_t count, std::size_t size) { return failsNow() ? nullptr : __real_calloc(count, size); }
void* __wrap_realloc(void* old, std::size_t size) { return failsNow() ? nullptr : __real_realloc(old, size); }
int __wrap_posix_memalign(void** to, std::size_t alignment, std::size_t size) {
  return failsNow() ? 12 : __real_posix_memalign(to, alignment, size);
}
void* __wrap_aligned_alloc(std::size_t alignment, std::size_t size) {
  return failsNow() ? nullptr : __real_aligned_alloc(alignment, size);
}
}

void* operator new(std::size_t size) {
  void* const made = failsNow() ? nullptr : __real_malloc(size ? size : 1);
  if (!made) throw std::bad_alloc();
  return made;
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return failsNow() ? nullptr : __real_malloc(size ? size : 1);
}
void operator delete(void* bytes) noexcept { std::free(bytes); }
void operator delete(void* bytes, std::size_t) noexcept { std::free(bytes); }

namespace {

using namespace codec;

struct Call {
  std::string name;
  std::function<MoxcKind(MoxcReport*)> run;
};

// Runs a call until it gets through without a failure. A call that does without some memory succeeds earlier.
void failEachAllocation(const Call& call) {
  SCOPED_TRACE(call.name);
  const Report report;
  ASSERT_EQ(moxcOk, call.run(report)) << report.text();
  int failures = 0;
  for (long after = 0;; ++after) {
    allocations = 0;
    countdown = after;
    const MoxcKind kind = call.run(report);
    const bool reached = countdown < 0;
    countdown = -1;
    if (!reached) {
      EXPECT_EQ(moxcOk, kind) << report.text();
      break;
    }
    if (kind == moxcOk) continue;
    ++failures;
    EXPECT_EQ(moxcNoMemory, kind) << "allocation " << after << ": " << report.text();
    EXPECT_EQ(kind, moxcReportKind(report));
    EXPECT_NE("", report.text());
    if (testing::Test::HasFailure()) break;
  }
  EXPECT_LT(0, failures);
}

struct Inputs {
  Pixels rgb = picture(moxcRgb, 24, 18), deep = picture(moxcRgba, 24, 18, 16), bgr = picture(moxcBgr, 24, 18);
  Bytes jpeg = encode(rgb, "jpg"), png = encode(deep, "png"), jp2 = encode(deep, "jp2"), ppm = encode(rgb, "ppm"),
        pgx = encode(picture(moxcGrey, 24, 18), "pgx"), progressive, lossless;
  Inputs() {
    MoxcWriteOptions options;
    moxcWriteOptionsInit(&options);
    options.progressive = 1;
    progressive = encode(rgb, "jpg", &options);
    moxcWriteOptionsInit(&options);
    options.lossless = 1;
    lossless = encode(rgb, "jpg", &options);
  }
};

template <class Make>
MoxcKind toMemory(Make&& make) {
  void* bytes = nullptr;
  std::size_t count = 0;
  const MoxcTarget target = moxcMemoryTarget(&bytes, &count);
  const MoxcKind kind = make(target);
  if ((kind == moxcOk) != (bytes != nullptr)) return moxcInternal;
  moxcFree(bytes);
  return kind;
}

class Memory : public testing::Test {
 protected:
  const Inputs in;
  const std::vector<std::pair<const char*, const Bytes*>> files = {{"jpg", &in.jpeg},
                                                                   {"progressive", &in.progressive},
                                                                   {"lossless", &in.lossless},
                                                                   {"png", &in.png},
                                                                   {"jp2", &in.jp2},
                                                                   {"ppm", &in.ppm},
                                                                   {"pgx", &in.pgx}};
};

TEST_F(Memory, IsMissingWhenProbing) {
  for (const auto& [name, file] : files)
    failEachAllocation({name, [&, file = file](MoxcReport* report) {
                          const MoxcSource from = source(*file);
                          const char* format = nullptr;
                          return moxcProbe(&from, &format, report);
                        }});
}

TEST_F(Memory, IsMissingWhenDescribing) {
  for (const auto& [name, file] : files)
    failEachAllocation({name, [&, file = file](MoxcReport* report) {
                          const MoxcSource from = source(*file);
                          MoxcDescription* description = nullptr;
                          const MoxcKind kind = moxcDescribe(&from, nullptr, &description, report);
                          moxcDescriptionFree(description);
                          return kind;
                        }});
}

TEST_F(Memory, IsMissingWhenDecoding) {
  for (const auto& [name, file] : files) {
    for (const MoxcLayout layout : {static_cast<MoxcLayout>(0), moxcBgra, moxcRgb565, moxcGrey}) {
      failEachAllocation({name, [&, file = file](MoxcReport* report) {
                            const MoxcSource from = source(*file);
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
  for (const auto& [name, file] : files)
    failEachAllocation({name, [&, file = file](MoxcReport* report) {
                          const MoxcSource from = source(*file);
                          return moxcDecodeInto(&from, nullptr, &to.pixels, nullptr, report);
                        }});
}

TEST_F(Memory, IsMissingWhenDecodingRows) {
  const auto ignore = [](void*, const MoxcPixels*, int32_t, int32_t) { return 0; };
  for (const auto& [name, file] : files)
    failEachAllocation({name, [&, file = file](MoxcReport* report) {
                          const MoxcSource from = source(*file);
                          MoxcWanted wanted = sized<MoxcWanted>();
                          wanted.layout = moxcBgr;
                          return moxcDecodeRows(&from, nullptr, &wanted, ignore, nullptr, nullptr, report);
                        }});
}

TEST_F(Memory, IsMissingWhenEncoding) {
  MoxcWriteOptions plain, progressive, lossless, layered;
  for (MoxcWriteOptions* options : {&plain, &progressive, &lossless, &layered}) moxcWriteOptionsInit(options);
  progressive.progressive = 1;
  lossless.lossless = 1;
  layered.ratio = 3;
  layered.layers = 2;
  const std::tuple<const char*, const MoxcWriteOptions*> uses[] = {
      {"jpg", &plain}, {"jpg", &progressive}, {"jpg", &lossless}, {"jp2", &plain}, {"j2k", &layered},
      {"png", &plain}, {"ppm", &plain},       {"pgm", &plain},    {"pgx", &plain}};
  const MoxcMetadata block = {moxcComment, "key", "text", 4};
  for (const auto& [format, options] : uses) {
    if (std::string(format) == "pgx") continue;
    for (const Pixels* const pixels : {&in.rgb, &in.bgr}) {
      failEachAllocation({format, [&, format = format, options = options](MoxcReport* report) {
                            return toMemory([&](const MoxcTarget& target) {
                              return moxcEncode(&pixels->pixels, format, options, &block, 1, &target, nullptr, report);
                            });
                          }});
      failEachAllocation({format, [&, format = format, options = options](MoxcReport* report) {
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
  for (const auto& [name, file] : files)
    for (const char* const format : {"jpg", "jp2", "png", "pnm"})
      failEachAllocation({std::string(name) + " to " + format, [&, file = file](MoxcReport* report) {
                            return toMemory([&](const MoxcTarget& target) {
                              const MoxcSource from = source(*file);
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
                        const MoxcSource from = source(in.jp2);
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
                            const MoxcSource from = source(in.jpeg);
                            return moxcTranscode(&from, options, &target, nullptr, report);
                          });
                        }});
}

TEST_F(Memory, IsMissingWhenComparing) {
  failEachAllocation({"compare", [&](MoxcReport* report) {
                        const MoxcSource a = source(in.png), b = source(in.jpeg);
                        MoxcComparison comparison = sized<MoxcComparison>();
                        return moxcCompare(&a, &b, nullptr, &comparison, report, report);
                      }});
}

TEST_F(Memory, IsMissingForAReport) {
  countdown = 0;
  MoxcReport* const report = moxcReportNew();
  countdown = -1;
  EXPECT_EQ(nullptr, report);
}

// Files and streams.
TEST_F(Memory, IsMissingForFiles) {
  const std::string path = testing::TempDir() + "codec-memory-test.png";
  failEachAllocation({"file", [&](MoxcReport* report) {
                        const MoxcTarget target = moxcFileTarget(path.c_str());
                        const MoxcKind kind =
                            moxcEncode(&in.rgb.pixels, "png", nullptr, nullptr, 0, &target, nullptr, report);
                        if (kind != moxcOk) return kind;
                        const MoxcSource from = moxcFileSource(path.c_str());
                        const Pixels& to = in.rgb;
                        return moxcDecodeInto(&from, nullptr, &to.pixels, nullptr, report);
                      }});
  std::remove(path.c_str());
}

}  // namespace
