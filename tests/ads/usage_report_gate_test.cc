// The usage-report gate: a report is skipped only when every condition
// holds; each condition negated alone lets the report go out, for both
// callers' kinds.
#include "ads/usage_report_gate.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "sdk/QDXUserDefaults.h"
#include "sdk/store_keys.h"
#include "support/test_env.h"

namespace qdx::testing {
namespace {

constexpr char kVersion[] = "CFBundleShortVersionString";

class UsageReportGateTest : public ::testing::Test {
 protected:
  // Every condition holds for adType: its flag raised, the stored version
  // the bundle's.
  void allHold(std::int64_t adType) {
    env_.setBundleInfo(kVersion, "2.0");
    QDXUserDefaults::saveToLocal("2.0", keys::kAppVersion);
    QDXUserDefaults::saveToLocal(1, keys::utypeSuccessFlagFor(adType));
  }
  TestEnv env_;
};

TEST_F(UsageReportGateTest, EachConditionNegatedAloneSendsTheReport) {
  struct Kind {
    std::int64_t adType;
    UsageReportKinds kinds;
  };
  struct Negation {
    const char* name;
    std::function<void(std::int64_t adType)> apply;
    bool sameKind = true;
  };
  const Negation negations[] = {
      {"flag 0", [](std::int64_t t) { QDXUserDefaults::saveToLocal(0, keys::utypeSuccessFlagFor(t)); }},
      {"flag absent",
       [](std::int64_t t) { QDXUserDefaults::removeObjectFromLocal(keys::utypeSuccessFlagFor(t)); }},
      {"flag not a number",
       [](std::int64_t t) { QDXUserDefaults::saveToLocal("yes", keys::utypeSuccessFlagFor(t)); }},
      {"stored version differs", [](std::int64_t) { QDXUserDefaults::saveToLocal("1.9", keys::kAppVersion); }},
      {"stored version absent", [](std::int64_t) { QDXUserDefaults::removeObjectFromLocal(keys::kAppVersion); }},
      {"stored version not text", [](std::int64_t) { QDXUserDefaults::saveToLocal(2, keys::kAppVersion); }},
      {"bundle version absent", [this](std::int64_t) { env_.removeBundleInfo(kVersion); }},
      {"bundle version absent, \"\" stored",
       [this](std::int64_t) {
         env_.removeBundleInfo(kVersion);
         QDXUserDefaults::saveToLocal("", keys::kAppVersion);
       }},
      {"another kind reported last", [](std::int64_t) {}, false},
  };
  for (const Kind kind : {Kind{1, UsageReportKinds::kBannerAndWall}, Kind{4, UsageReportKinds::kBannerAndWall},
                          Kind{7, UsageReportKinds::kCustomSlots}, Kind{8, UsageReportKinds::kCustomSlots},
                          Kind{9, UsageReportKinds::kCustomSlots}}) {
    SCOPED_TRACE(kind.adType);
    allHold(kind.adType);
    EXPECT_TRUE(usageReportSkipped(kind.adType, kind.kinds, true)) << "every condition holds";
    for (const Negation& negation : negations) {
      allHold(kind.adType);
      negation.apply(kind.adType);
      EXPECT_FALSE(usageReportSkipped(kind.adType, kind.kinds, negation.sameKind)) << negation.name;
    }
  }
}

// An empty version is a version: "" in the bundle and in the store match.
TEST_F(UsageReportGateTest, AnEmptyBundleVersionMatchesAnEmptyStoredOne) {
  allHold(1);
  env_.setBundleInfo(kVersion, "");
  QDXUserDefaults::saveToLocal("", keys::kAppVersion);
  EXPECT_TRUE(usageReportSkipped(1, UsageReportKinds::kBannerAndWall, true));
}

// Each caller consults only its own kinds: the ad manager reports a custom
// kind every time, the custom-slot view a banner or wall every time, and
// any other kind always reports. The banner's flag is not the wall's; the
// custom kinds share theirs.
TEST_F(UsageReportGateTest, EachCallerConsultsOnlyItsOwnKindsAndFlags) {
  for (std::int64_t type : {1, 4, 7}) allHold(type);
  EXPECT_FALSE(usageReportSkipped(7, UsageReportKinds::kBannerAndWall, true));
  EXPECT_FALSE(usageReportSkipped(1, UsageReportKinds::kCustomSlots, true));
  EXPECT_FALSE(usageReportSkipped(4, UsageReportKinds::kCustomSlots, true));
  for (std::int64_t other : {0, 2, 3, 5, 6, 10}) {
    EXPECT_FALSE(usageReportSkipped(other, UsageReportKinds::kBannerAndWall, true)) << other;
    EXPECT_FALSE(usageReportSkipped(other, UsageReportKinds::kCustomSlots, true)) << other;
  }
  QDXUserDefaults::removeObjectFromLocal(keys::kUtypeSuccessRecommend);
  EXPECT_TRUE(usageReportSkipped(1, UsageReportKinds::kBannerAndWall, true));
  EXPECT_FALSE(usageReportSkipped(4, UsageReportKinds::kBannerAndWall, true));
  EXPECT_TRUE(usageReportSkipped(9, UsageReportKinds::kCustomSlots, true)) << "7's flag is 9's";
}

}  // namespace
}  // namespace qdx::testing
