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
  // Starts (stops) the spin: on a surface the spokes turn twelve steps a
  // second, stepped by the main run loop.
  void startAnimating();
  void stopAnimating();
  bool isAnimating() const { return animating_; }
  bool hidesWhenStopped() const { return hidesWhenStopped_; }
  void setHidesWhenStopped(bool hides) { hidesWhenStopped_ = hides; }
  // Gray for the gray style, white otherwise.
  Color color() const;
  // The spoke drawn brightest, 0 to 11; advanced while animating.
  int spinStep() const { return spinStep_; }
  void setSpinStep(int step);

 private:
  ActivityIndicatorViewStyle style_;
  bool animating_ = false;
  bool hidesWhenStopped_ = true;
  int spinStep_ = 0;
};

}  // namespace qdx::kit
