// A library that is loaded when it is needed, and not with the program.
#pragma once

#include <string>

namespace moxj {

// Stays loaded until the process ends.
class SharedObject {
 public:
  // `file` is searched for as the system does. `purpose` is the beginning of the problem's text: "colours cannot be
  // converted". Throws Problem (unsupported).
  SharedObject(const char* file, const char* purpose);

  // The function of a name. Throws Problem (unsupported) if the library has none.
  template <class Function>
  void find(const char* name, Function*& function) const {
    function = reinterpret_cast<Function*>(address(name));
  }

 private:
  void* address(const char* name) const;

  std::string problem_;  // without its cause
  void* handle_ = nullptr;
};

}  // namespace moxj
