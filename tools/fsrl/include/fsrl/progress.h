/// @file
/// @brief The one rule for progress lines of long runs, and the line itself.
#ifndef FSRL_PROGRESS_H
#define FSRL_PROGRESS_H

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <string>
#include <thread>

namespace fsrl {

/// @brief Whether a command shows progress on @p err: only where someone watches (@p err is a terminal), and not
/// where it would be mixed into the command's output on the same terminal (@p out is that terminal too, unless
/// @p output_elsewhere says the output goes to a file instead).
bool ProgressWanted(std::FILE* err, std::FILE* out, bool output_elsewhere);

/// @brief A progress line on a terminal, rewritten in place with '\r' and cleared when done.
///
/// Nothing appears during the first kDelay of a run (a short run stays quiet), and the line is rewritten at most
/// every kInterval. Disabled, it never writes anything.
class ProgressLine {
 public:
  /// A run shorter than this shows no progress at all.
  static constexpr std::chrono::milliseconds kDelay{1000};
  /// Often enough to look alive, rarely enough to cost nothing.
  static constexpr std::chrono::milliseconds kInterval{250};

  ProgressLine(std::FILE* err, bool enabled);
  /// Clears the line.
  ~ProgressLine();
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  /// Whether a new text is due now; cheap enough to ask every few thousand items.
  bool Due();
  /// Shows @p text (one line, no line feed) in place of the previous one.
  void Show(const std::string& text);
  /// Removes the line, so that what is written next starts on a clean line.
  void Clear();

 private:
  friend class ProgressTicker;

  std::FILE* err_;
  bool enabled_;
  std::chrono::steady_clock::time_point next_;
  int width_ = 0;
};

/// @brief For a step that cannot report how far it got (one long library call): while it lives, a thread shows
/// "TEXT (N s)" on @p line by the same rule (nothing in the first ProgressLine::kDelay, then every kInterval), and
/// clears it when destroyed. The line must not be used by anyone else meanwhile.
class ProgressTicker {
 public:
  ProgressTicker(ProgressLine& line, std::string text);
  ~ProgressTicker();
  ProgressTicker(const ProgressTicker&) = delete;
  ProgressTicker& operator=(const ProgressTicker&) = delete;

 private:
  void Run();

  ProgressLine& line_;
  std::string text_;
  std::chrono::steady_clock::time_point start_;
  std::mutex mutex_;
  std::condition_variable stop_requested_;
  bool stop_ = false;
  std::thread thread_;
};

}  // namespace fsrl

#endif  // FSRL_PROGRESS_H
