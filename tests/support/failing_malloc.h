// Allocation failures: this program is linked so that the library's calls of malloc come here first.
#pragma once

namespace test {

// While an object of this kind lives, malloc gives nothing to the library.
class FailingMalloc {
 public:
  FailingMalloc() { active = true; }
  ~FailingMalloc() { active = false; }
  static bool active;
};

}  // namespace test
