#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace Vantora::host {

/// JsonValue: what a JSON text says, as far as presets and saved settings need it. It can be destroyed
/// without memory to spare, and a hostile text nests it no deeper than members of members: what lies below
/// them, and in lists, is checked and passed over.
struct JsonValue {
  enum class Kind { kNothing, kSwitch, kNumber, kText, kList, kObject };

  Kind kind = Kind::kNothing;
  bool isOn = false;                         ///< of a switch
  double number = 0.0;                       ///< of a number; finite
  bool isWhole = false;                      ///< the number was written as a whole one
  std::string text;                          ///< of a text, UTF-8; of a number, as it was written
  std::map<std::string, JsonValue> members;  ///< of an object

  bool Is(Kind wanted) const { return kind == wanted; }
  /// A member; null when there is none.
  const JsonValue* Find(const std::string& key) const;
};

/// What to do with a second member of one name: nobody can tell which was meant.
enum class JsonTwice { kRefused, kLastWins };

/// Reads a whole text. Throws `HostError` with the second half of a sentence ("it is not JSON, from byte 3
/// on.") and `std::bad_alloc`.
JsonValue ReadJson(std::string_view text, JsonTwice twice);

/// JsonObjectText: an object while it is being written, a member a line, two blanks a level.
class JsonObjectText {
 public:
  /// How a number is rounded: to the shortest text that reads back to the same double, or the same float.
  enum class Precision { kDouble, kFloat };

  void AddText(std::string_view key, std::string_view text);  ///< bytes that aren't UTF-8 are replaced
  void AddSwitch(std::string_view key, bool isOn);
  void AddInteger(std::string_view key, int64_t value);
  void AddFloat(std::string_view key, float value);
  /// `number` as JSON writes it, rounded.
  void AddNumber(std::string_view key, std::string_view number, Precision precision);
  void AddObject(std::string_view key, const JsonObjectText& object);

  std::string Text() const;

 private:
  void Add(std::string_view key, std::string_view value);
  std::string lines;  // of a first level, without the braces
};

}  // namespace Vantora::host
