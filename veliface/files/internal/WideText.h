#pragma once
// Conversions between the library's narrow texts (UTF-8) and the wide texts of the spectrum
// files. They never throw: a byte that is not valid UTF-8 stands for itself (as Latin-1).

#include <string>

namespace veliface::files {

// Decodes UTF-8 into wide characters.
std::wstring toWide(const std::string& utf8);
// Encodes wide characters as UTF-8.
std::string toUtf8(const std::wstring& wide);
// Appends the UTF-8 bytes of one wide character to `out`.
void appendUtf8(std::string& out, wchar_t c);

}  // namespace veliface::files
