// The buffers of a kernel run: each one between guard pages, at every alignment, with inputs filled from a seed.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "proof/random.h"
#include "support/guarded.h"

namespace test {

// A kernel's run requests its inputs and outputs in order. Two feeds with the same seed and layout provide the same
// contents, so that the kernels of two targets can run on them and all their memory can be compared, including the
// bytes around the buffers.
class Feed {
 public:
  // The position of a buffer in its pages: ending at the guard page after it, or starting some bytes after the one
  // before.
  struct Layout {
    bool atEnd = true;
    int offset = 0;
  };

  void begin(uint64_t seed, Filling filling, Layout layout) { begin(Random(seed), filling, layout); }
  void begin(const Random& random, Filling filling, Layout layout) {
    random_ = random;
    filling_ = filling;
    layout_ = layout;
    next_ = 0;
    replay_ = false;
  }

  // From now on provides the buffers of the last run again, unchanged: for timing.
  void replay() {
    next_ = 0;
    replay_ = true;
  }

  template <class T>
  const T* in(size_t count) {
    return take<T>(count, [this](T* values, size_t n) { fill(random_, filling_, values, n); });
  }
  // An input whose values `make(random, values)` chooses.
  template <class T, class Make>
  const T* in(size_t count, Make make) {
    return take<T>(count, [this, &make](T* values, size_t) { make(random_, values); });
  }
  // An output: holds noise before the run.
  template <class T>
  T* out(size_t count) {
    return take<T>(count, [this](T* values, size_t n) {
      fill(random_, Filling::any, reinterpret_cast<uint8_t*>(values), n * sizeof(T));
    });
  }
  // An input that the kernel overwrites.
  template <class T>
  T* inOut(size_t count) {
    return take<T>(count, [this](T* values, size_t n) { fill(random_, filling_, values, n); });
  }

  Random& random() { return random_; }
  bool replaying() const { return replay_; }

  // Whether all memory of the run has the same contents in both.
  static bool same(const Feed& a, const Feed& b) {
    if (a.next_ != b.next_) return false;
    for (size_t i = 0; i < a.next_; i++) {
      const std::span<const uint8_t> x = a.buffers_[i]->memory.bytes(), y = b.buffers_[i]->memory.bytes();
      if (x.size() != y.size() || std::memcmp(x.data(), y.data(), x.size()) != 0) return false;
    }
    return true;
  }

 private:
  struct Buffer {
    explicit Buffer(size_t bytes) : memory(bytes) {}
    mutable GuardedMemory memory;
    void* last = nullptr;
  };

  template <class T, class Make>
  T* take(size_t count, Make make) {
    if (replay_) return static_cast<T*>(buffers_[next_++]->last);
    const size_t wanted = (count + 64) * sizeof(T);  // offsets are below 64
    if (next_ == buffers_.size()) buffers_.push_back(std::make_unique<Buffer>(wanted));
    if (buffers_[next_]->memory.bytes().size() < wanted) buffers_[next_] = std::make_unique<Buffer>(wanted);
    Buffer& buffer = *buffers_[next_++];
    std::memset(buffer.memory.bytes().data(), 0xA5, buffer.memory.bytes().size());
    T* const values = layout_.atEnd
                          ? buffer.memory.atEnd<T>(count)
                          : reinterpret_cast<T*>(buffer.memory.atStart<uint8_t>() + layout_.offset * sizeof(T));
    make(values, count);
    buffer.last = values;
    return values;
  }

  std::vector<std::unique_ptr<Buffer>> buffers_;
  size_t next_ = 0;
  bool replay_ = false;
  Random random_{0};
  Filling filling_ = Filling::any;
  Layout layout_;
};

}  // namespace test
