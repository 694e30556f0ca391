#include "ui/QDXListItemAdView.h"

#include <mutex>

#include "kit/layout_file.h"

namespace qdx {
namespace {

// Sets outlet to view when view is a T; false otherwise.
template <class T>
bool connect(std::weak_ptr<T>& outlet, const std::shared_ptr<kit::View>& view) {
  auto typed = std::dynamic_pointer_cast<T>(view);
  if (!typed) return false;
  outlet = typed;
  return true;
}

}  // namespace

bool QDXListItemAdView::setOutlet(const std::string& name, const std::shared_ptr<kit::View>& view) {
  if (name == "icon") return connect(icon_, view);
  if (name == "titleLabel") return connect(titleLabel_, view);
  if (name == "descriptionLable") return connect(descriptionLable_, view);
  if (name == "downloadButton") return connect(downloadButton_, view);
  return false;
}

bool QDXBannerListItemAdView::setOutlet(const std::string& name, const std::shared_ptr<kit::View>& view) {
  if (name == "imageView") return connect(imageView_, view);
  return QDXListItemAdView::setOutlet(name, view);
}

void registerListItemViewClasses() {
  static std::once_flag once;
  std::call_once(once, [] {
    kit::ViewClassRegistry& registry = kit::ViewClassRegistry::shared();
    registry.registerClass(QDXListItemAdView::kNibName, [] { return std::make_shared<QDXListItemAdView>(); });
    registry.registerClass(QDXBannerListItemAdView::kNibName,
                           [] { return std::make_shared<QDXBannerListItemAdView>(); });
  });
}

}  // namespace qdx
