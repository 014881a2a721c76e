#include "proof/golden.h"

namespace test {

std::vector<GoldenCase> goldenCases() {
  std::vector<GoldenCase> all;
  for (const GoldenCases cases :
       {colourGolden(), componentsGolden(), dctGolden(), huffmanGolden(), losslessGolden(), mcuGolden(),
        progressiveGolden(), sampleGolden(), shiftGolden(), tier1Golden(), versionGolden(), waveletGolden()})
    all.insert(all.end(), cases.begin(), cases.end());
  return all;
}

uint64_t checksumOf(const GoldenCase& golden) {
  Digest digest;
  Random random(2026);
  golden.run(digest, random);
  return digest.hash();
}

}  // namespace test
