// Attributed text and labels.
#include "qdx/kit/Label.h"

#include <gtest/gtest.h>

namespace qdx::kit {
namespace {

TEST(LabelText, RangesCountUtf16UnitsAndAreClippedToTheText) {
  AttributedString text("猜你喜欢");
  EXPECT_EQ(text.length(), 4u);
  EXPECT_EQ(AttributedString("a😀b").length(), 4u);
  text.addKern(8, 0, 3);
  text.addKern(2, 2, 100);  // clipped to the last two characters
  text.addKern(1, 4, 1);    // starts past the end: dropped
  ASSERT_EQ(text.kerns().size(), 2u);
  EXPECT_EQ(text.kerns()[1].length, 2u);
}

}  // namespace
}  // namespace qdx::kit
