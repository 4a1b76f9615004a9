// Payload layout of the radar's signal groups, signal by signal: the four
// fully tabled groups row by row, the other 48 through the rule that they repeat
// their template group by name suffix.
#include "initialfrontsideradarlefthal_e2e_database.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

// Width and kind of the record field a signal decodes into.
enum ValueKind { kU8, kU16, kU64, kE8, kE16, kFloat };

// A limit is a double for float signals and an unsigned integer otherwise.
struct Limit {
  double real;
  std::uint64_t integer;
};
constexpr Limit Real(double value) { return Limit{value, 0U}; }
constexpr Limit Int(std::uint64_t value) { return Limit{0.0, value}; }

struct Row {
  int bit;
  int bits;
  const char* name;
  ValueKind kind;
  double factor;  // 1 and 0 for unscaled fields; compared in the integer view then
  double offset;
  Limit min;
  Limit max;
  std::uint8_t flags;
};

// RSDS4Detn000To004: every row of its table.
const Row kDetn000To004[48] = {
    {0, 16, "RSDS4Detn000To004CRC", kU16, 1.0, 0.0, Int(0U), Int(65535U), 0x81},
    {16, 8, "RSDS4Detn000To004Counter", kU8, 1.0, 0.0, Int(0U), Int(255U), 0x81},
    {24, 8, "RSDS4Detn000To004ScanID", kU8, 1.0, 0.0, Int(0U), Int(255U), 0x81},
    {32, 8, "RSDS4Detn000To004EleAng0", kFloat, 0.004, -0.5, Real(-0.5), Real(0.5), 0x80},
    {40, 15, "RSDS4Detn000To004Range0", kFloat, 0.01, 0.0, Real(0.0), Real(300.0), 0x80},
    {55, 2, "RSDS4Detn000To004Mode0", kE8, 1.0, 0.0, Int(0U), Int(3U), 0x81},
    {57, 12, "RSDS4Detn000To004AziAng0", kFloat, 0.001, -2.0, Real(-2.0), Real(2.0), 0x80},
    {69, 7, "RSDS4Detn000To004SNR0", kFloat, 0.5, 0.0, Real(0.0), Real(63.0), 0x80},
    {76, 14, "RSDS4Detn000To004RngRt0", kFloat, 0.025, -106.0, Real(-106.0), Real(106.0), 0x80},
    {90, 2, "RSDS4Detn000To004Quality0", kE8, 1.0, 0.0, Int(0U), Int(3U), 0x81},
    {92, 1, "RSDS4Detn000To004DynPrPty0", kE8, 1.0, 0.0, Int(0U), Int(1U), 0x81},
    {93, 8, "RSDS4Detn000To004RCS0", kFloat, 0.315, -40.005, Real(-40.005), Real(40.32), 0x80},
    {101, 8, "RSDS4Detn000To004EleAng1", kFloat, 0.004, -0.5, Real(-0.5), Real(0.5), 0x80},
    {109, 15, "RSDS4Detn000To004Range1", kFloat, 0.01, 0.0, Real(0.0), Real(300.0), 0x80},
    {124, 2, "RSDS4Detn000To004Mode1", kE8, 1.0, 0.0, Int(0U), Int(3U), 0x81},
    {126, 12, "RSDS4Detn000To004AziAng1", kFloat, 0.001, -2.0, Real(-2.0), Real(2.0), 0x80},
    {138, 7, "RSDS4Detn000To004SNR1", kFloat, 0.5, 0.0, Real(0.0), Real(63.0), 0x80},
    {145, 14, "RSDS4Detn000To004RngRt1", kFloat, 0.025, -106.0, Real(-106.0), Real(106.0), 0x80},
    {159, 2, "RSDS4Detn000To004Quality1", kE8, 1.0, 0.0, Int(0U), Int(3U), 0x81},
    {161, 1, "RSDS4Detn000To004DynPrPty1", kE8, 1.0, 0.0, Int(0U), Int(1U), 0x81},
    {162, 8, "RSDS4Detn000To004RCS1", kFloat, 0.315, -40.005, Real(-40.005), Real(40.32), 0x80},
    {170, 8, "RSDS4Detn000To004EleAng2", kFloat, 0.004, -0.5, Real(-0.5), Real(0.5), 0x80},
    {178, 15, "RSDS4Detn000To004Range2", kFloat, 0.01, 0.0, Real(0.0), Real(300.0), 0x80},
    {193, 2, "RSDS4Detn000To004Mode2", kE8, 1.0, 0.0, Int(0U), Int(3U), 0x81},
    {195, 12, "RSDS4Detn000To004AziAng2", kFloat, 0.001, -2.0, Real(-2.0), Real(2.0), 0x80},
    {207, 7, "RSDS4Detn000To004SNR2", kFloat, 0.5, 0.0, Real(0.0), Real(63.0), 0x80},
    {214, 14, "RSDS4Detn000To004RngRt2", kFloat, 0.025, -106.0, Real(-106.0), Real(106.0), 0x80},
    {228, 2, "RSDS4Detn000To004Quality2", kE8, 1.0, 0.0, Int(0U), Int(3U), 0x81},
    {230, 1, "RSDS4Detn000To004DynPrPty2", kE8, 1.0, 0.0, Int(0U), Int(1U), 0x81},
    {231, 8, "RSDS4Detn000To004RCS2", kFloat, 0.315, -40.005, Real(-40.005), Real(40.32), 0x80},
    {239, 8, "RSDS4Detn000To004EleAng3", kFloat, 0.004, -0.5, Real(-0.5), Real(0.5), 0x80},
    {247, 15, "RSDS4Detn000To004Range3", kFloat, 0.01, 0.0, Real(0.0), Real(300.0), 0x80},
    {262, 2, "RSDS4Detn000To004Mode3", kE8, 1.0, 0.0, Int(0U), Int(3U), 0x81},
    {264, 12, "RSDS4Detn000To004AziAng3", kFloat, 0.001, -2.0, Real(-2.0), Real(2.0), 0x80},
    {276, 7, "RSDS4Detn000To004SNR3", kFloat, 0.5, 0.0, Real(0.0), Real(63.0), 0x80},
    {283, 14, "RSDS4Detn000To004RngRt3", kFloat, 0.025, -106.0, Real(-106.0), Real(106.0), 0x80},
    {297, 2, "RSDS4Detn000To004Quality3", kE8, 1.0, 0.0, Int(0U), Int(3U), 0x81},
    {299, 1, "RSDS4Detn000To004DynPrPty3", kE8, 1.0, 0.0, Int(0U), Int(1U), 0x81},
    {300, 8, "RSDS4Detn000To004RCS3", kFloat, 0.315, -40.005, Real(-40.005), Real(40.32), 0x80},
    {308, 8, "RSDS4Detn000To004EleAng4", kFloat, 0.004, -0.5, Real(-0.5), Real(0.5), 0x80},
    {316, 15, "RSDS4Detn000To004Range4", kFloat, 0.01, 0.0, Real(0.0), Real(300.0), 0x80},
    {331, 2, "RSDS4Detn000To004Mode4", kE8, 1.0, 0.0, Int(0U), Int(3U), 0x81},
    {333, 12, "RSDS4Detn000To004AziAng4", kFloat, 0.001, -2.0, Real(-2.0), Real(2.0), 0x80},
    {345, 7, "RSDS4Detn000To004SNR4", kFloat, 0.5, 0.0, Real(0.0), Real(63.0), 0x80},
    {352, 14, "RSDS4Detn000To004RngRt4", kFloat, 0.025, -106.0, Real(-106.0), Real(106.0), 0x80},
    {366, 2, "RSDS4Detn000To004Quality4", kE8, 1.0, 0.0, Int(0U), Int(3U), 0x81},
    {368, 1, "RSDS4Detn000To004DynPrPty4", kE8, 1.0, 0.0, Int(0U), Int(1U), 0x81},
    {369, 8, "RSDS4Detn000To004RCS4", kFloat, 0.315, -40.005, Real(-40.005), Real(40.32), 0x80},
};

// RSDS4SigSts1: every row of its table.
const Row kSigSts1[26] = {
    {0, 16, "RSDS4SigSts1CRC", kU16, 1.0, 0.0, Int(0U), Int(65535U), 0x81},
    {16, 8, "RSDS4SigSts1Counter", kU8, 1.0, 0.0, Int(0U), Int(255U), 0x81},
    {24, 64, "RSDS4SigSts1TimeStamp0", kU64, 1.0, 0.0, Int(0U), Int(UINT64_C(18446744073709551615)), 0x81},
    {88, 64, "RSDS4SigSts1TimeStamp1", kU64, 1.0, 0.0, Int(0U), Int(UINT64_C(18446744073709551615)), 0x81},
    {152, 64, "RSDS4SigSts1TimeStamp2", kU64, 1.0, 0.0, Int(0U), Int(UINT64_C(18446744073709551615)), 0x81},
    {216, 64, "RSDS4SigSts1TimeStamp3", kU64, 1.0, 0.0, Int(0U), Int(UINT64_C(18446744073709551615)), 0x81},
    {280, 16, "RSDS4SigSts1XAxisOffs", kFloat, 0.00145204372, -25.0, Real(-25.0), Real(25.0), 0x80},
    {296, 16, "RSDS4SigSts1YAxisOffs", kFloat, 0.00145, -25.0, Real(-25.0), Real(25.0), 0x80},
    {312, 16, "RSDS4SigSts1ZAxisOffs", kFloat, 0.00145240648, -25.0, Real(-25.0), Real(25.0), 0x80},
    {359, 1, "RSDS4SigSts1DtnListSysSftyFailureFlag", kE8, 1.0, 0.0, Int(0U), Int(1U), 0x81},
    {360, 12, "RSDS4SigSts1XOrientAng", kFloat, 0.1, -180.0, Real(-180.0), Real(180.0), 0x80},
    {372, 4, "RSDS4SigSts1IfVersMinor", kU8, 1.0, 0.0, Int(0U), Int(15U), 0x80},
    {376, 4, "RSDS4SigSts1PhaseNoise", kE8, 1.0, 0.0, Int(0U), Int(8U), 0x81},
    {384, 8, "RSDS4SigSts1ScanID", kU8, 1.0, 0.0, Int(0U), Int(255U), 0x81},
    {392, 12, "RSDS4SigSts1ZOrientAng", kFloat, 0.1, -180.0, Real(-180.0), Real(180.0), 0x80},
    {404, 4, "RSDS4SigSts1RSPStatusInfo", kE8, 1.0, 0.0, Int(0U), Int(8U), 0x81},
    {416, 4, "RSDS4SigSts1IfVersMajor", kU8, 1.0, 0.0, Int(0U), Int(15U), 0x80},
    {420, 2, "RSDS4SigSts1Blockage", kE8, 1.0, 0.0, Int(0U), Int(2U), 0x81},
    {422, 2, "RSDS4SigSts1Interference", kE8, 1.0, 0.0, Int(0U), Int(2U), 0x81},
    {424, 8, "RSDS4SigSts1DtnListFaultReason", kE16, 1.0, 0.0, Int(0U), Int(128U), 0x81},
    {432, 12, "RSDS4SigSts1YOrientAng", kFloat, 0.1, -180.0, Real(-180.0), Real(180.0), 0x80},
    {444, 8, "RSDS4SigSts1SWVersMajor", kU8, 1.0, 0.0, Int(0U), Int(255U), 0x81},
    {452, 2, "RSDS4SigSts1RdrStsDetn", kE8, 1.0, 0.0, Int(0U), Int(2U), 0x81},
    {455, 1, "RSDS4SigSts1RdrEmsnSts", kE8, 1.0, 0.0, Int(0U), Int(1U), 0x81},
    {467, 1, "RSDS4SigSts1TimeStampStatus", kE8, 1.0, 0.0, Int(0U), Int(1U), 0x81},
    {480, 8, "RSDS4SigSts1SWVersMinor", kU8, 1.0, 0.0, Int(0U), Int(255U), 0x81},
};

// RSDS4SigSts2: every row of its table.
const Row kSigSts2[19] = {
    {0, 16, "RSDS4SigSts2CRC", kU16, 1.0, 0.0, Int(0U), Int(65535U), 0x81},
    {16, 8, "RSDS4SigSts2Counter", kU8, 1.0, 0.0, Int(0U), Int(255U), 0x81},
    {24, 64, "RSDS4SigSts2TimeStampObj", kU64, 1.0, 0.0, Int(0U), Int(UINT64_C(18446744073709551615)), 0x81},
    {88, 8, "RSDS4SigSts2ScanID", kU8, 1.0, 0.0, Int(0U), Int(255U), 0x81},
    {96, 7, "RSDS4SigSts2InterferenceLev", kU8, 1.0, 0.0, Int(0U), Int(100U), 0x80},
    {103, 1, "RSDS4SigSts2CalRltSts", kE8, 1.0, 0.0, Int(0U), Int(1U), 0x81},
    {104, 8, "RSDS4SigSts2AziMisAlnmntAng", kFloat, 0.1, -12.5, Real(-12.5), Real(12.5), 0x80},
    {112, 8, "RSDS4SigSts2EleMisAlnmntAng", kFloat, 0.1, -12.5, Real(-12.5), Real(12.5), 0x80},
    {120, 7, "RSDS4SigSts2BlockageLev", kU8, 1.0, 0.0, Int(0U), Int(100U), 0x80},
    {127, 1, "RSDS4SigSts2ObjSysSftyFailureFlag", kE8, 1.0, 0.0, Int(0U), Int(1U), 0x81},
    {128, 2, "RSDS4SigSts2StateMachineStatus", kE8, 1.0, 0.0, Int(0U), Int(3U), 0x81},
    {130, 8, "RSDS4SigSts2CommFltReason", kE16, 1.0, 0.0, Int(0U), Int(128U), 0x81},
    {138, 3, "RSDS4SigSts2TrackStatusInfo", kE8, 1.0, 0.0, Int(0U), Int(7U), 0x81},
    {141, 1, "RSDS4SigSts2StsSysSftyFailureFlag", kE8, 1.0, 0.0, Int(0U), Int(1U), 0x81},
    {142, 1, "RSDS4SigSts2PCANSyncStatusInfo", kE8, 1.0, 0.0, Int(0U), Int(1U), 0x81},
    {144, 8, "RSDS4SigSts2ObjListFaultReason", kE16, 1.0, 0.0, Int(0U), Int(128U), 0x81},
    {152, 7, "RSDS4SigSts2CalPrgrsSts", kU8, 1.0, 0.0, Int(0U), Int(100U), 0x80},
    {160, 2, "RSDS4SigSts2CalSts", kE8, 1.0, 0.0, Int(0U), Int(2U), 0x81},
    {162, 2, "RSDS4SigSts2RdrStsObj", kE8, 1.0, 0.0, Int(0U), Int(2U), 0x81},
};

// RSDS4Obj00To01: every row of its table.
const Row kObj00To01[50] = {
    {0, 16, "RSDS4Obj00To01CRC", kU16, 1.0, 0.0, Int(0U), Int(65535U), 0x81},
    {16, 8, "RSDS4Obj00To01Counter", kU8, 1.0, 0.0, Int(0U), Int(255U), 0x81},
    {24, 13, "RSDS4Obj00To01LatPos0", kFloat, 0.0625, -255.9375, Real(-255.9375), Real(255.9375), 0x80},
    {37, 2, "RSDS4Obj00To01FuseInfo0", kE8, 1.0, 0.0, Int(0U), Int(3U), 0x81},
    {40, 13, "RSDS4Obj00To01LatPos1", kFloat, 0.0625, -255.9375, Real(-255.9375), Real(255.9375), 0x80},
    {53, 2, "RSDS4Obj00To01FuseInfo1", kE8, 1.0, 0.0, Int(0U), Int(3U), 0x81},
    {56, 13, "RSDS4Obj00To01LongPos0", kFloat, 0.0625, -255.9375, Real(-255.9375), Real(255.9375), 0x80},
    {72, 13, "RSDS4Obj00To01LongPos1", kFloat, 0.0625, -255.9375, Real(-255.9375), Real(255.9375), 0x80},
    {88, 11, "RSDS4Obj00To01LatVel0", kFloat, 0.1, -102.0, Real(-102.0), Real(102.0), 0x80},
    {99, 5, "RSDS4Obj00To01MtnPtnClas0", kE8, 1.0, 0.0, Int(0U), Int(4U), 0x81},
    {104, 11, "RSDS4Obj00To01LatVel1", kFloat, 0.1, -102.0, Real(-102.0), Real(102.0), 0x80},
    {115, 5, "RSDS4Obj00To01MtnPtnClas1", kE8, 1.0, 0.0, Int(0U), Int(4U), 0x81},
    {120, 11, "RSDS4Obj00To01LongVel0", kFloat, 0.1, -102.0, Real(-102.0), Real(102.0), 0x80},
    {131, 4, "RSDS4Obj00To01CoastCntr0", kU8, 1.0, 0.0, Int(0U), Int(15U), 0x80},
    {136, 11, "RSDS4Obj00To01LongVel1", kFloat, 0.1, -102.0, Real(-102.0), Real(102.0), 0x80},
    {147, 4, "RSDS4Obj00To01CoastCntr1", kU8, 1.0, 0.0, Int(0U), Int(15U), 0x80},
    {152, 10, "RSDS4Obj00To01HeadAng0", kFloat, 0.01, -3.14, Real(-3.14), Real(3.14), 0x80},
    {162, 6, "RSDS4Obj00To01ObjID0", kU8, 1.0, 0.0, Int(0U), Int(63U), 0x80},
    {168, 10, "RSDS4Obj00To01HeadAng1", kFloat, 0.01, -3.14, Real(-3.14), Real(3.14), 0x80},
    {178, 6, "RSDS4Obj00To01ObjID1", kU8, 1.0, 0.0, Int(0U), Int(63U), 0x80},
    {184, 9, "RSDS4Obj00To01LongAccl0", kFloat, 0.1, -25.6, Real(-25.6), Real(25.5), 0x80},
    {193, 7, "RSDS4Obj00To01Confidance0", kU8, 1.0, 0.0, Int(0U), Int(100U), 0x80},
    {200, 9, "RSDS4Obj00To01LongAccl1", kFloat, 0.1, -25.6, Real(-25.6), Real(25.5), 0x80},
    {209, 7, "RSDS4Obj00To01Confidance1", kU8, 1.0, 0.0, Int(0U), Int(100U), 0x80},
    {216, 9, "RSDS4Obj00To01LatAccl0", kFloat, 0.1, -25.6, Real(-25.6), Real(25.5), 0x80},
    {225, 6, "RSDS4Obj00To01ObjWid0", kFloat, 0.125, 0.3, Real(0.3), Real(8.0), 0x80},
    {232, 9, "RSDS4Obj00To01LatAccl1", kFloat, 0.1, -25.6, Real(-25.6), Real(25.5), 0x80},
    {241, 6, "RSDS4Obj00To01ObjWid1", kFloat, 0.125, 0.3, Real(0.3), Real(8.0), 0x80},
    {248, 9, "RSDS4Obj00To01ObjLen0", kFloat, 0.1, 0.3, Real(0.3), Real(51.4), 0x80},
    {257, 6, "RSDS4Obj00To01StdLatAccl0", kFloat, 0.1, 0.0, Real(0.0), Real(5.0), 0x80},
    {264, 9, "RSDS4Obj00To01ObjLen1", kFloat, 0.1, 0.3, Real(0.3), Real(51.4), 0x80},
    {273, 6, "RSDS4Obj00To01StdLatAccl1", kFloat, 0.1, 0.0, Real(0.0), Real(5.0), 0x80},
    {280, 8, "RSDS4Obj00To01ScanID", kU8, 1.0, 0.0, Int(0U), Int(255U), 0x81},
    {288, 8, "RSDS4Obj00To01StdLatPos0", kFloat, 0.1, 0.0, Real(0.0), Real(25.0), 0x80},
    {296, 8, "RSDS4Obj00To01StdLatPos1", kFloat, 0.1, 0.0, Real(0.0), Real(25.0), 0x80},
    {304, 8, "RSDS4Obj00To01StdLatVel0", kFloat, 0.1, 0.0, Real(0.0), Real(15.0), 0x80},
    {312, 8, "RSDS4Obj00To01StdLatVel1", kFloat, 0.1, 0.0, Real(0.0), Real(15.0), 0x80},
    {320, 8, "RSDS4Obj00To01StdLongPos0", kFloat, 0.1, 0.0, Real(0.0), Real(25.0), 0x80},
    {328, 8, "RSDS4Obj00To01StdLongPos1", kFloat, 0.1, 0.0, Real(0.0), Real(25.0), 0x80},
    {336, 8, "RSDS4Obj00To01StdLongVel0", kFloat, 0.1, 0.0, Real(0.0), Real(15.0), 0x80},
    {344, 8, "RSDS4Obj00To01StdLongVel1", kFloat, 0.1, 0.0, Real(0.0), Real(15.0), 0x80},
    {352, 4, "RSDS4Obj00To01TrkSts0", kE8, 1.0, 0.0, Int(0U), Int(1U), 0x81},
    {356, 4, "RSDS4Obj00To01TrkSts1", kE8, 1.0, 0.0, Int(0U), Int(1U), 0x81},
    {360, 4, "RSDS4Obj00To01RefPt0", kE8, 1.0, 0.0, Int(0U), Int(9U), 0x81},
    {364, 4, "RSDS4Obj00To01RefPt1", kE8, 1.0, 0.0, Int(0U), Int(9U), 0x81},
    {368, 4, "RSDS4Obj00To01ObjClas0", kE8, 1.0, 0.0, Int(0U), Int(5U), 0x81},
    {372, 4, "RSDS4Obj00To01ObjClas1", kE8, 1.0, 0.0, Int(0U), Int(5U), 0x81},
    {376, 6, "RSDS4Obj00To01StdLongAccl0", kFloat, 0.1, 0.0, Real(0.0), Real(5.0), 0x80},
    {384, 6, "RSDS4Obj00To01StdLongAccl1", kFloat, 0.1, 0.0, Real(0.0), Real(5.0), 0x80},
    {392, 4, "RSDS4Obj00To01MsgCntr", kU8, 1.0, 0.0, Int(0U), Int(15U), 0x80},
};

constexpr std::size_t kGroupCount = 52U;

std::string NameOf(const std::uint8_t (&name)[SIGNAL_DB_NAME_SIZE]) {
  const char* text = reinterpret_cast<const char*>(name);
  return std::string(text, strnlen(text, sizeof(name)));
}

// Group index by name, or kGroupCount.
std::size_t GroupIndex(const std::string& name) {
  for (std::size_t i = 0; i < kGroupCount; ++i) {
    if (NameOf(initialfrontsideradarlefthal_signal_groups[i].name) == name) {
      return i;
    }
  }
  return kGroupCount;
}

std::vector<const SignalAdapter_Signal*> SignalsOf(std::size_t group_index) {
  const SignalAdapter_SignalGroup& group = initialfrontsideradarlefthal_signal_groups[group_index];
  std::vector<const SignalAdapter_Signal*> signals;
  for (std::uint32_t k = 0; k < group.nbr_of_signals; ++k) {
    const std::uint32_t index = group.signal_start_index + k;
    if (index < initialfrontsideradarlefthal_signal_count) {
      signals.push_back(&initialfrontsideradarlefthal_signals[index]);
    }
  }
  return signals;
}

// The signals of a group keyed by the part of their name after the group name.
std::map<std::string, const SignalAdapter_Signal*> SignalsBySuffix(const std::string& group_name) {
  std::map<std::string, const SignalAdapter_Signal*> by_suffix;
  const std::size_t index = GroupIndex(group_name);
  if (index == kGroupCount) {
    ADD_FAILURE() << "no group " << group_name;
    return by_suffix;
  }
  for (const SignalAdapter_Signal* signal : SignalsOf(index)) {
    const std::string name = NameOf(signal->name);
    if (name.compare(0, group_name.size(), group_name) != 0) {
      ADD_FAILURE() << name << " does not begin with " << group_name;
      continue;
    }
    EXPECT_TRUE(by_suffix.emplace(name.substr(group_name.size()), signal).second) << "duplicate " << name;
  }
  return by_suffix;
}

std::string DetectionGroupName(int group) {
  char name[32];
  std::snprintf(name, sizeof name, "RSDS4Detn%03dTo%03d", 5 * group, 5 * group + 4);
  return name;
}

std::string ObjectGroupName(int group) {
  char name[32];
  std::snprintf(name, sizeof name, "RSDS4Obj%02dTo%02d", 2 * group, 2 * group + 1);
  return name;
}

void ExpectSignalMatchesRow(const SignalAdapter_Signal& signal, const Row& row) {
  EXPECT_EQ(signal.value_relative_bit_offset, row.bit);
  EXPECT_EQ(signal.value_bit_length, row.bits);
  EXPECT_EQ(int{signal.flags}, int{row.flags});
  EXPECT_EQ(signal.codec_type, SIGNAL_DB_SIGNAL_CODEC_VALUE_TYPE_UNSIGNED_INTEGER);
  switch (row.kind) {
    case kFloat:
      EXPECT_EQ(signal.value_type, SIGNAL_DB_SIGNAL_VALUE_TYPE_FLOAT);
      EXPECT_EQ(signal.value_byte_length, 8U);
      EXPECT_EQ(int{signal.codec_flags}, 0x03);
      // Exact comparison: the database and this table spell the same decimal literal.
      EXPECT_EQ(signal.value_factor_offset.scale_factor.double_float, row.factor);
      EXPECT_EQ(signal.value_factor_offset.offset.double_float, row.offset);
      EXPECT_EQ(signal.value_min_max.min.double_float, row.min.real);
      EXPECT_EQ(signal.value_min_max.max.double_float, row.max.real);
      return;
    case kU8:
      EXPECT_EQ(signal.value_type, SIGNAL_DB_SIGNAL_VALUE_TYPE_UNSIGNED_INTEGER);
      EXPECT_EQ(signal.value_byte_length, 1U);
      break;
    case kU16:
      EXPECT_EQ(signal.value_type, SIGNAL_DB_SIGNAL_VALUE_TYPE_UNSIGNED_INTEGER);
      EXPECT_EQ(signal.value_byte_length, 2U);
      break;
    case kU64:
      EXPECT_EQ(signal.value_type, SIGNAL_DB_SIGNAL_VALUE_TYPE_UNSIGNED_INTEGER);
      EXPECT_EQ(signal.value_byte_length, 8U);
      break;
    case kE8:
      EXPECT_EQ(signal.value_type, SIGNAL_DB_SIGNAL_VALUE_TYPE_ENUMERATED);
      EXPECT_EQ(signal.value_byte_length, 1U);
      break;
    case kE16:
      EXPECT_EQ(signal.value_type, SIGNAL_DB_SIGNAL_VALUE_TYPE_ENUMERATED);
      EXPECT_EQ(signal.value_byte_length, 2U);
      break;
  }
  // Unscaled: factor 1 and offset 0 in the integer view, limits as integers.
  EXPECT_EQ(row.factor, 1.0);
  EXPECT_EQ(row.offset, 0.0);
  EXPECT_EQ(int{signal.codec_flags}, 0x05);
  EXPECT_EQ(signal.value_factor_offset.scale_factor.unsigned_int, 1U);
  EXPECT_EQ(signal.value_factor_offset.offset.unsigned_int, 0U);
  EXPECT_EQ(signal.value_min_max.min.unsigned_int, row.min.integer);
  EXPECT_EQ(signal.value_min_max.max.unsigned_int, row.max.integer);
}

// Checks that group_name holds exactly the signals of a table written for
// template_name, each renamed to group_name + its suffix.
template <std::size_t N>
void ExpectGroupMatchesTable(const std::string& group_name, const char* template_name, const Row (&rows)[N]) {
  SCOPED_TRACE(group_name);
  const std::map<std::string, const SignalAdapter_Signal*> by_suffix = SignalsBySuffix(group_name);
  EXPECT_EQ(by_suffix.size(), N);
  const std::size_t index = GroupIndex(group_name);
  ASSERT_LT(index, kGroupCount);
  EXPECT_EQ(initialfrontsideradarlefthal_signal_groups[index].nbr_of_signals, N);
  const std::size_t prefix = std::strlen(template_name);
  for (const Row& row : rows) {
    ASSERT_EQ(std::strncmp(row.name, template_name, prefix), 0) << row.name;
    const std::string suffix = row.name + prefix;
    SCOPED_TRACE(group_name + suffix);
    const auto found = by_suffix.find(suffix);
    ASSERT_NE(found, by_suffix.end()) << "missing signal";
    ExpectSignalMatchesRow(*found->second, row);
  }
}

// Compares two records of the same suffix in everything but name, value slot
// and position.
void ExpectSameLayout(const SignalAdapter_Signal& actual, const SignalAdapter_Signal& templ) {
  EXPECT_EQ(actual.flags, templ.flags);
  EXPECT_EQ(actual.value_type, templ.value_type);
  EXPECT_EQ(actual.value_byte_length, templ.value_byte_length);
  EXPECT_EQ(actual.value_min_max.min.unsigned_int, templ.value_min_max.min.unsigned_int);
  EXPECT_EQ(actual.value_min_max.max.unsigned_int, templ.value_min_max.max.unsigned_int);
  EXPECT_EQ(actual.codec_flags, templ.codec_flags);
  EXPECT_EQ(actual.codec_type, templ.codec_type);
  EXPECT_EQ(actual.value_factor_offset.scale_factor.unsigned_int, templ.value_factor_offset.scale_factor.unsigned_int);
  EXPECT_EQ(actual.value_factor_offset.offset.unsigned_int, templ.value_factor_offset.offset.unsigned_int);
  EXPECT_EQ(actual.value_relative_bit_offset, templ.value_relative_bit_offset);
  EXPECT_EQ(actual.value_bit_length, templ.value_bit_length);
}

void ExpectGroupRepeatsTemplate(const std::string& group_name, const std::string& template_name) {
  SCOPED_TRACE(group_name);
  const auto group = SignalsBySuffix(group_name);
  const auto templ = SignalsBySuffix(template_name);
  std::set<std::string> group_suffixes;
  std::set<std::string> template_suffixes;
  for (const auto& entry : group) group_suffixes.insert(entry.first);
  for (const auto& entry : templ) template_suffixes.insert(entry.first);
  EXPECT_EQ(group_suffixes, template_suffixes);
  for (const auto& entry : group) {
    const auto match = templ.find(entry.first);
    if (match != templ.end()) {
      SCOPED_TRACE(entry.first);
      ExpectSameLayout(*entry.second, *match->second);
    }
  }
}

struct BitUse {
  int used;  // bits covered by some field
  int end;   // one past the highest bit of any field
};

BitUse BitUseOf(const std::string& group_name) {
  BitUse use{0, 0};
  const std::size_t index = GroupIndex(group_name);
  if (index == kGroupCount) {
    ADD_FAILURE() << "no group " << group_name;
    return use;
  }
  for (const SignalAdapter_Signal* signal : SignalsOf(index)) {
    use.used += signal->value_bit_length;
    use.end = std::max(use.end, signal->value_relative_bit_offset + static_cast<int>(signal->value_bit_length));
  }
  return use;
}

const SignalAdapter_Signal* FindSignal(const std::string& name) {
  for (const SignalAdapter_Signal& signal : initialfrontsideradarlefthal_signals) {
    if (NameOf(signal.name) == name) {
      return &signal;
    }
  }
  return nullptr;
}

// Little-endian bit field read, least significant bit first, as the codec flag
// SIGNAL_DB_SIGNAL_CODEC_FLAGS_LITTLE_ENDIAN describes it.
std::uint64_t ReadField(const std::vector<std::uint8_t>& payload, const SignalAdapter_Signal& signal) {
  std::uint64_t value = 0;
  for (int k = 0; k < signal.value_bit_length; ++k) {
    const int bit = signal.value_relative_bit_offset + k;
    const std::uint64_t set = (payload.at(static_cast<std::size_t>(bit / 8)) >> (bit % 8)) & 1U;
    value |= set << k;
  }
  return value;
}

TEST(SignalCatalogue, FirstDetectionGroupMatchesItsTableRowByRow) {
  ExpectGroupMatchesTable("RSDS4Detn000To004", "RSDS4Detn000To004", kDetn000To004);
}

TEST(SignalCatalogue, StatusOneMatchesItsTableRowByRow) {
  ExpectGroupMatchesTable("RSDS4SigSts1", "RSDS4SigSts1", kSigSts1);
}

TEST(SignalCatalogue, StatusTwoMatchesItsTableRowByRow) {
  ExpectGroupMatchesTable("RSDS4SigSts2", "RSDS4SigSts2", kSigSts2);
}

TEST(SignalCatalogue, FirstObjectGroupMatchesItsTableRowByRow) {
  ExpectGroupMatchesTable("RSDS4Obj00To01", "RSDS4Obj00To01", kObj00To01);
}

TEST(SignalCatalogue, EveryOtherDetectionGroupHasTheTabledLayoutUnderItsOwnName) {
  for (int group = 1; group < 40; ++group) {
    ExpectGroupMatchesTable(DetectionGroupName(group), "RSDS4Detn000To004", kDetn000To004);
  }
}

TEST(SignalCatalogue, EveryOtherObjectGroupHasTheTabledLayoutUnderItsOwnName) {
  for (int group = 1; group < 10; ++group) {
    ExpectGroupMatchesTable(ObjectGroupName(group), "RSDS4Obj00To01", kObj00To01);
  }
}

TEST(SignalCatalogue, DetectionGroupsRepeatTheFirstDetectionGroupSuffixBySuffix) {
  for (int group = 1; group < 40; ++group) {
    ExpectGroupRepeatsTemplate(DetectionGroupName(group), "RSDS4Detn000To004");
  }
}

TEST(SignalCatalogue, ObjectGroupsRepeatTheFirstObjectGroupSuffixBySuffix) {
  for (int group = 1; group < 10; ++group) {
    ExpectGroupRepeatsTemplate(ObjectGroupName(group), "RSDS4Obj00To01");
  }
}

TEST(SignalCatalogue, RangeRateOfDetectionThreeInGroupOneHundredTwentyLiesAtBit283) {
  const SignalAdapter_Signal* signal = FindSignal("RSDS4Detn120To124RngRt3");
  ASSERT_NE(signal, nullptr);
  EXPECT_EQ(signal->value_relative_bit_offset, 283);
  EXPECT_EQ(signal->value_bit_length, 14U);
  EXPECT_EQ(signal->value_factor_offset.scale_factor.double_float, 0.025);
  EXPECT_EQ(signal->value_factor_offset.offset.double_float, -106.0);
}

TEST(SignalCatalogue, EachDetectionOccupiesSixtyNineBitsFromBit32PlusSixtyNineTimesItsNumber) {
  // Elevation 8, range 15, mode 2, azimuth 12, SNR 7, range rate 14, quality 2,
  // dynamic property 1, RCS 8, one after the other.
  const std::pair<const char*, int> parts[] = {{"EleAng", 8},  {"Range", 15},   {"Mode", 2},
                                               {"AziAng", 12}, {"SNR", 7},      {"RngRt", 14},
                                               {"Quality", 2}, {"DynPrPty", 1}, {"RCS", 8}};
  for (int group = 0; group < 40; ++group) {
    const std::string group_name = DetectionGroupName(group);
    const auto by_suffix = SignalsBySuffix(group_name);
    for (int n = 0; n < 5; ++n) {
      int bit = 32 + 69 * n;
      for (const auto& part : parts) {
        const std::string suffix = part.first + std::to_string(n);
        const auto found = by_suffix.find(suffix);
        if (found == by_suffix.end()) {
          ADD_FAILURE() << group_name << suffix << " missing";
          continue;
        }
        EXPECT_EQ(found->second->value_relative_bit_offset, bit) << group_name << suffix;
        EXPECT_EQ(found->second->value_bit_length, part.second) << group_name << suffix;
        bit += part.second;
      }
      EXPECT_EQ(bit, 32 + 69 * (n + 1));
    }
  }
}

TEST(SignalCatalogue, DetectionGroupsUseBitsZeroTo376WithoutGaps) {
  for (int group = 0; group < 40; ++group) {
    const BitUse use = BitUseOf(DetectionGroupName(group));
    EXPECT_EQ(use.end, 377) << DetectionGroupName(group);
    EXPECT_EQ(use.used, 377) << DetectionGroupName(group);
  }
}

TEST(SignalCatalogue, ObjectGroupsUse378BitsWithTheLastFieldEndingAtBit396) {
  for (int group = 0; group < 10; ++group) {
    const BitUse use = BitUseOf(ObjectGroupName(group));
    EXPECT_EQ(use.end, 396) << ObjectGroupName(group);
    EXPECT_EQ(use.used, 378) << ObjectGroupName(group);
  }
}

TEST(SignalCatalogue, StatusOneUses421Of488BitsWithItsLastFieldEndingAtBit488) {
  const BitUse use = BitUseOf("RSDS4SigSts1");
  EXPECT_EQ(use.used, 421);
  EXPECT_EQ(use.end, 488);
}

TEST(SignalCatalogue, StatusTwoUses162Of168BitsWithItsLastFieldEndingAtBit164) {
  const BitUse use = BitUseOf("RSDS4SigSts2");
  EXPECT_EQ(use.used, 162);
  EXPECT_EQ(use.end, 164);
}

TEST(SignalCatalogue, AxisOffsetsKeepThreeDifferentFactorsOverTheSameRange) {
  const SignalAdapter_Signal* x = FindSignal("RSDS4SigSts1XAxisOffs");
  const SignalAdapter_Signal* y = FindSignal("RSDS4SigSts1YAxisOffs");
  const SignalAdapter_Signal* z = FindSignal("RSDS4SigSts1ZAxisOffs");
  ASSERT_NE(x, nullptr);
  ASSERT_NE(y, nullptr);
  ASSERT_NE(z, nullptr);
  EXPECT_EQ(x->value_factor_offset.scale_factor.double_float, 0.00145204372);
  EXPECT_EQ(y->value_factor_offset.scale_factor.double_float, 0.00145);
  EXPECT_EQ(z->value_factor_offset.scale_factor.double_float, 0.00145240648);
  for (const SignalAdapter_Signal* axis : {x, y, z}) {
    EXPECT_EQ(axis->value_min_max.min.double_float, -25.0);
    EXPECT_EQ(axis->value_min_max.max.double_float, 25.0);
  }
}

TEST(SignalCatalogue, AllOnesRangeScalesAboveTheDatabaseMaximum) {
  const SignalAdapter_Signal* range = FindSignal("RSDS4Detn000To004Range0");
  ASSERT_NE(range, nullptr);
  const double raw = static_cast<double>((1U << range->value_bit_length) - 1U);
  EXPECT_EQ(raw, 32767.0);
  const double physical =
      raw * range->value_factor_offset.scale_factor.double_float + range->value_factor_offset.offset.double_float;
  EXPECT_DOUBLE_EQ(physical, 327.67);
  EXPECT_GT(physical, range->value_min_max.max.double_float);
  EXPECT_EQ(range->flags & SIGNAL_DB_SIGNAL_FLAGS_SKIP_MIN_MAX_CALC, 0);
}

TEST(SignalCatalogue, RangeThatStraddlesAByteBoundaryTakesItsLowBitsFromTheLowerByte) {
  const SignalAdapter_Signal* range = FindSignal("RSDS4Detn000To004Range0");
  ASSERT_NE(range, nullptr);
  std::vector<std::uint8_t> payload(48U, 0U);
  payload[5] = 0x34U;  // bits 40..47
  payload[6] = 0x92U;  // bits 48..54 carry 0x12; bit 55 belongs to the mode field
  EXPECT_EQ(ReadField(payload, *range), 0x1234U);
  const SignalAdapter_Signal* mode = FindSignal("RSDS4Detn000To004Mode0");
  ASSERT_NE(mode, nullptr);
  EXPECT_EQ(ReadField(payload, *mode), 1U);
}

TEST(SignalCatalogue, TimeStampAtBit24IsReadFromPayloadBytesThreeOnward) {
  const SignalAdapter_Signal* stamp = FindSignal("RSDS4SigSts1TimeStamp0");
  ASSERT_NE(stamp, nullptr);
  std::vector<std::uint8_t> payload(61U, 0U);
  for (std::size_t k = 0; k < 8U; ++k) {
    payload[3U + k] = static_cast<std::uint8_t>(k + 1U);
  }
  payload[2] = 0xFFU;   // the counter, below the time stamp
  payload[11] = 0xFFU;  // the next time stamp, above it
  EXPECT_EQ(ReadField(payload, *stamp), UINT64_C(0x0807060504030201));
}

}  // namespace
