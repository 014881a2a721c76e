// The table of formats, recognition by first bytes, and the check of options.
#include <algorithm>

#include "base/problem.h"
#include "formats/formats.h"

namespace moxj {

extern const Format kJpegFormat, kJp2Format, kJ2kFormat, kPngFormat, kPpmFormat, kPgmFormat, kPnmFormat, kPamFormat,
    kPbmFormat, kPgxFormat, kBmpFormat, kTiffFormat, kRawFormat, kRawlFormat;

namespace {

constexpr const Format* kFormats[] = {&kJpegFormat, &kJp2Format,  &kJ2kFormat, &kPngFormat, &kPpmFormat,
                                      &kPgmFormat,  &kPnmFormat,  &kPamFormat, &kPbmFormat, &kPgxFormat,
                                      &kBmpFormat,  &kTiffFormat, &kRawFormat, &kRawlFormat};

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool equalIgnoringCase(std::string_view a, std::string_view b) {
  return std::ranges::equal(a, b, [](char x, char y) { return lower(x) == lower(y); });
}

// "JPEG, JPEG 2000, PNG ... or PGX": of the formats that are read, each label once, without those that stand for two.
std::string formatLabels() {
  std::vector<std::string_view> labels;
  for (const Format* format : kFormats)
    if (format->open && format->label.find('/') == format->label.npos &&
        std::ranges::find(labels, format->label) == labels.end())
      labels.push_back(format->label);
  std::string list;
  for (std::size_t i = 0; i < labels.size(); ++i)
    list.append(i == 0 ? "" : i + 1 < labels.size() ? ", " : " or ").append(labels[i]);
  return list;
}

// Why a file is refused that no format recognises.
std::string unrecognised(ByteSpan bytes) {
  if (bytes.empty()) return "the file is empty";
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  using namespace std::string_view_literals;
  const char* name = nullptr;
  if (text.starts_with("GIF87a"sv) || text.starts_with("GIF89a"sv)) name = "GIF";
  if (text.starts_with("RIFF"sv) && text.size() >= 12 && text.substr(8, 4) == "WEBP"sv) name = "WebP";
  if (name) return std::string(name) + " files are not supported";
  return "unrecognised format (not " + formatLabels() + ")";
}

// ---- Options -------------------------------------------------------------------------------------------------------

// A field that is given if it is not zero or false.
template <auto Field, class Options>
bool isSet(const Options& options) {
  return static_cast<bool>(options.*Field);
}

// A list that is given if it has an element.
template <auto Field>
bool hasAny(const WriteOptions& options) {
  return !(options.*Field).empty();
}

constexpr OptionField<ReadOptions> kReadFields[] = {
    {"reduce", isSet<&ReadOptions::reduce, ReadOptions>},
    {"layers", isSet<&ReadOptions::layers, ReadOptions>},
    {"nosmooth", isSet<&ReadOptions::nosmooth, ReadOptions>},
    {"fastMcu", isSet<&ReadOptions::fastMcu, ReadOptions>},
    {"components", isSet<&ReadOptions::components, ReadOptions>},
    {"picture", isSet<&ReadOptions::picture, ReadOptions>},
    {"upsample", isSet<&ReadOptions::upsample, ReadOptions>},
    {"tile", [](const ReadOptions& options) { return options.tile.has_value(); }},
};

constexpr OptionField<WriteOptions> kWriteFields[] = {
    {"quality", isSet<&WriteOptions::quality, WriteOptions>},
    {"sample", isSet<&WriteOptions::sample, WriteOptions>},
    {"grayscale", isSet<&WriteOptions::grayscale, WriteOptions>},
    {"progressive", isSet<&WriteOptions::progressive, WriteOptions>},
    {"scans", isSet<&WriteOptions::scans, WriteOptions>},
    {"optimize", isSet<&WriteOptions::optimize, WriteOptions>},
    {"fastMcu", isSet<&WriteOptions::fastMcu, WriteOptions>},
    {"restart", isSet<&WriteOptions::restart, WriteOptions>},
    {"lossless", isSet<&WriteOptions::lossless, WriteOptions>},
    {"predictor", isSet<&WriteOptions::predictor, WriteOptions>},
    {"point", isSet<&WriteOptions::point, WriteOptions>},
    {"ratio", hasAny<&WriteOptions::ratio>},
    {"bpp", hasAny<&WriteOptions::bpp>},
    {"levels", isSet<&WriteOptions::levels, WriteOptions>},
    {"block", [](const WriteOptions& options) { return options.blockWidth != 0 || options.blockHeight != 0; }},
    {"tile", [](const WriteOptions& options) { return options.tileWidth != 0 || options.tileHeight != 0; }},
    {"progression", isSet<&WriteOptions::progression, WriteOptions>},
    {"layers", isSet<&WriteOptions::layers, WriteOptions>},
    {"modes", isSet<&WriteOptions::modes, WriteOptions>},
    {"psnr", hasAny<&WriteOptions::psnr>},
    {"precincts", hasAny<&WriteOptions::precincts>},
    {"sop", isSet<&WriteOptions::sop, WriteOptions>},
    {"eph", isSet<&WriteOptions::eph, WriteOptions>},
    {"plt", isSet<&WriteOptions::plt, WriteOptions>},
    {"tlm", isSet<&WriteOptions::tlm, WriteOptions>},
    {"tileParts", isSet<&WriteOptions::tileParts, WriteOptions>},
    {"roi", [](const WriteOptions& options) { return !options.roi.empty(); }},
    {"visual", isSet<&WriteOptions::visual, WriteOptions>},
    {"comment", hasAny<&WriteOptions::comment>},
    {"rgb", isSet<&WriteOptions::rgb, WriteOptions>},
    {"factors", [](const WriteOptions& options) { return !options.factors.empty(); }},
    {"qualities", [](const WriteOptions& options) { return !options.qualities.empty(); }},
    {"depth", isSet<&WriteOptions::depth, WriteOptions>},
    {"cmyk", isSet<&WriteOptions::cmyk, WriteOptions>},
    {"words", isSet<&WriteOptions::words, WriteOptions>},
};

template <class Options>
void check(const Format& format, std::span<const std::string_view> allowed,
           std::span<const OptionField<Options>> fields, const Options& options) {
  for (const OptionField<Options>& field : fields)
    if (field.given(options) && std::ranges::find(allowed, field.name) == allowed.end())
      failOption(field.name, "is not for " + std::string(format.label) + " files");
}

}  // namespace

std::span<const Format* const> formats() { return kFormats; }

const Format* formatNamed(std::string_view name) {
  for (const Format* format : kFormats)
    for (const std::string_view known : format->names)
      if (!known.empty() && equalIgnoringCase(known, name)) return format;
  return nullptr;
}

const Format* formatOfPath(std::string_view path) {
  const std::string_view name = path.substr(path.rfind('/') + 1);
  const std::size_t dot = name.rfind('.');
  return dot == std::string_view::npos ? nullptr : formatNamed(name.substr(dot + 1));
}

const Format& recognise(Input& input) {
  const ByteSpan first = input.first(kSniffed);
  for (const Format* format : kFormats)
    if (format->sniff && format->sniff(first)) return *format;
  const ByteSpan more = input.first(kSearched);
  for (const Format* format : kFormats)
    if (format->search && format->search(more)) return *format;
  fail(Kind::notThisFormat, unrecognised(input.first(kSniffed)));
}

std::string formatNames(bool coded) {
  std::string list;
  std::string_view last;
  for (const Format* format : kFormats) {
    if (format->coded != coded) continue;
    if (!last.empty()) list.append(list.empty() ? "" : ", ").append(last);
    last = format->names[0];
  }
  return list.append(list.empty() ? "" : " or ").append(last);
}

void checkOptions(const Format& format, const ReadOptions& options) {
  check<ReadOptions>(format, format.readOptions, kReadFields, options);
}

void checkOptions(const Format& format, const WriteOptions& options) {
  check<WriteOptions>(format, format.writeOptions, kWriteFields, options);
}

std::uint64_t maxFileBytes(const Limits& limits) {
  constexpr std::uint64_t perPixel = 3 * 6;  // a plain PPM with samples of five digits
  constexpr std::uint64_t metadata = std::uint64_t{64} << 20;
  std::uint64_t samples = 0, bytes = 0;
  if (__builtin_mul_overflow(perPixel, limits.maxPixels, &samples) || __builtin_add_overflow(metadata, samples, &bytes))
    return UINT64_MAX;
  return bytes;
}

}  // namespace moxj
