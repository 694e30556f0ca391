// Fonts by name.
#include "qdx/kit/Font.h"

#include <gtest/gtest.h>

namespace qdx::kit {
namespace {

TEST(Fonts, WeightSuffixesSelectTheWeightAndEveryFontFallsBackToChinese) {
  auto bold = Font::fontWithName("Thonburi-Bold", 20);
  EXPECT_EQ(bold->familyName(), "Thonburi");
  EXPECT_EQ(bold->weight(), FontWeight::Bold);
  EXPECT_EQ(Font::fontWithName("Thonburi-Light", 14)->weight(), FontWeight::Light);
  EXPECT_EQ(Font::fontWithName("Thonburi", 17)->weight(), FontWeight::Regular);
  EXPECT_NE(bold->familyList().find("WenQuanYi Zen Hei"), std::string::npos);
  EXPECT_EQ(bold->familyList().rfind("Thonburi", 0), 0u);
}

}  // namespace
}  // namespace qdx::kit
