// The table of file formats: what each is called, how it is recognised, read and written, and what it can hold.
#pragma once

#include <array>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/input.h"
#include "formats/options.h"
#include "pictures/fit.h"
#include "pictures/rows.h"
#include "pictures/work.h"

namespace moxj {

// What `describe` finds in a file.
struct Description : Outcome {
  std::string format;  // "PNG", "JPEG" ...
  std::uint64_t width = 0, height = 0;
  int channels = 0;  // in the file, opacity included
  int bits = 0;      // per sample
  std::string text;  // many lines: everything that is known, for people
  std::string json;  // the same for programs
  std::shared_ptr<const Metadata> metadata;
};

// A new format is one file that defines one of these, and one line in table.cpp.
struct Format {
  std::string_view label;                 // for messages: "JPEG 2000"
  std::array<std::string_view, 4> names;  // names and extensions; the first is the one of outputs in a batch
  bool coded = false;                     // compressed by the engines: what `encode` writes. Others are for `decode`
  // Whether a file begins like this; at most kSniffed bytes. Null: another entry recognises it.
  bool (*sniff)(ByteSpan first) = nullptr;
  // Whether a file that no entry recognises has one of these after other bytes; at most kSearched bytes. Null: never.
  bool (*search)(ByteSpan first) = nullptr;
  Description (*describe)(Input& input, Work& work) = nullptr;
  // A reader; the input outlives it. The header may be read here or in push(). Null: files of this format are not read.
  std::unique_ptr<RowSource> (*open)(Input& input, const ReadOptions& options, Work& work) = nullptr;
  // Whether ReadOptions::native gives planes of YCbCr of 8 bits and full size, of the first picture. Null: never.
  bool (*hasFullYcbcr)(Input& input, Work& work) = nullptr;
  bool cuts = false;  // the reader knows regions: it gives little more, and says what is wanted (Picture::wanted)
  // A writer, which gets only what holds() allows. `notes` outlives it.
  std::unique_ptr<RowSink> (*create)(Output& output, const WriteOptions& options, Work& work,
                                     std::vector<std::string>& notes) = nullptr;
  Holds (*holds)(const WriteOptions& options) = nullptr;
  // The names of the options that have an effect; others are refused.
  std::span<const std::string_view> readOptions = {}, writeOptions = {};
};

inline constexpr std::size_t kSniffed = 18;
inline constexpr std::size_t kSearched = std::size_t{80} << 10;

std::span<const Format* const> formats();

// By any of its names, regardless of case; null if there is none.
const Format* formatNamed(std::string_view name);
// By the extension of a path; null if it is not a known one.
const Format* formatOfPath(std::string_view path);
// By the first bytes of an input. Throws Problem (notThisFormat), which names GIF and WebP.
const Format& recognise(Input& input);
// "jpg, jp2 or j2k": the first names of all formats that are coded, or that are not.
std::string formatNames(bool coded);

// Throws Problem (badOption) if an option that is given has no effect with this format: accepted and ignored, it would
// be a mistake that nobody notices.
void checkOptions(const Format& format, const ReadOptions& options);
void checkOptions(const Format& format, const WriteOptions& options);

// The largest input that can be a picture within the limits, with room for metadata.
std::uint64_t maxFileBytes(const Limits& limits);

}  // namespace moxj
