#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "kcommon/kstr.h"
#include "support/modelhost.h"

namespace testing_support {

/// One run of one operator: what lies on its inputs, and what an output or the error is to be.
struct Row {
  std::string title;
  std::wstring op;
  std::vector<std::pair<std::wstring, DataPtr>> inputs;
  std::wstring output;
  DataPtr expected;         ///< null: nothing on the output
  std::wstring error = {};  ///< empty: the run ends well
  bool reopens = true;      ///< false where an input has no form in a document
};

inline void ExpectSame(const DataPtr& found, const DataPtr& expected) {
  ASSERT_EQ(found != nullptr, expected != nullptr);
  if (!expected) return;
  EXPECT_EQ(found->GetDataTypeName().ToString(), expected->GetDataTypeName().ToString());
  EXPECT_EQ(found->ToString(), expected->ToString());
}

inline void Prepare(ModelHost& host, const Row& row) {
  host.Add(row.op, L"op");
  for (const auto& [port, data] : row.inputs) host.Set(L"op." + port, data);
}

/// Executed, pulled and executed from its document: the same each time.
inline void ExpectRow(const Row& row) {
  SCOPED_TRACE(row.title);
  const auto check = [&](ModelHost& host) {
    EXPECT_EQ(host.Run(), row.error.empty());
    EXPECT_EQ(host.Error(), row.error);
    if (row.error.empty())
      ExpectSame(host.Existing(L"op." + row.output), row.expected);
    else
      EXPECT_EQ(host.Messages(tessera::Issue::Error), std::vector<std::wstring>{row.error});
  };
  ModelHost executed;
  Prepare(executed, row);
  check(executed);

  SCOPED_TRACE("pulled");
  ModelHost pulled;
  Prepare(pulled, row);
  DataPtr data;
  EXPECT_EQ(pulled.Pull(L"op." + row.output, data), row.error.empty());
  EXPECT_EQ(pulled.Error(), row.error);
  if (row.error.empty()) ExpectSame(data, row.expected);

  if (!row.reopens) return;
  SCOPED_TRACE("reopened");
  ModelHost reopened;
  Prepare(reopened, row);
  reopened.Reopen();
  check(reopened);
}

inline void ExpectRows(const std::vector<Row>& rows) {
  for (const auto& row : rows) ExpectRow(row);
}

}  // namespace testing_support
