// Interface files read from the bundle folder: the demo host's two item
// files with their outlets, and each kind of bad file.
#include "kit/layout_file.h"

#include <filesystem>
#include <fstream>

#include "custom_slot_fixture.h"
#include "qdx/kit/Bundle.h"
#include "qdx/kit/ImageView.h"
#include "qdx/kit/Label.h"
#include "ui/QDXListItemAdView.h"

namespace qdx::testing {
namespace {

class LayoutFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    registerListItemViewClasses();
    QDXLog::setDebug(true);
    dir_ = env_.tempRoot() + "/bundle";
    std::filesystem::create_directories(dir_);
    env_.setBundleResourceDirectory(dir_);
  }
  void write(const std::string& name, const std::string& text) {
    std::ofstream(dir_ + "/" + name) << text;
  }
  TestEnv env_;
  std::string dir_;
};

TEST_F(LayoutFileTest, TheDemoHostsFilesGiveItemsWithEveryOutletConnected) {
  env_.setBundleResourceDirectory(QDX_SOURCE_DIR "/tools/qdx-demo/bundle");
  auto text = std::dynamic_pointer_cast<QDXListItemAdView>(
      kit::Bundle::mainBundle().loadNibNamed("QDXListItemAdView").at(0));
  ASSERT_TRUE(text);
  EXPECT_EQ(text->frame().size.width, 375);
  EXPECT_TRUE(text->icon() && text->titleLabel() && text->descriptionLable() && text->downloadButton());
  EXPECT_EQ(text->downloadButton()->currentTitle(), "下载");
  auto card = std::dynamic_pointer_cast<QDXBannerListItemAdView>(
      kit::Bundle::mainBundle().loadNibNamed("QDXBannerListItemAdView").at(0));
  ASSERT_TRUE(card);
  EXPECT_TRUE(card->imageView() && card->icon() && card->titleLabel() && card->descriptionLable());
  EXPECT_TRUE(card->imageView()->isDescendantOfView(card.get()));
}

TEST_F(LayoutFileTest, ReadsAttributesImagesAndNestedChildren) {
  std::filesystem::copy_file(QDX_SOURCE_DIR "/tests/kit/testdata/red_left_blue_right.jpg",
                             dir_ + "/art.jpg");
  write("Row.json", R"({"objects": [{"class": "View", "frame": [1, 2, 30, 40], "tag": 7,
      "backgroundColor": "#FF000080", "children": [{"class": "Control", "hidden": true,
      "children": [{"class": "Label", "text": "你好", "textAlignment": "center",
      "textColor": "#00FF00", "numberOfLines": 2, "font": {"name": "Thonburi-Bold", "size": 12}}]},
      {"class": "ImageView", "image": "art.jpg", "cornerRadius": 4}]}]})");
  auto objects = kit::Bundle::mainBundle().loadNibNamed("Row");
  ASSERT_EQ(objects.size(), 1u);
  EXPECT_EQ(objects[0]->frame(), kit::Rect(1, 2, 30, 40));
  EXPECT_EQ(objects[0]->tag(), 7);
  EXPECT_NEAR(objects[0]->backgroundColor()->alpha, 128 / 255.0, 1e-9);
  auto label = std::dynamic_pointer_cast<kit::Label>(objects[0]->subviews().at(0)->subviews().at(0));
  ASSERT_TRUE(label);
  EXPECT_EQ(label->text(), "你好");
  EXPECT_EQ(label->textAlignment(), kit::TextAlignmentCenter);
  EXPECT_EQ(label->font()->fontName(), "Thonburi-Bold");
  EXPECT_TRUE(objects[0]->subviews()[0]->isHidden());
  auto art = std::dynamic_pointer_cast<kit::ImageView>(objects[0]->subviews().at(1));
  ASSERT_TRUE(art && art->image());
  EXPECT_EQ(art->layer().cornerRadius, 4);
}

TEST_F(LayoutFileTest, BadFilesLogWhatIsWrongAndGiveNoView) {
  struct Case {
    const char* text;  // nullptr: no file at all
    const char* logged;
  };
  std::string deep = R"({"class": "View"})";
  for (int i = 0; i < 200; ++i) deep = R"({"class": "View", "children": [)" + deep + "]}";
  deep = R"({"objects": [)" + deep + "]}";
  const Case cases[] = {
      {nullptr, "Could not load the interface file"},
      {R"({"objects": [{"class": "View", "tag": 1e300}]})", "\"tag\" must be a whole number"},
      {R"({"objects": [{"class": "Label", "numberOfLines": 2.5}]})", "\"numberOfLines\" must be a whole number"},
      {deep.c_str(), "views nested more than 64 deep"},
      {"{\"objects\": [", "is not valid JSON"},
      {R"({"objects": []})", "non-empty \"objects\""},
      {R"({"objects": [{"frame": [0, 0, 1, 1]}]})", "needs a \"class\""},
      {R"({"objects": [{"class": "Lable"}]})", "objects[0]: unknown view class \"Lable\""},
      {R"({"objects": [{"class": "View", "frame": [0, 0, "wide", 1]}]})", "\"frame\" must be"},
      {R"({"objects": [{"class": "View", "backgroundColor": "red"}]})", "must be a colour"},
      {R"({"objects": [{"class": "ImageView", "image": "none.png"}]})", "\"none.png\" cannot be read"},
      {R"({"objects": [{"class": "ImageView", "image": "../secret.png"}]})", "inside the bundle folder"},
      {R"({"objects": [{"class": "QDXListItemAdView", "children": [{"class": "Label", "outlet": "icon"}]}]})",
       "objects[0].children[0]: outlet \"icon\" is not an outlet of class QDXListItemAdView"},
      {R"({"objects": [{"class": "QDXListItemAdView", "children": [{"class": "ImageView", "outlet": "imageView"}]}]})",
       "outlet \"imageView\""},
      {R"({"objects": [{"class": "View", "children": [{"class": "View", "outlet": "x"}]}]})", "outlet \"x\""},
  };
  for (const Case& c : cases) {
    std::filesystem::remove(dir_ + "/Item.json");
    if (c.text) write("Item.json", c.text);
    env_.clearLog();
    EXPECT_TRUE(kit::Bundle::mainBundle().loadNibNamed("Item").empty()) << (c.text ? c.text : "no file");
    EXPECT_TRUE(env_.logContains(c.logged)) << c.logged;
  }
  env_.setBundleResourceDirectory("");
  EXPECT_TRUE(kit::Bundle::mainBundle().loadNibNamed("Item").empty());
}

TEST_F(LayoutFileTest, ACodeRecipeOfTheSameNameWins) {
  write("Both.json", R"({"objects": [{"class": "Label"}]})");
  kit::Bundle::mainBundle().registerNib("Both", [] {
    return std::vector<std::shared_ptr<kit::View>>{std::make_shared<kit::ImageView>()};
  });
  auto objects = kit::Bundle::mainBundle().loadNibNamed("Both");
  ASSERT_EQ(objects.size(), 1u);
  EXPECT_TRUE(std::dynamic_pointer_cast<kit::ImageView>(objects[0]));
  kit::Bundle::mainBundle().registerNib("Both", nullptr);
  EXPECT_TRUE(std::dynamic_pointer_cast<kit::Label>(kit::Bundle::mainBundle().loadNibNamed("Both").at(0)));
}

}  // namespace
}  // namespace qdx::testing
