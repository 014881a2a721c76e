// Loading by dlopen. The symbols of the library are not made visible to others.
#include "base/sharedobject.h"

#include "base/problem.h"

#if __has_include(<dlfcn.h>)
#include <dlfcn.h>
#endif

namespace moxj {

#if __has_include(<dlfcn.h>)

SharedObject::SharedObject(const char* file, const char* purpose)
    : problem_(std::string(purpose) + ": the library " + file), handle_(dlopen(file, RTLD_NOW | RTLD_LOCAL)) {
  if (!handle_) fail(Kind::unsupported, problem_ + " cannot be loaded");
}

void* SharedObject::address(const char* name) const {
  void* const found = dlsym(handle_, name);
  if (!found) fail(Kind::unsupported, problem_ + " is too old: it has no " + name);
  return found;
}

#else

SharedObject::SharedObject(const char* file, const char* purpose)
    : problem_(std::string(purpose) + ": the library " + file) {
  fail(Kind::unsupported, problem_ + " cannot be loaded on this system");
}

void* SharedObject::address(const char*) const { return nullptr; }

#endif

}  // namespace moxj
