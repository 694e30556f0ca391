#include "qdx/QDXAdLoader.h"

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <string>

#include "ads/ad_list.h"
#include "common/json_access.h"
#include "platform/env.h"
#include "qdx/QDXADType.h"
#include "qdx/RunLoop.h"
#include "qdx/kit/Bundle.h"
#include "qdx/kit/Image.h"
#include "sdk/QDXLog.h"
#include "ui/QDXADView.h"
#include "ui/QDXBannerAdView.h"
#include "ui/QDXListItemAdView.h"
#include "ui/ad_image.h"
#include "ui/user_count_text.h"

namespace qdx {
namespace {

// Runs work on the main thread: at once when called there; otherwise it
// is queued on the main queue and the caller waits, but for no longer than
// seconds for it to start. Work that has not started by then is withdrawn
// (it never runs) and false is returned; work that started is waited for,
// as it runs on a main loop that is turning.
bool onMainThreadWithin(double seconds, const std::function<void()>& work) {
  if (RunLoop::isMainThread()) {
    work();
    return true;
  }
  enum class Stage { kQueued, kRunning, kDone, kWithdrawn };
  struct Handoff {
    std::mutex mutex;
    std::condition_variable changed;
    Stage stage = Stage::kQueued;
  };
  auto handoff = std::make_shared<Handoff>();
  RunLoop::main().post([handoff, &work] {
    {
      std::lock_guard<std::mutex> lock(handoff->mutex);
      if (handoff->stage == Stage::kWithdrawn) return;  // work's owner has gone
      handoff->stage = Stage::kRunning;
    }
    work();
    {
      std::lock_guard<std::mutex> lock(handoff->mutex);
      handoff->stage = Stage::kDone;
    }
    handoff->changed.notify_all();
  });
  std::unique_lock<std::mutex> lock(handoff->mutex);
  const auto limit = std::chrono::duration<double>(seconds > 0 ? seconds : 0);
  if (!handoff->changed.wait_for(lock, limit, [&] { return handoff->stage != Stage::kQueued; })) {
    handoff->stage = Stage::kWithdrawn;
    return false;
  }
  handoff->changed.wait(lock, [&] { return handoff->stage == Stage::kDone; });
  return true;
}

// What a load tells the host when the main thread did not take its work.
void logMainQueueTimeout(const char* step, double seconds) {
  char text[160];
  std::snprintf(text, sizeof text, "QDXAdLoader: the main queue did not %s within %g s; no views", step,
                seconds);
  debugLog(text);
}

// The cached bytes of url: nullopt for an absent url or a failed download.
// Empty bytes are bytes, and count as present.
std::optional<std::string> imageData(const std::optional<std::string>& url) {
  if (!url) return std::nullopt;
  return adImageData(url);
}

// The pictures of one app's view, downloaded once, on the loader's calling
// thread, before any view is built: the main thread never downloads, and a
// picture that failed is not asked for again.
struct Pictures {
  std::optional<std::string> artwork;  // adlist[0]."ad_url" (types 7 and 9)
  std::optional<std::string> icon;     // "icon" (types 8 and 9)
};

std::vector<Pictures> fetchPictures(const Json& payload, std::size_t n, std::int32_t adType) {
  const bool artwork = adType == QDXADTypeCustomNativeBanner || adType == QDXADTypeCustomImageTextForm;
  const bool icon = adType == QDXADTypeCustomTextForm || adType == QDXADTypeCustomImageTextForm;
  std::vector<Pictures> pictures(artwork || icon ? n : 0);
  for (std::size_t i = 0; i < pictures.size(); ++i) {
    const Json& app = appAt(payload, i);
    if (artwork) pictures[i].artwork = QDXBannerAdView::artworkOf(app);
    if (icon) pictures[i].icon = imageData(appText(app, adkeys::kIcon));
  }
  return pictures;
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

// Builds the views of one load on the main thread, from the ad list and
// the pictures already fetched for it.
class ViewBuilder {
 public:
  ViewBuilder(std::shared_ptr<QDXADView> hidden, const Json& payload, const std::vector<Pictures>& pictures,
              kit::Size size)
      : hidden_(std::move(hidden)), payload_(payload), pictures_(pictures), size_(size) {}

  void nativeBanner(std::size_t i, std::vector<std::shared_ptr<kit::View>>& out) {
    auto view = std::make_shared<QDXBannerAdView>();
    const bool filled = view->showArtwork(pictures_[i].artwork, size_);
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
    const std::optional<std::string>& icon = pictures_[i].icon;
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
    const std::optional<std::string>& artwork = pictures_[i].artwork;
    const std::optional<std::string>& icon = pictures_[i].icon;
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
  const std::vector<Pictures>& pictures_;
  kit::Size size_;
};

}  // namespace

void QDXAdLoader::loadAdWithType(std::int32_t adType, std::int64_t count, kit::Size size, const Block& block) {
  registerListItemViewClasses();
  // Off the main thread the kit's work waits for the main queue, but never
  // longer than a request may take: a host whose main loop is not turning
  // gets no views rather than a caller that hangs.
  const double patience = Env::Default()->requestTimeoutSeconds();
  std::shared_ptr<QDXADView> hidden;
  if (!onMainThreadWithin(patience, [&] { hidden = QDXADView::initWithADType(adType); })) {
    logMainQueueTimeout("make the request's view", patience);
    return;
  }
  // A negative count reads as a huge unsigned one: every app.
  const auto wanted = static_cast<std::uint64_t>(count);
  const Json payload = hidden->loadADWithCount(wanted);
  // The hidden view gets the host's delegate only after its load: the host
  // hears of taps on the views, not of the load itself.
  hidden->setDelegate(delegate_);

  const std::uint64_t apps = appCount(payload);
  const std::uint64_t n = apps > wanted ? wanted : apps;
  if (n == 0) return;
  const std::vector<Pictures> pictures = fetchPictures(payload, static_cast<std::size_t>(n), adType);

  std::vector<std::shared_ptr<kit::View>> views;
  const bool built = onMainThreadWithin(patience, [&] {
    ViewBuilder builder(hidden, payload, pictures, size);
    for (std::size_t i = 0; i < n; ++i) {
      switch (adType) {
        case QDXADTypeCustomNativeBanner: builder.nativeBanner(i, views); break;
        case QDXADTypeCustomTextForm: builder.textItem(i, views); break;
        case QDXADTypeCustomImageTextForm: builder.imageTextItem(i, views); break;
        default: break;  // no view of an unknown kind
      }
    }
  });
  if (!built) {
    logMainQueueTimeout("build the views", patience);
    return;
  }
  if (block) block(views);
}

void QDXAdLoader::setADDelegate(std::shared_ptr<QDXADDelegate> delegate) { delegate_ = std::move(delegate); }

std::shared_ptr<QDXADDelegate> QDXAdLoader::delegate() const { return delegate_; }

}  // namespace qdx
