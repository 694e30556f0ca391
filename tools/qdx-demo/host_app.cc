#include "host_app.h"

#include <cstdio>

#include "qdx/PosixPlatform.h"
#include "qdx/QDXADRequest.h"
#include "qdx/RunLoop.h"

namespace qdx::demo {

using namespace qdx::kit;

namespace {

constexpr double kNavigationBottom = 64;  // status bar and navigation bar
const Color kPage = Color::rgba(0.949, 0.953, 0.961, 1);
const Color kBar = Color::rgba(0.169, 0.227, 0.333, 1);
const Color kInk = Color::rgba(0.133, 0.133, 0.133, 1);
const Color kMuted = Color::rgba(0.533, 0.533, 0.533, 1);

std::shared_ptr<Label> label(const Rect& frame, const std::string& text,
                             const std::shared_ptr<Font>& font, Color color) {
  auto label = std::make_shared<Label>(frame);
  label->setText(text);
  label->setFont(font);
  label->setTextColor(color);
  return label;
}

// The app's own top: a status bar strip and a navigation bar with a title.
void addNavigationBar(const std::shared_ptr<View>& screen, const std::string& title) {
  const double width = screen->bounds().width();
  auto bar = std::make_shared<View>(Rect(0, 0, width, kNavigationBottom));
  bar->setBackgroundColor(kBar);
  auto text = label(Rect(0, 20, width, 44), title, Font::boldSystemFontOfSize(17), Color::white());
  text->setTextAlignment(TextAlignmentCenter);
  bar->addSubview(text);
  screen->addSubview(bar);
}

// One of the host's own posts: a coloured thumbnail, a headline, a line.
std::shared_ptr<View> post(double y, double width, int index) {
  static const char* const kHeadlines[] = {
      "Sunrise over the ridge trail",   "Five lakes in one weekend",
      "Packing light for rainy hikes",  "The quiet side of the valley",
      "Maps, apps and paper: a review", "Where the old railway runs",
      "Night walks and what they show", "A field guide to alpine flowers"};
  static const Color kThumbs[] = {
      Color::rgba(0.91, 0.56, 0.30, 1), Color::rgba(0.30, 0.62, 0.80, 1),
      Color::rgba(0.45, 0.70, 0.42, 1), Color::rgba(0.62, 0.47, 0.78, 1)};
  auto card = std::make_shared<View>(Rect(10, y, width - 20, 76));
  card->setBackgroundColor(Color::white());
  card->layer().cornerRadius = 8;
  auto thumb = std::make_shared<View>(Rect(10, 10, 56, 56));
  thumb->setBackgroundColor(kThumbs[index % 4]);
  thumb->layer().cornerRadius = 6;
  card->addSubview(thumb);
  card->addSubview(label(Rect(78, 14, width - 110, 22), kHeadlines[index % 8],
                         Font::boldSystemFontOfSize(15), kInk));
  card->addSubview(label(Rect(78, 42, width - 110, 18),
                         std::to_string(3 + index * 2) + " min read · " +
                             std::to_string(12 + index * 7) + " comments",
                         Font::systemFontOfSize(12), kMuted));
  return card;
}

}  // namespace

void RecordingDelegate::add(const std::string& method, const std::string& detail) {
  const char* thread = RunLoop::isMainThread() ? "main thread" : "background thread";
  tell(method + detail + " (" + thread + ")");
}

void RecordingDelegate::tell(const std::string& line) {
  std::function<void(const std::string&)> listener;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    lines_.push_back(line);
    listener = listener_;
  }
  if (listener) listener(line);
}

void RecordingDelegate::setListener(std::function<void(const std::string& line)> listener) {
  std::lock_guard<std::mutex> lock(mutex_);
  listener_ = std::move(listener);
}

void RecordingDelegate::onADLoaded() { add("onADLoaded"); }

void RecordingDelegate::onNoAD(long code) { add("onNoAD", " " + std::to_string(code)); }

void RecordingDelegate::onADClicked() { add("onADClicked"); }

// " type T, W x H": what the show and close callbacks carry.
std::string requestDetail(const std::shared_ptr<QDXADRequest>& request, float width, float height) {
  char detail[96];
  std::snprintf(detail, sizeof detail, " type %d, %.2f x %.2f", request ? request->adType() : -1,
                width, height);
  return detail;
}

void RecordingDelegate::onADShowedWithADRequest(const std::shared_ptr<QDXADRequest>& request,
                                                float adWidth, float adHeight) {
  add("onADShowedWithADRequest", requestDetail(request, adWidth, adHeight));
}

void RecordingDelegate::onADClosedWithADRequest(const std::shared_ptr<QDXADRequest>& request,
                                                float adWidth, float adHeight) {
  add("onADClosedWithADRequest", requestDetail(request, adWidth, adHeight));
}

void RecordingDelegate::note(const std::string& line) { tell(line); }

std::vector<std::string> RecordingDelegate::lines() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return lines_;
}

std::size_t RecordingDelegate::count(const std::string& method) const {
  std::lock_guard<std::mutex> lock(mutex_);
  std::size_t n = 0;
  for (const std::string& line : lines_) {
    if (line.rfind(method, 0) == 0) ++n;
  }
  return n;
}

HostApp::HostApp()
    : window_(std::make_shared<Window>(Screen::mainScreen().bounds())),
      home_(std::make_shared<ViewController>()),
      appDelegate_(std::make_shared<ApplicationDelegate>()),
      delegate_(std::make_shared<RecordingDelegate>()),
      opened_(std::make_shared<Opened>()) {
  auto screen = home_->view();
  screen->setFrame(window_->bounds());
  screen->setBackgroundColor(kPage);
  addNavigationBar(screen, "Trail Notes");
  const double width = screen->bounds().width();
  for (int i = 0; i < 7; ++i) screen->addSubview(post(kNavigationBottom + 12 + i * 84, width, i));

  window_->setRootViewController(home_);
  window_->makeKeyAndVisible();
  appDelegate_->window = window_;
  Application::sharedApplication().setDelegate(appDelegate_);

  // A phone would switch to the store; the demo writes the link down.
  std::weak_ptr<Opened> opened = opened_;
  PosixPlatform::setOpenURLHandler([opened](const std::string& url) {
    auto record = opened.lock();
    if (!record) return false;
    std::function<void(const std::string&)> listener;
    {
      std::lock_guard<std::mutex> lock(record->mutex);
      record->urls.push_back(url);
      listener = record->listener;
    }
    if (listener) listener(url);
    return true;
  });
}

bool HostApp::startSdk(const std::string& channel, std::int64_t appId, const std::string& appKey,
                       bool debug) {
  QDXAD::setADDelegate(delegate_);  // held weakly: the app keeps it
  if (debug) QDXAD::setDebug(true);
  sdk_ = QDXAD::initWithChannel(channel, appId, appKey);
  return sdk_ != nullptr;
}

std::shared_ptr<View> HostApp::showFeed(const std::vector<std::shared_ptr<View>>& adViews) {
  const double width = window_->bounds().width();
  // Posts and ads alternate: post, ad, post, ad, ..., then one more post.
  double y = kNavigationBottom + 10;
  auto content = std::make_shared<View>(Rect(0, 0, width, 0));
  content->setBackgroundColor(kPage);
  int posts = 0;
  auto addPost = [&] {
    content->addSubview(post(y, width, posts++));
    y += 84;
  };
  for (const auto& ad : adViews) {
    addPost();
    Rect frame = ad->frame();
    frame.origin = {(width - frame.width()) / 2, y};
    ad->setFrame(frame);
    content->addSubview(ad);
    y += frame.height() + 8;
  }
  addPost();
  content->setFrame(Rect(0, 0, width, y + 4));
  addNavigationBar(content, "Feed");

  // The screen scrolls over the feed; the content view keeps its height.
  auto screen = std::make_shared<ScrollView>(window_->bounds());
  screen->setContentSize(content->frame().size);
  screen->addSubview(content);
  feed_ = std::make_shared<ViewController>();
  feed_->setView(screen);
  window_->setRootViewController(feed_);
  feedContent_ = content;
  return content;
}

std::vector<std::string> HostApp::openedURLs() const {
  std::lock_guard<std::mutex> lock(opened_->mutex);
  return opened_->urls;
}

}  // namespace qdx::demo

namespace qdx::demo {

void HostApp::setOpenedListener(std::function<void(const std::string& url)> listener) {
  std::lock_guard<std::mutex> lock(opened_->mutex);
  opened_->listener = std::move(listener);
}

}  // namespace qdx::demo
