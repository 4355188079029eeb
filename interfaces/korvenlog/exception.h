#pragma once

#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace KorvenLog {

/// What every exception of the engine's libraries tells: text, source file, function and line.
class Exception {
 public:
  Exception(std::wstring sourceFile, std::wstring function)
      : sourceFile_(std::move(sourceFile)), function_(std::move(function)) {}
  virtual ~Exception() = default;

  /// The text, or "Unknown exception" where there is none.
  virtual std::wstring get_What() const = 0;
  int get_LineNum() const { return line_; }
  const std::wstring& get_SourceFile() const { return sourceFile_; }
  const std::wstring& get_Function() const { return function_; }

 protected:
  Exception(const Exception&) = default;
  Exception& operator=(const Exception&) = default;
  void set_LineNum(int line) { line_ = line; }

 private:
  std::wstring sourceFile_;
  std::wstring function_;
  int line_ = 0;
};

/// Keeps a failure without raising it. Base of KerrException.
class UnthrownException : public Exception {
 public:
  using Exception::Exception;
  std::wstring get_What() const override;
  bool IsPending() const { return pending_.has_value(); }

 protected:
  void SetPending(int line, std::wstring text);
  void ClearPending() { pending_.reset(); }

 private:
  std::optional<std::wstring> pending_;
};

/// UTF-8 of wide text, for std::exception::what(). What is no Unicode scalar value becomes U+FFFD.
std::string Narrow(std::wstring_view text);

/// An exception that is both of this library and of the standard one.
template <typename StandardException>
class CPPException : public Exception, public StandardException {
 public:
  CPPException(std::wstring sourceFile, std::wstring function)
      : Exception(std::move(sourceFile), std::move(function)), StandardException("Unspecified") {}

  /// Stores line and text and throws a copy of this object.
  [[noreturn]] void Throw(int line, const std::wstring& text) {
    set_LineNum(line);
    text_ = text;
    static_cast<StandardException&>(*this) = StandardException(Narrow(text));
    throw CPPException(*this);
  }
  std::wstring get_What() const override { return text_.value_or(L"Unknown exception"); }

 private:
  std::optional<std::wstring> text_;
};

}  // namespace KorvenLog
