// Simulates allocation failures: the test program is linked so that the library's calls of malloc come here first.
#pragma once

namespace test {

// While an object of this class exists, malloc fails for the library, after `after` successful calls.
class FailingMalloc {
 public:
  explicit FailingMalloc(int after = 0) { active = true, successes = after; }
  ~FailingMalloc() { active = false; }
  static bool active;
  static int successes;
};

}  // namespace test
