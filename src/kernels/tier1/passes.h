// The three coding passes over a bit-plane of a code-block (ISO/IEC 15444-1, D.3), as the standard describes them: the
// definition of both block coders, and what the scalar target runs.
//
// Encoder and decoder visit the same coefficients in the same order and form the same contexts; the one takes a
// decision from the coefficient, the other from the code string. So the passes are written once, over a Block with
//
//   width(), height()
//   significant(x, y)                whether the coefficient is significant,
//   refined(x, y)                    has been refined before,
//   visited(x, y)                    has been coded in the significance propagation pass of this bit-plane
//   visit(x, y), leave(x, y)         set and clear visited
//   neighbours(x, y)                 its neighbours' flags (contexts.h). A neighbour outside the block is not
//                                    significant, nor is one in the next stripe if contexts are vertically causal (D.7)
//   codeSignificance(x, y, context)  codes whether it becomes significant in this bit-plane; returns that
//   codeRun(x, y)                    codes how many of the four coefficients from here down stay insignificant before
//                                    one becomes significant; returns the number
//   codeSign(x, y, plus)             makes it significant and codes its sign; `plus` is the symbol of a plus sign
//   codeRefinement(x, y, context)    makes it refined and codes its bit in this bit-plane
#pragma once

#include <algorithm>
#include <cstdint>

#include "kernels/tier1/contexts.h"

namespace mox::definition {

// The order of the scan (D.1): stripes of four rows, in each the columns from left to right.
template <class Block, class Visit>
void forEachColumn(const Block& block, const Visit& visit) {
  for (int top = 0; top < block.height(); top += 4)
    for (int x = 0; x < block.width(); x++) visit(x, top, std::min(top + 4, block.height()));
}
// And in a column the coefficients from the top down.
template <class Block, class Visit>
void forEachCoefficient(const Block& block, const Visit& visit) {
  forEachColumn(block, [&](int x, int top, int bottom) {
    for (int y = top; y < bottom; y++) visit(x, y);
  });
}

// Whether a neighbour of the coefficient is significant.
template <class Block>
bool hasContext(const Block& block, int x, int y) {
  return (block.neighbours(x, y) & tier1::kNeighbours) != 0;
}

// Significance coding (D.3.1): Table D.1 is `contexts`, that of the block's subband.
template <class Block>
bool becomesSignificant(Block& block, const tier1::ContextTable& contexts, int x, int y) {
  return block.codeSignificance(x, y, contexts[block.neighbours(x, y) & tier1::kNeighbours]);
}

// Sign bit decoding (D.3.2).
template <class Block>
void sign(Block& block, int x, int y) {
  block.codeSign(x, y, tier1::kSignSymbol[block.neighbours(x, y) >> tier1::kSignShift & tier1::kSignBits]);
}

// The significance propagation pass (D.3.1): insignificant coefficients with a significant neighbour.
template <class Block>
void significancePropagation(Block& block, const tier1::ContextTable& contexts) {
  forEachCoefficient(block, [&](int x, int y) {
    if (block.significant(x, y) || !hasContext(block, x, y)) return;
    block.visit(x, y);
    if (becomesSignificant(block, contexts, x, y)) sign(block, x, y);
  });
}

// The magnitude refinement pass (D.3.3): coefficients that were significant before this bit-plane.
template <class Block>
void magnitudeRefinement(Block& block) {
  forEachCoefficient(block, [&](int x, int y) {
    if (!block.significant(x, y) || block.visited(x, y)) return;
    block.codeRefinement(x, y, tier1::refinementContext(block.neighbours(x, y), block.refined(x, y)));
  });
}

// Whether a column is coded as a run (D.3.4): four coefficients that this pass codes, none of which has a significant
// neighbour.
template <class Block>
bool isRun(const Block& block, int x, int top, int bottom) {
  if (bottom - top < 4) return false;
  for (int y = top; y < bottom; y++)
    if (block.significant(x, y) || block.visited(x, y) || hasContext(block, x, y)) return false;
  return true;
}

// The cleanup pass (D.3.4): whatever the other two passes have left.
template <class Block>
void cleanup(Block& block, const tier1::ContextTable& contexts) {
  forEachColumn(block, [&](int x, int top, int bottom) {
    int y = top;
    if (isRun(block, x, top, bottom)) {
      y += block.codeRun(x, top);
      if (y < bottom) sign(block, x, y++);
    }
    for (; y < bottom; y++)
      if (!block.significant(x, y) && !block.visited(x, y) && becomesSignificant(block, contexts, x, y))
        sign(block, x, y);
    for (y = top; y < bottom; y++) block.leave(x, y);
  });
}

}  // namespace mox::definition
