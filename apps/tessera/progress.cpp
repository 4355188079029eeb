#include "progress.h"

#include <unistd.h>

#include <cstdio>

#include "kcommon/kstr.h"

namespace TesseraProgram {

using namespace Tamrin::Tessera;

namespace {

constexpr auto kBetween = std::chrono::milliseconds(100);
constexpr int kWidth = 24;

std::string Clock(double seconds) {
  char text[32];
  const long whole = static_cast<long>(seconds);
  std::snprintf(text, sizeof text, "%ld:%02ld", whole / 60, whole % 60);
  return text;
}

}  // namespace

Progress::Kind Progress::Choose(const std::string& name, bool quiet) {
  if (name == "plain") return Kind::Plain;
  const bool isTerminal = ::isatty(STDERR_FILENO) == 1;
  if (name == "bar" || (name == "auto" && !quiet)) return isTerminal ? Kind::Bar : Kind::None;
  return Kind::None;
}

Progress::Progress(Kind kind, const boost::shared_ptr<Model>& model) : kind_(kind), model_(model) {
  if (kind_ == Kind::None) return;
  total_ = model->GetOperators().size();
  model->GetEnvironment()->SetRunObserver(
      [this](const boost::shared_ptr<Operator>& op, bool finished) { OnOperator(op, finished); });
  handle_ =
      model->AddOnProgressCallback([this](const boost::shared_ptr<Operator>&, double percent) { OnPercent(percent); });
}

Progress::~Progress() {
  if (kind_ == Kind::None) return;
  model_->GetEnvironment()->SetRunObserver({});
  if (kind_ == Kind::Bar) std::fputs("\r\x1b[K", stderr);
}

void Progress::OnOperator(const boost::shared_ptr<Operator>& op, bool finished) {
  const std::lock_guard lock(mutex_);
  if (op == model_) return;
  const bool isOwn = op->GetProcess() == model_;
  if (finished && isOwn) finished_.insert(op.get());
  if (!finished) {
    running_ = op->GetDisplayName();
    if (isOwn) currentPercent_ = 0;
  }
  Show(kind_ == Kind::Plain && isOwn);
}

void Progress::OnPercent(double percent) {
  const std::lock_guard lock(mutex_);
  currentPercent_ = percent;
  Show(false);
}

void Progress::Show(bool always) {
  const auto now = std::chrono::steady_clock::now();
  const bool isWhole = finished_.size() >= total_;
  const double done = static_cast<double>(finished_.size()) + (isWhole ? 0 : currentPercent_ / 100);
  const double share = total_ ? std::min(1.0, done / static_cast<double>(total_)) : 1.0;
  const int percent = static_cast<int>(share * 100);
  if (!always && now - shown_ < kBetween) return;
  if (kind_ == Kind::Plain && percent == lastPercent_) return;
  shown_ = now;
  lastPercent_ = percent;
  const std::string name = kstr_ToUtf8(running_);
  if (kind_ == Kind::Plain) {
    std::fprintf(stderr, "%3d%% %s\n", percent, name.c_str());
    return;
  }
  const double elapsed = std::chrono::duration<double>(now - start_).count();
  std::string bar(static_cast<std::size_t>(share * kWidth), '#');
  bar.resize(kWidth, ' ');
  std::string times = Clock(elapsed);
  if (share > 0 && share < 1) times += ", " + Clock(elapsed * (1 - share) / share) + " left";
  std::fprintf(stderr, "\r\x1b[K[%s] %3d%% %s (%s)", bar.c_str(), percent, name.c_str(), times.c_str());
  std::fflush(stderr);
}

}  // namespace TesseraProgram
