// The file formats that the codec knows: their names, extensions and first bytes.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace moxj {

// pnm: PGM or PPM, as the picture has it; j2k: a codestream without the boxes of jp2
enum class Format { jpeg, jp2, j2k, png, ppm, pgm, pnm, pgx };

enum class FormatKind {
  coded,   // written by `encode`
  picture  // written by `decode`
};

FormatKind kindOf(Format format);
std::string_view labelOf(Format format);      // "JPEG"
std::string_view extensionOf(Format format);  // "jpg"

// By any of its names ("jpg", "jpeg" ...), regardless of case.
std::optional<Format> formatNamed(std::string_view name);

// By the extension of a path, if it is a known one.
std::optional<Format> formatOfPath(std::string_view path);

// By the first 3 bytes of a file (12 for jp2): jpeg, jp2, j2k, png, pnm or pgx.
std::optional<Format> sniff(std::span<const std::uint8_t> bytes);

// The reason for refusing a file that sniff() does not recognise. Names TIFF, BMP, GIF and WebP.
std::string unrecognised(std::span<const std::uint8_t> bytes);

inline bool isJpeg2000(Format format) { return format == Format::jp2 || format == Format::j2k; }

// The names of all formats of a kind, for messages: "jpg, jp2 or j2k".
std::string formatNames(FormatKind kind);

}  // namespace moxj
