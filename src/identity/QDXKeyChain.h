#pragma once
// Small values in the keychain, where they outlive the app's own data.
// Items are generic passwords whose service and account are both the name;
// the value is archived as JSON text.
#include <string>

#include "common/json.h"

namespace qdx {

class QDXKeyChain {
 public:
  // The item's attributes for name: {"class": "genp", "svce": name,
  // "acct": name, "pdmn": "ck"} (generic password, service, account,
  // accessible after first unlock).
  static Json getKeychainQuery(const std::string& name);
  // Deletes any item under name, then adds one holding data.
  static void saveUniqueStrWithName(const std::string& name, const Json& data);
  // The stored value, or null when there is none or it cannot be unarchived
  // (then "Unarchive of %@ failed: %@" is logged while debugging).
  static Json getUniqueStrWithName(const std::string& name);
  // Deletes the item under name.
  static void deleteUniqueStrWithName(const std::string& name);
};

}  // namespace qdx
