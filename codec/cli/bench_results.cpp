#include "cli/bench_results.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>

#include "cli/console.h"
#include "cli/exit_status.h"
#include "moxcodec.h"

namespace moxj::cli {

namespace {

using Json = nlohmann::ordered_json;

std::string number(const char* format, double value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

std::string left(const std::string& text, std::size_t width) {
  return text + std::string(std::max(width, text.size() + 1) - text.size(), ' ');
}

std::string right(const std::string& text, std::size_t width) {
  return std::string(std::max(width, text.size() + 1) - text.size(), ' ') + text;
}

std::string nameOf(const Row& row) { return row.family + ": " + row.name; }

// Names are shown as messages show them; a file name may hold anything.
std::size_t widthOf(const std::vector<Row>& rows) {
  std::size_t width = 0;
  for (const Row& row : rows) width = std::max(width, displayName(nameOf(row), true).size());
  return width + 2;
}

const Measured* timeOn(const Row& row, const std::string& target) {
  const auto found = std::ranges::find(row.times, target, &Measured::target);
  return found == row.times.end() ? nullptr : &*found;
}

// Of the best target: gigabytes a second, and how much longer than a copy.
std::string besideCopy(const Row& row) {
  if (row.times.empty() || row.bytes == 0) return "";
  const double time = row.times.back().nanoseconds;
  return right(number("%.1f", row.bytes / time), 8) + (row.copy > 0 ? right(number("%.1f", time / row.copy), 8) : "");
}

}  // namespace

std::string tableOf(const Measurement& measurement) {
  constexpr std::size_t kUnit = 12, kTime = 10;
  const std::size_t width = widthOf(measurement.rows);
  std::string text = "Nanoseconds per item; GB/s and times a copy (memcpy of as many bytes) of the last target\n";
  text += left("", width) + left("item", kUnit);
  for (const std::string& target : measurement.targets) text += right(target, kTime);
  text += right("GB/s", 8) + right("x copy", 8) + "\n";
  for (const Row& row : measurement.rows) {
    text += left(displayName(nameOf(row), true), width) + left(row.unit, kUnit);
    for (const std::string& target : measurement.targets) {
      const Measured* const time = timeOn(row, target);
      text += right(time ? number("%.3f", time->nanoseconds) : "-", kTime);
    }
    text += besideCopy(row) + "\n";
  }
  return text;
}

std::string jsonOf(const Measurement& measurement) {
  Json rows = Json::array();
  for (const Row& row : measurement.rows) {
    Json times = Json::object();
    for (const Measured& time : row.times) times[time.target] = time.nanoseconds;
    Json json = {{"family", row.family}, {"name", row.name}, {"unit", row.unit}, {"nanoseconds", times}};
    if (row.bytes > 0) json["bytes"] = row.bytes;
    if (row.copy > 0) json["copy"] = row.copy;
    rows.push_back(json);
  }
  const Json json = {{"version", moxcVersion()},
                     {"threads", measurement.threads},
                     {"targets", measurement.targets},
                     {"results", rows}};
  // A file name need not be valid UTF-8.
  return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

Measurement readMeasurement(const std::string& path) {
  const std::string name = displayName(path, true);
  std::ifstream file(path, std::ios::binary);
  if (!file) throw Failure(ExitStatus::refused, "cannot be read", name);
  try {
    const Json json = Json::parse(file);
    Measurement measurement{json.at("threads"), json.at("targets"), {}};
    for (const Json& from : json.at("results")) {
      Row row{from.at("family"), from.at("name"), from.at("unit")};
      for (const auto& [target, time] : from.at("nanoseconds").items()) row.times.push_back({target, time});
      measurement.rows.push_back(row);
    }
    return measurement;
  } catch (const Json::exception&) {
    throw Failure(ExitStatus::refused, "is no measurement of moxj bench --json", name);
  }
}

std::vector<Change> slowerThan(const Measurement& before, const Measurement& after, double percent) {
  std::map<std::pair<std::string, std::string>, double> old;
  for (const Row& row : before.rows)
    for (const Measured& time : row.times) old[{nameOf(row), time.target}] = time.nanoseconds;
  std::vector<Change> changes;
  std::size_t compared = 0;
  for (const Row& row : after.rows)
    for (const Measured& time : row.times) {
      const auto found = old.find({nameOf(row), time.target});
      if (found == old.end()) continue;
      ++compared;
      if (time.nanoseconds > found->second * (1 + percent / 100))
        changes.push_back({nameOf(row), time.target, found->second, time.nanoseconds});
    }
  if (compared == 0) throw Failure(ExitStatus::refused, "the measurements have nothing in common");
  return changes;
}

std::string textOf(const std::vector<Change>& changes, double percent) {
  std::string text;
  for (const Change& change : changes)
    text += "slower: " + displayName(change.name, true) + " on " + change.target + ": " +
            number("%.3f", change.before) + " -> " + number("%.3f", change.after) + " ns (" +
            number("%+.0f", (change.after / change.before - 1) * 100) + " %)\n";
  if (changes.empty()) text = "nothing is slower by more than " + number("%g", percent) + " %\n";
  return text;
}

}  // namespace moxj::cli
