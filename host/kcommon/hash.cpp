#include "kcommon/hash.h"

#include "kcommon/encryption.h"
#include "libcrypto.h"

namespace korven::common {

std::wstring SHA1::ToString() const {
  constexpr wchar_t kDigits[] = L"0123456789abcdef";
  std::wstring text;
  for (const std::uint8_t byte : digest_) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

SHA1 Hash::CalculateSHA1(const std::wstring& text) {
  const auto bytes = Encryption::TextToBytes(text);
  const LibCrypto& crypto = LibCrypto::Get();
  std::array<std::uint8_t, 20> digest{};
  if (crypto.Digest(bytes.data(), bytes.size(), digest.data(), nullptr, crypto.Sha1(), nullptr) != 1)
    RefuseEncryption(L"The check value can't be computed.");
  return SHA1(digest);
}

}  // namespace korven::common
