#pragma once
// Crash capture. An uncaught C++ exception (caught through the terminate
// handler) becomes a crash record that is sent at once; then the handlers
// are reset and the process ends as it would have without the SDK. A fatal
// signal is handed to the main run loop, which keeps serving events while
// the signalled thread waits: no record is sent for it (deliberately).
#include <atomic>
#include <cstdint>
#include <exception>
#include <string>
#include <vector>

#include "common/json.h"

namespace qdx {

// Crashes handled so far, exceptions and signals together; only ever
// incremented. From the eleventh on, both handlers return at once.
extern std::atomic<std::int32_t> UncaughtExceptionCount;

inline constexpr long UncaughtExceptionMaximum = 10;
inline constexpr long UncaughtExceptionHandlerSkipAddressCount = 4;
inline constexpr long UncaughtExceptionHandlerReportAddressCount = 5;

// The name of an exception made from a signal.
inline constexpr const char UncaughtExceptionHandlerSignalExceptionName[] =
    "UncaughtExceptionHandlerSignalExceptionName";
// User-info key of the signal number (an integer).
inline constexpr const char UncaughtExceptionHandlerSignalKey[] =
    "UncaughtExceptionHandlerSignalKey";
// User-info key of a backtrace (array of strings).
inline constexpr const char UncaughtExceptionHandlerAddressesKey[] =
    "UncaughtExceptionHandlerAddressesKey";

// What the handlers know of a crash.
struct QDXException {
  std::string name;                           // the exception's type, or the signal name above
  std::string reason;                         // what(), or "Signal %d was raised."
  Json userInfo = Json::object();             // the signal number for signals
  std::vector<std::string> callStackSymbols;  // captured where the exception escaped
  std::exception_ptr original;                // the C++ exception, when there is one
};

class QDXExceptionHandler {
 public:
  // Installs HandleException (as the terminate handler) and SignalHandler
  // for SIGABRT, SIGILL, SIGSEGV, SIGFPE, SIGBUS and SIGPIPE, in that
  // order. Call once, on the main thread (it also makes the main run loop
  // watch the pipe that signals are handed over by).
  static void setHandler();

  // The symbols of frames 4 to 8 of the calling stack (skip 4, keep 5);
  // fewer when the stack is shallower.
  static std::vector<std::string> backtrace();

  // Keeps the calling thread's run loop serving events in steps of 0.001 s
  // until dismissed() holds; then resets the handlers and ends the process
  // with the signal (or the exception) that caused the crash.
  void handleException(const QDXException& exception);

  // Builds the record {"ex_st": reason, "ex_msg": the user info's
  // addresses, "timestamp": whole seconds}, sends it and sets dismissed().
  // Without an addresses entry no record can be built: logs and returns
  // (dismissed() stays false).
  void validateAndSaveCriticalApplicationData(const QDXException& exception);

  bool dismissed() const { return dismissed_.load(); }

 private:
  std::atomic<bool> dismissed_{false};
};

// The uncaught-exception handler: counts the crash, sends the record
// {"ex_st": call-stack symbols, "ex_msg": reason, "timestamp": ms}
// synchronously, resets the handlers and ends the process: with the signal
// for a signal exception, else through the previous terminate handler.
void HandleException(const QDXException& exception);

// The signal handler: async-signal-safe. Counts the crash and hands the
// signal to the main run loop, then waits for it there (for good, as
// nothing dismisses the handling). On the main thread the handling runs
// directly.
void SignalHandler(int signal);

// Restores the default terminate behaviour and the six signals' default
// actions.
void resetCrashHandlers();

}  // namespace qdx
