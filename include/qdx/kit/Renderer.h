#pragma once
// Draws view trees into bitmaps, for snapshots, the demo and tests. A
// window is drawn with the controllers presented over it and, when it is
// the key window, the alert views on screen.
#include <memory>
#include <string>

#include "qdx/QDXExport.h"
#include "qdx/kit/Image.h"
#include "qdx/kit/View.h"

namespace qdx::kit {

// Draws view and its subtree at scale pixels per point (0: the main
// screen's scale) into a bitmap of the view's bounds size. The view's own
// frame origin is ignored; hidden views, views with alpha 0 and stopped
// activity indicators that hide are left out. nullptr when there is
// nothing to draw into (no view, empty size or a bitmap too large).
QDX_EXPORT std::shared_ptr<Image> renderImage(const std::shared_ptr<View>& view, double scale = 0);

// renderImage encoded as PNG; empty on failure.
QDX_EXPORT std::string renderPng(const std::shared_ptr<View>& view, double scale = 0);

// renderPng written to path atomically (Env::writeFileAtomically); false
// when rendering or writing fails.
QDX_EXPORT bool writePng(const std::shared_ptr<View>& view, const std::string& path, double scale = 0);

}  // namespace qdx::kit
