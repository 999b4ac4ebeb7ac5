#include "host/JsonText.h"

#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "host/Format.h"
#include "host/HostError.h"

// The library's own documents allocate when they are destroyed, which ends the process where memory has run
// out. So only its parser is used here, and of its documents single numbers and texts.
namespace Vantora::host {
namespace {

using Json = nlohmann::json;
using FloatJson =
    nlohmann::basic_json<nlohmann::ordered_map, std::vector, std::string, bool, int64_t, uint64_t, float>;

/// Reader: what the parser calls.
class Reader {
 public:
  explicit Reader(JsonTwice whatTwice) : twice(whatTwice) {}
  JsonValue TakeDocument() { return std::move(document); }

  bool null() { return Put({}); }
  bool boolean(bool isOn) {
    JsonValue value;
    value.kind = JsonValue::Kind::kSwitch;
    value.isOn = isOn;
    return Put(std::move(value));
  }
  bool number_integer(int64_t number) {
    return PutNumber(static_cast<double>(number), true, std::to_string(number));
  }
  bool number_unsigned(uint64_t number) {
    return PutNumber(static_cast<double>(number), true, std::to_string(number));
  }
  bool number_float(double number, const std::string& text) { return PutNumber(number, false, text); }
  bool string(std::string& text) {
    JsonValue value;
    value.kind = JsonValue::Kind::kText;
    value.text = text;
    return Put(std::move(value));
  }
  bool binary(std::vector<uint8_t>&) { return false; }  // JSON as text has none
  bool start_object(size_t) { return Open(JsonValue::Kind::kObject); }
  bool start_array(size_t) { return Open(JsonValue::Kind::kList); }
  bool end_object() { return Close(); }
  bool end_array() { return Close(); }
  bool key(std::string& name) {
    if (!IsKept()) return true;
    JsonValue& object = *open[depth - 1];
    if (twice == JsonTwice::kRefused && object.members.contains(name)) {
      throw HostError(Format("\"{}\" stands in it twice.", name));
    }
    next = name;
    return true;
  }
  bool parse_error(size_t, const std::string&, const Json::exception& error) {
    if (const auto* place = dynamic_cast<const Json::parse_error*>(&error)) {
      throw HostError(Format("it is not JSON, from byte {} on.", place->byte));
    }
    throw HostError("it holds a number beyond all ranges.");
  }

 private:
  static constexpr size_t kKept = 2;  // levels

  bool IsKept() const { return depth <= kKept && depth > 0 && open[depth - 1] != nullptr; }

  JsonValue* Place() {
    if (depth == 0) return &document;
    if (!IsKept() || !open[depth - 1]->Is(JsonValue::Kind::kObject)) return nullptr;
    return &open[depth - 1]->members[next];
  }
  bool Put(JsonValue value) {
    if (JsonValue* place = Place()) *place = std::move(value);
    return true;
  }
  bool PutNumber(double number, bool isWhole, std::string text) {
    JsonValue value;
    value.kind = JsonValue::Kind::kNumber;
    value.number = number;
    value.isWhole = isWhole;
    value.text = std::move(text);
    return Put(std::move(value));
  }
  bool Open(JsonValue::Kind kind) {
    JsonValue* place = Place();
    if (place != nullptr) {
      *place = {};
      place->kind = kind;
    }
    if (depth < kKept) open[depth] = place;
    ++depth;
    return true;
  }
  bool Close() {
    --depth;
    return true;
  }

  JsonTwice twice;
  JsonValue document;
  JsonValue* open[kKept] = {};  // the objects around, null in lists
  size_t depth = 0;             // of all that is open, kept or not
  std::string next;             // the last key
};

}  // namespace

const JsonValue* JsonValue::Find(const std::string& key) const {
  const auto found = members.find(key);
  return found != members.end() ? &found->second : nullptr;
}

JsonValue ReadJson(std::string_view text, JsonTwice twice) {
  Reader reader(twice);
  Json::sax_parse(text, &reader);
  return reader.TakeDocument();
}

void JsonObjectText::Add(std::string_view key, std::string_view value) {
  if (!lines.empty()) lines += ",\n";
  lines += "  ";
  lines += Json(std::string(key)).dump(-1, ' ', false, Json::error_handler_t::replace);
  lines += ": ";
  for (const char letter : value) {
    lines += letter;
    if (letter == '\n') lines += "  ";  // of an object: texts have none
  }
}

void JsonObjectText::AddText(std::string_view key, std::string_view text) {
  Add(key, Json(std::string(text)).dump(-1, ' ', false, Json::error_handler_t::replace));
}

void JsonObjectText::AddSwitch(std::string_view key, bool isOn) { Add(key, isOn ? "true" : "false"); }
void JsonObjectText::AddInteger(std::string_view key, int64_t value) { Add(key, std::to_string(value)); }
void JsonObjectText::AddFloat(std::string_view key, float value) { Add(key, FloatJson(value).dump()); }

void JsonObjectText::AddNumber(std::string_view key, std::string_view number, Precision precision) {
  const JsonValue read = ReadJson(number, JsonTwice::kRefused);
  if (read.isWhole) return Add(key, read.text);
  if (precision == Precision::kFloat) return AddFloat(key, static_cast<float>(read.number));
  Add(key, Json(read.number).dump());
}

void JsonObjectText::AddObject(std::string_view key, const JsonObjectText& object) {
  Add(key, object.Text());
}

std::string JsonObjectText::Text() const { return lines.empty() ? "{}" : "{\n" + lines + "\n}"; }

}  // namespace Vantora::host
