// Runs every checked-in input of every fuzz target (seed corpus and regression inputs) through the target's logic,
// so that the normal test suite keeps each invariant the fuzzers check, and each crash they found stays fixed.
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fuzz_support.h"
#include "fuzz_targets.h"

namespace {

namespace fs = std::filesystem;

using RunFunction = void (*)(const std::uint8_t*, std::size_t);

struct InvariantBroken : std::runtime_error {
  using std::runtime_error::runtime_error;
};

void ThrowOnFailure(const std::string& message) { throw InvariantBroken(message); }

// Reports a broken invariant as a test failure of the input at hand, and lets the next input run.
class ScopedThrowingHandler {
 public:
  ScopedThrowingHandler() { fsrl_fuzz::SetFailureHandler(&ThrowOnFailure); }
  ~ScopedThrowingHandler() { fsrl_fuzz::SetFailureHandler(nullptr); }
  ScopedThrowingHandler(const ScopedThrowingHandler&) = delete;
  ScopedThrowingHandler& operator=(const ScopedThrowingHandler&) = delete;
};

// The files of fuzz/<kind>/<target>/, sorted; names starting with '.' (placeholders) are not inputs.
std::vector<fs::path> FilesIn(const std::string& kind, const std::string& target) {
  std::vector<fs::path> files;
  const fs::path dir = fs::path(FSRL_FUZZ_SOURCE_DIR) / kind / target;
  std::error_code error;
  if (!fs::is_directory(dir, error)) {
    return files;
  }
  for (const fs::directory_entry& entry : fs::directory_iterator(dir)) {
    if (entry.is_regular_file() && entry.path().filename().string().front() != '.') {
      files.push_back(entry.path());
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

std::vector<std::uint8_t> ReadAll(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<std::uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Runs every input of @p target; returns how many ran.
std::size_t RunEveryInput(const std::string& target, RunFunction run) {
  const ScopedThrowingHandler handler;
  std::size_t count = 0;
  for (const char* kind : {"corpus", "regressions"}) {
    for (const fs::path& path : FilesIn(kind, target)) {
      const std::vector<std::uint8_t> bytes = ReadAll(path);
      // libFuzzer never hands over a null pointer, not even for an empty input.
      const std::uint8_t empty = 0;
      try {
        run(bytes.empty() ? &empty : bytes.data(), bytes.size());
      } catch (const InvariantBroken& broken) {
        ADD_FAILURE() << path.string() << ": " << broken.what();
      }
      ++count;
    }
  }
  return count;
}

TEST(CandumpParserFuzzTarget, KeepsItsInvariantsOnEverySeedAndRegressionInput) {
  EXPECT_GT(RunEveryInput("fuzz_candump_parser", &fsrl_fuzz::RunCandumpParser), 0U);
}

TEST(TypedReadFuzzTarget, KeepsItsInvariantsOnEverySeedAndRegressionInput) {
  EXPECT_GT(RunEveryInput("fuzz_typed_read", &fsrl_fuzz::RunTypedRead), 0U);
}

TEST(Profile5CheckFuzzTarget, KeepsItsInvariantsOnEverySeedAndRegressionInput) {
  EXPECT_GT(RunEveryInput("fuzz_profile5_check", &fsrl_fuzz::RunProfile5Check), 0U);
}

TEST(ReplayFuzzTarget, KeepsItsInvariantsOnEverySeedAndRegressionInput) {
  EXPECT_GT(RunEveryInput("fuzz_replay", &fsrl_fuzz::RunReplay), 0U);
}

TEST(CandumpLongReaderFuzzTarget, KeepsItsInvariantsOnEverySeedAndRegressionInput) {
  EXPECT_GT(RunEveryInput("fuzz_candump_long_reader", &fsrl_fuzz::RunCandumpLongReader), 0U);
}

TEST(AscReaderFuzzTarget, KeepsItsInvariantsOnEverySeedAndRegressionInput) {
  EXPECT_GT(RunEveryInput("fuzz_asc_reader", &fsrl_fuzz::RunAscReader), 0U);
}

TEST(BlfReaderFuzzTarget, KeepsItsInvariantsOnEverySeedAndRegressionInput) {
  EXPECT_GT(RunEveryInput("fuzz_blf_reader", &fsrl_fuzz::RunBlfReader), 0U);
}

TEST(TypedReadFuzzTarget, SetsUpAgainAfterAReplayResetTheSignalService) {
  const ScopedThrowingHandler handler;
  const std::vector<std::uint8_t> replay =
      ReadAll(fs::path(FSRL_FUZZ_SOURCE_DIR) / "corpus/fuzz_replay" / "binary_remote_error_unmapped_and_step_back.bin");
  const std::vector<std::uint8_t> read =
      ReadAll(fs::path(FSRL_FUZZ_SOURCE_DIR) / "corpus/fuzz_typed_read" / "detection_group_counter_0.bin");
  ASSERT_FALSE(replay.empty());
  ASSERT_FALSE(read.empty());
  EXPECT_NO_THROW(fsrl_fuzz::RunTypedRead(read.data(), read.size()));
  EXPECT_NO_THROW(fsrl_fuzz::RunReplay(replay.data(), replay.size()));
  EXPECT_NO_THROW(fsrl_fuzz::RunTypedRead(read.data(), read.size()));
}

TEST(Profile5CrcOracle, GivesTheKnownCrcOfEightZeroBytesWithCounterZeroAndOne) {
  std::uint8_t payload[8] = {};
  EXPECT_EQ(fsrl_fuzz::Profile5CrcOracle(0x1234, payload, sizeof payload, 0), 0xCA1C);
  payload[2] = 1;
  EXPECT_EQ(fsrl_fuzz::Profile5CrcOracle(0x1234, payload, sizeof payload, 0), 0x8DCF);
}

TEST(FuzzFailureHandler, ReachesTheInstalledHandlerWithTheMessage) {
  const ScopedThrowingHandler handler;
  try {
    fsrl_fuzz::FuzzCheck(false, "the message");
    FAIL() << "FuzzCheck(false) returned";
  } catch (const InvariantBroken& broken) {
    EXPECT_STREQ(broken.what(), "the message");
  }
}

}  // namespace
