#pragma once
// Whether a view draws the same thing everywhere over an area: the test a
// surface makes before it moves a scroll view's drawn pixels instead of
// painting them again. The content of a scroll view moves when it scrolls,
// but what its ancestors and the scroll view itself draw beneath and
// around that content (backgrounds, content, borders, rounded clips) stays
// where it is; moving the pixels is right only where all of that is one
// plain colour, or nothing. Main thread only.
#include "qdx/kit/Geometry.h"

namespace qdx::kit {

class View;

// True when view, placed at origin (root points) and drawn at scale, draws
// itself (not its children) plainly over area (root points): its
// background, if any, covers area without an edge or a rounded corner in
// it, its border and rounded clip stay out of it, it draws no content
// there, and it casts no shadow (a shadow takes the shape of the
// children, which move).
bool drawsPlainOver(const View& view, Point origin, double scale, const Rect& area);

// True when view's own background, drawn at origin, paints every pixel of
// area (root points) fully opaque, hiding whatever was drawn before it
// there (when nothing above it blends it with what lies below).
bool coversOpaquely(const View& view, Point origin, const Rect& area);

}  // namespace qdx::kit
