#include "korvenlog/log.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string_view>

#include "korvenlog/exception.h"

namespace KorvenLog {

namespace {

const wchar_t* LevelName(Level level) {
  switch (level) {
    case Level::Debug:
      return L"debug";
    case Level::Information:
      return L"information";
    case Level::Warning:
      return L"warning";
    case Level::Error:
      return L"error";
  }
  return L"";
}

Level LevelOfEnvironment() {
  const char* value = std::getenv("TESSERA_LOG_LEVEL");
  const std::string_view name = value ? value : "";
  if (name == "debug") return Level::Debug;
  if (name == "information") return Level::Information;
  if (name == "warning") return Level::Warning;
  return Level::Error;
}

void WriteToStandardError(const std::wstring& channel, Level level, const std::wstring& text) {
  const std::string line = Narrow(channel + L": " + LevelName(level) + L": " + text + L"\n");
  std::fwrite(line.data(), 1, line.size(), stderr);
}

struct State {
  std::atomic<Level> lowest{LevelOfEnvironment()};
  // Held while a sink runs, so that replacing a sink waits for its last line; a sink may log itself.
  std::recursive_mutex mutex;
  Log::Sink sink = WriteToStandardError;
};

// Never destroyed: destructors of other static objects may still log.
State& TheState() {
  static State& state = *new State;
  return state;
}

}  // namespace

Log::Log(std::wstring channel) : channel_(std::move(channel)) {}

bool Log::IsEnabled(Level level) const { return level >= TheState().lowest.load(std::memory_order_relaxed); }

void Log::LogDebug(const std::wstring& text) const { Write(Level::Debug, text); }

void Log::LogWarning(const std::wstring& text) const { Write(Level::Warning, text); }

void Log::Write(Level level, const std::wstring& text) const {
  if (!IsEnabled(level)) return;
  State& state = TheState();
  const std::lock_guard lock(state.mutex);
  const Sink sink = state.sink;  // a copy: the sink may replace itself while it runs
  if (sink) sink(channel_, level, text);
}

void Log::SetSink(Sink sink, Level lowest) {
  State& state = TheState();
  const std::lock_guard lock(state.mutex);
  state.sink = std::move(sink);
  state.lowest = lowest;
}

}  // namespace KorvenLog
