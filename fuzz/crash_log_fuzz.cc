// Any bytes in a crash log file must read back as a dictionary or as
// nothing, without a fault; a dictionary read must survive being written
// and read again.
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>

#include "reporting/property_list_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string path = "/tmp/qdx-crash-log-fuzz-" + std::to_string(::getpid()) + ".log";
  {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  }
  const qdx::Json record = qdx::readPropertyListDictionary(path);
  if (!record.is_null() && !record.is_object()) std::abort();
  if (record.is_object()) {
    if (!qdx::writePropertyListDictionary(record, path)) std::abort();
    if (!qdx::readPropertyListDictionary(path).is_object()) std::abort();
  }
  ::unlink(path.c_str());
  return 0;
}
