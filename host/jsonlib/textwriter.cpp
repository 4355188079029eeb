#include "jsonlib/textwriter.h"

#include <algorithm>
#include <charconv>

namespace korven::jsonlib {

namespace {

constexpr std::size_t kDeepestIndentation = 100;

template <typename Integer>
void AppendInteger(std::string& out, Integer value) {
  char buffer[24];
  out.append(buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr);
}

}  // namespace

bool TextWriter::Null() {
  BeforeItem();
  out_ += "null";
  return true;
}

bool TextWriter::Bool(bool value) {
  BeforeItem();
  out_ += value ? "true" : "false";
  return true;
}

bool TextWriter::Int(std::int64_t value) {
  BeforeItem();
  AppendInteger(out_, value);
  return true;
}

bool TextWriter::Unsigned(std::uint64_t value) {
  BeforeItem();
  AppendInteger(out_, value);
  return true;
}

bool TextWriter::Double(double value) {
  BeforeItem();
  AppendDouble(out_, value);
  return true;
}

bool TextWriter::String(std::string_view text) {
  BeforeItem();
  AppendQuoted(out_, text);
  return true;
}

bool TextWriter::Key(std::string_view key) {
  BeforeItem();
  AppendQuoted(out_, key);
  out_ += styled_ ? ": " : ":";
  isBehindKey_ = true;
  return true;
}

bool TextWriter::Start(char bracket) {
  BeforeItem();
  out_.push_back(bracket);
  ++depth_;
  isFirst_ = true;
  return true;
}

bool TextWriter::End(char bracket) {
  --depth_;
  if (!isFirst_) NewLine();
  isFirst_ = false;
  out_.push_back(bracket);
  return true;
}

void TextWriter::BeforeItem() {
  if (isBehindKey_) {
    isBehindKey_ = false;
    return;
  }
  if (depth_ == 0) return;
  if (!isFirst_) out_.push_back(',');
  isFirst_ = false;
  NewLine();
}

void TextWriter::NewLine() {
  if (!styled_) return;
  out_.push_back('\n');
  out_.append(2 * std::min(depth_, kDeepestIndentation), ' ');
}

}  // namespace korven::jsonlib
