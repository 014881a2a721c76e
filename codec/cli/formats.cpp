// Lists of formats.
#include "cli/formats.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace moxj::cli {

namespace {

MoxcFormat formatAt(std::size_t index) {
  MoxcFormat format = {};
  format.structSize = sizeof format;
  moxcFormatAt(index, &format);
  return format;
}

// "a, b or c"
std::string listOf(const std::vector<std::string>& names) {
  std::string list;
  for (std::size_t i = 0; i < names.size(); ++i)
    list.append(i == 0 ? "" : i + 1 < names.size() ? ", " : " or ").append(names[i]);
  return list;
}

}  // namespace

MoxcFormat formatOf(const std::string& name) {
  std::size_t index = 0;
  while (index + 1 < moxcFormatCount() && name != formatAt(index).name) ++index;
  return formatAt(index);
}

std::string formatNames(bool coded) { return listOf(formatNameList(coded)); }

std::vector<std::string> formatNameList(bool coded) {
  std::vector<std::string> names;
  for (std::size_t index = 0; index < moxcFormatCount(); ++index)
    if (const MoxcFormat format = formatAt(index); (format.coded != 0) == coded) names.push_back(format.name);
  return names;
}

// Of the formats that are read, each once, without those that stand for two formats.
std::string formatLabels() {
  std::vector<std::string> labels;
  for (std::size_t index = 0; index < moxcFormatCount(); ++index) {
    const std::string label = formatAt(index).label;
    if (!formatAt(index).writeOnly && label.find('/') == label.npos && std::ranges::find(labels, label) == labels.end())
      labels.push_back(label);
  }
  return listOf(labels);
}

}  // namespace moxj::cli
