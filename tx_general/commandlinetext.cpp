#include <algorithm>
#include <boost/algorithm/string/join.hpp>

#include "commandline.h"
#include "kcommon/kerr.h"
#include "kcommon/kfnp.h"
#include "kcommon/kpmg.h"
#include "kcommon/kstr.h"
#include "kcommon/ktxt.h"
#include "txlib/model.h"

namespace korven::tx_general {

namespace {

constexpr std::size_t kDeepestPattern = 200;
/// Patterns that name each other twice over double with each step.
constexpr std::size_t kLongestName = 1 << 20;

constexpr const wchar_t* kSource = L"tx_general\\commandlineoperator";

std::wstring InFormOf(bool isInternal, const std::wstring& name, const wchar_t* scope) {
  KerrException error(kSource, scope);
  const std::wstring converted =
      isInternal ? kfnp_FileNameExternalToInternal(name, error) : kfnp_FileNameInternalToExternal(name, error);
  error.Check(__LINE__);
  return converted;
}

wchar_t LowerAscii(wchar_t c) { return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c - L'A' + L'a') : c; }

}  // namespace

std::wstring CommandLineOperator::ExpandArgumentExpression(const std::wstring& text) {
  std::vector<std::wstring> words;
  arguments_.clear();
  for (const std::wstring& token : SplitArguments(text)) words.push_back(ExpandArgument(token));
  return boost::algorithm::join(words, L" ");
}

std::vector<std::wstring> CommandLineOperator::TakeApart(const std::wstring& /*line*/) { return std::move(arguments_); }

std::vector<std::wstring> CommandLineOperator::SplitArguments(const std::wstring& text) {
  std::vector<std::wstring> tokens;
  std::wstring token;
  bool inQuotes = false, started = false;
  const auto push = [&] {
    tokens.push_back(std::move(token));
    token.clear();
  };
  for (const wchar_t c : text) {
    if (c == L'"') {
      if (started) token += c;
      if (inQuotes) push();
      inQuotes = !inQuotes;
    } else if (!inQuotes && IsArgumentSpace(c)) {
      if (!token.empty()) push();
      started = false;
    } else {
      token += c;
      if (!inQuotes) started = true;
    }
  }
  if (!token.empty()) push();
  return tokens;
}

std::wstring CommandLineOperator::ExpandArgument(const std::wstring& token) {
  std::wstring text, name;
  bool inName = false;
  for (std::size_t i = 0; i < token.size(); ++i) {
    const wchar_t c = token[i];
    if (c == L'$') {
      name.clear();
      inName = true;
    } else if (!inName) {
      text += c;
    } else if (ktxt_Text_isalnum(c) || c == L'_') {
      name += c;
      if (i + 1 == token.size()) text += ResolveName(name);
    } else {
      text += ResolveName(name);
      text += c;
      inName = false;
    }
  }
  arguments_.push_back(text);
  return QuoteIfNeeded(text);
}

std::wstring CommandLineOperator::ResolveName(const std::wstring& name) {
  std::wstring value = GetPortValueAsString(name);
  if (!value.empty()) return value;
  if (!isLooking_) {
    SetWarningMessage(L"Possible value replacement failure.  No value located for " + name + L", so $" + name +
                      L" will be sent on the command line.");
  }
  return L"$" + name;
}

std::wstring CommandLineOperator::QuoteIfNeeded(const std::wstring& token) {
  const bool isQuoted =
      std::any_of(token.begin(), token.end(), IsArgumentSpace) && token.find(L'"') == std::wstring::npos;
  return isQuoted ? L"\"" + token + L"\"" : token;
}

std::wstring CommandLineOperator::GetPortValueAsString(const std::wstring& name) {
  for (const wchar_t* word : {L"TEMP", L"DEFAULT_DATA", L"DEFAULT_OUTPUT", L"COMMAND_NAME"}) {
    if (EqualsIgnoreCase(name, word)) return name;
  }
  const auto port = GetPort(name);
  if (!port) return {};
  if (port->IsOutput()) {
    const auto sibling = GetPort(name + L"Name");
    const auto pattern = sibling ? Read(sibling) : nullptr;
    return pattern ? ExpandOutputName(name, pattern->ToString()) : std::wstring();
  }
  const auto data = Read(port);
  if (!data) return {};
  return InFormOf(IsKORVENExecutable(), data->ToString(),
                  L"korven::tx_general::CommandLineOperator::GetPortValueAsString");
}

std::wstring CommandLineOperator::ExpandOutputName(const std::wstring& name, const std::wstring& pattern) {
  const auto begin = std::find(expanding_.begin(), expanding_.end(), name);
  if (begin != expanding_.end()) {
    std::vector<std::wstring> circle(begin, expanding_.end());
    circle.push_back(name);
    SetErrorMessage(L"The file name patterns of these ports lead in a circle: " +
                    boost::algorithm::join(circle, L", ") + L".");
  }
  if (expanding_.size() >= kDeepestPattern) {
    SetErrorMessage(L"More than " + std::to_wstring(kDeepestPattern) +
                    L" file name patterns lean on each other, the last one that of the port " + name + L".");
  }
  expanding_.push_back(name);
  struct Leaving {
    std::vector<std::wstring>& names;
    ~Leaving() { names.pop_back(); }
  } const leaving{expanding_};
  return ExpandFilenamePattern(pattern);
}

std::wstring CommandLineOperator::ExpandFilenamePattern(const std::wstring& pattern) {
  enum class State { Text, Dollar, Name, Part } state = State::Text;
  std::wstring result, name, part;
  const auto substitute = [&] {
    // What was left over from an earlier part counts where this name has none of its own.
    result += ExpandFilenamePart(GetPortValueAsString(name), part);
    if (result.size() > kLongestName) {
      SetErrorMessage(L"The file name of the port " + (expanding_.empty() ? std::wstring() : expanding_.back()) +
                      L" is longer than " + std::to_wstring(kLongestName) + L" characters.");
    }
    state = State::Text;
  };
  for (const wchar_t c : pattern) {
    switch (state) {
      case State::Text:
        if (c == L'$')
          state = State::Dollar;
        else
          result += c;
        break;
      case State::Dollar:
        if (c == L'(') {
          name.clear();
          state = State::Name;
          break;
        }
        if (c != L'$') result += L'$';
        result += c;
        state = State::Text;
        break;
      case State::Name:
        if (c == L')') {
          substitute();
        } else if (c == L'.') {
          part.clear();
          state = State::Part;
        } else {
          name += c;
        }
        break;
      case State::Part:
        if (c == L')')
          substitute();
        else
          part += c;
        break;
    }
  }
  return InFormOf(IsKORVENExecutable(), result, L"korven::tx_general::CommandLineOperator::ExpandFilenamePattern");
}

std::wstring CommandLineOperator::ExpandFilenamePart(const std::wstring& value, const std::wstring& part) {
  if (EqualsIgnoreCase(value, L"TEMP")) {
    if (isLooking_) isKnown_ = false;  // the folder is made when it is asked for
    const auto model = isLooking_ ? nullptr : GetMainProcess();
    return model ? model->GetTemporaryDirectory() : std::wstring();
  }
  if (EqualsIgnoreCase(value, L"DEFAULT_INPUT")) return ExpandPreferencePath(L"ksc", L"default_data_path");
  if (EqualsIgnoreCase(value, L"DEFAULT_OUTPUT")) return ExpandPreferencePath(L"ksc", L"default_output_path");
  if (EqualsIgnoreCase(value, L"COMMAND_NAME")) return GetDisplayName();
  if (part.empty()) return value;
  const std::wstring name = InFormOf(true, value, L"korven::tx_general::CommandLineOperator::ExpandFilenamePart");
  if (EqualsIgnoreCase(part, L"Ext")) return kfnp_FileNameGetExtPart(name);
  if (EqualsIgnoreCase(part, L"Root")) return kfnp_FileNameGetBasePart(name);
  if (EqualsIgnoreCase(part, L"Name")) return kfnp_FileNameGetNamePart(name);
  if (EqualsIgnoreCase(part, L"Path")) return kfnp_FileNameGetPathPart(name);
  return {};
}

std::wstring CommandLineOperator::ExpandPreferencePath(const std::wstring& category, const std::wstring& key) {
  KerrException error(kSource, L"korven::tx_general::CommandLineOperator::ExpandPreferencePath");
  const std::wstring path = kpmg_GetStringPreference(category, key, {}, error);
  error.Check(__LINE__);
  const std::wstring expanded = kstr_StringExpand(path, error);
  error.Check(__LINE__);
  return expanded;
}

bool CommandLineOperator::EqualsIgnoreCase(const std::wstring& a, const std::wstring& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](wchar_t x, wchar_t y) { return LowerAscii(x) == LowerAscii(y); });
}

}  // namespace korven::tx_general
