// libpng reports errors by longjmp, which must not skip destructors. So it is called only inside Session::protect().
#pragma once

#include <png.h>

#include <algorithm>
#include <csetjmp>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#include "base/problem.h"

namespace moxj::png {

class Session {
 public:
  enum class Direction { read, write };

  explicit Session(Direction direction) : direction_(direction) {
    if (direction == Direction::read)
      png_ = png_create_read_struct_2(PNG_LIBPNG_VER_STRING, this, onError, onWarning, this, allocate, release);
    else
      png_ = png_create_write_struct_2(PNG_LIBPNG_VER_STRING, this, onError, onWarning, this, allocate, release);
    info_ = png_ ? png_create_info_struct(png_) : nullptr;
    if (!info_) {
      destroy();
      fail(Kind::noMemory, "not enough memory for libpng");
    }
    // The limits of the codec hold, not those of libpng.
    protect([](png_structp png, png_infop) { png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX); });
  }
  ~Session() { destroy(); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Calls work(png, info), a function object that captures references and owns nothing. Returns false if libpng failed,
  // for the reason in error(); throws std::bad_alloc if memory was missing. Never inlined: everything that the work
  // changes is then in memory, not in a register that longjmp restores.
  template <class Work>
  [[gnu::noinline]] bool protect(const Work& work) {
    if (setjmp(jump_)) {
      if (outOfMemory_) throw std::bad_alloc();
      return false;
    }
    work(png_, info_);
    return true;
  }
  // Bounds the texts and profiles of the file, which libpng decompresses, to a part of the memory that a job may have.
  // Exif data are treated as an unknown chunk, because libpng's progressive reader does not know them, and so is cICP.
  void prepareChunks(std::uint64_t maxMemory) {
    constexpr std::uint64_t kChunks = 64, kMaxBytes = std::uint64_t{16} << 20;
    const auto bytes = static_cast<png_alloc_size_t>(std::min(maxMemory / kChunks + 1, kMaxBytes));
    protect([&](png_structp png, png_infop) {
      static constexpr png_byte kKept[] = "eXIf\0cICP";
      png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_ALWAYS, kKept, 2);
      png_set_chunk_cache_max(png, kChunks);
      png_set_chunk_malloc_max(png, bytes);
    });
  }
  const char* error() const { return error_; }
  const char* warning() const { return warning_; }  // the last one

 private:
  static constexpr std::size_t kTextSize = 128;

  void destroy() {
    if (direction_ == Direction::read)
      png_destroy_read_struct(&png_, &info_, nullptr);
    else
      png_destroy_write_struct(&png_, &info_);
  }
  [[noreturn]] static void onError(png_structp png, png_const_charp text) {
    Session& session = sessionOf(png);
    keep(session.error_, text);
    std::longjmp(session.jump_, 1);
  }
  static void onWarning(png_structp png, png_const_charp text) { keep(sessionOf(png).warning_, text); }
  static png_voidp allocate(png_structp png, png_alloc_size_t size) {
    void* const bytes = std::malloc(size);
    if (!bytes) static_cast<Session*>(png_get_mem_ptr(png))->outOfMemory_ = true;
    return bytes;
  }
  static void release(png_structp, png_voidp bytes) { std::free(bytes); }
  static Session& sessionOf(png_structp png) { return *static_cast<Session*>(png_get_error_ptr(png)); }
  static void keep(char (&place)[kTextSize], png_const_charp text) { std::strncpy(place, text, kTextSize - 1); }

  Direction direction_;
  char error_[kTextSize] = {};
  char warning_[kTextSize] = {};
  bool outOfMemory_ = false;
  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
  std::jmp_buf jump_;
};

}  // namespace moxj::png
