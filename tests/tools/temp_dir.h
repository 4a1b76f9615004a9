// A private directory for files a test writes, removed with everything in it when the test ends.
#ifndef FSRL_TESTS_TOOLS_TEMP_DIR_H
#define FSRL_TESTS_TOOLS_TEMP_DIR_H

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

namespace fsrl_test {

class TempDir {
 public:
  TempDir() {
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/fsrl_test_XXXXXX";
    if (::mkdtemp(pattern.data()) != nullptr) {
      path_ = pattern;
    }
  }
  ~TempDir() {
    if (!path_.empty()) {
      std::error_code ignored;
      std::filesystem::remove_all(path_, ignored);
    }
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  bool ok() const { return !path_.empty(); }
  const std::string& path() const { return path_; }

  // Writes @p content (bytes as they are) to a file named @p name in the directory; returns its path.
  std::string Write(const std::string& name, std::string_view content) const {
    const std::string file_path = path_ + "/" + name;
    std::FILE* file = std::fopen(file_path.c_str(), "wb");
    if (file != nullptr) {
      std::fwrite(content.data(), 1, content.size(), file);
      std::fclose(file);
    }
    return file_path;
  }

 private:
  std::string path_;
};

// Everything written to a FILE* so far, read back from its start.
inline std::string ReadAll(std::FILE* file) {
  std::fflush(file);
  std::rewind(file);
  std::string text;
  char block[65536];
  std::size_t got = 0;
  while ((got = std::fread(block, 1, sizeof block, file)) > 0) {
    text.append(block, got);
  }
  return text;
}

}  // namespace fsrl_test

#endif  // FSRL_TESTS_TOOLS_TEMP_DIR_H
