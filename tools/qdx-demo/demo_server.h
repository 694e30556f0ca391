#pragma once
// The reference server as the demo runs it: a child process started from
// the built qdx-server program, registered with the demo's app id and key,
// journaling to a file the demo prints afterwards.
#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "qdx/QDXTypes.h"

namespace qdx::demo {

class DemoServer {
 public:
  // Starts `binary --port 0 --app ID:KEY --journal FILE` and waits (up to
  // five seconds) for its "listening on 127.0.0.1:PORT" line. Returns
  // nullptr and sets error when it cannot.
  static std::unique_ptr<DemoServer> start(const std::string& binary, std::int64_t appId,
                                           const std::string& appKey, std::string& error);
  // Stops the child (SIGTERM, then waits for it).
  ~DemoServer();

  int port() const { return port_; }
  const std::string& journalPath() const { return journalPath_; }
  // The journal's entries so far, one parsed JSON object per line.
  std::vector<Json> journal() const;

 private:
  DemoServer() = default;
  pid_t pid_ = -1;
  int stdoutFd_ = -1;  // the child's stdout, read for its first line
  int port_ = 0;
  std::string directory_;
  std::string journalPath_;
};

// One line about a journal entry: endpoint, signature verdict, answer
// retcode and the deciphered body.
std::string describeJournalEntry(const Json& entry);

}  // namespace qdx::demo
