// Memory, files and callbacks as inputs.
#include "api/source.h"

#include "api/structs.h"

namespace moxj::api {

Input inputOf(const MoxcSource* source) {
  const MoxcSource from = needed(source, "source");
  if ((from.bytes != nullptr) + (from.path != nullptr) + (from.read != nullptr) != 1)
    throw BadArgument("a source needs one of bytes, path and read");
  if (from.path) return Input::file(from.path);
  if (from.bytes) return Input::memory({static_cast<const std::uint8_t*>(from.bytes), from.byteCount});
  return Input::callback([read = from.read, context = from.context](std::uint8_t* to, std::size_t size) {
    const std::ptrdiff_t count = read(context, to, size);
    if (count < 0) fail(Kind::input, "cannot be read");
    if (static_cast<std::size_t>(count) > size) fail(Kind::input, "cannot be read: more bytes than there is room for");
    return static_cast<std::size_t>(count);
  });
}

}  // namespace moxj::api
