// Each allocation and each thread start of the tool fails once. Without memory it ends with status 4 and a line that
// says so; without a thread it does the same work. A file is complete or as it was, and nothing is left beside it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include "cli/stopwatch.h"
#include "cli/tool.h"
#include "support/failures.h"

namespace {

namespace fs = std::filesystem;
using test::Extent;
using test::Failures;
using test::Resource;

constexpr int kOk = 0, kLimit = 4;

std::string contentOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// Leads a descriptor into a file while it exists.
class Redirected {
 public:
  Redirected(int descriptor, const fs::path& path) : descriptor_(descriptor), saved_(dup(descriptor)) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(file, descriptor);
    close(file);
  }
  ~Redirected() {
    dup2(saved_, descriptor_);
    close(saved_);
  }
  Redirected(const Redirected&) = delete;
  Redirected& operator=(const Redirected&) = delete;

 private:
  int descriptor_, saved_;
};

using Files = std::map<std::string, std::string>;  // contents by name

struct Result {
  int status = 0;
  Files files;  // of the folder "out"
  std::string messages, printed;
};

class Tool : public testing::Test {
 protected:
  void SetUp() override {
    static int number = 0;
    folder_ =
        fs::path(testing::TempDir()) / ("moxj-failures-" + std::to_string(getpid()) + "-" + std::to_string(++number));
    fs::create_directories(folder_);
    before_ = fs::current_path();
    fs::current_path(folder_);
    makeInputs();
  }
  void TearDown() override {
    fs::current_path(before_);
    fs::remove_all(folder_);
  }

  // Runs the tool in a folder that has an old file of each name that it writes.
  Result run(const std::string& line, Resource resource = Resource::memory, long number = Failures::kNone,
             Extent extent = Extent::one) {
    fs::remove_all("out");
    fs::create_directory("out");
    for (const std::string& name : written_) std::ofstream("out/" + name) << kOld;
    std::vector<std::string> words = {"moxj"};
    std::istringstream stream(line);
    for (std::string word; stream >> word;) words.push_back(word);
    std::vector<char*> pointers;
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    Result result;
    {
      const Redirected messages(STDERR_FILENO, "messages"), printed(STDOUT_FILENO, "printed");
      const Failures failing(resource, number, extent);
      result.status = moxj::cli::runTool(static_cast<int>(words.size()), pointers.data());
      Failures::stop();
      requests_ = failing.requests();
      happened_ = failing.happened();
    }
    for (const fs::directory_entry& entry : fs::directory_iterator("out"))
      result.files[entry.path().filename()] = contentOf(entry.path());
    result.messages = contentOf("messages");
    result.printed = contentOf("printed");
    return result;
  }

  // A run without failures; notes which files it writes.
  Result expectedOf(const std::string& line) {
    written_.clear();
    const Result result = run(line);
    EXPECT_EQ(kOk, result.status) << line << ": " << result.messages;
    for (const auto& [name, content] : result.files) written_.push_back(name);
    return run(line);
  }

  void failEachAllocation(const std::string& line, Extent extent);
  void failEachThread(const std::string& line);

  static constexpr char kOld[] = "an old file";
  std::vector<std::string> written_;
  long requests_ = 0;
  bool happened_ = false;

 private:
  void makeInputs() {
    std::ofstream picture("picture.ppm", std::ios::binary);
    constexpr int kWidth = 72, kHeight = 50;
    picture << "P6 " << kWidth << ' ' << kHeight << " 255\n";
    for (int y = 0; y < kHeight; ++y)
      for (int x = 0; x < kWidth; ++x)
        for (int channel = 0; channel < 3; ++channel) picture.put(static_cast<char>(x * 5 + y * (channel + 2)));
    picture.close();
    std::ofstream("scans") << "0,1,2: 0-0, 0, 0;\n0: 1-63, 0, 0;\n1: 1-63, 0, 0;\n2: 1-63, 0, 0;\n";
    for (const char* const made : {"sequential.jpg", "progressive.jpg --progressive", "lossless.jpg --lossless",
                                   "picture.jp2", "tiles.j2k --tile 32x32 --bpp 4 --layers 2"})
      EXPECT_EQ(kOk, run(std::string("encode picture.ppm --quiet ") + made).status);
    for (const char* const made : {"picture.png", "picture.bmp", "picture.tif", "picture.pam"})
      EXPECT_EQ(kOk, run(std::string("decode picture.ppm --quiet ") + made).status);
  }

  fs::path folder_, before_;
};

// Every file is as it was or as it should be; a batch may have written some before.
void checkFiles(const Result& result, const Result& expected, bool complete) {
  for (const auto& [name, content] : result.files) {
    const auto found = expected.files.find(name);
    ASSERT_NE(expected.files.end(), found) << name << " is left";
    const bool written = content == found->second;
    EXPECT_TRUE(written || (!complete && content == "an old file")) << name;
  }
}

void Tool::failEachAllocation(const std::string& line, Extent extent) {
  SCOPED_TRACE(line + (extent == Extent::one ? "" : ", and all further allocations"));
  const Result expected = expectedOf(line);
  const long requests = requests_;
  ASSERT_LT(0, requests);
  for (long number = 0; number < requests; number = test::nextRequest(line, requests, number, 48)) {
    SCOPED_TRACE("allocation " + std::to_string(number) + " of " + std::to_string(requests));
    const Result result = run(line, Resource::memory, number, extent);
    checkFiles(result, expected, result.status == kOk);
    if (result.status == kOk) {
      EXPECT_EQ(expected.printed, result.printed);
    } else {
      EXPECT_EQ(kLimit, result.status) << result.messages;
      EXPECT_NE(std::string::npos, result.messages.find("not enough memory")) << result.messages;
    }
    if (HasFailure()) return;
  }
}

void Tool::failEachThread(const std::string& line) {
  SCOPED_TRACE(line);
  const Result expected = expectedOf(line);
  long starts = 0;
  for (const Extent extent : {Extent::one, Extent::allFurther}) {
    for (long number = 0;; ++number) {
      const Result result = run(line, Resource::threads, number, extent);
      EXPECT_EQ(kOk, result.status) << result.messages;
      EXPECT_EQ(expected.messages, result.messages);
      EXPECT_EQ(expected.printed, result.printed);
      checkFiles(result, expected, true);
      if (!happened_) break;
      ++starts;
    }
  }
  EXPECT_LT(0, starts);
}

constexpr const char* kLines[] = {
    "encode picture.ppm out/a.jpg --threads 1",
    "encode picture.bmp out/a.jpg --progressive --comment text --threads 1",
    "encode picture.ppm out/a.jpg --scans scans --threads 1",
    "encode picture.png out/a.jpg --lossless --threads 1",
    "encode picture.tif out/a.jp2 --ratio 10 --layers 2 --tile 32x32 --threads 1",
    "encode sequential.jpg out/a.j2k --psnr 30,40 --threads 1",
    "decode sequential.jpg out/a.png --threads 1",
    "decode progressive.jpg out/a.tif --region 8,8,30,20 --threads 1",
    "decode lossless.jpg out/a.bmp --threads 1",
    "decode picture.jp2 out/a.png --reduce 1 --threads 1",
    "decode tiles.j2k out/a.pgx --components --threads 1",
    "decode picture.jp2 - --format ppm --threads 1 --quiet",
    "transcode sequential.jpg out/a.jpg --progressive --rotate 90 --trim",
    "info sequential.jpg picture.jp2 picture.png picture.tif",
    "info --json progressive.jpg tiles.j2k picture.bmp",
    "compare sequential.jpg picture.png --threads 1",
    "encode --output-dir out sequential.jpg picture.png --jobs 1 --threads 1",
    "--help",
    "encode --help",
    "--version",
};

TEST_F(Tool, WithoutMemoryForOneAllocation) {
  for (const char* const line : kLines) failEachAllocation(line, Extent::one);
}

TEST_F(Tool, WithoutThreads) {
  for (const char* const line : {
           "encode picture.ppm out/a.jp2 --threads 3",
           "decode tiles.j2k out/a.ppm --threads 3",
           "encode --output-dir out sequential.jpg progressive.jpg picture.png --format jp2 --jobs 3",
       })
    failEachThread(line);
}

// What moxj bench times on several threads.
TEST(Stopwatch, WithoutAThread) {
  moxj::cli::Stopwatch stopwatch([] { return [] { return moxStatusOk; }; });
  for (const long number : {0, 1, 2}) {
    const Failures failing(Resource::threads, number);
    EXPECT_THROW(stopwatch.measure(0.001, 3), std::system_error);
  }
  EXPECT_LT(0, stopwatch.measure(0.001, 3));
}

}  // namespace
