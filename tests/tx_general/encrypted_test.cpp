#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "formatconstants.h"
#include "jsonlib/value.h"
#include "kcommon/encryption.h"
#include "kcommon/hash.h"
#include "kcommon/kfio.h"
#include "kcommon/kstr.h"
#include "korvenlog/exception.h"
#include "plugin/pluginmanager.h"
#include "support/modelhost.h"
#include "txlib/document.h"
#include "txlib/factories.h"

namespace {

using namespace Tamrin::Tessera;
using korven::common::Encryption;
using korven::common::Hash;
using korven::jsonlib::Value;
namespace Constants = korven::tx_general::FormatConstants;

constexpr const wchar_t* kFormat = L"EncryptedTesseraModelFormat";
constexpr const wchar_t* kChanged = L"Encrypted Tessera Model file is invalid or has been modified since publication.";
const std::wstring kPlain =
    LR"({"format": "TesseraModelFormat", "version": 1, "name": "Turn", "displayName": "Turned",
  "displayCategory": "Things|Turned", "icon": "turn.ico", "description": "Größer, in 5 km²", "keywords": "a|b",
  "ports": [{"name": "Data", "alias": "hidden1.Data", "value": 7}, {"name": "Out", "alias": "hidden1.String"}],
  "operators": [{"id": "hidden1", "operator": "VANTIX.ToString", "displayName": "Hidden name"}]})";

boost::shared_ptr<ModelFormat> Format() {
  OperatorFactory::Contains(L"VANTIX", L"ToString");  // loads the plug-ins
  const auto proxy = korven::plugin::PluginManager::Instance().Find(L"ModelFormat", kFormat);
  return boost::dynamic_pointer_cast<ModelFormat>(proxy->CreateInstance());
}

boost::shared_ptr<Model> OpenPlain(const std::wstring& text = kPlain) {
  return ModelFormatFactory::OpenFromBuffer(text, L"TesseraModelFormat");
}
std::wstring Publish(const std::wstring& text = kPlain) { return Format()->SaveToBuffer(OpenPlain(text)); }

Value Parse(const std::wstring& text) {
  Value root;
  EXPECT_TRUE(korven::jsonlib::Reader().parse(text, root));
  return root;
}
std::wstring Write(const Value& root) { return korven::jsonlib::StyledWriter().write(root); }

std::wstring Join(const Value& contents) {
  std::wstring text;
  for (std::size_t i = 0; i < contents.size(); ++i) text += contents[i].asString();
  return text;
}

/// As the format's description has it, worked out apart from the format.
std::wstring CheckValue(const Value& root) {
  std::wstring text;
  for (const wchar_t* key :
       {L"Namespace", L"Name", L"DisplayName", L"DisplayCategory", L"Icon", L"Description", L"Date", L"Software"})
    text += root[key].asString();
  return Hash::CalculateSHA1(text + Join(root[L"Contents"]) + Constants::kCheckSalt).ToString();
}
std::wstring WriteChecked(Value root) {
  root[L"Magic"] = CheckValue(root);
  return Write(root);
}

Encryption::Bytes KeyMaterial() {
  Encryption::Bytes key(Constants::kKeyBlock, Constants::kKeyBlock + 256);
  for (const wchar_t c : Hash::CalculateSHA1(Constants::kKeyText).ToString())
    key.push_back(static_cast<std::uint8_t>(c));
  return key;
}

/// A document of this build with any inside.
std::wstring PublishText(const Encryption::Bytes& inside) {
  Value root;
  root[L"Contents"].append(kstr_Widen(Encryption::BytesToBase64(Encryption::Encrypt(1, inside, KeyMaterial()))));
  return WriteChecked(root);
}

template <typename Action>
std::wstring Refusal(const Action& action) {
  try {
    action();
  } catch (const KorvenLog::Exception& exception) {
    return exception.get_What();
  }
  return L"(nothing was raised)";
}

/// How the reader refuses a text, which is the same for opening and for its facts.
std::wstring Refused(const std::wstring& text) {
  const std::wstring refusal = Refusal([&] { Format()->OpenFromBuffer(text, L""); });
  EXPECT_EQ(Refusal([&] { ModelFormatFactory::OpenFromBuffer(text, kFormat); }), refusal);
  return refusal;
}

TEST(Encrypted, FactsOfTheFormat) {
  const auto format = Format();
  EXPECT_EQ(std::wstring(format->Name()), kFormat);
  EXPECT_EQ(format->Description(), kFormat);
  EXPECT_EQ(format->Provider(), L"Norvale");
  EXPECT_EQ(format->Version(), L"1.0");
  EXPECT_EQ(format->ToString(), L"EncryptedTesseraModelFormat");
  EXPECT_EQ(format->GetFileFilter(), L"Encrypted Model (*.tsmc)");
  EXPECT_EQ(format->GetExtension(), L".tsmc");
  EXPECT_TRUE(format->SupportsOpen() && format->SupportsOpenFromBuffer() && format->SupportsSave() &&
              format->SupportsSaveToBuffer());
}

TEST(Encrypted, ADocumentHoldsItsFactsInPlainAndNothingElse) {
  const auto model = OpenPlain();
  const std::wstring text = Format()->SaveToBuffer(model);
  EXPECT_FALSE(model->IsAlternateMode());
  const Value root = Parse(text);
  EXPECT_EQ(root.getMemberNames(),
            (std::vector<std::wstring>{L"__info__", L"Namespace", L"Name", L"DisplayName", L"DisplayCategory", L"Icon",
                                       L"Description", L"Date", L"Software", L"Contents", L"Magic"}));
  const std::pair<const wchar_t*, const wchar_t*> facts[] = {{L"__info__", L"Encrypted Tessera Model"},
                                                             {L"Namespace", L"VANTIX"},
                                                             {L"Name", L"Model"},
                                                             {L"DisplayName", L"Turned"},
                                                             {L"DisplayCategory", L"Things|Turned"},
                                                             {L"Icon", L"turn.ico"},
                                                             {L"Description", L"Gr\u00f6\u00dfer, in 5 km\u00b2"}};
  for (const auto& [key, value] : facts) EXPECT_EQ(root[key].asString(), value);
  EXPECT_EQ(root[L"Magic"].asString(), CheckValue(root));
  EXPECT_EQ(text.find(L"hidden1"), std::wstring::npos);
  EXPECT_EQ(text.find(L"ToString"), std::wstring::npos);
  const auto inside =
      Encryption::Decrypt(1, Encryption::Base64ToBytes(kstr_ToUtf8(Join(root[L"Contents"]))), KeyMaterial());
  EXPECT_EQ(Encryption::BytesToTextU(inside), ModelFormatFactory::SaveToBuffer(model, L"TesseraModelFormat"));
}

TEST(Encrypted, SavingTwiceGivesOtherDocuments) {
  const auto model = OpenPlain();
  const Value first = Parse(Format()->SaveToBuffer(model)), second = Parse(Format()->SaveToBuffer(model));
  for (const wchar_t* key : {L"Date", L"Magic"}) EXPECT_NE(first[key].asString(), second[key].asString());
  EXPECT_NE(Join(first[L"Contents"]), Join(second[L"Contents"]));
}

TEST(Encrypted, TheSoftwareIsTheFirstLineOfItsFile) {
  const auto format = Format();
  const auto model = OpenPlain();
  const std::string home = std::getenv("VANTIX_HOME");
  const testing_support::TemporaryFolder folder;
  folder.Write(std::string("scripts/") + std::getenv("ARCHM") + "/fullversion_tsdk.ksc",
               "Tessera 7.1\r\nsecond line\n");
  ::setenv("VANTIX_HOME", folder.Path().c_str(), 1);
  const std::wstring there = format->SaveToBuffer(model);
  ::setenv("VANTIX_HOME", (folder.Path() + "/nowhere").c_str(), 1);
  const std::wstring missing = format->SaveToBuffer(model);
  ::setenv("VANTIX_HOME", home.c_str(), 1);
  EXPECT_EQ(Parse(there)[L"Software"].asString(), L"Tessera 7.1");
  EXPECT_EQ(Parse(missing)[L"Software"].asString(), L"");
  EXPECT_TRUE(Parse(missing).isMember(L"Software"));
  EXPECT_TRUE(format->CanOpenFromBuffer(missing));
}

TEST(Encrypted, ContentsAreCutIntoPiecesOfSixty) {
  int multiples = 0, others = 0;
  for (int more = 0; more < 45; ++more) {
    const Value contents = Parse(Publish(LR"({"format": "TesseraModelFormat", "version": 1, "x": ")" +
                                         std::wstring(more, L'.') + L"\"}"))[L"Contents"];
    ASSERT_GT(contents.size(), 1u);
    for (std::size_t i = 0; i + 1 < contents.size(); ++i) EXPECT_EQ(contents[i].asString().size(), 60u);
    const std::size_t last = contents[contents.size() - 1].asString().size();
    EXPECT_GT(last, 0u);
    EXPECT_LE(last, 60u);
    ++(last == 60 ? multiples : others);
  }
  EXPECT_GT(multiples, 0);
  EXPECT_GT(others, 0);
}

TEST(Encrypted, AModelRunsAndHidesItsInside) {
  for (const wchar_t* format : {kFormat, L""}) {
    const auto model = ModelFormatFactory::OpenFromBuffer(Publish(), format);
    EXPECT_FALSE(model->AllowsReflection());
    model->Execute();
    EXPECT_EQ(model->GetPort(L"Out")->GetExistingData()->ToString(), L"7");
    EXPECT_EQ(Refusal([&] { ModelFormatFactory::SaveToBuffer(model, L"TesseraModelFormat"); }),
              L"The model \"Turned\" was published without its inside: it can't be saved in a plain format.");
    const auto again = ModelFormatFactory::OpenFromBuffer(Format()->SaveToBuffer(model), L"");
    EXPECT_FALSE(again->AllowsReflection());
    again->GetPort(L"Data")->SetData(testing_support::Value(L"x"));
    again->Execute();
    EXPECT_EQ(again->GetPort(L"Out")->GetExistingData()->ToString(), L"x");
  }
}

TEST(Encrypted, AnIteratorInsideRuns) {
  const std::wstring text =
      LR"({"format": "TesseraModelFormat", "version": 1,
    "ports": [{"name": "Data", "alias": "each.Data"}, {"name": "Out", "alias": "each.String"}],
    "operators": [{"id": "each", "operator": "VANTIX.Iterator", "model": {
      "ports": [{"name": "Data", "alias": "a.Data"}, {"name": "String", "alias": "a.String"}],
      "operators": [{"id": "a", "operator": "VANTIX.ToString"}]}}]})";
  std::wstring outputs[2];
  int index = 0;
  for (const auto& model : {OpenPlain(text), ModelFormatFactory::OpenFromBuffer(Publish(text), L"")}) {
    model->GetPort(L"Data")->SetData(
        testing_support::List({testing_support::Value(1), testing_support::Value(2), testing_support::Value(3)}));
    model->Execute();
    outputs[index++] = model->GetPort(L"Out")->GetExistingData()->ToString();
  }
  EXPECT_NE(outputs[0].find(L'3'), std::wstring::npos) << kstr_ToUtf8(outputs[0]);
  EXPECT_EQ(outputs[0], outputs[1]);
}

TEST(Encrypted, FactsAreReadWithoutOpening) {
  const ModelInfo info = ModelFormatFactory::GetModelInfo(Publish(), L"");
  EXPECT_EQ(info.name, L"Turn");
  EXPECT_EQ(info.displayName, L"Turned");
  EXPECT_EQ(info.displayCategory, L"Things|Turned");
  EXPECT_EQ(info.icon, L"turn.ico");
  EXPECT_EQ(info.keywords, L"a|b");
  EXPECT_EQ(Refusal([] { ModelFormatFactory::GetModelInfo(L"{}", kFormat); }), kChanged);
}

TEST(Encrypted, FactsThatSpeakOfThePlainFormatMisleadNobody) {
  testing_support::ModelHost host;
  host.Add(L"Merge", L"m");
  const std::wstring plain = ModelFormatFactory::SaveToBuffer(host.GetModel(), L"TesseraModelFormat");
  for (const std::wstring& words : {std::wstring(L"TesseraModelFormat"), plain}) {
    host.GetModel()->SetDescription(words);
    const auto text = ModelFormatFactory::SaveToBuffer(host.GetModel(), L"EncryptedTesseraModelFormat");
    const auto opened = ModelFormatFactory::OpenFromBuffer(text, L"");
    ASSERT_TRUE(opened);
    EXPECT_FALSE(opened->AllowsReflection());
    EXPECT_EQ(ModelFormatFactory::GetModelInfo(text, L"").description, words);
  }
}

TEST(Encrypted, FilesAreOpenedAndSavedByExtension) {
  const testing_support::TemporaryFolder folder;
  const std::wstring file = folder.WidePath() + L"/model.tsmc";
  ModelFormatFactory::Save(OpenPlain(), file, L"");
  EXPECT_EQ(Parse(kfio::ReadFile(file))[L"__info__"].asString(), L"Encrypted Tessera Model");
  const auto format = Format();
  const URI uri = URI::fromFile(file);
  EXPECT_TRUE(format->CanOpen(uri));
  EXPECT_EQ(format->GetModelInfo(uri).displayName, L"Turned");
  for (const auto& model : {ModelFormatFactory::Open(file, L""), format->Open(uri)}) {
    EXPECT_FALSE(model->AllowsReflection());
    EXPECT_EQ(model->GetDocumentFolder(), folder.WidePath());
  }
  // Under any other name the text tells.
  const std::wstring other = folder.Write("model", folder.Read("model.tsmc"));
  EXPECT_FALSE(ModelFormatFactory::Open(other, L"")->AllowsReflection());
  const std::wstring plain = folder.Write("plain.tsmc", kstr_ToUtf8(kPlain));
  EXPECT_FALSE(format->CanOpen(URI::fromFile(plain)));
  EXPECT_EQ(Refusal([&] { ModelFormatFactory::Open(plain, L""); }), kChanged);
}

TEST(Encrypted, AChangedFactIsRefused) {
  const Value root = Parse(Publish());
  for (const wchar_t* key : {L"Namespace", L"Name", L"DisplayName", L"DisplayCategory", L"Icon", L"Description",
                             L"Date", L"Software", L"Magic"}) {
    SCOPED_TRACE(kstr_ToUtf8(key));
    Value changed = root;
    changed[key] = root[key].asString() + L"x";
    EXPECT_FALSE(Format()->CanOpenFromBuffer(Write(changed)));
    EXPECT_EQ(Refused(Write(changed)), kChanged);
    EXPECT_EQ(Refusal([&] { ModelFormatFactory::OpenFromBuffer(Write(changed), L""); }), kChanged);
  }
  for (std::size_t i = 0; i < root[L"Contents"].size(); ++i) {
    Value changed = root;
    const std::wstring piece = root[L"Contents"][i].asString();
    changed[L"Contents"][i] = (piece[0] == L'A' ? L"B" : L"A") + piece.substr(1);
    EXPECT_FALSE(Format()->CanOpenFromBuffer(Write(changed)));
    EXPECT_EQ(Refused(Write(changed)), kChanged);
  }
  Value info = root;
  info[L"__info__"] = L"Something else";
  EXPECT_TRUE(Format()->CanOpenFromBuffer(Write(info)));
  EXPECT_FALSE(Format()->OpenFromBuffer(Write(info), L"")->AllowsReflection());
}

TEST(Encrypted, NoFlippedByteIsTakenForTheDocument) {
  const std::string bytes = kstr_ToUtf8(Publish());
  const auto format = Format();
  const Value root = Parse(kstr_FromUtf8Lossy(bytes));
  int refused = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    std::string flipped = bytes;
    flipped[i] = static_cast<char>(flipped[i] ^ 1);
    const std::wstring text = kstr_FromUtf8Lossy(flipped);
    if (!format->CanOpenFromBuffer(text)) {
      EXPECT_EQ(Refusal([&] { format->OpenFromBuffer(text, L""); }), kChanged) << "byte " << i;
      ++refused;
      continue;
    }
    // What is still taken says the same: "__info__", or blanks between the values.
    Value same = Parse(text);
    EXPECT_EQ(CheckValue(same), CheckValue(root)) << "byte " << i;
  }
  EXPECT_GT(refused, static_cast<int>(bytes.size()) * 8 / 10);
}

TEST(Encrypted, WhatIsNoDocumentIsRefused) {
  for (const wchar_t* text : {L"", L"{", L"{}", L"[]", L"5", L"\"x\"", L"null", L"{\"Contents\": 5, \"Magic\": 7}",
                              L"{\"Magic\": {}}", L"\xD800", L"{\"Magic\": \"\\ud800\"}"}) {
    EXPECT_FALSE(Format()->CanOpenFromBuffer(text)) << kstr_ToUtf8(text);
    EXPECT_EQ(Refused(text), kChanged) << kstr_ToUtf8(text);
  }
  Value root = Parse(Publish());
  root[L"Contents"] = Value(Value::arrayValue);
  EXPECT_EQ(Refused(Write(root)), kChanged);
}

TEST(Encrypted, PiecesMayBeCutAnywhere) {
  Value root = Parse(Publish());
  const std::wstring whole = Join(root[L"Contents"]);
  for (const std::size_t size : {std::size_t{1}, std::size_t{7}, whole.size()}) {
    root[L"Contents"] = Value(Value::arrayValue);
    for (std::size_t place = 0; place < whole.size(); place += size)
      root[L"Contents"].append(whole.substr(place, size));
    EXPECT_EQ(WriteChecked(root).find(L"Magic") != std::wstring::npos, true);
    EXPECT_EQ(Format()->OpenFromBuffer(WriteChecked(root), L"")->GetDisplayName(), L"Turned");
  }
}

TEST(Encrypted, DamagedContentsUnderARightCheckValueAreRefusedByTheCipher) {
  const Value root = Parse(Publish());
  const auto withContents = [&](const std::wstring& text) {
    Value changed = root;
    changed[L"Contents"] = Value(Value::arrayValue);
    changed[L"Contents"].append(text);
    return WriteChecked(changed);
  };
  const std::wstring whole = Join(root[L"Contents"]);
  std::wstring damaged = whole;
  damaged[100] = damaged[100] == L'A' ? L'B' : L'A';
  EXPECT_TRUE(Format()->CanOpenFromBuffer(withContents(damaged)));
  EXPECT_EQ(Refused(withContents(damaged)),
            L"The enciphered bytes have been changed, or were enciphered under another key.");
  EXPECT_EQ(Refused(withContents(L"")), L"The enciphered bytes are cut off, or of a layout that is not known.");
  EXPECT_EQ(Refused(withContents(whole.substr(0, 60))).find(L"The enciphered bytes "), 0u);
  EXPECT_EQ(Refused(withContents(L"\u00e4\u00e4\u00e4")), L"The text is no base64: it has 6 characters.");
  EXPECT_EQ(Refused(withContents(L"!!!!")), L"The text is no base64 at character 0.");
}

TEST(Encrypted, WhatIsWrongInsideIsNotTold) {
  const auto publish = [](const std::wstring& inside) { return PublishText(Encryption::TextToBytes(inside)); };
  EXPECT_EQ(Format()->OpenFromBuffer(publish(kPlain), L"")->GetDisplayName(), L"Turned");
  for (const wchar_t* inside : {L"", L"{", LR"({"format": "TesseraModelFormat", "version": 99})",
                                LR"({"format": "TesseraModelFormat", "version": 1, "operators": [{"id": "hidden"}]})"})
    EXPECT_EQ(Refused(publish(inside)), L"The model of the encrypted document can't be opened by this program.");
  EXPECT_EQ(Refused(PublishText({0xFF})), L"The bytes are no text at byte 0.");
}

std::wstring Document(const char* name) {
  return kfio::ReadFile(kstr_FromUtf8Lossy(std::string(TEST_DOCUMENTS "/") + name));
}

/// Written by the first build that had the format. A build that can't read it has lost all documents before it.
TEST(Encrypted, TheKeptDocumentIsRead) {
  if (HAS_OWN_FORMAT_KEY) {
    EXPECT_EQ(Refused(Document("kept.tsmc")), kChanged);
    return;
  }
  const auto model = ModelFormatFactory::OpenFromBuffer(Document("kept.tsmc"), L"");
  EXPECT_EQ(model->GetDisplayName(), L"Kept");
  model->GetPort(L"Data")->SetData(testing_support::Value(12.5));
  model->Execute();
  EXPECT_EQ(model->GetPort(L"Out")->GetExistingData()->ToString(), L"12.5");
}

TEST(Encrypted, ADocumentOfABuildWithAnotherKeyIsRefused) {
  const std::wstring text = Document("otherkey.tsmc");
  EXPECT_FALSE(Format()->CanOpenFromBuffer(text));
  EXPECT_EQ(Refused(text), kChanged);
  EXPECT_EQ(Refusal([&] { ModelFormatFactory::OpenFromBuffer(text, L""); }), kChanged);
  // Nor does a check value that is made again help.
  EXPECT_EQ(Refused(WriteChecked(Parse(text))),
            L"The enciphered bytes have been changed, or were enciphered under another key.");
}

}  // namespace
