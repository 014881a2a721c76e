// The output of `info` for JPEG 2000 files.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "j2k/j2k.h"

namespace moxj {

std::string textOf(const j2k::Info& info, std::size_t bytes);
nlohmann::ordered_json jsonOf(const j2k::Info& info, std::size_t bytes);

}  // namespace moxj
