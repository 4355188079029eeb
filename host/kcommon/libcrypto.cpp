#include "libcrypto.h"

#include <dlfcn.h>
#include <openssl/opensslv.h>

#include "kcommon/kstr.h"
#include "korvenlog/exception.h"

#define TESSERA_TEXT_OF(value) #value
#define TESSERA_EXPANDED_TEXT_OF(value) TESSERA_TEXT_OF(value)

namespace {

constexpr const char* kFile = "libcrypto.so." TESSERA_EXPANDED_TEXT_OF(OPENSSL_SHLIB_VERSION);

template <typename Function>
void Find(void* library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(::dlsym(library, name));
  if (!function) RefuseEncryption(L"The library " + kstr_Widen(kFile) + L" has no " + kstr_Widen(name) + L".");
}

LibCrypto Load() {
  // Never closed: the library registers calls for the end of the process.
  void* const library = ::dlopen(kFile, RTLD_NOW | RTLD_LOCAL);
  if (!library) {
    const char* const reason = ::dlerror();
    RefuseEncryption(L"Enciphering needs OpenSSL, which can't be loaded: " +
                     kstr_FromUtf8Lossy(reason ? reason : kFile));
  }
  LibCrypto calls{};
  Find(library, "EVP_CIPHER_CTX_new", calls.NewCipher);
  Find(library, "EVP_CIPHER_CTX_free", calls.FreeCipher);
  Find(library, "EVP_aes_256_gcm", calls.Aes256Gcm);
  Find(library, "EVP_CipherInit_ex", calls.InitCipher);
  Find(library, "EVP_CipherUpdate", calls.UpdateCipher);
  Find(library, "EVP_CipherFinal_ex", calls.FinishCipher);
  Find(library, "EVP_CIPHER_CTX_ctrl", calls.ControlCipher);
  Find(library, "EVP_Digest", calls.Digest);
  Find(library, "EVP_sha1", calls.Sha1);
  Find(library, "EVP_sha256", calls.Sha256);
  Find(library, "HMAC", calls.Hmac);
  Find(library, "RAND_bytes", calls.RandomBytes);
  return calls;
}

}  // namespace

const LibCrypto& LibCrypto::Get() {
  static const LibCrypto calls = Load();
  return calls;
}

void RefuseEncryption(const std::wstring& text) {
  KorvenLog::CPPException<std::runtime_error>(L"kcommon\\encryption", L"korven::common::Encryption")
      .Throw(__LINE__, text);
}
