#include "stdout_capture.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iostream>
#include <sstream>

namespace qdx::demo {

bool StdoutCapture::begin(const std::string& path) {
  std::cout.flush();
  std::fflush(stdout);
  const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (file < 0) return false;
  savedFd_ = ::dup(STDOUT_FILENO);
  if (savedFd_ < 0 || ::dup2(file, STDOUT_FILENO) < 0) {
    ::close(file);
    if (savedFd_ >= 0) ::close(savedFd_);
    savedFd_ = -1;
    return false;
  }
  ::close(file);
  console_ = ::fdopen(::dup(savedFd_), "w");
  if (console_ != nullptr) std::setvbuf(console_, nullptr, _IOLBF, 0);
  path_ = path;
  return true;
}

void StdoutCapture::end() {
  if (savedFd_ < 0) return;
  std::cout.flush();
  std::fflush(stdout);
  ::dup2(savedFd_, STDOUT_FILENO);
  ::close(savedFd_);
  savedFd_ = -1;
  if (console_ != nullptr) std::fclose(console_);
  console_ = nullptr;
}

StdoutCapture::~StdoutCapture() { end(); }

std::size_t StdoutCapture::mark() const {
  if (path_.empty()) return 0;
  std::cout.flush();
  std::fflush(stdout);
  struct stat info {};
  if (::fstat(STDOUT_FILENO, &info) != 0) return 0;
  return static_cast<std::size_t>(info.st_size);
}

std::vector<std::string> StdoutCapture::linesBetween(std::size_t from, std::size_t to) const {
  std::vector<std::string> lines;
  if (path_.empty() || to <= from) return lines;
  std::ifstream in(path_, std::ios::binary);
  in.seekg(static_cast<std::streamoff>(from));
  std::string bytes(to - from, '\0');
  in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  bytes.resize(static_cast<std::size_t>(in.gcount()));
  std::istringstream text(bytes);
  std::string line;
  while (std::getline(text, line)) {
    if (!line.empty()) lines.push_back(line);
  }
  return lines;
}

}  // namespace qdx::demo
