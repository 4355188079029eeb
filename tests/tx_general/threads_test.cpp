#include <cstdlib>

#include "tx_general/rows.h"

// Rows of several operators at once, for the race detector. Each operator's own rows run in threads too.
namespace {

using namespace testing_support;

TEST(RowsInThreads, OperatorsShareOnlyTheFactories) {
  ::setenv("TX_GENERAL_TEST_NAME", "value", 1);
  const TemporaryFolder folder;
  const std::wstring file = folder.Write("text.txt", "0123456789");
  const auto words = List({Value(L"a"), Value(2), Value(true)});
  const std::vector<Row> rows = {
      {"text of a number", L"ToString", {{L"Data", Value(7)}}, L"String", Value(L"7")},
      {"text of a list", L"ToString", {{L"Data", words}}, L"String", Value(words->ToString())},
      {"converted", L"RequireCondition", {{L"ShouldBeTrue", Value(2)}}, L"Success", Value(true), {}, false},
      {"nothing there", L"RequireCondition", {}, L"Success", nullptr, L"Data not found on port(ShouldBeTrue)."},
      {"failing",
       L"RequireCondition",
       {{L"ShouldBeTrue", Value(false)}, {L"Message", Value(L"Too few rows.")}},
       L"Success",
       nullptr,
       L"Too few rows."},
      {"expanded",
       L"ExpandEnvVars",
       {{L"StringIn", Value(L"<$TX_GENERAL_TEST_NAME>")}},
       L"StringOut",
       Value(L"<value>")},
      {"read", L"TextFileInput", {{L"Filename", File(file)}, {L"Size", Value(3u)}}, L"String", Value(L"012")},
  };
  ExpectRowsInThreads(rows);
}

}  // namespace
