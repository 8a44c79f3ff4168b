// Converting text between encodings: the library's engine beside the C library's converter, called directly.
#include <iconv.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <limits>
#include <string>

#include <qorv/textconv.h>

#include "TextConv/lib_iconv.h"

namespace {

constexpr std::size_t size = 10 << 20;  // bytes
constexpr int rounds = 9;

using Clock = std::chrono::steady_clock;

double Milliseconds(Clock::duration time) {
  return std::chrono::duration<double, std::milli>(time).count();
}

// What one would write by hand: one call into a buffer that is surely large enough.
std::string Directly(const char* to, const char* from, const std::string& source, std::size_t room) {
  const iconv_t descriptor = iconv_open(to, from);
  std::string out(room, '\0');
  char* in = const_cast<char*>(source.data());
  std::size_t inLeft = source.size();
  char* at = out.data();
  std::size_t left = out.size();
  iconv(descriptor, &in, &inLeft, &at, &left);
  iconv_close(descriptor);
  out.resize(out.size() - left);
  return out;
}

template <class First, class Second>
void Contest(const char* title, First first, Second second) {
  double quickest[2] = {std::numeric_limits<double>::max(), std::numeric_limits<double>::max()};
  for (int round = 0; round < rounds; ++round) {
    const auto start = Clock::now();
    first();
    const auto middle = Clock::now();
    second();
    quickest[0] = std::min(quickest[0], Milliseconds(middle - start));
    quickest[1] = std::min(quickest[1], Milliseconds(Clock::now() - middle));
  }
  std::printf("%-24s library %7.1f ms, directly %7.1f ms, ratio %.2f\n", title, quickest[0], quickest[1],
              quickest[0] / quickest[1]);
}

void ContestOf(const char* encoding, const std::string& piece) {
  std::string text;
  while (text.size() < size)
    text += piece;
  const Qorv::stringEx narrow(std::string_view{text});
  Qorv::CTextLibIConv conv(Qorv::stringEx{std::string_view(encoding)});
  Qorv::wstringEx wide;
  Contest((std::string(encoding) + " to wide").c_str(), [&] { conv.MBtoWC(wide, narrow); },
          [&] { Directly("UCS-4LE", encoding, text, text.size() * 4); });
  const std::string wideBytes(reinterpret_cast<const char*>(wide.data()), wide.length() * sizeof(wchar_t));
  Qorv::stringEx back;
  Contest((std::string("wide to ") + encoding).c_str(), [&] { conv.WCtoMB(back, wide); },
          [&] { Directly(encoding, "UCS-4LE", wideBytes, wideBytes.size()); });
  if (back != narrow) std::printf("NOT what went in\n");
}

}  // namespace

int main() {
  ContestOf("UTF-8",
            "plain text, \xc3\xa4\xc3\xb6\xc3\xbc, \xe4\xb8\xad\xe6\x96\x87\xef\xbc\x8c \xf0\x9f\x98\x80\n");
  ContestOf("GBK", "plain text, \xd6\xd0\xce\xc4\xa3\xac and more\n");
}
