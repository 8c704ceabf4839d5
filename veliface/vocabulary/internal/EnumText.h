#pragma once
// Private: the one look-up shared by every enumeration-to-text table of the device model.

#include <map>
#include <string>

namespace veliface::device {

/// An enumeration's display texts, ordered by the enumeration's own value.
template <typename E>
using EnumTextTable = std::map<E, std::string>;

/// A copy of the text of `value`, or `fallback` when the table has none.
template <typename E>
std::string enumText(const EnumTextTable<E>& table, E value, const char* fallback) {
  const auto it = table.find(value);
  return it == table.end() ? std::string(fallback) : it->second;
}

}  // namespace veliface::device
