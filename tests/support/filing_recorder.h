#pragma once
// Notes every event the SDK files for later sending, so that a test can
// check afterwards that each one reached the server or is still pending,
// even across killed processes. It wraps the installed Env (normally a
// TestEnv), installs itself in its place for its lifetime, and watches the
// local store: each event found in a value written under the pending-event
// list or the use-time list is appended, as one line of JSON, to a file.
// The line is written after the store's set() returned, so an event noted
// was filed for certain (a kill between the two loses the note, never
// invents one).
#include <fcntl.h>
#include <unistd.h>

#include <fstream>
#include <set>
#include <string>
#include <utility>

#include "common/json.h"
#include "common/json_access.h"
#include "platform/env_wrapper.h"
#include "sdk/store_keys.h"

namespace qdx {

// One event as comparable text: keys sorted, whatever order it was built
// or parsed in.
inline std::string canonicalEvent(const Json& event) {
  return nlohmann::json::parse(event.dump(-1, ' ', false, Json::error_handler_t::replace), nullptr,
                               false)
      .dump();
}

// The events of one event group ({"id": ..., "event_list": [...]}).
template <typename Visit>
void forEachEventOfGroup(const Json& group, Visit visit) {
  const Json& list = json::member(group, "event_list");
  if (!list.is_array()) return;
  for (const Json& event : list) visit(event);
}

// The events of a value stored under the pending-event list (an array of
// group texts) or the use-time list (one group, or its text).
template <typename Visit>
void forEachStoredEvent(const Json& value, Visit visit) {
  auto group = [&](const Json& item) {
    if (item.is_string()) {
      forEachEventOfGroup(Json::parse(item.get<std::string>(), nullptr, false), visit);
    } else {
      forEachEventOfGroup(item, visit);
    }
  };
  if (value.is_array()) {
    for (const Json& item : value) group(item);
  } else {
    group(value);
  }
}

class FilingRecorderEnv : public EnvWrapper {
 public:
  // Wraps and replaces the Env installed now; notes filed events in
  // notesPath (appended to: a restarted process adds to an earlier one's).
  explicit FilingRecorderEnv(const std::string& notesPath)
      : EnvWrapper(Env::Default()), store_(EnvWrapper::localStore(), notesPath) {
    Env::Install(this);
  }
  ~FilingRecorderEnv() override {
    if (Env::Default() == this) Env::Install(target());
  }
  FilingRecorderEnv(const FilingRecorderEnv&) = delete;
  FilingRecorderEnv& operator=(const FilingRecorderEnv&) = delete;

  KeyValueBackend& localStore() override { return store_; }

  // Every event noted in notesPath so far, canonical (see canonicalEvent).
  static std::set<std::string> notedEvents(const std::string& notesPath) {
    std::set<std::string> events;
    std::ifstream in(notesPath);
    std::string line;
    while (std::getline(in, line)) {
      if (!line.empty()) events.insert(line);
    }
    return events;
  }

 private:
  class RecordingStore : public KeyValueBackend {
   public:
    RecordingStore(KeyValueBackend& target, const std::string& notesPath)
        : target_(target),
          fd_(::open(notesPath.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600)) {}
    ~RecordingStore() override {
      if (fd_ >= 0) ::close(fd_);
    }
    Json get(const std::string& key) override { return target_.get(key); }
    void set(const std::string& key, const Json& value) override {
      target_.set(key, value);
      if (key != keys::kReportEventList && key != keys::kUseTimeEventList) return;
      std::string lines;
      forEachStoredEvent(value, [&](const Json& event) { lines += canonicalEvent(event) + "\n"; });
      // One write per value: with O_APPEND it lands whole.
      if (fd_ >= 0 && !lines.empty()) {
        ssize_t ignored = ::write(fd_, lines.data(), lines.size());
        (void)ignored;
      }
    }
    void remove(const std::string& key) override { target_.remove(key); }
    std::vector<std::string> keys() override { return target_.keys(); }

   private:
    KeyValueBackend& target_;
    int fd_;
  };

  RecordingStore store_;
};

}  // namespace qdx
