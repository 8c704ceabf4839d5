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

// Quotes `text` with the escapes JSON and C share for the common characters, so a reader of
// either form sees the same text; other control characters and bytes above 0x7E are
// written as JSON's \u00XX or C's \xXX.
std::string quote(const std::string& text, bool json) {
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
          if (json) {
            std::snprintf(buf, sizeof buf, "\\u%04X", c);
          } else {
            std::snprintf(buf, sizeof buf, "\\x%02X", c);
          }
          out += buf;
        } else {
          out += static_cast<char>(c);
        }
    }
  }
  return out + "\"";
}

std::string cQuote(const std::string& text) { return quote(text, false); }

bool needsQuotes(const std::string& text) {
  if (text.empty()) return true;
  for (unsigned char c : text)
    if (c <= ' ' || c >= 0x7F || c == '"' || c == '=' || c == '\\' || c == '[' || c == ']')
      return true;
  return false;
}

std::string textAtom(const std::string& text) { return needsQuotes(text) ? cQuote(text) : text; }

// One value in either form; the forms differ only in how a text is written, how a flag
// reads and what separates list items.
struct ValueText {
  std::string (*atom)(const std::string&);
  const char* yes;
  const char* no;
  const char* separator;

  std::string operator()(const std::string& s) const { return atom(s); }
  std::string operator()(std::int64_t v) const { return std::to_string(v); }
  std::string operator()(std::uint64_t v) const { return std::to_string(v); }
  std::string operator()(double v) const { return realText(v); }
  std::string operator()(bool v) const { return v ? yes : no; }
  std::string operator()(const std::vector<std::string>& list) const {
    std::string out = "[";
    for (std::size_t i = 0; i < list.size(); ++i) out += (i ? separator : "") + atom(list[i]);
    return out + "]";
  }
};

const ValueText kJsonValue{&jsonQuote, "true", "false", ","};
const ValueText kTextValue{&textAtom, "yes", "no", " "};

}  // namespace

std::string jsonQuote(const std::string& text) { return quote(text, true); }

std::string toJson(const Record& r) {
  std::string out = "{";
  bool first = true;
  for (const Field& f : r.fields()) {
    if (!first) out += ",";
    first = false;
    out += jsonQuote(f.key) + ":" + std::visit(kJsonValue, f.value);
  }
  return out + "}";
}

std::string toText(const Record& r) {
  std::string out;
  for (const Field& f : r.fields()) {
    if (!out.empty()) out += ' ';
    out += f.key + "=" + std::visit(kTextValue, f.value);
  }
  return out;
}

}  // namespace veldump
