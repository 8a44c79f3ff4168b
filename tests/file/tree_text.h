// A directory tree as one text, so that a single comparison covers names, kinds, permissions and contents.
#pragma once

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace TestSupport {

/// A line for each entry below `root`, in order of the paths: "d755 sub", "f644 sub/a=content", "l sub/b>target", "p600 c".
inline std::string TreeText(const std::string& root) {
  std::vector<std::string> lines;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
    const std::string name = entry.path().lexically_relative(root);
    struct stat status;
    if (lstat(entry.path().c_str(), &status) < 0) continue;
    char bits[8];
    std::snprintf(bits, sizeof(bits), "%o", status.st_mode & 07777u);
    if (S_ISLNK(status.st_mode)) {
      lines.push_back("l " + name + ">" + std::filesystem::read_symlink(entry.path()).string());
    } else if (S_ISDIR(status.st_mode)) {
      lines.push_back("d" + std::string(bits) + " " + name);
    } else if (S_ISREG(status.st_mode)) {
      std::ifstream in(entry.path(), std::ios::binary);
      lines.push_back("f" + std::string(bits) + " " + name + "=" +
                      std::string(std::istreambuf_iterator<char>(in), {}));
    } else {
      lines.push_back("p" + std::string(bits) + " " + name);
    }
  }
  std::sort(lines.begin(), lines.end(), [](const std::string& a, const std::string& b) {
    return a.substr(a.find(' ')) < b.substr(b.find(' '));
  });
  std::string text;
  for (const std::string& line : lines)
    text += line + "\n";
  return text;
}

}  // namespace TestSupport
