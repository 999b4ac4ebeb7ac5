#pragma once

#include <istream>
#include <string>
#include <string_view>
#include <vector>

namespace Vantora::host {

/// CsvReader: the rows of a comma-separated file, one at a time. Blank lines and lines that begin with "#"
/// are passed over; a field may stand in double quotes, a doubled quote inside them is a quote; white space
/// around a field doesn't count.
class CsvReader {
 public:
  /// Reads from `stream`, which must live on; `name` stands in messages.
  CsvReader(std::istream& stream, std::string name);

  /// Takes the next row. False at the end. Throws `HostError`
  /// for a quote that isn't closed, or a failed read.
  bool Next(std::vector<std::string>& fields);

  /// "file.csv, line 3: ", for a message about the row taken last.
  std::string Place() const;

  /// A decimal number. Throws `HostError` when the field isn't one, or isn't finite.
  double Number(std::string_view field, std::string_view what) const;

 private:
  bool ReadLine(std::string& row);

  std::istream& stream;
  std::string name;
  size_t line = 0;
};

}  // namespace Vantora::host
