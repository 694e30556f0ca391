#pragma once
// The list items of the custom slots, loaded from the host's interface
// files: the text form (ad type 8, "QDXListItemAdView") and the
// image-and-text form (ad type 9, "QDXBannerListItemAdView"). Their outlets
// are held weakly (the view tree holds the views).
#include <memory>
#include <string>

#include "qdx/kit/Button.h"
#include "qdx/kit/ImageView.h"
#include "qdx/kit/Label.h"
#include "ui/QDXADView.h"

namespace qdx {

class QDXListItemAdView : public QDXADView {
 public:
  // The interface file of this class, and the class name it is registered
  // under for layout files.
  static constexpr const char kNibName[] = "QDXListItemAdView";

  std::shared_ptr<kit::ImageView> icon() const { return icon_.lock(); }
  std::shared_ptr<kit::Label> titleLabel() const { return titleLabel_.lock(); }
  std::shared_ptr<kit::Label> descriptionLable() const { return descriptionLable_.lock(); }
  std::shared_ptr<kit::Button> downloadButton() const { return downloadButton_.lock(); }

  // Connects "icon" (an image view), "titleLabel" and "descriptionLable"
  // (labels) and "downloadButton" (a button); false for any other name or
  // a view of another kind.
  bool setOutlet(const std::string& name, const std::shared_ptr<kit::View>& view) override;

 private:
  std::weak_ptr<kit::ImageView> icon_;
  std::weak_ptr<kit::Label> titleLabel_;
  std::weak_ptr<kit::Label> descriptionLable_;
  std::weak_ptr<kit::Button> downloadButton_;
};

class QDXBannerListItemAdView : public QDXListItemAdView {
 public:
  static constexpr const char kNibName[] = "QDXBannerListItemAdView";

  std::shared_ptr<kit::ImageView> imageView() const { return imageView_.lock(); }

  // The text form's outlets, plus "imageView" (an image view: the artwork).
  bool setOutlet(const std::string& name, const std::shared_ptr<kit::View>& view) override;

 private:
  std::weak_ptr<kit::ImageView> imageView_;
};

// Makes both item classes known to layout files (kit::ViewClassRegistry)
// under their nib names. Idempotent.
void registerListItemViewClasses();

}  // namespace qdx
