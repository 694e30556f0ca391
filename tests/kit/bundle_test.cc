// Interface files by name.
#include "qdx/kit/Bundle.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "qdx/kit/Label.h"

namespace qdx::kit {
namespace {

TEST(Bundle, EachLoadBuildsAFreshTreeAndUnknownOrFailingFilesGiveNothing) {
  auto& bundle = Bundle::mainBundle();
  bundle.registerNib("QDXListItemAdView", [] {
    return std::vector<std::shared_ptr<View>>{std::make_shared<Label>(), std::make_shared<View>()};
  });
  auto first = bundle.loadNibNamed("QDXListItemAdView");
  ASSERT_EQ(first.size(), 2u);
  EXPECT_NE(first[0], bundle.loadNibNamed("QDXListItemAdView")[0]);
  bundle.registerNib("Broken", []() -> std::vector<std::shared_ptr<View>> {
    throw std::runtime_error("missing outlet");
  });
  EXPECT_TRUE(bundle.loadNibNamed("Broken").empty());
  EXPECT_TRUE(bundle.loadNibNamed("QDXBannerListItemAdView").empty());
}

}  // namespace
}  // namespace qdx::kit
