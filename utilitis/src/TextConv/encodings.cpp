// The encodings that are known by name.
#include <algorithm>
#include <array>

#include "TextConv/encodings.h"

namespace Qorv::IMPL {
namespace {

using enum Family;

// Some share a code page with another encoding, or have that of another: the numbers are what others count on.
constexpr ENCODING definitions[] = {
    {"C", 20127, "English - C Default", european},
    {"ASCII", 437, "English - ASCII (DOS OEM)", european},
    {"US-ASCII", 20127, "English - US-ASCII", european},
    {"ANSI_x3.4-1968", 20127, "English - ANSI X3.4-1968", european},
    {"ISO-646", 20127, "English - ISO-646", european},
    {"ISO-8859-1", 28591, "Latin 1 (Western European) - ISO-8859-1", european},
    {"ISO-8859-2", 28592, "Latin 2 (Central European) - ISO-8859-2", european},
    {"ISO-8859-3", 28593, "Latin 3 (South European) - ISO-8859-3", european},
    {"ISO-8859-4", 28594, "Latin 4 (North European) - ISO-8859-4", european},
    {"ISO-8859-5", 28595, "Cyrillic - ISO-8859-5", european},
    {"ISO-8859-7", 28597, "Greek - ISO-8859-7", european},
    {"ISO-8859-9", 28599, "Latin 5 (Turkish) - ISO-8859-9", european},
    {"ISO-8859-10", 28594, "Latin 6 (Nordic) - ISO-8859-10", european},
    {"ISO-8859-13", 28603, "Latin 7 (Baltic) - ISO-8859-13", european},
    {"ISO-8859-14", 28591, "Latin 8 (Celtic) - ISO-8859-14", european},
    {"ISO-8859-15", 28605, "Latin 9 (Western European with Euro) - ISO-8859-15", european},
    {"KOI8", 20866, "Russian - KOI8", european},
    {"KOI8-R", 20866, "Russian - KOI8-R", european},
    {"KOI8-U", 21866, "Ukrainian - KOI8-U", european},
    {"ANSI-CentralEuropean", 1250, "Central European - ANSI", european},
    {"ANSI-Cyrillic", 1251, "Cyrillic - ANSI", european},
    {"ANSI-LatinI", 1252, "Latin 1 (Western European) - ANSI", european},
    {"ANSI-Greek", 1253, "Greek - ANSI", european},
    {"ANSI-Turkish", 1254, "Turkish - ANSI", european},
    {"ANSI-Baltic", 1257, "Baltic - ANSI", european},
    {"MacRoman", 10000, "Western European - MAC", european},
    {"MacCentralEurope", 10029, "Central European - MAC", european},
    {"MacIceland", 10079, "Icelandic - MAC", european},
    {"MacCroatian", 10082, "Croatian - MAC", european},
    {"MacRomania", 10010, "Romanian - MAC", european},
    {"MacCyrillic", 10007, "Cyrillic - MAC", european},
    {"MacUkraine", 10017, "Ukrainian - MAC", european},
    {"MacGreek", 10006, "Greek - MAC", european},
    {"MacTurkish", 10081, "Turkish - MAC", european},
    {"MacLatinII", 10029, "Latin 2 / Central European - MAC", european},
    {"OEM-MultilingualLatinI", 850, "Multilingual Latin I - OEM", european},
    {"OEM-LatinI", 850, "Latin I - OEM", european},
    {"OEM-MultlingualLatinI+EuroSymbol", 858, "Multlingual Latin I + Euro symbol - OEM", european},
    {"OEM-Russian", 866, "Russian - OEM", european},
    {"OEM-Greek", 737, "Greek - OEM", european},
    {"OEM-Baltic", 775, "Baltic - OEM", european},
    {"OEM-LatinII", 852, "Latin II - OEM", european},
    {"OEM-Cyrillic", 855, "Cyrillic - OEM", european},
    {"OEM-Turkish", 857, "Turkish - OEM", european},
    {"OEM-Portuguese", 860, "Portuguese - OEM", european},
    {"OEM-Icelandic", 861, "Icelandic - OEM", european},
    {"OEM-CanadianFrench", 863, "Canadian French - OEM", european},
    {"OEM-Nordic", 865, "Nordic - OEM", european},
    {"OEM-ModernGreek", 869, "Modern Greek - OEM", european},
    {"ARMSCII-8", 1254, "Armenian - ARMSCII", european},
    {"IA5", 20105, "Western European - IA5", european},
    {"IA5-German", 20106, "German - IA5", european},
    {"IA5-Swedish", 20107, "Swedish - IA5", european},
    {"IA5-Norwegian", 20108, "Norwegian - IA5", european},
    {"T.61", 20261, "Western European - T.61", european},
    {"EBCDIC", 37, "US-Canada - EBCDIC", european},
    {"EBCDIC-International", 500, "International - EBCDIC", european},
    {"EBCDIC-LatinII", 870, "Latin 2 - EBCDIC", european},
    {"EBCDIC-Greek", 875, "Modern Greek - EBCDIC", european},
    {"EBCDIC-Greek-423", 20423, "Greek - EBCDIC", european},
    {"EBCDIC-Turkish", 1026, "Turkish (Latin 5) - EBCDIC", european},
    {"EBCDIC-Turkish-905", 20905, "Turkish - EBCDIC", european},
    {"EBCDIC-LatinI", 1047, "Latin 1 / Open Systems - EBCDIC", european},
    {"EBCDIC-LatinI-924", 20924, "Latin 1 / Open Systems + Euro symbol - EBCDIC", european},
    {"EBCDIC-Euro", 1140, "US-Canada + Euro symbol - EBCDIC", european},
    {"EBCDIC-Germany", 1141, "German + Euro symbol - EBCDIC", european},
    {"EBCDIC-Denmark-Norway", 1142, "Danish and Norwegian + Euro symbol - EBCDIC", european},
    {"EBCDIC-Finland-Sweden", 1143, "Finnish and Swedish + Euro symbol - EBCDIC", european},
    {"EBCDIC-Italy", 1144, "Italian + Euro symbol - EBCDIC", european},
    {"EBCDIC-Spain", 1145, "Spanish + Euro symbol - EBCDIC", european},
    {"EBCDIC-UK", 1146, "UK English + Euro symbol - EBCDIC", european},
    {"EBCDIC-France", 1147, "French + Euro symbol - EBCDIC", european},
    {"EBCDIC-France-297", 20297, "French - EBCDIC", european},
    {"EBCDIC-International-Euro", 1148, "International + Euro symbol - EBCDIC", european},
    {"EBCDIC-Icelandic", 1149, "Icelandic + Euro symbol - EBCDIC", european},
    {"EBCDIC-Icelandic-871", 20871, "Icelandic - EBCDIC", european},
    {"EBCDIC-Germany-273", 20273, "German - EBCDIC", european},
    {"EBCDIC-Denmark-Norway-277", 20277, "Danish and Norwegian - EBCDIC", european},
    {"EBCDIC-Finland-Sweden-278", 20278, "Finnish and Swedish - EBCDIC", european},
    {"EBCDIC-Italy-280", 20280, "Italian - EBCDIC", european},
    {"EBCDIC-Spain-284", 20284, "Spanish - EBCDIC", european},
    {"EBCDIC-UK-285", 20285, "UK English - EBCDIC", european},
    {"EBCDIC-Russian", 20880, "Russian - EBCDIC", european},
    {"EBCDIC-Serbian-Bulgarian", 21025, "Serbian and Bulgarian - EBCDIC", european},
    {"ISO-8859-6", 28596, "Arabic - ISO-8859-6", arabic},
    {"ISO-8859-8", 28598, "Hebrew (visual) - ISO-8859-8", hebrew},
    {"ISO-8859-8-i", 38598, "Hebrew (logical) - ISO-8859-8-i", hebrew},
    {"ANSI-Hebrew", 1255, "Hebrew - ANSI", hebrew},
    {"ANSI-Arabic", 1256, "Arabic - ANSI", arabic},
    {"OEM-Hebrew", 862, "Hebrew - OEM", hebrew},
    {"OEM-Arabic", 864, "Arabic - OEM", arabic},
    {"MacHebrew", 10005, "Hebrew - MAC", hebrew},
    {"MacArabic", 10004, "Arabic - MAC", arabic},
    {"EBCDIC-Arabic", 20420, "Arabic - EBCDIC", arabic},
    {"EBCDIC-Hebrew", 20424, "Hebrew - EBCDIC", hebrew},
    {"EUC-CN", 51936, "Simplified Chinese - EUC-CN", simplifiedChinese},
    {"GBK", 936, "Simplified Chinese - GBK", simplifiedChinese},
    {"GB2312", 20936, "Simplified Chinese - GB2312", simplifiedChinese},
    {"GB18030", 54936, "Simplified Chinese - GB18030", simplifiedChinese},
    {"HZ", 52936, "Simplified Chinese - HZ", simplifiedChinese},
    {"ISO-2022-CN", 50227, "Simplified Chinese - ISO-2022-CN", simplifiedChinese},
    {"ISO-2022-CN-EXT", 50227, "Simplified Chinese - ISO-2022-CN-EXT", simplifiedChinese},
    {"MacChineseSimp", 10008, "Simplified Chinese - MAC", simplifiedChinese},
    {"EBCDIC-ChineseSimp", 50936, "Simplified Chinese - EBCDIC", simplifiedChinese},
    {"EBCDIC-ChineseSimp-50935", 50935, "Simplified Chinese - EBCDIC (extended)", simplifiedChinese},
    {"EUC-TW", 51950, "Traditional Chinese - EUC-TW", traditionalChinese},
    {"BIG5", 950, "Traditional Chinese - BIG5", traditionalChinese},
    {"BIG5-HKSCS", 950, "Traditional Chinese - BIG5-HKSCS", traditionalChinese},
    {"BIG5-HKSCS:1999", 950, "Traditional Chinese - BIG5-HKSCS:1999", traditionalChinese},
    {"BIG5-HKSCS:2001", 950, "Traditional Chinese - BIG5-HKSCS:2001", traditionalChinese},
    {"BIG5-HKSCS:2004", 950, "Traditional Chinese - BIG5-HKSCS:2004", traditionalChinese},
    {"MacChineseTrad", 10002, "Traditional Chinese - MAC", traditionalChinese},
    {"CNS-Taiwan", 20000, "Traditional Chinese - CNS", traditionalChinese},
    {"TCA-Taiwan", 20001, "Traditional Chinese - TCA", traditionalChinese},
    {"Eten-Taiwan", 20002, "Traditional Chinese - Eten", traditionalChinese},
    {"IBM-Taiwan", 20003, "Traditional Chinese - IBM", traditionalChinese},
    {"TeleText-Taiwan", 20004, "Traditional Chinese - TeleText", traditionalChinese},
    {"Wang-Taiwan", 20005, "Traditional Chinese - Wang", traditionalChinese},
    {"ISO-2022-TW", 50229, "Traditional Chinese - ISO-2022-TW", traditionalChinese},
    {"EBCDIC-ChineseTrad", 50937, "Traditional Chinese - EBCDIC", traditionalChinese},
    {"EUC-KR", 51949, "Korean - EUC-KR", korean},
    {"ISO-2022-KR", 50225, "Korean - ISO-2022-KR", korean},
    {"JOHAB", 1361, "Korean - JOHAB", korean},
    {"UHC", 949, "Korean - UHC", korean},
    {"KSC", 949, "Korean - KSC", korean},
    {"MacKorean", 10003, "Korean - MAC", korean},
    {"Wansung-Korean", 20949, "Korean - Wansung", korean},
    {"EBCDIC-Korean", 20833, "Korean - EBCDIC", korean},
    {"EUC-JP", 51932, "Japanese - EUC-JP", japanese},
    {"EUC-JP-2", 20932, "Japanese - EUC-JP (JIS X 0208 and 0212)", japanese},
    {"SHIFT_JIS", 932, "Japanese - SHIFT-JIS", japanese},
    {"ISO-2022-JP", 50220, "Japanese - ISO-2022-JP", japanese},
    {"ISO-2022-JP-1", 50221, "Japanese - ISO-2022-JP-1", japanese},
    {"ISO-2022-JP-2", 50222, "Japanese - ISO-2022-JP-2", japanese},
    {"MacJapanese", 10001, "Japanese - MAC", japanese},
    {"EBCDIC-Japanese", 20290, "Japanese - EBCDIC (Katakana)", japanese},
    {"EBCDIC-Japanese-50930", 50930, "Japanese - EBCDIC (Katakana, extended)", japanese},
    {"EBCDIC-Japanese-50931", 50931, "Japanese - EBCDIC (US-Canada and Japanese)", japanese},
    {"EBCDIC-Japanese-50939", 50939, "Japanese - EBCDIC (Latin, extended)", japanese},
    {"VISCII", 1258, "Vietnamese - VISCII", vietnamese},
    {"TCVN", 1258, "Vietnamese - TCVN", vietnamese},
    {"TIS-620", 874, "Thai - TIS-620", thai},
    {"ANSI-Thai", 874, "Thai - ANSI", thai},
    {"ISO-8859-11", 874, "Thai - ISO-8859-11", thai},
    {"MacThai", 10021, "Thai - MAC", thai},
    {"EBCDIC-Thai", 20838, "Thai - EBCDIC", thai},
    {"ISCII-DE", 57002, "Devanagari - ISCII", indic},
    {"ISCII-BE", 57003, "Bengali - ISCII", indic},
    {"ISCII-TA", 57004, "Tamil - ISCII", indic},
    {"ISCII-TE", 57005, "Telugu - ISCII", indic},
    {"ISCII-AS", 57006, "Assamese - ISCII", indic},
    {"ISCII-OR", 57007, "Oriya - ISCII", indic},
    {"ISCII-KA", 57008, "Kannada - ISCII", indic},
    {"ISCII-MA", 57009, "Malayalam - ISCII", indic},
    {"ISCII-GU", 57010, "Gujarati - ISCII", indic},
    {"ISCII-PA", 57011, "Punjabi - ISCII", indic},
    {"UTF-7", 65000, "Unicode - UTF-7", unicode},
    {"UTF-8", 65001, "Unicode - UTF-8", unicode},
    {"UTF-16LE", 1200, "Unicode - UTF-16LE", unicode},
    {"UTF-16BE", 1201, "Unicode - UTF-16BE", unicode},
    {"UCS-2LE", 1200, "Unicode - UCS-2LE", unicode},
    {"UCS-2BE", 1201, "Unicode - UCS-2BE", unicode},
    {"UTF-32LE", 12000, "Unicode - UTF-32LE", unicode},
    {"UTF-32BE", 12001, "Unicode - UTF-32BE", unicode},
    {"UCS-4LE", 12000, "Unicode - UCS-4LE", unicode},
    {"UCS-4BE", 12001, "Unicode - UCS-4BE", unicode},
    {"UTF-16", 1200, "Unicode - UTF-16", unicode},
    {"UCS-2", 1200, "Unicode - UCS-2", unicode},
    {"UTF-32", 12000, "Unicode - UTF-32", unicode},
    {"UCS-4", 12000, "Unicode - UCS-4", unicode},
};

constexpr char Upper(char c) noexcept {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

constexpr bool IsBefore(std::string_view left, std::string_view right) noexcept {
  return std::ranges::lexicographical_compare(left, right, {}, Upper, Upper);
}

constexpr auto byName = [] {
  auto sorted = std::to_array(definitions);
  std::ranges::sort(sorted, IsBefore, &ENCODING::name);
  return sorted;
}();

}  // namespace

std::span<const ENCODING> Encodings() noexcept {
  return byName;
}

const ENCODING* FindEncoding(std::string_view name) noexcept {
  const auto* const found = std::ranges::lower_bound(byName, name, IsBefore, &ENCODING::name);
  return found != byName.end() && !IsBefore(name, found->name) ? found : nullptr;
}

const ENCODING* FindEncoding(std::uint32_t codePage) noexcept {
  const auto* const found = std::ranges::find(byName, codePage, &ENCODING::codePage);
  return found != byName.end() ? found : nullptr;
}

}  // namespace Qorv::IMPL
