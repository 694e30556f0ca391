#include "identity/QDXKeyChain.h"

#include "common/json_access.h"
#include "common/json_parse.h"
#include "platform/env.h"
#include "sdk/QDXLog.h"

namespace qdx {

namespace {
// The archive wraps the value so that any kind, strings included, has one
// JSON text form: {"root": value}.
constexpr const char* kArchiveRoot = "root";
}  // namespace

Json QDXKeyChain::getKeychainQuery(const std::string& name) {
  Json query = Json::object();
  query["class"] = "genp";
  query["svce"] = name;
  query["acct"] = name;
  query["pdmn"] = "ck";
  return query;
}

void QDXKeyChain::saveUniqueStrWithName(const std::string& name, const Json& data) {
  SecureItemBackend& keychain = Env::Default()->keychain();
  keychain.remove(name, name);
  Json archive = Json::object();
  archive[kArchiveRoot] = data;
  // Invalid UTF-8 is replaced rather than thrown: nothing escapes to the host.
  keychain.add(name, name, archive.dump(-1, ' ', false, Json::error_handler_t::replace));
}

Json QDXKeyChain::getUniqueStrWithName(const std::string& name) {
  std::optional<std::string> data = Env::Default()->keychain().copyMatching(name, name);
  if (!data) return nullptr;
  Json archive = parseJson(*data);
  if (archive.is_discarded() || !archive.is_object() || !archive.contains(kArchiveRoot)) {
    debugLog("Unarchive of " + name + " failed: " +
             (archive.is_discarded() ? std::string("the data is not an archive")
                                     : std::string("the archive has no root object")));
    return nullptr;
  }
  return archive[kArchiveRoot];
}

void QDXKeyChain::deleteUniqueStrWithName(const std::string& name) {
  Env::Default()->keychain().remove(name, name);
}

}  // namespace qdx
