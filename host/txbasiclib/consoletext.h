#pragma once

#include <string>
#include <string_view>
#include <vector>

/// What a program writes: told to the session log line by line, and kept until it has ended.
class ConsoleText {
 public:
  ConsoleText();
  /// The next bytes, as they come.
  void Take(std::string_view bytes);
  /// Tells the last line where it has no end. Gives the text; nothing is kept.
  std::wstring Finish();

 private:
  void Keep(std::string_view bytes);
  void Tell(std::string_view bytes);

  const bool isTold_;
  std::vector<std::string> blocks_;  ///< each ends with a character
  std::size_t size_ = 0;
  std::string line_;  ///< its beginning, as long as its end has not come
};
