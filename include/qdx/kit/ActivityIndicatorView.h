#pragma once
// A spinner that shows work in progress. Hidden while stopped (by default).
#include "qdx/QDXExport.h"
#include "qdx/kit/Color.h"
#include "qdx/kit/View.h"

namespace qdx::kit {

enum ActivityIndicatorViewStyle : int {
  ActivityIndicatorViewStyleWhiteLarge = 0,
  ActivityIndicatorViewStyleWhite = 1,
  ActivityIndicatorViewStyleGray = 2,
};

class QDX_EXPORT ActivityIndicatorView : public View {
 public:
  // Draws the spokes's content through the painter.
  void drawContent(Painter& painter) const override;
  // A stopped spinner that hides when stopped is left out of drawings.
  bool hidesFromRendering() const override { return !animating_ && hidesWhenStopped_; }
  // A 20 x 20 point indicator (37 x 37 for the large style), stopped.
  explicit ActivityIndicatorView(ActivityIndicatorViewStyle style = ActivityIndicatorViewStyleWhite);

  ActivityIndicatorViewStyle activityIndicatorViewStyle() const { return style_; }
  void startAnimating() { animating_ = true; }
  void stopAnimating() { animating_ = false; }
  bool isAnimating() const { return animating_; }
  bool hidesWhenStopped() const { return hidesWhenStopped_; }
  void setHidesWhenStopped(bool hides) { hidesWhenStopped_ = hides; }
  // Gray for the gray style, white otherwise.
  Color color() const;

 private:
  ActivityIndicatorViewStyle style_;
  bool animating_ = false;
  bool hidesWhenStopped_ = true;
};

}  // namespace qdx::kit
