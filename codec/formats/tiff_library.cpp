// libtiff brings the libraries of a dozen codecs with it, so a program that meets no TIFF file does not load it. The
// handlers of a single file, which version 4.5 introduced, leave those of the program alone.
#if MOXJ_LIBTIFF

#include "formats/tiff_library.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "base/problem.h"

namespace moxj::tiff {

namespace {

constexpr const char* kName = "libtiff.so.6";

template <class Function>
bool load(void* from, const char* name, Function& function) {
  function = reinterpret_cast<Function>(dlsym(from, name));
  return function != nullptr;
}

bool loadAll(void* from, Library& library) {
  return load(from, "TIFFOpenOptionsAlloc", library.optionsAlloc) &&
         load(from, "TIFFOpenOptionsFree", library.optionsFree) &&
         load(from, "TIFFOpenOptionsSetMaxSingleMemAlloc", library.setMaxAlloc) &&
         load(from, "TIFFOpenOptionsSetErrorHandlerExtR", library.setErrorHandler) &&
         load(from, "TIFFOpenOptionsSetWarningHandlerExtR", library.setWarningHandler) &&
         load(from, "TIFFClientOpenExt", library.open) && load(from, "TIFFClose", library.close) &&
         load(from, "TIFFGetField", library.getField) &&
         load(from, "TIFFGetFieldDefaulted", library.getFieldDefaulted) && load(from, "TIFFIsTiled", library.isTiled) &&
         load(from, "TIFFIsCODECConfigured", library.hasCodec) &&
         load(from, "TIFFLastDirectory", library.isLastDirectory) &&
         load(from, "TIFFScanlineSize64", library.scanlineSize) && load(from, "TIFFStripSize64", library.stripSize) &&
         load(from, "TIFFTileSize64", library.tileSize) && load(from, "TIFFReadScanline", library.readScanline) &&
         load(from, "TIFFReadEncodedStrip", library.readStrip) && load(from, "TIFFReadEncodedTile", library.readTile) &&
         load(from, "TIFFGetStrileOffset", library.chunkOffset) &&
         load(from, "TIFFGetStrileByteCount", library.chunkBytes) && load(from, "TIFFGetVersion", library.version);
}

struct Loaded {
  Loaded() {
    void* const from = dlopen(kName, RTLD_NOW | RTLD_LOCAL);
    complete = from && loadAll(from, functions);
  }
  Library functions = {};
  bool complete = false;
};

}  // namespace

const Library& library() {
  static const Loaded loaded;
  if (!loaded.complete)
    fail(Kind::unsupported, std::string("TIFF files need ") + kName + ", version 4.5 or later, which cannot be loaded");
  return loaded.functions;
}

// The text is "LIBTIFF, Version 4.5.0", and more lines.
std::string libraryVersion() {
  const std::string text = library().version();
  const std::size_t begin = text.find_first_of("0123456789");
  if (begin == std::string::npos) return "of unknown version";
  return text.substr(begin, text.find_first_not_of("0123456789.", begin) - begin);
}

Session::Session(ByteSpan file, std::uint64_t maxBytes, Strips strips) : library_(library()), bytes_(file) {
  TIFFOpenOptions* const options = library_.optionsAlloc();
  if (!options) fail(Kind::noMemory, "not enough memory for libtiff");
  library_.setMaxAlloc(options, static_cast<tmsize_t>(std::min<std::uint64_t>(maxBytes, PTRDIFF_MAX)));
  library_.setErrorHandler(options, onError, this);
  library_.setWarningHandler(
      options, [](TIFF*, void*, const char*, const char*, va_list) { return 1; }, this);
  const auto onWrite = [](thandle_t, void*, tmsize_t) -> tmsize_t { return -1; };
  const auto onClose = [](thandle_t) { return 0; };
  const auto onSize = [](thandle_t session) -> toff_t { return of(session).bytes_.size(); };
  const auto onMap = [](thandle_t session, void** base, toff_t* size) {
    *base = const_cast<std::uint8_t*>(of(session).bytes_.data());  // libtiff does not write to it
    *size = of(session).bytes_.size();
    return 1;
  };
  const auto onUnmap = [](thandle_t, void*, toff_t) {};
  tiff_ = library_.open("file", strips == Strips::divided ? "r" : "rc", this, onRead, onWrite, onSeek, onClose, onSize,
                        onMap, onUnmap, options);
  library_.optionsFree(options);
  if (!tiff_) fail(Kind::damaged, takeError("the first directory cannot be read"));
}

Session::~Session() { library_.close(tiff_); }

std::string Session::takeError(const char* otherwise) {
  std::string text = error_[0] ? error_ : otherwise;
  error_[0] = 0;
  return text;
}

int Session::onError(TIFF*, void* session, const char*, const char* format, va_list arguments) {
  auto& text = of(session).error_;
  if (text[0]) return 1;
  std::vsnprintf(text, sizeof text, format, arguments);
  for (char* c = text; *c; ++c)
    if (*c < ' ' || *c > '~') *c = '?';
  // A full stop does not end the lines of the codec.
  if (const std::size_t size = std::strlen(text); size > 1 && text[size - 1] == '.') text[size - 1] = 0;
  return 1;
}

tmsize_t Session::onRead(thandle_t session, void* to, tmsize_t size) {
  Session& self = of(session);
  const std::uint64_t left = self.bytes_.size() - std::min<std::uint64_t>(self.at_, self.bytes_.size());
  const auto count =
      static_cast<std::size_t>(std::min<std::uint64_t>(left, static_cast<std::uint64_t>(std::max<tmsize_t>(size, 0))));
  if (count > 0) std::memcpy(to, self.bytes_.data() + self.at_, count);
  self.at_ += count;
  return static_cast<tmsize_t>(count);
}

toff_t Session::onSeek(thandle_t session, toff_t offset, int whence) {
  Session& self = of(session);
  self.at_ = whence == SEEK_CUR ? self.at_ + offset : whence == SEEK_END ? self.bytes_.size() + offset : offset;
  return self.at_;
}

}  // namespace moxj::tiff

#endif
