// What the tests of the fsrl commands share: running a command on private streams, and reading what it wrote.
#ifndef FSRL_TESTS_TOOLS_TOOL_TEST_SUPPORT_H
#define FSRL_TESTS_TOOLS_TOOL_TEST_SUPPORT_H

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "json_test_parser.h"
#include "temp_dir.h"

namespace fsrl_test {

// Runs @p command in the shell with its output discarded; true when it succeeded.
inline bool Shell(const std::string& command) {
  return std::system(("(" + command + ") >/dev/null 2>&1").c_str()) == 0;
}

// A python with python-can: the distribution's, which the test set-up installs it for, or whatever is on PATH.
inline std::string PythonWithCan() {
  for (const char* python : {"/usr/bin/python3", "python3"}) {
    if (Shell(std::string(python) + " -c 'import can'")) {
      return python;
    }
  }
  return {};
}

// Whether the system has /dev/full, the device on which every write fails for want of space.
inline bool HasDevFull() {
  std::FILE* probe = std::fopen("/dev/full", "wb");
  if (probe == nullptr) {
    return false;
  }
  std::fclose(probe);
  return true;
}

// Standard input read from a file while this object lives; the previous standard input comes back afterwards.
class StdinFromFile {
 public:
  explicit StdinFromFile(const std::string& path) : saved_(::dup(STDIN_FILENO)) {
    const int fd = ::open(path.c_str(), O_RDONLY);
    ok_ = saved_ >= 0 && fd >= 0 && ::dup2(fd, STDIN_FILENO) == STDIN_FILENO;
    if (fd >= 0) {
      ::close(fd);
    }
  }
  ~StdinFromFile() {
    if (saved_ >= 0) {
      ::dup2(saved_, STDIN_FILENO);
      ::close(saved_);
    }
  }
  StdinFromFile(const StdinFromFile&) = delete;
  StdinFromFile& operator=(const StdinFromFile&) = delete;

  bool ok() const { return ok_; }

 private:
  int saved_;
  bool ok_ = false;
};

// What a command returned and wrote.
struct CommandRun {
  int exit_code = -1;
  std::string out;
  std::string err;
};

// Runs @p run(out, err) with both streams on temporary files and collects what it wrote.
template <typename Run>
CommandRun RunWithStreams(Run run) {
  CommandRun result;
  std::FILE* out = std::tmpfile();
  std::FILE* err = std::tmpfile();
  result.exit_code = run(out, err);
  result.out = ReadAll(out);
  result.err = ReadAll(err);
  std::fclose(out);
  std::fclose(err);
  return result;
}

using CommandFunction = int (*)(const std::vector<std::string>& args, std::FILE* out, std::FILE* err);

// Runs an fsrl command (fsrl::RunReplay, ...) with @p args, as the executable would after the command's name.
inline CommandRun RunCommand(CommandFunction command, const std::vector<std::string>& args) {
  return RunWithStreams([&](std::FILE* out, std::FILE* err) { return command(args, out, err); });
}

// All of the file at @p path; empty when it cannot be read.
inline std::string ReadFile(const std::string& path) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) {
    return {};
  }
  std::string text = ReadAll(file);
  std::fclose(file);
  return text;
}

// One JSON value per line of @p text; every line must end with a line feed and parse.
inline std::vector<JsonValue> ParseJsonLines(const std::string& text) {
  std::vector<JsonValue> lines;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    EXPECT_NE(end, std::string::npos) << "every output line ends with a line feed";
    if (end == std::string::npos) {
      end = text.size();
    }
    JsonValue value;
    EXPECT_TRUE(JsonParser::Parse(text.substr(start, end - start), value)) << text.substr(start, end - start);
    lines.push_back(value);
    start = end + 1;
  }
  return lines;
}

// How often @p what occurs in @p text, without overlaps.
inline std::size_t Count(const std::string& text, const std::string& what) {
  std::size_t count = 0;
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + what.size())) {
    ++count;
  }
  return count;
}

}  // namespace fsrl_test

#endif  // FSRL_TESTS_TOOLS_TOOL_TEST_SUPPORT_H
