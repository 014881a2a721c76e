// The program's own malloc and pthread_create, which the dynamic linker prefers to the system's for every library in
// the process: libstdc++'s operator new and threads, libpng, lcms2. Requests of libtiff are granted: its version 4.5.0
// crashes when an allocation of TIFFSetField() fails. The sanitizers need malloc for themselves. With them, only the
// objects of the program are led here, by the linker (-Wl,--wrap), and operator new by the language.
#include "support/failures.h"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>

namespace test {

namespace {

bool isLibtiff(const void* code) {
  Dl_info info;
  return dladdr(code, &info) != 0 && info.dli_fname && std::strstr(info.dli_fname, "libtiff");
}

struct Requests {
  std::atomic<bool> watched = false;
  std::atomic<long> count = 0;
  long first = Failures::kNone;
  Extent extent = Extent::one;

  bool failsFor(const void* caller) {
    if (!watched || isLibtiff(caller)) return false;
    const long number = count++;
    return first != Failures::kNone && (extent == Extent::one ? number == first : number >= first);
  }
};

constinit Requests memory, threads;
constinit Requests* inUse = nullptr;

}  // namespace

Failures::Failures(Resource resource, long first, Extent extent) : first_(first) {
  inUse = resource == Resource::memory ? &memory : &threads;
  inUse->count = 0;
  inUse->first = first;
  inUse->extent = extent;
  inUse->watched = true;
}

Failures::~Failures() { stop(); }

void Failures::stop() {
  if (inUse) inUse->watched = false;
}

long Failures::requests() const { return inUse->count; }

long nextRequest(const std::string& name, long requests, long number, long tested) {
  static const bool every = std::getenv("MOX_TEST_EVERY") != nullptr;
  const long first = tested / 2, others = tested - first;
  if (every || number + 1 < first || requests <= tested) return number + 1;
  const long step = (requests - first + others - 1) / others;
  if (number >= first) return number + step;
  return first + static_cast<long>(std::hash<std::string>()(name) % static_cast<std::size_t>(step));
}

}  // namespace test

extern "C" {

#if MOXJ_SANITIZED
#define MALLOC(name) __wrap_##name
#define SYSTEM(name) __real_##name
#else
#define MALLOC(name) name
#define SYSTEM(name) __libc_##name
#endif

void* SYSTEM(malloc)(std::size_t);
void* SYSTEM(calloc)(std::size_t, std::size_t);
void* SYSTEM(realloc)(void*, std::size_t);
void* SYSTEM(memalign)(std::size_t, std::size_t);

void* MALLOC(malloc)(std::size_t size) {
  if (test::memory.failsFor(__builtin_return_address(0))) return errno = ENOMEM, nullptr;
  return SYSTEM(malloc)(size);
}
void* MALLOC(calloc)(std::size_t count, std::size_t size) {
  if (test::memory.failsFor(__builtin_return_address(0))) return errno = ENOMEM, nullptr;
  return SYSTEM(calloc)(count, size);
}
void* MALLOC(realloc)(void* old, std::size_t size) {
  if (test::memory.failsFor(__builtin_return_address(0))) return errno = ENOMEM, nullptr;
  return SYSTEM(realloc)(old, size);
}
void* MALLOC(memalign)(std::size_t alignment, std::size_t size) {
  if (test::memory.failsFor(__builtin_return_address(0))) return errno = ENOMEM, nullptr;
  return SYSTEM(memalign)(alignment, size);
}
void* MALLOC(aligned_alloc)(std::size_t alignment, std::size_t size) { return MALLOC(memalign)(alignment, size); }
int MALLOC(posix_memalign)(void** to, std::size_t alignment, std::size_t size) {
  void* const made = MALLOC(memalign)(alignment, size);
  if (!made) return ENOMEM;
  *to = made;
  return 0;
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*), void* argument) {
  using Create = int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
  static const auto create = reinterpret_cast<Create*>(dlsym(RTLD_NEXT, "pthread_create"));
  return test::threads.failsFor(__builtin_return_address(0)) ? EAGAIN : create(thread, attributes, start, argument);
}
}

#if MOXJ_SANITIZED
void* operator new(std::size_t size) {
  void* const made = MALLOC(malloc)(size ? size : 1);
  if (!made) throw std::bad_alloc();
  return made;
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return MALLOC(malloc)(size ? size : 1); }
void operator delete(void* bytes) noexcept { std::free(bytes); }
void operator delete(void* bytes, std::size_t) noexcept { std::free(bytes); }
#endif
