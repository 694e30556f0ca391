#include "reporting/QDXHttpRequestProxy.h"


#include "common/json_access.h"
#include "common/time_format.h"
#include "identity/QDXAppInfo.h"
#include "identity/QDXKeyChain.h"
#include "platform/env.h"
#include "reporting/QDXEvent.h"
#include "common/no_throw.h"
#include "reporting/property_list_file.h"
#include "sdk/QDXLog.h"
#include "sdk/QDXUserDefaults.h"
#include "transport/QDXApiBase.h"
#include "transport/QDXDictionaryAndJSON.h"
#include "transport/QDXHttpClient.h"
#include "sdk/store_keys.h"

namespace qdx {

namespace {

Json parsedAnswer(const std::optional<std::string>& data) {
  return QDXDictionaryAndJSON::objectFromJsonData(data);
}

std::string nowMillis() { return millisString(Env::Default()->now()); }

Json toJson(const std::optional<std::string>& value) { return value ? Json(*value) : Json(); }

}  // namespace

std::optional<std::int64_t> answerRetcode(const std::optional<std::string>& data) {
  if (!data || data->empty()) return std::nullopt;
  return json::integerMember(parsedAnswer(data), "retcode");
}

bool answerAcknowledged(const std::optional<std::string>& data) { return acknowledgedAnswer(data).has_value(); }

std::optional<Json> acknowledgedAnswer(const std::optional<std::string>& data) {
  if (!data || data->empty()) return std::nullopt;
  Json answer = parsedAnswer(data);
  if (json::integerMember(answer, "retcode") != 0) return std::nullopt;
  return answer;
}

namespace {

// Posts body to url synchronously. Returns the parsed answer when the server
// acknowledged it ("retcode" reading as 0); nullopt for no answer or any
// other answer.
std::optional<Json> postAndAcknowledge(const std::string& url, const Json& body) {
  return acknowledgedAnswer(QDXHttpClient::shareHttpClient().synPostUseConnectionWithURL(url, body));
}

}  // namespace

QDXHttpRequestProxy& QDXHttpRequestProxy::shareInstance() {
  // Never destroyed: completions and crash handlers may run during exit.
  static QDXHttpRequestProxy* instance = new QDXHttpRequestProxy();
  return *instance;
}

std::optional<std::string> QDXHttpRequestProxy::session_id() const {
  MutexLock lock(mutex_);
  return session_id_;
}

std::optional<std::string> QDXHttpRequestProxy::session_key() const {
  MutexLock lock(mutex_);
  return session_key_;
}

void QDXHttpRequestProxy::setSession_id(std::optional<std::string> value) {
  MutexLock lock(mutex_);
  session_id_ = std::move(value);
}

void QDXHttpRequestProxy::setSession_key(std::optional<std::string> value) {
  MutexLock lock(mutex_);
  session_key_ = std::move(value);
}

Json QDXHttpRequestProxy::sessionIdJson() const { return toJson(session_id()); }

std::int32_t QDXHttpRequestProxy::nextEventId(std::int32_t firstValue) {
  MutexLock lock(mutex_);
  if (eventCounter_ != 0) return ++eventCounter_;
  eventCounter_ = firstValue;
  return firstValue;
}

std::string QDXHttpRequestProxy::crashLogDirectory() {
  return Env::Default()->homeDirectory() + "/Documents/qdx_sdk_error";
}

void QDXHttpRequestProxy::reportRequestEventWithUbit(const std::optional<std::string>& ubit,
                                                     const Json& adid, const Json& app_id,
                                                     std::int64_t adType) {
  noThrow("request event", [&] {
    QDXEvent event;
    event.ubit = ubit;
    event.adid = "";
    event.to_appid = "";
    event.adtype = adType;
    const Json eventId = nextEventId(1);
    event.event_id = eventId;

    const std::string sessionId = nowMillis();
    const std::string sessionKey = keys::sessionLinkKey(app_id, adid, adType);
    {
      MutexLock lock(mutex_);
      session_id_ = sessionId;
      session_key_ = sessionKey;
    }
    QDXUserDefaults::saveToLocal(sessionId, sessionKey);

    event.type = 1;
    event.sub_type = 0;
    const Json dic = event.getEventDictinary();
    const Json group = event.getEventListDictionary(sessionId, dic, eventId);

    if (std::optional<Json> answer = postAndAcknowledge(endpointURL(endpoints::kReportEvent), group)) {
      debugLog("请求事件" + json::describe(*answer));
      event.deleteEventOfSuccessReport(sessionId, dic, eventId);
    }
  });
}

void QDXHttpRequestProxy::reportLinkedEvent(std::int32_t subType, std::int32_t firstId,
                                            bool synchronous,
                                            const std::optional<std::string>& ubit,
                                            const Json& adid, const Json& app_id,
                                            std::int64_t adType) {
  QDXEvent event;
  event.ubit = ubit;
  event.adid = adid;
  event.to_appid = app_id;
  event.adtype = adType;
  const Json eventId = nextEventId(firstId);
  event.event_id = eventId;

  const std::optional<std::string> linked =
      json::asString(QDXUserDefaults::getObjectFromLocal(keys::sessionLinkKey(app_id, adid, adType)));
  setSession_id(linked);
  const Json sessionId = toJson(linked);

  event.type = 1;
  event.sub_type = subType;
  const Json dic = event.getEventDictinary();
  const Json group = event.getEventListDictionary(sessionId, dic, eventId);
  const std::string url = endpointURL(endpoints::kReportEvent);
  const char* successText = subType == 1 ? "展示成功" : "点击成功";

  if (synchronous) {
    if (std::optional<Json> answer = postAndAcknowledge(url, group)) {
      debugLog(successText + json::describe(*answer));
      event.deleteEventOfSuccessReport(sessionId, dic, eventId);
    }
    return;
  }
  QDXHttpClient::shareHttpClient().asyPostWithURL(
      url, group,
      [this, event, dic, eventId, successText](const std::string& data, const QDXURLResponse&,
                                               const std::optional<std::string>&) {
        const std::optional<Json> answer = acknowledgedAnswer(data);
        if (!answer) return;
        debugLog(successText + json::describe(*answer));
        // The session as it is now: a later report may have moved it.
        event.deleteEventOfSuccessReport(sessionIdJson(), dic, eventId);
      });
}

void QDXHttpRequestProxy::reportShowEventWithUbit(const std::optional<std::string>& ubit,
                                                  const Json& adid, const Json& app_id,
                                                  std::int64_t adType) {
  noThrow("show event",
          [&] { reportLinkedEvent(1, 2, /*synchronous=*/false, ubit, adid, app_id, adType); });
}

void QDXHttpRequestProxy::reportClickEventWithUbit(const std::optional<std::string>& ubit,
                                                   const Json& adid, const Json& app_id,
                                                   std::int64_t adType) {
  noThrow("click event",
          [&] { reportLinkedEvent(2, 3, /*synchronous=*/true, ubit, adid, app_id, adType); });
}

void QDXHttpRequestProxy::reportUseTime() {
  noThrow("use-time report", [&] {
    QDXEvent event;
    const Json eventId = nextEventId(4);
    event.event_id = eventId;

    const std::optional<std::string> key = session_key();
    std::optional<std::string> sessionId;
    if (key) {
      sessionId = json::asString(QDXUserDefaults::getObjectFromLocal(*key));
    } else {
      const std::string runStampKey =
          keys::runStampKey(json::describe(QDXUserDefaults::getObjectFromLocal(keys::kAppId)));
      sessionId = json::asString(QDXUserDefaults::getObjectFromLocal(runStampKey));
      debugLog("self.session_id 无效，没有请求事件");
    }
    setSession_id(sessionId);
    const Json sessionJson = toJson(sessionId);
    const std::string url = endpointURL(endpoints::kReportEvent);

    const Json stored = QDXUserDefaults::getObjectFromLocal(keys::kUseTimeEventList);
    if (!stored.is_null()) {
      if (postAndAcknowledge(url, stored)) {
        QDXUserDefaults::removeObjectFromLocal(keys::kUseTimeEventList);
      }
      return;
    }

    const Json dic = event.getUseTimeDictinary();
    const Json group = event.getEventListDictionary(sessionJson, dic, eventId);
    QDXUserDefaults::saveToLocal(group, keys::kUseTimeEventList);
    if (std::optional<Json> answer = postAndAcknowledge(url, group)) {
      debugLog("用户时长" + json::describe(*answer));
      event.deleteEventOfSuccessReport(sessionJson, dic, eventId);
      QDXUserDefaults::removeObjectFromLocal(keys::kUseTimeEventList);
    }
  });
}

void QDXHttpRequestProxy::reportActiveEvent() {
  noThrow("activation report", [&] {
    QDXEvent event;
    event.sub_type = 6;
    const Json eventId = nextEventId(0);
    event.event_id = eventId;

    const std::string sessionId = nowMillis();
    setSession_id(sessionId);
    const Json dic = event.getEventDictinary();
    const Json group = event.getEventListDictionary(sessionId, dic, eventId);

    if (std::optional<Json> answer = postAndAcknowledge(endpointURL(endpoints::kReportEvent), group)) {
      debugLog("激活成功" + json::describe(*answer));
      QDXKeyChain::saveUniqueStrWithName(keys::kReportActive, true);
    }
  });
}

void QDXHttpRequestProxy::reportBaseInfo() {
  noThrow("base-information report", [&] {
    QDXHttpClient::shareHttpClient().asyPostWithURL(
        endpointURL(endpoints::kReportBaseInfo), Json::object(),
        [](const std::string& data, const QDXURLResponse&,
           const std::optional<std::string>& error) {
          if (error) {
            debugLog("上报基本信息失败:" + *error);
            return;
          }
          if (data.empty()) return;
          const Json answer = parsedAnswer(data);
          debugLog("基本信息上报" + json::describe(answer));
          if (json::integerMember(answer, "retcode") != 0) return;
          QDXKeyChain::saveUniqueStrWithName(keys::kReportedAppVersion, QDXAppInfo::bundleShortVersion());
        });
  });
}

void QDXHttpRequestProxy::reportEvent() {
  noThrow("pending-event resend", [&] {
    const Json list = QDXUserDefaults::getObjectFromLocal(keys::kReportEventList);
    if (!list.is_array()) return;
    const std::string url = endpointURL(endpoints::kReportEvent);
    for (const Json& stored : list) {
      std::optional<std::string> text = json::asString(stored);
      const Json group = text ? QDXDictionaryAndJSON::dictionaryFromJsonString(*text) : Json();
      QDXHttpClient::shareHttpClient().asyPostWithURL(
          url, group,
          [](const std::string& data, const QDXURLResponse&, const std::optional<std::string>&) {
            if (data.empty() || !answerAcknowledged(data)) return;
            // One acknowledgement clears every pending group, sent or not.
            QDXUserDefaults::removeObjectFromLocal(keys::kReportEventList);
          });
    }
  });
}

void QDXHttpRequestProxy::reportCrashWithDictionary(const Json& record) {
  noThrow("crash report", [&] {
    std::optional<std::string> answer =
        QDXHttpClient::shareHttpClient().synPostUseConnectionWithURL(
            endpointURL(endpoints::kErrorLogReport), record);
    if (!answer) {
      debugLog("异常信息 return nil");
      return;
    }
    if (answerAcknowledged(answer)) return;
    debugLog("异常信息已写入本地");
    const std::string directory = crashLogDirectory();
    Env* env = Env::Default();
    env->createDirectories(directory);
    const std::string path =
        directory + "/" + json::describe(json::member(record, "timestamp")) + ".log";
    env->writeFileAtomically(path, "");  // made empty first, then filled
    if (!writePropertyListDictionary(record, path)) {
      debugLog("The crash log " + path + " could not be written");
    }
  });
}

}  // namespace qdx
