// Progress callbacks that cancel: at every single call the work ends with Kind::cancelled. (The address sanitizer sees
// what is not freed.)
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "base/progress.h"
#include "j2k/j2k.h"
#include "jpeg/jpeg.h"
#include "pictures/png.h"

namespace moxj {
namespace {

Picture picture() {
  Picture picture = Picture::make(300, 200, 3);
  for (int y = 0; y < picture.height; ++y)
    for (std::size_t i = 0; i < picture.rowBytes(); ++i) picture.row(y)[i] = static_cast<std::uint8_t>(y * 7 + i * 3);
  return picture;
}

// Returns how often `work` reports its progress.
int cancelAtEveryCall(const std::function<void(const Progress&)>& work) {
  for (int last = 1;; ++last) {
    int calls = 0;
    const Progress progress = [&](std::uint64_t, std::uint64_t) { return ++calls < last; };
    try {
      work(progress);
      return calls;
    } catch (const Problem& problem) {
      EXPECT_EQ(problem.kind, Kind::cancelled) << problem.what();
      EXPECT_EQ(calls, last);  // none after the one that cancelled
    }
  }
}

ByteSpan spanOf(const Bytes& bytes) { return {bytes.data(), bytes.size()}; }

TEST(Cancel, Jpeg) {
  const Picture whole = picture();
  const Image image = imageOf(whole);
  std::vector<std::string> notes;
  for (const bool progressive : {false, true}) {
    const jpeg::EncodeOptions options{.progressive = progressive};
    EXPECT_GT(cancelAtEveryCall([&](const Progress& p) { jpeg::encode(whole, options, p); }), 2);
    const Bytes file = jpeg::encode(whole, options);
    EXPECT_GT(cancelAtEveryCall([&](const Progress& p) { jpeg::decode(spanOf(file), {}, p); }), 2);
    EXPECT_GT(cancelAtEveryCall([&](const Progress& p) { jpeg::transcode(spanOf(file), {}, {}, p); }), 1);
  }
  EXPECT_GT(cancelAtEveryCall([&](const Progress& p) { jpeg::encodeLossless(image, {}, notes, p); }), 2);
  const Bytes lossless = jpeg::encodeLossless(image, {}, notes);
  EXPECT_GT(cancelAtEveryCall([&](const Progress& p) { jpeg::decodeImage(spanOf(lossless), {}, p); }), 2);
}

TEST(Cancel, Jpeg2000) {
  const Image image = imageOf(picture());
  j2k::EncodeOptions options;
  options.lossless = true;
  options.tileWidth = options.tileHeight = 100;
  options.threads = 3;
  EXPECT_EQ(cancelAtEveryCall([&](const Progress& p) { j2k::encode(image, options, {}, p); }), 6);
  const Bytes file = j2k::encode(image, options, {});
  EXPECT_EQ(cancelAtEveryCall([&](const Progress& p) { j2k::decode(spanOf(file), {}, p, {.threads = 3}); }), 6);
}

TEST(Cancel, Png) {
  const Picture whole = picture();
  EXPECT_GT(cancelAtEveryCall([&](const Progress& p) { writePng(whole, p); }), 2);
  std::vector<std::string> notes;
  EXPECT_GT(cancelAtEveryCall([&](const Progress& p) { writePngImage(imageOf(whole), notes, p); }), 2);
  Content file = writePng(whole);
  const Source source{{file.head.data(), file.head.size()}, nullptr};
  EXPECT_GT(cancelAtEveryCall([&](const Progress& p) { readPng(source, {}, p); }), 2);
}

}  // namespace
}  // namespace moxj
