#include "session.h"

#include <unistd.h>

#include <chrono>

#include "common/json_access.h"
#include "qdx/RunLoop.h"
#include "qdx/kit/Renderer.h"

namespace qdx::demo {

namespace {

double monotonicSeconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

template <typename T>
std::vector<T> from(const std::vector<T>& all, std::size_t start) {
  if (start >= all.size()) return {};
  return std::vector<T>(all.begin() + static_cast<std::ptrdiff_t>(start), all.end());
}

}  // namespace

Session::Session(HostApp& app, JournalSource journal, StdoutCapture& capture, std::string outDir)
    : app_(app), journal_(std::move(journal)), capture_(capture), outDir_(std::move(outDir)) {}

std::vector<Json> Session::readJournal() const { return journal_ ? journal_() : std::vector<Json>{}; }

void Session::begin(const std::string& name, const std::string& title,
                    const std::string& description) {
  current_ = StepRecord{};
  current_.name = name;
  current_.title = title;
  current_.description = description;
  journalStart_ = readJournal().size();
  heardStart_ = app_.delegate()->lines().size();
  openedStart_ = app_.openedURLs().size();
  traceStart_ = capture_.mark();
  startedAt_ = monotonicSeconds();
}

bool Session::check(bool ok, const std::string& what) {
  (ok ? current_.passed : current_.failures).push_back(what);
  return ok;
}

bool Session::serverSide() {
  if (hasJournal()) return true;
  const std::string why = "server-side checks: not checked: another server";
  if (current_.unchecked.empty()) current_.unchecked.push_back(why);
  return false;
}

void Session::checkEvents(int kind, std::size_t count, const std::string& what, bool atLeast) {
  if (!serverSide()) return;
  const std::size_t found = countEvents(stepRows("report_event"), kind);
  check(atLeast ? found >= count : found == count, what);
}

bool Session::waitFor(const std::function<bool()>& predicate, double timeoutSeconds) {
  return RunLoop::main().runUntil(predicate, timeoutSeconds);
}

void Session::settle() {
  // Short quiet periods of the journal and the delegate; at most 3 s.
  std::size_t rows = readJournal().size();
  std::size_t heard = app_.delegate()->lines().size();
  const double deadline = monotonicSeconds() + 3;
  int quiet = 0;
  while (quiet < 3 && monotonicSeconds() < deadline) {
    RunLoop::main().runFor(0.05);
    const std::size_t nowRows = readJournal().size();
    const std::size_t nowHeard = app_.delegate()->lines().size();
    quiet = nowRows == rows && nowHeard == heard ? quiet + 1 : 0;
    rows = nowRows;
    heard = nowHeard;
  }
}

void Session::screenshot(const std::shared_ptr<kit::View>& view) {
  const std::string file = current_.name + ".png";
  const bool written = kit::writePng(view ? view : app_.window(), outDir_ + "/" + file, 2);
  if (check(written, "the screenshot was written")) current_.screenshot = file;
}

void Session::useScreenshot(const std::string& file) {
  const bool exists = ::access((outDir_ + "/" + file).c_str(), R_OK) == 0;
  if (check(exists, "the screenshot was written")) current_.screenshot = file;
}

std::vector<Json> Session::stepJournal() const { return from(readJournal(), journalStart_); }

std::vector<Json> Session::stepRows(const std::string& endpoint) const {
  std::vector<Json> rows;
  for (Json& row : stepJournal()) {
    if (json::member(row, "endpoint") == endpoint) rows.push_back(std::move(row));
  }
  return rows;
}

void Session::end() {
  current_.journal = stepJournal();
  std::size_t posts = 0, valid = 0;
  for (const Json& row : current_.journal) {
    if (json::member(row, "method") != "POST") continue;
    ++posts;
    if (json::member(row, "signature") == "valid") ++valid;
  }
  if (posts > 0) check(valid == posts, "the server found every envelope's signature valid");
  current_.heard = from(app_.delegate()->lines(), heardStart_);
  current_.opened = from(app_.openedURLs(), openedStart_);
  current_.trace = capture_.linesBetween(traceStart_, capture_.mark());
  current_.seconds = monotonicSeconds() - startedAt_;
  // Another server's requests are not seen: say so rather than "0".
  const std::string requests = hasJournal()
                                   ? std::to_string(current_.journal.size()) + " requests"
                                   : "requests unseen";
  std::fprintf(capture_.console(), "%-4s %-44s %5.2f s  %s, %zu delegate calls\n",
               current_.failures.empty() ? "ok" : "FAIL", current_.title.c_str(),
               current_.seconds, requests.c_str(), current_.heard.size());
  for (const std::string& failure : current_.failures) {
    std::fprintf(capture_.console(), "       check failed: %s\n", failure.c_str());
  }
  for (const std::string& unchecked : current_.unchecked) {
    std::fprintf(capture_.console(), "       %s\n", unchecked.c_str());
  }
  steps_.push_back(std::move(current_));
  current_ = StepRecord{};
}

bool Session::allPassed() const {
  for (const StepRecord& step : steps_) {
    if (!step.failures.empty()) return false;
  }
  return true;
}

std::size_t countEvents(const std::vector<Json>& rows, int subType) {
  std::size_t n = 0;
  for (const Json& row : rows) {
    const Json& list = json::member(json::member(row, "body"), "event_list");
    if (!list.is_array()) continue;
    for (const Json& event : list) {
      const bool match = subType == -2 ? json::member(event, "type") == 2 &&
                                             json::member(event, "sub_type").is_null()
                                       : json::member(event, "sub_type") == subType;
      if (match) ++n;
    }
  }
  return n;
}

}  // namespace qdx::demo
