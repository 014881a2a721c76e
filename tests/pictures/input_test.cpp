// Inputs of every kind: the same bytes whatever the order and size of the requests.
#include "base/input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <numeric>

#include "base/problem.h"
#include "pictures/support.h"

namespace moxj {
namespace {

std::string content(std::size_t size) {
  std::string text(size, '\0');
  for (std::size_t i = 0; i < size; ++i) text[i] = static_cast<char>(i * 7 + i / 251);
  return text;
}

class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& bytes) {
    const int file = mkstemp(path_);
    EXPECT_EQ(write(file, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    close(file);
  }
  ~TemporaryFile() { unlink(path_); }
  const char* path() const { return path_; }

 private:
  char path_[32] = "/tmp/input_test.XXXXXX";
};

std::string readAll(Input& input, std::size_t step) {
  std::string text;
  std::string piece(step, '\0');
  while (const std::size_t count = input.read(reinterpret_cast<std::uint8_t*>(piece.data()), step))
    text.append(piece, 0, count);
  return text;
}

std::string textOf(ByteSpan bytes) { return std::string(bytes.begin(), bytes.end()); }

constexpr std::uint64_t kNoLimit = UINT64_MAX;

TEST(Inputs, TheSameBytesInEveryWay) {
  const std::string text = content(700000);
  const TemporaryFile file(text);
  const auto descriptor = [&] { return open(file.path(), O_RDONLY); };
  for (int kind = 0; kind < 4; ++kind) {
    const int opened = descriptor();
    const auto make = [&]() -> Input {
      lseek(opened, 0, SEEK_SET);
      if (kind == 0) return Input::memory(test::spanOf(text));
      if (kind == 1) return Input::file(file.path());
      if (kind == 2) return Input::descriptor(opened);
      return test::dripping(test::spanOf(text), 1000);
    };
    for (const std::size_t peeked : {std::size_t{0}, std::size_t{12}, std::size_t{5000}, std::size_t{800000}}) {
      Input whole = make();
      if (peeked) {
        EXPECT_EQ(textOf(whole.first(peeked)), text.substr(0, peeked)) << kind;
        EXPECT_EQ(textOf(whole.first(3)), text.substr(0, 3)) << kind;
      }
      EXPECT_EQ(textOf(whole.all(kNoLimit)), text) << kind;
      for (const std::size_t step : {std::size_t{777}, std::size_t{1} << 20}) {
        Input pieces = make();
        if (peeked) pieces.first(peeked);
        EXPECT_EQ(readAll(pieces, step), text) << kind;
      }
      Input inPlace = make();
      if (peeked) inPlace.first(peeked);
      const ByteSpan bytes = inPlace.inPlace();
      EXPECT_EQ(bytes.empty(), kind == 3);
      inPlace.discard(100);
      inPlace.discard(bytes.size());
      EXPECT_EQ(readAll(inPlace, 4096), text) << kind;
    }
    close(opened);
  }
}

// Not from its beginning, so it cannot be mapped.
TEST(Inputs, ADescriptorThatHasBeenReadFrom) {
  const std::string text = content(1000);
  const TemporaryFile file(text);
  const int opened = open(file.path(), O_RDONLY);
  lseek(opened, 5, SEEK_SET);
  Input input = Input::descriptor(opened);
  EXPECT_TRUE(input.inPlace().empty());
  EXPECT_EQ(textOf(input.all(kNoLimit)), text.substr(5));
  close(opened);
}

TEST(Inputs, StreamsAreLimited) {
  const std::string text = content(1000);
  Input fits = test::dripping(test::spanOf(text), 100);
  EXPECT_EQ(fits.all(1000).size(), 1000u);
  Input longer = test::dripping(test::spanOf(text), 100);
  try {
    longer.all(999);
    ADD_FAILURE();
  } catch (const Problem& problem) {
    EXPECT_EQ(problem.kind, Kind::limit);
    EXPECT_EQ(problem.setting, Setting::maxPixels);
    EXPECT_STREQ(problem.what(), "longer than 999 bytes, which is too long for the limit of pixels");
  }
}

TEST(Inputs, WhatCannotBeRead) {
  const auto expectFailure = [](const char* path, const std::string& text) {
    try {
      Input::file(path).first(1);
      ADD_FAILURE() << path;
    } catch (const Problem& problem) {
      EXPECT_EQ(problem.kind, Kind::input);
      EXPECT_EQ(problem.what(), text);
    }
  };
  expectFailure("/nowhere/at/all", "cannot be read: No such file or directory");
  expectFailure("/", "cannot be read: Is a directory");
}

TEST(Inputs, EmptyOnes) {
  const TemporaryFile file("");
  Input inputs[] = {Input::memory({}), Input::file(file.path()), test::dripping({}, 1)};
  for (Input& input : inputs) {
    EXPECT_TRUE(input.first(12).empty());
    EXPECT_TRUE(input.all(kNoLimit).empty());
  }
}

}  // namespace
}  // namespace moxj
