// Allocation failures: this program is linked so that the library's calls of malloc come here first.
#pragma once

namespace test {

// While an object of this kind lives, malloc gives nothing to the library, or nothing after so many successes.
class FailingMalloc {
 public:
  explicit FailingMalloc(int after = 0) { active = true, successes = after; }
  ~FailingMalloc() { active = false; }
  static bool active;
  static int successes;
};

}  // namespace test
