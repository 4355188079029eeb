#include "kcommon/encryption.h"

#include <string.h>

#include <algorithm>
#include <array>
#include <memory>

#include "libcrypto.h"

namespace korven::common {

namespace {

using Bytes = Encryption::Bytes;

constexpr std::uint8_t kLayout = 1;
constexpr std::size_t kSaltSize = 16, kNonceSize = 12, kTagSize = 16;
constexpr std::size_t kHeadSize = 1 + kSaltSize + kNonceSize;
constexpr std::size_t kKeySize = 32;
/// What the derived key is for: the same key material may serve other ends.
constexpr char kPurpose[] = "Tessera, enciphered bytes, AES-256-GCM";
/// The cipher takes the sizes of its pieces as int.
constexpr std::size_t kMostAtOnce = std::size_t{1} << 30;

/// Bytes that don't outlive their use.
struct DerivedKey {
  ~DerivedKey() { ::explicit_bzero(bytes.data(), bytes.size()); }
  std::array<std::uint8_t, kKeySize> bytes{};
};

void Sign(const LibCrypto& crypto, const std::uint8_t* key, std::size_t keySize, const Bytes& data, DerivedKey& out) {
  if (!crypto.Hmac(crypto.Sha256(), key, static_cast<int>(keySize), data.data(), data.size(), out.bytes.data(),
                   nullptr))
    RefuseEncryption(L"The key can't be derived.");
}

/// HKDF: one block of output is as much as the cipher wants.
void Derive(const LibCrypto& crypto, const Bytes& material, const std::uint8_t* salt, DerivedKey& key) {
  DerivedKey extracted;
  Sign(crypto, salt, kSaltSize, material, extracted);
  Bytes info(kPurpose, kPurpose + sizeof kPurpose - 1);
  info.push_back(1);
  Sign(crypto, extracted.bytes.data(), kKeySize, info, key);
}

class Cipher {
 public:
  /// `head` is authenticated with the rest; its end is the nonce.
  Cipher(const LibCrypto& crypto, const DerivedKey& key, const std::uint8_t* head, bool enciphers)
      : crypto_(crypto), context_(crypto.NewCipher(), crypto.FreeCipher) {
    int size = 0;
    Expect(context_ && crypto_.InitCipher(context_.get(), crypto_.Aes256Gcm(), nullptr, key.bytes.data(),
                                          head + 1 + kSaltSize, enciphers) == 1);
    Expect(crypto_.UpdateCipher(context_.get(), nullptr, &size, head, static_cast<int>(kHeadSize)) == 1);
  }
  void Turn(const std::uint8_t* from, std::size_t count, std::uint8_t* to) {
    for (std::size_t done = 0; done < count;) {
      int size = 0;
      const auto next = static_cast<int>(std::min(count - done, kMostAtOnce));
      Expect(crypto_.UpdateCipher(context_.get(), to + done, &size, from + done, next) == 1);
      done += static_cast<std::size_t>(next);
    }
  }
  bool Finish() {
    std::uint8_t none[16];
    int size = 0;
    return crypto_.FinishCipher(context_.get(), none, &size) == 1;
  }
  void GetTag(std::uint8_t* tag) {
    Expect(crypto_.ControlCipher(context_.get(), EVP_CTRL_GCM_GET_TAG, static_cast<int>(kTagSize), tag) == 1);
  }
  void SetTag(const std::uint8_t* tag) {
    std::array<std::uint8_t, kTagSize> copy;
    std::copy_n(tag, kTagSize, copy.begin());
    Expect(crypto_.ControlCipher(context_.get(), EVP_CTRL_GCM_SET_TAG, static_cast<int>(kTagSize), copy.data()) == 1);
  }

 private:
  static void Expect(bool good) {
    if (!good) RefuseEncryption(L"The cipher can't be run.");
  }
  const LibCrypto& crypto_;
  const std::unique_ptr<EVP_CIPHER_CTX, decltype(&::EVP_CIPHER_CTX_free)> context_;
};

void CheckMode(unsigned mode) {
  if (mode != 1) RefuseEncryption(L"There is no cipher mode " + std::to_wstring(mode) + L", only mode 1.");
}

}  // namespace

Bytes Encryption::Encrypt(unsigned mode, const Bytes& plain, const Bytes& key) {
  CheckMode(mode);
  const LibCrypto& crypto = LibCrypto::Get();
  Bytes out(kHeadSize + plain.size() + kTagSize);
  out[0] = kLayout;
  if (crypto.RandomBytes(out.data() + 1, static_cast<int>(kSaltSize + kNonceSize)) != 1)
    RefuseEncryption(L"The system gives no random numbers.");
  DerivedKey derived;
  Derive(crypto, key, out.data() + 1, derived);
  Cipher cipher(crypto, derived, out.data(), true);
  cipher.Turn(plain.data(), plain.size(), out.data() + kHeadSize);
  if (!cipher.Finish()) RefuseEncryption(L"The cipher can't be run.");
  cipher.GetTag(out.data() + kHeadSize + plain.size());
  return out;
}

Bytes Encryption::Decrypt(unsigned mode, const Bytes& enciphered, const Bytes& key) {
  CheckMode(mode);
  if (enciphered.size() < kHeadSize + kTagSize || enciphered[0] != kLayout)
    RefuseEncryption(L"The enciphered bytes are cut off, or of a layout that is not known.");
  const LibCrypto& crypto = LibCrypto::Get();
  DerivedKey derived;
  Derive(crypto, key, enciphered.data() + 1, derived);
  const std::size_t count = enciphered.size() - kHeadSize - kTagSize;
  Bytes plain(count);
  Cipher cipher(crypto, derived, enciphered.data(), false);
  cipher.Turn(enciphered.data() + kHeadSize, count, plain.data());
  cipher.SetTag(enciphered.data() + kHeadSize + count);
  if (cipher.Finish()) return plain;
  if (!plain.empty()) ::explicit_bzero(plain.data(), plain.size());
  RefuseEncryption(L"The enciphered bytes have been changed, or were enciphered under another key.");
}

}  // namespace korven::common
