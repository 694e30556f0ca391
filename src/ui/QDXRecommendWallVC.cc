#include "ui/QDXRecommendWallVC.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>

#include "ads/close_tags.h"
#include "common/utf8.h"
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

// --- The design ---------------------------------------------------------------
// The wall is laid out for a 320 x 568 screen and scaled from there:
// vertical positions and most heights by the screen's height / 568, widths
// by its width / 320. Lengths marked "fixed" are not scaled.
constexpr double kDesignWidth = 320;
constexpr double kDesignHeight = 568;

// The title "猜你喜欢", centred above the strip.
namespace titleLine {
constexpr const char kText[] = "猜你喜欢";
constexpr const char kFont[] = "Thonburi";
constexpr float kTop = 64;
constexpr float kWidth = 100;
constexpr double kHeight = 17;  // fixed
constexpr float kFontSize = 17;
constexpr double kKern = 8.0;  // between the characters, not after the last
}  // namespace titleLine

// The paged strip of cards, the screen's width wide.
namespace cardStrip {
constexpr float kTop = 114;
constexpr double kHeightPerWidth = 0.846875;
constexpr double kContentHeight = 10;
}  // namespace cardStrip

// One card, in the strip; card k starts k screen widths along.
namespace card {
// The back image: the screen's width wide, in its artwork's 640 x 470 shape.
constexpr float kBackTop = 36;
constexpr double kBackArtWidth = 640;
constexpr double kBackArtHeight = 470;
// The tint over the back image, or, without a tint, the back image's own.
constexpr double kTintAlpha = 0.7;
constexpr double kUntintedBackAlpha = 0.7;
constexpr std::size_t kTintLength = 6;  // "RRGGBB"
// The icon, square, at the top of the card, with a shadow below it.
constexpr float kIconSide = 110;
constexpr kit::Size kIconShadowOffset{0, 10};
constexpr double kIconShadowOpacity = 0.5;
constexpr double kIconShadowRadius = 5;
// The app's name, white and bold, and its description, light, below.
constexpr const char kNameFont[] = "Thonburi-Bold";
constexpr float kNameTop = 130;
constexpr float kNameWidth = 150;
constexpr float kNameHeight = 20;
constexpr float kNameFontSize = 20;
constexpr const char kDescriptionFont[] = "Thonburi-Light";
constexpr float kDescriptionTop = 190;
constexpr float kDescriptionWidth = 300;
constexpr float kDescriptionHeight = 30;
constexpr float kDescriptionFontSize = 14;
// Only the first cards get their images when the wall is built; the rest
// are fetched one card ahead while paging.
constexpr std::size_t kImagesAtBuild = 2;
}  // namespace card

// The page dots, centred on the screen (a frame of no width).
namespace pageDots {
constexpr float kTop = 360;
constexpr float kHeight = 20;
constexpr std::size_t kFewestCards = 2;  // one card shows no dots
}  // namespace pageDots

// The shared download button, with an arrow on its left.
namespace downloadButton {
constexpr const char kTitle[] = "   下 载  A P P";
constexpr float kTop = 435;
constexpr float kWidth = 215;
constexpr double kHeight = 40;  // fixed
constexpr double kCornerRadius = 5;
constexpr double kRed = 20, kGreen = 150, kBlue = 213;  // of 255
const kit::Rect kArrowFrame(20, 10, 20, 20);  // in the button, fixed
}  // namespace downloadButton

// The footer: the brand line.
namespace footer {
constexpr const char kText[] = "Powered by QDX";
constexpr const char kFont[] = "Thonburi-Light";
constexpr float kTop = 528;
constexpr float kWidth = 170;
constexpr double kHeight = 20;    // fixed
constexpr double kFontSize = 14;  // fixed
}  // namespace footer

// The close button, square in the top right corner; fixed.
namespace closeButton {
constexpr double kSide = 40;
constexpr double kTop = 20;
constexpr double kImageInset = 10;
}  // namespace closeButton

// The empty state's placeholder image.
namespace emptyState {
constexpr float kTop = 150;
constexpr float kWidth = 240;
constexpr float kHeight = 320;
}  // namespace emptyState

// The spinner shown until the wall is built; fixed.
constexpr double kSpinnerSide = 20;

double screenWidth() { return kit::Screen::mainScreen().bounds().width(); }
double screenHeight() { return kit::Screen::mainScreen().bounds().height(); }

// A design length scaled by a coefficient, multiplied in single precision
// (as the layout always was) and only then widened.
double scaled(float coefficient, float length) { return static_cast<double>(coefficient * length); }

// The cached bytes of url; nullopt for an absent url or a miss.
std::optional<std::string> cachedImage(const std::optional<std::string>& url) {
  return adImageData(url);
}

// Entry k of a content list; absent past its end.
std::optional<std::string> entryAt(const QDXRecommendWallVC::TextList& list, std::size_t k) {
  return k < list.size() ? list[k] : std::nullopt;
}

std::string textOrEmpty(const std::optional<std::string>& text) { return text.value_or(""); }

// text as the platform counts a string's characters, in UTF-16 units:
// ASCII stays as it is, every other character becomes U+FFFD (two of them
// beyond the basic plane), and each byte of a malformed sequence counts as
// one character of its own.
std::vector<char32_t> utf16Units(const std::string& text) {
  std::vector<char32_t> units;
  bool valid = true;
  for (std::size_t i = 0; i < text.size();) {
    const char32_t cp = utf8::nextCodePoint(text.data(), text.size(), i, &valid);
    units.insert(units.end(), utf8::utf16Units(cp), cp < 0x80 ? cp : utf8::kReplacement);
  }
  return units;
}

// The tint of an "expand" value: six characters read as three base-16
// pairs (each pair's leading hex digits; none reads as 0) over 255, at
// the tint's alpha. nullopt for any other length.
std::optional<kit::Color> tintFromExpand(const std::optional<std::string>& expand) {
  if (!expand) return std::nullopt;
  const std::vector<char32_t> chars = utf16Units(*expand);
  if (chars.size() != card::kTintLength) return std::nullopt;
  auto pair = [&](std::size_t first) {
    std::string digits;
    for (std::size_t i = first; i < first + 2 && chars[i] < 0x80 && std::isxdigit(static_cast<int>(chars[i])); ++i)
      digits.push_back(static_cast<char>(chars[i]));
    return digits.empty() ? 0.0 : static_cast<double>(std::strtoul(digits.c_str(), nullptr, 16)) / 255.0;
  };
  return kit::Color::rgba(pair(0), pair(2), pair(4), card::kTintAlpha);
}

}  // namespace

// The wall's scale on this screen: design lengths to points.
struct QDXRecommendWallVC::Scale {
  float cv;  // vertical: screen height / 568
  float ch;  // horizontal: screen width / 320
  double W;  // the screen's width
  double v(float length) const { return scaled(cv, length); }
  double h(float length) const { return scaled(ch, length); }
  // x of a centred box of a design width, in a span starting at left.
  double centred(float width, double left = 0) const { return left + (W - h(width)) / 2; }
};

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
  indicatorView_->setFrame(kit::Rect((screenWidth() - kSpinnerSide) / 2, (screenHeight() - kSpinnerSide) / 2,
                                     kSpinnerSide, kSpinnerSide));
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

QDXRecommendWallVC::Scale QDXRecommendWallVC::scale() const {
  return Scale{coefficientVertiacl_, coefficientHorizontal_, screenWidth()};
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

// Each part is laid out here, on the main thread, and queues its own
// insertion into the view tree on the main queue, so the parts land in the
// order they are built.
void QDXRecommendWallVC::creatRecommendWall() {
  const Scale s = scale();
  addTitleAndStrip(s);
  for (std::size_t k = 0; k < appNames_.size(); ++k) addCard(s, k);
  addPageControl(s);
  addDownloadButton(s);
  addFooter(s);
  addCloseButton();
}

std::shared_ptr<kit::Label> QDXRecommendWallVC::makeTitle(const Scale& s) {
  auto label = std::make_shared<kit::Label>(kit::Rect(s.centred(titleLine::kWidth), s.v(titleLine::kTop),
                                                      s.h(titleLine::kWidth), titleLine::kHeight));
  label->setFont(kit::Font::fontWithName(titleLine::kFont, s.v(titleLine::kFontSize)));
  label->setTextAlignment(kit::TextAlignmentCenter);
  kit::AttributedString text(titleLine::kText);
  text.addKern(titleLine::kKern, 0, text.length() - 1);
  label->setAttributedText(std::move(text));
  return label;
}

std::shared_ptr<kit::ScrollView> QDXRecommendWallVC::makeStrip(const Scale& s) {
  auto paged = std::make_shared<kit::ScrollView>(kit::Rect(0, s.v(cardStrip::kTop), s.W, s.W * cardStrip::kHeightPerWidth));
  paged->setPagingEnabled(true);
  paged->setBounces(true);
  paged->setBackgroundColor(kit::Color::white());
  paged->setContentOffset(kit::Point{0, 0});
  paged->setContentSize(kit::Size{static_cast<double>(appNames_.size()) * s.W, cardStrip::kContentHeight});
  paged->setDelegate(std::weak_ptr<kit::ScrollViewDelegate>(sharedWall()));
  paged->setShowsHorizontalScrollIndicator(false);
  return paged;
}

void QDXRecommendWallVC::addTitleAndStrip(const Scale& s) {
  const std::shared_ptr<kit::Label> label = makeTitle(s);
  scrollView_ = makeStrip(s);
  const std::shared_ptr<kit::View> root = view();
  // The strip goes in again after the title, which brings it to the front.
  RunLoop::main().post([root, paged = scrollView_, label] {
    root->addSubview(paged);
    root->addSubview(label);
    root->addSubview(paged);
    paged->setShowsHorizontalScrollIndicator(false);
  });
}

void QDXRecommendWallVC::addCard(const Scale& s, std::size_t k) {
  const double x = static_cast<double>(k) * s.W;
  const std::shared_ptr<kit::ImageView> back = backImageViews_[k];
  const std::shared_ptr<kit::ImageView> icon = iconViews_[k];
  back->setFrame(kit::Rect(x, s.v(card::kBackTop), s.W, s.W * card::kBackArtHeight / card::kBackArtWidth));

  auto tint = std::make_shared<kit::View>(back->frame());
  if (const std::optional<kit::Color> color = tintFromExpand(entryAt(expands_, k))) {
    tint->setBackgroundColor(*color);
  } else {
    back->setAlpha(card::kUntintedBackAlpha);
  }

  // The icon is centred with the vertical coefficient but sized with the
  // horizontal one: off centre on screens not shaped like the design.
  icon->setFrame(kit::Rect(x + (s.W - s.v(card::kIconSide)) / 2, 0, s.h(card::kIconSide), s.h(card::kIconSide)));
  icon->layer().borderColor = kit::Color::white();
  icon->layer().shadowColor = kit::Color::black();
  icon->layer().shadowOffset = card::kIconShadowOffset;
  icon->layer().shadowOpacity = card::kIconShadowOpacity;
  icon->layer().shadowRadius = card::kIconShadowRadius;

  auto name = std::make_shared<kit::Label>(kit::Rect(s.centred(card::kNameWidth, x), s.v(card::kNameTop),
                                                     s.h(card::kNameWidth), s.v(card::kNameHeight)));
  name->setText(textOrEmpty(appNames_[k]));
  name->setFont(kit::Font::fontWithName(card::kNameFont, s.v(card::kNameFontSize)));
  name->setTextAlignment(kit::TextAlignmentCenter);
  name->setTextColor(kit::Color::white());
  name->setAlpha(1);

  auto description = std::make_shared<kit::Label>(
      kit::Rect(s.centred(card::kDescriptionWidth, x), s.v(card::kDescriptionTop), s.h(card::kDescriptionWidth),
                s.v(card::kDescriptionHeight)));
  description->setText(textOrEmpty(entryAt(descriptions_, k)));
  description->setFont(kit::Font::fontWithName(card::kDescriptionFont, s.v(card::kDescriptionFontSize)));
  description->setTextAlignment(kit::TextAlignmentCenter);
  description->setTextColor(kit::Color::lightText());

  std::optional<std::string> iconData, backData;
  if (k < card::kImagesAtBuild) {
    // Warms the cache too; the insertion below hands these bytes over.
    iconData = cachedImage(entryAt(icons_, k));
    backData = cachedImage(entryAt(backImages_, k));
  }
  RunLoop::main().post([paged = scrollView_, back, tint, icon, name, description, iconData, backData] {
    if (iconData && backData) {
      icon->setImage(kit::Image::imageWithData(iconData));
      back->setImage(kit::Image::imageWithData(backData));
    }
    paged->addSubview(back);
    paged->addSubview(tint);
    paged->addSubview(icon);
    paged->addSubview(name);
    paged->addSubview(description);
  });
}

void QDXRecommendWallVC::addPageControl(const Scale& s) {
  // Fresh for every build: the dots of an earlier build go first.
  if (pageControl_) pageControl_->removeFromSuperview();
  pageControl_ = std::make_shared<kit::PageControl>(kit::Rect(s.W / 2, s.v(pageDots::kTop), 0, s.v(pageDots::kHeight)));
  const std::size_t count = appNames_.size();
  if (count >= pageDots::kFewestCards) pageControl_->setNumberOfPages(static_cast<long>(count));
  pageControl_->setPageIndicatorTintColor(kit::Color::white());
  pageControl_->setCurrentPageIndicatorTintColor(kit::Color::orange());
  pageControl_->setCurrentPage(0);
  RunLoop::main().post([root = view(), dotsView = pageControl_] { root->addSubview(dotsView); });
}

void QDXRecommendWallVC::addDownloadButton(const Scale& s) {
  const std::weak_ptr<QDXRecommendWallVC> weakSelf = sharedWall();
  auto download = kit::Button::buttonWithType(kit::ButtonTypeCustom);
  download->setFrame(kit::Rect(s.centred(downloadButton::kWidth), s.v(downloadButton::kTop), s.h(downloadButton::kWidth), downloadButton::kHeight));
  download->setBackgroundColor(
      kit::Color::rgba(downloadButton::kRed / 255.0, downloadButton::kGreen / 255.0, downloadButton::kBlue / 255.0, 1.0));
  download->setTitle(downloadButton::kTitle, kit::ControlStateNormal);
  download->layer().cornerRadius = downloadButton::kCornerRadius;
  download->addTarget(
      weakSelf,
      [weakSelf](const std::shared_ptr<kit::Control>& sender) {
        if (auto self = weakSelf.lock()) self->downloadAPP(sender);
      },
      kit::ControlEventTouchUpInside);
  auto arrow = std::make_shared<kit::ImageView>(downloadButton::kArrowFrame);
  arrow->setImage(kit::Image::imageWithData(cachedImage(assetURL(assets::kButtonArrow))));
  RunLoop::main().post([root = view(), download, arrow] {
    root->addSubview(download);
    download->addSubview(arrow);
  });
}

void QDXRecommendWallVC::addFooter(const Scale& s) {
  auto brand = std::make_shared<kit::Label>(
      kit::Rect(s.centred(footer::kWidth), s.v(footer::kTop), s.h(footer::kWidth), footer::kHeight));
  brand->setText(footer::kText);
  brand->setTextAlignment(kit::TextAlignmentCenter);
  brand->setTextColor(kit::Color::lightGray());
  brand->setFont(kit::Font::fontWithName(footer::kFont, footer::kFontSize));
  RunLoop::main().post([root = view(), brand] { root->addSubview(brand); });
}

void QDXRecommendWallVC::addCloseButton() {
  // The last part: with it the wall is complete, so the spinner stops.
  auto close = makeCloseButton();
  close->setTag(kWallCloseTag);
  const std::optional<std::string> closeData = cachedImage(assetURL(assets::kRecommendClose));
  RunLoop::main().post([root = view(), close, closeData, spinner = indicatorView_] {
    close->setImage(kit::Image::imageWithData(closeData), kit::ControlStateNormal);
    root->addSubview(close);
    if (spinner) spinner->stopAnimating();
  });
}

std::shared_ptr<kit::Button> QDXRecommendWallVC::makeCloseButton() {
  const std::weak_ptr<QDXRecommendWallVC> weakSelf = sharedWall();
  auto close = kit::Button::buttonWithType(kit::ButtonTypeCustom);
  close->setFrame(kit::Rect(screenWidth() - closeButton::kSide, closeButton::kTop, closeButton::kSide,
                            closeButton::kSide));
  const double inset = closeButton::kImageInset;
  close->setImageEdgeInsets(kit::EdgeInsets{inset, inset, inset, inset});
  close->addTarget(
      weakSelf,
      [weakSelf](const std::shared_ptr<kit::Control>& sender) {
        if (auto self = weakSelf.lock()) self->closeRecommendWall(sender);
      },
      kit::ControlEventTouchUpInside);
  return close;
}

void QDXRecommendWallVC::loadWithNoData() {
  const Scale s = scale();
  auto placeholder = std::make_shared<kit::ImageView>(kit::Rect(
      s.centred(emptyState::kWidth), s.v(emptyState::kTop), s.h(emptyState::kWidth), s.v(emptyState::kHeight)));
  if (indicatorView_) indicatorView_->stopAnimating();
  const std::optional<std::string> placeholderData = cachedImage(assetURL(assets::kGuessULike));
  const std::optional<std::string> closeData = cachedImage(assetURL(assets::kRecommendClose));
  auto close = makeCloseButton();
  close->setTag(kEmptyWallCloseTag);
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
  {
    // A pending pre-fetch reads the addresses of the list as it is then.
    std::lock_guard<std::mutex> hold(content_);
    eraseAt(appNames_);
    eraseAt(icons_);
    eraseAt(descriptions_);
    eraseAt(backImages_);
    eraseAt(expands_);
    eraseAt(numberArrM_);
  }

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
  if (count <= card::kImagesAtBuild) return;
  const double p = std::trunc(scrollView.contentOffset().x / screenWidth());
  if (p < 0 || p + 1 >= static_cast<double>(count)) return;
  const std::size_t next = static_cast<std::size_t>(p) + 1;
  const std::weak_ptr<QDXRecommendWallVC> weakSelf = sharedWall();
  queue_->post([weakSelf, next] {
    std::shared_ptr<QDXRecommendWallVC> self = weakSelf.lock();
    if (!self) return;
    {
      std::lock_guard<std::mutex> hold(self->lock_);
      // The card's addresses are read now, when the fetch runs: a download
      // tap may have rebuilt the wall with other cards since it was queued.
      std::optional<std::string> backURL, iconURL;
      {
        std::lock_guard<std::mutex> lists(self->content_);
        backURL = entryAt(self->backImages_, next);
        iconURL = entryAt(self->icons_, next);
      }
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
