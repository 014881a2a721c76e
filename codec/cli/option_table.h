// The options of all commands, in one table that drives both the parser and --help.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "cli/options.h"
#include "cli/values.h"

namespace moxj::cli {

// The formats that an option applies to: of the output or, for `decode`, of the input.
enum class Of { all, jpeg, dct, jpeg2000 };  // dct: JPEG, but not lossless

// The headings of --help.
enum class Group { general, jpeg, jpeg2000 };

struct Option {
  unsigned commands;  // a set, see setOf()
  std::string_view name;
  std::string_view value;  // shown in the help; empty: the option has no value; in brackets: it may be left out
  std::string_view help;
  Complaint (*use)(Settings&, const std::string& text);
  Of of = Of::all;
  Group group = of == Of::all ? Group::general : of == Of::jpeg2000 ? Group::jpeg2000 : Group::jpeg;
};

// Sets of commands.
constexpr unsigned setOf(Command command) { return 1u << static_cast<int>(command); }

std::span<const Option> options();

}  // namespace moxj::cli
