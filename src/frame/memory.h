// The aligned allocator of every InitAlloc and Free function, and the zero fills.
#pragma once

#include <cstdint>

#include "moxj.h"

namespace mox {

// A 32-byte-aligned block of `length` bytes from the process heap, or null when `length` is below 1 or the heap is
// exhausted. The word before the block holds the start of the heap's block.
void* moxMalloc(int32_t length);

// Frees a block of moxMalloc; null is ignored.
void moxFree(void* block);

// moxFree for a state that begins with a tag. The tag is cleared first, so that another use of the state, a second free
// above all, is likely to fail its check of the tag.
void moxFreeTagged(void* state);

// Zero `length` bytes, or `count` 16-bit elements. Null: moxStatusNullPointer; below 1: moxStatusBadSize.
MoxStatus moxZero8u(Mox8u* dst, int32_t length);
MoxStatus moxZero16s(Mox16s* dst, int32_t count);

}  // namespace mox
