#include "profile.h"

#include <algorithm>
#include <cstdio>

#include "kcommon/kstr.h"
#include "program.h"
#include "txlib/document.h"

namespace TesseraProgram {

using namespace Tamrin::Tessera;

namespace {

double Seconds(std::chrono::steady_clock::duration duration) { return std::chrono::duration<double>(duration).count(); }

/// Ids from outside inwards. Empty for what no document names, such as the helpers of an operator's own.
std::string PathOf(const Operator& op) {
  std::string path;
  if (GetDocumentId(op).empty()) return path;
  for (const OperatorStep& step : GetOperatorPath(op)) {
    const std::string id = GetDocumentId(*step.op);
    if (!id.empty()) path += (path.empty() ? "" : ".") + id;
  }
  return path;
}

}  // namespace

Profile::Profile(const boost::shared_ptr<Model>& model) {
  if (model->AllowsReflection()) AddRows(*model, "");
  handle_ = model->GetEnvironment()->AddStepObserver(
      [this](const boost::shared_ptr<Operator>& op, RunStep step) { OnStep(op, step); });
}

void Profile::AddRows(const Model& model, const std::string& prefix) {
  for (const auto& op : model.GetOperators()) {
    const std::string id = GetDocumentId(*op);
    const std::string path = id.empty() ? prefix : (prefix.empty() ? "" : prefix + ".") + id;
    if (!id.empty() && byPath_.emplace(path, rows_.size()).second) {
      rows_.emplace_back();
      rows_.back().path = path;
      rows_.back().operatorName = op->GetOperatorNamespace() + L"." + op->GetOperatorName();
      rows_.back().displayName = op->GetDisplayName();
    }
    // What a model hides, its own time holds.
    const auto* const inner = dynamic_cast<const Model*>(op.get());
    if (inner && inner->AllowsReflection()) AddRows(*inner, path);
  }
}

namespace {
/// The steps that this thread is in. A program profiles one run at a time.
template <typename Frame>
std::vector<Frame>& ThreadFrames() {
  static thread_local std::vector<Frame> frames;
  return frames;
}
}  // namespace

void Profile::OnStep(const boost::shared_ptr<Operator>& op, RunStep step) {
  if (step == RunStep::BeginRun || step == RunStep::BeginPull) {
    ThreadFrames<Frame>().push_back({op.get(), Clock::now()});
  } else {
    End(*op, step == RunStep::EndPull);
  }
}

void Profile::End(const Operator& op, bool isPull) {
  auto& frames = ThreadFrames<Frame>();
  const Frame frame = frames.back();
  frames.pop_back();
  const Clock::duration total = Clock::now() - frame.begin;
  const auto row = byPath_.find(PathOf(op));
  if (!frames.empty()) frames.back().inner += row == byPath_.end() ? frame.inner : total;
  if (row == byPath_.end()) return;
  const bool isInsideItself =
      std::any_of(frames.begin(), frames.end(), [&](const Frame& outer) { return outer.op == &op; });
  const std::lock_guard lock(mutex_);
  Row& sums = rows_[row->second];
  ++(isPull ? sums.pulls : sums.runs);
  sums.own += total - frame.inner;
  if (!isInsideItself) sums.total += total;
}

JsonValue Profile::ToJson() const {
  const std::lock_guard lock(mutex_);
  JsonValue json(JsonValueType::Object);
  json.Set("wallSeconds", JsonValue(Seconds(Clock::now() - begin_)));
  JsonValue operators(JsonValueType::Array);
  for (const Row& row : rows_) {
    JsonValue entry(JsonValueType::Object);
    entry.Set("id", JsonValue::FromUtf8(row.path));
    entry.Set("operator", JsonValue(row.operatorName));
    entry.Set("displayName", JsonValue(row.displayName));
    entry.Set("runs", JsonValue::FromInt64(static_cast<std::int64_t>(row.runs)));
    entry.Set("pulls", JsonValue::FromInt64(static_cast<std::int64_t>(row.pulls)));
    entry.Set("totalSeconds", JsonValue(Seconds(row.total)));
    entry.Set("ownSeconds", JsonValue(Seconds(row.own)));
    operators.Append(std::move(entry));
  }
  json.Set("operators", std::move(operators));
  return json;
}

void Profile::Print() const {
  const std::lock_guard lock(mutex_);
  std::vector<const Row*> rows;
  for (const Row& row : rows_) {
    if (row.runs + row.pulls != 0) rows.push_back(&row);
  }
  std::stable_sort(rows.begin(), rows.end(), [](const Row* a, const Row* b) { return a->own > b->own; });
  PrintError(L"profile: own s    total s     runs    pulls  operator");
  for (const Row* row : rows) {
    char numbers[80];
    std::snprintf(numbers, sizeof numbers, "%14.6f %10.6f %8zu %8zu  ", Seconds(row->own), Seconds(row->total),
                  row->runs, row->pulls);
    PrintError(kstr_Widen(numbers) + kstr_FromUtf8Lossy(row->path) + L": " + row->displayName + L" (" +
               row->operatorName + L")");
  }
}

}  // namespace TesseraProgram
