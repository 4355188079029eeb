#include "kcommon/encryption.h"

#include <gtest/gtest.h>

#include "kcommon/hash.h"
#include "kcommon/kstr.h"
#include "korvenlog/exception.h"

namespace {

using korven::common::Encryption;
using korven::common::Hash;
using Bytes = Encryption::Bytes;

template <typename Action>
std::wstring Refusal(const Action& action) {
  try {
    action();
  } catch (const KorvenLog::CPPException<std::runtime_error>& exception) {
    return exception.get_What();
  }
  return L"(nothing was raised)";
}

Bytes BytesOf(std::string_view text) { return Bytes(text.begin(), text.end()); }

Bytes FromHex(std::string_view digits) {
  Bytes bytes;
  for (std::size_t i = 0; i < digits.size(); i += 2)
    bytes.push_back(static_cast<std::uint8_t>(std::stoi(std::string(digits.substr(i, 2)), nullptr, 16)));
  return bytes;
}

TEST(Encryption, TextsBecomeUtf8AndComeBack) {
  EXPECT_EQ(Encryption::TextToBytes(L"a\u00e4\u20ac\U0001F30D"), BytesOf("a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x8C\x8D"));
  std::wstring all;
  // Both ends of each length, and what is no Unicode at all.
  for (const std::uint32_t code :
       {0x0u, 0x7Fu, 0x80u, 0x7FFu, 0x800u, 0xD800u, 0xDFFFu, 0xFFFFu, 0x10000u, 0x10FFFFu, 0x110000u, 0x1FFFFFu,
        0x200000u, 0x3FFFFFFu, 0x4000000u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu})
    all += static_cast<wchar_t>(code);
  for (const std::wstring& text : {all, std::wstring(), std::wstring(100, L'x'), std::wstring(L"x\0y", 3)})
    EXPECT_EQ(Encryption::BytesToTextU(Encryption::TextToBytes(text)), text);
}

TEST(Encryption, BytesThatAreNoTextAreRefusedWithTheirPlace) {
  for (const std::string_view bad : {"ab\x80", "ab\xC3", "ab\xC0\x80", "ab\xE0\x80\x80", "ab\xC3\x28", "ab\xFF\x80\x80",
                                     "ab\xFE\x84\x80\x80\x80\x80\x80", "ab\xFE\x80\x80\x80\x80\x80\x80"})
    EXPECT_EQ(Refusal([&] { Encryption::BytesToTextU(BytesOf(bad)); }), L"The bytes are no text at byte 2.");
}

TEST(Encryption, Base64IsThatOfItsStandard) {
  const std::pair<const char*, const char*> rows[] = {{"", ""},
                                                      {"f", "Zg=="},
                                                      {"fo", "Zm8="},
                                                      {"foo", "Zm9v"},
                                                      {"foob", "Zm9vYg=="},
                                                      {"fooba", "Zm9vYmE="},
                                                      {"foobar", "Zm9vYmFy"},
                                                      {"\xFB\xEF\xFF", "++//"}};
  for (const auto& [plain, text] : rows) {
    EXPECT_EQ(Encryption::BytesToBase64(BytesOf(plain)), text);
    EXPECT_EQ(Encryption::Base64ToBytes(text), BytesOf(plain));
  }
}

TEST(Encryption, TextsThatAreNoBase64AreRefused) {
  const std::pair<const char*, const wchar_t*> rows[] = {
      {"Zm9", L"The text is no base64: it has 3 characters."}, {"Zm9vZ!==", L"The text is no base64 at character 5."},
      {"Zg==Zg==", L"The text is no base64 at character 2."},  {"Z===", L"The text is no base64 at character 1."},
      {"====", L"The text is no base64 at character 0."},      {"Zm 9", L"The text is no base64 at character 2."},
      {"Zh==", L"The text is no base64 at its end."},          {"Zm9=", L"The text is no base64 at its end."}};
  for (const auto& [text, refusal] : rows)
    EXPECT_EQ(Refusal([&, bad = text] { Encryption::Base64ToBytes(bad); }), refusal) << text;
}

constexpr const wchar_t* kChanged = L"The enciphered bytes have been changed, or were enciphered under another key.";
constexpr const wchar_t* kCutOff = L"The enciphered bytes are cut off, or of a layout that is not known.";

TEST(Encryption, WhatAnotherImplementationEncipheredIsRead) {
  // Made with HMAC and AES-GCM of Python's libraries: key 0 to 39, salt 100 to 115, nonce 200 to 211.
  const Bytes enciphered = FromHex(
      "016465666768696a6b6c6d6e6f70717273c8c9cacbcccdcecfd0d1d2d353ea978cb33379180bec866c00303352e6260c0a4eecd5941b7e43"
      "a418784e");
  Bytes key;
  for (std::uint8_t i = 0; i < 40; ++i) key.push_back(i);
  EXPECT_EQ(Encryption::BytesToTextU(Encryption::Decrypt(1, enciphered, key)), L"Gr\u00f6\u00dfe: 5 km\u00b2");
}

TEST(Encryption, EachCallHasItsOwnSaltAndNonce) {
  const Bytes key = BytesOf("key"), plain = BytesOf("the same");
  const Bytes first = Encryption::Encrypt(1, plain, key), second = Encryption::Encrypt(1, plain, key);
  EXPECT_NE(Bytes(first.begin() + 1, first.begin() + 17), Bytes(second.begin() + 1, second.begin() + 17));
  EXPECT_NE(Bytes(first.begin() + 17, first.begin() + 29), Bytes(second.begin() + 17, second.begin() + 29));
  EXPECT_NE(Bytes(first.begin() + 29, first.end()), Bytes(second.begin() + 29, second.end()));
  for (const Bytes& each : {first, second}) EXPECT_EQ(Encryption::Decrypt(1, each, key), plain);
}

TEST(Encryption, BytesOfAnyNumberComeBack) {
  for (const std::size_t size : {0, 1, 15, 16, 17, 1000, 1 << 20}) {
    const Bytes plain(size, 0x5A), key(300, 1);
    const Bytes enciphered = Encryption::Encrypt(1, plain, key);
    EXPECT_EQ(enciphered.size(), size + 45);
    EXPECT_EQ(Encryption::Decrypt(1, enciphered, key), plain);
  }
}

TEST(Encryption, EveryFlippedBitIsFound) {
  const Bytes key = BytesOf("key");
  const Bytes enciphered = Encryption::Encrypt(1, BytesOf("ten digits"), key);
  for (std::size_t bit = 0; bit < enciphered.size() * 8; ++bit) {
    Bytes flipped = enciphered;
    flipped[bit / 8] = static_cast<std::uint8_t>(flipped[bit / 8] ^ 1u << bit % 8);
    EXPECT_EQ(Refusal([&] { Encryption::Decrypt(1, flipped, key); }), bit < 8 ? kCutOff : kChanged) << bit;
  }
  EXPECT_EQ(Refusal([&] { Encryption::Decrypt(1, enciphered, BytesOf("kex")); }), kChanged);
  EXPECT_EQ(Refusal([&] { Encryption::Decrypt(1, Bytes(enciphered.begin(), enciphered.end() - 1), key); }), kChanged);
  EXPECT_EQ(Refusal([&] { Encryption::Decrypt(1, Bytes(enciphered.begin(), enciphered.begin() + 44), key); }), kCutOff);
  EXPECT_EQ(Refusal([&] { Encryption::Decrypt(1, {}, key); }), kCutOff);
}

TEST(Encryption, ThereIsOneMode) {
  for (const unsigned mode : {0u, 2u}) {
    const std::wstring text = L"There is no cipher mode " + std::to_wstring(mode) + L", only mode 1.";
    EXPECT_EQ(Refusal([&] { Encryption::Encrypt(mode, {}, {}); }), text);
    EXPECT_EQ(Refusal([&] { Encryption::Decrypt(mode, {}, {}); }), text);
  }
}

TEST(Hash, DigestsAreThoseOfTheStandard) {
  EXPECT_EQ(Hash::CalculateSHA1(L"abc").ToString(), L"a9993e364706816aba3e25717850c26c9cd0d89d");
  EXPECT_EQ(Hash::CalculateSHA1(L"").ToString(), L"da39a3ee5e6b4b0d3255bfef95601890afd80709");
  EXPECT_EQ(Hash::CalculateSHA1(L"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq").ToString(),
            L"84983e441c3bd26ebaae4aa1f95129e5e54670f1");
  EXPECT_NE(Hash::CalculateSHA1(L"\xD800").ToString(), Hash::CalculateSHA1(L"\xD801").ToString());
}

}  // namespace
