#include "identity/QDXDevInfo.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/test_env.h"

namespace qdx {
namespace {

struct ModelCase {
  const char* machine;
  const char* name;
};

class ModelNameTest : public ::testing::TestWithParam<ModelCase> {};

TEST_P(ModelNameTest, BrandIsTheTableNameOrTheIdentifierItself) {
  TestEnv env;
  env.setMachineIdentifier(GetParam().machine);
  EXPECT_EQ(QDXDevInfo().brand, GetParam().name);
}

INSTANTIATE_TEST_SUITE_P(
    Table, ModelNameTest,
    ::testing::Values(ModelCase{"x86_64", "x86_64"},            // simulator
                      ModelCase{"iPhone5,2", "iPhone 5"},      // the two-identifier row
                      ModelCase{"iPhone3,2", "Verizon iPhone 4"},
                      ModelCase{"iPhone7,1", "iPhone 6 Plus"},  // 7,1 is the Plus
                      ModelCase{"iPod7,1", "iPod Touch 5G"},    // kept as the server knows it
                      ModelCase{"iPad4,1", "iPad4,1"},          // no iPad rows
                      ModelCase{"iPhone9,1", "iPhone9,1"},      // newer than the table
                      ModelCase{"iphone5,2", "iphone5,2"},      // exact match only
                      ModelCase{"", ""}));

TEST(QDXDevInfoTest, InitTakesOsVersionAndAdvertisingIdentifierFromTheDevice) {
  TestEnv env;
  env.setSystemVersion("9.3.5");
  env.setAdvertisingIdentifier("1E2DFA89-496A-47FD-9941-DF1FC4E6484A");
  QDXDevInfo info;
  EXPECT_EQ(info.adr_ver, "9.3.5");
  EXPECT_EQ(info.imei, "1E2DFA89-496A-47FD-9941-DF1FC4E6484A");
}

TEST(QDXDevInfoTest, DictionaryHasSixMembersInWireOrder) {
  TestEnv env;
  env.setMachineIdentifier("iPhone8,1");
  env.setSystemVersion("10.0");
  env.setAdvertisingIdentifier("AD");
  env.setDataNetworkCode(5);
  env.setMainScreen({375, 667, 2});
  QDXDevInfo info;
  info.operators = "China Mobile";  // never sent
  const Json dict = info.getDeviceInfo();
  std::vector<std::string> keys;
  for (const auto& [key, value] : dict.items()) keys.push_back(key);
  EXPECT_EQ(keys, (std::vector<std::string>{"imei", "operators", "net_type", "brand", "adr_ver",
                                            "screen"}));
  EXPECT_EQ(dict["imei"], "AD");
  EXPECT_EQ(dict["operators"], "");
  EXPECT_EQ(dict["brand"], "iPhone 6s");
  EXPECT_EQ(dict["adr_ver"], "10.0");
  EXPECT_EQ(dict["screen"], "750x1334");
  ASSERT_TRUE(dict["net_type"].is_number_integer());
  EXPECT_EQ(dict["net_type"], 3);
}

TEST(QDXDevInfoTest, ScreenIsInPixelsWidthFirst) {
  TestEnv env;
  env.setMainScreen({414, 736, 3});
  EXPECT_EQ(QDXDevInfo().getDeviceInfo()["screen"], "1242x2208");
  env.setMainScreen({568, 320, 2});  // landscape stays width first
  EXPECT_EQ(QDXDevInfo().getDeviceInfo()["screen"], "1136x640");
}

TEST(QDXDevInfoTest, NetworkCodesMapToNetType) {
  TestEnv env;
  const std::vector<std::pair<unsigned, int>> mapping = {{0, 0}, {1, 1}, {2, 2},
                                                         {3, 2}, {4, 2}, {5, 3}};
  for (const auto& [code, netType] : mapping) {
    env.setDataNetworkCode(code);
    QDXDevInfo info;
    EXPECT_EQ(info.getDeviceInfo()["net_type"], netType) << "code " << code;
    EXPECT_EQ(info.net_type, netType) << "code " << code;
  }
}

TEST(QDXDevInfoTest, CodeAboveFiveKeepsThePreviousNetType) {
  TestEnv env;
  QDXDevInfo info;
  env.setDataNetworkCode(1);
  info.getDeviceInfo();
  env.setDataNetworkCode(6);
  EXPECT_EQ(info.getDeviceInfo()["net_type"], 1);
  env.setDataNetworkCode(5);
  info.getDeviceInfo();
  env.setDataNetworkCode(1000);
  EXPECT_EQ(info.getDeviceInfo()["net_type"], 3);
}

TEST(QDXDevInfoTest, FreshRecordSeeingOnlyAnUnknownCodeSendsZero) {
  TestEnv env;
  env.setDataNetworkCode(7);
  const Json dict = QDXDevInfo().getDeviceInfo();
  ASSERT_TRUE(dict["net_type"].is_number_integer());
  EXPECT_EQ(dict["net_type"], 0);
}

}  // namespace
}  // namespace qdx
