#pragma once

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <string>

/// The calls of OpenSSL's libcrypto that are used. It is loaded on first need: most runs have none, and loading it
/// takes longer than running a small model.
struct LibCrypto {
  decltype(&::EVP_CIPHER_CTX_new) NewCipher;
  decltype(&::EVP_CIPHER_CTX_free) FreeCipher;
  decltype(&::EVP_aes_256_gcm) Aes256Gcm;
  decltype(&::EVP_CipherInit_ex) InitCipher;
  decltype(&::EVP_CipherUpdate) UpdateCipher;
  decltype(&::EVP_CipherFinal_ex) FinishCipher;
  decltype(&::EVP_CIPHER_CTX_ctrl) ControlCipher;
  decltype(&::EVP_Digest) Digest;
  decltype(&::EVP_sha1) Sha1;
  decltype(&::EVP_sha256) Sha256;
  decltype(&::HMAC) Hmac;
  decltype(&::RAND_bytes) RandomBytes;

  /// Raises KorvenLog::CPPException where the library is not there. Any thread.
  static const LibCrypto& Get();
};

/// Raises KorvenLog::CPPException.
[[noreturn]] void RefuseEncryption(const std::wstring& text);
