#include "batch/joblist.h"

#include <sys/stat.h>

#include <algorithm>
#include <utility>

#include "jsonlib/value.h"
#include "kcommon/kfio.h"
#include "kcommon/kfnp.h"
#include "kcommon/kstr.h"

namespace korven::batch {

namespace {

std::vector<std::string> SplitLine(std::string_view line) {
  std::vector<std::string> values;
  for (bool more = true; more;) {
    const std::size_t tab = line.find('\t');
    std::string_view value = line.substr(0, tab);
    if (value.size() > 1 && value.front() == '\'' && value.back() == '\'') value = value.substr(1, value.size() - 2);
    values.emplace_back(value);
    more = tab != std::string_view::npos;
    if (more) line.remove_prefix(tab + 1);
  }
  return values;
}

std::string Expand(const std::string& text) { return kfnp_ToNative(kstr_PathExpand(kfnp_FromNative(text))); }

}  // namespace

JobList JobList::Parse(std::string_view bytes) {
  JobList list;
  for (bool first = true; !bytes.empty(); first = false) {
    const std::size_t end = std::min(bytes.find('\n'), bytes.size());
    std::string_view line = bytes.substr(0, end);
    bytes.remove_prefix(std::min(end + 1, bytes.size()));
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (first) {
      list.columns = SplitLine(line);
    } else {
      list.lines.push_back(SplitLine(line));
    }
  }
  if (list.columns.empty() || list.columns.front().empty())
    throw BatchFault("found no columns, expected their names in the first line");
  return list;
}

std::size_t JobList::FindColumn(std::string_view name) const {
  return static_cast<std::size_t>(std::find(columns.begin(), columns.end(), name) - columns.begin());
}

JobDescription::Word JobDescription::ParseWord(const std::string& text) {
  Word word;
  std::string literal;
  const auto endLiteral = [&] {
    if (!literal.empty()) word.push_back({false, Expand(literal)});
    literal.clear();
  };
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isReference = text[i] == '$' && text.compare(i, 2, "${") == 0;
    const bool isBrace = text.compare(i, 2, "{{") == 0;
    if (text[i] != '{' && !isReference) {
      literal += text[i];
    } else if (isBrace) {
      literal += text[i++];
    } else {
      const std::size_t close = text.find('}', i);
      if (close == std::string::npos) throw BatchFault("command: \"" + text + "\": a brace is not closed");
      if (isReference) {
        literal.append(text, i, close + 1 - i);
      } else {
        endLiteral();
        word.push_back({true, text.substr(i + 1, close - i - 1)});
      }
      i = close;
    }
  }
  endLiteral();
  return word;
}

JobDescription JobDescription::Parse(std::string_view utf8) {
  jsonlib::Value root;
  jsonlib::Reader reader{jsonlib::ParseOptions()};
  if (!reader.parseUtf8(utf8, root)) throw BatchFault(kstr_ToUtf8(reader.getFormattedErrorMessages()));
  const jsonlib::Value& command = std::as_const(root)[L"command"];
  if (!command.isArray() || command.size() == 0)
    throw BatchFault("expected {\"command\": [WORD, ...]} with at least one word");
  JobDescription job;
  for (std::size_t i = 0; i < command.size(); ++i) {
    if (!command[i].isString()) throw BatchFault("command[" + std::to_string(i) + "]: expected a string");
    job.command_.push_back(ParseWord(kstr_ToUtf8(command[i].asString())));
  }
  job.input_ = kstr_ToUtf8(std::as_const(root)[L"input"].asString());
  job.output_ = kstr_ToUtf8(std::as_const(root)[L"output"].asString());
  return job;
}

void JobDescription::CheckColumns(const JobList& list) const {
  const auto check = [&list](const std::string& name) {
    if (list.FindColumn(name) < list.columns.size()) return;
    std::string known;
    for (const std::string& column : list.columns) known += (known.empty() ? "" : ", ") + column;
    throw BatchFault("the job names the column \"" + name + "\"; the list has " + known);
  };
  for (const Word& word : command_) {
    for (const Piece& piece : word) {
      if (piece.isColumn) check(piece.text);
    }
  }
  if (!input_.empty()) check(input_);
  if (!output_.empty()) check(output_);
}

std::vector<std::string> JobDescription::WordsFor(const JobList& list, const std::vector<std::string>& line) const {
  std::vector<std::string> words;
  for (const Word& word : command_) {
    std::string& text = words.emplace_back();
    for (const Piece& piece : word) text += piece.isColumn ? line.at(list.FindColumn(piece.text)) : piece.text;
  }
  return words;
}

bool IsOutputWhole(const std::string& output, const std::string& input) {
  struct stat written {
  }, read{};
  if (::stat(output.c_str(), &written) != 0 || ::stat(input.c_str(), &read) != 0) return false;
  const auto time = [](const struct stat& facts) { return std::pair(facts.st_mtim.tv_sec, facts.st_mtim.tv_nsec); };
  if (time(written) <= time(read)) return false;
  try {
    jsonlib::Value root;
    return jsonlib::Reader().parseUtf8(kfio::ReadBytes(kfnp_FromNative(output)), root) &&
           std::as_const(root)[L"Outputs"].isArray();
  } catch (const std::exception&) {
    return false;  // who can't be read is not whole
  }
}

}  // namespace korven::batch
