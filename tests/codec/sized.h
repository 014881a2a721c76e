// A struct of the C interface as a program has it that gives nothing: zeros and its size.
#pragma once

namespace codec {

template <class Struct>
Struct sized() {
  Struct made = {};
  made.structSize = sizeof made;
  return made;
}

}  // namespace codec
