#include "identity/QDXSystemUtil.h"

#include "platform/env.h"

namespace qdx {

std::string QDXSystemUtil::getOSVer() { return Env::Default()->systemVersion(); }

}  // namespace qdx
