// Lists of formats.
#include "cli/formats.h"

#include <cstddef>

namespace moxj::cli {

namespace {

MoxcFormat formatAt(std::size_t index) {
  MoxcFormat format = {};
  format.structSize = sizeof format;
  moxcFormatAt(index, &format);
  return format;
}

}  // namespace

MoxcFormat formatOf(const std::string& name) {
  std::size_t index = 0;
  while (index + 1 < moxcFormatCount() && name != formatAt(index).name) ++index;
  return formatAt(index);
}

std::string formatNames(bool coded) {
  std::string list, last;
  for (std::size_t index = 0; index < moxcFormatCount(); ++index) {
    const MoxcFormat format = formatAt(index);
    if ((format.coded != 0) != coded) continue;
    if (!last.empty()) list.append(list.empty() ? "" : ", ").append(last);
    last = format.name;
  }
  return list.append(list.empty() ? "" : " or ").append(last);
}

}  // namespace moxj::cli
