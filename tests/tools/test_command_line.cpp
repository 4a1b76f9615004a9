// fsrl::CommandLine: the one parser every fsrl command declares its options on.
#include "fsrl/command_line.h"

#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tool_test_support.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

// A command with one option of each kind, parsed on private streams.
struct Example {
  fsrl::CommandLine command_line{"example", "Usage: fsrl example [options] LOG\n", "\nDoes nothing.\n\n",
                                 "Exit status: 0 always.\n"};
  bool flag = false;
  std::string text;
  std::vector<std::string> texts;
  std::uint64_t number = 7;
  fsrl::LogInputOptions input;

  Example() {
    command_line.Flag("--flag", flag, "a switch");
    command_line.Text("-t,--text", text, "FILE", "a text\nover two lines");
    command_line.Texts("--many", texts, "ITEM", "may be given more than once");
    command_line.Number("--number", number, 1, 60000, "N", "a number");
    input.AddTo(command_line);
  }

  // The status Parse returned, or -1 when the command is to run.
  int status = -1;
  std::string out;
  std::string err;

  Example& Parse(const std::vector<std::string>& args) {
    const fsrl_test::CommandRun run = fsrl_test::RunWithStreams([&](std::FILE* o, std::FILE* e) {
      const std::optional<int> done = command_line.Parse(args, o, e);
      return done ? *done : -1;
    });
    status = run.exit_code;
    out = run.out;
    err = run.err;
    return *this;
  }
};

TEST(CommandLine, ValuesAreTakenWithAnEqualsSignOrAsTheNextArgument) {
  Example joined;
  EXPECT_EQ(joined.Parse({"--text=a.txt", "--number=12", "--frame-map=m.map", "x.log"}).status, -1) << joined.err;
  EXPECT_EQ(joined.text, "a.txt");
  EXPECT_EQ(joined.number, 12U);
  EXPECT_EQ(joined.input.frame_map_path, "m.map");
  EXPECT_EQ(joined.input.Check(), "");
  EXPECT_EQ(joined.input.log_path(), "x.log");

  Example separate;
  EXPECT_EQ(separate.Parse({"x.log", "-t", "b.txt", "--number", "60000", "--flag"}).status, -1) << separate.err;
  EXPECT_EQ(separate.text, "b.txt");
  EXPECT_EQ(separate.number, 60000U);
  EXPECT_TRUE(separate.flag);
}

TEST(CommandLine, EverythingAfterADoubleDashIsAnArgumentEvenWhenItLooksLikeAnOption) {
  Example example;
  EXPECT_EQ(example.Parse({"--", "--flag"}).status, -1) << example.err;
  EXPECT_FALSE(example.flag);
  ASSERT_EQ(example.input.Check(), "");
  EXPECT_EQ(example.input.log_path(), "--flag");
}

TEST(CommandLine, ADashAloneIsTheStandardStreamArgument) {
  Example example;
  EXPECT_EQ(example.Parse({"-"}).status, -1) << example.err;
  EXPECT_EQ(example.input.log_path(), "-");
}

TEST(CommandLine, NumbersOutsideTheirRangeAreReportedInOneStyle) {
  for (const auto& [value, message] : std::vector<std::pair<std::string, std::string>>{
           {"0", "--number: 0 is not in 1..60000"},
           {"60001", "--number: 60001 is not in 1..60000"},
           {"99999999999999999999999", "--number: 99999999999999999999999 is not in 1..60000"},
           {"-1", "--number: '-1' is not a whole number in 1..60000"},
           {"2.5", "--number: '2.5' is not a whole number in 1..60000"},
           {"12abc", "--number: '12abc' is not a whole number in 1..60000"}}) {
    Example example;
    EXPECT_EQ(example.Parse({"--number=" + value, "x.log"}).status, fsrl::kExitUsage) << value;
    EXPECT_EQ(example.err, "fsrl example: " + message + "\nTry 'fsrl example --help' for more information.\n");
    EXPECT_EQ(example.number, 7U) << "a rejected value is not taken";
  }
}

TEST(CommandLine, LeadingZerosAreTheSameNumber) {
  Example example;
  EXPECT_EQ(example.Parse({"--number", "007", "x.log"}).status, -1) << example.err;
  EXPECT_EQ(example.number, 7U);
}

TEST(CommandLine, AMissingOrEmptyValueNamesTheOptionAndWhatItNeeds) {
  Example at_end;
  EXPECT_EQ(at_end.Parse({"x.log", "--text"}).status, fsrl::kExitUsage);
  EXPECT_THAT(at_end.err, HasSubstr("fsrl example: --text: needs a value (FILE)"));
  Example empty;
  EXPECT_EQ(empty.Parse({"--text=", "x.log"}).status, fsrl::kExitUsage);
  EXPECT_THAT(empty.err, HasSubstr("--text: needs a value (FILE)"));
  EXPECT_EQ(empty.text, "") << "the next argument is not taken as the value";
}

TEST(CommandLine, UnknownOptionsAndExtraArgumentsAreUsageErrors) {
  Example unknown;
  EXPECT_EQ(unknown.Parse({"--fast", "x.log"}).status, fsrl::kExitUsage);
  EXPECT_THAT(unknown.err, HasSubstr("fsrl example: unknown option '--fast'"));
  Example two;
  EXPECT_EQ(two.Parse({"a.log", "b.log"}).status, -1);
  EXPECT_EQ(two.input.Check(), "more than one LOG argument ('a.log', 'b.log')");
  Example none;
  EXPECT_EQ(none.Parse({}).status, -1);
  EXPECT_THAT(none.input.Check(), HasSubstr("missing LOG argument"));
}

TEST(CommandLine, ARepeatedOptionTakesItsLastValueAndARepeatableOneCollectsEach) {
  Example example;
  EXPECT_EQ(example.Parse({"--number", "3", "--many", "a", "x.log", "--many=b", "--number", "4"}).status, -1)
      << example.err;
  EXPECT_EQ(example.number, 4U);
  EXPECT_EQ(example.texts, (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(example.input.log_path(), "x.log") << "a repeatable option takes one value per use";
  EXPECT_TRUE(example.command_line.Given("--many"));
  EXPECT_FALSE(example.command_line.Given("--flag"));
}

TEST(CommandLine, HelpListsEveryDeclaredOptionWithItsValueAndAlignedDescriptions) {
  Example example;
  EXPECT_EQ(example.Parse({"--help"}).status, fsrl::kExitOk);
  EXPECT_EQ(example.out, example.command_line.Help());
  EXPECT_THAT(example.out, HasSubstr("Usage: fsrl example [options] LOG\n\nDoes nothing.\n\nOptions:\n"));
  // The longest name within the column, "--output-format FMT", sets where every description starts.
  EXPECT_THAT(example.out, HasSubstr("  -t, --text FILE      a text\n                       over two lines\n"));
  EXPECT_THAT(example.out, HasSubstr("  --number N           a number\n"));
  EXPECT_THAT(example.out, HasSubstr("  --frame-map FILE     take the frame map from FILE"));
  EXPECT_THAT(example.out, HasSubstr("  --output-format FMT  the output's format"));
  EXPECT_THAT(example.out, HasSubstr("  -h, --help           show this help\n\nExit status: 0 always.\n"));
  EXPECT_THAT(example.out, Not(HasSubstr("1..60000"))) << "the range is the description's to word";
  Example short_help;
  EXPECT_EQ(short_help.Parse({"-h"}).status, fsrl::kExitOk);
  EXPECT_EQ(short_help.out, example.out);
}

TEST(CommandLine, UsageErrorsAfterParsingLookLikeTheParsersOwn) {
  Example example;
  const fsrl_test::CommandRun run = fsrl_test::RunWithStreams([&](std::FILE*, std::FILE* err) {
    return example.command_line.UsageError(err, "--a and --b cannot be combined");
  });
  EXPECT_EQ(run.exit_code, fsrl::kExitUsage);
  EXPECT_EQ(run.err, "fsrl example: --a and --b cannot be combined\nTry 'fsrl example --help' for more information.\n");
}

TEST(CommandLine, AnInvalidFrameMapIsReportedWithTheCommandFileAndLine) {
  fsrl_test::TempDir dir;
  ASSERT_TRUE(dir.ok());
  Example example;
  const std::string map = dir.Write("bad.map", "RSDS4SigSts1,432\nNoSuchGroup,500\n");
  ASSERT_EQ(example.Parse({"--frame-map", map, "x.log"}).status, -1);
  fsrl::FrameMap frame_map;
  const fsrl_test::CommandRun run = fsrl_test::RunWithStreams(
      [&](std::FILE*, std::FILE* err) { return example.input.LoadFrameMap(frame_map, example.command_line, err); });
  EXPECT_EQ(run.exit_code, 0) << "false: not loaded";
  EXPECT_THAT(run.err, HasSubstr("fsrl example: " + map + ":2: unknown signal group 'NoSuchGroup'"));
}

TEST(CommandLine, WithoutAFrameMapFileTheDefaultMapIsUsed) {
  Example example;
  ASSERT_EQ(example.Parse({"x.log"}).status, -1);
  fsrl::FrameMap frame_map;
  EXPECT_TRUE(example.input.LoadFrameMap(frame_map, example.command_line, stderr));
  EXPECT_EQ(frame_map.GroupOf(fsrl::FrameMap::kDefaultBaseId, false), 0);
}

}  // namespace

namespace {

TEST(LogInputOptions, FormatGoesToTheInputOrTheOutputSideByItsName) {
  Example example;
  ASSERT_EQ(example.Parse({"--format", "csv", "--format", "asc", "x.log"}).status, -1) << example.err;
  ASSERT_EQ(example.input.Check(), "");
  EXPECT_EQ(example.input.format(), fsrl::LogFormat::kAsc);
  EXPECT_EQ(example.input.output_format, "csv");

  Example defaults;
  ASSERT_EQ(defaults.Parse({"x.log"}).status, -1);
  ASSERT_EQ(defaults.input.Check(), "");
  EXPECT_EQ(defaults.input.format(), fsrl::LogFormat::kAuto);
  EXPECT_EQ(defaults.input.output_format, "jsonl");

  Example explicit_sides;
  ASSERT_EQ(explicit_sides.Parse({"--input-format", "candump-delta", "--output-format", "csv", "x.log"}).status, -1);
  ASSERT_EQ(explicit_sides.input.Check(), "");
  EXPECT_EQ(explicit_sides.input.format(), fsrl::LogFormat::kCandumpLongDelta);
  EXPECT_EQ(explicit_sides.input.output_format, "csv");
}

TEST(LogInputOptions, ConflictingOrUnknownFormatsAreReported) {
  Example two_outputs;
  ASSERT_EQ(two_outputs.Parse({"--format", "csv", "--format", "jsonl", "x.log"}).status, -1);
  EXPECT_EQ(two_outputs.input.Check(), "--format: two output formats given ('csv' and 'jsonl')");
  Example against_option;
  ASSERT_EQ(against_option.Parse({"--input-format", "asc", "--format", "blf", "x.log"}).status, -1);
  EXPECT_EQ(against_option.input.Check(), "--format: two recording formats given ('asc' and 'blf')");
  Example unknown_input;
  ASSERT_EQ(unknown_input.Parse({"--input-format", "csv", "x.log"}).status, -1);
  EXPECT_THAT(unknown_input.input.Check(), HasSubstr("--input-format: unknown format 'csv'"));
  Example unknown_output;
  ASSERT_EQ(unknown_output.Parse({"--output-format", "asc", "x.log"}).status, -1);
  EXPECT_THAT(unknown_output.input.Check(), HasSubstr("--output-format: unknown format 'asc'"));
  Example same_twice;
  ASSERT_EQ(same_twice.Parse({"--format", "blf", "--input-format", "blf", "x.log"}).status, -1);
  EXPECT_EQ(same_twice.input.Check(), "") << "the same format twice is no conflict";
}

TEST(LogInputOptions, ChannelFiltersAndTimesBuildTheFrameFilter) {
  Example example;
  ASSERT_EQ(example.Parse({"--channel", "2", "--filter", "400:7FF", "--from", "1.5", "--to", "3", "x.log"}).status, -1);
  ASSERT_EQ(example.input.Check(), "");
  fsrl::CanFrame frame;
  frame.id = 0x400;
  frame.channel = 2;
  frame.iface = "can1";
  frame.timestamp_ns = 1'500'000'000;
  EXPECT_TRUE(example.input.filter().Accepts(frame));
  frame.timestamp_ns = 3'000'000'000;
  EXPECT_FALSE(example.input.filter().Accepts(frame)) << "--to is exclusive";
  frame.timestamp_ns = 2'000'000'000;
  frame.channel = 1;
  EXPECT_FALSE(example.input.filter().Accepts(frame));
  frame.channel = 2;
  frame.id = 0x401;
  EXPECT_FALSE(example.input.filter().Accepts(frame));

  Example bad_time;
  ASSERT_EQ(bad_time.Parse({"--to", "-1", "x.log"}).status, -1);
  EXPECT_THAT(bad_time.input.Check(), HasSubstr("--to: '-1' is not a time in seconds"));
  Example too_late;
  ASSERT_EQ(too_late.Parse({"--from", "9223372037", "x.log"}).status, -1);
  EXPECT_THAT(too_late.input.Check(), HasSubstr("--from: "));
  Example nanoseconds;
  ASSERT_EQ(nanoseconds.Parse({"--from", "1700000000.000000001", "x.log"}).status, -1);
  ASSERT_EQ(nanoseconds.input.Check(), "");
  frame.id = 0x400;
  frame.timestamp_ns = 1'700'000'000'000'000'000;
  EXPECT_FALSE(nanoseconds.input.filter().Accepts(frame)) << "exact to the nanosecond";
  frame.timestamp_ns += 1;
  EXPECT_TRUE(nanoseconds.input.filter().Accepts(frame));
}

}  // namespace
