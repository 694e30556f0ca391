#include "ui/QDXRecommendWallVC.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>

#include "identity/QDXDevInfo.h"
#include "qdx/RunLoop.h"
#include "platform/serial_queue.h"
#include "qdx/kit/Button.h"
#include "qdx/kit/Color.h"
#include "qdx/kit/Font.h"
#include "qdx/kit/Image.h"
#include "qdx/kit/Label.h"
#include "qdx/kit/Screen.h"
#include "sdk/QDXLog.h"
#include "transport/QDXApiBase.h"
#include "ui/ad_image.h"

namespace qdx {

namespace {

// The wall is laid out for a 320 x 568 screen and scaled from there.
constexpr double kDesignWidth = 320;
constexpr double kDesignHeight = 568;

double screenWidth() { return kit::Screen::mainScreen().bounds().width(); }
double screenHeight() { return kit::Screen::mainScreen().bounds().height(); }

// A design length scaled by a coefficient, multiplied in single precision
// (as the layout always was) and only then widened.
double scaled(float coefficient, float length) { return static_cast<double>(coefficient * length); }

// The cached bytes of url; nullopt for an absent url or a miss.
std::optional<std::string> cachedImage(const std::optional<std::string>& url) {
  return adImageData(url);
}

std::string textOrEmpty(const std::optional<std::string>& text) { return text.value_or(""); }

// text as UTF-16 code units, as the platform counts a string's characters:
// ASCII stays as it is, every other character becomes U+FFFD (two of them
// beyond the basic plane), and a byte that starts no valid sequence counts
// as one character of its own.
std::vector<char32_t> utf16Units(const std::string& text) {
  std::vector<char32_t> units;
  for (std::size_t i = 0; i < text.size();) {
    const unsigned char lead = static_cast<unsigned char>(text[i]);
    std::size_t length = (lead >> 5) == 6 ? 2 : (lead >> 4) == 14 ? 3 : (lead >> 3) == 30 ? 4 : 1;
    for (std::size_t c = 1; c < length; ++c) {
      if (i + c >= text.size() || (static_cast<unsigned char>(text[i + c]) >> 6) != 2) length = 1;
    }
    if (lead < 0x80) {
      units.push_back(lead);
    } else {
      units.insert(units.end(), length == 4 ? 2 : 1, U'\uFFFD');
    }
    i += length;
  }
  return units;
}

// The tint of an "expand" value: six characters read as three base-16
// pairs (each pair's leading hex digits; none reads as 0) over 255, at
// alpha 0.7. nullopt for any other length.
std::optional<kit::Color> tintFromExpand(const std::optional<std::string>& expand) {
  if (!expand) return std::nullopt;
  const std::vector<char32_t> chars = utf16Units(*expand);
  if (chars.size() != 6) return std::nullopt;
  auto pair = [&](std::size_t first) {
    std::string digits;
    for (std::size_t i = first; i < first + 2 && chars[i] < 0x80 && std::isxdigit(static_cast<int>(chars[i])); ++i)
      digits.push_back(static_cast<char>(chars[i]));
    return digits.empty() ? 0.0 : static_cast<double>(std::strtoul(digits.c_str(), nullptr, 16)) / 255.0;
  };
  return kit::Color::rgba(pair(0), pair(2), pair(4), 0.7);
}

}  // namespace

std::shared_ptr<QDXRecommendWallVC> QDXRecommendWallVC::initWithAdRequest(
    std::shared_ptr<QDXADRequest> adRequest) {
  std::shared_ptr<QDXRecommendWallVC> wall(new QDXRecommendWallVC());
  wall->adRequest_ = std::move(adRequest);
  wall->coefficientVertiacl_ = static_cast<float>(screenHeight() / kDesignHeight);
  wall->coefficientHorizontal_ = static_cast<float>(screenWidth() / kDesignWidth);
  wall->queue_ = std::make_shared<SerialQueue>("imageDownloadQueue");
  return wall;
}

QDXRecommendWallVC::~QDXRecommendWallVC() = default;

void QDXRecommendWallVC::viewDidLoad() {
  view()->setBackgroundColor(kit::Color::white());
  indicatorView_ = std::make_shared<kit::ActivityIndicatorView>(kit::ActivityIndicatorViewStyleGray);
  indicatorView_->setFrame(
      kit::Rect((screenWidth() - 20) / 2, (screenHeight() - 20) / 2, 20, 20));
  indicatorView_->startAnimating();
  std::weak_ptr<QDXRecommendWallVC> weakSelf = sharedWall();
  RunLoop::main().post([weakSelf] {
    if (auto self = weakSelf.lock()) self->addViews();
  });
}

void QDXRecommendWallVC::addViews() { view()->addSubview(indicatorView_); }

std::shared_ptr<QDXRecommendWallVC> QDXRecommendWallVC::sharedWall() {
  return std::static_pointer_cast<QDXRecommendWallVC>(shared_from_this());
}

void QDXRecommendWallVC::loadWithData() {
  backImageViews_.clear();
  iconViews_.clear();
  for (std::size_t k = 0; k < appNames_.size(); ++k) {
    backImageViews_.push_back(std::make_shared<kit::ImageView>());
    iconViews_.push_back(std::make_shared<kit::ImageView>());
  }
  creatRecommendWall();
}

void QDXRecommendWallVC::creatRecommendWall() {
  const float cv = coefficientVertiacl_;
  const float ch = coefficientHorizontal_;
  const double W = screenWidth();
  const std::shared_ptr<kit::View> root = view();
  const std::weak_ptr<QDXRecommendWallVC> weakSelf = sharedWall();
  RunLoop& main = RunLoop::main();
  const std::size_t count = appNames_.size();

  // 1. The title over the card strip.
  auto title = std::make_shared<kit::Label>(
      kit::Rect((W - scaled(ch, 100)) / 2, scaled(cv, 64), scaled(ch, 100), 17));
  title->setFont(kit::Font::fontWithName("Thonburi", scaled(cv, 17)));
  title->setTextAlignment(kit::TextAlignmentCenter);
  kit::AttributedString titleText("猜你喜欢");
  titleText.addKern(8.0, 0, titleText.length() - 1);
  title->setAttributedText(std::move(titleText));

  scrollView_ = std::make_shared<kit::ScrollView>(kit::Rect(0, scaled(cv, 114), W, W * 0.846875));
  const std::shared_ptr<kit::ScrollView> strip = scrollView_;
  strip->setPagingEnabled(true);
  strip->setBounces(true);
  strip->setBackgroundColor(kit::Color::white());
  strip->setContentOffset(kit::Point{0, 0});
  strip->setContentSize(kit::Size{static_cast<double>(count) * W, 10});
  strip->setDelegate(std::weak_ptr<kit::ScrollViewDelegate>(sharedWall()));
  strip->setShowsHorizontalScrollIndicator(false);
  main.post([root, strip, title] {
    root->addSubview(strip);
    root->addSubview(title);
    root->addSubview(strip);
    strip->setShowsHorizontalScrollIndicator(false);
  });

  // 2. The cards; only the first two get their images now.
  for (std::size_t k = 0; k < count; ++k) {
    const double x = static_cast<double>(k) * W;
    const std::shared_ptr<kit::ImageView> back = backImageViews_[k];
    const std::shared_ptr<kit::ImageView> icon = iconViews_[k];
    back->setFrame(kit::Rect(x, scaled(cv, 36), W, W * 470 / 640));

    auto tint = std::make_shared<kit::View>(back->frame());
    if (const std::optional<kit::Color> color = tintFromExpand(expands_.size() > k ? expands_[k] : std::nullopt)) {
      tint->setBackgroundColor(*color);
    } else {
      back->setAlpha(0.7);
    }

    icon->setFrame(kit::Rect(x + (W - scaled(cv, 110)) / 2, 0, scaled(ch, 110), scaled(ch, 110)));
    icon->layer().borderColor = kit::Color::white();
    icon->layer().shadowColor = kit::Color::black();
    icon->layer().shadowOffset = kit::Size{0, 10};
    icon->layer().shadowOpacity = 0.5;
    icon->layer().shadowRadius = 5;

    auto name = std::make_shared<kit::Label>(
        kit::Rect(x + (W - scaled(ch, 150)) / 2, scaled(cv, 130), scaled(ch, 150), scaled(cv, 20)));
    name->setText(textOrEmpty(appNames_[k]));
    name->setFont(kit::Font::fontWithName("Thonburi-Bold", scaled(cv, 20)));
    name->setTextAlignment(kit::TextAlignmentCenter);
    name->setTextColor(kit::Color::white());
    name->setAlpha(1);

    auto description = std::make_shared<kit::Label>(
        kit::Rect(x + (W - scaled(ch, 300)) / 2, scaled(cv, 190), scaled(ch, 300), scaled(cv, 30)));
    description->setText(textOrEmpty(descriptions_.size() > k ? descriptions_[k] : std::nullopt));
    description->setFont(kit::Font::fontWithName("Thonburi-Light", scaled(cv, 14)));
    description->setTextAlignment(kit::TextAlignmentCenter);
    description->setTextColor(kit::Color::lightText());

    std::optional<std::string> iconData, backData;
    if (k < 2) {
      // Warms the cache too; the insertion below hands these bytes over.
      iconData = cachedImage(icons_.size() > k ? icons_[k] : std::nullopt);
      backData = cachedImage(backImages_.size() > k ? backImages_[k] : std::nullopt);
    }
    main.post([strip, back, tint, icon, name, description, iconData, backData] {
      if (iconData && backData) {
        icon->setImage(kit::Image::imageWithData(iconData));
        back->setImage(kit::Image::imageWithData(backData));
      }
      strip->addSubview(back);
      strip->addSubview(tint);
      strip->addSubview(icon);
      strip->addSubview(name);
      strip->addSubview(description);
    });
  }

  // 3. The page dots, fresh for every build.
  if (pageControl_) pageControl_->removeFromSuperview();
  pageControl_ = std::make_shared<kit::PageControl>(kit::Rect(W / 2, scaled(cv, 360), 0, scaled(cv, 20)));
  const std::shared_ptr<kit::PageControl> dots = pageControl_;
  if (count >= 2) dots->setNumberOfPages(static_cast<long>(count));
  dots->setPageIndicatorTintColor(kit::Color::white());
  dots->setCurrentPageIndicatorTintColor(kit::Color::orange());
  dots->setCurrentPage(0);
  main.post([root, dots] { root->addSubview(dots); });

  // 4. The download button with its arrow.
  auto download = kit::Button::buttonWithType(kit::ButtonTypeCustom);
  download->setFrame(kit::Rect((W - scaled(ch, 215)) / 2, scaled(cv, 435), scaled(ch, 215), 40));
  download->setBackgroundColor(kit::Color::rgba(20 / 255.0, 150 / 255.0, 213 / 255.0, 1.0));
  download->setTitle("   下 载  A P P", kit::ControlStateNormal);
  download->layer().cornerRadius = 5;
  download->addTarget(
      weakSelf,
      [weakSelf](const std::shared_ptr<kit::Control>& sender) {
        if (auto self = weakSelf.lock()) self->downloadAPP(sender);
      },
      kit::ControlEventTouchUpInside);
  auto arrow = std::make_shared<kit::ImageView>(kit::Rect(20, 10, 20, 20));
  arrow->setImage(kit::Image::imageWithData(cachedImage(assetURL(assets::kButtonArrow))));
  main.post([root, download, arrow] {
    root->addSubview(download);
    download->addSubview(arrow);
  });

  // 5. The brand line.
  auto brand = std::make_shared<kit::Label>(kit::Rect((W - scaled(ch, 170)) / 2, scaled(cv, 528), scaled(ch, 170), 20));
  brand->setText("Powered by QDX");
  brand->setTextAlignment(kit::TextAlignmentCenter);
  brand->setTextColor(kit::Color::lightGray());
  brand->setFont(kit::Font::fontWithName("Thonburi-Light", 14));
  main.post([root, brand] { root->addSubview(brand); });

  // 6. The close button; the wall is complete, so the spinner stops.
  auto close = makeCloseButton();
  const std::optional<std::string> closeData = cachedImage(assetURL(assets::kRecommendClose));
  const std::shared_ptr<kit::ActivityIndicatorView> spinner = indicatorView_;
  main.post([root, close, closeData, spinner] {
    close->setImage(kit::Image::imageWithData(closeData), kit::ControlStateNormal);
    root->addSubview(close);
    if (spinner) spinner->stopAnimating();
  });
}

std::shared_ptr<kit::Button> QDXRecommendWallVC::makeCloseButton() {
  const std::weak_ptr<QDXRecommendWallVC> weakSelf = sharedWall();
  auto close = kit::Button::buttonWithType(kit::ButtonTypeCustom);
  close->setFrame(kit::Rect(screenWidth() - 40, 20, 40, 40));
  close->setImageEdgeInsets(kit::EdgeInsets{10, 10, 10, 10});
  close->setTag(4);
  close->addTarget(
      weakSelf,
      [weakSelf](const std::shared_ptr<kit::Control>& sender) {
        if (auto self = weakSelf.lock()) self->closeRecommendWall(sender);
      },
      kit::ControlEventTouchUpInside);
  return close;
}

void QDXRecommendWallVC::loadWithNoData() {
  const float cv = coefficientVertiacl_;
  const float ch = coefficientHorizontal_;
  const double W = screenWidth();
  auto placeholder = std::make_shared<kit::ImageView>(
      kit::Rect((W - scaled(ch, 240)) / 2, scaled(cv, 150), scaled(ch, 240), scaled(cv, 320)));
  if (indicatorView_) indicatorView_->stopAnimating();
  const std::optional<std::string> placeholderData = cachedImage(assetURL(assets::kGuessULike));
  const std::optional<std::string> closeData = cachedImage(assetURL(assets::kRecommendClose));
  // The empty state's close button has no tag.
  auto close = makeCloseButton();
  close->setTag(0);
  const std::shared_ptr<kit::View> root = view();
  RunLoop::main().post([root, placeholder, close, placeholderData, closeData] {
    if (closeData) close->setImage(kit::Image::imageWithData(closeData), kit::ControlStateNormal);
    if (placeholderData) placeholder->setImage(kit::Image::imageWithData(placeholderData));
    root->addSubview(placeholder);
    root->addSubview(close);
  });
}

void QDXRecommendWallVC::closeRecommendWall(const std::shared_ptr<kit::Control>& sender) {
  const std::shared_ptr<QDXRecommendWallVC> keepAlive = sharedWall();
  debugLog("点击关闭了推荐墙");
  dismissViewController(true, nullptr);
  if (auto delegate = eventDelegate()) delegate->closeAD(sender);
}

void QDXRecommendWallVC::downloadAPP(const std::shared_ptr<kit::Control>& sender) {
  (void)sender;
  const std::shared_ptr<QDXRecommendWallVC> keepAlive = sharedWall();
  const long current = pageControl_ ? pageControl_->currentPage() : 0;
  if (auto delegate = eventDelegate()) delegate->tapAD(current);
  if (QDXDevInfo::getNetworkTypeFromStatusBar() == 0) return;

  if (appNames_.size() == 1 && pageControl_) pageControl_->setCurrentPage(0);
  const std::size_t page = static_cast<std::size_t>(pageControl_ ? pageControl_->currentPage() : 0);
  auto eraseAt = [page](auto& list) {
    if (page < list.size()) list.erase(list.begin() + static_cast<std::ptrdiff_t>(page));
  };
  eraseAt(appNames_);
  eraseAt(icons_);
  eraseAt(descriptions_);
  eraseAt(backImages_);
  eraseAt(expands_);
  eraseAt(numberArrM_);

  for (const std::shared_ptr<kit::View>& child : view()->subviews()) child->removeFromSuperview();

  if (!appNames_.empty()) {
    if (auto delegate = eventDelegate(); delegate && !numberArrM_.empty())
      delegate->reportShowEventWithPage(numberArrM_[0]);
    loadWithData();
  } else {
    loadWithNoData();
  }
}

void QDXRecommendWallVC::scrollViewWillBeginDecelerating(kit::ScrollView& scrollView) {
  const std::size_t count = appNames_.size();
  if (count <= 2) return;
  const double p = std::trunc(scrollView.contentOffset().x / screenWidth());
  if (p < 0 || p + 1 >= static_cast<double>(count)) return;
  const std::size_t next = static_cast<std::size_t>(p) + 1;
  // The addresses are read here, on the main thread that owns the lists.
  const std::optional<std::string> backURL = backImages_.size() > next ? backImages_[next] : std::nullopt;
  const std::optional<std::string> iconURL = icons_.size() > next ? icons_[next] : std::nullopt;
  const std::weak_ptr<QDXRecommendWallVC> weakSelf = sharedWall();
  queue_->post([weakSelf, backURL, iconURL, next] {
    std::shared_ptr<QDXRecommendWallVC> self = weakSelf.lock();
    if (!self) return;
    {
      std::lock_guard<std::mutex> hold(self->lock_);
      std::optional<std::string> backData = cachedImage(backURL);
      std::optional<std::string> iconData = cachedImage(iconURL);
      if (backData && iconData) {
        std::lock_guard<std::mutex> handOver(self->handOver_);
        self->imageDataArr_.push_back(std::move(*backData));
        self->imageDataArr_.push_back(std::move(*iconData));
      }
    }
    // The reference taken here is handed to the main queue, so the wall
    // (and its views) is never released on this thread.
    RunLoop::main().post([self = std::move(self), next] { self->updateUI(static_cast<std::int64_t>(next)); });
  });
}

void QDXRecommendWallVC::updateUI(std::int64_t page) {
  std::lock_guard<std::mutex> hold(handOver_);
  const auto q = static_cast<std::size_t>(page);
  if (imageDataArr_.size() == 2 && page >= 0 && q < backImageViews_.size() && q < iconViews_.size()) {
    backImageViews_[q]->setImage(kit::Image::imageWithData(imageDataArr_[0]));
    iconViews_[q]->setImage(kit::Image::imageWithData(imageDataArr_[1]));
  }
  imageDataArr_.clear();
}

void QDXRecommendWallVC::scrollViewDidEndDecelerating(kit::ScrollView& scrollView) {
  const double page = std::trunc(scrollView.contentOffset().x / screenWidth());
  const long p = static_cast<long>(page);
  if (!pageControl_) return;
  if (p != pageControl_->currentPage() && p >= 0 && static_cast<std::size_t>(p) < numberArrM_.size()) {
    if (auto delegate = eventDelegate()) delegate->reportShowEventWithPage(numberArrM_[static_cast<std::size_t>(p)]);
  }
  pageControl_->setCurrentPage(p);
}

std::vector<std::string> QDXRecommendWallVC::imageDataArr() {
  std::lock_guard<std::mutex> hold(handOver_);
  return imageDataArr_;
}

}  // namespace qdx
