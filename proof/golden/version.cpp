#include <cstring>

#include "moxj.h"
#include "proof/golden.h"

namespace test {
namespace {

const GoldenCase kCases[] = {
    {"moxjGetLibVersion",
     [](Digest& digest, Random&) {
       const MoxLibraryVersion& v = *moxjGetLibVersion();
       for (const int32_t number : {v.major, v.minor, v.majorBuild, v.build}) digest.value(number);
       digest.bytes(v.targetCpu, sizeof v.targetCpu);
       for (const char* text : {v.name, v.version, v.buildDate}) digest.bytes(text, std::strlen(text) + 1);
     }},
};

}  // namespace

GoldenCases versionGolden() { return kCases; }

}  // namespace test
