// How the codec reports that it cannot go on: one exception type.
#pragma once

#include <stdexcept>
#include <string>

namespace moxj {

enum class Kind {
  notThisFormat,  // the input is not a file of this format, or of any known one
  damaged,        // it is damaged beyond use, or violates its standard
  unsupported,    // its kind is not supported, or the output format cannot hold it
  input,          // it cannot be read
  badOption,      // an option or a scan script does not fit the picture
  limit,          // more than a limit allows
  noMemory,
  output,     // the output cannot be written
  cancelled,  // by the progress callback
  internal    // a bug in the codec
};

// What the caller can change so that the same picture is accepted: a limit to raise, or an option to choose anew.
enum class Setting { none, maxPixels, maxMemory, maxMemoryOrTiles, maxScans, optimize, reduce };

// Its text is the cause, to be printed after "FILE: ": no capital letter, no full stop, no name of an option.
struct Problem : std::runtime_error {
  Problem(Kind k, const std::string& text, Setting s = Setting::none) : std::runtime_error(text), kind(k), setting(s) {}
  Kind kind;
  Setting setting;
};

[[noreturn]] inline void fail(Kind kind, const std::string& text, Setting setting = Setting::none) {
  throw Problem(kind, text, setting);
}

// Whether the cause lies in the contents of the input. Otherwise another attempt may read more of the same file.
constexpr bool liesInFile(Kind kind) {
  return kind == Kind::notThisFormat || kind == Kind::damaged || kind == Kind::unsupported;
}

}  // namespace moxj
