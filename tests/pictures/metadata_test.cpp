// Metadata that is damaged, cut or hostile: whatever its bytes are, reading it stays inside them and ends soon, and
// changing it changes no more than what it is told to.
#include <algorithm>
#include <functional>
#include <initializer_list>
#include <memory>

#include "pictures/exif.h"
#include "pictures/icc.h"
#include "pictures/imageresources.h"
#include "pictures/metadata.h"
#include "support.h"

namespace moxj {
namespace {

using Block = std::vector<std::uint8_t>;

class Builder {
 public:
  explicit Builder(bool little) : little_(little) {}
  Builder& text(const char* bytes, std::size_t count) {
    made_.insert(made_.end(), bytes, bytes + count);
    return *this;
  }
  Builder& number(std::uint32_t value, int size) {
    for (int i = 0; i < size; ++i)
      made_.push_back(static_cast<std::uint8_t>(value >> 8 * (little_ ? i : size - 1 - i)));
    return *this;
  }
  // A tag with one number, or where its data are.
  Builder& entry(unsigned tag, unsigned type, std::uint32_t count, std::uint32_t value) {
    number(tag, 2).number(type, 2).number(count, 4);
    return type == 3 && count == 1 ? number(value, 2).number(0, 2) : number(value, 4);
  }
  Block take() { return std::move(made_); }

 private:
  bool little_;
  Block made_;
};

// Orientation, camera, size, a directory of details, a thumbnail, and a tag of type UNDEFINED.
Block exif(bool little) {
  Builder made(little);
  made.text(little ? "II" : "MM", 2).number(42, 2).number(8, 4).number(5, 2);
  made.entry(0x0100, 4, 1, 640).entry(0x010F, 2, 6, 134).entry(0x0112, 3, 1, 6).entry(0x8769, 4, 1, 74);
  made.entry(0xB002, 7, 16, 140).number(104, 4);
  made.number(2, 2).entry(0xA002, 3, 1, 640).entry(0xA003, 4, 1, 480).number(0, 4);
  made.number(2, 2).entry(0x0201, 4, 1, 156).entry(0x0202, 4, 1, 5).number(0, 4);
  made.text("Maker\0", 6).text("0123456789abcdef", 16).text("\xFF\xD8xyz", 5);
  return made.take();
}

Block profile() {
  Block made(128 + 4 + 24 + 40);
  const auto put = [&](std::size_t at, const char* text, std::size_t count) {
    std::copy_n(text, count, made.begin() + static_cast<std::ptrdiff_t>(at));
  };
  made[3] = static_cast<std::uint8_t>(made.size());
  put(12, "mntrRGB XYZ ", 12);
  put(36, "acsp", 4);
  put(128, "\0\0\0\2desc\0\0\0\x9C\0\0\0\x14rXYZ\0\0\0\xB0\0\0\0\x14", 28);
  put(156, "desc\0\0\0\0\0\0\0\5Name\0\0\0\0", 20);
  put(176, "XYZ \0\0\0\0\0\0\x6F\xA2\0\0\x38\xF5\0\0\x03\x90", 20);
  return made;
}

Block resources() {
  const std::uint8_t iptc[] = {0x1C, 2, 5, 0, 1, 'x', 0};
  const Bytes first = iptcResource(iptc);
  Block made(first.begin(), first.end());
  const char other[] = "8BIM\x07\xD0\3abc\0\0\0\3def";
  made.insert(made.end(), other, other + sizeof other);
  return made;
}

// Cut at every length, and with every byte, every pair and every four set to values that are too small or too large.
// The bytes are copied to memory of exactly their size, so that sanitizers see every access outside.
void forEachDamage(const Block& good, const std::function<void(std::span<std::uint8_t>)>& use,
                   const std::vector<std::uint8_t>& values = {0x00, 0x01, 0x08, 0x7F, 0x80, 0xFF}) {
  const auto run = [&](const Block& damaged) {
    const std::unique_ptr<std::uint8_t[]> exact(new std::uint8_t[damaged.size()]);
    std::ranges::copy(damaged, exact.get());
    use({exact.get(), damaged.size()});
  };
  for (std::size_t size = 0; size <= good.size(); ++size)
    run({good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size)});
  for (std::size_t at = 0; at < good.size(); ++at)
    for (const std::size_t count : {1, 2, 4})
      for (const std::uint8_t value : values) {
        Block damaged = good;
        for (std::size_t i = at; i < std::min(at + count, good.size()); ++i) damaged[i] = value;
        run(damaged);
      }
}

TEST(Metadata, DamagedExifDataAreRead) {
  for (const bool little : {false, true}) {
    const Block good = exif(little);
    ASSERT_EQ(161u, good.size());
    const ExifFacts facts = factsOf(good);
    EXPECT_EQ(6, facts.orientation);
    EXPECT_EQ("Maker", facts.make);
    EXPECT_EQ(5u, facts.thumbnail.size());
    forEachDamage(good, [](std::span<std::uint8_t> damaged) {
      const ExifFacts read = factsOf(damaged);
      EXPECT_TRUE(read.orientation >= 1 && read.orientation <= 8);
      EXPECT_TRUE(read.thumbnail.empty() ||
                  (read.thumbnail.data() >= damaged.data() &&
                   read.thumbnail.data() + read.thumbnail.size() <= damaged.data() + damaged.size()));
    });
  }
}

TEST(Metadata, ExifDataAreChangedInPlace) {
  for (const bool little : {false, true}) {
    Block data = exif(little);
    setOrientation(data, 1);
    EXPECT_EQ(1, factsOf(data).orientation);
    setPixelSize(data, 48, 30);
    const auto at = [&](std::size_t place, int size) {
      std::uint32_t value = 0;
      for (int i = 0; i < size; ++i)
        value = value << 8 | data[place + static_cast<std::size_t>(little ? size - 1 - i : i)];
      return value;
    };
    EXPECT_EQ(48u, at(18, 4));  // the width in the first directory, and both numbers in the details
    EXPECT_EQ(48u, at(84, 2));
    EXPECT_EQ(30u, at(96, 4));
    setPixelSize(data, 70000, 30);  // a tag of 16 bits has no room for it
    EXPECT_EQ(70000u, at(18, 4));
    EXPECT_EQ(48u, at(84, 2));
    EXPECT_EQ(16u, dataOf(data, 0xB002).bytes.size());
    EXPECT_EQ(little, dataOf(data, 0xB002).little);
    EXPECT_TRUE(unlinkThumbnail(data));
    EXPECT_TRUE(factsOf(data).thumbnail.empty());
    EXPECT_FALSE(unlinkThumbnail(data));
  }
}

TEST(Metadata, DamagedExifDataAreChanged) {
  for (const bool little : {false, true})
    forEachDamage(exif(little), [](std::span<std::uint8_t> damaged) {
      const Block before(damaged.begin(), damaged.end());
      const auto changes = [&] {
        std::size_t count = 0;
        for (std::size_t i = 0; i < before.size(); ++i) count += before[i] != damaged[i];
        return count;
      };
      setOrientation(damaged, 1);
      EXPECT_LE(changes(), 4u);
      setPixelSize(damaged, 48, 30);
      unlinkThumbnail(damaged);
      EXPECT_LE(changes(), 4u + 4 * 4 + 4);
      dataOf(damaged, 0xB002);
    });
}

TEST(Metadata, DamagedProfilesAreRead) {
  const std::optional<IccFacts> facts = iccFactsOf(profile());
  ASSERT_TRUE(facts);
  EXPECT_EQ("Name", facts->description);
  forEachDamage(profile(), [](std::span<std::uint8_t> damaged) {
    if (const std::optional<IccFacts> read = iccFactsOf(damaged)) {
      EXPECT_LE(read->description.size(), 80u);
      for (const char c : read->description) EXPECT_TRUE(c >= ' ' && c <= '~');
    }
  });
}

TEST(Metadata, DamagedImageResourcesAreRead) {
  const ImageResources good = imageResourcesOf(resources());
  EXPECT_FALSE(good.damaged);
  EXPECT_FALSE(good.others.empty());
  forEachDamage(resources(), [](std::span<std::uint8_t> damaged) {
    const ImageResources read = imageResourcesOf(damaged);
    EXPECT_LE(read.iptc.size() + read.others.size(), damaged.size());
  });
}

TEST(Metadata, DamagedPacketsAreChanged) {
  const char text[] = "<x tiff:Orientation='6' tiff:Orientation=\"8\"><tiff:Orientation>3</tiff:Orientation>";
  Block packet(text, text + sizeof text - 1);
  setXmpOrientation(packet, 1);
  EXPECT_EQ(3, std::ranges::count(packet, '1'));
  forEachDamage(Block(text, text + sizeof text - 1),
                [](std::span<std::uint8_t> damaged) { setXmpOrientation(damaged, 1); });
}

// Chunks and boxes of metadata around a picture.
TEST(Metadata, OfDamagedFilesIsRead) {
  const Picture picture = test::filled(Picture::layout(5, 4, 3, 8, Colour::rgb));
  Metadata metadata;
  metadata.add(MetadataKind::icc, "", profile());
  metadata.add(MetadataKind::exif, "", exif(true));
  metadata.add(MetadataKind::xmp, "", Block{'<', 'x', '/', '>'});
  metadata.add(MetadataKind::iptc, "", Block{0x1C, 2, 5, 0, 1, 'x'});
  metadata.horizontalResolution = metadata.verticalResolution = 1000;
  for (const char* const name : {"png", "jp2"}) {
    Picture described = picture;
    described.metadata = std::make_shared<const Metadata>(metadata);
    const std::string made = test::fileOf(described, name);
    const Block file(made.begin(), made.end());
    int refused = 0, read = 0;
    forEachDamage(file,
                  [&](std::span<std::uint8_t> damaged) {
                    Work work({.maxPixels = 1 << 16, .maxMemory = 64 << 20});
                    Input input = Input::memory(damaged);
                    try {
                      const Description found = recognise(input).describe(input, work);
                      ++read;
                      std::size_t bytes = 0;
                      if (found.metadata)
                        for (const MetadataBlock& block : found.metadata->blocks) bytes += block.bytes.size();
                      EXPECT_LE(bytes, damaged.size() + 4096);
                    } catch (const Problem&) {
                      ++refused;
                    }
                  },
                  {0x00, 0xFF});
    EXPECT_GT(refused, 0) << name;
    EXPECT_GT(read, refused) << name;
  }
}

}  // namespace
}  // namespace moxj
