#include "qdx/kit/ImageView.h"

namespace qdx::kit {

ImageView::ImageView() { setUserInteractionEnabled(false); }

ImageView::ImageView(const Rect& frame) : View(frame) { setUserInteractionEnabled(false); }

ImageView::ImageView(std::shared_ptr<Image> image) : image_(std::move(image)) {
  setUserInteractionEnabled(false);
  if (image_) setFrame(Rect(Point{}, image_->size()));
}

}  // namespace qdx::kit
