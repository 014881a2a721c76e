// The commands, and the texts of --help.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "cli/options.h"

namespace moxj::cli {

struct CommandText {
  Command command;
  std::string_view name;
  std::string_view files;
  std::size_t minFiles, maxFiles;
  std::string_view help;
  std::string_view notes;
};

std::span<const CommandText> commands();

// Whether it writes files, and takes --output-dir.
bool converts(const CommandText& command);

struct StatusText {
  int status;
  std::string_view meaning;
};

// What --help says without a command.
struct GeneralText {
  std::string_view purpose, examples;
  std::span<const StatusText> statuses;
};

const GeneralText& generalText();

std::string generalHelp();
std::string helpOf(const CommandText& command);

}  // namespace moxj::cli
