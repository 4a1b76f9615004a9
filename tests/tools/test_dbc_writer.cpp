#include <algorithm>
#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fsrl/dbc_writer.h"
#include "fsrl/frame_map.h"
#include "temp_dir.h"

namespace {

using fsrl::CanId;
using fsrl::DbcText;
using fsrl::FrameMap;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

std::size_t CountOf(const std::string& text, const std::string& what) {
  std::size_t count = 0;
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + what.size())) {
    ++count;
  }
  return count;
}

TEST(DbcWriter, DefaultMapGivesTheGeneratorsCheckedInDbcByteForByte) {
  const std::string checked_in = ReadFile(FSRL_CHECKED_IN_DBC);
  ASSERT_FALSE(checked_in.empty()) << FSRL_CHECKED_IN_DBC;
  const std::string written = DbcText(FrameMap::Default(), fsrl::GeneratedDbcVersion());
  ASSERT_EQ(written.size(), checked_in.size());
  EXPECT_TRUE(written == checked_in) << "first difference at byte "
                                     << std::mismatch(written.begin(), written.end(), checked_in.begin()).first -
                                            written.begin();
}

TEST(DbcWriter, VersionLineCarriesTheGivenText) {
  const std::string written = DbcText(FrameMap::Default(), "written by fsrl dbc");
  EXPECT_THAT(written, StartsWith("VERSION \"written by fsrl dbc\"\n"));
}

TEST(DbcWriter, ExtendedIdIsMarkedByBit31AndFramedAsExtendedCanFd) {
  FrameMap map;
  ASSERT_TRUE(map.Add(50, CanId{0x18FF0010U, true}));
  const std::string written = DbcText(map, "");
  // 0x18FF0010 | 0x80000000 = 2566848528
  EXPECT_THAT(written, HasSubstr("\nBO_ 2566848528 RSDS4SigSts1: 64 FSRL\n"));
  EXPECT_THAT(written, HasSubstr("\nBA_ \"VFrameFormat\" BO_ 2566848528 15;\n"));
  EXPECT_THAT(written, HasSubstr("\nBA_ \"E2EDataId\" BO_ 2566848528 "));
}

TEST(DbcWriter, UnmappedGroupsAreLeftOut) {
  FrameMap map;
  ASSERT_TRUE(map.Add(51, CanId{0x123U, false}));
  const std::string written = DbcText(map, "");
  EXPECT_EQ(CountOf(written, "\nBO_ "), 1U);
  EXPECT_THAT(written, HasSubstr("\nBO_ 291 RSDS4SigSts2: 24 FSRL\n"));
  EXPECT_THAT(written, HasSubstr("\nSIG_GROUP_ 291 RSDS4SigSts2 1 : RSDS4SigSts2CRC RSDS4SigSts2Counter "));
  EXPECT_THAT(written, Not(HasSubstr("RSDS4Detn")));
}

TEST(DbcWriter, EmptyMapGivesADatabaseWithoutMessages) {
  const std::string written = DbcText(FrameMap(), "");
  EXPECT_EQ(CountOf(written, "\nBO_ "), 0U);
  EXPECT_EQ(CountOf(written, "\nSIG_GROUP_ "), 0U);
  EXPECT_THAT(written, HasSubstr("BA_DEF_DEF_ \"BusType\" \"CAN FD\";\n"));
}

TEST(DbcWriter, ScaledSignalCarriesFactorOffsetLimitsAndUnit) {
  const std::string written = DbcText(FrameMap::Default(), "");
  EXPECT_THAT(written, HasSubstr("\n SG_ RSDS4Detn000To004RngRt0 : 76|14@1+ (0.025,-106) [-106|106] \"m/s\" "
                                 "Vector__XXX\n"));
  EXPECT_THAT(written, HasSubstr("\nVAL_ 1024 RSDS4Detn000To004Quality0 3 \"Quality_DetectionUnpopulated\" 2 "
                                 "\"Quality_High\" 1 \"Quality_Medium\" 0 \"Quality_Low\" ;\n"));
}

TEST(DbcWriter, UnwritablePathIsReportedWithThePath) {
  std::string error;
  const std::string path = "/nonexistent-folder/fsrl.dbc";
  EXPECT_FALSE(fsrl::WriteDbcFile(FrameMap::Default(), "", path, error));
  EXPECT_THAT(error, StartsWith(path + ": "));
}

TEST(DbcWriter, WrittenFileHoldsTheText) {
  fsrl_test::TempDir dir;
  const std::string path = dir.path() + "/out.dbc";
  std::string error;
  ASSERT_TRUE(fsrl::WriteDbcFile(FrameMap::Default(), "v", path, error)) << error;
  EXPECT_EQ(ReadFile(path), DbcText(FrameMap::Default(), "v"));
}

}  // namespace
