#pragma once
// The SDK writes a trace of its cipher to standard output, one character at
// a time. The demo keeps that trace apart from its own progress lines: it
// points standard output at a file for the session, writes its progress to
// the terminal's original standard output, and reads the trace back per
// step for the gallery.
#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

namespace qdx::demo {

class StdoutCapture {
 public:
  // Redirects standard output (file descriptor 1) into path. False, with
  // nothing changed, when the file cannot be made.
  bool begin(const std::string& path);
  // Puts the original standard output back. Also done by the destructor.
  void end();
  ~StdoutCapture();

  // Where the demo's own lines go: the original standard output while
  // capturing, else stdout.
  std::FILE* console() const { return console_ != nullptr ? console_ : stdout; }

  // How many bytes were captured so far (after flushing every stream).
  std::size_t mark() const;
  // The captured lines from byte offset from to offset to.
  std::vector<std::string> linesBetween(std::size_t from, std::size_t to) const;

 private:
  std::string path_;
  int savedFd_ = -1;
  std::FILE* console_ = nullptr;
};

}  // namespace qdx::demo
