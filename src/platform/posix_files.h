#pragma once
// The POSIX file and thread operations behind PosixEnv, as free functions
// so that PosixEnv's own internals (the advertising-identifier file, the
// open-URL reaper) use the very same code as its Env methods. Contracts are
// those of the matching Env methods (env.h).
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace qdx::posix {

std::optional<std::string> readFile(const std::string& path);
bool fileExists(const std::string& path);
bool writeFileAtomically(const std::string& path, const std::string& contents);
std::optional<std::vector<std::string>> listDirectory(const std::string& directory);
bool removeFile(const std::string& path);
bool createDirectories(const std::string& directory);
bool startThread(const std::string& name, std::function<void()> work);

}  // namespace qdx::posix
