#include "Record.h"

#include <cmath>
#include <cstdio>
#include <sstream>

namespace veldump {

Record& Record::add(std::string key, std::string v) {
  fields_.push_back({std::move(key), std::move(v)});
  return *this;
}
Record& Record::add(std::string key, std::int64_t v) {
  fields_.push_back({std::move(key), v});
  return *this;
}
Record& Record::add(std::string key, std::uint64_t v) {
  fields_.push_back({std::move(key), v});
  return *this;
}
Record& Record::add(std::string key, double v) {
  fields_.push_back({std::move(key), v});
  return *this;
}
Record& Record::add(std::string key, bool v) {
  fields_.push_back({std::move(key), v});
  return *this;
}
Record& Record::add(std::string key, std::vector<std::string> v) {
  fields_.push_back({std::move(key), std::move(v)});
  return *this;
}

const Value* Record::find(const std::string& key) const {
  for (const Field& f : fields_)
    if (f.key == key) return &f.value;
  return nullptr;
}

std::string hex(std::uint64_t v, int digits) {
  char buf[24];
  std::snprintf(buf, sizeof buf, "0x%0*llX", digits, static_cast<unsigned long long>(v));
  return buf;
}

namespace {

// Shortest text that reads back as the same double; JSON has no NaN or infinity.
std::string realText(double v) {
  if (!std::isfinite(v)) return "null";
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.10g", v);
  return buf;
}

// C-style escapes for the text form: the same as JSON's for the common characters, so a
// reader of either form sees the same text.
std::string cQuote(const std::string& text) {
  std::string out = "\"";
  for (unsigned char c : text) {
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      default:
        if (c < 0x20 || c >= 0x7F) {
          char buf[8];
          std::snprintf(buf, sizeof buf, "\\x%02X", c);
          out += buf;
        } else {
          out += static_cast<char>(c);
        }
    }
  }
  return out + "\"";
}

bool needsQuotes(const std::string& text) {
  if (text.empty()) return true;
  for (unsigned char c : text)
    if (c <= ' ' || c >= 0x7F || c == '"' || c == '=' || c == '\\' || c == '[' || c == ']')
      return true;
  return false;
}

std::string textAtom(const std::string& text) { return needsQuotes(text) ? cQuote(text) : text; }

struct JsonValue {
  std::string operator()(const std::string& s) const { return jsonQuote(s); }
  std::string operator()(std::int64_t v) const { return std::to_string(v); }
  std::string operator()(std::uint64_t v) const { return std::to_string(v); }
  std::string operator()(double v) const { return realText(v); }
  std::string operator()(bool v) const { return v ? "true" : "false"; }
  std::string operator()(const std::vector<std::string>& list) const {
    std::string out = "[";
    for (std::size_t i = 0; i < list.size(); ++i) out += (i ? "," : "") + jsonQuote(list[i]);
    return out + "]";
  }
};

struct TextValue {
  std::string operator()(const std::string& s) const { return textAtom(s); }
  std::string operator()(std::int64_t v) const { return std::to_string(v); }
  std::string operator()(std::uint64_t v) const { return std::to_string(v); }
  std::string operator()(double v) const { return realText(v); }
  std::string operator()(bool v) const { return v ? "yes" : "no"; }
  std::string operator()(const std::vector<std::string>& list) const {
    std::string out = "[";
    for (std::size_t i = 0; i < list.size(); ++i) out += (i ? " " : "") + textAtom(list[i]);
    return out + "]";
  }
};

}  // namespace

std::string jsonQuote(const std::string& text) {
  std::string out = "\"";
  for (unsigned char c : text) {
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      default:
        if (c < 0x20 || c >= 0x7F) {
          char buf[8];
          std::snprintf(buf, sizeof buf, "\\u%04X", c);
          out += buf;
        } else {
          out += static_cast<char>(c);
        }
    }
  }
  return out + "\"";
}

std::string toJson(const Record& r) {
  std::string out = "{";
  bool first = true;
  for (const Field& f : r.fields()) {
    if (!first) out += ",";
    first = false;
    out += jsonQuote(f.key) + ":" + std::visit(JsonValue{}, f.value);
  }
  return out + "}";
}

std::string toText(const Record& r) {
  std::string out;
  for (const Field& f : r.fields()) {
    if (!out.empty()) out += ' ';
    out += f.key + "=" + std::visit(TextValue{}, f.value);
  }
  return out;
}

}  // namespace veldump
