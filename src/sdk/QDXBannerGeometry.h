#pragma once
// The banner's size: as wide as the screen, with the 720 x 110 artwork's
// proportions.

namespace qdx {

// The banner height for a screen width, in points (double precision, no
// rounding): width * 110 / 720.
inline double qdxBannerHeight(double screenWidth) { return screenWidth * 110 / 720; }

}  // namespace qdx
