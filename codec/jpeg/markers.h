// The marker codes of T.81 Table B.1, with their names.
#pragma once

#include <cstdint>
#include <string>

namespace moxj::jpeg {

namespace marker {

inline constexpr std::uint8_t tem = 0x01;
inline constexpr std::uint8_t sof0 = 0xC0;  // baseline
inline constexpr std::uint8_t sof1 = 0xC1;  // extended sequential
inline constexpr std::uint8_t sof2 = 0xC2;  // progressive
inline constexpr std::uint8_t sof3 = 0xC3;  // lossless
inline constexpr std::uint8_t dht = 0xC4;
inline constexpr std::uint8_t jpg = 0xC8;
inline constexpr std::uint8_t sof9 = 0xC9;   // extended sequential, arithmetic coding
inline constexpr std::uint8_t sof10 = 0xCA;  // progressive, arithmetic coding
inline constexpr std::uint8_t dac = 0xCC;
inline constexpr std::uint8_t sof15 = 0xCF;
inline constexpr std::uint8_t rst0 = 0xD0;
inline constexpr std::uint8_t rst7 = 0xD7;
inline constexpr std::uint8_t soi = 0xD8;
inline constexpr std::uint8_t eoi = 0xD9;
inline constexpr std::uint8_t sos = 0xDA;
inline constexpr std::uint8_t dqt = 0xDB;
inline constexpr std::uint8_t dnl = 0xDC;
inline constexpr std::uint8_t dri = 0xDD;
inline constexpr std::uint8_t dhp = 0xDE;
inline constexpr std::uint8_t exp = 0xDF;
inline constexpr std::uint8_t app0 = 0xE0;
inline constexpr std::uint8_t app14 = 0xEE;
inline constexpr std::uint8_t app15 = 0xEF;
inline constexpr std::uint8_t jpg0 = 0xF0;
inline constexpr std::uint8_t jpg13 = 0xFD;
inline constexpr std::uint8_t com = 0xFE;

constexpr bool isRestart(int code) { return code >= rst0 && code <= rst7; }
constexpr bool isFrameHeader(int code) {
  return code >= sof0 && code <= sof15 && code != dht && code != jpg && code != dac;
}
// The sequential and progressive processes, hierarchical ones excepted.
constexpr bool isDct(int code) { return (code >= sof0 && code <= sof2) || code == sof9 || code == sof10; }
constexpr bool isKept(int code) {  // describes the picture, not its coding
  return (code >= app0 && code <= app15) || code == com;
}
constexpr bool isReserved(int code) {  // has no meaning in any process
  return code > tem && code < sof0;
}
constexpr bool standsAlone(int code) {  // no length and no parameters follow
  return code == tem || (code >= rst0 && code <= eoi);
}

}  // namespace marker

// "SOI", "DQT", "APP14" ...; "0x02" and the like for reserved codes.
std::string markerName(int code);

// The coding process of a frame header: "baseline", "progressive", "lossless, arithmetic coding" ...
std::string processName(int frameHeader);

// The same as an adjective: "arithmetic-coded lossless" ...
std::string processAdjective(int frameHeader);

}  // namespace moxj::jpeg
