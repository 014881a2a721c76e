// The table of formats, and recognition by first bytes.
#include "pictures/format.h"

#include <algorithm>
#include <array>

namespace moxj {

namespace {

struct Entry {
  Format format;
  FormatKind kind;
  std::string_view label;
  std::array<std::string_view, 4> names;  // the first is the extension of outputs in a batch
};

// In the order of the enumeration.
constexpr Entry kFormats[] = {
    {Format::jpeg, FormatKind::coded, "JPEG", {"jpg", "jpeg", "jpe", "jfif"}},
    {Format::jp2, FormatKind::coded, "JPEG 2000", {"jp2"}},
    {Format::j2k, FormatKind::coded, "JPEG 2000", {"j2k", "j2c", "jpc"}},
    {Format::png, FormatKind::picture, "PNG", {"png"}},
    {Format::ppm, FormatKind::picture, "PPM", {"ppm"}},
    {Format::pgm, FormatKind::picture, "PGM", {"pgm"}},
    {Format::pnm, FormatKind::picture, "PPM/PGM", {"pnm"}},
    {Format::pgx, FormatKind::picture, "PGX", {"pgx"}},
};

const Entry& entryOf(Format format) { return kFormats[static_cast<int>(format)]; }

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool equalIgnoringCase(std::string_view a, std::string_view b) {
  return std::ranges::equal(a, b, [](char x, char y) { return lower(x) == lower(y); });
}

constexpr std::array<std::uint8_t, 12> kJp2Signature{0, 0, 0, 12, 'j', 'P', ' ', ' ', 0x0D, 0x0A, 0x87, 0x0A};

bool isSpace(std::uint8_t byte) { return byte == ' ' || (byte >= '\t' && byte <= '\r'); }

}  // namespace

FormatKind kindOf(Format format) { return entryOf(format).kind; }
std::string_view labelOf(Format format) { return entryOf(format).label; }
std::string_view extensionOf(Format format) { return entryOf(format).names[0]; }

std::optional<Format> formatNamed(std::string_view name) {
  for (const Entry& entry : kFormats)
    for (const std::string_view known : entry.names)
      if (!known.empty() && equalIgnoringCase(known, name)) return entry.format;
  return std::nullopt;
}

std::optional<Format> formatOfPath(std::string_view path) {
  const std::string_view name = path.substr(path.rfind('/') + 1);
  const std::size_t dot = name.rfind('.');
  return dot == std::string_view::npos ? std::nullopt : formatNamed(name.substr(dot + 1));
}

std::optional<Format> sniff(std::span<const std::uint8_t> bytes) {
  if (bytes.size() < 3) return std::nullopt;
  if (bytes[0] == 0xFF && bytes[1] == 0xD8) return Format::jpeg;
  if (bytes[0] == 0xFF && bytes[1] == 0x4F && bytes[2] == 0xFF) return Format::j2k;
  if (bytes.size() >= kJp2Signature.size() && std::ranges::equal(bytes.first(kJp2Signature.size()), kJp2Signature))
    return Format::jp2;
  if (bytes[0] == 'P' && bytes[1] == 'G' && (bytes[2] == ' ' || bytes[2] == '\t')) return Format::pgx;
  if (bytes[0] == 0x89 && bytes[1] == 'P' && bytes[2] == 'N') return Format::png;
  if (bytes[0] == 'P' && bytes[1] >= '1' && bytes[1] <= '7' && (isSpace(bytes[2]) || bytes[2] == '#'))
    return Format::pnm;
  return std::nullopt;
}

std::string unrecognised(std::span<const std::uint8_t> bytes) {
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  using namespace std::string_view_literals;
  const char* name = nullptr;
  if (text.starts_with("II*\0"sv) || text.starts_with("MM\0*"sv)) name = "TIFF";
  if (text.starts_with("BM"sv) && text.size() >= 10 && text.substr(6, 4) == "\0\0\0\0"sv) name = "BMP";
  if (text.starts_with("GIF87a"sv) || text.starts_with("GIF89a"sv)) name = "GIF";
  if (text.starts_with("RIFF"sv) && text.size() >= 12 && text.substr(8, 4) == "WEBP"sv) name = "WebP";
  if (name) return std::string(name) + " files are not supported";
  return "unrecognised format (not JPEG, JPEG 2000, PNG, PPM, PGM or PGX)";
}

std::string formatNames(FormatKind kind) {
  std::string list;
  std::string_view last;
  for (const Entry& entry : kFormats) {
    if (entry.kind != kind) continue;
    if (!last.empty()) list.append(list.empty() ? "" : ", ").append(last);
    last = entry.names[0];
  }
  return list.append(list.empty() ? "" : " or ").append(last);
}

}  // namespace moxj
