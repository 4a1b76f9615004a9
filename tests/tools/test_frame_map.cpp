#include <cstdint>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fsrl/candump_reader.h"
#include "fsrl/frame_map.h"
#include "temp_dir.h"

namespace {

using fsrl::CanId;
using fsrl::FrameMap;
using ::testing::HasSubstr;
using ::testing::StartsWith;

TEST(DefaultFrameMap, MapsGroupIToStandardId0x400PlusI) {
  const FrameMap map = FrameMap::Default();
  EXPECT_EQ(map.size(), 52U);
  for (std::size_t i = 0; i < 52; ++i) {
    EXPECT_EQ(map.GroupOf(0x400U + static_cast<std::uint32_t>(i), false), static_cast<int>(i));
    CanId id;
    ASSERT_TRUE(map.IdOf(i, id));
    EXPECT_EQ(id.id, 0x400U + i);
    EXPECT_FALSE(id.extended);
  }
}

TEST(DefaultFrameMap, IdsOutsideTheRangeAndExtendedIdsAreUnmapped) {
  const FrameMap map = FrameMap::Default();
  EXPECT_EQ(map.GroupOf(0x3FF, false), -1);
  EXPECT_EQ(map.GroupOf(0x434, false), -1);
  EXPECT_EQ(map.GroupOf(0x400, true), -1);
  EXPECT_EQ(map.GroupOf(0xFFFFFFFF, false), -1);
}

TEST(DefaultFrameMap, RemoteAndErrorFramesCarryNoGroup) {
  const FrameMap map = FrameMap::Default();
  fsrl::CanFrame frame;
  frame.id = 0x400;
  EXPECT_EQ(map.GroupOf(frame), 0);
  frame.remote = true;
  EXPECT_EQ(map.GroupOf(frame), -1);
  frame.remote = false;
  frame.error = true;
  EXPECT_EQ(map.GroupOf(frame), -1);
}

TEST(GroupPayload, IsTheFirstDataLengthBytesOfALongerFrame) {
  fsrl::CanFrame frame;
  frame.length = 64;
  EXPECT_EQ(fsrl::GroupPayloadBytes(0, frame), 48U);   // detection group
  EXPECT_EQ(fsrl::GroupPayloadBytes(40, frame), 50U);  // object group
  EXPECT_EQ(fsrl::GroupPayloadBytes(50, frame), 61U);  // RSDS4SigSts1
  EXPECT_EQ(fsrl::GroupPayloadBytes(51, frame), 21U);  // RSDS4SigSts2
}

TEST(GroupPayload, IsTheWholeFrameWhenTheFrameIsShorter) {
  fsrl::CanFrame frame;
  frame.length = 8;
  EXPECT_EQ(fsrl::GroupPayloadBytes(0, frame), 8U);
  frame.length = 20;
  EXPECT_EQ(fsrl::GroupPayloadBytes(51, frame), 20U);
}

TEST(GroupNames, FollowTheSignalDatabase) {
  EXPECT_EQ(fsrl::GroupName(0), "RSDS4Detn000To004");
  EXPECT_EQ(fsrl::GroupName(39), "RSDS4Detn195To199");
  EXPECT_EQ(fsrl::GroupName(40), "RSDS4Obj00To01");
  EXPECT_EQ(fsrl::GroupName(51), "RSDS4SigSts2");
  EXPECT_EQ(fsrl::GroupName(52), "");
  EXPECT_EQ(fsrl::FindGroup("RSDS4SigSts1"), 50);
  EXPECT_EQ(fsrl::FindGroup("rsds4sig_sts1"), -1);
  EXPECT_EQ(fsrl::GroupPayloadLength(52), 0U);
}

TEST(FrameMapFile, AcceptsCommentsBlanksHexPrefixesAndExtendedIds) {
  const std::string text =
      "# radar frames on the second bus\n"
      "\n"
      "RSDS4Detn000To004,500\n"
      "  RSDS4Detn005To009 , 0x501   # spaced out\r\n"
      "RSDS4SigSts1,18FF0010\n"
      "RSDS4SigSts2,00000123\n"
      "RSDS4Obj00To01,800\n";
  FrameMap map;
  std::string error;
  ASSERT_TRUE(FrameMap::Parse(text, "radar.map", map, error)) << error;
  EXPECT_EQ(map.size(), 5U);
  EXPECT_EQ(map.GroupOf(0x500, false), 0);
  EXPECT_EQ(map.GroupOf(0x501, false), 1);
  EXPECT_EQ(map.GroupOf(0x18FF0010, true), 50);
  EXPECT_EQ(map.GroupOf(0x123, true), 51);  // eight digits: extended, as candump writes it
  EXPECT_EQ(map.GroupOf(0x123, false), -1);
  EXPECT_EQ(map.GroupOf(0x800, true), 40);   // above 7FF: only extended can carry it
  EXPECT_EQ(map.GroupOf(0x400, false), -1);  // the default map is replaced, not extended
  CanId id;
  EXPECT_FALSE(map.IdOf(2, id));
}

struct MapErrorCase {
  const char* text;
  const char* location;
  const char* reason_part;
};

class FrameMapFileError : public ::testing::TestWithParam<MapErrorCase> {};

TEST_P(FrameMapFileError, IsReportedWithFileAndLine) {
  FrameMap map = FrameMap::Default();
  std::string error;
  EXPECT_FALSE(FrameMap::Parse(GetParam().text, "bad.map", map, error));
  EXPECT_THAT(error, StartsWith(GetParam().location));
  EXPECT_THAT(error, HasSubstr(GetParam().reason_part));
  EXPECT_EQ(map.size(), 52U) << "a failed parse leaves the map as it was";
}

INSTANTIATE_TEST_SUITE_P(
    EveryKind, FrameMapFileError,
    ::testing::Values(MapErrorCase{"# header\nRSDS4Detn000To004,400\nRSDS4Bogus,401\n",
                                   "bad.map:3: ", "unknown signal group 'RSDS4Bogus'"},
                      MapErrorCase{"RSDS4Detn000To004,400\n\nRSDS4Detn005To009,0x400\n",
                                   "bad.map:3: ", "CAN id 400 already used by 'RSDS4Detn000To004' on line 1"},
                      MapErrorCase{"RSDS4Detn000To004,400\nRSDS4Detn000To004,401\n",
                                   "bad.map:2: ", "'RSDS4Detn000To004' already mapped on line 1"},
                      MapErrorCase{"RSDS4Detn000To004 400\n", "bad.map:1: ", "expected GROUP_NAME,CAN_ID_HEX"},
                      MapErrorCase{"RSDS4Detn000To004,\n", "bad.map:1: ", "missing CAN id"},
                      MapErrorCase{"RSDS4Detn000To004,40G\n", "bad.map:1: ", "not hexadecimal"},
                      MapErrorCase{"RSDS4Detn000To004,20000000\n", "bad.map:1: ", "above 1FFFFFFF"},
                      MapErrorCase{"RSDS4Detn000To004,123456789\n", "bad.map:1: ", "more than 8 hex digits"},
                      MapErrorCase{"RSDS4Detn000To004,400,\n", "bad.map:1: ", "missing channel after ','"},
                      MapErrorCase{"RSDS4Detn000To004,400,can 0\n", "bad.map:1: ", "is not one name or number"},
                      MapErrorCase{"RSDS4Detn000To004,400,can0\nRSDS4Detn005To009,400,can0\n", "bad.map:2: ",
                                   "CAN id 400 on channel can0 already used by 'RSDS4Detn000To004' on line 1"},
                      MapErrorCase{"RSDS4Detn000To004,400\nRSDS4Detn005To009,400,2\n",
                                   "bad.map:2: ", "CAN id 400 already used by 'RSDS4Detn000To004' on line 1"},
                      MapErrorCase{"RSDS4Detn000To004,400,2\nRSDS4Detn005To009,400\n", "bad.map:2: ",
                                   "CAN id 400 on channel 2 already used by 'RSDS4Detn000To004' on line 1"}));

fsrl::CanFrame FrameOn(std::uint32_t id, const char* iface, std::uint32_t channel) {
  fsrl::CanFrame frame;
  frame.id = id;
  frame.iface = iface;
  frame.channel = channel;
  return frame;
}

TEST(FrameMapFile, AnIdTiedToAChannelCarriesItsGroupOnThatChannelOnly) {
  FrameMap map;
  std::string error;
  ASSERT_TRUE(FrameMap::Parse("RSDS4Detn000To004,400,can1\nRSDS4Detn005To009,400,can0\nRSDS4Detn010To014,401\n",
                              "ok.map", map, error))
      << error;
  EXPECT_EQ(map.GroupOf(FrameOn(0x400, "can0", 1)), 1);
  EXPECT_EQ(map.GroupOf(FrameOn(0x400, "can1", 2)), 0);
  EXPECT_EQ(map.GroupOf(FrameOn(0x400, "vcan7", 3)), -1) << "tied to other channels";
  EXPECT_EQ(map.GroupOf(FrameOn(0x401, "vcan7", 3)), 2) << "without a channel, on every one";
  EXPECT_EQ(map.GroupOf(0x400, false), -1) << "the id alone names no channel";
  EXPECT_EQ(map.ChannelOf(0), "can1");
  EXPECT_EQ(map.ChannelOf(2), "");
}

TEST(FrameMapFile, AChannelNumberMatchesTheBusNumberOrAnInterfaceOfThatName) {
  FrameMap map;
  std::string error;
  ASSERT_TRUE(FrameMap::Parse("RSDS4Detn000To004, 00000400 , 2\n", "ok.map", map, error)) << error;
  fsrl::CanFrame frame = FrameOn(0x400, "2", 2);
  frame.extended = true;
  EXPECT_EQ(map.GroupOf(frame), 0);
  frame.iface = "can1";
  EXPECT_EQ(map.GroupOf(frame), 0) << "second bus of a candump log";
  frame.channel = 1;
  EXPECT_EQ(map.GroupOf(frame), -1);
  frame.iface = "2";
  EXPECT_EQ(map.GroupOf(frame), 0) << "an interface named 2";
  frame.iface = "2";
  frame.channel = 2;
  frame.remote = true;
  EXPECT_EQ(map.GroupOf(frame), -1);
}

TEST(FrameMapFile, DuplicateIdsDifferInStandardAndExtendedForm) {
  FrameMap map;
  std::string error;
  EXPECT_TRUE(FrameMap::Parse("RSDS4Detn000To004,400\nRSDS4Detn005To009,00000400\n", "ok.map", map, error)) << error;
  EXPECT_EQ(map.GroupOf(0x400, false), 0);
  EXPECT_EQ(map.GroupOf(0x400, true), 1);
}

TEST(FrameMapFile, IsLoadedFromDisk) {
  fsrl_test::TempDir dir;
  const std::string path = dir.Write("radar.map", "RSDS4SigSts2,10\n");
  FrameMap map;
  std::string error;
  ASSERT_TRUE(FrameMap::Load(path, map, error)) << error;
  EXPECT_EQ(map.GroupOf(0x10, false), 51);
}

TEST(FrameMapFile, MissingFileIsReportedWithItsName) {
  FrameMap map;
  std::string error;
  EXPECT_FALSE(FrameMap::Load("/nonexistent/radar.map", map, error));
  EXPECT_THAT(error, StartsWith("/nonexistent/radar.map: cannot open"));
}

TEST(FrameMapAdd, RefusesTakenIdsTakenGroupsAndOutOfRangeValues) {
  FrameMap map;
  EXPECT_TRUE(map.Add(3, CanId{0x7FF, false}));
  EXPECT_FALSE(map.Add(4, CanId{0x7FF, false}));
  EXPECT_FALSE(map.Add(3, CanId{0x100, false}));
  EXPECT_FALSE(map.Add(52, CanId{0x101, false}));
  EXPECT_FALSE(map.Add(5, CanId{0x800, false}));
  EXPECT_FALSE(map.Add(5, CanId{0x20000000, true}));
  EXPECT_TRUE(map.Add(5, CanId{0x1FFFFFFF, true}));
  EXPECT_EQ(map.GroupOf(0x1FFFFFFF, true), 5);
  EXPECT_EQ(map.size(), 2U);
}

}  // namespace
