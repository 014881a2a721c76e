// JSON of descriptions: keys in the order in which they are set.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace moxj {

using Json = nlohmann::ordered_json;

// Text from a file (a comment, for example) need not be valid UTF-8.
inline std::string jsonText(const Json& json) {
  return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace moxj
