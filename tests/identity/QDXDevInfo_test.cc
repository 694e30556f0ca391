#include "identity/QDXDevInfo.h"

#include <gtest/gtest.h>

#include "support/test_env.h"

namespace qdx {
namespace {

// The brand is the table's name for the identifier, or the identifier
// itself. One record sees a sequence of network codes: 2-4 all give 2, 5
// gives 3, and a code above 5 keeps whatever the record held (0 on a fresh
// record).
TEST(QDXDevInfoTest, DictionaryHasSixMembersInWireOrder) {
  TestEnv env;
  const std::pair<const char*, const char*> cases[] = {
      {"x86_64", "x86_64"},            // simulator
      {"iPhone5,2", "iPhone 5"},       // the two-identifier row
      {"iPhone7,1", "iPhone 6 Plus"},  // 7,1 is the Plus
      {"iPod7,1", "iPod Touch 5G"},    // kept as the server knows it
      {"iPad4,1", "iPad4,1"},          // no iPad rows, nor newer models
      {"iphone5,2", "iphone5,2"},      // exact match only
  };
  for (const auto& [machine, name] : cases) {
    env.setMachineIdentifier(machine);
    EXPECT_EQ(QDXDevInfo().brand, name) << machine;
  }
  const std::pair<unsigned, int> sequence[] = {{7, 0}, {0, 0}, {1, 1}, {6, 1},    {2, 2},
                                               {3, 2}, {4, 2}, {5, 3}, {1000, 3}, {0, 0}};
  QDXDevInfo codes;
  for (const auto& [code, netType] : sequence) {
    env.setDataNetworkCode(code);
    EXPECT_EQ(codes.getDeviceInfo()["net_type"], netType) << "code " << code;
  }

  env.setMachineIdentifier("iPhone8,1");
  env.setSystemVersion("10.0");
  env.setAdvertisingIdentifier("1E2DFA89-496A-47FD-9941-DF1FC4E6484A");
  env.setDataNetworkCode(5);
  env.setMainScreen({375, 667, 2});
  QDXDevInfo info;
  info.operators = "China Mobile";  // never sent
  // Json compares members in order: this pins the wire order too.
  EXPECT_EQ(info.getDeviceInfo(), (Json{{"imei", "1E2DFA89-496A-47FD-9941-DF1FC4E6484A"},
                                        {"operators", ""},
                                        {"net_type", 3},
                                        {"brand", "iPhone 6s"},
                                        {"adr_ver", "10.0"},
                                        {"screen", "750x1334"}}));
  env.setMainScreen({568, 320, 3});  // pixels, width first even in landscape
  EXPECT_EQ(info.getDeviceInfo()["screen"], "1704x960");
}

}  // namespace
}  // namespace qdx
