#pragma once
// Scroll views: a window onto content larger than the view. The content
// offset is the bounds origin; with paging on, scrolling settles on
// multiples of the view's width. Like the phone's, a scroll view clips its
// content to its bounds unless told otherwise (setClipsToBounds).
#include <memory>

#include "qdx/QDXExport.h"
#include "qdx/kit/View.h"

namespace qdx::kit {

class ScrollView;

// What a scroll view tells its delegate. Every method is optional.
class QDX_EXPORT ScrollViewDelegate {
 public:
  virtual ~ScrollViewDelegate() = default;
  // The content offset changed.
  virtual void scrollViewDidScroll(ScrollView& scrollView) { (void)scrollView; }
  // The finger left the content while it was moving: the view starts to
  // slow down (and, with paging, to settle on a page).
  virtual void scrollViewWillBeginDecelerating(ScrollView& scrollView) { (void)scrollView; }
  // The movement stopped; contentOffset is final.
  virtual void scrollViewDidEndDecelerating(ScrollView& scrollView) { (void)scrollView; }
};

class QDX_EXPORT ScrollView : public View {
 public:
  ScrollView() { setClipsToBounds(true); }
  explicit ScrollView(const Rect& frame) : View(frame) { setClipsToBounds(true); }

  Size contentSize() const { return contentSize_; }
  void setContentSize(Size size) { contentSize_ = size; }
  Point contentOffset() const { return bounds().origin; }
  // Moves the content; tells the delegate scrollViewDidScroll when the
  // offset changes. Animation is not modelled.
  void setContentOffset(Point offset, bool animated = false);

  bool isPagingEnabled() const { return paging_; }
  void setPagingEnabled(bool paging) { paging_ = paging; }
  bool bounces() const { return bounces_; }
  void setBounces(bool bounces) { bounces_ = bounces; }
  bool showsHorizontalScrollIndicator() const { return showsHorizontal_; }
  void setShowsHorizontalScrollIndicator(bool shows) { showsHorizontal_ = shows; }
  bool showsVerticalScrollIndicator() const { return showsVertical_; }
  void setShowsVerticalScrollIndicator(bool shows) { showsVertical_ = shows; }

  // Held weakly.
  std::shared_ptr<ScrollViewDelegate> delegate() const { return delegate_.lock(); }
  void setDelegate(std::weak_ptr<ScrollViewDelegate> delegate) { delegate_ = std::move(delegate); }

  // The largest horizontal offset the content allows (0 when it fits).
  double maxContentOffsetX() const;
  // The number of pages the content spans horizontally (at least 1).
  long pageCount() const;

 private:
  Size contentSize_;
  bool paging_ = false;
  bool bounces_ = true;
  bool showsHorizontal_ = true;
  bool showsVertical_ = true;
  std::weak_ptr<ScrollViewDelegate> delegate_;
};

}  // namespace qdx::kit
