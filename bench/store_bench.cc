// Costs of the two persistent stores, each beside a baseline taken in the
// same run: the same bytes appended to a plain file with write(2), which
// is the least any durable store could do without fsync.
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <system_error>

#include <benchmark/benchmark.h>

#include "identity/QDXKeyChain.h"
#include "platform/posix_env.h"
#include "sdk/QDXUserDefaults.h"
#include "sdk/store_keys.h"

namespace qdx {
namespace {

// A PosixEnv in a temporary directory, installed for one benchmark.
class ScratchEnv {
 public:
  ScratchEnv() {
    char pattern[] = "/tmp/qdx-bench-XXXXXX";
    root_ = ::mkdtemp(pattern);
    env_.setHomeDirectory(root_ + "/home");
    env_.setKeychainDirectory(root_ + "/keychain");
    env_.setLogSink([](const std::string&) {});
    Env::Install(&env_);
  }
  ~ScratchEnv() {
    Env::Install(nullptr);
    std::error_code ec;
    std::filesystem::remove_all(root_, ec);
  }
  const std::string& root() const { return root_; }

 private:
  std::string root_;
  PosixEnv env_;
};

// A pending-event group much like the SDK keeps: a few hundred bytes.
Json typicalValue() {
  Json group = Json::array();
  for (int i = 0; i < 3; ++i) {
    group.push_back(Json{{"ad_id", 1000 + i}, {"app_id", 7}, {"event", "show"},
                         {"start_time", 1700000000 + i}, {"session_id", "0123456789abcdef"}});
  }
  return group;
}

std::string keyFor(benchmark::State& state) {
  return "QDX_BENCH_" + std::to_string(state.iterations() % 64);
}

void BM_Baseline_AppendWrite(benchmark::State& state) {
  ScratchEnv scratch;
  std::string bytes = "QDX_BENCH_1=" + typicalValue().dump();
  int fd = ::open((scratch.root() + "/append.log").c_str(),
                  O_CREAT | O_WRONLY | O_APPEND | O_CLOEXEC, 0644);
  for (auto _ : state) {
    benchmark::DoNotOptimize(::write(fd, bytes.data(), bytes.size()));
  }
  ::close(fd);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}
BENCHMARK(BM_Baseline_AppendWrite);

void BM_SaveToLocal(benchmark::State& state) {
  ScratchEnv scratch;
  Json value = typicalValue();
  std::size_t bytes = value.dump().size();
  for (auto _ : state) QDXUserDefaults::saveToLocal(value, keyFor(state));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}
BENCHMARK(BM_SaveToLocal);

void BM_GetObjectFromLocal(benchmark::State& state) {
  ScratchEnv scratch;
  for (int i = 0; i < 64; ++i) {
    QDXUserDefaults::saveToLocal(typicalValue(), "QDX_BENCH_" + std::to_string(i));
  }
  for (auto _ : state) {
    benchmark::DoNotOptimize(QDXUserDefaults::getObjectFromLocal(keyFor(state)));
  }
}
BENCHMARK(BM_GetObjectFromLocal);

void BM_SaveToLocalThenReadBack(benchmark::State& state) {
  ScratchEnv scratch;
  Json value = typicalValue();
  for (auto _ : state) {
    std::string key = keyFor(state);
    QDXUserDefaults::saveToLocal(value, key);
    benchmark::DoNotOptimize(QDXUserDefaults::getObjectFromLocal(key));
  }
}
BENCHMARK(BM_SaveToLocalThenReadBack);

// Saves from several threads at once: throughput under the store's lock.
void BM_SaveToLocalThreads(benchmark::State& state) {
  static ScratchEnv* scratch = nullptr;
  if (state.thread_index() == 0) scratch = new ScratchEnv();
  Json value = typicalValue();
  std::string prefix = "QDX_T" + std::to_string(state.thread_index()) + "_";
  for (auto _ : state) {
    QDXUserDefaults::saveToLocal(value, prefix + std::to_string(state.iterations() % 16));
  }
  if (state.thread_index() == 0) {
    delete scratch;
    scratch = nullptr;
  }
}
BENCHMARK(BM_SaveToLocalThreads)->Threads(4)->UseRealTime();

void BM_KeychainSave(benchmark::State& state) {
  ScratchEnv scratch;
  for (auto _ : state) QDXKeyChain::saveUniqueStrWithName(qdx::keys::kDeviceId, "D0123456789ABCDEF");
}
BENCHMARK(BM_KeychainSave);

void BM_KeychainRead(benchmark::State& state) {
  ScratchEnv scratch;
  QDXKeyChain::saveUniqueStrWithName(qdx::keys::kDeviceId, "D0123456789ABCDEF");
  for (auto _ : state) benchmark::DoNotOptimize(QDXKeyChain::getUniqueStrWithName(qdx::keys::kDeviceId));
}
BENCHMARK(BM_KeychainRead);

}  // namespace
}  // namespace qdx
