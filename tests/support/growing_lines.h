#pragma once
// Reads a file that other processes append lines to, a piece at a time:
// each call hands over only the lines completed since the last, so a
// reader polling a growing log costs what was added, not the whole file.
// A last line without its newline (still being written, or cut short by a
// kill) is left for a later call.
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace qdx {

class GrowingLines {
 public:
  explicit GrowingLines(std::string path) : path_(std::move(path)) {}

  // The complete lines added since the last call (none when the file is
  // missing), reading no further than byte end: what a writer still
  // appending added after a known moment stays for a later call.
  std::vector<std::string> next(std::size_t end = std::string::npos) {
    std::vector<std::string> lines;
    std::ifstream in(path_, std::ios::binary);
    if (!in || end <= offset_) return lines;
    in.seekg(static_cast<std::streamoff>(offset_));
    std::string text;
    if (end == std::string::npos) {
      text.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    } else {
      text.resize(end - offset_);
      in.read(text.data(), static_cast<std::streamsize>(text.size()));
      text.resize(static_cast<std::size_t>(in.gcount()));
    }
    std::size_t start = 0;
    for (std::size_t end = text.find('\n'); end != std::string::npos;
         end = text.find('\n', start)) {
      if (end > start) lines.push_back(text.substr(start, end - start));
      start = end + 1;
    }
    offset_ += start;
    return lines;
  }

 private:
  std::string path_;
  std::size_t offset_ = 0;
};

}  // namespace qdx
