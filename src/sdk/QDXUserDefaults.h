#pragma once
// The SDK's one door to the host app's key-value store. Values are
// property-list kinds (string, integer, float, boolean, array, dictionary);
// null means absent.
#include <string>

#include "common/json.h"

namespace qdx {

class QDXUserDefaults {
 public:
  // Sets value for key and writes the store out at once; a null value
  // removes the key.
  static void saveToLocal(const Json& value, const std::string& key);
  // The stored value, or null.
  static Json getObjectFromLocal(const std::string& key);
  // Removes key; readers see it absent at once.
  static void removeObjectFromLocal(const std::string& key);
};

}  // namespace qdx
