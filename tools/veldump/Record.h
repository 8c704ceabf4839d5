#pragma once
/// \file One decoded item as an ordered list of named values, printed as a text line or as
/// one JSON object per line.
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace veldump {

/// A printable value: text, signed or unsigned integer, real number, flag or list of texts.
using Value = std::variant<std::string, std::int64_t, std::uint64_t, double, bool,
                           std::vector<std::string>>;

/// One named value of a record.
struct Field {
  std::string key;  ///< name, a plain identifier
  Value value;      ///< the value
};

/// An ordered list of fields; the order is the printing order.
class Record {
 public:
  /// Appends a text field.
  Record& add(std::string key, std::string v);
  /// Appends a text field (keeps string literals from turning into a flag).
  Record& add(std::string key, const char* v) { return add(std::move(key), std::string(v)); }
  /// Appends a signed integer field.
  Record& add(std::string key, std::int64_t v);
  /// Appends an unsigned integer field.
  Record& add(std::string key, std::uint64_t v);
  /// Appends a small unsigned integer field.
  Record& add(std::string key, unsigned v) { return add(std::move(key), std::uint64_t{v}); }
  /// Appends a small signed integer field.
  Record& add(std::string key, int v) { return add(std::move(key), std::int64_t{v}); }
  /// Appends a real-number field.
  Record& add(std::string key, double v);
  /// Appends a flag.
  Record& add(std::string key, bool v);
  /// Appends a list of texts.
  Record& add(std::string key, std::vector<std::string> v);
  /// The fields in order.
  const std::vector<Field>& fields() const { return fields_; }
  /// The value under `key`, or null when there is none.
  const Value* find(const std::string& key) const;

 private:
  std::vector<Field> fields_;
};

/// `text` as a JSON string literal, quotes included. Control characters are escaped and
/// bytes above 0x7F are taken as Latin-1 (device texts are ASCII; a stray byte in a
/// corrupt field must still give valid JSON).
std::string jsonQuote(const std::string& text);
/// The record as one JSON object on one line (no newline).
std::string toJson(const Record& r);
/// The record as `key=value` pairs separated by blanks; texts that hold blanks, quotes,
/// '=' or control characters, and empty texts, are quoted with C-style escapes.
std::string toText(const Record& r);
/// Upper-case hexadecimal with a "0x" prefix and at least `digits` digits.
std::string hex(std::uint64_t v, int digits = 2);

}  // namespace veldump
