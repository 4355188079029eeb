#include "consoletext.h"

#include <algorithm>

#include "kcommon/kerr.h"
#include "kcommon/kstr.h"

namespace {

/// Small enough to be taken from memory that was freed before.
constexpr std::size_t kBlockSize = 1 << 16;
/// A line without an end is told in pieces, so that it doesn't fill the memory twice.
constexpr std::size_t kLongestLine = 1 << 16;

/// How many bytes at the end begin a character that goes on behind them.
std::size_t CutOffLength(std::string_view bytes) {
  for (std::size_t length = 1; length <= std::min<std::size_t>(3, bytes.size()); ++length) {
    const auto byte = static_cast<unsigned char>(bytes[bytes.size() - length]);
    if (byte < 0x80) return 0;
    if (byte < 0xC0) continue;
    const std::size_t whole = byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
    return whole > length ? length : 0;
  }
  return 0;
}

void TellLine(std::string_view line) {
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  kerr_LogLine(kstr_FromUtf8Lossy(line));
}

}  // namespace

ConsoleText::ConsoleText() : isTold_(kerr_IsSessionLogOpen()) {}

void ConsoleText::Take(std::string_view bytes) {
  if (isTold_) Tell(bytes);
  Keep(bytes);
}

void ConsoleText::Keep(std::string_view bytes) {
  size_ += bytes.size();
  while (!bytes.empty()) {
    if (blocks_.empty() || blocks_.back().size() >= kBlockSize) {
      const std::size_t cutOff = blocks_.empty() ? 0 : CutOffLength(blocks_.back());
      std::string next;
      next.reserve(kBlockSize);
      if (cutOff > 0) {
        next.assign(blocks_.back(), blocks_.back().size() - cutOff);
        blocks_.back().resize(blocks_.back().size() - cutOff);
      }
      blocks_.push_back(std::move(next));
    }
    std::string& block = blocks_.back();
    const std::size_t count = std::min(bytes.size(), kBlockSize - block.size());
    block += bytes.substr(0, count);
    bytes.remove_prefix(count);
  }
}

void ConsoleText::Tell(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::size_t end = bytes.find('\n');
    const std::size_t count = std::min(end == std::string_view::npos ? bytes.size() : end, kLongestLine - line_.size());
    if (line_.empty() && count == end) {
      TellLine(bytes.substr(0, end));
      bytes.remove_prefix(end + 1);
      continue;
    }
    line_ += bytes.substr(0, count);
    bytes.remove_prefix(count);
    const bool isWhole = !bytes.empty() && bytes.front() == '\n';
    if (!isWhole && line_.size() < kLongestLine) continue;
    const std::string begun = isWhole ? std::string() : line_.substr(line_.size() - CutOffLength(line_));
    TellLine(std::string_view(line_).substr(0, line_.size() - begun.size()));
    line_ = begun;
    if (isWhole) bytes.remove_prefix(1);
  }
}

std::wstring ConsoleText::Finish() {
  if (!line_.empty()) TellLine(line_);
  line_.clear();
  std::wstring text;
  kstr_Reserve(text, size_);
  for (std::string& block : blocks_) {
    kstr_AppendUtf8Lossy(text, block);
    std::string().swap(block);
  }
  blocks_.clear();
  size_ = 0;
  return text;
}
