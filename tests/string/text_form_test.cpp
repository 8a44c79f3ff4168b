// A string written down: in hexadecimal, as source, in the other width, by a format.
#include <gtest/gtest.h>

#include <cstdarg>
#include <limits>
#include <new>
#include <sstream>
#include <string>

#include <qorv/string.h>

namespace {

using Qorv::byteEx;
using Qorv::npos;
using Qorv::stringEx;
using Qorv::wstringEx;

byteEx Bytes(std::size_t count) {
  byteEx bytes;
  for (std::size_t i = 0; i < count; ++i)
    bytes += static_cast<unsigned char>(0xf5 + i);
  return bytes;
}

TEST(Hex, HasSeparatorsBetweenTheElements) {
  EXPECT_EQ(stringEx("\x01\xab\0", 3).hex(" "), "01 AB 00");
  EXPECT_EQ(stringEx("\xab\xcd").hex(", ", false), "ab, cd");
  EXPECT_EQ(Bytes(2).hex(), "F5F6");
  EXPECT_EQ(wstringEx(L"\u1234a").hex(L"-", false), L"00001234-00000061");
  EXPECT_EQ(wstringEx().append(static_cast<wchar_t>(-1)).hex(), L"FFFFFFFF");
  stringEx dest("x");
  stringEx().hex_append_to(dest, ", ");
  EXPECT_EQ(dest, "x");
  Bytes(1).hex_append_to(dest, ", ");
  EXPECT_EQ(dest, "xF5");
}

TEST(Array, HasTwelveBytesToARow) {
  EXPECT_EQ(Bytes(13).c_array("data", true),
            "const unsigned char data[] = {\n"
            "\t0XF5, 0XF6, 0XF7, 0XF8, 0XF9, 0XFA, 0XFB, 0XFC, 0XFD, 0XFE, 0XFF, 0X00, \n"
            "\t0X01\n"
            "};\n");
  EXPECT_EQ(Bytes(12).c_array("d", false),
            "unsigned char d[] = {\n"
            "\t0XF5, 0XF6, 0XF7, 0XF8, 0XF9, 0XFA, 0XFB, 0XFC, 0XFD, 0XFE, 0XFF, 0X00\n"
            "};\n");
  EXPECT_EQ(byteEx().c_array("none", false), "unsigned char none[] = {\n};\n");
  EXPECT_TRUE(Bytes(1).c_array("", true).empty());
}

// What text beyond ASCII becomes is the process's encoding's affair.
TEST(Conversion, KeepsWhatIsThereAndShares) {
  const stringEx narrow("a\0b", 3);
  const wstringEx wide(L"a\0b", 3);
  EXPECT_EQ(narrow.to_wide(), wide);
  EXPECT_EQ(wide.to_narrow(), narrow);
  EXPECT_EQ(narrow.to_narrow().data(), narrow.data());
  EXPECT_EQ(wide.to_wide().data(), wide.data());
  stringEx dest("+");
  wide.to_narrow_append_to(dest);
  EXPECT_EQ(dest, stringEx("+a\0b", 4));
  const unsigned char bytes[] = {'a', 0xe4, 0xff};
  EXPECT_EQ(byteEx(bytes, 3).to_wide(), wstringEx(L"a\u00e4\u00ff"));
}

template <class String>
String& Forward(String& out, bool isAppending, std::uint64_t limit,
                const typename String::value_type* pattern, ...) {
  std::va_list arguments;
  va_start(arguments, pattern);
  if (limit == npos) {
    isAppending ? out.vformat_append(pattern, arguments) : out.vformat(pattern, arguments);
  } else {
    isAppending ? out.vformat_append(limit, pattern, arguments) : out.vformat(limit, pattern, arguments);
  }
  va_end(arguments);
  return out;
}

TEST(Format, InEveryFormIsCutAtItsLimit) {
  const std::string longText(300, 'x');
  for (const bool isAppending : {false, true}) {
    for (const std::uint64_t limit :
         {std::uint64_t{0}, std::uint64_t{7}, std::uint64_t{256}, std::uint64_t{257}, npos}) {
      const std::uint64_t expected = limit == npos ? 256 : limit;
      stringEx text("+");
      Forward(text, isAppending, limit, "%s", longText.c_str());
      EXPECT_EQ(std::string(text), std::string(isAppending ? "+" : "") + longText.substr(0, expected))
          << limit;
      wstringEx wide(L"+");
      Forward(wide, isAppending, limit, L"%s", longText.c_str());
      EXPECT_EQ(wide, text.to_wide()) << limit;
    }
  }
}

TEST(Format, ThatFailsGivesNothing) {
  constexpr auto noCharacter = static_cast<wchar_t>(0x7fffffff);
  const wchar_t unwritable[] = {L'a', noCharacter, L'\0'};
  EXPECT_EQ(stringEx("x").format("%ls", unwritable), "");
  EXPECT_EQ(stringEx("x").format_append("y%ls", unwritable), "x");
  EXPECT_EQ(wstringEx(L"x").format(L"%s", "\xff\xff"), L"");
  EXPECT_EQ(wstringEx(L"x").format_append(L"y%s", "\xff\xff"), L"x");
  for (const std::uint64_t limit : {1U, 4U, 5U, 300U}) {  // also where the room is full before the failure
    EXPECT_EQ(stringEx("x").format(limit, "yyyy%99999999999d", 7), "") << limit;
    EXPECT_EQ(wstringEx(L"x").format(limit, L"yyyy%99999999999d", 7), L"") << limit;
    EXPECT_EQ(wstringEx(L"x").format_append(limit, L"yyyy%99999999999d", 7), L"x") << limit;
  }
}

TEST(Format, IsNotCutAtAZeroElement) {
  EXPECT_EQ(stringEx().format(5, "ab%cdefgh", 0), stringEx("ab\0de", 5));
  EXPECT_EQ(wstringEx().format(5, L"ab%lcdefgh", 0), wstringEx(L"ab\0de", 5));
}

TEST(Format, OfAHugeWidthIsCut) {
  EXPECT_EQ(stringEx().format("%*d", 1 << 20, 7).length(), 256U);
  EXPECT_EQ(std::string(stringEx().format(300, "%-*d", 1 << 20, 7)), std::string("7").append(299, ' '));
  EXPECT_EQ(wstringEx().format(L"%*d", 1 << 20, 7).length(), 256U);
}

TEST(Memory, ThatCannotBeHadThrowsAndLeavesAllAsItWas) {
  stringEx text("abc");
  const stringEx holder = text;
  EXPECT_THROW(text.append(npos, 'x'), std::bad_alloc);
  EXPECT_THROW(text.append(npos - 3, 'x'), std::bad_alloc);
  EXPECT_THROW(text.reserve(npos), std::bad_alloc);
  EXPECT_THROW(text.format(npos, "x"), std::bad_alloc);
  EXPECT_THROW(text.format_append(npos - 1, "x"), std::bad_alloc);
  const std::string_view endless("x", npos - 3);
  EXPECT_THROW(text.append(endless), std::bad_alloc);
  EXPECT_THROW(text.assign(endless), std::bad_alloc);
  EXPECT_EQ(text, "abc");
  EXPECT_EQ(text.data(), holder.data());
  stringEx view = stringEx::view("abc");
  EXPECT_THROW(view.assign(endless), std::bad_alloc);
  EXPECT_EQ(view, "abc");
  stringEx dest("+");
  EXPECT_THROW(text.replace_append_to(dest, "b", endless), std::bad_alloc);
  EXPECT_THROW(text.rreplace_append_to(dest, "b", endless), std::bad_alloc);
  EXPECT_THROW(text.replace_any_append_to(dest, "b", endless), std::bad_alloc);
  EXPECT_EQ(dest, "+");
  EXPECT_EQ(std::string(dest.data()), "+");
}

TEST(Stream, WritesWideTextWithItsZeroElements) {
  std::wostringstream out;
  out << wstringEx(L"a\0b", 3);
  EXPECT_EQ(out.str(), std::wstring(L"a\0b", 3));
}

}  // namespace
