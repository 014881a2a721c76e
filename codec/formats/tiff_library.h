// libtiff, loaded when it is needed first. Its messages go to the session, never to standard error.
#pragma once

#if MOXJ_LIBTIFF

#include <tiffio.h>

#include <cstdint>
#include <string>

#include "base/bytes.h"

namespace moxj::tiff {

// The functions that are used.
struct Library {
  decltype(&TIFFOpenOptionsAlloc) optionsAlloc;
  decltype(&TIFFOpenOptionsFree) optionsFree;
  decltype(&TIFFOpenOptionsSetMaxSingleMemAlloc) setMaxAlloc;
  decltype(&TIFFOpenOptionsSetErrorHandlerExtR) setErrorHandler;
  decltype(&TIFFOpenOptionsSetWarningHandlerExtR) setWarningHandler;
  decltype(&TIFFClientOpenExt) open;
  decltype(&TIFFClose) close;
  decltype(&TIFFGetField) getField;
  decltype(&TIFFGetFieldDefaulted) getFieldDefaulted;
  decltype(&TIFFIsTiled) isTiled;
  decltype(&TIFFIsCODECConfigured) hasCodec;
  decltype(&TIFFLastDirectory) isLastDirectory;
  decltype(&TIFFScanlineSize64) scanlineSize;
  decltype(&TIFFStripSize64) stripSize;
  decltype(&TIFFTileSize64) tileSize;
  decltype(&TIFFReadScanline) readScanline;
  decltype(&TIFFReadEncodedStrip) readStrip;
  decltype(&TIFFReadEncodedTile) readTile;
  decltype(&TIFFGetStrileOffset) chunkOffset;
  decltype(&TIFFGetStrileByteCount) chunkBytes;
  decltype(&TIFFGetVersion) version;
};

// Throws Problem (unsupported) if it cannot be loaded.
const Library& library();

// "4.5.0". Throws like library().
std::string libraryVersion();

// Whether large strips of samples that are not compressed appear as several.
enum class Strips { asWritten, divided };

// A file in memory, open for reading.
class Session {
 public:
  // `maxBytes` bounds what libtiff may allocate at once. Throws Problem (damaged).
  Session(ByteSpan file, std::uint64_t maxBytes, Strips strips);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  TIFF* file() const { return tiff_; }
  const Library& calls() const { return library_; }

  // A number of the first directory, with the default that TIFF gives it, otherwise 0.
  template <class Number>
  Number number(std::uint32_t tag) const {
    Number value = 0;
    return library_.getFieldDefaulted(tiff_, tag, &value) ? value : Number{0};
  }
  // The first error since the last call, or the words given if there is none.
  std::string takeError(const char* otherwise);

 private:
  static int onError(TIFF*, void* session, const char* module, const char* format, va_list arguments);
  static tmsize_t onRead(thandle_t session, void* to, tmsize_t size);
  static toff_t onSeek(thandle_t session, toff_t offset, int whence);
  static Session& of(void* session) { return *static_cast<Session*>(session); }

  const Library& library_;
  ByteSpan bytes_;
  std::uint64_t at_ = 0;
  char error_[160] = {};  // no memory is allocated while libtiff works
  TIFF* tiff_ = nullptr;
};

}  // namespace moxj::tiff

#endif
