#pragma once

#include "contracts/Core/Types.h"
#include "contracts/Proc/Plane.h"

namespace Tarsel::Proc {

/// Gives each pixel of alpha 0 the mean colour, cut to whole numbers, of the pixels with another alpha in the square
/// around it: with `half` = `matrixSize` / 2, columns x - half to x + half - 1, and rows likewise. Pixels without such
/// a neighbour stay. The plane's pixels have four bytes, `alphaByte` is 0 or 3. Returns the number of pixels changed.
///
/// The time doesn't depend on the matrix: sums of each column of the window's rows move down with the window, and sums
/// along the row make the window's sum from two of them. Memory: two rows of sums.
uint64 BlurTransparentBorder(Details::PlaneTemplate<0> const& plane, int alphaByte, int matrixSize);

/// Whether the picture has both pixels of alpha 0 and others: else there is nothing to blur.
bool HasTransparentBorder(Details::PlaneTemplate<1> const& plane, int alphaByte);

}  // namespace Tarsel::Proc
