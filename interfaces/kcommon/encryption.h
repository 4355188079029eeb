#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace korven::common {

/// Enciphers bytes under key material of any length, and turns texts to bytes and back. Any thread. What can't be done
/// is raised as KorvenLog::CPPException<std::runtime_error>.
class Encryption {
 public:
  using Bytes = std::vector<std::uint8_t>;

  /// UTF-8, continued in its own way to code units that are no Unicode, so that every text comes back as it was.
  static Bytes TextToBytes(const std::wstring& text);
  /// The reverse of TextToBytes; raises for bytes that it does not give.
  static std::wstring BytesToTextU(const Bytes& bytes);

  /// Mode 1, the only one: AES-256-GCM (NIST SP 800-38D) under a key derived from the key material with a salt of this
  /// call's own by HKDF-SHA256 (RFC 5869), and a nonce of this call's own. The result is a byte 1, 16 bytes of salt, 12
  /// of nonce, as many enciphered bytes as plain ones, and 16 bytes that authenticate all before them.
  static Bytes Encrypt(unsigned mode, const Bytes& plain, const Bytes& key);
  /// Raises where a single bit is not as Encrypt gave it, or the key material is another.
  static Bytes Decrypt(unsigned mode, const Bytes& enciphered, const Bytes& key);

  /// RFC 4648, with padding and in one line.
  static std::string BytesToBase64(const Bytes& bytes);
  /// Raises for any text that BytesToBase64 does not give.
  static Bytes Base64ToBytes(const std::string& text);
};

}  // namespace korven::common
