#pragma once
// The payload cipher's object interface. Bodies travel enciphered with the
// host app key stored under "QDX_APP_KEY"; see qdx_cipher.h for the
// functions beneath.
#include <optional>
#include <string>

namespace qdx {

class QDXEncryptAndDecrypt {
 public:
  // Uppercase hex cipher text of text (spaces and line feeds removed first);
  // "" for nullopt or "". Also writes the first half of the hex text and a
  // line feed to standard output.
  std::string encryptWithString(const std::optional<std::string>& text);
  // The deciphered text of a hex cipher text; "" for nullopt, "", or a
  // cipher text that does not decipher.
  std::string decryptWithString(const std::optional<std::string>& hex);
};

}  // namespace qdx
