#include "sdk/QDXUserDefaults.h"

#include <signal.h>
#include <unistd.h>

#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "common/json_access.h"
#include "support/child_process.h"
#include "support/test_env.h"

namespace qdx {
namespace {

// The kind a value reads back as: signed and unsigned integers are one kind.
Json::value_t kindOf(const Json& value) {
  return value.is_number_integer() ? Json::value_t::number_integer : value.type();
}

// Values of every kind the SDK keeps read back from a reopened store with
// their kind (a whole-valued float stays a float) and a dictionary its order.
// Removing a key, or saving null to it, shows at once.
TEST(QDXUserDefaultsTest, EveryValueKindKeepsItsKindAcrossAReopen) {
  TestEnv env;
  QDXUserDefaults::saveToLocal("AppStore", "QDX_CHANNEL");
  QDXUserDefaults::removeObjectFromLocal("QDX_CHANNEL");
  QDXUserDefaults::saveToLocal(7, "QDX_UBIT_ADTYPE");
  QDXUserDefaults::saveToLocal(nullptr, "QDX_UBIT_ADTYPE");
  QDXUserDefaults::removeObjectFromLocal("never");  // harmless
  EXPECT_TRUE(env.localStore().keys().empty());
  const std::pair<const char*, Json> values[] = {
      {"QDX_APP_ID", 12345},
      {"QDX_APP_KEY", "secret"},
      {"QDXBACKGROUND", true},
      {"float", 2.5},
      {"7000", 1700000000123.0},
      {"QDX_REPORT_EVENT_LIST", Json::array({"{\"a\":1}", 2})},
      {"QDX_Global_Config", Json{{"z", 1}, {"a", Json{{"nested", false}}}}},
  };
  for (const auto& [key, value] : values) QDXUserDefaults::saveToLocal(value, key);

  TestEnv reopened(env.tempRoot());
  for (const auto& [key, value] : values) {
    const Json back = QDXUserDefaults::getObjectFromLocal(key);
    EXPECT_EQ(back, value) << key;  // Json compares members in order
    EXPECT_EQ(kindOf(back), kindOf(value)) << key;
  }
  EXPECT_EQ(json::asInteger(QDXUserDefaults::getObjectFromLocal("QDXBACKGROUND")), 1);
}

// Threads of one host and a second process of the same app (a restarted
// host while the old one is still finishing) save at once: each waits for
// its turn instead of dropping saves, and readers see their own writes. The
// child even uses the platform its parent had open.
TEST(QDXUserDefaultsTest, ConcurrentSavesFromThreadsAndAnotherProcessLoseNothing) {
  TestEnv env;
  QDXUserDefaults::saveToLocal("before fork", "QDX_CHANNEL");
  constexpr int kThreads = 4, kSaves = 150;
  auto saveAll = [](const std::string& prefix) {
    for (int i = 0; i < kSaves; ++i) {
      QDXUserDefaults::saveToLocal(i, prefix + std::to_string(i));
      if (json::asInteger(QDXUserDefaults::getObjectFromLocal(prefix + std::to_string(i))) != i) {
        std::abort();
      }
    }
  };
  ChildProcess child = ChildProcess::start([&] {
    saveAll("child_");
    return QDXUserDefaults::getObjectFromLocal("QDX_CHANNEL") == "before fork" ? 0 : 3;
  });
  std::vector<std::thread> writers;
  for (int t = 0; t < kThreads; ++t) writers.emplace_back(saveAll, "thread" + std::to_string(t) + "_");
  for (auto& writer : writers) writer.join();
  ChildStatus status = child.wait();
  ASSERT_TRUE(status.succeeded()) << status.describe();
  EXPECT_EQ(env.localStore().keys().size(), std::size_t{(kThreads + 1) * kSaves + 1});
  EXPECT_TRUE(env.logLines().empty());
}

// A host killed in the middle of saving loses no save that had returned.
TEST(QDXUserDefaultsTest, SavesThatReturnedSurviveSigkill) {
  TestEnv env;
  int reports[2];
  ASSERT_EQ(::pipe(reports), 0);
  ChildProcess child = ChildProcess::start([root = env.tempRoot(), reports] {
    ::close(reports[0]);
    TestEnv restarted(root);
    for (int i = 0;; ++i) {
      QDXUserDefaults::saveToLocal(Json{{"index", i}}, "burst_" + std::to_string(i));
      if (::write(reports[1], &i, sizeof i) != sizeof i) return 1;
    }
  });
  ::close(reports[1]);
  std::set<int> reported;
  int index;
  while (reported.size() < 150 && ::read(reports[0], &index, sizeof index) == sizeof index) {
    reported.insert(index);
  }
  child.kill(SIGKILL);
  while (::read(reports[0], &index, sizeof index) == sizeof index) reported.insert(index);
  ::close(reports[0]);
  ChildStatus status = child.wait();
  ASSERT_TRUE(status.signaled) << status.describe();
  ASSERT_GE(reported.size(), 150u);

  TestEnv reopened(env.tempRoot());
  for (int i : reported) {
    Json value = QDXUserDefaults::getObjectFromLocal("burst_" + std::to_string(i));
    ASSERT_EQ(json::asInteger(json::member(value, "index")), i) << "lost save " << i;
  }
}

}  // namespace
}  // namespace qdx
