#include "cli/version.h"

#include <nlohmann/json.hpp>
#include <vector>

#include "moxcodec.h"
#include "proof/targets.h"

namespace moxj::cli {

namespace {

using Json = nlohmann::ordered_json;

std::vector<std::string> namesOf(bool proof::Target::*property) {
  std::vector<std::string> names;
  for (const proof::Target& target : proof::allTargets())
    if (target.*property) names.push_back(target.name);
  return names;
}

std::string line(const char* heading, const std::vector<std::string>& words) {
  constexpr std::size_t kWidth = 16;
  std::string text = heading;
  text.resize(kWidth, ' ');
  for (const std::string& word : words) text += word + " ";
  text.back() = '\n';
  return text;
}

std::vector<MoxcLibrary> libraries() {
  std::vector<MoxcLibrary> all;
  for (MoxcLibrary library; moxcLibrary(all.size(), &library);) all.push_back(library);
  return all;
}

}  // namespace

std::string versionText() {
  std::string text = std::string("moxj ") + moxcVersion() + "\n";
  text += line("targets built", namesOf(&proof::Target::builtIn));
  text += line("targets here", namesOf(&proof::Target::runsHere));
  text += line("target in use", {proof::activeTarget()});
  for (const MoxcLibrary& library : libraries())
    text +=
        line(library.name, {library.version ? library.version : "not found", "(" + std::string(library.purpose) + ")"});
  return text;
}

std::string versionJson() {
  Json used = Json::array();
  for (const MoxcLibrary& library : libraries())
    used.push_back({{"name", library.name},
                    {"purpose", library.purpose},
                    {"version", library.version ? Json(library.version) : Json(nullptr)}});
  const Json json = {{"version", moxcVersion()},
                     {"targets",
                      {{"built", namesOf(&proof::Target::builtIn)},
                       {"here", namesOf(&proof::Target::runsHere)},
                       {"active", proof::activeTarget()}}},
                     {"libraries", used}};
  return json.dump(2) + "\n";
}

}  // namespace moxj::cli
