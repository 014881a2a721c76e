// Outputs of the interface.
#pragma once

#include <memory>

#include "base/input.h"
#include "moxcodec.h"

namespace moxj::api {

// An output that counts only when it is finished.
class Target : public Output {
 public:
  // Everything is written: errors that show late. Throws Problem (output).
  virtual void close() {}
  // The caller gets the output. Throws Problem (output).
  virtual void finish() {}
};

// Sets *bytes to null if the target is memory: what every function does first. Throws BadArgument, or Problem:
// badOption; output, if there is a file that must not be replaced.
MoxcTarget preparedTarget(const MoxcTarget* target);

// Throws BadArgument, or Problem (output).
std::unique_ptr<Target> targetOf(const MoxcTarget& target);

}  // namespace moxj::api
