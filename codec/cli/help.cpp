// Lists of commands and options, with one line for each.
#include "cli/help.h"

#include <algorithm>
#include <cstdint>

#include "cli/formats.h"
#include "cli/option_table.h"
#include "cli/peers.h"

namespace moxj::cli {

namespace {

constexpr std::size_t kHelpColumn = 32;

constexpr std::string_view kConversionNotes =
    R"(Inputs are recognised by their contents. The file name - means standard input or output. An existing
file is replaced only when the new one is complete. With --output-dir all names are inputs; each
output has the name of its input, with the extension of its format. Each file that fails is reported
in one line on standard error; the exit status is that of the first failure in the order given.
Options may have one dash: -quality 90.
)";

constexpr std::string_view kTranscodeNotes =
    R"(The coefficients do not change; with --rotate and the like they move. Edges that cannot be mirrored
stay in place, with a note, unless --trim or --perfect is given. Without --progressive, --scans,
--sequential and --optimize the process does not change either, and the Huffman tables are
optimised; --optimize alone makes a sequential file. The file name - means standard input or output.
An existing file is replaced only when the new one is complete. With --output-dir all names are
inputs. Options may have one dash: -rotate 90.
)";

constexpr CommandText kCommands[] = {
    {Command::encode, "encode", "IN OUT", 1, SIZE_MAX, "Encode a picture as JPEG or JPEG 2000", kConversionNotes},
    {Command::decode, "decode", "IN OUT", 1, SIZE_MAX, "Decode a file to PNG, PPM or another format", kConversionNotes},
    {Command::transcode, "transcode", "IN OUT", 1, SIZE_MAX, "Losslessly re-encode a JPEG file", kTranscodeNotes},
    {Command::info, "info", "FILE...", 1, SIZE_MAX, "Print the format, tables and segments of files",
     "The file name - means standard input. Of several files, each text begins with the file name, and\n"
     "JSON is an array.\n"},
    {Command::compare, "compare", "A B", 2, 2, "Measure the difference between two pictures",
     "Prints PSNR in dB, the largest difference between two samples and SSIM (1 if equal), for each\n"
     "channel, opacity included, and for all. The formats may differ. Samples are compared at the larger\n"
     "depth of the two files, whose largest value (255 for 8 bits) is the peak of the PSNR. The file\n"
     "name - means standard input.\n"},
    {Command::selftest, "selftest", "", 0, 0, "Check every function of the library on this processor",
     "Runs each function on fixed inputs and compares the checksums of its results, on every target: the\n"
     "sets of instructions that the library has kernels for. Prints a line for each target: whether it\n"
     "passed, which functions differ, or why it was not run.\n"},
    {Command::bench, "bench", "[FILE...]", 0, SIZE_MAX, "Time every family of functions on this processor",
     "Prints nanoseconds per pixel, sample or coefficient on every target, the sets of instructions that\n"
     "the library has kernels for, and memcpy of as many bytes as the roof. With files: how long decoding\n"
     "and encoding them take, from memory to memory, and the functions only with --family. Each figure is\n"
     "the median of 7 interleaved rounds. With --compare the exit status is 7 if something is slower.\n"},
};

constexpr std::string_view kExamples =
    R"(  moxj encode photo.png photo.jpg --quality 90      PNG, PPM or another format to JPEG
  moxj encode photo.png photo.jp2                   lossless JPEG 2000 (smaller: --ratio 20)
  moxj decode photo.jpg decoded.png                 JPEG or JPEG 2000 to PNG
  moxj encode *.png --output-dir jpegs              many files, several in parallel
  moxj transcode photo.jpg small.jpg --progressive  the same picture in a smaller file
  moxj info photo.jpg                               format, tables and segments
  moxj compare photo.png photo.jpg                  PSNR, largest difference and SSIM
  moxj selftest                                     every function gives the right bits here
  moxj bench                                        their speed
)";

constexpr StatusText kStatuses[] = {
    {0, "success"},        {1, "wrong command line"},
    {2, "input refused"},  {3, "incomplete picture (the part that could be decoded is written)"},
    {4, "limit exceeded"}, {5, "output cannot be written"},
    {6, "internal error"}, {7, "a selftest or a comparison of times failed"},
};

constexpr GeneralText kGeneral = {"encodes, decodes, inspects and compares JPEG and JPEG 2000 files", kExamples,
                                  kStatuses};

constexpr std::size_t kHelpWidth = 100;

// "Exit status: 0 success, 1 ...", in lines.
std::string statusList() {
  std::string text = "Exit status:";
  std::size_t begin = 0;  // of the line
  for (const StatusText& status : kStatuses) {
    std::string words = " " + std::to_string(status.status) + " " + std::string(status.meaning);
    words += &status == std::end(kStatuses) - 1 ? "." : ",";
    for (std::size_t at = 0; at < words.size();) {
      const std::size_t next = std::min(words.find(' ', at + 1), words.size());
      const std::string word = words.substr(at, next - at);
      if (text.size() - begin + word.size() > kHelpWidth) {
        begin = text.size() + 1;
        text.append("\n").append(word, 1);
      } else {
        text += word;
      }
      at = next;
    }
  }
  return text + "\n";
}

std::string entry(std::string_view name, std::string_view value, std::string_view help) {
  std::string line = "  ";
  line.append(name).append(value.empty() ? "" : " ").append(value);
  line.append(std::max(kHelpColumn, line.size() + 1) - line.size(), ' ');
  return line.append(help).append("\n");
}

// The options of a command that belong to a group, or none.
std::string optionsOf(const CommandText& command, Group group, std::string_view heading) {
  std::string text;
  for (const std::span<const Option> table : {options(), peerOptions()})
    for (const Option& option : table)
      if (option.commands & setOf(command.command) && option.group == group && !option.help.empty())
        text += entry(option.name, option.value, option.help);
  return text.empty() ? text : std::string("\n").append(heading).append(":\n").append(text);
}

}  // namespace

std::span<const CommandText> commands() { return kCommands; }

const GeneralText& generalText() { return kGeneral; }

bool converts(const CommandText& command) {
  const unsigned conversions = setOf(Command::encode) | setOf(Command::decode) | setOf(Command::transcode);
  return conversions & setOf(command.command);
}

std::string generalHelp() {
  std::string text = "moxj " + std::string(kGeneral.purpose) + ".\n";
  text += "Usage: moxj COMMAND FILES [OPTIONS]\n\nCommands:\n";
  for (const CommandText& command : kCommands) text += entry(command.name, command.files, command.help);
  text += "\nOptions:\n";
  text += entry("-h, --help", "", "Show this help");
  text += entry("-V, --version", "[--json]", "Show the version, the targets of the library and libraries in use");
  text.append("\nExamples:\n").append(kExamples);
  text += "'moxj COMMAND --help' shows the options of a command.\n\n";
  return text + statusList();
}

std::string helpOf(const CommandText& command) {
  std::string text(command.help);
  text.append("\nUsage: moxj ").append(command.name).append(command.files.empty() ? "" : " ").append(command.files);
  text += " [OPTIONS]\n";
  if (converts(command)) text.append("       moxj ").append(command.name).append(" IN... --output-dir DIR [OPTIONS]\n");
  text += optionsOf(command, Group::general, "Options");
  text += entry("-h, --help", "", "Show this help");
  text += optionsOf(command, Group::jpeg, "JPEG options");
  text += optionsOf(command, Group::jpeg2000, "JPEG 2000 options");
  text += "\n";
  if (command.command == Command::encode || command.command == Command::decode)
    text += "Reads " + formatLabels() + ";\nwrites " + formatNames(command.command == Command::encode) + ".\n";
  return text.append(command.notes);
}

}  // namespace moxj::cli
