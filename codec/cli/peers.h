// Options by the names that they have in other tools for the same formats.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "cli/option_table.h"

namespace moxj::cli {

// Names with one dash that no option of the tool has: cjpeg's, djpeg's and jpegtran's, and letters. They work like the
// options of option_table.h.
std::span<const Option> peerOptions();

// What to use instead of a name of another tool; empty if there is nothing.
std::string counterpartOf(std::string_view name, Command command);

// The same, or else the options that a name begins, with or without its dash; empty if nothing comes close. Names that
// mean something else elsewhere, or count in another unit, are never guessed.
std::string suggestionFor(std::string_view name, Command command);

}  // namespace moxj::cli
