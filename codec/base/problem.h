// How the codec reports that it cannot go on: one exception type.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

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
// `option`: the one that Problem::option names.
enum class Setting { none, maxPixels, maxMemory, maxMemoryOrTiles, maxScans, optimize, option };

// Its text is the cause, to be printed after "FILE: ": no capital letter, no full stop, no name of an option.
struct Problem : std::runtime_error {
  Problem(Kind k, const std::string& text, Setting s = Setting::none) : std::runtime_error(text), kind(k), setting(s) {}
  Kind kind;
  Setting setting;
  std::string option;  // the field of the options that the text begins with, if `setting` is `option`
  std::string path;    // of the file that cannot be written, if it has one
};

[[noreturn]] inline void fail(Kind kind, const std::string& text, Setting setting = Setting::none) {
  throw Problem(kind, text, setting);
}

// Throws Problem (badOption): the name of the option and what is wrong, such as "is not for PNG files".
[[noreturn]] inline void failOption(std::string_view option, const std::string& what) {
  Problem problem(Kind::badOption, std::string(option) + " " + what, Setting::option);
  problem.option = option;
  throw problem;
}

// Whether the cause lies in the contents of the input. Otherwise another attempt may read more of the same file.
constexpr bool liesInFile(Kind kind) {
  return kind == Kind::notThisFormat || kind == Kind::damaged || kind == Kind::unsupported;
}

}  // namespace moxj
