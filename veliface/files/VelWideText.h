#pragma once
/// \file Conversions between the library's narrow texts (UTF-8) and the wide texts of the
/// spectrum files. They never throw.

#include <string>

namespace veliface::files {

/// What the decoder makes of a byte that does not start or continue a valid UTF-8 sequence.
enum class InvalidUtf8 {
  Latin1,       ///< the Latin-1 character of the byte's value, as the spectrum writer does
  Replacement,  ///< U+FFFD, so that a damaged text reads as damaged
};

/// Decodes UTF-8 into wide characters, each invalid byte as `invalid` says.
std::wstring toWide(const std::string& utf8, InvalidUtf8 invalid = InvalidUtf8::Latin1);
/// Encodes wide characters as UTF-8.
std::string toUtf8(const std::wstring& wide);
/// Appends the UTF-8 bytes of one wide character to `out`.
void appendUtf8(std::string& out, wchar_t c);

}  // namespace veliface::files
