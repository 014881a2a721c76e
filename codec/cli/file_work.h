// A picture file as work to be timed: decoding it, and encoding its picture, from memory to memory.
#pragma once

#include <array>
#include <memory>
#include <string>
#include <string_view>

#include "moxcodec.h"
#include "proof/bench.h"

namespace moxj::cli {

// What is done with a file, in this order.
inline constexpr std::array<std::string_view, 3> kFileWork = {"decode", "encode jpg", "encode jp2"};

class FileWork {
 public:
  // Reads and decodes the file. Throws std::runtime_error.
  explicit FileWork(const std::string& path);
  ~FileWork() { moxcPictureFree(picture_); }
  FileWork(const FileWork&) = delete;
  FileWork& operator=(const FileWork&) = delete;

  double samples() const;
  // `work` is an index of kFileWork. Each run uses so many threads. The object must outlive it.
  proof::Run run(std::size_t work, int threads) const;

 private:
  std::string bytes_;
  MoxcPicture* picture_ = nullptr;
  MoxcPixels pixels_ = {};
};

}  // namespace moxj::cli
