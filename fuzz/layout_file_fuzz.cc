// Any interface-file text reads into views or into nothing, without a
// fault: the kit's own view classes and the SDK's two list-item views,
// their outlets and images (read from the demo's bundle folder). What reads
// is drawn once, as a host screen would be.
#include <cstdint>
#include <string>

#include "fuzz_env.h"
#include "kit/layout_file.h"
#include "qdx/kit/Renderer.h"
#include "ui/QDXListItemAdView.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static bool ready = [] {
    qdx::fuzzing::FuzzEnv::shared();
    qdx::registerListItemViewClasses();
    return true;
  }();
  (void)ready;
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::string bundle = QDX_SOURCE_DIR "/tools/qdx-demo/bundle";
  for (const auto& view : qdx::kit::loadLayout(text, bundle, "fuzz")) {
    if (!view) continue;
    // Drawn only at a screen's size: a frame of a billion points is the
    // renderer's budget to refuse, not this target's to allocate.
    const qdx::kit::Rect frame = view->frame();
    if (frame.size.width > 0 && frame.size.height > 0 && frame.size.width <= 1024 &&
        frame.size.height <= 1024) {
      qdx::kit::renderImage(view, 1);
    }
  }
  return 0;
}
