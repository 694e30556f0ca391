#include "reporting/QDXExceptionHandler.h"

#include <cxxabi.h>
#include <execinfo.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <mutex>

#include "common/time_format.h"
#include "platform/env.h"
#include "qdx/RunLoop.h"
#include "reporting/QDXHttpRequestProxy.h"
#include "sdk/QDXLog.h"

namespace qdx {

std::atomic<std::int32_t> UncaughtExceptionCount{0};

namespace {

constexpr int kCrashSignals[] = {SIGABRT, SIGILL, SIGSEGV, SIGFPE, SIGBUS, SIGPIPE};
constexpr int kMaxFrames = 128;

// The terminate handler that was in place before ours (the runtime's).
std::terminate_handler previousTerminate = nullptr;

// Signals reach the main run loop through requestPipe; the signalled
// thread then waits on ackPipe. Both are plain descriptors so that the
// signal handler only uses write(2) and read(2).
int requestPipe[2] = {-1, -1};
int ackPipe[2] = {-1, -1};

bool onProcessMainThread() { return ::syscall(SYS_gettid) == ::getpid(); }

std::string demangle(const char* mangled) {
  if (!mangled) return "";
  int status = 0;
  std::unique_ptr<char, void (*)(void*)> readable(
      abi::__cxa_demangle(mangled, nullptr, nullptr, &status), std::free);
  return status == 0 && readable ? std::string(readable.get()) : std::string(mangled);
}

std::vector<std::string> symbolsOfFrames(std::size_t first, std::size_t count) {
  void* addresses[kMaxFrames];
  const int captured = ::backtrace(addresses, kMaxFrames);
  std::vector<std::string> symbols;
  if (captured <= 0) return symbols;
  std::unique_ptr<char*, void (*)(void*)> names(::backtrace_symbols(addresses, captured),
                                                std::free);
  if (!names) return symbols;
  for (std::size_t i = first; i < first + count && i < static_cast<std::size_t>(captured); ++i) {
    symbols.emplace_back(names.get()[i]);
  }
  return symbols;
}

// Ends the process as the runtime would have for an uncaught exception.
[[noreturn]] void endAsWithoutHandler() {
  std::terminate_handler handler = std::get_terminate();
  if (handler) handler();
  std::abort();
}

void sendSignalToSelf(const QDXException& exception) {
  auto signal = exception.userInfo.find(UncaughtExceptionHandlerSignalKey);
  if (signal == exception.userInfo.end() || !signal->is_number_integer()) return;
  ::kill(::getpid(), signal->get<int>());
}

QDXException exceptionFromSignal(int signal) {
  QDXException exception;
  exception.name = UncaughtExceptionHandlerSignalExceptionName;
  exception.reason = "Signal " + std::to_string(signal) + " was raised.";
  exception.userInfo = Json::object();
  exception.userInfo[UncaughtExceptionHandlerSignalKey] = signal;
  return exception;
}

// Runs on the main thread: the signal's handling, which keeps the run loop
// turning until dismissed.
void handleSignalOnMainThread(int signal) {
  auto handler = std::make_shared<QDXExceptionHandler>();
  handler->handleException(exceptionFromSignal(signal));
}

void onSignalHandedOver() {
  int signal = 0;
  ssize_t got = ::read(requestPipe[0], &signal, sizeof signal);
  if (got != static_cast<ssize_t>(sizeof signal)) return;
  handleSignalOnMainThread(signal);
  char ack = 1;
  ssize_t ignored = ::write(ackPipe[1], &ack, 1);
  (void)ignored;
}

void terminateHandler() {
  std::exception_ptr current = std::current_exception();
  if (current) {
    QDXException exception;
    exception.original = current;
    exception.callStackSymbols = symbolsOfFrames(0, kMaxFrames);
    try {
      std::rethrow_exception(current);
    } catch (const std::exception& e) {
      exception.name = demangle(typeid(e).name());
      exception.reason = e.what();
    } catch (...) {
      const std::type_info* type = abi::__cxa_current_exception_type();
      exception.name = demangle(type ? type->name() : nullptr);
    }
    HandleException(exception);
  }
  // Reached when the crash was not ours to handle (too many crashes, or
  // terminate without an exception): end the way the runtime would.
  resetCrashHandlers();
  endAsWithoutHandler();
}

}  // namespace

void resetCrashHandlers() {
  std::set_terminate(previousTerminate);
  for (int signal : kCrashSignals) ::signal(signal, SIG_DFL);
}

void QDXExceptionHandler::setHandler() {
  static std::once_flag once;
  std::call_once(once, [] {
    previousTerminate = std::get_terminate();
    if (::pipe2(requestPipe, O_CLOEXEC) != 0 || ::pipe2(ackPipe, O_CLOEXEC) != 0) {
      debugLog("crash capture: no pipe for signals");
      return;
    }
    RunLoop::main().watchReadable(requestPipe[0], onSignalHandedOver);
  });
  std::set_terminate(terminateHandler);
  for (int signal : kCrashSignals) ::signal(signal, SignalHandler);
}

std::vector<std::string> QDXExceptionHandler::backtrace() {
  return symbolsOfFrames(UncaughtExceptionHandlerSkipAddressCount,
                         UncaughtExceptionHandlerReportAddressCount);
}

void QDXExceptionHandler::handleException(const QDXException& exception) {
  RunLoop& loop = RunLoop::current();
  const std::vector<std::string> modes = loop.modes();
  const std::size_t rounds = modes.empty() ? 1 : modes.size();
  while (!dismissed_.load()) {
    for (std::size_t i = 0; i < rounds; ++i) loop.runOnce(0.001, false);
  }
  resetCrashHandlers();
  if (exception.name == UncaughtExceptionHandlerSignalExceptionName) {
    sendSignalToSelf(exception);
    return;
  }
  endAsWithoutHandler();
}

void QDXExceptionHandler::validateAndSaveCriticalApplicationData(const QDXException& exception) {
  auto addresses = exception.userInfo.find(UncaughtExceptionHandlerAddressesKey);
  if (!exception.userInfo.is_object() || addresses == exception.userInfo.end() ||
      addresses->is_null()) {
    debugLog("crash record not built: the exception has no UncaughtExceptionHandlerAddressesKey");
    return;
  }
  Json record = Json::object();
  record["ex_st"] = exception.reason;
  record["ex_msg"] = *addresses;
  record["timestamp"] = wholeSeconds(Env::Default()->now());
  QDXHttpRequestProxy::shareInstance().reportCrashWithDictionary(record);
  dismissed_.store(true);
}

void HandleException(const QDXException& exception) {
  if (UncaughtExceptionCount.fetch_add(1) + 1 >= UncaughtExceptionMaximum + 1) return;

  // Kept as the handler always did: the copy with the addresses is not
  // used further.
  Json userInfo = exception.userInfo.is_object() ? exception.userInfo : Json::object();
  userInfo[UncaughtExceptionHandlerAddressesKey] = QDXExceptionHandler::backtrace();

  Json record = Json::object();
  record["ex_st"] = exception.callStackSymbols;
  record["ex_msg"] = exception.reason;
  record["timestamp"] = static_cast<std::int64_t>(Env::Default()->now() * 1000.0);
  try {
    QDXHttpRequestProxy::shareInstance().reportCrashWithDictionary(record);
  } catch (...) {
    // Nothing may escape a crash handler.
  }

  resetCrashHandlers();
  if (exception.name == UncaughtExceptionHandlerSignalExceptionName) {
    sendSignalToSelf(exception);
    return;
  }
  endAsWithoutHandler();
}

void SignalHandler(int signal) {
  const int savedErrno = errno;
  if (UncaughtExceptionCount.fetch_add(1) + 1 > UncaughtExceptionMaximum) {
    errno = savedErrno;
    return;
  }
  // The backtrace the handler would put beside the signal number is
  // dropped unused, so it is not taken here: backtrace() is not
  // async-signal-safe.
  if (onProcessMainThread() || requestPipe[1] < 0) {
    // On the main thread the handling runs directly, as the main queue is
    // this very thread.
    handleSignalOnMainThread(signal);
    errno = savedErrno;
    return;
  }
  ssize_t written = ::write(requestPipe[1], &signal, sizeof signal);
  if (written == static_cast<ssize_t>(sizeof signal)) {
    char ack = 0;
    while (::read(ackPipe[0], &ack, 1) < 0 && errno == EINTR) {
    }
  }
  errno = savedErrno;
}

}  // namespace qdx
