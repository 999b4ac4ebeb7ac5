#include "host/files/CsvReader.h"

#include <cmath>
#include <optional>

#include "host/DecimalNumber.h"
#include "host/HostError.h"

namespace Vantora::host {
namespace {

constexpr size_t kLongestLine = 1 << 16;  // bytes; a device such as /dev/zero has one line without an end

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\r'; }

std::string Trimmed(std::string text) {
  while (!text.empty() && IsSpace(text.back())) text.pop_back();
  size_t first = 0;
  while (first < text.size() && IsSpace(text[first])) ++first;
  return text.substr(first);
}

}  // namespace

CsvReader::CsvReader(std::istream& source, std::string shownName)
    : stream(source), name(std::move(shownName)) {}

std::string CsvReader::Place() const { return name + ", line " + std::to_string(line) + ": "; }

bool CsvReader::ReadLine(std::string& row) try {
  row.clear();
  // Straight from the buffer: the stream's own operations look at its state for every letter.
  std::streambuf& buffer = *stream.rdbuf();
  constexpr int kEnd = std::istream::traits_type::eof();
  int c = buffer.sbumpc();
  const bool isThere = c != kEnd;
  for (; c != kEnd && c != '\n'; c = buffer.sbumpc()) {
    if (row.size() == kLongestLine) {
      ++line;
      throw HostError(Place() + "the line is far too long; this is no table of values.");
    }
    row += static_cast<char>(c);
  }
  return isThere;
} catch (const std::ios_base::failure&) {  // a folder, a disk that fails
  throw HostError(name + " can't be read.");
}

bool CsvReader::Next(std::vector<std::string>& fields) {
  std::string row;
  do {
    if (!ReadLine(row)) return false;
    if (++line == 1 && row.starts_with("\xEF\xBB\xBF")) row.erase(0, 3);  // a byte order mark
    row = Trimmed(row);
  } while (row.empty() || row.front() == '#');

  fields.clear();
  std::string field;
  bool isQuoted = false, isOpen = false;
  const auto finish = [&] {
    fields.push_back(isQuoted ? field : Trimmed(field));
    field.clear();
    isQuoted = false;
  };
  for (size_t i = 0; i < row.size(); ++i) {
    const char c = row[i];
    if (isOpen && c == '"' && i + 1 < row.size() && row[i + 1] == '"') {
      field += row[++i];
    } else if (isOpen && c == '"') {
      isOpen = false;
    } else if (isOpen) {
      field += c;
    } else if (c == '"' && !isQuoted && Trimmed(field).empty()) {
      isOpen = isQuoted = true;
      field.clear();
    } else if (c == ',') {
      finish();
    } else if (!isQuoted) {
      field += c;
    } else if (!IsSpace(c)) {
      throw HostError(Place() + "there is text behind a closing quote.");
    }
  }
  if (isOpen) throw HostError(Place() + "a quote isn't closed.");
  finish();
  return true;
}

double CsvReader::Number(std::string_view field, std::string_view what) const {
  std::string_view text = field;
  if (text.starts_with('+')) text.remove_prefix(1);
  const std::optional<DecimalNumber> number = ReadDecimal(text);
  if (!number || number->length != text.size() || !std::isfinite(number->value)) {
    throw HostError(Place() + std::string(what) + " \"" + std::string(field) + "\" is not a number.");
  }
  return number->value;
}

}  // namespace Vantora::host
