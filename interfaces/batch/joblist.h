#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace korven::batch {

/// A call, a job description or a list that is wrong. The text is UTF-8 and says where.
class BatchFault : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The lines of a list: values under the columns that its first line names. Values are separated by tabs; single quotes
/// around one are taken off. Lines end with a line feed, or carriage return and line feed.
struct JobList {
  std::vector<std::string> columns;
  /// Those of a line that is not whole differ from the columns in their number.
  std::vector<std::vector<std::string>> lines;

  /// Raises BatchFault where there is no line with columns.
  static JobList Parse(std::string_view bytes);
  std::size_t FindColumn(std::string_view name) const;  ///< the number of columns where there is none
};

/// What is run for each line. JSON: {"command": [WORD, ...], "input": COLUMN, "output": COLUMN}; comments are taken. In
/// a word {COLUMN} is the line's value, {{ a brace, $NAME and ${NAME} an environment variable.
class JobDescription {
 public:
  /// Raises BatchFault.
  static JobDescription Parse(std::string_view utf8);
  /// Raises BatchFault where the list lacks a column that is named.
  void CheckColumns(const JobList& list) const;
  /// The command of a whole line.
  std::vector<std::string> WordsFor(const JobList& list, const std::vector<std::string>& line) const;
  const std::string& GetInputColumn() const { return input_; }    ///< empty where none is named
  const std::string& GetOutputColumn() const { return output_; }  ///< likewise

 private:
  struct Piece {
    bool isColumn;
    std::string text;
  };
  using Word = std::vector<Piece>;
  static Word ParseWord(const std::string& text);

  std::vector<Word> command_;
  std::string input_, output_;
};

/// True where `output` holds JSON with "Outputs" to its end, and was written after `input`.
bool IsOutputWhole(const std::string& output, const std::string& input);

}  // namespace korven::batch
