#pragma once
// The process-wide statistics reporter: builds ad, use-time and activation
// events, base-information and crash reports, sends them through the HTTP
// client and, for acknowledged ad events, drops them from the pending list.
//
// An answer acknowledges a report only when its "retcode" reads as the
// integer 0; an answer that is not JSON or has no readable "retcode" is a
// refusal, so nothing pending is lost to a garbled answer.
//
// Synchronous reports block the calling thread for the whole post (up to
// the 10-second time-out): call them off the main thread. Asynchronous
// completions run on the main run loop.
#include <cstdint>
#include <optional>
#include <string>

#include "common/json.h"
#include "common/mutex.h"

namespace qdx {


class QDXHttpRequestProxy {
 public:
  // The one reporter, made on first use.
  static QDXHttpRequestProxy& shareInstance();

  // Request event (sub_type 0), posted synchronously. Starts a session:
  // session_id = now in milliseconds, linked in the local store under
  // "%@%@%ld" of (app_id, adid, adType), a nil id written "(null)". adid and
  // app_id serve only that key; the event carries "" for both.
  void reportRequestEventWithUbit(const std::optional<std::string>& ubit,
                                  const std::optional<std::string>& adid,
                                  const std::optional<std::string>& app_id, std::int64_t adType);
  // Show event (sub_type 1), posted asynchronously, in the session linked
  // to (app_id, adid, adType) (nil when none). The acknowledgement deletes
  // with session_id as it is when the completion runs.
  void reportShowEventWithUbit(const std::optional<std::string>& ubit,
                               const std::optional<std::string>& adid,
                               const std::optional<std::string>& app_id, std::int64_t adType);
  // Click event (sub_type 2): as the show event, posted synchronously.
  void reportClickEventWithUbit(const std::optional<std::string>& ubit,
                                const std::optional<std::string>& adid,
                                const std::optional<std::string>& app_id, std::int64_t adType);
  // Use time, synchronous. A stored "QDX_USE_TIME_EVENT_LIST" group is
  // re-sent instead of a new report; otherwise the period from
  // "QDX_S_TIME" to now is stored there, sent, and removed when
  // acknowledged.
  void reportUseTime();
  // Activation (sub_type 6), synchronous; acknowledged -> keychain
  // "QDX_REPORT_ACTIVE" = true.
  void reportActiveEvent();
  // Base information (empty body), asynchronous; acknowledged -> keychain
  // "QDX_APP_VERSION" = the app's short version.
  void reportBaseInfo();
  // Re-sends every stored pending group, one asynchronous post each; the
  // first acknowledgement removes the whole list (sent or not).
  void reportEvent();
  // Sends a crash record synchronously; a refusal keeps it as a property
  // list file "<Documents>/qdx_sdk_error/<timestamp>.log".
  void reportCrashWithDictionary(const Json& record);

  // The session fields (a nil value is nullopt).
  std::optional<std::string> session_id() const;
  std::optional<std::string> session_key() const;
  void setSession_id(std::optional<std::string> value);
  void setSession_key(std::optional<std::string> value);

  // The event counter's next id: the counter incremented when it is not 0,
  // else firstValue, which then becomes the counter (request 1, show 2,
  // click 3, use time 4, activation 0).
  std::int32_t nextEventId(std::int32_t firstValue);

  // The crash log directory "<home>/Documents/qdx_sdk_error".
  static std::string crashLogDirectory();

 private:
  QDXHttpRequestProxy() = default;
  void reportLinkedEvent(std::int32_t subType, std::int32_t firstId, bool synchronous,
                         const std::optional<std::string>& ubit,
                         const std::optional<std::string>& adid,
                         const std::optional<std::string>& app_id, std::int64_t adType);
  Json sessionIdJson() const;

  // Serialises the session fields and the counter (they are shared by the
  // reporting threads and the main-thread completions).
  mutable Mutex mutex_;
  std::optional<std::string> session_id_ GUARDED_BY(mutex_);
  std::optional<std::string> session_key_ GUARDED_BY(mutex_);
  std::int32_t eventCounter_ GUARDED_BY(mutex_) = 0;
};

// Reads an answer the way every acknowledgement does: the "retcode" of the
// parsed body as an integer; nullopt for no answer, an answer that is not
// a JSON object, or a "retcode" that does not read as an integer.
std::optional<std::int64_t> answerRetcode(const std::optional<std::string>& data);
// The parsed answer when answerRetcode(data) is 0, else nullopt.
std::optional<Json> acknowledgedAnswer(const std::optional<std::string>& data);
// True when acknowledgedAnswer(data) has a value.
bool answerAcknowledged(const std::optional<std::string>& data);

}  // namespace qdx
