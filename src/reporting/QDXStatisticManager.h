#pragma once
// Device registration (once per device, the server hands out the device id
// every envelope carries) and the "utype" report (once per ad slot kind and
// app version).
#include <cstdint>

namespace qdx {


class QDXStatisticManager {
 public:
  // Starts registration on a new detached thread and returns at once.
  static void registerDevice();

  // Reports that the host uses ad slots of adType, asynchronously. An
  // answer whose "retcode" reads as 0 (an answer that is not JSON or lacks
  // "retcode" reads as 0) sets the once-only flag of the type
  // ("REPORT_UTYPE_SUCCESS_BANNER" for 1, "..._RECOMMEND" for 4,
  // "..._AdTypeCustomUBit" for 7, 8, 9) and removes "QDX_UBIT_ADTYPE";
  // any other "retcode" stores adType under "QDX_UBIT_ADTYPE" for the next
  // start. A transport failure is not remembered.
  static void reportUType_active(std::int64_t adType);

  // The whole registration, synchronously on the calling thread: needs
  // "QDX_CHANNEL"; posts {"appinfo", "devinfo"} to reg_dev; keeps the
  // answer's "devid" in the keychain under "QDX_Dev_ID"; then reports
  // base information when the keychain's "QDX_APP_VERSION" differs from
  // the app's version, and the activation in every case.
  void newThreadRegisterDevice();
};

}  // namespace qdx
