// The aligned allocator and the zero fills.
#include "frame/memory.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "frame/check.h"

namespace mox {
namespace {

constexpr uintptr_t kAlignment = 32;
// Room before the block for the address of the heap's block, and for the alignment.
constexpr uintptr_t kSlack = sizeof(void*) + kAlignment;

}  // namespace

void* moxMalloc(int32_t length) {
  if (length < 1) return nullptr;
  char* const raw = static_cast<char*>(std::malloc(static_cast<size_t>(length) + kSlack));
  if (!raw) return nullptr;
  const uintptr_t lowest = reinterpret_cast<uintptr_t>(raw) + sizeof(void*);
  char* const block = raw + ((lowest + kAlignment - 1) / kAlignment * kAlignment - reinterpret_cast<uintptr_t>(raw));
  std::memcpy(block - sizeof(void*), &raw, sizeof raw);
  return block;
}

void moxFree(void* block) {
  if (!block) return;
  void* raw;
  std::memcpy(&raw, static_cast<char*>(block) - sizeof raw, sizeof raw);
  std::free(raw);
}

void moxFreeTagged(void* state) {
  // volatile: compilers leave out stores to memory that is about to be freed.
  *static_cast<volatile uint32_t*>(state) = 0;
  moxFree(state);
}

MoxStatus moxZero8u(Mox8u* dst, int32_t length) {
  if (const MoxStatus bad = Check().pointers(dst).length(length)) return bad;
  std::memset(dst, 0, static_cast<size_t>(length));
  return moxStatusOk;
}

MoxStatus moxZero16s(Mox16s* dst, int32_t count) {
  if (const MoxStatus bad = Check().pointers(dst).length(count)) return bad;
  std::memset(dst, 0, static_cast<size_t>(count) * sizeof *dst);
  return moxStatusOk;
}

}  // namespace mox
