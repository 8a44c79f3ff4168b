// A folder of a test's own on the disk behind the temporary directory.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>

#include <qorv/string.h>

namespace TestSupport {

class TempFolder {
 public:
  TempFolder() : folder_(std::filesystem::temp_directory_path() / "qorv-file-XXXXXX") {
    if (mkdtemp(folder_.data()) == nullptr) throw std::runtime_error("mkdtemp " + folder_);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  std::string Path(std::string_view name = {}) const {
    return name.empty() ? folder_ : folder_ + "/" + std::string(name);
  }
  std::string Make(std::string_view name, std::string_view bytes) const {
    std::ofstream(Path(name), std::ios::binary) << bytes;
    return Path(name);
  }
  std::string Content(std::string_view name) const {
    std::ifstream in(Path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  /// `text` with this folder's path for each "{}".
  std::string Fill(std::string text) const {
    for (std::size_t at; (at = text.find("{}")) != std::string::npos;)
      text.replace(at, 2, folder_);
    return text;
  }

 private:
  std::string folder_;
};

inline Qorv::stringEx Text(std::string_view text) {
  return Qorv::stringEx(text);
}

}  // namespace TestSupport
