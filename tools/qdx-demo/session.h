#pragma once
// A scripted host session, step by step. Each step does something a host
// or its user does, checks what it claims, and leaves a record for the
// gallery: a screenshot, what the host's delegate heard, the store links
// opened, the server journal rows it caused and the cipher trace it wrote.
#include <cstddef>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host_app.h"
#include "common/json.h"
#include "qdx/kit/View.h"
#include "stdout_capture.h"

namespace qdx::demo {

struct StepRecord {
  std::string name;         // "03-banner-bottom": also the screenshot's file name
  std::string title;        // "A banner at the bottom"
  std::string description;  // what was done, in a sentence or two
  std::string screenshot;   // file name in the gallery folder; empty for none
  std::vector<std::string> heard;     // the delegate's lines, in order
  std::vector<std::string> opened;    // store links opened
  std::vector<Json> journal;          // server journal rows
  std::vector<std::string> trace;     // cipher trace lines
  std::vector<std::string> notes;     // what the device keeps, when shown
  std::vector<std::string> passed;    // checks that held
  std::vector<std::string> failures;  // checks that did not
  std::vector<std::string> unchecked; // checks the demo could not make
  double seconds = 0;
};

// Where the server's journal comes from; empty when the server keeps none
// the demo can read.
using JournalSource = std::function<std::vector<Json>()>;

class Session {
 public:
  Session(HostApp& app, JournalSource journal, StdoutCapture& capture, std::string outDir);

  // Starts a step.
  void begin(const std::string& name, const std::string& title, const std::string& description);
  // Records a check of the current step; returns ok.
  bool check(bool ok, const std::string& what);
  // Checks that the step's event reports hold count events of kind (see
  // countEvents), or at least count when atLeast; without a journal, records
  // that it was not checked.
  void checkEvents(int kind, std::size_t count, const std::string& what, bool atLeast = false);
  // Serves the main loop until predicate holds (at most timeoutSeconds).
  bool waitFor(const std::function<bool()>& predicate, double timeoutSeconds = 10);
  // Serves the main loop until the server's journal has been still for a
  // moment: the step's asynchronous reports are in.
  void settle();
  // Renders view (default: the window) at scale 2 as the step's screenshot.
  void screenshot(const std::shared_ptr<kit::View>& view = nullptr);
  // Takes file (in the gallery folder, written by someone else, e.g. a
  // relaunched app) as the step's screenshot when it exists.
  void useScreenshot(const std::string& file);
  // Adds a line to the step's notes (shown as what the device keeps).
  void note(const std::string& line) { current_.notes.push_back(line); }
  // Ends the step: collects its records, checks that the server found every
  // envelope's signature valid, and prints its progress line.
  void end();

  // The journal rows of the current step so far.
  std::vector<Json> stepJournal() const;
  // The current step's rows of endpoint ("reg_dev", "report_event", ...).
  std::vector<Json> stepRows(const std::string& endpoint) const;
  bool hasJournal() const { return static_cast<bool>(journal_); }
  // Whether the step's server-side checks can be made: true with a
  // journal; without one (another server) the step records once that its
  // server-side checks were not made.
  bool serverSide();

  const std::vector<StepRecord>& steps() const { return steps_; }
  bool allPassed() const;
  HostApp& app() { return app_; }

 private:
  std::vector<Json> readJournal() const;

  HostApp& app_;
  JournalSource journal_;
  StdoutCapture& capture_;
  std::string outDir_;
  std::vector<StepRecord> steps_;
  StepRecord current_;
  std::size_t journalStart_ = 0;
  std::size_t heardStart_ = 0;
  std::size_t openedStart_ = 0;
  std::size_t traceStart_ = 0;
  double startedAt_ = 0;
};

// The events of a report_event row's "event_list" whose "sub_type" (or,
// for use time, "type" 2 when subType is -2) matches.
std::size_t countEvents(const std::vector<Json>& rows, int subType);

}  // namespace qdx::demo
