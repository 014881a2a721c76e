# Turns a list of checksums into a table that is compiled in.
# usage: cmake -DFROM=checksums.txt -DTO=checksums.cpp -P Checksums.cmake
file(READ ${FROM} text)
string(REGEX REPLACE "([A-Za-z0-9_]+) ([0-9a-f]+)\n" "    {\"\\1\", 0x\\2},\n" lines "${text}")
file(WRITE ${TO} "// Made from checksums.txt.
#include \"proof/golden.h\"

namespace test {

static constexpr Checksum kChecksums[] = {
${lines}};

std::span<const Checksum> expectedChecksums() { return kChecksums; }

}  // namespace test
")
