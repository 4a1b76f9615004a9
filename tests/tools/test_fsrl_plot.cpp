// `fsrl plot`: the SVG it writes is well-formed XML, draws one mark per populated detection and places the marks
// where the mounting puts them.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fsrl/replay.h"
#include "fsrl/simulator.h"
#include "fsrl_cli.h"
#include "json_test_parser.h"
#include "tool_test_support.h"

namespace {

using ::testing::HasSubstr;

// ---------------------------------------------------------------------------------------------------------------
// A small XML reader, strict enough to tell whether a document is well-formed: one root element, properly nested
// and closed tags, quoted and unique attributes, known entities only, no stray '<' or '&'. Declarations and
// comments are allowed; DOCTYPE and CDATA are not (the plot never writes them).

struct XmlElement {
  std::string name;
  std::map<std::string, std::string> attributes;
  std::vector<XmlElement> children;
  std::string text;
};

class XmlReader {
 public:
  static bool Parse(std::string_view text, XmlElement& root, std::string& error) {
    XmlReader reader(text);
    const bool ok = reader.Document(root);
    if (!ok) {
      error = reader.error_ + " at offset " + std::to_string(reader.pos_);
    }
    return ok;
  }

 private:
  explicit XmlReader(std::string_view text) : text_(text) {}

  bool Fail(const std::string& why) {
    error_ = why;
    return false;
  }
  bool StartsWith(std::string_view prefix) const { return text_.substr(pos_, prefix.size()) == prefix; }
  void SkipBlanks() {
    while (pos_ < text_.size() &&
           (text_[pos_] == ' ' || text_[pos_] == '\n' || text_[pos_] == '\t' || text_[pos_] == '\r')) {
      ++pos_;
    }
  }
  static bool NameChar(char c, bool first) {
    const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == ':';
    return letter || (!first && ((c >= '0' && c <= '9') || c == '-' || c == '.'));
  }
  bool Name(std::string& name) {
    const std::size_t start = pos_;
    while (pos_ < text_.size() && NameChar(text_[pos_], pos_ == start)) {
      ++pos_;
    }
    name = std::string(text_.substr(start, pos_ - start));
    return !name.empty() || Fail("expected a name");
  }
  bool Misc() {  // comments, processing instructions and blanks between elements
    while (true) {
      SkipBlanks();
      if (StartsWith("<!--")) {
        const std::size_t end = text_.find("-->", pos_ + 4);
        if (end == std::string_view::npos) {
          return Fail("unterminated comment");
        }
        pos_ = end + 3;
      } else if (StartsWith("<?")) {
        const std::size_t end = text_.find("?>", pos_ + 2);
        if (end == std::string_view::npos) {
          return Fail("unterminated declaration");
        }
        pos_ = end + 2;
      } else {
        return true;
      }
    }
  }
  bool Entity(std::string& out) {
    const std::size_t end = text_.find(';', pos_);
    if (end == std::string_view::npos || end - pos_ > 10) {
      return Fail("'&' that starts no entity");
    }
    const std::string_view entity = text_.substr(pos_ + 1, end - pos_ - 1);
    static const std::map<std::string_view, char> kNamed = {
        {"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}};
    const auto named = kNamed.find(entity);
    if (named != kNamed.end()) {
      out += named->second;
    } else if (entity.size() > 1 && entity[0] == '#') {
      const bool hex = entity[1] == 'x';
      const std::string digits(entity.substr(hex ? 2 : 1));
      if (digits.empty() ||
          digits.find_first_not_of(hex ? "0123456789abcdefABCDEF" : "0123456789") != std::string::npos) {
        return Fail("bad character reference");
      }
      out += '?';  // the character itself does not matter here
    } else {
      return Fail("unknown entity '" + std::string(entity) + "'");
    }
    pos_ = end + 1;
    return true;
  }
  bool Element(XmlElement& element, int depth) {
    if (depth > 100) {
      return Fail("nested too deeply");
    }
    if (!StartsWith("<")) {
      return Fail("expected '<'");
    }
    ++pos_;
    if (!Name(element.name)) {
      return false;
    }
    while (true) {
      const std::size_t before = pos_;
      SkipBlanks();
      if (StartsWith("/>")) {
        pos_ += 2;
        return true;
      }
      if (StartsWith(">")) {
        ++pos_;
        break;
      }
      if (pos_ == before) {
        return Fail("expected blank between attributes");
      }
      std::string name;
      if (!Name(name)) {
        return false;
      }
      SkipBlanks();
      if (!StartsWith("=")) {
        return Fail("attribute '" + name + "' without '='");
      }
      ++pos_;
      SkipBlanks();
      if (pos_ >= text_.size() || (text_[pos_] != '"' && text_[pos_] != '\'')) {
        return Fail("unquoted value of attribute '" + name + "'");
      }
      const char quote = text_[pos_++];
      std::string value;
      while (pos_ < text_.size() && text_[pos_] != quote) {
        if (text_[pos_] == '<') {
          return Fail("'<' in the value of attribute '" + name + "'");
        }
        if (text_[pos_] == '&') {
          if (!Entity(value)) {
            return false;
          }
          continue;
        }
        value += text_[pos_++];
      }
      if (pos_ >= text_.size()) {
        return Fail("unterminated value of attribute '" + name + "'");
      }
      ++pos_;
      if (!element.attributes.emplace(name, value).second) {
        return Fail("attribute '" + name + "' given twice");
      }
    }
    // Content up to the matching end tag.
    while (true) {
      if (pos_ >= text_.size()) {
        return Fail("element '" + element.name + "' not closed");
      }
      if (StartsWith("</")) {
        pos_ += 2;
        std::string name;
        if (!Name(name)) {
          return false;
        }
        SkipBlanks();
        if (name != element.name || !StartsWith(">")) {
          return Fail("end tag '" + name + "' does not close '" + element.name + "'");
        }
        ++pos_;
        return true;
      }
      if (StartsWith("<!--") || StartsWith("<?")) {
        if (!Misc()) {
          return false;
        }
        continue;
      }
      if (StartsWith("<!")) {
        return Fail("DOCTYPE or CDATA inside an element");
      }
      if (StartsWith("<")) {
        element.children.emplace_back();
        if (!Element(element.children.back(), depth + 1)) {
          return false;
        }
        continue;
      }
      if (text_[pos_] == '&') {
        if (!Entity(element.text)) {
          return false;
        }
        continue;
      }
      if (text_[pos_] == '>') {
        return Fail("stray '>' in text");
      }
      element.text += text_[pos_++];
    }
  }
  bool Document(XmlElement& root) {
    if (!Misc()) {
      return false;
    }
    if (!Element(root, 0) || !Misc()) {
      return false;
    }
    return pos_ == text_.size() || Fail("text after the root element");
  }

  std::string_view text_;
  std::size_t pos_ = 0;
  std::string error_;
};

void Collect(const XmlElement& element, const std::string& name, const std::string& css_class,
             std::vector<const XmlElement*>& found) {
  const auto cls = element.attributes.find("class");
  if (element.name == name && (css_class.empty() || (cls != element.attributes.end() && cls->second == css_class))) {
    found.push_back(&element);
  }
  for (const XmlElement& child : element.children) {
    Collect(child, name, css_class, found);
  }
}

std::vector<const XmlElement*> Marks(const XmlElement& root) {
  std::vector<const XmlElement*> marks;
  Collect(root, "circle", "det", marks);
  return marks;
}

double Number(const XmlElement& element, const char* attribute) {
  const auto found = element.attributes.find(attribute);
  EXPECT_NE(found, element.attributes.end()) << attribute;
  return found == element.attributes.end() ? 0.0 : std::strtod(found->second.c_str(), nullptr);
}

TEST(XmlReader, AcceptsWellFormedAndRejectsBrokenDocuments) {
  XmlElement root;
  std::string error;
  EXPECT_TRUE(
      XmlReader::Parse("<?xml version=\"1.0\"?>\n<a x='1'><b/><!-- c --><c y=\"&amp;\">t&#177;</c></a>\n", root, error))
      << error;
  EXPECT_EQ(root.children.size(), 2U);
  for (const char* broken : {"<a><b></a>", "<a x=1/>", "<a x=\"1\" x=\"2\"/>", "<a>&nbsp;</a>", "<a/><b/>",
                             "<a>1 < 2</a>", "<a", "<a y=\"<\"/>"}) {
    EXPECT_FALSE(XmlReader::Parse(broken, root, error)) << broken;
  }
}

// ---------------------------------------------------------------------------------------------------------------

using fsrl_test::CommandRun;
using fsrl_test::ReadFile;

CommandRun Plot(const std::vector<std::string>& args) { return fsrl_test::RunCommand(&fsrl::RunPlot, args); }

class FsrlPlot : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(dir_.ok()); }

  // Simulates and replays @p scans scans; returns the path of the replay output.
  std::string ReplayedScans(std::uint32_t scans) {
    fsrl::SimulationOptions options;
    options.scans = scans;
    options.seed = 5;
    simulation_ = fsrl::Simulate(options);
    const std::string path = dir_.path() + "/scans.jsonl";
    std::FILE* jsonl = std::fopen(path.c_str(), "wb");
    std::FILE* err = std::tmpfile();
    fsrl::ReplaySummary summary;
    EXPECT_EQ(fsrl::Replay(simulation_.frames, fsrl::ReplayOptions{}, jsonl, err, &summary), fsrl::kReplayOk);
    std::fclose(jsonl);
    std::fclose(err);
    EXPECT_EQ(summary.detection_scans, scans);
    return path;
  }

  XmlElement ParsedSvg(const std::string& path) {
    XmlElement root;
    std::string error;
    EXPECT_TRUE(XmlReader::Parse(ReadFile(path), root, error)) << error;
    EXPECT_EQ(root.name, "svg");
    EXPECT_EQ(root.attributes["xmlns"], "http://www.w3.org/2000/svg");
    return root;
  }

  // Populated detections of each detection line of a replay output, counted from the JSON itself.
  static std::vector<std::size_t> PopulatedPerScan(const std::string& jsonl) {
    std::vector<std::size_t> counts;
    std::size_t start = 0;
    while (start < jsonl.size()) {
      const std::size_t end = jsonl.find('\n', start);
      fsrl_test::JsonValue line;
      EXPECT_TRUE(fsrl_test::JsonParser::Parse(jsonl.substr(start, end - start), line));
      start = end + 1;
      if (line["type"].text != "detections") {
        continue;
      }
      std::size_t populated = 0;
      for (const fsrl_test::JsonValue& detection : line["detections"].items) {
        populated += detection["quality_aggregated"].text != "kUnknown" ? 1U : 0U;
      }
      counts.push_back(populated);
    }
    return counts;
  }

  fsrl_test::TempDir dir_;
  fsrl::Simulation simulation_;
};

TEST_F(FsrlPlot, OneScanIsWellFormedSvgWithOneMarkPerPopulatedDetection) {
  const std::string jsonl = ReplayedScans(12);
  const std::string svg = dir_.path() + "/one.svg";
  const CommandRun run = Plot({jsonl, "-o", svg, "--scan", "7"});
  ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
  const XmlElement root = ParsedSvg(svg);
  const std::size_t populated = PopulatedPerScan(ReadFile(jsonl))[7];
  EXPECT_EQ(populated, simulation_.scans[7].populated);
  EXPECT_GT(populated, 0U);
  EXPECT_EQ(Marks(root).size(), populated);
}

TEST_F(FsrlPlot, AllScansDrawEveryPopulatedDetectionWithLegendsAndTheRadar) {
  const std::string jsonl = ReplayedScans(10);
  const std::string svg = dir_.path() + "/all.svg";
  ASSERT_EQ(Plot({jsonl, "-o", svg}).exit_code, fsrl::kExitOk);
  const XmlElement root = ParsedSvg(svg);
  std::size_t total = 0;
  for (const std::size_t count : PopulatedPerScan(ReadFile(jsonl))) {
    total += count;
  }
  EXPECT_EQ(Marks(root).size(), total);
  const std::string text = ReadFile(svg);
  EXPECT_THAT(text, HasSubstr("range rate (m/s)"));
  EXPECT_THAT(text, HasSubstr("RCS (dBsm)"));
  EXPECT_THAT(text, HasSubstr("field of view"));
  EXPECT_THAT(text, HasSubstr("x (m, forward)"));
  EXPECT_THAT(text, HasSubstr("10 scans"));
}

TEST_F(FsrlPlot, IndexPicksTheKthScanOfTheFile) {
  const std::string jsonl = ReplayedScans(6);
  const std::string svg = dir_.path() + "/k.svg";
  ASSERT_EQ(Plot({jsonl, "-o", svg, "--index", "4"}).exit_code, fsrl::kExitOk);
  EXPECT_EQ(Marks(ParsedSvg(svg)).size(), simulation_.scans[4].populated);
  const std::string joined = dir_.path() + "/joined.svg";
  ASSERT_EQ(Plot({jsonl, "--output=" + joined, "--index=4"}).exit_code, fsrl::kExitOk);
  EXPECT_EQ(ReadFile(joined), ReadFile(svg)) << "--opt=value means --opt value";
}

TEST_F(FsrlPlot, MarksLieWhereTheMountingPutsThemInVehicleCoordinates) {
  // A radar at (3.6, 0.8) turned 50 degrees left: one detection 20 m straight ahead of it (azimuth -50 degrees),
  // one 20 m straight to the left (azimuth +40 degrees), and an unpopulated slot that must not be drawn.
  const std::string jsonl = dir_.Write(
      "hand.jsonl",
      "{\"type\": \"status\", \"t\": 1.45, \"scan_id\": 3}\n"
      "{\"type\": \"detections\", \"t\": 1.5, \"scan_id\": 3, \"mounting\": {\"x_offset\": 3.6, \"y_offset\": 0.8, "
      "\"phi_offset\": 0.87266463}, \"detections\": ["
      "{\"range\": 20, \"azimuth\": -0.87266463, \"range_rate\": -8, \"rcs\": 10, \"quality_aggregated\": \"kHigh\"}, "
      "{\"range\": 20, \"azimuth\": 0.69813170, \"range_rate\": 4, \"rcs\": -20, \"quality_aggregated\": \"kLow\"}, "
      "{\"range\": 0, \"azimuth\": 0, \"range_rate\": 0, \"rcs\": 0, \"quality_aggregated\": \"kUnknown\"}]}\n");
  const std::string svg = dir_.path() + "/hand.svg";
  ASSERT_EQ(Plot({jsonl, "-o", svg}).exit_code, fsrl::kExitOk);
  const XmlElement root = ParsedSvg(svg);
  const std::vector<const XmlElement*> marks = Marks(root);
  ASSERT_EQ(marks.size(), 2U);
  const XmlElement& ahead = *marks[0];  // vehicle (23.6, 0.8)
  const XmlElement& left = *marks[1];   // vehicle (3.6, 20.8)
  // x forward is up, y left is left, and a metre is as long across as up.
  EXPECT_LT(Number(left, "cx"), Number(ahead, "cx"));
  EXPECT_LT(Number(ahead, "cy"), Number(left, "cy"));
  EXPECT_NEAR(Number(ahead, "cx") - Number(left, "cx"), Number(left, "cy") - Number(ahead, "cy"), 0.25);
  // Larger cross section, larger mark; approaching blue, receding red.
  EXPECT_GT(Number(ahead, "r"), Number(left, "r"));
  const auto channel = [](const XmlElement& mark, int index) {
    return std::strtol(mark.attributes.at("fill").substr(1 + 2 * index, 2).c_str(), nullptr, 16);
  };
  EXPECT_GT(channel(ahead, 2), channel(ahead, 0));
  EXPECT_GT(channel(left, 0), channel(left, 2));
}

TEST_F(FsrlPlot, InputThatIsNotReplayOutputIsRejected) {
  const std::string svg = dir_.path() + "/x.svg";
  const CommandRun garbage = Plot({dir_.Write("bad.jsonl", "{\"type\": \"detections\"}\nnot json\n"), "-o", svg});
  EXPECT_EQ(garbage.exit_code, fsrl::kExitUsage);
  EXPECT_THAT(garbage.err, HasSubstr("line 1: a detections line without"));
  const CommandRun empty = Plot({dir_.Write("empty.jsonl", "\n"), "-o", svg});
  EXPECT_EQ(empty.exit_code, fsrl::kExitUsage);
  EXPECT_THAT(empty.err, HasSubstr("no detection scans to draw"));
  EXPECT_TRUE(ReadFile(svg).empty());
}

TEST_F(FsrlPlot, MissingScanAndBadCommandLinesAreUsageErrors) {
  const std::string jsonl = ReplayedScans(3);
  const CommandRun missing = Plot({jsonl, "-o", dir_.path() + "/m.svg", "--scan", "9"});
  EXPECT_EQ(missing.exit_code, fsrl::kExitUsage);
  EXPECT_THAT(missing.err, HasSubstr("no detection scan with scan id 9"));
  EXPECT_EQ(Plot({jsonl}).exit_code, fsrl::kExitUsage);
  EXPECT_EQ(Plot({"-o", "x.svg"}).exit_code, fsrl::kExitUsage);
  EXPECT_EQ(Plot({jsonl, "-o", "x.svg", "--scan", "256"}).exit_code, fsrl::kExitUsage);
  EXPECT_EQ(Plot({jsonl, "-o", "x.svg", "--scan", "1", "--index", "1"}).exit_code, fsrl::kExitUsage);
  EXPECT_EQ(Plot({dir_.path() + "/absent.jsonl", "-o", "x.svg"}).exit_code, fsrl::kExitFailure);
  const CommandRun help = Plot({"--help"});
  EXPECT_EQ(help.exit_code, fsrl::kExitOk);
  EXPECT_THAT(help.out, HasSubstr("x = x_offset + r cos(phi + a)"));
}

}  // namespace
