// Each start of a thread fails once, and all do: the others do its work, and the result is the same. Memory that is
// missing while several threads work ends the call, and nobody waits for what does not come.
#include <algorithm>
#include <functional>

#include "support.h"
#include "support/failures.h"

namespace {

using namespace codec;
using test::Extent;
using test::Failures;
using test::Resource;

constexpr int kThreads = 4;

MoxcRun onThreads() {
  MoxcRun run = sized<MoxcRun>();
  run.threads = kThreads;
  return run;
}

Bytes bytesOf(const MoxcPixels& pixels) {
  Bytes all;
  const Pixels view = viewOf(pixels);
  for (int plane = 0; plane < view.planes(); ++plane)
    for (int y = 0; y < pixels.planes[plane].height; ++y)
      all.insert(all.end(), view.at(plane, y, 0), view.at(plane, y, view.samplesInRow(plane)));
  return all;
}

// What a call makes: a file, pixels, or a number.
struct Made {
  MoxcKind kind = moxcOk;
  Bytes bytes;
};

template <class Make>
Made file(Make&& make) {
  void* bytes = nullptr;
  std::size_t count = 0;
  const MoxcTarget target = moxcMemoryTarget(&bytes, &count);
  const MoxcKind kind = make(target);
  Failures::stop();
  return {kind, kind == moxcOk ? taken(bytes, count) : Bytes()};
}

struct Call {
  std::string name;
  std::function<Made(const MoxcRun*)> run;
};

class Threads : public testing::Test {
 protected:
  static constexpr int kWidth = 240, kHeight = 160;

  void SetUp() override {
    const auto add = [&](const char* name, const Pixels& pixels, const char* format,
                         const std::function<void(MoxcWriteOptions&)>& choose) {
      const auto options = std::make_shared<MoxcWriteOptions>();
      moxcWriteOptionsInit(options.get());
      choose(*options);
      files.emplace_back(name, encode(pixels, format, options.get()));
      calls.push_back({std::string("encode ") + name, [&pixels, format, options](const MoxcRun* run) {
                         return file([&](const MoxcTarget& target) {
                           return moxcEncode(&pixels.pixels, format, options.get(), nullptr, 0, &target, run, nullptr);
                         });
                       }});
    };
    add("jpg", rgb, "jpg", [](MoxcWriteOptions&) {});
    add("restarts", rgb, "jpg", [](MoxcWriteOptions& options) { options.restart = 5; });
    add("progressive", rgb, "jpg", [](MoxcWriteOptions& options) { options.progressive = 1; });
    add("lossless", rgb, "jpg", [](MoxcWriteOptions& options) { options.lossless = 1; });
    add("12 bits", deep, "jpg", [](MoxcWriteOptions& options) { options.depth = 12; });
    add("jp2", rgb, "jp2", [](MoxcWriteOptions&) {});
    add("tiles", rgb, "j2k", [](MoxcWriteOptions& options) {
      options.ratio = 8;
      options.layers = 2;
      options.tileWidth = options.tileHeight = 128;
    });
    add("png", rgb, "png", [](MoxcWriteOptions&) {});
    for (const auto& [name, bytes] : files) addReading(name, bytes);
    for (const char* const name : {"jpg", "progressive"}) addTranscoding(name);
  }

  const Pixels rgb = picture(moxcRgb, kWidth, kHeight), deep = picture(moxcRgb, kWidth, kHeight, 12);
  std::vector<std::pair<std::string, Bytes>> files;
  std::vector<Call> calls;

 private:
  void addReading(const std::string& name, const Bytes& bytes) {
    calls.push_back({"decode " + name, [bytes](const MoxcRun* run) {
                       const MoxcSource from = source(bytes);
                       Picture made;
                       const MoxcKind kind = moxcDecode(&from, nullptr, nullptr, run, &made.picture, nullptr);
                       Failures::stop();
                       return Made{kind, kind == moxcOk ? bytesOf(made.pixels()) : Bytes()};
                     }});
    for (const char* const format : {"ppm", "jp2"})
      calls.push_back({"convert " + name + " to " + format, [bytes, format](const MoxcRun* run) {
                         return file([&](const MoxcTarget& target) {
                           const MoxcSource from = source(bytes);
                           return moxcConvert(&from, nullptr, format, nullptr, &target, run, nullptr);
                         });
                       }});
    calls.push_back({"compare " + name, [bytes, first = files[0].second](const MoxcRun* run) {
                       const MoxcSource a = source(bytes), b = source(first);
                       MoxcComparison result = sized<MoxcComparison>();
                       const MoxcKind kind = moxcCompare(&a, &b, run, &result, nullptr, nullptr);
                       Failures::stop();
                       Bytes psnr(sizeof result.all.psnr);
                       std::memcpy(psnr.data(), &result.all.psnr, psnr.size());
                       return Made{kind, kind == moxcOk ? psnr : Bytes()};
                     }});
  }
  void addTranscoding(const std::string& name) {
    const auto bytes = std::ranges::find(files, name, &std::pair<std::string, Bytes>::first)->second;
    calls.push_back({"transcode " + name, [bytes](const MoxcRun* run) {
                       return file([&](const MoxcTarget& target) {
                         const MoxcSource from = source(bytes);
                         MoxcTranscodeOptions options;
                         moxcTranscodeOptionsInit(&options);
                         options.progressive = 1;
                         return moxcTranscode(&from, &options, &target, run, nullptr);
                       });
                     }});
  }
};

TEST_F(Threads, ThatCannotBeStartedAreDoneWithout) {
  const MoxcRun run = onThreads();
  long starts = 0;
  for (const Call& call : calls) {
    SCOPED_TRACE(call.name);
    const Made expected = call.run(nullptr);
    ASSERT_EQ(moxcOk, expected.kind);
    for (const Extent extent : {Extent::one, Extent::allFurther})
      for (long number = 0;; ++number) {
        const Failures failing(Resource::threads, number, extent);
        const Made made = call.run(&run);
        EXPECT_EQ(moxcOk, made.kind) << "start " << number;
        EXPECT_TRUE(expected.bytes == made.bytes) << "start " << number;
        if (!failing.happened()) break;
        ++starts;
      }
  }
  EXPECT_LT(static_cast<long>(calls.size()), starts);  // most calls start threads
}

// The number of an allocation is another one in each run. What counts is that each run ends.
TEST_F(Threads, MeetMissingMemory) {
  const MoxcRun run = onThreads();
  for (const Call& call : calls) {
    SCOPED_TRACE(call.name);
    const Made expected = call.run(nullptr);
    long requests = 0;
    {
      const Failures none(Resource::memory, Failures::kNone);
      call.run(&run);
      requests = none.requests();
    }
    for (const Extent extent : {Extent::one, Extent::allFurther})
      for (long number = 0; number < requests; number = test::nextRequest(call.name, requests, number, 8)) {
        Made made;
        {
          const Failures failing(Resource::memory, number, extent);
          made = call.run(&run);
        }
        if (made.kind != moxcOk)
          ASSERT_EQ(moxcNoMemory, made.kind) << "allocation " << number << " of " << requests;
        else
          ASSERT_TRUE(expected.bytes == made.bytes) << "allocation " << number << " of " << requests;
      }
  }
}

}  // namespace
