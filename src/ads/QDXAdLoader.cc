#include "qdx/QDXAdLoader.h"

#include <cmath>
#include <cstdio>
#include <string>

#include "ads/ad_list.h"
#include "common/json_access.h"
#include "qdx/RunLoop.h"
#include "qdx/kit/Bundle.h"
#include "qdx/kit/Image.h"
#include "ui/QDXADView.h"
#include "ui/QDXBannerAdView.h"
#include "ui/QDXListItemAdView.h"
#include "ui/ad_image.h"
#include "ui/user_count_text.h"

namespace qdx {
namespace {

// Kit views are main-thread objects: build them there, waiting when called
// from another thread.
void onMainThread(const std::function<void()>& work) {
  if (RunLoop::isMainThread()) {
    work();
  } else {
    RunLoop::main().postAndWait(work);
  }
}

std::optional<std::string> imageData(const std::optional<std::string>& url) {
  if (!url) return std::nullopt;
  std::optional<std::string> data = adImageData(url);
  if (data && data->empty()) return std::nullopt;
  return data;
}

// Fetches into the image cache the pictures the views of the first n apps
// of payload will show.
void warmImages(const Json& payload, std::size_t n, std::int32_t adType) {
  for (std::size_t i = 0; i < n; ++i) {
    const Json& app = appAt(payload, i);
    if (adType == 7 || adType == 9) imageData(adText(app, adkeys::kAdUrl));
    if (adType == 8 || adType == 9) imageData(appText(app, adkeys::kIcon));
  }
}

bool nonEmpty(const std::optional<std::string>& text) { return text && !text->empty(); }

// The first top-level object of the named interface file, when it is a T.
template <class T>
std::shared_ptr<T> loadItem(const char* nibName) {
  std::vector<std::shared_ptr<kit::View>> objects = kit::Bundle::mainBundle().loadNibNamed(nibName);
  return objects.empty() ? nullptr : std::dynamic_pointer_cast<T>(objects.front());
}

// Touch-up-inside on an item reaches its own downloadApp: the action names
// no live target, so the responder chain starts at the control itself.
void routeTouchUpToItem(QDXADView& item) {
  item.addAction(
      [](const std::shared_ptr<kit::Control>& sender) {
        QDXADView::downloadApp(std::dynamic_pointer_cast<QDXADView>(sender));
      },
      kit::ControlEventTouchUpInside);
}

template <class T>
void setText(const std::shared_ptr<T>& label, const std::optional<std::string>& text) {
  if (label) label->setText(text.value_or(""));
}

template <class T>
void setImage(const std::shared_ptr<T>& imageView, const std::optional<std::string>& data) {
  if (imageView) imageView->setImage(kit::Image::imageWithData(data));
}

class ViewBuilder {
 public:
  ViewBuilder(std::shared_ptr<QDXADView> hidden, const Json& payload, kit::Size size)
      : hidden_(std::move(hidden)), payload_(payload), size_(size) {}

  void nativeBanner(std::size_t i, std::vector<std::shared_ptr<kit::View>>& out) {
    auto view = std::make_shared<QDXBannerAdView>();
    const bool filled = view->onAdInfoLoaded(appAt(payload_, i), size_);
    view->setTag(static_cast<long>(i));
    if (!filled) return;
    view->setEventDelegate(hidden_);
    hidden_->reportShowEventWithPage(static_cast<std::int64_t>(i));
    view->setClipsToBounds(true);
    out.push_back(view);
  }

  void textItem(std::size_t i, std::vector<std::shared_ptr<kit::View>>& out) {
    auto item = loadItem<QDXListItemAdView>(QDXListItemAdView::kNibName);
    if (!item) return;
    const Json& app = appAt(payload_, i);
    const std::optional<std::string> icon = imageData(appText(app, adkeys::kIcon));
    const std::optional<std::string> name = appText(app, adkeys::kAppName);
    const std::optional<std::string> description = adText(app, adkeys::kAdDesc);
    setImage(item->icon(), icon);
    setText(item->titleLabel(), name);
    setText(item->descriptionLable(), description);
    item->setEventDelegate(hidden_);
    item->setTag(static_cast<long>(i));
    routeTouchUpToItem(*item);
    if (icon && nonEmpty(name) && nonEmpty(description)) {
      out.push_back(item);
      hidden_->reportShowEventWithPage(static_cast<std::int64_t>(i));
    }
  }

  void imageTextItem(std::size_t i, std::vector<std::shared_ptr<kit::View>>& out) {
    auto item = loadItem<QDXBannerListItemAdView>(QDXBannerListItemAdView::kNibName);
    if (!item) return;
    const Json& app = appAt(payload_, i);
    const std::optional<std::string> artwork = imageData(adText(app, adkeys::kAdUrl));
    const std::optional<std::string> icon = imageData(appText(app, adkeys::kIcon));
    const std::optional<std::string> name = appText(app, adkeys::kAppName);
    setImage(item->imageView(), artwork);
    setImage(item->icon(), icon);
    setText(item->titleLabel(), name);
    setText(item->descriptionLable(), userCountText(json::member(app, adkeys::kUseCount)));
    if (!nonEmpty(name) || !icon || !artwork) return;
    item->setTag(static_cast<long>(i));
    routeTouchUpToItem(*item);
    item->setEventDelegate(hidden_);
    out.push_back(item);
    hidden_->reportShowEventWithPage(static_cast<std::int64_t>(i));
  }

 private:
  std::shared_ptr<QDXADView> hidden_;
  const Json& payload_;
  kit::Size size_;
};

}  // namespace

void QDXAdLoader::loadAdWithType(std::int32_t adType, std::int64_t count, kit::Size size, const Block& block) {
  registerListItemViewClasses();
  std::shared_ptr<QDXADView> hidden;
  onMainThread([&] { hidden = QDXADView::initWithADType(adType); });
  // A negative count reads as a huge unsigned one: every app.
  const auto wanted = static_cast<std::uint64_t>(count);
  const Json payload = hidden->loadADWithCount(wanted);
  // The hidden view gets the host's delegate only after its load: the host
  // hears of taps on the views, not of the load itself.
  hidden->setDelegate(delegate_);

  const std::uint64_t apps = appCount(payload);
  const std::uint64_t n = apps > wanted ? wanted : apps;
  if (n == 0) return;
  // The main thread only builds views: the artwork is downloaded here,
  // on the caller's thread, first.
  if (!RunLoop::isMainThread()) warmImages(payload, static_cast<std::size_t>(n), adType);

  std::vector<std::shared_ptr<kit::View>> views;
  onMainThread([&] {
    ViewBuilder builder(hidden, payload, size);
    for (std::size_t i = 0; i < n; ++i) {
      switch (adType) {
        case 7: builder.nativeBanner(i, views); break;
        case 8: builder.textItem(i, views); break;
        case 9: builder.imageTextItem(i, views); break;
        default: break;  // no view of an unknown kind
      }
    }
  });
  if (block) block(views);
}

void QDXAdLoader::setADDelegate(std::shared_ptr<QDXADDelegate> delegate) { delegate_ = std::move(delegate); }

std::shared_ptr<QDXADDelegate> QDXAdLoader::delegate() const { return delegate_; }

}  // namespace qdx
