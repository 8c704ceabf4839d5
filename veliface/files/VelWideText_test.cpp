#include <veliface/files/VelWideText.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using veliface::files::InvalidUtf8;
using veliface::files::toUtf8;
using veliface::files::toWide;

TEST(VelWideText, SequencesOfEveryLengthDecodeAndEncodeBack) {
  // A, e acute, euro sign, a clef (outside the basic plane), each at its longest and shortest.
  const std::string utf8 = "A\xC3\xA9\xE2\x82\xAC\xF0\x9D\x84\x9E\x7F\xC2\x80\xEF\xBF\xBF\xF4\x8F\xBF\xBF";
  const std::wstring wide = {L'A', wchar_t{0xE9}, wchar_t{0x20AC}, wchar_t{0x1D11E}, wchar_t{0x7F},
                             wchar_t{0x80}, wchar_t{0xFFFF}, wchar_t{0x10FFFF}};
  for (auto invalid : {InvalidUtf8::Latin1, InvalidUtf8::Replacement}) {
    EXPECT_EQ(toWide(utf8, invalid), wide);
  }
  EXPECT_EQ(toUtf8(wide), utf8);
  EXPECT_EQ(toWide(""), L"");
}

TEST(VelWideText, EachInvalidByteStandsAloneAsLatin1OrAsTheReplacement) {
  struct Case {
    const char* what;
    std::string utf8;
    std::wstring latin1;  // what each invalid byte decodes to as Latin-1; U+FFFD in its place
                          // for the other policy
  } cases[] = {
      {"lone continuation", "a\x80z", {L'a', wchar_t{0x80}, L'z'}},
      {"overlong lead", "\xC0\xAF", {wchar_t{0xC0}, wchar_t{0xAF}}},
      {"lead above the range", "\xF5\x80\x80\x80", {wchar_t{0xF5}, wchar_t{0x80}, wchar_t{0x80}, wchar_t{0x80}}},
      {"lead then no continuation", "\xE2(x", {wchar_t{0xE2}, L'(', L'x'}},
      {"cut short in the middle", "\xE2\x82z", {wchar_t{0xE2}, wchar_t{0x82}, L'z'}},
      {"cut short at the end", "ok\xF0\x9D\x84", {L'o', L'k', wchar_t{0xF0}, wchar_t{0x9D}, wchar_t{0x84}}},
      {"bytes FE and FF", "\xFE\xFF", {wchar_t{0xFE}, wchar_t{0xFF}}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(toWide(c.utf8), c.latin1) << c.what;
    EXPECT_EQ(toWide(c.utf8, InvalidUtf8::Latin1), c.latin1) << c.what;
    std::wstring replaced = c.latin1;
    for (std::size_t i = 0; i < replaced.size(); ++i) {
      if (static_cast<unsigned char>(c.utf8[i]) >= 0x80) replaced[i] = wchar_t{0xFFFD};
    }
    EXPECT_EQ(toWide(c.utf8, InvalidUtf8::Replacement), replaced) << c.what;
  }
  // Latin-1 keeps a damaged text apart from a good one on the way back: the byte becomes
  // the two-byte encoding of its own value.
  EXPECT_EQ(toUtf8(toWide("caf\xE9")), "caf\xC3\xA9");
}

}  // namespace
