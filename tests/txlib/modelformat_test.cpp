#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>

#include "kcommon/kfio.h"
#include "kcommon/kstr.h"
#include "korvenlog/exception.h"
#include "txlib/document.h"
#include "txlib/factories.h"

/// What the base of the formats does for a format that fills in little.
namespace {

using namespace Tamrin::Tessera;

class EmptyFormat : public ModelFormat {
 public:
  const wchar_t* Name() const override { return L"EmptyFormat"; }
  std::wstring GetExtension() const override { return L".empty"; }
};

/// The text is the model's description.
class TextFormat : public EmptyFormat {
 public:
  bool SupportsOpenFromBuffer() const override { return true; }
  bool CanOpenFromBuffer(const std::wstring& text) override { return text.find(L'!') == std::wstring::npos; }
  boost::shared_ptr<Model> OpenFromBuffer(const std::wstring& text, const std::wstring& name) override {
    const auto model = boost::make_shared<Model>();
    model->SetDescription(text);
    model->SetProcessName(name);
    return model;
  }
  bool SupportsSaveToBuffer() const override { return true; }
  std::wstring SaveToBuffer(const boost::shared_ptr<Model>& model) override { return model->GetDescription(); }
  ModelInfo GetModelInfoFromBuffer(const std::wstring& text) override {
    ModelInfo info;
    info.name = text;
    return info;
  }
};

template <typename Action>
std::wstring Refusal(const Action& action) {
  try {
    action();
  } catch (const KorvenLog::Exception& exception) {
    return exception.get_What();
  }
  return L"(nothing was raised)";
}

TEST(ModelFormat, WhatAFormatDoesNotHaveIsRefused) {
  EmptyFormat format;
  const URI uri = URI::fromFile(L"nowhere");
  EXPECT_EQ(format.ToString(), L"EmptyFormat");
  EXPECT_EQ(format.GetFileFilter(), L"EmptyFormat (*.empty)");
  EXPECT_FALSE(format.SupportsOpen() || format.SupportsOpenFromBuffer() || format.SupportsSave() ||
               format.SupportsSaveToBuffer() || format.CanOpen(uri) || format.CanOpenFromBuffer(L""));
  EXPECT_EQ(Refusal([&] { format.Open(uri); }), L"The format EmptyFormat can't open documents.");
  EXPECT_EQ(Refusal([&] { format.Save(nullptr, uri); }), L"The format EmptyFormat can't save documents.");
  EXPECT_EQ(Refusal([&] { format.OpenFromBuffer(L"", L""); }),
            L"The format EmptyFormat can't open documents from their text.");
  EXPECT_EQ(Refusal([&] { format.SaveToBuffer(nullptr); }), L"The format EmptyFormat can't save documents as text.");
  EXPECT_EQ(Refusal([&] { format.GetModelInfoFromBuffer(L""); }), L"The format EmptyFormat can't tell of documents.");
}

TEST(ModelFormat, FilesLeadToTexts) {
  TextFormat format;
  const std::wstring file = kstr_FromUtf8Lossy(::testing::TempDir()) + L"modelformat.empty";
  const URI uri = URI::fromFile(file);
  EXPECT_TRUE(format.SupportsOpen() && format.SupportsSave());
  const auto model = boost::make_shared<Model>();
  model->SetDescription(L"gr\u00f6\u00dfer");
  format.Save(model, uri);
  EXPECT_EQ(kfio::ReadBytes(file),
            "gr\xC3\xB6\xC3\x9F"
            "er");
  EXPECT_TRUE(format.CanOpen(uri));
  EXPECT_EQ(format.GetModelInfo(uri).name, L"gr\u00f6\u00dfer");
  const auto opened = format.Open(uri);
  EXPECT_EQ(opened->GetDescription(), L"gr\u00f6\u00dfer");
  EXPECT_EQ(opened->GetProcessName(), file);
  EXPECT_EQ(opened->GetDocumentFolder() + L"/modelformat.empty", file);
  kfio::WriteFile(file, L"!");
  EXPECT_FALSE(format.CanOpen(uri));
  kfio::WriteBytes(file, "\xFF");
  EXPECT_FALSE(format.CanOpen(uri));
  std::remove(kstr_ToUtf8(file).c_str());
  EXPECT_FALSE(format.CanOpen(uri));
}

TEST(ModelFormat, AHiddenInsideIsNotSavedInPlain) {
  const auto model = boost::make_shared<Model>();
  model->Initialize();
  model->SetDisplayName(L"Secret");
  const auto around = boost::make_shared<Model>();
  around->Initialize();
  around->AddOperator(model);
  const auto inside = boost::make_shared<Model>();
  inside->Initialize();
  inside->SetDisplayName(L"Inside");
  model->AddOperator(inside);
  model->SetAllowsReflection(false);
  for (const auto& each : {model, around})
    EXPECT_EQ(Refusal([&] { PlainDocument::Save(each); }),
              L"The model \"Secret\" was published without its inside: it can't be saved in a plain format.");
  const auto mode = around->SetAlternateMode(L"hides");
  EXPECT_NE(PlainDocument::Save(around).find("Inside"), std::string::npos);
}

/// Tells and fails by its own name.
class Speaker : public Operator {
 public:
  const wchar_t* Name() const override { return L"Speaker"; }
  const wchar_t* GetDefaultNamespace() const override { return L"Test"; }
  const wchar_t* GetDefaultOperatorName() const override { return L"Speaker"; }
  void DeclarePorts() override {}
  void OnExecute() override {
    SetInfoMessage(L"word");
    SetProgress(50);
    SetErrorMessage(L"failed");
  }
};

TEST(ModelFormat, AHiddenInsideSpeaksAsItsModel) {
  const auto model = boost::make_shared<Model>();
  const auto inner = boost::make_shared<Model>();
  const auto speaker = boost::make_shared<Speaker>();
  for (const boost::shared_ptr<Operator>& op :
       {boost::shared_ptr<Operator>(model), boost::shared_ptr<Operator>(inner), boost::shared_ptr<Operator>(speaker)})
    op->Initialize();
  model->SetDisplayName(L"Outer");
  inner->SetDisplayName(L"Inner");
  speaker->SetDisplayName(L"Speaker");
  model->AddOperator(inner);
  inner->AddOperator(speaker);
  for (const bool hidden : {false, true}) {
    model->SetAllowsReflection(!hidden);
    const boost::shared_ptr<Operator> told = hidden ? boost::shared_ptr<Operator>(model) : speaker;
    std::vector<boost::shared_ptr<Operator>> seen;
    const auto messages = model->AddOnMessageCallback(
        [&](const boost::shared_ptr<Operator>& op, const boost::shared_ptr<Port>&, const std::wstring&,
            const std::wstring&, Issue::Severity) { seen.push_back(op); });
    const auto progress =
        model->AddOnProgressCallback([&](const boost::shared_ptr<Operator>& op, double) { seen.push_back(op); });
    EXPECT_EQ(&Model::GetVisible(*speaker), told.get());
    try {
      model->Execute();
      ADD_FAILURE() << "nothing was raised";
    } catch (const OperatorException& exception) {
      EXPECT_EQ(exception.GetOperatorDisplayName(), told->GetDisplayName());
      EXPECT_EQ(ExecutionEnvironment::GetFailedOperator(std::current_exception()), told->GetDisplayName());
    }
    EXPECT_EQ(seen, std::vector<boost::shared_ptr<Operator>>(3, told));
  }
}

}  // namespace
