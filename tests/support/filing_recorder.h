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
//
// Given a second path and a way to read the reporter's current session, it
// also notes every event that leaves the pending list, and how: the whole
// list removed ("list cleared"), its one-event group of the reporter's
// current session dropped ("one-event group deleted"), or anything else
// ("changed otherwise"). An event lost to a kill can then be traced to the removal
// that made it unrecoverable. Those lines are written before the store
// changes, so a removal that happened is always noted.
#include <fcntl.h>
#include <unistd.h>

#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "common/json.h"
#include "common/json_access.h"
#include "platform/env_wrapper.h"
#include "sdk/store_keys.h"
#include "support/growing_lines.h"

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
  // With removalsPath, also notes in it each event leaving the pending
  // list; currentSession reads the reporter's session id as it is then.
  using SessionReader = std::function<Json()>;
  explicit FilingRecorderEnv(const std::string& notesPath, const std::string& removalsPath = "",
                             SessionReader currentSession = nullptr)
      : EnvWrapper(Env::Default()),
        store_(EnvWrapper::localStore(), notesPath, removalsPath, std::move(currentSession)) {
    Env::Install(this);
  }
  ~FilingRecorderEnv() override {
    if (Env::Default() == this) Env::Install(target());
  }
  FilingRecorderEnv(const FilingRecorderEnv&) = delete;
  FilingRecorderEnv& operator=(const FilingRecorderEnv&) = delete;

  KeyValueBackend& localStore() override { return store_; }

  // Every event noted in notesPath so far, canonical (see canonicalEvent).
  static std::set<std::string> notedEvents(const std::string& notesPath);

  private:
  class RecordingStore : public KeyValueBackend {
   public:
    RecordingStore(KeyValueBackend& target, const std::string& notesPath,
                   const std::string& removalsPath, SessionReader currentSession)
        : target_(target),
          currentSession_(std::move(currentSession)),
          fd_(openForAppend(notesPath)),
          removalsFd_(removalsPath.empty() ? -1 : openForAppend(removalsPath)) {}
    ~RecordingStore() override {
      if (fd_ >= 0) ::close(fd_);
      if (removalsFd_ >= 0) ::close(removalsFd_);
    }
    Json get(const std::string& key) override { return target_.get(key); }
    void set(const std::string& key, const Json& value) override {
      // The comparison with the value replaced needs the two to be one step.
      std::lock_guard<std::mutex> lock(mutex_);
      if (key == keys::kReportEventList) noteRemovals(target_.get(key), value);
      target_.set(key, value);
      if (key != keys::kReportEventList && key != keys::kUseTimeEventList) return;
      // One write per value, with O_APPEND. A kill can still cut one short;
      // the newline it starts with ends such a torn line, so the next
      // process's notes start on a line of their own.
      std::string lines = "\n";
      forEachStoredEvent(value, [&](const Json& event) { lines += canonicalEvent(event) + "\n"; });
      if (fd_ >= 0 && lines.size() > 1) {
        ssize_t ignored = ::write(fd_, lines.data(), lines.size());
        (void)ignored;
      }
    }
    void remove(const std::string& key) override {
      std::lock_guard<std::mutex> lock(mutex_);
      if (key == keys::kReportEventList) noteRemovals(target_.get(key), Json());
      target_.remove(key);
    }
    std::vector<std::string> keys() override { return target_.keys(); }

   private:
    static int openForAppend(const std::string& path) {
      return ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    }

    // Notes the events of the pending list before that after lacks (after
    // null: the list removed).
    void noteRemovals(const Json& before, const Json& after) {
      if (removalsFd_ < 0 || !before.is_array()) return;
      const Json session = currentSession_ ? currentSession_() : Json();
      std::set<std::string> kept;
      std::set<std::string> keptGroups;
      if (after.is_array()) {
        forEachStoredEvent(after, [&](const Json& event) { kept.insert(canonicalEvent(event)); });
        for (const Json& group : after) keptGroups.insert(group.dump());
      }
      std::map<std::string, std::string> gone;  // event -> how
      for (const Json& group : before) {
        const Json parsed =
            group.is_string() ? Json::parse(group.get<std::string>(), nullptr, false) : group;
        std::vector<std::string> events;
        forEachEventOfGroup(parsed, [&](const Json& event) { events.push_back(canonicalEvent(event)); });
        const bool groupDropped = !keptGroups.count(group.dump());
        for (const std::string& event : events) {
          if (kept.count(event)) continue;
          std::string how = "changed otherwise";
          if (after.is_null()) {
            how = "list cleared";
          } else if (groupDropped && events.size() == 1 && !session.is_null() &&
                     json::member(parsed, "id") == session) {
            how = "one-event group deleted";
          }
          // An event in several groups is noted by its worst departure.
          auto [at, added] = gone.emplace(event, how);
          if (!added && how == "changed otherwise") at->second = how;
        }
      }
      std::string lines = "\n";  // ends a line a kill cut short, as above
      for (const auto& [event, how] : gone) {
        Json note = Json::object();
        note["event"] = event;
        note["how"] = how;
        lines += note.dump() + "\n";
      }
      if (lines.size() > 1) {
        ssize_t ignored = ::write(removalsFd_, lines.data(), lines.size());
        (void)ignored;
      }
    }

    KeyValueBackend& target_;
    SessionReader currentSession_;
    int fd_;
    int removalsFd_;
    std::mutex mutex_;
  };

  RecordingStore store_;
};

// What the recorders of a run of processes noted, read as the files grow:
// each update() reads only the lines added since the last.
class FilingNotes {
 public:
  explicit FilingNotes(const std::string& notesPath, const std::string& removalsPath = "")
      : notes_(notesPath), removalLines_(removalsPath) {}

  // Reads what was added since the last update, up to the given lengths of
  // the two files (by default, to their ends).
  void update(std::size_t notesEnd = std::string::npos,
              std::size_t removalsEnd = std::string::npos) {
    for (std::string& line : notes_.next(notesEnd)) {
      // A note a kill cut short is no event: skipped.
      if (Json::parse(line, nullptr, false).is_object()) filed_.insert(std::move(line));
    }
    for (const std::string& line : removalLines_.next(removalsEnd)) {
      const Json note = Json::parse(line, nullptr, false);
      if (!note.is_object()) continue;
      removals_[note.value("event", "")].insert(note.value("how", ""));
    }
  }

  // Every event filed, canonical (see canonicalEvent).
  const std::set<std::string>& filed() const { return filed_; }
  // How each event left the pending list: canonical event -> every way it
  // left ("list cleared", "one-event group deleted", "changed otherwise").
  const std::map<std::string, std::set<std::string>>& removals() const { return removals_; }

 private:
  GrowingLines notes_;
  GrowingLines removalLines_;
  std::set<std::string> filed_;
  std::map<std::string, std::set<std::string>> removals_;
};

inline std::set<std::string> FilingRecorderEnv::notedEvents(const std::string& notesPath) {
  FilingNotes notes(notesPath);
  notes.update();
  return notes.filed();
}

}  // namespace qdx
