// A directory is a count, entries of tag, type, count and value, and the offset of the next one. Values that do not fit
// into their entry lie elsewhere.
#include "formats/tiff_directory.h"

#include <algorithm>
#include <utility>

namespace moxj::tiff {

namespace {

// What differs between TIFF and BigTIFF.
struct Format {
  int header, count, entry, offset;
};
constexpr Format kClassic = {8, 2, 12, 4}, kBig = {16, 8, 20, 8};
constexpr const Format& formatOf(bool big) { return big ? kBig : kClassic; }

constexpr int kMaxEntries = 4096;
constexpr std::uint64_t kMaxValues = std::uint64_t{64} << 20;  // bytes of a directory

std::uint64_t even(std::uint64_t size) { return size + size % 2; }

}  // namespace

int sizeOf(std::uint16_t type) {
  constexpr int kSizes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4, 0, 0, 8, 8, 8};
  return type < std::size(kSizes) ? kSizes[type] : 0;
}

const Entry* Directory::find(std::uint16_t tag) const {
  const auto found = std::ranges::find(entries, tag, &Entry::tag);
  return found == entries.end() ? nullptr : &*found;
}

// ---- Reading -------------------------------------------------------------------------------------------------------

std::optional<File> File::of(ByteSpan bytes) {
  if (bytes.size() < static_cast<std::size_t>(kClassic.header) || bytes[0] != bytes[1]) return std::nullopt;
  if (bytes[0] != 'I' && bytes[0] != 'M') return std::nullopt;
  File file(bytes, bytes[0] == 'I', false);
  const std::uint64_t number = file.at(bytes, 2, 2);
  file.big_ = number == 43;
  return number == 42 || number == 43 ? std::optional(file) : std::nullopt;
}

// 0 beyond the end.
std::uint64_t File::at(ByteSpan bytes, std::uint64_t offset, int size) const {
  const auto count = static_cast<std::uint64_t>(size);
  if (offset > bytes.size() || count > bytes.size() - offset) return 0;
  std::uint64_t value = 0;
  for (std::uint64_t i = 0; i < count; ++i)
    value = value << 8 | bytes[static_cast<std::size_t>(offset + (little_ ? count - 1 - i : i))];
  return value;
}

Directory File::first(bool (*wanted)(std::uint16_t tag)) const {
  const Format& format = formatOf(big_);
  return read(at(bytes_, static_cast<std::uint64_t>(format.header - format.offset), format.offset), wanted);
}

Directory File::child(const Directory& parent, std::uint16_t tag) const {
  const Entry* const entry = parent.find(tag);
  return entry ? read(number(entry), nullptr) : Directory();
}

Directory File::read(std::uint64_t offset, bool (*wanted)(std::uint16_t tag)) const {
  const Format& format = formatOf(big_);
  const auto inEntry = static_cast<std::uint64_t>(format.offset);
  const std::uint64_t count = std::min<std::uint64_t>(at(bytes_, offset, format.count), kMaxEntries);
  Directory directory;
  std::uint64_t total = 0;
  for (std::uint64_t i = 0; i < count; ++i) {
    const std::uint64_t entry =
        offset + static_cast<std::uint64_t>(format.count) + i * static_cast<unsigned>(format.entry);
    Entry made;
    made.tag = static_cast<std::uint16_t>(at(bytes_, entry, 2));
    made.type = static_cast<std::uint16_t>(at(bytes_, entry + 2, 2));
    const auto size = static_cast<std::uint64_t>(sizeOf(made.type));
    const std::uint64_t values = at(bytes_, entry + 4, format.offset);
    if (size == 0 || values == 0 || values > bytes_.size() || (wanted && !wanted(made.tag))) continue;
    const std::uint64_t place = entry + 4 + inEntry;
    const std::uint64_t begin = values * size <= inEntry ? place : at(bytes_, place, format.offset);
    if (begin > bytes_.size() || values * size > bytes_.size() - begin) continue;
    if (total + values * size > kMaxValues || directory.find(made.tag)) continue;
    total += values * size;
    const ByteSpan value = bytes_.subspan(static_cast<std::size_t>(begin), static_cast<std::size_t>(values * size));
    made.value.assign(value.begin(), value.end());
    directory.entries.push_back(std::move(made));
  }
  return directory;
}

std::uint64_t File::number(const Entry* entry, std::size_t index) const {
  if (!entry) return 0;
  const int size = sizeOf(entry->type);
  return at(entry->value, index * static_cast<std::size_t>(size), size);
}

double File::rational(const Entry* entry, std::size_t index) const {
  if (!entry || entry->type != kRational) return 0;
  const auto numerator = static_cast<double>(at(entry->value, 8 * index, 4)),
             denominator = static_cast<double>(at(entry->value, 8 * index + 4, 4));
  return denominator > 0 ? numerator / denominator : 0;
}

// ---- Writing -------------------------------------------------------------------------------------------------------

void Values::append(Bytes& to, std::uint64_t value, int size) const {
  for (int i = 0; i < size; ++i) to.push_back(static_cast<std::uint8_t>(value >> 8 * (little_ ? i : size - 1 - i)));
}

Entry Values::numbers(std::uint16_t tag, Type type, const std::vector<std::uint64_t>& numbers) const {
  Bytes bytes;
  for (const std::uint64_t number : numbers) append(bytes, number, sizeOf(type));
  return {tag, type, {bytes.begin(), bytes.end()}};
}

Entry Values::rational(std::uint16_t tag, std::uint32_t numerator, std::uint32_t denominator) const {
  Entry entry = numbers(tag, kLong, {numerator, denominator});
  entry.type = kRational;
  return entry;
}

Entry Values::bytes(std::uint16_t tag, Type type, ByteSpan value) { return {tag, type, {value.begin(), value.end()}}; }

namespace {

class Serialiser {
 public:
  Serialiser(bool little, bool big) : values_(little), little_(little), big_(big), format_(formatOf(big)) {}

  Bytes run(const Directory& first) {
    bytes_.append(little_ ? "II" : "MM", 2);
    values_.append(bytes_, big_ ? 43 : 42, 2);
    if (big_) values_.append(bytes_, 8, 2);
    if (big_) values_.append(bytes_, 0, 2);
    values_.append(bytes_, static_cast<std::uint64_t>(format_.header), format_.offset);
    directory(first);
    return std::move(bytes_);
  }

 private:
  // The entries, then the values that do not fit, then the children.
  void directory(const Directory& directory) {
    std::vector<const Entry*> entries;
    for (const Entry& entry : directory.entries) entries.push_back(&entry);
    std::vector<Entry> offsets;
    offsets.reserve(directory.children.size());
    std::uint64_t child = end(directory);
    for (const auto& [tag, below] : directory.children) {
      offsets.push_back(values_.number(tag, big_ ? kLong8 : kLong, child));
      child += size(below);
    }
    for (const Entry& entry : offsets) entries.push_back(&entry);
    std::ranges::sort(entries, {}, [](const Entry* entry) { return entry->tag; });
    std::uint64_t place = bytes_.size() + table(directory);
    values_.append(bytes_, entries.size(), format_.count);
    for (const Entry* const entry : entries) {
      values_.append(bytes_, entry->tag, 2);
      values_.append(bytes_, entry->type, 2);
      values_.append(bytes_, entry->count(), format_.offset);
      if (fits(*entry)) {
        bytes_.append(entry->value);
        for (std::size_t i = entry->value.size(); i < static_cast<std::size_t>(format_.offset); ++i)
          bytes_.push_back(0);
      } else {
        values_.append(bytes_, place, format_.offset);
        place += even(entry->value.size());
      }
    }
    values_.append(bytes_, 0, format_.offset);
    for (const Entry* const entry : entries) {
      if (fits(*entry)) continue;
      bytes_.append(entry->value);
      if (entry->value.size() % 2 != 0) bytes_.push_back(0);
    }
    for (const auto& [tag, below] : directory.children) this->directory(below);
  }

 public:
  std::uint64_t size(const Directory& directory) const {
    std::uint64_t size = own(directory);
    for (const auto& [tag, child] : directory.children) size += this->size(child);
    return size;
  }

 private:
  bool fits(const Entry& entry) const { return entry.value.size() <= static_cast<std::size_t>(format_.offset); }
  // Of the count, the entries and the offset of the next directory.
  std::uint64_t table(const Directory& directory) const {
    const std::size_t entries = directory.entries.size() + directory.children.size();
    return static_cast<std::uint64_t>(format_.count + format_.offset) + entries * static_cast<unsigned>(format_.entry);
  }
  // With its values, without its children.
  std::uint64_t own(const Directory& directory) const {
    std::uint64_t size = table(directory);
    for (const Entry& entry : directory.entries)
      if (!fits(entry)) size += even(entry.value.size());
    return size;
  }
  std::uint64_t end(const Directory& directory) const { return bytes_.size() + own(directory); }

  Values values_;
  bool little_, big_;
  const Format& format_;
  Bytes bytes_;
};

}  // namespace

Bytes serialised(const Directory& first, bool little, bool big) { return Serialiser(little, big).run(first); }

std::uint64_t serialisedSize(const Directory& first, bool big) {
  return static_cast<std::uint64_t>(formatOf(big).header) + Serialiser(true, big).size(first);
}

}  // namespace moxj::tiff
