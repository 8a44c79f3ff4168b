// Addresses out of a text, by a pattern with groups.
#include <cstdio>
#include <vector>

#include <qorv/regex.h>
#include <qorv/string.h>

using namespace Qorv;

int main() {
  const stringEx text("write to ann@example.org, or to bob@example.com; not to carol@example");
  const regexHandle regex = stringEx::compile_regex("([a-z]+)@([a-z]+\\.(org|com))");
  std::vector<RANGE> ranges;
  constexpr std::size_t groups = 3;
  text.split_regex(regex, ranges);
  for (std::size_t i = 0; i + groups < ranges.size(); i += groups + 1)
    std::printf("%s at %s\n", stringEx(std::string_view(text.part(ranges[i + 1]))).data(),
                stringEx(std::string_view(text.part(ranges[i + 2]))).data());
  std::printf("%s\n", text.regex_replace_copy(regex, "\\1").data());
  return ranges.size() == 2 * (groups + 1) ? 0 : 1;
}
