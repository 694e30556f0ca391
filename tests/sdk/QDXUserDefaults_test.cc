#include "sdk/QDXUserDefaults.h"

#include <signal.h>
#include <unistd.h>

#include <cstdio>
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

// Values of every kind the SDK keeps, written by one process and read back
// by another: the forced write-out is what makes them survive. Each keeps
// its kind (a whole-valued float stays a float) and a dictionary its order.
TEST(QDXUserDefaultsTest, EveryValueKindSurvivesARestart) {
  TestEnv env;
  const std::pair<const char*, Json> values[] = {
      {"QDX_APP_ID", 12345},
      {"QDX_APP_KEY", "secret"},
      {"QDXBACKGROUND", true},
      {"float", 2.5},
      {"7000", 1700000000123.0},
      {"QDX_REPORT_EVENT_LIST", Json::array({"{\"a\":1}", 2})},
      {"QDX_Global_Config", Json{{"z", 1}, {"a", Json{{"nested", false}}}}},
  };
  ChildStatus child = ChildProcess::run([&values, root = env.tempRoot()] {
    TestEnv restarted(root);
    for (const auto& [key, value] : values) QDXUserDefaults::saveToLocal(value, key);
    return 0;
  });
  ASSERT_TRUE(child.succeeded()) << child.describe();

  for (const auto& [key, value] : values) {
    const Json back = QDXUserDefaults::getObjectFromLocal(key);
    EXPECT_EQ(back, value) << key;
    EXPECT_EQ(kindOf(back), kindOf(value)) << key;
  }
  EXPECT_EQ(json::asInteger(QDXUserDefaults::getObjectFromLocal("QDXBACKGROUND")), 1);
  EXPECT_EQ(QDXUserDefaults::getObjectFromLocal("QDX_Global_Config").dump(),
            R"({"z":1,"a":{"nested":false}})");
}

TEST(QDXUserDefaultsTest, RemovalNullSavesAndOverwritesShowAtOnce) {
  TestEnv env;
  QDXUserDefaults::saveToLocal("AppStore", "QDX_CHANNEL");
  QDXUserDefaults::removeObjectFromLocal("QDX_CHANNEL");
  EXPECT_TRUE(QDXUserDefaults::getObjectFromLocal("QDX_CHANNEL").is_null());
  QDXUserDefaults::saveToLocal(7, "QDX_UBIT_ADTYPE");
  QDXUserDefaults::saveToLocal(nullptr, "QDX_UBIT_ADTYPE");
  EXPECT_TRUE(QDXUserDefaults::getObjectFromLocal("QDX_UBIT_ADTYPE").is_null());
  QDXUserDefaults::removeObjectFromLocal("never");  // harmless

  QDXUserDefaults::saveToLocal(1, "k");
  QDXUserDefaults::saveToLocal("1", "k");
  EXPECT_TRUE(QDXUserDefaults::getObjectFromLocal("k").is_string());
  EXPECT_EQ(env.localStore().keys(), std::vector<std::string>{"k"});
}

TEST(QDXUserDefaultsTest, ManyThreadsWritingDistinctKeysLoseNothing) {
  TestEnv env;
  constexpr int kThreads = 8;
  constexpr int kKeysEach = 40;
  auto keyOf = [](int t, int i) { return "QDX_" + std::to_string(t) + "_" + std::to_string(i); };
  std::vector<std::thread> writers;
  for (int t = 0; t < kThreads; ++t) {
    writers.emplace_back([t, &keyOf] {
      for (int i = 0; i < kKeysEach; ++i) {
        QDXUserDefaults::saveToLocal(t * 1000 + i, keyOf(t, i));
        // Readers interleave with writers on other threads.
        if (json::asInteger(QDXUserDefaults::getObjectFromLocal(keyOf(t, i))) != t * 1000 + i) {
          std::abort();
        }
      }
    });
  }
  for (auto& writer : writers) writer.join();
  EXPECT_EQ(env.localStore().keys().size(), static_cast<std::size_t>(kThreads * kKeysEach));
}

// Two processes of the same app (a restarted host while the old one is
// still finishing) write at once: the store waits for its turn instead of
// dropping saves. The child even uses the platform its parent had open.
TEST(QDXUserDefaultsTest, TwoProcessesSavingAtOnceLoseNothing) {
  TestEnv env;
  QDXUserDefaults::saveToLocal("before fork", "QDX_CHANNEL");
  constexpr int kSaves = 300;
  ChildProcess child = ChildProcess::start([] {
    for (int i = 0; i < kSaves; ++i) QDXUserDefaults::saveToLocal(i, "child_" + std::to_string(i));
    return QDXUserDefaults::getObjectFromLocal("QDX_CHANNEL") == "before fork" ? 0 : 3;
  });
  for (int i = 0; i < kSaves; ++i) QDXUserDefaults::saveToLocal(i, "parent_" + std::to_string(i));
  ChildStatus status = child.wait();
  ASSERT_TRUE(status.succeeded()) << status.describe();
  for (int i = 0; i < kSaves; ++i) {
    ASSERT_EQ(json::asInteger(QDXUserDefaults::getObjectFromLocal("child_" + std::to_string(i))), i);
    ASSERT_EQ(json::asInteger(QDXUserDefaults::getObjectFromLocal("parent_" + std::to_string(i))), i);
  }
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
