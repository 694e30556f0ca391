#include "platform/posix_files.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <random>
#include <system_error>
#include <thread>

namespace qdx::posix {

namespace {

// Linux keeps 15 bytes of a thread name (plus the terminating zero).
constexpr std::size_t kThreadNameBytes = 15;

bool writeAll(int fd, const std::string& contents) {
  const char* data = contents.data();
  std::size_t left = contents.size();
  while (left > 0) {
    ssize_t written = ::write(fd, data, left);
    if (written < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    data += written;
    left -= static_cast<std::size_t>(written);
  }
  return true;
}

// "dir/.name.XXXXXXXXXXXXXXXX": a hidden sibling of path whose suffix is
// random and counted, so two writers (threads or processes) never share
// one, as they could a fixed ".tmp" name.
std::string temporarySiblingName(const std::string& path) {
  static std::atomic<std::uint64_t> counter{0};
  thread_local std::mt19937_64 generator{std::random_device{}()};
  const std::size_t slash = path.rfind('/');
  const std::string directory = slash == std::string::npos ? "" : path.substr(0, slash + 1);
  const std::string base = slash == std::string::npos ? path : path.substr(slash + 1);
  const std::uint64_t suffix =
      generator() ^ (static_cast<std::uint64_t>(::getpid()) << 32) ^ counter.fetch_add(1);
  static const char kHex[] = "0123456789abcdef";
  std::string name = directory + "." + base + ".";
  for (int shift = 60; shift >= 0; shift -= 4) name.push_back(kHex[(suffix >> shift) & 0xf]);
  return name;
}

// Opens a new temporary sibling of path for writing (its name in
// *temporary); -1 when none can be made.
int openTemporarySibling(const std::string& path, std::string* temporary) {
  for (int attempt = 0; attempt < 16; ++attempt) {
    *temporary = temporarySiblingName(path);
    // 0666 under the process's umask, as a plain new file would get.
    int fd = ::open(temporary->c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd >= 0 || errno != EEXIST) return fd;
  }
  return -1;
}

}  // namespace

std::optional<std::string> readFile(const std::string& path) {
  int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return std::nullopt;
  std::string contents;
  char buffer[64 * 1024];
  for (;;) {
    ssize_t got = ::read(fd, buffer, sizeof buffer);
    if (got < 0) {
      if (errno == EINTR) continue;
      ::close(fd);
      return std::nullopt;  // e.g. a directory: EISDIR
    }
    if (got == 0) break;
    contents.append(buffer, static_cast<std::size_t>(got));
  }
  ::close(fd);
  return contents;
}

bool fileExists(const std::string& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

bool writeFileAtomically(const std::string& path, const std::string& contents) {
  std::string temporary;
  int fd = openTemporarySibling(path, &temporary);
  if (fd < 0) return false;
  // No fsync: like the platform's own atomic writes, this protects readers
  // and concurrent writers, not against a power loss.
  bool ok = writeAll(fd, contents);
  ok = (::close(fd) == 0) && ok;
  ok = ok && ::rename(temporary.c_str(), path.c_str()) == 0;
  if (!ok) ::unlink(temporary.c_str());
  return ok;
}

std::optional<std::vector<std::string>> listDirectory(const std::string& directory) {
  DIR* dir = ::opendir(directory.c_str());
  if (dir == nullptr) return std::nullopt;
  std::vector<std::string> names;
  // readdir on a stream of our own is safe; glibc's readdir_r is deprecated.
  while (const dirent* entry = ::readdir(dir)) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  ::closedir(dir);
  return names;
}

bool removeFile(const std::string& path) { return ::unlink(path.c_str()) == 0; }

bool createDirectories(const std::string& directory) {
  std::error_code ignored;
  std::filesystem::create_directories(directory, ignored);
  return std::filesystem::is_directory(directory, ignored);
}

bool startThread(const std::string& name, std::function<void()> work) {
  try {
    std::thread([name = name.substr(0, kThreadNameBytes), work = std::move(work)] {
      ::pthread_setname_np(::pthread_self(), name.c_str());
      try {
        work();
      } catch (...) {
        // The contract forbids throwing; a thread must not end the process.
      }
    }).detach();
    return true;
  } catch (const std::system_error&) {
    return false;
  }
}

}  // namespace qdx::posix
