// The bytes of an input: memory, a file or a callback, read in pieces or as a whole.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

#include "base/bytes.h"

namespace moxj {

class Input {
 public:
  // Reads at most `size` bytes; 0 at the end. Throws Problem (input).
  using Read = std::function<std::size_t(std::uint8_t* to, std::size_t size)>;

  static Input memory(ByteSpan bytes);  // which must outlive the input
  // Maps a regular file when all of it is wanted, otherwise reads it. Throws Problem (input).
  static Input file(const std::string& path);
  // The same, of an open descriptor, which the input does not close (standard input).
  static Input descriptor(int descriptor);
  static Input callback(Read read);

  Input(Input&&) noexcept;
  Input& operator=(Input&&) noexcept;
  ~Input();

  // The first bytes of the input, at most `count`; they are read again by read() and all(). Only before these.
  ByteSpan first(std::size_t count);
  // Copies `size` bytes at an offset, of an input that is in memory or a regular file, wherever read() is. False if it
  // is neither, or ends before.
  bool peekAt(std::size_t offset, void* to, std::size_t size);
  // The next bytes, at most `size`; 0 at the end.
  std::size_t read(std::uint8_t* to, std::size_t size);
  // Everything, from the first byte on, valid as long as the input. Throws Problem (limit) beyond `maxBytes`. Only
  // before read().
  ByteSpan all(std::uint64_t maxBytes);

  // The same, but only if nothing has to be copied: empty if the input is neither in memory nor a regular file.
  ByteSpan inPlace();
  // What of a mapped file is in memory is not needed for now.
  void forget();
  // The first `count` bytes that inPlace() gave will not be used again: they no longer take memory of the process.
  void discard(std::size_t count);

 private:
  struct State;
  explicit Input(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

// Where the bytes of a file go, in order. Throws Problem (output).
class Output {
 public:
  virtual ~Output() = default;
  // Two pieces, one after the other.
  virtual void write(ByteSpan first, ByteSpan second = {}) = 0;
};

// Keeps them.
class MemoryOutput : public Output {
 public:
  void write(ByteSpan first, ByteSpan second = {}) override {
    bytes.append(first);
    bytes.append(second);
  }
  Bytes bytes;
};

}  // namespace moxj
