// Makes allocations and thread starts fail. The test program is linked with failures.cpp, so that the calls of the
// library come there first; see its head for which ones.
#pragma once

#include <string>

namespace test {

enum class Resource { memory, threads };
enum class Extent { one, allFurther };

// While an object of this class exists, request number `first`, counted from 0, fails, and with `allFurther` every one
// after it. One object at a time.
class Failures {
 public:
  static constexpr long kNone = -1;  // no request fails: they are only counted

  Failures(Resource resource, long first, Extent extent = Extent::one);
  ~Failures();
  Failures(const Failures&) = delete;
  Failures& operator=(const Failures&) = delete;

  static void stop();  // no more requests fail, or are counted

  long requests() const;  // so far
  bool happened() const { return first_ != kNone && requests() > first_; }

 private:
  long first_;
};

// The number after `number` of the requests to be tested in a run that makes `requests` of them: all of few. Of many,
// about `tested`: the first ones, and some of the others at even distances; with MOX_TEST_EVERY=1 in the environment,
// all. `name` decides where the distances begin.
long nextRequest(const std::string& name, long requests, long number, long tested);

}  // namespace test
