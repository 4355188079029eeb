#include <gmock/gmock.h>

#include <boost/filesystem.hpp>

#include "kcommon/kfnp.h"
#include "tx_general/rows.h"
#include "txlib/document.h"
#include "txlib/factories.h"

namespace {

using namespace testing_support;
using tessera::DocumentException;
using tessera::ModelFormatFactory;
using tessera::PortType;
using Names = std::vector<std::wstring>;

const std::string kHead = R"({"format": "TesseraModelFormat", "version": 1, )";

/// Finds a number in a text.
const std::string kFinder = kHead + R"("icon": "find.ico",
  "ports": [{"name": "Text", "alias": "find.StringIn", "displayName": "Any text", "optional": true, "hidden": true},
            {"name": "Found", "alias": "find.StringOut"}],
  "operators": [{"id": "find", "operator": "VANTIX.RegularExpressionSearch", "values": {"RegEx": "[0-9]+"}}]})";

/// Links a document, and shows its ports as its own.
std::string Linking(const std::string& file) {
  return kHead + R"("ports": [{"name": "Text", "alias": "link.Text"}, {"name": "Found", "alias": "link.Found"}],
  "operators": [{"id": "link", "operator": "VANTIX.TesseraModel", "values": {"LinkedModelFilename": ")" +
         file + R"("}}]})";
}

std::wstring FoundBy(const boost::shared_ptr<tessera::Model>& model, const wchar_t* text) {
  model->GetPort(L"Text")->SetData(Value(text));
  model->Execute();
  return tessera::AsDataOf<tessera::StringData>(model->GetPort(L"Found")->GetData())->GetDataValue();
}

boost::shared_ptr<tessera::Model> Linked(ModelHost& host, const std::wstring& file = {}) {
  const auto op = boost::dynamic_pointer_cast<tessera::Model>(host.Add(L"TesseraModel", L"link"));
  if (!file.empty()) op->GetPort(L"LinkedModelFilename")->SetData(File(file));
  op->Configure();
  return op;
}

const Names kBare{L"LinkedModelFilename"};
const Names kShown{L"LinkedModelFilename", L"Text", L"Found"};

TEST(LinkedModel, ShowsThePortsOfTheFile) {
  const TemporaryFolder folder;
  ModelHost host;
  const auto op = Linked(host, folder.Write("Suche ü.tsmx", kFinder));
  EXPECT_EQ(PortNames(*op), kShown);
  const auto text = op->GetPort(L"Text");
  EXPECT_TRUE(text->IsInput());
  EXPECT_EQ(text->GetDisplayName(), L"Any text");
  EXPECT_TRUE(text->IsOptional());
  EXPECT_TRUE(text->IsHidden());
  EXPECT_EQ(text->GetSupportedDataTypes().front().ToString(), L"VANTIX.String");
  EXPECT_TRUE(op->GetPort(L"Found")->IsOutput());
  EXPECT_EQ(op->GetIcon(), L"find.ico");
  EXPECT_EQ(op->GetTails().size(), 1u);
  EXPECT_EQ(op->GetTails().front()->GetMainProcess(), host.GetModel());
  EXPECT_FALSE(op->IsOpenable());
  EXPECT_EQ(op->GetProcessName(), L"TesseraModel");
  EXPECT_EQ(op->GetProcessNamespace(), L"VANTIX");
  host.Set(L"link.Text", L"Version 12");
  ASSERT_TRUE(host.Run()) << kstr_ToUtf8(host.Error());
  EXPECT_EQ(host.Get<std::wstring>(L"link.Found"), L"12");
}

TEST(LinkedModel, TypesOfTheInnerPortsAreTakenOver) {
  const TemporaryFolder folder;
  const auto file = folder.Write("f.tsmx", kFinder);
  const auto inner = ModelFormatFactory::Open(file, L"");
  EXPECT_TRUE(inner->GetPort(L"Text")->GetExcludedDataTypes().empty());
  ModelHost host;
  const auto port = Linked(host, file)->GetPort(L"Text");
  EXPECT_TRUE(port->GetExcludedDataTypes().empty());
  EXPECT_EQ(port->GetExtraSupportedDataTypes(), inner->GetPort(L"Text")->GetExtraSupportedDataTypes());
}

TEST(LinkedModel, WithoutFileAndTextThePortsStay) {
  ModelHost host;
  const auto op = Linked(host);
  op->CreatePort(L"Mine", tessera::Data::DefaultTypeName(), PortType::Input);
  op->Configure();
  EXPECT_EQ(PortNames(*op), (Names{L"LinkedModelFilename", L"Mine"}));
  EXPECT_TRUE(host.Run());
}

TEST(LinkedModel, ConfiguredTwiceItIsTheSame) {
  const TemporaryFolder folder;
  ModelHost host;
  const auto op = Linked(host, folder.Write("f.tsmx", kFinder));
  op->Configure();
  EXPECT_EQ(PortNames(*op), kShown);
  EXPECT_EQ(op->GetTails().size(), 1u);
  EXPECT_EQ(op->GetOperators().size(), 1u);
  host.Set(L"link.Text", L"9");
  ASSERT_TRUE(host.Run());
  EXPECT_EQ(host.Get<std::wstring>(L"link.Found"), L"9");
}

TEST(LinkedModel, WhatCantBeOpenedLeavesTheOneport) {
  const TemporaryFolder folder;
  folder.Write("broken.tsmx", "{");
  folder.Write("newer.tsmx", R"({"format": "TesseraModelFormat", "version": 7})");
  boost::filesystem::create_directory(folder.Path() + "/folder.tsmx");
  for (const wchar_t* name : {L"/missing.tsmx", L"/broken.tsmx", L"/newer.tsmx", L"/folder.tsmx"}) {
    ModelHost host;
    const auto op = Linked(host, folder.Write("f.tsmx", kFinder));
    op->GetPort(L"LinkedModelFilename")->SetData(File(folder.WidePath() + name));
    EXPECT_NO_THROW(op->Configure());
    EXPECT_EQ(PortNames(*op), kBare);
    EXPECT_TRUE(op->GetOperators().empty());
    EXPECT_TRUE(op->GetMessages().empty());
    EXPECT_TRUE(host.Run());
  }
}

TEST(LinkedModel, ATextServesWhereThereIsNoFile) {
  ModelHost host;
  const auto op = host.Add(L"TesseraModel", L"link");
  op->SetAttribute(L"ModelBuffer", Value(kstr_FromUtf8Lossy(kFinder)));
  op->Configure();
  EXPECT_EQ(PortNames(*op), kShown);
  host.Reopen();
  EXPECT_EQ(PortNames(*host.Op(L"link")), kShown);
  host.Set(L"link.Text", L"a 5");
  ASSERT_TRUE(host.Run());
  EXPECT_EQ(host.Get<std::wstring>(L"link.Found"), L"5");
}

TEST(LinkedModel, TheFileStandsAboveTheText) {
  const TemporaryFolder folder;
  ModelHost host;
  const auto op = host.Add(L"TesseraModel", L"link");
  op->SetAttribute(L"ModelBuffer", Value(kstr_FromUtf8Lossy(kHead + R"("operators": []})")));
  op->GetPort(L"LinkedModelFilename")->SetData(File(folder.Write("f.tsmx", kFinder)));
  op->Configure();
  EXPECT_EQ(PortNames(*op), kShown);
  op->GetPort(L"LinkedModelFilename")->SetData(File(folder.WidePath() + L"/missing.tsmx"));
  op->Configure();
  EXPECT_EQ(PortNames(*op), kBare) << "also where it can't be opened";
  op->GetPort(L"LinkedModelFilename")->SetData(File(L""));
  op->SetAttribute(L"ModelBuffer", Value(kstr_FromUtf8Lossy(kFinder)));
  op->Configure();
  EXPECT_EQ(PortNames(*op), kShown) << "an empty name is none";
}

TEST(LinkedModel, NamesAreTakenFromTheDocumentThatHasThem) {
  const TemporaryFolder folder;
  folder.Write("one/two/finder.tsmx", kFinder);
  folder.Write("one/middle.tsmx", Linking("two/finder.tsmx"));
  const auto top = folder.Write("top.tsmx", Linking("one/middle.tsmx"));
  EXPECT_EQ(FoundBy(ModelFormatFactory::Open(top, L""), L"x 44"), L"44");
  // From another working folder, by a relative name, through a link to the folder.
  const auto before = boost::filesystem::current_path();
  boost::filesystem::create_directory_symlink("one", folder.Path() + "/link");
  boost::filesystem::current_path(folder.Path() + "/one/two");
  EXPECT_EQ(FoundBy(ModelFormatFactory::Open(L"../../link/middle.tsmx", L""), L"x 45"), L"45");
  boost::filesystem::current_path(before);
}

TEST(LinkedModel, NamesStayRightWhenItIsConfiguredAnew) {
  const TemporaryFolder folder;
  folder.Write("one/two/finder.tsmx", kFinder);
  folder.Write("one/two/other.tsmx", kFinder);
  folder.Write("one/middle.tsmx", Linking("two/finder.tsmx"));
  const auto model = ModelFormatFactory::Open(folder.Write("top.tsmx", Linking("one/middle.tsmx")), L"");
  const auto all = model->GetAllOperators(true);
  std::vector<boost::shared_ptr<tessera::Operator>> links;
  for (const auto& op : all) {
    if (op->GetOperatorName() == L"TesseraModel") links.push_back(op);
  }
  ASSERT_EQ(links.size(), 2u);
  links[1]->GetPort(L"LinkedModelFilename")->SetData(File(L"two/other.tsmx"));
  links[1]->Configure();
  EXPECT_EQ(PortNames(*links[1]), kShown);
  EXPECT_EQ(links[1]->GetDocumentFolder(), folder.WidePath() + L"/one");
}

TEST(LinkedModel, TextsOpenedInTheCourseOfARunFindTheirLinks) {
  const TemporaryFolder folder;
  folder.Write("one/finder.tsmx", kFinder);
  const auto model = ModelFormatFactory::Open(folder.Write("one/top.tsmx", Linking("finder.tsmx")), L"");
  const std::wstring text = ModelFormatFactory::SaveToBuffer(model, L"TesseraModelFormat");
  EXPECT_EQ(
      ModelFormatFactory::OpenFromBuffer(kstr_FromUtf8Lossy(kHead) + L"\"operators\": []}", L"")->GetPort(L"Text"),
      nullptr);
  const tessera::DocumentFolderScope scope(model->GetOperators().front()->GetDocumentFolder());
  EXPECT_EQ(FoundBy(ModelFormatFactory::OpenFromBuffer(text, L"TesseraModelFormat"), L"x 46"), L"46");
}

TEST(LinkedModel, ValuesAndConnectionsAreKeptAndTheInsideIsNotWritten) {
  const TemporaryFolder folder;
  folder.Write("finder.tsmx", kFinder);
  const std::string text = kHead + R"("ports": [{"name": "Found", "alias": "second.Found"}], "operators": [
    {"id": "first", "operator": "VANTIX.TesseraModel", "displayName": "First",
     "values": {"LinkedModelFilename": "finder.tsmx", "Text": "a 31 b"}},
    {"id": "second", "operator": "VANTIX.TesseraModel", "values": {"LinkedModelFilename": "finder.tsmx"}}],
    "connections": [{"from": "first.Found", "to": "second.Text"}]})";
  auto file = folder.Write("top.tsmx", text);
  for (int round = 0; round < 2; ++round) {
    const auto model = ModelFormatFactory::Open(file, L"");
    const std::wstring saved = ModelFormatFactory::SaveToBuffer(model, L"");
    EXPECT_EQ(saved.find(L"RegularExpressionSearch"), std::wstring::npos);
    EXPECT_EQ(saved.find(L"\"model\""), std::wstring::npos);
    EXPECT_EQ(saved.find(L"find.ico"), std::wstring::npos);
    EXPECT_NE(saved.find(L"a 31 b"), std::wstring::npos);
    model->Execute();
    EXPECT_EQ(tessera::AsDataOf<tessera::StringData>(model->GetPort(L"Found")->GetData())->GetDataValue(), L"31");
    EXPECT_EQ(ModelFormatFactory::SaveToBuffer(model, L""), saved);
    file = folder.Write("again.tsmx", kstr_ToUtf8(saved));
  }
}

TEST(LinkedModel, MessagesAndCancellingGoThrough) {
  const TemporaryFolder folder;
  const auto file =
      folder.Write("f.tsmx", kHead + R"("operators": [{"id": "need", "operator": "VANTIX.RequireCondition",
    "displayName": "Inside", "values": {"ShouldBeTrue": false}}]})");
  ModelHost host;
  const auto op = Linked(host, file);
  std::wstring from;
  const auto handle = host.GetModel()->AddOnMessageCallback(
      [&](const auto& source, const auto&, const auto&, const auto&, auto) { from = source->GetDisplayName(); });
  EXPECT_FALSE(host.Run());
  EXPECT_EQ(from, L"Inside");
  EXPECT_EQ(op->GetTails().front()->GetEnvironment(), host.GetModel()->GetEnvironment());
}

TEST(LinkedModel, TheSameDocumentTwiceIsNoCircle) {
  const TemporaryFolder folder;
  folder.Write("finder.tsmx", kFinder);
  folder.Write("left.tsmx", Linking("finder.tsmx"));
  const std::string both = kHead + R"("operators": [
    {"id": "a", "operator": "VANTIX.TesseraModel", "values": {"LinkedModelFilename": "left.tsmx"}},
    {"id": "b", "operator": "VANTIX.TesseraModel", "values": {"LinkedModelFilename": "finder.tsmx"}},
    {"id": "c", "operator": "VANTIX.TesseraModel", "values": {"LinkedModelFilename": "left.tsmx"}}]})";
  EXPECT_EQ(ModelFormatFactory::Open(folder.Write("both.tsmx", both), L"")->GetOperators().size(), 3u);
}

std::vector<std::wstring> ProblemsOf(const std::wstring& file) {
  std::vector<std::wstring> texts;
  try {
    ModelFormatFactory::Open(file, L"");
  } catch (const DocumentException& exception) {
    for (const auto& problem : exception.GetProblems()) texts.push_back(problem.ToString());
  }
  return texts;
}

TEST(LinkedModel, ACircleIsToldAtTheTop) {
  const TemporaryFolder folder;
  const std::wstring path = kfnp_FromNative(boost::filesystem::canonical(folder.Path()).native());
  const auto self = folder.Write("self.tsmx", Linking("self.tsmx"));
  EXPECT_THAT(ProblemsOf(self),
              ::testing::ElementsAre(L"operators[0].values.LinkedModelFilename (line 2, column 101): found a document "
                                     L"that links itself: \"" +
                                     path + L"/self.tsmx\""));
  const auto a = folder.Write("a.tsmx", Linking("deep/b.tsmx"));
  folder.Write("deep/b.tsmx", Linking("c.tsmx"));
  boost::filesystem::create_symlink("../a.tsmx", folder.Path() + "/deep/c.tsmx");
  const auto problems = ProblemsOf(a);
  ASSERT_EQ(problems.size(), 1u) << "ports that lack for it are no faults of their own";
  EXPECT_TRUE(problems[0].ends_with(L": found a circle of linked documents: \"" + path + L"/a.tsmx\" -> \"" + path +
                                    L"/deep/b.tsmx\" -> \"" + path + L"/a.tsmx\""))
      << kstr_ToUtf8(problems[0]);
  // A document outside of the circle tells it as well.
  const auto outside = ProblemsOf(folder.Write("outside.tsmx", Linking("self.tsmx")));
  ASSERT_EQ(outside.size(), 1u);
  EXPECT_NE(outside[0].find(L"links itself"), std::wstring::npos);
}

TEST(LinkedModel, ChainsOfDocumentsHaveAnEnd) {
  const TemporaryFolder folder;
  for (int number = 0; number < 150; ++number)
    folder.Write(std::to_string(number) + ".tsmx", Linking(std::to_string(number + 1) + ".tsmx"));
  const auto problems = ProblemsOf(folder.WidePath() + L"/0.tsmx");
  ASSERT_FALSE(problems.empty());
  EXPECT_NE(problems[0].find(L"found documents linked more than 100 levels deep"), std::wstring::npos);
  folder.Write("150.tsmx", kFinder);
  EXPECT_EQ(FoundBy(ModelFormatFactory::Open(folder.WidePath() + L"/60.tsmx", L""), L"8"), L"8");
}

TEST(LinkedModel, CheckWarnsOfWhatCantBeOpened) {
  const TemporaryFolder folder;
  const std::wstring path = folder.WidePath();
  folder.Write("one/middle.tsmx", kHead + R"("operators": [{"id": "l", "operator": "VANTIX.TesseraModel",
    "values": {"LinkedModelFilename": "missing.tsmx"}}]})");
  const std::string text = kHead + R"("operators": [
    {"id": "l", "operator": "VANTIX.TesseraModel", "values": {"LinkedModelFilename": "one/middle.tsmx"}}]})";
  const auto top = folder.Write("top.tsmx", text);
  const auto problems = tessera::PlainDocument::Check(text, top);
  ASSERT_EQ(problems.size(), 1u);
  EXPECT_TRUE(problems[0].warning);
  EXPECT_EQ(problems[0].path, "operators[0].values.LinkedModelFilename");
  EXPECT_EQ(problems[0].line, 2u);
  EXPECT_EQ(problems[0].text, L"found the linked document \"" + path +
                                  L"/one/missing.tsmx\", which can't be opened: "
                                  L"The file \"" +
                                  path + L"/one/missing.tsmx\" does not exist.");
  EXPECT_EQ(ModelFormatFactory::Open(top, L"")->GetOperators().size(), 1u) << "it can be opened all the same";
  // The first fault of a document that is refused, and how many there are.
  folder.Write("one/middle.tsmx", kHead + R"("operators": [{"id": 1}, {"id": 2}]})");
  const auto refused = tessera::PlainDocument::Check(text, top);
  ASSERT_EQ(refused.size(), 1u);
  EXPECT_NE(refused[0].text.find(L"middle.tsmx\", which can't be opened: operators[0]"), std::wstring::npos);
  EXPECT_TRUE(refused[0].text.ends_with(L" more)"));
  const auto buffer = tessera::PlainDocument::Check(
      kHead + R"("operators": [{"id": "l", "operator": "VANTIX.TesseraModel", "attributes": {"ModelBuffer": "{"}}]})");
  ASSERT_EQ(buffer.size(), 1u);
  EXPECT_EQ(buffer[0].path, "operators[0]");
  EXPECT_EQ(buffer[0].text.find(L"found the linked model, which can't be opened: "), 0u);
}

TEST(LinkedModel, PortsThatVanishedAreFaultsBesideTheReason) {
  const TemporaryFolder folder;
  const auto problems = ProblemsOf(folder.Write("top.tsmx", Linking("missing.tsmx")));
  ASSERT_EQ(problems.size(), 3u);
  EXPECT_NE(problems[2].find(L"does not exist"), std::wstring::npos) << kstr_ToUtf8(problems[2]);
}

TEST(LinkedModel, AnInsideOfItsOwnIsRefused) {
  const std::string text = kHead + R"("operators": [{"id": "l", "operator": "VANTIX.TesseraModel", "model": {}}]})";
  const auto problems = tessera::PlainDocument::Check(text);
  ASSERT_EQ(problems.size(), 1u);
  EXPECT_EQ(problems[0].text, L"found a model, but the operator \"TesseraModel\" can't hold one");
}

}  // namespace
