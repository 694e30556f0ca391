#pragma once
// What the SDK tells the server about the device, and the SDK's network
// check. A record is filled from the Env when it is constructed.
#include <cstdint>
#include <string>

#include "common/json.h"

namespace qdx {

class QDXDevInfo {
 public:
  // The carrier name. Never set by the SDK: getDeviceInfo() sends "" for
  // "operators" whatever this holds.
  std::string operators;
  // The network kind last seen by getDeviceInfo(): 0 none, 1 code 1,
  // 2 codes 2-4, 3 Wi-Fi. A code above 5 leaves it unchanged, so a fresh
  // record that only ever saw such codes sends 0 ("unknown / none").
  std::int64_t net_type = 0;
  // The model name (getDeviceVersion()).
  std::string brand;
  // The OS version string.
  std::string adr_ver;
  // The advertising identifier, an uppercase UUID string.
  std::string imei;

  // Fills brand, adr_ver and imei from the Env (init).
  QDXDevInfo();

  // Reads the network code, updates net_type by the mapping above and
  // returns {"imei", "operators": "", "net_type", "brand", "adr_ver",
  // "screen"} in that order; "screen" is the main screen in pixels,
  // "%.0fx%.0f" (width first), e.g. "750x1334".
  Json getDeviceInfo();

  // The data-network code of the status bar: 0 means no data connection
  // (the SDK then sends nothing), 5 Wi-Fi. Safe from any thread.
  static unsigned getNetworkTypeFromStatusBar();

  // The model name for the machine identifier, e.g. "iPhone8,1" ->
  // "iPhone 6s"; an identifier the table does not know (a simulator's
  // "x86_64", any iPad) is returned unchanged.
  std::string getDeviceVersion() const;
  // The table lookup behind getDeviceVersion(), for any identifier.
  static std::string modelNameForMachine(const std::string& machine);
};

}  // namespace qdx
