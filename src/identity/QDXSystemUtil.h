#pragma once
// Facts about the operating system.
#include <string>

namespace qdx {

class QDXSystemUtil {
 public:
  // The current device's OS version string, e.g. "17.2".
  static std::string getOSVer();
};

}  // namespace qdx
