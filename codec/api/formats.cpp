// The table of formats, and the recognition of files.
#include <string>

#include "api/source.h"
#include "api/structs.h"
#include "formats/formats.h"

namespace moxj::api {

namespace {

// The names of the table are literals, so they end with a zero.
const char* nameOf(const Format* format) { return format ? format->names[0].data() : nullptr; }

// All names of each format in one text, in the order of the table.
struct Extensions {
  char text[64];
};

void listNames(const Format& format, Extensions& list) {
  std::size_t length = 0;
  for (const std::string_view name : format.names) {
    if (name.empty() || length + name.size() + 2 > sizeof list.text) continue;
    if (length > 0) list.text[length++] = ' ';
    length += name.copy(list.text + length, name.size());
  }
  list.text[length] = 0;
}

constexpr std::size_t kMaxFormats = 16;

// Made at the first call; the initialisation of a static variable is safe among threads.
const char* extensionsOf(std::size_t index) {
  static const struct AllExtensions {
    AllExtensions() {
      for (std::size_t i = 0; i < formats().size() && i < kMaxFormats; ++i) listNames(*formats()[i], lists[i]);
    }
    Extensions lists[kMaxFormats] = {};
  } all;
  return all.lists[index].text;
}

}  // namespace

}  // namespace moxj::api

using namespace moxj::api;

size_t moxcFormatCount(void) { return moxj::formats().size(); }

MoxcKind moxcFormatAt(size_t index, MoxcFormat* format) {
  return guarded(nullptr, [&] {
    if (index >= moxj::formats().size()) throw BadArgument("there is no such format");
    const moxj::Format& from = *moxj::formats()[index];
    MoxcFormat to = {};
    to.name = nameOf(&from);
    to.label = from.label.data();
    to.extensions = extensionsOf(index);
    to.coded = from.coded;
    to.writeOnly = from.open == nullptr;
    give(to, format, "format");
  });
}

const char* moxcFormatNamed(const char* name) { return name ? nameOf(moxj::formatNamed(name)) : nullptr; }

const char* moxcFormatOfPath(const char* path) { return path ? nameOf(moxj::formatOfPath(path)) : nullptr; }

MoxcKind moxcProbe(const MoxcSource* source, const char** format, MoxcReport* report) {
  return guarded(report, [&] {
    need(format, "format");
    *format = nullptr;
    moxj::Input input = inputOf(source);
    *format = nameOf(&moxj::recognise(input));
  });
}
