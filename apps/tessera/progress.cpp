#include "progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>

#include "kcommon/kstr.h"

namespace TesseraProgram {

using namespace Tamrin::Tessera;

namespace {

constexpr auto kBetween = std::chrono::milliseconds(100);
constexpr auto kTick = std::chrono::milliseconds(250);
constexpr std::size_t kWidth = 24;
constexpr std::string_view kWipe = "\r\x1b[K";

std::mutex terminalMutex;
std::atomic<bool> barShown{false};

std::string Clock(double seconds) {
  char text[48];
  const long whole = static_cast<long>(seconds);
  if (whole >= 3600)
    std::snprintf(text, sizeof text, "%ld:%02ld:%02ld", whole / 3600, whole / 60 % 60, whole % 60);
  else
    std::snprintf(text, sizeof text, "%ld:%02ld", whole / 60, whole % 60);
  return text;
}

/// A name may hold what would break the line.
std::string OneLine(std::wstring name) {
  for (wchar_t& c : name)
    if (c < 0x20 || (c >= 0x7F && c < 0xA0)) c = L' ';
  return kstr_ToUtf8(name);
}

std::size_t Columns() {
  winsize size{};
  return ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

/// Cut to a number of columns; a letter of a wide script may take two.
std::string Cut(const std::string& utf8, std::size_t columns) {
  const std::wstring text = kstr_FromUtf8Lossy(utf8);
  std::size_t used = 0, fitting = 0, length = 0;
  for (const wchar_t c : text) {
    used += c >= 0x1100 ? 2 : 1;
    if (used + 1 <= columns) fitting = length + 1;
    ++length;
  }
  if (used <= columns) return utf8;
  return columns == 0 ? std::string() : kstr_ToUtf8(text.substr(0, fitting) + L"\u2026");
}

void WriteToTerminal(std::string_view text) {
  // Where a terminal can't be written there is nobody to tell.
  [[maybe_unused]] const ssize_t count = ::write(STDERR_FILENO, text.data(), text.size());
}

}  // namespace

Progress::Kind Progress::Choose(const std::string& name, bool quiet) {
  if (name == "plain") return Kind::Plain;
  const bool isTerminal = ::isatty(STDERR_FILENO) == 1;
  if (name == "bar" || (name == "auto" && !quiet)) return isTerminal ? Kind::Bar : Kind::None;
  return Kind::None;
}

Progress::Aside::Aside() : lock_(terminalMutex) { Wipe(); }

void Progress::Wipe() {
  if (barShown.exchange(false)) WriteToTerminal(kWipe);
}

Progress::Progress(Kind kind, const boost::shared_ptr<Model>& model) : kind_(kind), model_(model) {
  if (kind_ == Kind::None) return;
  model->GetEnvironment()->SetRunObserver(
      [this](const boost::shared_ptr<Operator>& op, bool finished) { OnOperator(op, finished); });
  handle_ = model->AddOnProgressCallback(
      [this](const boost::shared_ptr<Operator>& op, double percent) { OnPercent(op, percent); });
  if (kind_ == Kind::Bar) ticker_ = std::thread([this] { Tick(); });
}

Progress::~Progress() {
  if (kind_ == Kind::None) return;
  model_->GetEnvironment()->SetRunObserver({});
  {
    const std::lock_guard lock(mutex_);
    ended_ = true;
  }
  ending_.notify_all();
  if (ticker_.joinable()) ticker_.join();
  const Aside aside;
}

void Progress::Tick() {
  std::unique_lock lock(mutex_);
  while (!ending_.wait_for(lock, kTick, [this] { return ended_; })) Show(false);
}

void Progress::OnOperator(const boost::shared_ptr<Operator>& op, bool finished) {
  const std::lock_guard lock(mutex_);
  if (op == model_) return;
  const auto process = op->GetProcess();
  if (finished) {
    const auto ended =
        std::find_if(running_.rbegin(), running_.rend(), [&](const auto& r) { return r.op == op.get(); });
    if (ended != running_.rend()) running_.erase(std::next(ended).base());
    percents_.erase(op.get());
    if (finished_.insert(op.get()).second) ++finishedInside_[process.get()];
    if (!running_.empty()) name_ = running_.back().name;
  } else {
    const Operator& shown = ToShow(*op);
    name_ = OneLine(shown.GetDisplayName());
    running_.push_back({op.get(), process.get(), name_, shown.AllowsReflection() ? nullptr : &shown});
  }
  Show(kind_ == Kind::Plain && process == model_ && model_->AllowsReflection());
}

const Progress::Operator& Progress::ToShow(const Operator& op) const {
  const Operator& visible = Model::GetVisible(op);
  if (!visible.AllowsReflection()) return visible;
  if (!model_->AllowsReflection()) return *model_;
  boost::shared_ptr<Operator> outermost = op.GetProcess();
  for (auto around = outermost; around; around = around->GetProcess()) outermost = around;
  if (outermost == model_) return visible;
  const auto hidden = std::find_if(running_.begin(), running_.end(), [](const Running& r) { return r.hiddenBy; });
  return hidden == running_.end() ? visible : *hidden->hiddenBy;
}

void Progress::OnPercent(const boost::shared_ptr<Operator>& op, double percent) {
  const std::lock_guard lock(mutex_);
  percents_[op.get()] = percent;
  Show(false);
}

double Progress::ShareOf(const Model& model) const {
  const std::size_t count = model.GetOperators().size();
  if (count == 0) return 0;
  const auto finished = finishedInside_.find(&model);
  double done = finished == finishedInside_.end() ? 0 : static_cast<double>(finished->second);
  for (const Running& running : running_) {
    // One that runs again, in a loop, has been counted.
    if (running.process != &model || finished_.count(running.op)) continue;
    const auto percent = percents_.find(running.op);
    if (percent != percents_.end())
      done += percent->second / 100;
    else if (const auto* inner = dynamic_cast<const Model*>(running.op))
      done += ShareOf(*inner);
  }
  return std::min(1.0, done / static_cast<double>(count));
}

void Progress::Show(bool always) {
  const auto now = std::chrono::steady_clock::now();
  if (!always && now - shown_ < kBetween) return;
  share_ = std::max(share_, ShareOf(*model_));
  const int percent = static_cast<int>(share_ * 100);
  if (kind_ == Kind::Plain && percent == lastPercent_) return;
  shown_ = now;
  lastPercent_ = percent;
  if (kind_ == Kind::Bar) {
    ShowBar(std::chrono::duration<double>(now - start_).count());
    return;
  }
  const std::lock_guard lock(terminalMutex);
  std::fprintf(stderr, "%3d%% %s\n", percent, name_.c_str());
}

void Progress::ShowBar(double elapsed) {
  std::string times = " (" + Clock(elapsed);
  if (share_ > 0 && share_ < 1) times += ", " + Clock(elapsed * (1 - share_) / share_) + " left";
  times += ")";
  std::string bar(static_cast<std::size_t>(share_ * kWidth), '#');
  bar.resize(kWidth, ' ');
  char percent[8];
  std::snprintf(percent, sizeof percent, "%3d%% ", lastPercent_);
  const std::string head = "[" + bar + "] " + percent;
  // The last column stays free: some terminals go to the next line with it. A line that is longer than the
  // terminal is wide could not be written over.
  const std::size_t columns = Columns() - 1;
  const std::size_t fixed = head.size() + times.size();
  const std::string line = head + Cut(name_, columns > fixed ? columns - fixed : 0) + times;
  const std::lock_guard lock(terminalMutex);
  barShown = true;
  WriteToTerminal(std::string(kWipe) + (fixed > columns ? Cut(line, columns) : line));
}

}  // namespace TesseraProgram
