// Start-up cost on the calling thread. Offline: initWithChannel with no
// network, so only the local store, the clock and the timer registration
// are measured. Online: the same with a data connection and work left by
// earlier runs, against the in-process reference server; only the calling
// thread is timed, and the posts and threads the start left running are
// drained, untimed, before the next start.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "identity/QDXAppInfo.h"
#include "identity/QDXKeyChain.h"
#include "platform/posix_env.h"
#include "qdx/RunLoop.h"
#include "qdx/QDXAD.h"
#include "reference_fixture.h"
#include "reporting/QDXHttpRequestProxy.h"
#include "reporting/background_work.h"
#include "reporting/property_list_file.h"
#include "transport/QDXHttpClient.h"

namespace {

// One PosixEnv in a fresh temporary home for the whole run, offline.
qdx::PosixEnv& offlineEnv() {
  static qdx::PosixEnv* env = [] {
    std::string pattern = (std::filesystem::temp_directory_path() / "qdx-startup-XXXXXX").string();
    const char* root = mkdtemp(pattern.data());
    if (root == nullptr) std::abort();
    auto* e = new qdx::PosixEnv();
    e->setHomeDirectory(std::string(root) + "/home");
    e->setKeychainDirectory(std::string(root) + "/keychain");
    e->setDataNetworkCode(0);
    e->setLogSink([](const std::string&) {});
    return e;
  }();
  // Installed on every use: the online benchmarks install another Env.
  qdx::Env::Install(env);
  return *env;
}

const std::string kAppKey = "bench-app-key-0123456789";

// Every start after the first: app id, key, channel and version are
// unchanged, so only the use-time start and the run stamp are written.
void BM_StartupOfflineUnchangedIdentity(benchmark::State& state) {
  offlineEnv();
  qdx::QDXAD::initWithChannel("AppStore", 10001, kAppKey);
  for (auto _ : state) {
    auto facade = qdx::QDXAD::initWithChannel("AppStore", 10001, kAppKey);
    benchmark::DoNotOptimize(facade.get());
  }
}
BENCHMARK(BM_StartupOfflineUnchangedIdentity);

// Each start changes the app id and the channel, so they are written too.
void BM_StartupOfflineChangedIdentity(benchmark::State& state) {
  offlineEnv();
  // Two ids taken in turn: every start is a change, and the store keeps
  // two run stamps instead of growing by one per iteration.
  std::int64_t appId = 20001;
  for (auto _ : state) {
    appId = appId == 20001 ? 20002 : 20001;
    auto facade = qdx::QDXAD::initWithChannel(appId % 2 ? "Xiaomi" : "Huawei", appId, kAppKey);
    benchmark::DoNotOptimize(facade.get());
  }
}
BENCHMARK(BM_StartupOfflineChangedIdentity);

// What an online start finds left over by earlier runs, beyond three
// pending event groups and one stored crash log.
enum class Leftover {
  kNothingMore,
  // A use-time group whose report failed: resent by a synchronous post.
  kUseTimeGroup,
  // A device id without "QDX_REPORT_ACTIVE": the activation, a synchronous
  // post.
  kActivationDue,
};

qdx::Json pendingEventGroups() {
  qdx::Json list = qdx::Json::array();
  for (int i = 0; i < 3; ++i) {
    qdx::Json event = {{"event_id", i + 1}, {"type", 1}, {"sub_type", 1}, {"adid", "ad"},
                       {"ubit", "BANNER"}, {"from_appid", 10001}, {"to_appid", "app"},
                       {"s_time", 1700000000}, {"e_time", 1700000000}, {"adtype", 1}};
    qdx::Json group = {{"id", std::to_string(1700000000000 + i)},
                       {"event_list", qdx::Json::array({event})}};
    list.push_back(group.dump(2));
  }
  return list;
}

// Runs the main loop, untimed, until the posts and background threads a
// start left running have finished (at most 15 seconds), then serves the
// completions they queued.
void drainStartupWork() {
  qdx::RunLoop::main().runUntil(
      [] { return qdx::detachedWorkInFlight() == 0 && qdx::QDXHttpClient::asyncPostsInFlight() == 0; },
      15);
  qdx::RunLoop::main().runFor(0.005);
}

// A later launch with a data connection (network code 5): the device is
// registered and activated and base information was sent for this version,
// so the start re-sends the pending events (asynchronous posts), uploads the
// crash log (an asynchronous post), and starts the image warm-up and the
// global configuration on their own threads.
void BM_StartupOnline(benchmark::State& state, Leftover leftover) {
  qdx::bench::ReferenceFixture& fixture = qdx::bench::referenceFixture();
  if (!fixture.started) return state.SkipWithError("no reference server");
  qdx::Env::Install(fixture.env);
  fixture.env->setDataNetworkCode(5);
  fixture.env->setLogSink([](const std::string&) {});
  const std::string appKey = qdx::server::kDefaultAppKey;
  qdx::QDXKeyChain::saveUniqueStrWithName(qdx::keys::kDeviceId, "bench-device-id");
  qdx::QDXKeyChain::saveUniqueStrWithName(qdx::keys::kReportedAppVersion,
                                          qdx::QDXAppInfo::bundleShortVersion());
  const qdx::Json pending = pendingEventGroups();
  const qdx::Json useTimeGroup = {
      {"id", "1700000000000"},
      {"event_list", qdx::Json::array({{{"event_id", 1}, {"type", 4}, {"s_time", 1700000000},
                                        {"e_time", 1700000060}}})}};
  const qdx::Json crashRecord = {{"ex_st", qdx::Json::array({"0 bench 0x1 main + 1"})},
                                 {"ex_msg", "bench crash"},
                                 {"timestamp", 1700000000000}};
  const std::string crashDirectory = qdx::QDXHttpRequestProxy::crashLogDirectory();
  fixture.env->createDirectories(crashDirectory);
  // The first start sends what every later one finds already done.
  qdx::QDXAD::initWithChannel("AppStore", 10001, appKey);
  drainStartupWork();
  for (auto _ : state) {
    state.PauseTiming();
    qdx::QDXUserDefaults::saveToLocal(pending, qdx::keys::kReportEventList);
    qdx::writePropertyListDictionary(crashRecord, crashDirectory + "/1700000000000.log");
    if (leftover == Leftover::kUseTimeGroup) {
      qdx::QDXUserDefaults::saveToLocal(useTimeGroup, qdx::keys::kUseTimeEventList);
    } else {
      qdx::QDXUserDefaults::removeObjectFromLocal(qdx::keys::kUseTimeEventList);
    }
    if (leftover == Leftover::kActivationDue) {
      qdx::QDXKeyChain::deleteUniqueStrWithName(qdx::keys::kReportActive);
    } else {
      qdx::QDXKeyChain::saveUniqueStrWithName(qdx::keys::kReportActive, true);
    }
    state.ResumeTiming();

    auto facade = qdx::QDXAD::initWithChannel("AppStore", 10001, appKey);
    benchmark::DoNotOptimize(facade.get());

    state.PauseTiming();
    drainStartupWork();
    state.ResumeTiming();
  }
}
// A fixed count: each start is followed by an untimed drain of its posts.
BENCHMARK_CAPTURE(BM_StartupOnline, PendingEventsAndCrashLog, Leftover::kNothingMore)
    ->Iterations(60)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_StartupOnline, AlsoUseTimeToResend, Leftover::kUseTimeGroup)
    ->Iterations(60)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_StartupOnline, AlsoActivationDue, Leftover::kActivationDue)
    ->Iterations(60)
    ->Unit(benchmark::kMicrosecond);

}  // namespace
