#pragma once
// The two persistent stores the platform offers: the app's key-value store
// (user defaults) and the per-user secure item store (keychain). Both are
// safe to use from any thread at once.
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "common/json.h"

namespace qdx {

// The host app's preferences: one map from string keys to property-list
// values, persisted under the app's own data directory.
class KeyValueBackend {
 public:
  virtual ~KeyValueBackend() = default;

  // Returns the value stored under key, or null when there is none (or the
  // stored bytes cannot be read back, which is logged once).
  virtual Json get(const std::string& key) = 0;

  // Stores value under key and commits it before returning: a value whose
  // set() returned survives a killed process. A null value removes the key.
  virtual void set(const std::string& key, const Json& value) = 0;

  // Removes key. Readers see it absent at once; durability may lag.
  virtual void remove(const std::string& key) = 0;

  // Every stored key, sorted. For diagnostics and the demo.
  virtual std::vector<std::string> keys() = 0;
};

// Generic-password items keyed by (service, account), stored outside every
// app's data directory so they survive deleting the app's data.
class SecureItemBackend {
 public:
  virtual ~SecureItemBackend() = default;

  // Adds an item. Returns false, changing nothing, when an item with the
  // same service and account already exists.
  virtual bool add(const std::string& service, const std::string& account,
                   const std::string& data) = 0;

  // Returns the item's data, or nullopt when there is no such item.
  virtual std::optional<std::string> copyMatching(const std::string& service,
                                                  const std::string& account) = 0;

  // Deletes the item. Returns false when there was none.
  virtual bool remove(const std::string& service, const std::string& account) = 0;

  // (service, account) of every item, sorted. For diagnostics and the demo.
  virtual std::vector<std::pair<std::string, std::string>> items() = 0;
};

}  // namespace qdx
