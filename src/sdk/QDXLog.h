#pragma once
// The facade's debug switch. The flag and the log gate it controls live
// with the platform (platform/log_gate.h), below every layer that logs;
// this header brings them along for the layers above.
#include "platform/log_gate.h"

namespace qdx {

class QDXLog {
 public:
  // Sets mydebug.
  static void setDebug(bool debug);
};

}  // namespace qdx
