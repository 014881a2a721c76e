// Memory, files and callbacks behind one interface. Regular files are mapped when all of them is wanted.
#include "base/input.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <vector>

#include "base/problem.h"

namespace moxj {

namespace {

constexpr std::size_t kFirstRead = std::size_t{1} << 18;
constexpr std::size_t kDiscard = std::size_t{2} << 20;

[[noreturn]] void failToRead() { fail(Kind::input, "cannot be read: " + std::system_category().message(errno)); }

std::size_t readDescriptor(int descriptor, std::uint8_t* to, std::size_t size) {
  for (;;) {
    const ssize_t count = read(descriptor, to, size);
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno != EINTR) failToRead();
  }
}

// The size of a regular file that has not been read from yet, otherwise 0.
std::size_t mappableSize(int descriptor) {
  struct stat status;
  if (fstat(descriptor, &status) != 0) failToRead();
  if (!S_ISREG(status.st_mode) || status.st_size <= 0 || lseek(descriptor, 0, SEEK_CUR) != 0) return 0;
  return static_cast<std::uint64_t>(status.st_size) <= SIZE_MAX ? static_cast<std::size_t>(status.st_size) : 0;
}

}  // namespace

struct Input::State {
  Read source;                     // null: everything is in `whole`
  ByteSpan whole;                  // of memory, mapped, or read by all()
  std::vector<std::uint8_t> head;  // read by first()
  std::size_t at = 0;              // in `head` or `whole`: what read() has given
  Bytes bytes;
  int descriptor = -1;
  bool owned = false;        // close the descriptor
  std::size_t mappable = 0;  // bytes
  void* mapped = MAP_FAILED;
  std::size_t discarded = 0;  // bytes of the mapping

  State() = default;
  State(const State&) = delete;
  State& operator=(const State&) = delete;
  ~State() {
    if (mapped != MAP_FAILED) munmap(mapped, mappable);
    if (owned) close(descriptor);
  }

  bool map() {
    if (mappable == 0) return false;
    mapped = mmap(nullptr, mappable, PROT_READ, MAP_PRIVATE, descriptor, 0);
    if (mapped == MAP_FAILED) return false;
    whole = {static_cast<const std::uint8_t*>(mapped), mappable};
    return true;
  }

  void readToEnd(std::uint64_t maxBytes) {
    std::size_t size = head.size();
    bytes.append(head.data(), size);
    for (;;) {
      if (size == bytes.size()) bytes.resize(std::max(kFirstRead, size + size / 2));
      const std::size_t count = source(bytes.data() + size, bytes.size() - size);
      if (count == 0) break;
      size += count;
      if (size > maxBytes)
        fail(Kind::limit,
             "longer than " + std::to_string(maxBytes) + " bytes, which is too long for the limit of pixels",
             Setting::maxPixels);
    }
    whole = {bytes.data(), size};
  }
};

Input::Input(std::unique_ptr<State> state) : state_(std::move(state)) {}
Input::Input(Input&&) noexcept = default;
Input& Input::operator=(Input&&) noexcept = default;
Input::~Input() = default;

Input Input::memory(ByteSpan bytes) {
  auto state = std::make_unique<State>();
  state->whole = bytes;
  return Input(std::move(state));
}

Input Input::file(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) failToRead();
  auto state = std::make_unique<State>();
  state->descriptor = file;
  state->owned = true;
  state->mappable = mappableSize(file);
  state->source = [file](std::uint8_t* to, std::size_t size) { return readDescriptor(file, to, size); };
  return Input(std::move(state));
}

Input Input::descriptor(int descriptor) {
  auto state = std::make_unique<State>();
  state->descriptor = descriptor;
  state->mappable = mappableSize(descriptor);
  state->source = [descriptor](std::uint8_t* to, std::size_t size) { return readDescriptor(descriptor, to, size); };
  return Input(std::move(state));
}

Input Input::callback(Read read) {
  auto state = std::make_unique<State>();
  state->source = std::move(read);
  return Input(std::move(state));
}

ByteSpan Input::first(std::size_t count) {
  State& state = *state_;
  if (!state.source) return state.whole.first(std::min(count, state.whole.size()));
  while (state.head.size() < count) {
    const std::size_t before = state.head.size();
    state.head.resize(count);
    const std::size_t read = state.source(state.head.data() + before, count - before);
    state.head.resize(before + read);
    if (read == 0) break;
  }
  return ByteSpan(state.head).first(std::min(count, state.head.size()));
}

std::size_t Input::read(std::uint8_t* to, std::size_t size) {
  State& state = *state_;
  const ByteSpan kept = state.source ? ByteSpan(state.head) : state.whole;
  if (state.at == kept.size()) return state.source ? state.source(to, size) : 0;
  const std::size_t count = std::min(size, kept.size() - state.at);
  std::memcpy(to, kept.data() + state.at, count);
  state.at += count;
  return count;
}

bool Input::peekAt(std::size_t offset, void* to, std::size_t size) {
  const State& state = *state_;
  const std::size_t length = state.source ? state.mappable : state.whole.size();
  if (offset > length || size > length - offset) return false;
  if (size == 0) return true;
  if (state.source) return pread(state.descriptor, to, size, static_cast<off_t>(offset)) == static_cast<ssize_t>(size);
  std::memcpy(to, state.whole.data() + offset, size);
  return true;
}

ByteSpan Input::inPlace() {
  State& state = *state_;
  if (state.source && !state.map()) return {};
  state.source = nullptr;
  return state.whole;
}

// A hint, so its failure is not an error.
void Input::discard(std::size_t count) {
  State& state = *state_;
  if (state.mapped == MAP_FAILED || count < state.discarded + kDiscard) return;
  const std::size_t end = count / kDiscard * kDiscard;
  madvise(static_cast<std::uint8_t*>(state.mapped) + state.discarded, end - state.discarded, MADV_DONTNEED);
  state.discarded = end;
}

void Input::forget() {
  if (state_->mapped != MAP_FAILED) madvise(state_->mapped, state_->mappable, MADV_DONTNEED);
}

ByteSpan Input::all(std::uint64_t maxBytes) {
  State& state = *state_;
  if (state.source) {
    if (!state.map()) state.readToEnd(maxBytes);
    state.source = nullptr;
  }
  return state.whole;
}

}  // namespace moxj
