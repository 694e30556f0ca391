#include "sdk/QDXLog.h"

namespace qdx {

void QDXLog::setDebug(bool debug) { mydebug.store(debug); }

}  // namespace qdx
