#include "txlib/document.h"

#include <gtest/gtest.h>

#include "txlib/basicdata.h"
#include "txlib/factories.h"

namespace {

using namespace Tamrin::Tessera;

std::string Document(const std::string& rest) {
  return "{\n  \"format\": \"TesseraModelFormat\",\n  \"version\": 1,\n" + rest + "\n}\n";
}

std::vector<DocumentProblem> Errors(const std::string& text) {
  std::vector<DocumentProblem> errors;
  for (DocumentProblem& problem : PlainDocument::Check(text)) {
    if (!problem.warning) errors.push_back(std::move(problem));
  }
  return errors;
}

const char* const kInner = R"("operators": [{"id": "a", "operator": "VANTIX.Model"}])";

TEST(Document, AnEmptyModelOpens) {
  const auto model = PlainDocument::Open(Document(R"("name": "N", "displayName": "Shown", "operators": [])"));
  ASSERT_TRUE(model);
  EXPECT_EQ(model->GetProcessName(), L"N");
  EXPECT_EQ(model->GetDisplayName(), L"Shown");
  EXPECT_TRUE(model->GetOperators().empty());
}

TEST(Document, TwiceSavedIsTheSame) {
  const std::string once = PlainDocument::Save(PlainDocument::Open(Document(
      R"("zebra": [1, 2.5], "name": "N", "operators": [
        {"id": "lost", "operator": "NOWHERE.Thing", "values": {"A": 1}, "strange": null},
        {"id": "inner", "operator": "VANTIX.Model", "mark": "x", "model": {"operators": [], "own": true}}],
      "order": [{"before": "lost", "after": "inner", "why": "so"}], "tails": ["inner"],)")));
  EXPECT_EQ(PlainDocument::Save(PlainDocument::Open(once)), once);
  for (const char* kept : {"\"zebra\"", "\"strange\"", "\"mark\"", "\"own\"", "\"why\"", "NOWHERE.Thing"})
    EXPECT_NE(once.find(kept), std::string::npos) << kept;
  EXPECT_LT(once.find("\"tails\""), once.find("\"zebra\""));
}

TEST(Document, AModelMadeByCallsSaves) {
  const auto model = boost::make_shared<Model>();
  model->Initialize();
  for (int i = 0; i < 2; ++i) {
    const auto inner = boost::make_shared<Model>();
    inner->Initialize();
    model->AddOperator(inner);
  }
  model->GetOperators()[1]->AddParent(model->GetOperators()[0]);
  const std::string text = PlainDocument::Save(model);
  const auto again = PlainDocument::Open(text);
  ASSERT_EQ(again->GetOperators().size(), 2u);
  EXPECT_EQ(again->GetOperators()[1]->GetParentsWithoutConnection().size(), 1u);
  EXPECT_EQ(PlainDocument::Save(again), text);
}

TEST(Document, AnUnknownOperatorOpensAndFailsWhenItRuns) {
  const std::string text = Document(R"("ports": [{"name": "Out", "alias": "x.Result"}, {"name": "In", "alias": "x.A"}],
    "operators": [{"id": "x", "operator": "NOWHERE.Thing", "displayName": "My thing",
      "ports": [{"name": "Result", "kind": "output"}]}])");
  std::vector<DocumentProblem> warnings;
  const auto model = PlainDocument::Open(text, &warnings);
  ASSERT_EQ(warnings.size(), 1u);
  EXPECT_EQ(warnings[0].path, "operators[0].operator");
  ASSERT_EQ(model->GetOperators()[0]->GetMessages().size(), 1u);
  EXPECT_EQ(model->GetOperators()[0]->GetMessages()[0].text, L"found the unknown operator \"NOWHERE.Thing\"");
  EXPECT_TRUE(model->GetPort(L"Out")->IsOutput());
  EXPECT_TRUE(model->GetPort(L"In")->IsInput());
  try {
    model->Execute();
    FAIL();
  } catch (const OperatorException& exception) {
    EXPECT_EQ(exception.GetOperatorDisplayName(), L"My thing");
    EXPECT_EQ(exception.get_What(), L"The operator implemenation could not be located!");
  }
  EXPECT_EQ(Errors(text).size(), 1u);
}

TEST(Document, FaultsAreLocated) {
  const auto errors = Errors(
      "{\n  \"format\": \"TesseraModelFormat\", \"version\": 1, // word\n  \"operators\": [\n"
      "    {\"id\": \"a\", \"operator\": \"VANTIX.Model\"},\n"
      "    {\"id\": \"a\", \"operator\": \"VANTIX.Model\"}]\n}");
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_EQ(errors[0].path, "operators[1].id");
  EXPECT_EQ(errors[0].line, 5u);
  EXPECT_EQ(errors[0].column, 12u);
  EXPECT_EQ(errors[0].ToString().substr(0, 39), L"operators[1].id (line 5, column 12): fo");
}

TEST(Document, EachRepeatedKeyIsTold) {
  const auto errors = Errors(
      "{\n  \"format\": \"TesseraModelFormat\", \"version\": 1,\n  \"name\": \"A\", /* again */ \"name\": \"B\",\n"
      "  \"operators\": [\n    {\"id\": \"a\", \"operator\": \"VANTIX.Model\",\n"
      "     \"attributes\": {\"k\u00e4\": 1, \"x\": {\"y\": [{\"z\": 0, \"z\": 0}]}, \"k\u00e4\": 2}, \"id\": 5}]\n}");
  const struct {
    const char* path;
    std::size_t line, column;
    const wchar_t* text;
  } want[] = {{"name", 3, 28, L"found the key \"name\" again, expected it once"},
              {"operators[0].attributes.x.y[0].z", 6, 51, L"found the key \"z\" again, expected it once"},
              {"operators[0].attributes[\"k\xC3\xA4\"]", 6, 62, L"found the key \"k\u00e4\" again, expected it once"},
              {"operators[0].id", 6, 72, L"found the key \"id\" again, expected it once"},
              {"operators[0].id", 6, 78, L"found 5, expected a string"}};
  ASSERT_EQ(errors.size(), std::size(want));
  for (std::size_t i = 0; i < errors.size(); ++i) {
    EXPECT_EQ(errors[i].path, want[i].path);
    EXPECT_EQ(errors[i].line, want[i].line) << want[i].path;
    EXPECT_EQ(errors[i].column, want[i].column) << want[i].path;
    EXPECT_EQ(errors[i].text, want[i].text);
  }
}

TEST(Document, RepeatedKeysAreRefusedEachTime) {
  const std::string text = Document(R"("name": "A", "name": "A")");
  for (int i = 0; i < 2; ++i) EXPECT_THROW(PlainDocument::Open(text), DocumentException);
  std::string many = R"("attributes": {"first": 0)";
  for (int i = 0; i < 100; ++i) many += ", \"k" + std::to_string(i % 99) + "\": 0";
  const auto errors = Errors(Document(many + "}"));
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_EQ(errors[0].path, "attributes.k0");
}

TEST(Document, ARepeatedIdHidesNoFaultOfTheConnections) {
  const auto told = [](const char* operators, const char* connections) {
    std::vector<std::string> paths;
    for (const auto& error :
         Errors(Document("\"operators\": [" + std::string(operators) + "], \"connections\": [" + connections + "]")))
      paths.push_back(error.path);
    return paths;
  };
  const char* const kTwice = R"({"id": "a", "operator": "VANTIX.Eq"}, {"id": "a", "operator": "VANTIX.If"},
    {"id": "c", "operator": "VANTIX.Model"})";
  EXPECT_EQ(told(kTwice, R"({"from": "a.Nix", "to": "c.Nix"}, {"from": "a.True", "to": "a.Input1"})"),
            (std::vector<std::string>{"operators[1].id", "connections[0].from", "connections[0].to"}));
  const char* const kFirstFaulty = R"({"id": "a"}, {"id": "a", "operator": "VANTIX.If"},
    {"id": "c", "operator": "VANTIX.If"})";
  EXPECT_EQ(told(kFirstFaulty, R"({"from": "a.Nix", "to": "c.Test"})"),
            (std::vector<std::string>{"operators[0].operator", "operators[1].id", "connections[0].from"}));
}

TEST(Document, EachFaultIsTold) {
  const struct {
    std::string rest;
    const char* path;
  } rows[] = {
      {R"("name": 5)", "name"},
      {R"("operators": {})", "operators"},
      {R"("operators": [5])", "operators[0]"},
      {R"("operators": [{"operator": "VANTIX.Model"}])", "operators[0].id"},
      {R"("operators": [{"id": "a b", "operator": "VANTIX.Model"}])", "operators[0].id"},
      {R"("operators": [{"id": "a"}])", "operators[0].operator"},
      {R"("operators": [{"id": "a", "operator": "VANTIX.Modell"}])", "operators[0].operator"},
      {R"("operators": [{"id": "a", "operator": "VANTIX.Model", "values": {"No": 1}}])", "operators[0].values.No"},
      {R"("operators": [{"id": "a", "operator": "VANTIX.Model", "values": 1}])", "operators[0].values"},
      {R"("operators": [{"id": "a", "operator": "VANTIX.Model", "expansions": "x"}])", "operators[0].expansions"},
      {R"("operators": [{"id": "a", "operator": "VANTIX.Model", "attributes": {"k": {"Type": "VANTIX.Int", "Value": "x"}}}])",
       "operators[0].attributes.k.Value"},
      {R"("operators": [{"id": "a", "operator": "VANTIX.Model", "attributes": {"k": {"Type": "VANTIX.Nix", "Value": 1}}}])",
       "operators[0].attributes.k.Type"},
      {std::string(kInner) + R"(, "connections": [{"from": "b.X", "to": "a.Y"}])", "connections[0].from"},
      {std::string(kInner) + R"(, "connections": [{"to": "a.Y"}])", "connections[0].from"},
      {std::string(kInner) + R"(, "connections": [{"from": "a", "to": 5}])", "connections[0].to"},
      {std::string(kInner) + R"(, "order": [{"before": "a", "after": "a"}])", "operators[0]"},
      {std::string(kInner) + R"(, "order": [{"before": "z", "after": "a"}])", "order[0].before"},
      {std::string(kInner) + R"(, "tails": ["z"])", "tails[0]"},
      {std::string(kInner) + R"(, "ports": [{"name": "P", "alias": "a.X"}])", "ports[0].alias"},
      {std::string(kInner) + R"(, "ports": [{"alias": "a.X"}])", "ports[0].name"}};
  for (const auto& row : rows) {
    bool told = false;
    for (const DocumentProblem& problem : Errors(Document(row.rest))) told = told || problem.path == row.path;
    EXPECT_TRUE(told) << row.rest;
  }
}

TEST(Document, ACycleNamesItsMembers) {
  const auto errors = Errors(Document(R"("operators": [{"id": "a", "operator": "VANTIX.Model"},
    {"id": "b", "operator": "VANTIX.Model"}, {"id": "c", "operator": "VANTIX.Model"}],
    "order": [{"before": "a", "after": "b"}, {"before": "b", "after": "a"}, {"before": "b", "after": "c"}])"));
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_EQ(errors[0].text, L"found a cycle of operators: \"a\" -> \"b\" -> \"a\"");
}

TEST(Document, AHigherVersionAndBadTextAreRefused) {
  ASSERT_EQ(Errors(R"({"format": "TesseraModelFormat", "version": 2})").size(), 1u);
  ASSERT_EQ(Errors(R"({"version": 1})").size(), 1u);
  const auto malformed = Errors("{\n \"format\": nonsense}");
  ASSERT_EQ(malformed.size(), 1u);
  EXPECT_EQ(malformed[0].line, 2u);
  EXPECT_THROW(PlainDocument::Open("[]"), DocumentException);
}

/// Models in models, the innermost without parts.
std::string NestedModels(int count) {
  std::string inner = R"({"operators":[{"id":"m","operator":"VANTIX.Model"}]})";
  for (int i = 1; i < count; ++i)
    inner = R"({"operators":[{"id":"m","operator":"VANTIX.Model","model":)" + inner + "}]}";
  return R"({"format":"TesseraModelFormat","version":1,)" + inner.substr(1);
}

TEST(Document, DeepNestingIsAMessage) {
  EXPECT_TRUE(Errors(NestedModels(1000)).empty());
  for (const int count : {1001, 1002, 1100}) {
    const auto errors = Errors(NestedModels(count));
    ASSERT_EQ(errors.size(), 1u) << count;
    EXPECT_EQ(errors[0].text, L"found models nested more than 1000 levels deep, expected fewer");
  }
}

TEST(Document, UnknownKeysAreWarnedOf) {
  const auto problems = PlainDocument::Check(Document(R"("descripton": "")"));
  ASSERT_EQ(problems.size(), 1u);
  EXPECT_TRUE(problems[0].warning);
  EXPECT_EQ(problems[0].text, L"found the unknown key \"descripton\"; did you mean \"description\"?");
}

TEST(ModelFormatFactory, OpensAndSavesByName) {
  const auto model = ModelFormatFactory::OpenFromBuffer(L"{\"format\":\"TesseraModelFormat\",\"version\":1}", L"");
  const std::wstring text = ModelFormatFactory::SaveToBuffer(model, L"TesseraModelFormat");
  EXPECT_EQ(ModelFormatFactory::GetModelInfo(L"{\"name\": \"X\"}", L"TesseraModelFormat").name, L"X");
  EXPECT_EQ(ModelFormatFactory::SaveToBuffer(ModelFormatFactory::OpenFromBuffer(text, L""), L""), text);
  EXPECT_THROW(ModelFormatFactory::SaveToBuffer(model, L"NoSuchFormat"), std::runtime_error);
}

}  // namespace
