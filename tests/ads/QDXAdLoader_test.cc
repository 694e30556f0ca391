// The custom-slot loader against the reference server: how many views it
// hands out and with which tags, what it reports, the texts it fills in,
// where taps go, calls from another thread, bad answers, and a host's feed
// screen holding one view of each kind.
#include "qdx/QDXAdLoader.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <fstream>
#include <future>
#include <optional>
#include <thread>

#include "qdx/kit/InputSimulator.h"
#include "qdx/kit/Renderer.h"
#include "qdx/kit/ImageView.h"
#include "qdx/kit/Label.h"
#include "qdx/kit/View.h"
#include "support/http_gate_env.h"
#include "transport/QDXApiBase.h"
#include "transport/QDXImageCache.h"
#include "ui/QDXListItemAdView.h"
#include "ui/custom_slot_fixture.h"
#include "ui/user_count_text.h"

namespace qdx::testing {
namespace {

using Views = std::vector<std::shared_ptr<kit::View>>;

class AdLoaderTest : public CustomSlotTest {
 protected:
  explicit AdLoaderTest(ReferenceServer::Options options = {}) : CustomSlotTest(std::move(options)) {}
  void SetUp() override {
    CustomSlotTest::SetUp();
    env_.setBundleResourceDirectory(QDX_SOURCE_DIR "/tools/qdx-demo/bundle");
    loader_.setADDelegate(host_);
  }
  // The views of one load, or nullopt when the block was not called.
  std::optional<Views> load(std::int32_t type, std::int64_t count, kit::Size size = {320, 120}) {
    std::optional<Views> got;
    int calls = 0;
    loader_.loadAdWithType(type, count, size, [&](const Views& views) {
      got = views;
      ++calls;
    });
    EXPECT_LE(calls, 1);
    // Let the show reports' answers run, as the host's main loop would:
    // unacknowledged groups stay pending and ride along with later reports.
    settle();
    return got;
  }
  static std::vector<long> tags(const Views& views) {
    std::vector<long> found;
    for (const auto& v : views) found.push_back(v->tag());
    return found;
  }
  // The app ids of the show reports journaled so far, sorted: each travels
  // as an asynchronous post on an HTTP worker of its own, so they reach
  // the server in any order (wait for want of them).
  std::vector<std::string> shownApps(std::size_t want) {
    RunLoop::main().runUntil([&] { return events(kShowEvent).size() >= want; }, 10);
    settle();
    std::vector<std::string> ids;
    for (const Json& e : events(kShowEvent)) ids.push_back(e["to_appid"].get<std::string>());
    std::sort(ids.begin(), ids.end());
    return ids;
  }
  // Runs one load on a thread of its own, as a host's worker would. The
  // main thread turns its loop meanwhile only when serveMain is set, and
  // then until the load is over or stopServing() holds. Returns the views,
  // or nullopt when the block was not called.
  std::optional<Views> loadOffTheMainThread(std::int32_t type, std::int64_t count, bool serveMain,
                                            const std::function<bool()>& stopServing = nullptr) {
    std::optional<Views> got;
    auto finished = std::async(std::launch::async, [&] {
      loader_.loadAdWithType(type, count, {320, 120}, [&](const Views& views) { got = views; });
    });
    auto over = [&] { return finished.wait_for(std::chrono::seconds(0)) == std::future_status::ready; };
    if (serveMain) RunLoop::main().runUntil([&] { return over() || (stopServing && stopServing()); }, 30);
    EXPECT_EQ(finished.wait_for(std::chrono::seconds(60)), std::future_status::ready) << "the load hangs";
    finished.get();
    return got;
  }
  // Puts bytes in the image cache as url's picture.
  void cachePicture(const std::string& url, const std::string& bytes) {
    const std::string path = QDXImageCache::shareInstance().filePathForURL(url);
    env_.createDirectories(path.substr(0, path.rfind('/')));
    std::ofstream(path, std::ios::binary) << bytes;
  }
  QDXAdLoader loader_;
  std::shared_ptr<RecordingDelegate> host_ = std::make_shared<RecordingDelegate>();
};

TEST_F(AdLoaderTest, HandsOutAtMostCountViewsTaggedByIndexAndReportsEachShown) {
  for (std::int32_t type : {7, 8, 9}) {
    auto views = load(type, 3);
    ASSERT_TRUE(views) << type;
    EXPECT_EQ(tags(*views), (std::vector<long>{0, 1, 2})) << type;
  }
  EXPECT_EQ(shownApps(9), (std::vector<std::string>{"20001", "20001", "20001", "20002", "20002", "20002",
                                                    "20003", "20003", "20003"}));
  EXPECT_EQ(events(kRequestEvent).size(), 9u);
  EXPECT_FALSE(load(8, 0)) << "nothing wanted: no block call";
  EXPECT_EQ(tags(*load(8, -1)), (std::vector<long>{0, 1, 2, 3, 4})) << "a negative count is huge unsigned";
  auto unknown = load(5, 3);
  ASSERT_TRUE(unknown);
  EXPECT_TRUE(unknown->empty());
  EXPECT_EQ(shownApps(14).size(), 14u) << "no show for the unknown type";
}

TEST_F(AdLoaderTest, SkippedEntriesLeaveGapsInTheTags) {
  ASSERT_TRUE(server_.setFault("assets/icon/2.png:http:404"));
  ASSERT_TRUE(server_.setFault("assets/banner/4.png:http:404"));
  auto text = load(8, 5);
  ASSERT_TRUE(text);
  EXPECT_EQ(tags(*text), (std::vector<long>{0, 2, 3, 4})) << "no icon for app 2";
  auto cards = load(9, 5);
  EXPECT_EQ(tags(*cards), (std::vector<long>{0, 2, 4})) << "no icon for app 2, no artwork for app 4";
  auto banners = load(7, 5);
  EXPECT_EQ(tags(*banners), (std::vector<long>{0, 1, 2, 4}));
  EXPECT_EQ(shownApps(11), (std::vector<std::string>{"20001", "20001", "20001", "20002", "20003", "20003",
                                                     "20003", "20004", "20005", "20005", "20005"}));
}

TEST_F(AdLoaderTest, FillsTheItemsOutlets) {
  auto text = std::dynamic_pointer_cast<QDXListItemAdView>(load(8, 1)->at(0));
  ASSERT_TRUE(text);
  EXPECT_EQ(text->titleLabel()->text(), "天天消除");
  EXPECT_EQ(text->descriptionLable()->text(), "轻松好玩的三消游戏");
  EXPECT_TRUE(text->icon()->image());
  auto cards = *load(9, 4);
  std::vector<std::string> counts;
  for (const auto& v : cards) {
    auto card = std::dynamic_pointer_cast<QDXBannerListItemAdView>(v);
    ASSERT_TRUE(card && card->imageView()->image() && card->icon()->image());
    counts.push_back(card->descriptionLable()->text());
  }
  EXPECT_EQ(counts, (std::vector<std::string>{"12万人正在使用", "2.5万人正在使用", "150万人正在使用",
                                              "0.5万人正在使用"}));
  EXPECT_TRUE(host_->calls.empty()) << "a load tells the host nothing; its block does";
}

// Entries without a name (or, for text items, a description) are left
// out, and the views after them keep their own indexes as tags.
TEST_F(AdLoaderTest, EntriesWithEmptyTextsAreSkippedAndLaterViewsKeepTheirIndexes) {
  const std::string assets = std::string(kQDXApiBase) + "/qdx/assets";
  auto entry = [&](int n, const char* name, const char* description) {
    const std::string number = std::to_string(n);
    return Json{{"appid", std::to_string(20000 + n)},
                {"appname", name},
                {"icon", assets + "/icon/" + number + ".png"},
                {"use_count", 3},
                {"adlist", Json::array({Json{{"ad_id", std::to_string(50000 + n)},
                                             {"ad_url", assets + "/banner/" + number + ".png"},
                                             {"ad_down_url", "https://apps.qdx.invalid/app/" + number},
                                             {"ad_desc", description}}})}};
  };
  const Json payload = {{"applist", Json::array({entry(1, "一", "好玩"), entry(2, "", "好玩"),
                                                 entry(3, "三", ""), entry(4, "四", "好玩")})}};
  ASSERT_TRUE(server_.setFault("get_recommend_list:payload:" + payload.dump()));
  EXPECT_EQ(tags(*load(8, 4)), (std::vector<long>{0, 3})) << "no name, then no description";
  ASSERT_TRUE(server_.setFault("get_recommend_list:payload:" + payload.dump()));
  EXPECT_EQ(tags(*load(9, 4)), (std::vector<long>{0, 2, 3})) << "a card shows the user count, not the description";
  EXPECT_EQ(shownApps(5), (std::vector<std::string>{"20001", "20001", "20003", "20004", "20004"}));
}

TEST(UserCountTextTest, ShowsADecimalOnlyForAFraction) {
  const std::pair<Json, const char*> cases[] = {
      {12, "12万人正在使用"},      {12.5, "12.5万人正在使用"}, {12.0, "12万人正在使用"},
      {0.5, "0.5万人正在使用"},    {"7.25", "7.2万人正在使用"}, {nullptr, "0万人正在使用"},
      {Json::array(), "0万人正在使用"},
  };
  for (const auto& [count, text] : cases) EXPECT_EQ(userCountText(count), text) << count.dump();
}

TEST_F(AdLoaderTest, ATouchUpOnAListItemOpensItsOwnApp) {
  auto views = *load(8, 3);
  auto second = std::dynamic_pointer_cast<kit::Control>(views.at(1));
  ASSERT_TRUE(second);
  EXPECT_TRUE(kit::tapView(std::dynamic_pointer_cast<QDXListItemAdView>(second)->downloadButton()))
      << "the button passes the tap to its item";
  EXPECT_EQ(env_.openedURLs(), (std::vector<std::string>{"https://apps.qdx.invalid/app/id1000002"}));
  EXPECT_EQ(events(kClickEvent).at(0)["to_appid"], "20002");
  EXPECT_EQ(host_->calls.back(), "onADClicked");
}

TEST_F(AdLoaderTest, OffTheMainThreadTheViewsAreBuiltOnTheMainQueueWhileTheCallerWaits) {
  std::atomic<bool> done = false;
  std::optional<Views> got;
  std::thread::id blockThread;
  std::thread host([&] {
    loader_.loadAdWithType(9, 2, {320, 120}, [&](const Views& views) {
      got = views;
      blockThread = std::this_thread::get_id();
    });
    done = true;
  });
  const std::thread::id hostThread = host.get_id();
  ASSERT_TRUE(RunLoop::main().runUntil([&] { return done.load(); }, 30));
  host.join();
  ASSERT_TRUE(got);
  EXPECT_EQ(tags(*got), (std::vector<long>{0, 1}));
  EXPECT_EQ(blockThread, hostThread);
  EXPECT_EQ(shownApps(2), (std::vector<std::string>{"20001", "20002"}));
}

// Off the main thread, a main loop that never turns costs a load the
// request time-out, not the caller's thread: the load logs why and gives
// nothing, before any request leaves. The work it had queued stays undone
// once the loop turns again.
TEST_F(AdLoaderTest, OffTheMainThreadAMainLoopThatDoesNotTurnCostsTheRequestTimeOut) {
  env_.setTimeouts(1, 5);
  EXPECT_FALSE(loadOffTheMainThread(9, 2, /*serveMain=*/false));
  EXPECT_TRUE(env_.logContains("the main queue did not make the request's view within 1 s; no views"));
  settle();
  EXPECT_TRUE(server_.entriesFor("get_recommend_list").empty());
  EXPECT_TRUE(server_.entriesFor("report_event").empty());
}

// The same when the main loop stops between the request and the build.
TEST_F(AdLoaderTest, OffTheMainThreadAMainLoopThatStopsBeforeTheBuildCostsTheRequestTimeOut) {
  env_.setTimeouts(3, 5);
  HttpGateEnv gate("get_recommend_list");
  // The loop turns until the request is about to leave, then stops.
  EXPECT_FALSE(loadOffTheMainThread(9, 2, /*serveMain=*/true, [&] {
    if (gate.arrived() == 0) return false;
    gate.open();
    return true;
  }));
  EXPECT_TRUE(env_.logContains("the main queue did not build the views within 3 s; no views"));
  EXPECT_EQ(server_.entriesFor("get_recommend_list").size(), 1u);
  settle();
  EXPECT_TRUE(events(kShowEvent).empty()) << "no view was built, none was shown";
}

// Pictures are downloaded once, on the caller's thread: one that failed
// is not asked for again when the views are built on the main thread.
TEST_F(AdLoaderTest, OffTheMainThreadAPictureThatFailedIsAskedForOnce) {
  ASSERT_TRUE(server_.setFault("assets/icon/2.png:http:404"));
  auto got = loadOffTheMainThread(9, 3, /*serveMain=*/true);
  ASSERT_TRUE(got);
  EXPECT_EQ(tags(*got), (std::vector<long>{0, 2}));
  EXPECT_EQ(server_.entriesFor("assets/icon/2.png").size(), 1u);
}

// Empty picture bytes are still a picture, for every kind alike.
TEST_F(AdLoaderTest, EmptyPictureBytesAreStillAPicture) {
  const std::string assets = std::string(kQDXApiBase) + "/qdx/assets";
  cachePicture(assets + "/icon/2.png", "");
  cachePicture(assets + "/banner/3.png", "");
  EXPECT_EQ(tags(*load(8, 3)), (std::vector<long>{0, 1, 2}));
  EXPECT_EQ(tags(*load(9, 3)), (std::vector<long>{0, 1, 2}));
  EXPECT_EQ(tags(*load(7, 3)), (std::vector<long>{0, 1, 2}));
  EXPECT_TRUE(server_.entriesFor("assets/icon/2.png").empty()) << "taken from the cache";
}

TEST_F(AdLoaderTest, BadAnswersCallNoBlockAndLoseNothing) {
  for (const char* fault : {"get_recommend_list:retcode:3", "get_recommend_list:garbage",
                            "get_recommend_list:http:500", "get_recommend_list:drop",
                            "get_recommend_list:no-data", "get_recommend_list:plaintext-data"}) {
    ASSERT_TRUE(server_.setFault(fault));
    EXPECT_FALSE(load(9, 3)) << fault;
  }
  EXPECT_EQ(events(kRequestEvent).size(), 6u) << "one empty request report each";
  EXPECT_TRUE(events(kShowEvent).empty());
  EXPECT_TRUE(host_->calls.empty());
}

// Server options with a catalog of count apps.
ReferenceServer::Options catalogOf(int count) {
  ReferenceServer::Options options;
  options.catalog = count;
  return options;
}

class EmptyCatalogTest : public AdLoaderTest {
 protected:
  EmptyCatalogTest() : AdLoaderTest(catalogOf(0)) {}
};

TEST_F(EmptyCatalogTest, NoAppsNoBlockCall) {
  for (std::int32_t type : {5, 7, 8, 9}) EXPECT_FALSE(load(type, 3)) << type;
}

class ShortCatalogTest : public AdLoaderTest {
 protected:
  ShortCatalogTest() : AdLoaderTest(catalogOf(2)) {}
};

TEST_F(ShortCatalogTest, TenWantedTwoListed) {
  EXPECT_EQ(tags(*load(8, 10)), (std::vector<long>{0, 1}));
}

// A host feed: a banner slot over a text row over an image-and-text card,
// drawn and probed at their known places.
TEST_F(AdLoaderTest, AFeedScreenShowsOneViewOfEachKind) {
  auto banner = load(7, 1, {375, 140})->at(0);
  auto row = load(8, 1)->at(0);
  auto card = load(9, 1)->at(0);
  settle();  // the banner adds its images on the main queue
  auto screen = std::make_shared<kit::View>(kit::Rect(0, 0, 375, 480));
  screen->setBackgroundColor(kit::Color::rgba(0.9, 0.9, 0.9, 1));
  banner->setFrame({0, 0, 375, 140});
  row->setFrame({0, 140, 375, 80});
  card->setFrame({0, 220, 375, 250});
  for (const auto& v : {banner, row, card}) screen->addSubview(v);
  auto image = kit::renderImage(screen, 1);
  ASSERT_TRUE(image);
  auto differsFromFeed = [&](int x, int y) {
    const kit::Color c = image->colorAt(x, y);
    return std::abs(c.red - 0.9) + std::abs(c.green - 0.9) + std::abs(c.blue - 0.9) > 0.05;
  };
  EXPECT_TRUE(differsFromFeed(5, 70)) << "the blurred backdrop fills the banner's sides";
  EXPECT_TRUE(differsFromFeed(187, 70)) << "the artwork in the middle";
  const kit::Color rowBackground = image->colorAt(200, 145);
  EXPECT_EQ(rowBackground, kit::Color::white()) << "the text row's background";
  EXPECT_TRUE(differsFromFeed(43, 180)) << "the icon";
  const kit::Color button = image->colorAt(300, 180);
  EXPECT_NEAR(button.blue, 0xF0 / 255.0, 0.05) << "the download button";
  EXPECT_NEAR(button.red, 0x2D / 255.0, 0.05);
  EXPECT_TRUE(differsFromFeed(187, 300)) << "the card's artwork";
  EXPECT_EQ(image->colorAt(370, 465), kit::Color::white()) << "the card's background";
}

}  // namespace
}  // namespace qdx::testing
