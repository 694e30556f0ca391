#include "sdk/QDXUserDefaults.h"

#include "platform/env.h"

namespace qdx {

void QDXUserDefaults::saveToLocal(const Json& value, const std::string& key) {
  Env::Default()->localStore().set(key, value);
}

Json QDXUserDefaults::getObjectFromLocal(const std::string& key) {
  return Env::Default()->localStore().get(key);
}

void QDXUserDefaults::removeObjectFromLocal(const std::string& key) {
  Env::Default()->localStore().remove(key);
}

}  // namespace qdx
