#pragma once

#include <gtest/gtest.h>

#include <exception>
#include <latch>
#include <string>
#include <thread>
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
  const auto op = host.Add(row.op, L"op");
  for (const auto& [port, data] : row.inputs) {
    // As a document does: a numbered port is there once it is named.
    for (int sets = 0; op->IsExpandible() && !op->GetPort(port) && sets < 10; ++sets) op->AddExpansionPorts();
    host.Set(L"op." + port, data);
  }
}

/// What a run of a row came to.
struct RowOutcome {
  bool ended = false;
  std::wstring error;
  std::vector<std::wstring> messages;
  DataPtr data;
};

inline RowOutcome RunPrepared(ModelHost& host, const Row& row) {
  RowOutcome outcome;
  outcome.ended = host.Run();
  outcome.error = host.Error();
  outcome.messages = host.Messages(tessera::Issue::Error);
  outcome.data = host.Existing(L"op." + row.output);
  return outcome;
}

inline RowOutcome RunRow(const Row& row) {
  ModelHost host;
  Prepare(host, row);
  return RunPrepared(host, row);
}

inline void ExpectOutcome(const Row& row, const RowOutcome& outcome) {
  EXPECT_EQ(outcome.ended, row.error.empty());
  EXPECT_EQ(outcome.error, row.error);
  if (row.error.empty())
    ExpectSame(outcome.data, row.expected);
  else
    EXPECT_EQ(outcome.messages, std::vector<std::wstring>{row.error});
}

/// The rows on several threads at once, each thread with models of its own: they share the factories, the
/// conversions and the inputs. Each thread begins with another row, so that rows also meet one another.
inline void ExpectRowsInThreads(const std::vector<Row>& rows) {
  constexpr std::size_t kThreads = 4;
  std::vector<std::vector<RowOutcome>> outcomes(kThreads, std::vector<RowOutcome>(rows.size()));
  std::latch begin(kThreads);
  std::vector<std::thread> threads;
  for (std::size_t thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      begin.arrive_and_wait();
      for (std::size_t i = 0; i < rows.size(); ++i) {
        const std::size_t index = (i + thread * rows.size() / kThreads) % rows.size();
        try {
          outcomes[thread][index] = RunRow(rows[index]);
        } catch (const std::exception& exception) {
          outcomes[thread][index].error = kstr_FromUtf8Lossy(exception.what());
        }
      }
    });
  }
  for (auto& thread : threads) thread.join();
  for (std::size_t thread = 0; thread < kThreads; ++thread) {
    SCOPED_TRACE("on thread " + std::to_string(thread));
    for (std::size_t i = 0; i < rows.size(); ++i) {
      SCOPED_TRACE(rows[i].title);
      ExpectOutcome(rows[i], outcomes[thread][i]);
    }
  }
}

/// Executed, pulled and executed from its document: the same each time.
inline void ExpectRowAlone(const Row& row) {
  SCOPED_TRACE(row.title);
  ExpectOutcome(row, RunRow(row));

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
  ExpectOutcome(row, RunPrepared(reopened, row));
}

/// Each row alone, then all of them in threads.
inline void ExpectRows(const std::vector<Row>& rows) {
  for (const auto& row : rows) ExpectRowAlone(row);
  ExpectRowsInThreads(rows);
}
inline void ExpectRow(const Row& row) { ExpectRows({row}); }

}  // namespace testing_support
