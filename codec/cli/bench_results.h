// What bench has measured: a table, JSON, and the comparison of two measurements.
#pragma once

#include <string>
#include <vector>

namespace moxj::cli {

struct Measured {
  std::string target;
  double nanoseconds;  // of an item
};

struct Row {
  std::string family, name, unit;
  double bytes = 0;  // of an item, read and written; 0: unknown
  double copy = 0;   // nanoseconds of a copy of as many; 0: not measured
  std::vector<Measured> times = {};
};

struct Measurement {
  int threads = 1;
  std::vector<std::string> targets;
  std::vector<Row> rows;
};

std::string tableOf(const Measurement& measurement);
std::string jsonOf(const Measurement& measurement);

// Reads what jsonOf() has written. Throws Failure (refused).
Measurement readMeasurement(const std::string& path);

struct Change {
  std::string name, target;
  double before, after;
};

// What has become slower by more than so many percent. Throws Failure (refused) if nothing is in both.
std::vector<Change> slowerThan(const Measurement& before, const Measurement& after, double percent);
std::string textOf(const std::vector<Change>& changes, double percent);

}  // namespace moxj::cli
