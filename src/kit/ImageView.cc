#include "qdx/kit/ImageView.h"

#include "kit/painter.h"

namespace qdx::kit {

ImageView::ImageView() { setUserInteractionEnabled(false); }

ImageView::ImageView(const Rect& frame) : View(frame) { setUserInteractionEnabled(false); }

ImageView::ImageView(std::shared_ptr<Image> image) : image_(std::move(image)) {
  setUserInteractionEnabled(false);
  if (image_) setFrame(Rect(Point{}, image_->size()));
}

void ImageView::drawContent(Painter& painter) const {
  const Rect b = bounds();
  if (image_) painter.drawImage(*image_, Rect(0, 0, b.width(), b.height()));
}

}  // namespace qdx::kit
