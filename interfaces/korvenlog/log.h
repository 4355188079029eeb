#pragma once

#include <functional>
#include <string>

namespace KorvenLog {

enum class Level { Debug = 0, Information = 1, Warning = 2, Error = 3 };

/// A named channel. Cheap to make; thread-safe. Channels are off unless a sink is set: the default level is
/// Error, the environment variable TESSERA_LOG_LEVEL (debug, information, warning) lowers it.
class Log {
 public:
  explicit Log(std::wstring channel);
  bool IsEnabled(Level level) const;
  void LogDebug(const std::wstring& text) const;
  void LogWarning(const std::wstring& text) const;

  using Sink = std::function<void(const std::wstring& channel, Level level, const std::wstring& text)>;
  /// Replaces where the enabled lines of all channels go (standard error at first) and from which level on.
  static void SetSink(Sink sink, Level lowest);

 private:
  void Write(Level level, const std::wstring& text) const;
  std::wstring channel_;
};

}  // namespace KorvenLog
