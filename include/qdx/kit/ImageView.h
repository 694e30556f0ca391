#pragma once
// A view that shows an image scaled to fill its bounds.
#include <memory>

#include "qdx/QDXExport.h"
#include "qdx/kit/Image.h"
#include "qdx/kit/View.h"

namespace qdx::kit {

class QDX_EXPORT ImageView : public View {
 public:
  // Draws the image's content through the painter.
  void drawContent(Painter& painter) const override;
  // Image views take no touches until user interaction is switched on.
  ImageView();
  explicit ImageView(const Rect& frame);
  // An image view sized to the image (at the origin).
  explicit ImageView(std::shared_ptr<Image> image);

  std::shared_ptr<Image> image() const { return image_; }
  void setImage(std::shared_ptr<Image> image) {
    image_ = std::move(image);
    setNeedsDisplay();
  }

 private:
  std::shared_ptr<Image> image_;
};

}  // namespace qdx::kit
