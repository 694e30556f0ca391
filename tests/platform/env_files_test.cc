// Files and threads through the platform: what PosixEnv's operations
// return, and that a failed or concurrent atomic write never leaves a
// temporary or a mixed file behind.
#include <pthread.h>

#include <filesystem>
#include <fstream>
#include <future>
#include <set>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/posix_env.h"
#include "support/test_env.h"

namespace qdx {
namespace {

std::set<std::string> namesIn(Env& env, const std::string& directory) {
  std::optional<std::vector<std::string>> names = env.listDirectory(directory);
  return names ? std::set<std::string>(names->begin(), names->end()) : std::set<std::string>{};
}

TEST(EnvFilesTest, EachOperationSaysWhetherItWorked) {
  TestEnv test;
  PosixEnv& env = test.posix();
  const std::string dir = test.tempRoot() + "/files";
  const std::string file = dir + "/f";

  EXPECT_TRUE(env.createDirectories(dir + "/a/b")) << "with every parent";
  EXPECT_TRUE(env.createDirectories(dir)) << "already there";
  EXPECT_EQ(env.listDirectory(dir), std::vector<std::string>{"a"}) << "no . or ..";
  EXPECT_EQ(env.listDirectory(dir + "/missing"), std::nullopt);

  const std::string bytes("PNG\0\xff\n", 6);
  ASSERT_TRUE(env.writeFileAtomically(file, bytes));
  EXPECT_EQ(env.readFile(file), bytes) << "binary, whole";
  EXPECT_TRUE(env.writeFileAtomically(file, "second"));
  EXPECT_EQ(env.readFile(file), "second") << "replaced";
  EXPECT_TRUE(env.writeFileAtomically(file, ""));
  EXPECT_EQ(env.readFile(file), "") << "empty is not missing";
  EXPECT_TRUE(env.fileExists(file));
  EXPECT_FALSE(env.fileExists(dir)) << "a directory is not a file";
  EXPECT_EQ(env.readFile(dir), std::nullopt);
  EXPECT_EQ(env.readFile(dir + "/missing"), std::nullopt);
  EXPECT_FALSE(env.createDirectories(file + "/under-a-file"));

  // Failed writes leave the target as it was and no temporary behind.
  EXPECT_FALSE(env.writeFileAtomically(dir + "/missing/f", "x"));
  EXPECT_FALSE(env.writeFileAtomically(dir + "/a", "x")) << "a directory in the way";
  EXPECT_TRUE(std::filesystem::is_directory(dir + "/a/b"));
  EXPECT_EQ(namesIn(env, dir), (std::set<std::string>{"a", "f"}));

  EXPECT_TRUE(env.removeFile(file));
  EXPECT_FALSE(env.removeFile(file)) << "already gone";
  EXPECT_FALSE(env.fileExists(file));
}

// Writers that share a path never share a temporary: every read sees one
// writer's content whole, and only the file itself is left.
TEST(EnvFilesTest, ConcurrentAtomicWritersNeverMixTheirContent) {
  TestEnv test;
  const std::string dir = test.tempRoot() + "/w";
  const std::string file = dir + "/shared";
  ASSERT_TRUE(test.createDirectories(dir));
  ASSERT_TRUE(test.writeFileAtomically(file, std::string(64 * 1024, 'a')));
  std::vector<std::thread> writers;
  for (char fill : {'b', 'c', 'd'}) {
    writers.emplace_back([&test, file, fill] {
      for (int i = 0; i < 40; ++i) {
        EXPECT_TRUE(test.writeFileAtomically(file, std::string(64 * 1024, fill)));
      }
    });
  }
  for (int i = 0; i < 200; ++i) {
    const std::optional<std::string> seen = test.readFile(file);
    ASSERT_TRUE(seen.has_value());
    ASSERT_EQ(seen->size(), 64u * 1024);
    ASSERT_EQ(seen->find_first_not_of(seen->front()), std::string::npos) << "mixed content";
  }
  for (std::thread& writer : writers) writer.join();
  EXPECT_EQ(namesIn(test, dir), std::set<std::string>{"shared"});
}

TEST(EnvFilesTest, StartThreadRunsTheWorkDetachedUnderItsShortenedName) {
  TestEnv env;
  std::promise<std::string> seen;
  ASSERT_TRUE(env.startThread("qdx image warm-up thread", [&seen] {
    char name[32] = {};
    ::pthread_getname_np(::pthread_self(), name, sizeof name);
    seen.set_value(name);
  }));
  EXPECT_EQ(seen.get_future().get(), "qdx image warm-");
}

}  // namespace
}  // namespace qdx
