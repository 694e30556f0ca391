// Replays fuzz inputs without libFuzzer: every file named on the command
// line, and every file inside every directory named, goes once through
// LLVMFuzzerTestOneInput. A fault shows as a crash or a sanitizer report;
// surviving inputs count as passed.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

bool runFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  int passed = 0;
  int failed = 0;
  for (int i = 1; i < argc; ++i) {
    std::error_code error;
    const std::filesystem::path path(argv[i]);
    std::vector<std::filesystem::path> files;
    if (std::filesystem::is_directory(path, error)) {
      for (const auto& entry : std::filesystem::recursive_directory_iterator(path, error)) {
        if (entry.is_regular_file()) files.push_back(entry.path());
      }
    } else {
      files.push_back(path);
    }
    for (const auto& file : files) {
      if (runFile(file)) {
        ++passed;
      } else {
        std::fprintf(stderr, "cannot read %s\n", file.string().c_str());
        ++failed;
      }
    }
  }
  std::printf("%d passed, %d failed\n", passed, failed);
  return failed == 0 ? 0 : 1;
}
