#include <string.h>

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <optional>
#include <string>
#include <vector>

#include "formatconstants.h"
#include "jsonlib/value.h"
#include "kcommon/encryption.h"
#include "kcommon/hash.h"
#include "kcommon/kerr.h"
#include "kcommon/kfio.h"
#include "kcommon/kstr.h"
#include "support.h"
#include "txbasiclib/basicvalues.h"
#include "txlib/document.h"
#include "txlib/factories.h"

namespace korven::tx_general {

namespace {

using common::Encryption;
using common::Hash;

constexpr unsigned kCipherMode = 1;
constexpr std::size_t kPieceSize = 60;
constexpr const wchar_t* kPlainFormatName = L"TesseraModelFormat";
constexpr const wchar_t* kVersionFile = L"$VANTIX_HOME/scripts/$ARCHM/fullversion_tsdk.ksc";
/// What the check value covers ahead of the contents, in this order.
constexpr const wchar_t* kCheckedKeys[] = {L"Namespace", L"Name",        L"DisplayName", L"DisplayCategory",
                                           L"Icon",      L"Description", L"Date",        L"Software"};

template <typename Units>
void WipeUnits(Units& units) {
  if (!units.empty()) ::explicit_bzero(units.data(), units.size() * sizeof(*units.data()));
}

/// A key, or the inside of a model: does not outlive its use.
template <typename Units>
struct ShortLived {
  explicit ShortLived(Units made) : units(std::move(made)) {}
  ~ShortLived() { WipeUnits(units); }
  ShortLived(const ShortLived&) = delete;
  ShortLived& operator=(const ShortLived&) = delete;
  Units units;
};

[[noreturn]] void RefuseEncrypted(int line, const std::wstring& text) {
  KorvenLog::CPPException<std::runtime_error>(L"tx_general\\encryptedtesseramodelformat",
                                              L"EncryptedTesseraModelFormat")
      .Throw(line, text);
}

Encryption::Bytes MakeKeyMaterial() {
  std::uint8_t block[FormatConstants::kKeyBlockSize];
  for (std::size_t i = 0; i < sizeof block; ++i) block[i] = FormatConstants::kKeyBlock[i];
  const ShortLived text(Encryption::TextToBytes(Hash::CalculateSHA1(FormatConstants::kKeyText).ToString()));
  Encryption::Bytes key;
  // Whole at once: a vector that grows leaves pieces of the key behind.
  key.reserve(sizeof block + text.units.size());
  key.assign(block, block + sizeof block);
  key.insert(key.end(), text.units.begin(), text.units.end());
  ::explicit_bzero(block, sizeof block);
  return key;
}

std::wstring MakeAlternateModeCode() {
  std::wstring text;
  for (const wchar_t* const piece : FormatConstants::kModePieces) text += piece;
  return Hash::CalculateSHA1(text).ToString();
}

/// What the check value is of. The contents, in base64, are a part of it: they are large, and not copied.
struct CheckedText {
  explicit CheckedText(const jsonlib::Value& root) {
    for (const wchar_t* const key : kCheckedKeys) text += root[key].asString();
    contentsBegin = text.size();
    const jsonlib::Value& contents = root[L"Contents"];
    text.reserve(text.size() + (contents.size() + 1) * kPieceSize);
    for (std::size_t i = 0; i < contents.size(); ++i) text += contents[i].asString();
    contentsEnd = text.size();
    text += FormatConstants::kCheckSalt;
  }
  std::wstring GetCheckValue() const { return Hash::CalculateSHA1(text).ToString(); }
  std::string GetContents() const {
    return kstr_ToUtf8(std::wstring_view(text).substr(contentsBegin, contentsEnd - contentsBegin));
  }

  std::wstring text;
  std::size_t contentsBegin, contentsEnd;
};

/// Nothing where the text is no document, or its check value is another.
std::optional<CheckedText> ReadIntact(const std::wstring& text) {
  jsonlib::Value parsed;
  if (!jsonlib::Reader().parse(text, parsed)) return std::nullopt;
  const jsonlib::Value& root = parsed;
  CheckedText checked(root);
  if (root[L"Magic"].asString() != checked.GetCheckValue()) return std::nullopt;
  return checked;
}

std::wstring LocalTime() {
  return MakeData<Tamrin::TesseraBasic::DateTimeData>(boost::posix_time::microsec_clock::local_time())->ToString();
}

/// Empty where there is none to be read.
std::wstring SoftwareVersion() {
  try {
    const std::wstring text = kfio::ReadFile(kstr_PathExpand(kVersionFile));
    return text.substr(0, text.find_first_of(L"\r\n"));
  } catch (const CancellationBase&) {
    throw;
  } catch (const std::exception&) {
    return {};
  }
}

/// The model's plain text.
std::wstring ReadModelText(const std::wstring& text) {
  const auto checked = ReadIntact(text);
  if (!checked)
    RefuseEncrypted(__LINE__, L"Encrypted Tessera Model file is invalid or has been modified since publication.");
  const ShortLived key(MakeKeyMaterial());
  const ShortLived plain(
      Encryption::Decrypt(kCipherMode, Encryption::Base64ToBytes(checked->GetContents()), key.units));
  return Encryption::BytesToTextU(plain.units);
}

}  // namespace

class EncryptedTesseraModelFormat : public ModelFormat {
 public:
  const wchar_t* Name() const override { return L"EncryptedTesseraModelFormat"; }
  std::wstring Description() const override { return L"EncryptedTesseraModelFormat"; }
  std::wstring Provider() const override { return L"Norvale"; }
  std::wstring Version() const override { return L"1.0"; }

  std::wstring ToString() const override { return L"EncryptedTesseraModelFormat"; }
  std::wstring GetFileFilter() const override { return L"Encrypted Model (*.tsmc)"; }
  std::wstring GetExtension() const override { return L".tsmc"; }

  ModelInfo GetModelInfoFromBuffer(const std::wstring& text) override {
    const ShortLived plain(ReadModelText(text));
    return ModelFormatFactory::GetModelInfo(plain.units, L"");
  }

  bool SupportsOpenFromBuffer() const override { return true; }

  bool CanOpenFromBuffer(const std::wstring& text) override {
    try {
      return ReadIntact(text).has_value();
    } catch (const std::exception&) {
      return false;
    }
  }

  boost::shared_ptr<Model> OpenFromBuffer(const std::wstring& text, const std::wstring&) override {
    const ShortLived plain(ReadModelText(text));
    const UnkeptTextScope unkept;
    const auto model = OpenInside(plain.units);
    model->SetAllowsReflection(false);
    return model;
  }

  bool SupportsSaveToBuffer() const override { return true; }

  std::wstring SaveToBuffer(const boost::shared_ptr<Model>& model) override {
    const auto mode = model->SetAlternateMode(MakeAlternateModeCode());
    jsonlib::Value root;
    root[L"__info__"] = L"Encrypted Tessera Model";
    root[L"Namespace"] = model->GetDefaultNamespace();
    root[L"Name"] = model->GetOperatorName();
    root[L"DisplayName"] = model->GetDisplayName();
    root[L"DisplayCategory"] = model->GetDisplayCategory();
    root[L"Icon"] = model->GetIcon();
    root[L"Description"] = model->GetDescription();
    root[L"Date"] = LocalTime();
    root[L"Software"] = SoftwareVersion();
    jsonlib::Value& contents = root[L"Contents"] = jsonlib::Value(jsonlib::Value::arrayValue);
    const std::string base64 = EncipherInside(model);
    for (std::size_t place = 0; place < base64.size(); place += kPieceSize)
      contents.append(kstr_Widen(std::string_view(base64).substr(place, kPieceSize)));
    root[L"Magic"] = CheckedText(root).GetCheckValue();
    return jsonlib::StyledWriter().write(root);
  }

 private:
  /// What is wrong inside is not told: it would show the inside.
  static boost::shared_ptr<Model> OpenInside(const std::wstring& plain) {
    try {
      if (auto model = ModelFormatFactory::OpenFromBuffer(plain, kPlainFormatName)) return model;
    } catch (const CancellationBase&) {
      throw;
    } catch (const std::exception&) {
    }
    RefuseEncrypted(__LINE__, L"The model of the encrypted document can't be opened by this program.");
  }

  static std::string EncipherInside(const boost::shared_ptr<Model>& model) {
    const ShortLived text(ModelFormatFactory::SaveToBuffer(model, kPlainFormatName));
    const ShortLived plain(Encryption::TextToBytes(text.units));
    const ShortLived key(MakeKeyMaterial());
    return Encryption::BytesToBase64(Encryption::Encrypt(kCipherMode, plain.units, key.units));
  }
};

TX_GENERAL_FACTORY(EncryptedTesseraModelFormat)

}  // namespace korven::tx_general
