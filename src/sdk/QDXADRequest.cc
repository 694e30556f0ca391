#include "qdx/QDXADRequest.h"

#include "qdx/kit/Application.h"
#include "qdx/kit/Screen.h"
#include "qdx/kit/Window.h"
#include "sdk/QDXBannerGeometry.h"

namespace qdx {
namespace {

std::shared_ptr<kit::View> currentTopView() {
  auto controller = QDXADRequest::getCurrentVC();
  return controller ? controller->view() : nullptr;
}

void enableInteraction(const std::shared_ptr<kit::View>& view) {
  if (view) view->setUserInteractionEnabled(true);
}

}  // namespace

std::shared_ptr<QDXADRequest> QDXADRequest::initWithADType(std::int32_t adType) {
  auto request = std::make_shared<QDXADRequest>();
  request->adContainer_ = currentTopView();
  request->adType_ = adType;
  if (adType == QDXADTypeBanner) {
    request->bannerType_ = QDXBannerTypeTop;
    request->marginTop_ = 0;
  }
  enableInteraction(request->adContainer_);
  return request;
}

std::shared_ptr<QDXADRequest> QDXADRequest::initWithBannerType(std::int32_t bannerType,
                                                               float marginTop, float marginBottom,
                                                               std::shared_ptr<kit::View> view) {
  auto request = std::make_shared<QDXADRequest>();
  request->adType_ = QDXADTypeBanner;
  request->bannerType_ = bannerType;
  kit::Rect screen = kit::Screen::mainScreen().bounds();
  double bannerHeight = qdxBannerHeight(screen.width());
  if (bannerType == QDXBannerTypeTop) {
    request->marginTop_ = marginTop;
  } else if (bannerType == QDXBannerTypeMiddle) {
    double viewHeight = view ? view->bounds().height() : 0;
    request->marginTop_ = static_cast<float>(viewHeight / 2 - bannerHeight / 2);
  } else {
    // Placed by the screen's height even when the view is smaller.
    request->marginTop_ = static_cast<float>(screen.height() - bannerHeight - marginBottom);
  }
  request->adContainer_ = view ? std::move(view) : currentTopView();
  enableInteraction(request->adContainer_);
  return request;
}

std::shared_ptr<kit::ViewController> QDXADRequest::getCurrentVC() {
  auto& app = kit::Application::sharedApplication();
  auto appDelegate = app.delegate();
  std::shared_ptr<kit::Window> window = appDelegate ? appDelegate->window : nullptr;
  auto windows = app.windows();
  if (window && window->windowLevel() != kit::WindowLevelNormal) {
    for (const auto& candidate : windows) {
      if (candidate && candidate->windowLevel() == kit::WindowLevelNormal) {
        window = candidate;
        break;
      }
    }
  }
  if (!windows.empty() && windows[0]) {
    auto next = windows[0]->nextResponder();
    if (auto controller = std::dynamic_pointer_cast<kit::ViewController>(next)) return controller;
  }
  return window ? window->rootViewController() : nullptr;
}

}  // namespace qdx
