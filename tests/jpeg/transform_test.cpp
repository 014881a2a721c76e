// Turned, mirrored and cropped coefficients: transforms that undo each other, orientations, edges, limits.
#include "jpeg/transform.h"

#include "jpeg/codedpicture.h"
#include "support.h"

namespace moxj::jpeg {
namespace {

constexpr Transform kAll[] = {{},          kFlipHorizontal, kFlipVertical, kTranspose,
                              kTransverse, kRotate90,       kRotate180,    kRotate270};

// Coefficients refer to the budget that they were charged to.
CodedPicture read(const File& file) {
  static Work work;
  return readCoefficients(file, 0, work);
}

void apply(CodedPicture& picture, const Transform& turned) {
  static Budget budget(1 << 28);
  transform(picture, {.transform = turned}, budget);
}

void expectSame(const CodedPicture& a, const CodedPicture& b) {
  ASSERT_EQ(a.frame.width, b.frame.width);
  ASSERT_EQ(a.frame.height, b.frame.height);
  ASSERT_EQ(a.frame.components.size(), b.frame.components.size());
  EXPECT_EQ(a.steps, b.steps);
  for (int i = 0; i < static_cast<int>(a.frame.components.size()); ++i) {
    const FrameComponent &c = a.frame.components[i], &d = b.frame.components[i];
    ASSERT_EQ(c.horizontal, d.horizontal);
    ASSERT_EQ(c.vertical, d.vertical);
    for (int y = 0; y < c.blocksHigh; ++y) {
      for (int x = 0; x < c.blocksWide; ++x) {
        const Mox16s *const p = a.coefficients->block(i, x, y), *const q = b.coefficients->block(i, x, y);
        ASSERT_TRUE(std::equal(p, p + 64, q)) << "component " << i << ": " << x << ", " << y;
      }
    }
  }
}

// Edges that are not mirrored come back too, as long as the same edges stay.
TEST(Transform, UndoneByItsInverse) {
  for (const Sampling sampling : {Sampling::s444, Sampling::s422, Sampling::s420}) {
    const File file = fileOf(testPicture(64, 48, 3), {.sampling = sampling});
    const CodedPicture before = read(file);
    for (const Transform& turned : kAll) {
      SCOPED_TRACE(testing::Message() << turned.transpose << turned.mirrorX << turned.mirrorY);
      const bool quarter = turned == kRotate90 || turned == kRotate270;
      CodedPicture picture = read(file);
      for (int times = 0; times < (quarter ? 4 : 2); ++times) apply(picture, turned);
      expectSame(before, picture);
    }
  }
  for (const Transform& turned : {kFlipHorizontal, kFlipVertical, kRotate180, kTranspose}) {
    const File file = fileOf(testPicture(61, 43, 3));
    CodedPicture picture = read(file);
    apply(picture, turned);
    apply(picture, turned);
    expectSame(read(file), picture);
  }
}

TEST(Transform, CombineAsMatricesDo) {
  const File file = fileOf(testPicture(64, 48, 3));
  const Transform products[][3] = {{kTranspose, kFlipHorizontal, kRotate90}, {kTranspose, kFlipVertical, kRotate270},
                                   {kRotate90, kRotate90, kRotate180},       {kRotate180, kRotate90, kRotate270},
                                   {kTranspose, kRotate180, kTransverse},    {kFlipVertical, kTranspose, kRotate90}};
  for (const auto& [first, second, both] : products) {
    CodedPicture steps = read(file), once = read(file);
    apply(steps, first);
    apply(steps, second);
    apply(once, both);
    expectSame(steps, once);
  }
}

// Exif names the place of the first row and the first column: 6 is "right, top", for example.
TEST(Transform, OfOrientations) {
  const Transform expected[] = {{},         kFlipHorizontal, kRotate180,  kFlipVertical,
                                kTranspose, kRotate90,       kTransverse, kRotate270};
  for (int orientation = 1; orientation <= 8; ++orientation)
    EXPECT_EQ(expected[orientation - 1], transformOf(orientation)) << orientation;
}

// Signs change where the frequency is odd in the direction that is mirrored, and there only.
TEST(Transform, OfOneBlock) {
  const File file = fileOf(testPicture(8, 8, 1, 60), {.quality = 95});
  const CodedPicture before = read(file);
  for (const Transform& turned : kAll) {
    CodedPicture picture = read(file);
    apply(picture, turned);
    const Mox16s *const from = before.coefficients->block(0, 0, 0), *const to = picture.coefficients->block(0, 0, 0);
    for (int v = 0; v < 8; ++v) {
      for (int u = 0; u < 8; ++u) {
        const int sign = (turned.mirrorX && u % 2 ? -1 : 1) * (turned.mirrorY && v % 2 ? -1 : 1);
        EXPECT_EQ(sign * (turned.transpose ? from[8 * u + v] : from[8 * v + u]), to[8 * v + u]) << u << ", " << v;
      }
    }
  }
}

TEST(Transform, CropsAtAnMcu) {
  const File file = fileOf(testPicture(61, 43, 3));
  Budget budget(1 << 28);
  CodedPicture whole = read(file), part = read(file);
  transform(part, {.crop = {.width = 20, .height = 5, .x = 33, .y = 20}}, budget);
  EXPECT_EQ(21, part.frame.width);
  EXPECT_EQ(9, part.frame.height);
  for (int i = 0; i < 3; ++i) {
    const FrameComponent& c = part.frame.components[i];
    for (int x = 0; x < c.blocksWide; ++x) {
      const Mox16s* const block = part.coefficients->block(i, x, 0);
      EXPECT_TRUE(std::equal(block, block + 64, whole.coefficients->block(i, x + 2 * c.horizontal, c.vertical)));
    }
  }
}

TEST(Transform, ChargesTheCopy) {
  const File file = fileOf(testPicture(64, 48, 3), {.sampling = Sampling::s444});
  const std::uint64_t bytes = 64 * 48 * 3 * sizeof(Mox16s);
  Budget enough(bytes), tooLittle(bytes - 1);
  CodedPicture picture = read(file);
  transform(picture, {.transform = kRotate90}, enough);
  expectProblem(Kind::limit, "memory", [&] { transform(picture, {.transform = kRotate90}, tooLittle); });
  transform(picture, {.crop = {.width = 9}}, tooLittle);
  transform(picture, {.grayscale = true}, tooLittle);
}

}  // namespace
}  // namespace moxj::jpeg
