// Typed signal-group records: field order against the value slots of the
// database, field and enumeration types, enumerator values, the detection
// traits, and the records' behaviour as plain aggregates that carry raw values.
#include "initialfrontsideradarlefthal_signal_groups.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <type_traits>
#include <typeindex>
#include <typeinfo>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "initialfrontsideradarlefthal_detection_groups.h"
#include "initialfrontsideradarlefthal_e2e_database.h"
#include "initialfrontsideradarlefthal_signal_groups_meta.h"

namespace {

namespace types = initialfrontsideradarlefthal::types;
namespace meta = initialfrontsideradarlefthal::meta;
using initialfrontsideradarlefthal::DetectionGroupTraits;

constexpr std::size_t kGroupCount = 52U;

// One row of a field table: the field is named in code, so offsetof and
// decltype see the record's real member.
struct FieldRow {
  const char* field;
  std::size_t offset;
  bool type_matches;
  const char* signal;
};

// clang-format off
#define FSRL_FIELD(field, Type, signal) \
  FieldRow { #field, offsetof(Record, field), std::is_same<decltype(Record::field), Type>::value, signal }
// clang-format on

// RSDS4Detn000To004: the field table, in order.
std::vector<FieldRow> RSDS4Detn000To004Fields() {
  using Record = types::RSDS4Detn000To004;
  return {
      FSRL_FIELD(rsds4detn000to004range2, double, "RSDS4Detn000To004Range2"),
      FSRL_FIELD(rsds4detn000to004range4, double, "RSDS4Detn000To004Range4"),
      FSRL_FIELD(rsds4detn000to004ele_ang2, double, "RSDS4Detn000To004EleAng2"),
      FSRL_FIELD(rsds4detn000to004rcs4, double, "RSDS4Detn000To004RCS4"),
      FSRL_FIELD(rsds4detn000to004ele_ang1, double, "RSDS4Detn000To004EleAng1"),
      FSRL_FIELD(rsds4detn000to004rcs1, double, "RSDS4Detn000To004RCS1"),
      FSRL_FIELD(rsds4detn000to004quality3, types::RSDS4Detn000To004Quality3Enum, "RSDS4Detn000To004Quality3"),
      FSRL_FIELD(rsds4detn000to004azi_ang0, double, "RSDS4Detn000To004AziAng0"),
      FSRL_FIELD(rsds4detn000to004azi_ang2, double, "RSDS4Detn000To004AziAng2"),
      FSRL_FIELD(rsds4detn000to004rcs0, double, "RSDS4Detn000To004RCS0"),
      FSRL_FIELD(rsds4detn000to004rng_rt3, double, "RSDS4Detn000To004RngRt3"),
      FSRL_FIELD(rsds4detn000to004snr2, double, "RSDS4Detn000To004SNR2"),
      FSRL_FIELD(rsds4detn000to004quality1, types::RSDS4Detn000To004Quality1Enum, "RSDS4Detn000To004Quality1"),
      FSRL_FIELD(rsds4detn000to004range0, double, "RSDS4Detn000To004Range0"),
      FSRL_FIELD(rsds4detn000to004rcs2, double, "RSDS4Detn000To004RCS2"),
      FSRL_FIELD(rsds4detn000to004mode0, types::RSDS4Detn000To004Mode0Enum, "RSDS4Detn000To004Mode0"),
      FSRL_FIELD(rsds4detn000to004mode3, types::RSDS4Detn000To004Mode3Enum, "RSDS4Detn000To004Mode3"),
      FSRL_FIELD(rsds4detn000to004azi_ang4, double, "RSDS4Detn000To004AziAng4"),
      FSRL_FIELD(rsds4detn000to004rng_rt2, double, "RSDS4Detn000To004RngRt2"),
      FSRL_FIELD(rsds4detn000to004ele_ang4, double, "RSDS4Detn000To004EleAng4"),
      FSRL_FIELD(rsds4detn000to004scan_id, std::uint8_t, "RSDS4Detn000To004ScanID"),
      FSRL_FIELD(rsds4detn000to004range3, double, "RSDS4Detn000To004Range3"),
      FSRL_FIELD(rsds4detn000to004mode2, types::RSDS4Detn000To004Mode2Enum, "RSDS4Detn000To004Mode2"),
      FSRL_FIELD(rsds4detn000to004quality2, types::RSDS4Detn000To004Quality2Enum, "RSDS4Detn000To004Quality2"),
      FSRL_FIELD(rsds4detn000to004quality0, types::RSDS4Detn000To004Quality0Enum, "RSDS4Detn000To004Quality0"),
      FSRL_FIELD(rsds4detn000to004dyn_pr_pty1, types::RSDS4Detn000To004DynPrPty1Enum, "RSDS4Detn000To004DynPrPty1"),
      FSRL_FIELD(rsds4detn000to004counter, std::uint8_t, "RSDS4Detn000To004Counter"),
      FSRL_FIELD(rsds4detn000to004rcs3, double, "RSDS4Detn000To004RCS3"),
      FSRL_FIELD(rsds4detn000to004dyn_pr_pty0, types::RSDS4Detn000To004DynPrPty0Enum, "RSDS4Detn000To004DynPrPty0"),
      FSRL_FIELD(rsds4detn000to004crc, std::uint16_t, "RSDS4Detn000To004CRC"),
      FSRL_FIELD(rsds4detn000to004dyn_pr_pty3, types::RSDS4Detn000To004DynPrPty3Enum, "RSDS4Detn000To004DynPrPty3"),
      FSRL_FIELD(rsds4detn000to004ele_ang3, double, "RSDS4Detn000To004EleAng3"),
      FSRL_FIELD(rsds4detn000to004range1, double, "RSDS4Detn000To004Range1"),
      FSRL_FIELD(rsds4detn000to004snr0, double, "RSDS4Detn000To004SNR0"),
      FSRL_FIELD(rsds4detn000to004dyn_pr_pty2, types::RSDS4Detn000To004DynPrPty2Enum, "RSDS4Detn000To004DynPrPty2"),
      FSRL_FIELD(rsds4detn000to004snr1, double, "RSDS4Detn000To004SNR1"),
      FSRL_FIELD(rsds4detn000to004snr4, double, "RSDS4Detn000To004SNR4"),
      FSRL_FIELD(rsds4detn000to004azi_ang3, double, "RSDS4Detn000To004AziAng3"),
      FSRL_FIELD(rsds4detn000to004rng_rt1, double, "RSDS4Detn000To004RngRt1"),
      FSRL_FIELD(rsds4detn000to004mode4, types::RSDS4Detn000To004Mode4Enum, "RSDS4Detn000To004Mode4"),
      FSRL_FIELD(rsds4detn000to004dyn_pr_pty4, types::RSDS4Detn000To004DynPrPty4Enum, "RSDS4Detn000To004DynPrPty4"),
      FSRL_FIELD(rsds4detn000to004ele_ang0, double, "RSDS4Detn000To004EleAng0"),
      FSRL_FIELD(rsds4detn000to004quality4, types::RSDS4Detn000To004Quality4Enum, "RSDS4Detn000To004Quality4"),
      FSRL_FIELD(rsds4detn000to004rng_rt0, double, "RSDS4Detn000To004RngRt0"),
      FSRL_FIELD(rsds4detn000to004azi_ang1, double, "RSDS4Detn000To004AziAng1"),
      FSRL_FIELD(rsds4detn000to004mode1, types::RSDS4Detn000To004Mode1Enum, "RSDS4Detn000To004Mode1"),
      FSRL_FIELD(rsds4detn000to004rng_rt4, double, "RSDS4Detn000To004RngRt4"),
      FSRL_FIELD(rsds4detn000to004snr3, double, "RSDS4Detn000To004SNR3"),
  };
}

// RSDS4SigSts1: the field table, in order.
std::vector<FieldRow> RSDS4SigSts1Fields() {
  using Record = types::RSDS4SigSts1;
  return {
      FSRL_FIELD(rsds4sig_sts1counter, std::uint8_t, "RSDS4SigSts1Counter"),
      FSRL_FIELD(rsds4sig_sts1crc, std::uint16_t, "RSDS4SigSts1CRC"),
      FSRL_FIELD(rsds4sig_sts1blockage, types::RSDS4SigSts1BlockageEnum, "RSDS4SigSts1Blockage"),
      FSRL_FIELD(rsds4sig_sts1dtn_list_fault_reason, types::RSDS4SigSts1DtnListFaultReasonEnum,
                 "RSDS4SigSts1DtnListFaultReason"),
      FSRL_FIELD(rsds4sig_sts1dtn_list_sys_sfty_failure_flag, types::RSDS4SigSts1DtnListSysSftyFailureFlagEnum,
                 "RSDS4SigSts1DtnListSysSftyFailureFlag"),
      FSRL_FIELD(rsds4sig_sts1interference, types::RSDS4SigSts1InterferenceEnum, "RSDS4SigSts1Interference"),
      FSRL_FIELD(rsds4sig_sts1rdr_emsn_sts, types::RSDS4SigSts1RdrEmsnStsEnum, "RSDS4SigSts1RdrEmsnSts"),
      FSRL_FIELD(rsds4sig_sts1rdr_sts_detn, types::RSDS4SigSts1RdrStsDetnEnum, "RSDS4SigSts1RdrStsDetn"),
      FSRL_FIELD(rsds4sig_sts1rspstatus_info, types::RSDS4SigSts1RSPStatusInfoEnum, "RSDS4SigSts1RSPStatusInfo"),
      FSRL_FIELD(rsds4sig_sts1scan_id, std::uint8_t, "RSDS4SigSts1ScanID"),
      FSRL_FIELD(rsds4sig_sts1time_stamp0, std::uint64_t, "RSDS4SigSts1TimeStamp0"),
      FSRL_FIELD(rsds4sig_sts1time_stamp1, std::uint64_t, "RSDS4SigSts1TimeStamp1"),
      FSRL_FIELD(rsds4sig_sts1time_stamp2, std::uint64_t, "RSDS4SigSts1TimeStamp2"),
      FSRL_FIELD(rsds4sig_sts1time_stamp3, std::uint64_t, "RSDS4SigSts1TimeStamp3"),
      FSRL_FIELD(rsds4sig_sts1time_stamp_status, types::RSDS4SigSts1TimeStampStatusEnum, "RSDS4SigSts1TimeStampStatus"),
      FSRL_FIELD(rsds4sig_sts1swvers_major, std::uint8_t, "RSDS4SigSts1SWVersMajor"),
      FSRL_FIELD(rsds4sig_sts1swvers_minor, std::uint8_t, "RSDS4SigSts1SWVersMinor"),
      FSRL_FIELD(rsds4sig_sts1if_vers_major, std::uint8_t, "RSDS4SigSts1IfVersMajor"),
      FSRL_FIELD(rsds4sig_sts1if_vers_minor, std::uint8_t, "RSDS4SigSts1IfVersMinor"),
      FSRL_FIELD(rsds4sig_sts1xaxis_offs, double, "RSDS4SigSts1XAxisOffs"),
      FSRL_FIELD(rsds4sig_sts1yaxis_offs, double, "RSDS4SigSts1YAxisOffs"),
      FSRL_FIELD(rsds4sig_sts1zaxis_offs, double, "RSDS4SigSts1ZAxisOffs"),
      FSRL_FIELD(rsds4sig_sts1xorient_ang, double, "RSDS4SigSts1XOrientAng"),
      FSRL_FIELD(rsds4sig_sts1yorient_ang, double, "RSDS4SigSts1YOrientAng"),
      FSRL_FIELD(rsds4sig_sts1zorient_ang, double, "RSDS4SigSts1ZOrientAng"),
      FSRL_FIELD(rsds4sig_sts1phase_noise, types::RSDS4SigSts1PhaseNoiseEnum, "RSDS4SigSts1PhaseNoise"),
  };
}

// RSDS4SigSts2: the field table, in order.
std::vector<FieldRow> RSDS4SigSts2Fields() {
  using Record = types::RSDS4SigSts2;
  return {
      FSRL_FIELD(rsds4sig_sts2counter, std::uint8_t, "RSDS4SigSts2Counter"),
      FSRL_FIELD(rsds4sig_sts2crc, std::uint16_t, "RSDS4SigSts2CRC"),
      FSRL_FIELD(rsds4sig_sts2scan_id, std::uint8_t, "RSDS4SigSts2ScanID"),
      FSRL_FIELD(rsds4sig_sts2time_stamp_obj, std::uint64_t, "RSDS4SigSts2TimeStampObj"),
      FSRL_FIELD(rsds4sig_sts2interference_lev, std::uint8_t, "RSDS4SigSts2InterferenceLev"),
      FSRL_FIELD(rsds4sig_sts2state_machine_status, types::RSDS4SigSts2StateMachineStatusEnum,
                 "RSDS4SigSts2StateMachineStatus"),
      FSRL_FIELD(rsds4sig_sts2azi_mis_alnmnt_ang, double, "RSDS4SigSts2AziMisAlnmntAng"),
      FSRL_FIELD(rsds4sig_sts2ele_mis_alnmnt_ang, double, "RSDS4SigSts2EleMisAlnmntAng"),
      FSRL_FIELD(rsds4sig_sts2blockage_lev, std::uint8_t, "RSDS4SigSts2BlockageLev"),
      FSRL_FIELD(rsds4sig_sts2cal_rlt_sts, types::RSDS4SigSts2CalRltStsEnum, "RSDS4SigSts2CalRltSts"),
      FSRL_FIELD(rsds4sig_sts2obj_sys_sfty_failure_flag, types::RSDS4SigSts2ObjSysSftyFailureFlagEnum,
                 "RSDS4SigSts2ObjSysSftyFailureFlag"),
      FSRL_FIELD(rsds4sig_sts2comm_flt_reason, types::RSDS4SigSts2CommFltReasonEnum, "RSDS4SigSts2CommFltReason"),
      FSRL_FIELD(rsds4sig_sts2sts_sys_sfty_failure_flag, types::RSDS4SigSts2StsSysSftyFailureFlagEnum,
                 "RSDS4SigSts2StsSysSftyFailureFlag"),
      FSRL_FIELD(rsds4sig_sts2cal_prgrs_sts, std::uint8_t, "RSDS4SigSts2CalPrgrsSts"),
      FSRL_FIELD(rsds4sig_sts2obj_list_fault_reason, types::RSDS4SigSts2ObjListFaultReasonEnum,
                 "RSDS4SigSts2ObjListFaultReason"),
      FSRL_FIELD(rsds4sig_sts2cal_sts, types::RSDS4SigSts2CalStsEnum, "RSDS4SigSts2CalSts"),
      FSRL_FIELD(rsds4sig_sts2rdr_sts_obj, types::RSDS4SigSts2RdrStsObjEnum, "RSDS4SigSts2RdrStsObj"),
      FSRL_FIELD(rsds4sig_sts2track_status_info, types::RSDS4SigSts2TrackStatusInfoEnum, "RSDS4SigSts2TrackStatusInfo"),
      FSRL_FIELD(rsds4sig_sts2pcansync_status_info, types::RSDS4SigSts2PCANSyncStatusInfoEnum,
                 "RSDS4SigSts2PCANSyncStatusInfo"),
  };
}

// RSDS4Obj00To01: the field table, in order.
std::vector<FieldRow> RSDS4Obj00To01Fields() {
  using Record = types::RSDS4Obj00To01;
  return {
      FSRL_FIELD(rsds4obj00to01coast_cntr0, std::uint8_t, "RSDS4Obj00To01CoastCntr0"),
      FSRL_FIELD(rsds4obj00to01counter, std::uint8_t, "RSDS4Obj00To01Counter"),
      FSRL_FIELD(rsds4obj00to01lat_accl0, double, "RSDS4Obj00To01LatAccl0"),
      FSRL_FIELD(rsds4obj00to01std_lat_vel1, double, "RSDS4Obj00To01StdLatVel1"),
      FSRL_FIELD(rsds4obj00to01long_accl1, double, "RSDS4Obj00To01LongAccl1"),
      FSRL_FIELD(rsds4obj00to01long_accl0, double, "RSDS4Obj00To01LongAccl0"),
      FSRL_FIELD(rsds4obj00to01std_long_pos0, double, "RSDS4Obj00To01StdLongPos0"),
      FSRL_FIELD(rsds4obj00to01trk_sts0, types::RSDS4Obj00To01TrkSts0Enum, "RSDS4Obj00To01TrkSts0"),
      FSRL_FIELD(rsds4obj00to01obj_wid1, double, "RSDS4Obj00To01ObjWid1"),
      FSRL_FIELD(rsds4obj00to01obj_id0, std::uint8_t, "RSDS4Obj00To01ObjID0"),
      FSRL_FIELD(rsds4obj00to01head_ang0, double, "RSDS4Obj00To01HeadAng0"),
      FSRL_FIELD(rsds4obj00to01std_long_accl0, double, "RSDS4Obj00To01StdLongAccl0"),
      FSRL_FIELD(rsds4obj00to01lat_vel0, double, "RSDS4Obj00To01LatVel0"),
      FSRL_FIELD(rsds4obj00to01fuse_info0, types::RSDS4Obj00To01FuseInfo0Enum, "RSDS4Obj00To01FuseInfo0"),
      FSRL_FIELD(rsds4obj00to01std_long_vel1, double, "RSDS4Obj00To01StdLongVel1"),
      FSRL_FIELD(rsds4obj00to01obj_id1, std::uint8_t, "RSDS4Obj00To01ObjID1"),
      FSRL_FIELD(rsds4obj00to01std_lat_vel0, double, "RSDS4Obj00To01StdLatVel0"),
      FSRL_FIELD(rsds4obj00to01std_lat_accl0, double, "RSDS4Obj00To01StdLatAccl0"),
      FSRL_FIELD(rsds4obj00to01fuse_info1, types::RSDS4Obj00To01FuseInfo1Enum, "RSDS4Obj00To01FuseInfo1"),
      FSRL_FIELD(rsds4obj00to01confidance1, std::uint8_t, "RSDS4Obj00To01Confidance1"),
      FSRL_FIELD(rsds4obj00to01long_pos1, double, "RSDS4Obj00To01LongPos1"),
      FSRL_FIELD(rsds4obj00to01std_lat_pos0, double, "RSDS4Obj00To01StdLatPos0"),
      FSRL_FIELD(rsds4obj00to01lat_accl1, double, "RSDS4Obj00To01LatAccl1"),
      FSRL_FIELD(rsds4obj00to01obj_len1, double, "RSDS4Obj00To01ObjLen1"),
      FSRL_FIELD(rsds4obj00to01scan_id, std::uint8_t, "RSDS4Obj00To01ScanID"),
      FSRL_FIELD(rsds4obj00to01lat_pos0, double, "RSDS4Obj00To01LatPos0"),
      FSRL_FIELD(rsds4obj00to01obj_clas1, types::RSDS4Obj00To01ObjClas1Enum, "RSDS4Obj00To01ObjClas1"),
      FSRL_FIELD(rsds4obj00to01long_vel1, double, "RSDS4Obj00To01LongVel1"),
      FSRL_FIELD(rsds4obj00to01std_lat_pos1, double, "RSDS4Obj00To01StdLatPos1"),
      FSRL_FIELD(rsds4obj00to01coast_cntr1, std::uint8_t, "RSDS4Obj00To01CoastCntr1"),
      FSRL_FIELD(rsds4obj00to01mtn_ptn_clas0, types::RSDS4Obj00To01MtnPtnClas0Enum, "RSDS4Obj00To01MtnPtnClas0"),
      FSRL_FIELD(rsds4obj00to01long_pos0, double, "RSDS4Obj00To01LongPos0"),
      FSRL_FIELD(rsds4obj00to01obj_wid0, double, "RSDS4Obj00To01ObjWid0"),
      FSRL_FIELD(rsds4obj00to01crc, std::uint16_t, "RSDS4Obj00To01CRC"),
      FSRL_FIELD(rsds4obj00to01lat_vel1, double, "RSDS4Obj00To01LatVel1"),
      FSRL_FIELD(rsds4obj00to01std_long_pos1, double, "RSDS4Obj00To01StdLongPos1"),
      FSRL_FIELD(rsds4obj00to01obj_clas0, types::RSDS4Obj00To01ObjClas0Enum, "RSDS4Obj00To01ObjClas0"),
      FSRL_FIELD(rsds4obj00to01confidance0, std::uint8_t, "RSDS4Obj00To01Confidance0"),
      FSRL_FIELD(rsds4obj00to01std_long_vel0, double, "RSDS4Obj00To01StdLongVel0"),
      FSRL_FIELD(rsds4obj00to01ref_pt1, types::RSDS4Obj00To01RefPt1Enum, "RSDS4Obj00To01RefPt1"),
      FSRL_FIELD(rsds4obj00to01std_long_accl1, double, "RSDS4Obj00To01StdLongAccl1"),
      FSRL_FIELD(rsds4obj00to01trk_sts1, types::RSDS4Obj00To01TrkSts1Enum, "RSDS4Obj00To01TrkSts1"),
      FSRL_FIELD(rsds4obj00to01mtn_ptn_clas1, types::RSDS4Obj00To01MtnPtnClas1Enum, "RSDS4Obj00To01MtnPtnClas1"),
      FSRL_FIELD(rsds4obj00to01obj_len0, double, "RSDS4Obj00To01ObjLen0"),
      FSRL_FIELD(rsds4obj00to01lat_pos1, double, "RSDS4Obj00To01LatPos1"),
      FSRL_FIELD(rsds4obj00to01long_vel0, double, "RSDS4Obj00To01LongVel0"),
      FSRL_FIELD(rsds4obj00to01std_lat_accl1, double, "RSDS4Obj00To01StdLatAccl1"),
      FSRL_FIELD(rsds4obj00to01msg_cntr, std::uint8_t, "RSDS4Obj00To01MsgCntr"),
      FSRL_FIELD(rsds4obj00to01ref_pt0, types::RSDS4Obj00To01RefPt0Enum, "RSDS4Obj00To01RefPt0"),
      FSRL_FIELD(rsds4obj00to01head_ang1, double, "RSDS4Obj00To01HeadAng1"),
  };
}

#undef FSRL_FIELD

std::string NameOf(const std::uint8_t (&name)[SIGNAL_DB_NAME_SIZE]) {
  const char* text = reinterpret_cast<const char*>(name);
  return std::string(text, strnlen(text, sizeof(name)));
}

// Lower case, with an underscore before each capitalised word that follows a
// lower-case letter: "EleAng2" -> "ele_ang2", "RSPStatusInfo" -> "rspstatus_info".
std::string SnakeCase(const std::string& camel) {
  std::string snake;
  for (std::size_t k = 0; k < camel.size(); ++k) {
    const unsigned char c = static_cast<unsigned char>(camel[k]);
    if (k > 0U && std::isupper(c) != 0 && std::islower(static_cast<unsigned char>(camel[k - 1U])) != 0) {
      snake += '_';
    }
    snake += static_cast<char>(std::tolower(c));
  }
  return snake;
}

// The field name of a signal: the group's stem followed by the rest of the
// signal name, each written by the rule above.
std::string FieldNameFor(const std::string& group, const std::string& signal) {
  return SnakeCase(group) + SnakeCase(signal.substr(group.size()));
}

template <typename Enum>
long ValueOf(Enum value) {
  return static_cast<long>(static_cast<typename std::underlying_type<Enum>::type>(value));
}

template <typename Enum, typename Underlying>
void ExpectUnderlying() {
  EXPECT_TRUE(std::is_enum<Enum>::value) << typeid(Enum).name();
  EXPECT_TRUE((std::is_same<typename std::underlying_type<Enum>::type, Underlying>::value)) << typeid(Enum).name();
}

const SignalAdapter_Signal& DatabaseSignal(std::size_t group_index, std::size_t position) {
  return initialfrontsideradarlefthal_signals
      [initialfrontsideradarlefthal_signal_groups[group_index].signal_start_index + position];
}

void ExpectFieldsFollowTheTable(std::size_t group_index, const std::vector<FieldRow>& rows, std::size_t record_size) {
  const meta::GroupInfo& info = meta::kSignalGroups[group_index];
  const SignalAdapter_SignalGroup& group = initialfrontsideradarlefthal_signal_groups[group_index];
  const std::string group_name = NameOf(group.name);
  ASSERT_EQ(info.field_count, rows.size());
  ASSERT_EQ(group.nbr_of_signals, rows.size());
  EXPECT_LT(rows.back().offset, record_size);
  for (std::size_t k = 0; k < rows.size(); ++k) {
    SCOPED_TRACE(rows[k].field);
    EXPECT_TRUE(rows[k].type_matches) << "field type differs from the table";
    if (k > 0U) {
      EXPECT_LT(rows[k - 1U].offset, rows[k].offset) << "declared out of the tabled order";
    }
    EXPECT_EQ(FieldNameFor(group_name, rows[k].signal), rows[k].field);
    // The database record at position k is the tabled signal and fills slot k.
    const SignalAdapter_Signal& signal = DatabaseSignal(group_index, k);
    EXPECT_EQ(NameOf(signal.name), rows[k].signal);
    EXPECT_EQ(signal.value_storage_start_index, k);
    // The generated field metadata agrees with the record itself.
    EXPECT_STREQ(info.fields[k].name, rows[k].field);
    EXPECT_STREQ(info.fields[k].signal_name, rows[k].signal);
    EXPECT_EQ(info.fields[k].byte_offset, rows[k].offset);
    EXPECT_EQ(info.fields[k].value_slot, k);
  }
}

meta::FieldKind KindFor(const SignalAdapter_Signal& signal) {
  if (signal.value_type == SIGNAL_DB_SIGNAL_VALUE_TYPE_FLOAT) {
    return meta::FieldKind::kDouble;
  }
  if (signal.value_type == SIGNAL_DB_SIGNAL_VALUE_TYPE_ENUMERATED) {
    return signal.value_byte_length == 2U ? meta::FieldKind::kEnum16 : meta::FieldKind::kEnum8;
  }
  if (signal.value_byte_length == 2U) {
    return meta::FieldKind::kUInt16;
  }
  return signal.value_byte_length == 8U ? meta::FieldKind::kUInt64 : meta::FieldKind::kUInt8;
}

bool IsEnumeration(meta::FieldKind kind) { return kind == meta::FieldKind::kEnum8 || kind == meta::FieldKind::kEnum16; }

struct EnumKind {
  std::size_t width;
  std::vector<std::pair<std::string, long>> enumerators;
};

// Enumerators per kind, keyed by the signal name without group and detection
// or object number.
const std::map<std::string, EnumKind> kEnumKinds = {
    {"Quality",
     {1, {{"Quality_Low", 0}, {"Quality_Medium", 1}, {"Quality_High", 2}, {"Quality_DetectionUnpopulated", 3}}}},
    {"Mode",
     {1,
      {{"RSRxDetectionMode_Short", 0},
       {"RSRxDetectionMode_Near", 1},
       {"RSRxDetectionMode_Mid", 2},
       {"RSRxDetectionMode_Long", 3}}}},
    {"DynPrPty", {1, {{"DynPrty_Stationary", 0}, {"DynPrty_Moving", 1}}}},
    {"Blockage",
     {1,
      {{"RSDS4Blockage_StatusBlockageUnknown", 0},
       {"RSDS4Blockage_StatusFullBlockage", 1},
       {"RSDS4Blockage_StatusNoBlockage", 2}}}},
    {"DtnListFaultReason",
     {2,
      {{"FltReason_NotApplicable", 0},
       {"FltReason_CommFault", 1},
       {"FltReason_SWFault", 2},
       {"FltReason_HWFault", 4},
       {"FltReason_SafetyFault", 8},
       {"FltReason_EnvironmentFault", 16},
       {"FltReason_Reserved1", 32},
       {"FltReason_Reserved2", 64},
       {"FltReason_Reserved3", 128}}}},
    {"ObjListFaultReason",
     {2,
      {{"FltReason_NotApplicable", 0},
       {"FltReason_CommFault", 1},
       {"FltReason_SWFault", 2},
       {"FltReason_HWFault", 4},
       {"FltReason_SafetyFault", 8},
       {"FltReason_EnvironmentFault", 16},
       {"FltReason_Reserved1", 32},
       {"FltReason_Reserved2", 64},
       {"FltReason_Reserved3", 128}}}},
    {"DtnListSysSftyFailureFlag",
     {1, {{"DtnListSysSftyFailureFlag_Normal", 0}, {"DtnListSysSftyFailureFlag_Fault", 1}}}},
    {"Interference",
     {1,
      {{"RSDS4Interference_RSDS4UnknownInterferenceStatus", 0},
       {"RSDS4Interference_RSDS4FullInterferenceStatus", 1},
       {"RSDS4Interference_RSDS4NoInterferenceStatus", 2}}}},
    {"RdrEmsnSts", {1, {{"RdrEmsnSts_NotEmitting", 0}, {"RdrEmsnSts_Emmitting", 1}}}},
    {"RdrStsDetn", {1, {{"RdrStsDetn_InActive", 0}, {"RdrStsDetn_Active", 1}, {"RdrStsDetn_Fault", 2}}}},
    {"RdrStsObj", {1, {{"RdrStsDetn_InActive", 0}, {"RdrStsDetn_Active", 1}, {"RdrStsDetn_Fault", 2}}}},
    {"RSPStatusInfo",
     {1,
      {{"RSPStatusInfo_ValidityInvalidUnknown", 0},
       {"RSPStatusInfo_ValidityValid", 1},
       {"RSPStatusInfo_ValidityInvalidRDACalibrate", 2},
       {"RSPStatusInfo_ValidityInvalidNoRDAData", 3},
       {"RSPStatusInfo_ValidityInvalidInterfaceError", 4},
       {"RSPStatusInfo_ValidityInvalidIntRSPError", 5},
       {"RSPStatusInfo_ValidityValidEMC", 6},
       {"RSPStatusInfo_ValidityInvalid", 7},
       {"RSPStatusInfo_ValidityValidFastAAC", 8}}}},
    {"TimeStampStatus", {1, {{"TimeStampStatus_NotOK", 0}, {"TimeStampStatus_Ok", 1}}}},
    {"PhaseNoise",
     {1,
      {{"PhaseNoise_PhaseNoiseNotDetected", 0},
       {"PhaseNoise_PhaseNoiseDetectedInMode0", 1},
       {"PhaseNoise_PhaseNoiseDetectedInMode1", 2},
       {"PhaseNoise_PhaseNoiseDetectedInMode2", 4},
       {"PhaseNoise_PhaseNoiseDetectedInMode3", 8}}}},
    {"StateMachineStatus",
     {1,
      {{"StateMachineStatus_Normal", 0},
       {"StateMachineStatus_TempFailure", 1},
       {"StateMachineStatus_PermanentFailure", 2},
       {"StateMachineStatus_Undefined", 3}}}},
    {"CalRltSts", {1, {{"RSDS4CalRltSts_OK", 0}, {"RSDS4CalRltSts_NotOK", 1}}}},
    {"ObjSysSftyFailureFlag", {1, {{"ObjListSysSftyFailureFlag_Normal", 0}, {"ObjListSysSftyFailureFlag_Fault", 1}}}},
    {"CommFltReason",
     {2,
      {{"CommFltReason_NotApplicable", 0},
       {"CommFltReason_CommFltReasonVehicleMotionState", 1},
       {"CommFltReason_CommFltReasonCarConfig", 2},
       {"CommFltReason_CommFltReasonVehicleModesProvider", 4},
       {"CommFltReason_CommFltReasonGlobalSnapshot", 8},
       {"CommFltReason_CommFltReasonCarInfo", 16},
       {"CommFltReason_CommFltReasonAutosarTs", 32},
       {"CommFltReason_CommFltReasonFunctionInputs", 64},
       {"CommFltReason_CommFltReasonPowerModeRadar", 128}}}},
    {"StsSysSftyFailureFlag", {1, {{"StsSysSftyFailureFlag_Normal", 0}, {"StsSysSftyFailureFlag_Fault", 1}}}},
    {"CalSts",
     {1, {{"CalibrationStatus_NotStarted", 0}, {"CalibrationStatus_NotOngoing", 1}, {"CalibrationStatus_Ongoing", 2}}}},
    {"TrackStatusInfo",
     {1,
      {{"TrackStatusInfo_TraOff", 0},
       {"TrackStatusInfo_TraPassive", 1},
       {"TrackStatusInfo_TraActive", 2},
       {"TrackStatusInfo_TraRestricted", 3},
       {"TrackStatusInfo_TraStateInfoMax", 7}}}},
    {"PCANSyncStatusInfo", {1, {{"PCANSyncStatusInfo_NotSynchronized", 0}, {"PCANSyncStatusInfo_Synchronized", 1}}}},
    {"TrkSts", {1, {{"TrkSts_New", 0}, {"TrkSts_Updated", 1}}}},
    {"FuseInfo",
     {1,
      {{"FuseInfo_ObjFromBothSensor", 0},
       {"FuseInfo_ObjFromLeftSensor", 1},
       {"FuseInfo_ObjFromRightSensor", 2},
       {"FuseInfo_NoObj", 3}}}},
    {"ObjClas",
     {1,
      {{"ObjClas_TRAICLASSUNKNOWN", 0},
       {"ObjClas_TRAICLASSPEDESTRIAN", 1},
       {"ObjClas_TRAICLASSCYCLIST", 2},
       {"ObjClas_TRAICLASSMOTORCYCLE", 3},
       {"ObjClas_TRAICLASSCAR", 4},
       {"ObjClas_TRAICLASSTRUCKBUS", 5}}}},
    {"MtnPtnClas",
     {1,
      {{"MtnPtnClas_MOVPATTERNMOVINGSTRAIGHT", 0},
       {"MtnPtnClas_MOVPATTERNMOVINGTURNING", 1},
       {"MtnPtnClas_MOVPATTERNSTATIONARY", 2},
       {"MtnPtnClas_MOVPATTERNMOVABLE", 3},
       {"MtnPtnClas_MOVPATTERNUNKNOWN", 4}}}},
    {"RefPt",
     {1,
      {{"RefPt_TRAIREFPOINTUNDEFINED", 0},
       {"RefPt_TRAIREFPOINTFRONTLEFT", 1},
       {"RefPt_TRAIREFPOINTFRONTMIDDLE", 2},
       {"RefPt_TRAIREFPOINTFRONTRIGHT", 3},
       {"RefPt_TRAIREFPOINTRIGHTMIDDLE", 4},
       {"RefPt_TRAIREFPOINTREARRIGHT", 5},
       {"RefPt_TRAIREFPOINTREARMIDDLE", 6},
       {"RefPt_TRAIREFPOINTREARLEFT", 7},
       {"RefPt_TRAIREFPOINTLEFTMIDDLE", 8},
       {"RefPt_TRAIREFPOINTMIDDLE", 9}}}},
};

// Enumerators of each kind, exactly as listed; Enum is any enumeration of that kind.

#define FSRL_EXPECT_QUALITY_ENUMERATORS(Enum)  \
  ExpectUnderlying<Enum, std::uint8_t>();      \
  EXPECT_EQ(ValueOf(Enum::Quality_Low), 0);    \
  EXPECT_EQ(ValueOf(Enum::Quality_Medium), 1); \
  EXPECT_EQ(ValueOf(Enum::Quality_High), 2);   \
  EXPECT_EQ(ValueOf(Enum::Quality_DetectionUnpopulated), 3)

#define FSRL_EXPECT_MODE_ENUMERATORS(Enum)              \
  ExpectUnderlying<Enum, std::uint8_t>();               \
  EXPECT_EQ(ValueOf(Enum::RSRxDetectionMode_Short), 0); \
  EXPECT_EQ(ValueOf(Enum::RSRxDetectionMode_Near), 1);  \
  EXPECT_EQ(ValueOf(Enum::RSRxDetectionMode_Mid), 2);   \
  EXPECT_EQ(ValueOf(Enum::RSRxDetectionMode_Long), 3)

#define FSRL_EXPECT_DYN_PR_PTY_ENUMERATORS(Enum)   \
  ExpectUnderlying<Enum, std::uint8_t>();          \
  EXPECT_EQ(ValueOf(Enum::DynPrty_Stationary), 0); \
  EXPECT_EQ(ValueOf(Enum::DynPrty_Moving), 1)

#define FSRL_EXPECT_BLOCKAGE_ENUMERATORS(Enum)                      \
  ExpectUnderlying<Enum, std::uint8_t>();                           \
  EXPECT_EQ(ValueOf(Enum::RSDS4Blockage_StatusBlockageUnknown), 0); \
  EXPECT_EQ(ValueOf(Enum::RSDS4Blockage_StatusFullBlockage), 1);    \
  EXPECT_EQ(ValueOf(Enum::RSDS4Blockage_StatusNoBlockage), 2)

#define FSRL_EXPECT_FAULT_REASON_ENUMERATORS(Enum)          \
  ExpectUnderlying<Enum, std::uint16_t>();                  \
  EXPECT_EQ(ValueOf(Enum::FltReason_NotApplicable), 0);     \
  EXPECT_EQ(ValueOf(Enum::FltReason_CommFault), 1);         \
  EXPECT_EQ(ValueOf(Enum::FltReason_SWFault), 2);           \
  EXPECT_EQ(ValueOf(Enum::FltReason_HWFault), 4);           \
  EXPECT_EQ(ValueOf(Enum::FltReason_SafetyFault), 8);       \
  EXPECT_EQ(ValueOf(Enum::FltReason_EnvironmentFault), 16); \
  EXPECT_EQ(ValueOf(Enum::FltReason_Reserved1), 32);        \
  EXPECT_EQ(ValueOf(Enum::FltReason_Reserved2), 64);        \
  EXPECT_EQ(ValueOf(Enum::FltReason_Reserved3), 128)

#define FSRL_EXPECT_DTN_LIST_SYS_SFTY_FAILURE_FLAG_ENUMERATORS(Enum) \
  ExpectUnderlying<Enum, std::uint8_t>();                            \
  EXPECT_EQ(ValueOf(Enum::DtnListSysSftyFailureFlag_Normal), 0);     \
  EXPECT_EQ(ValueOf(Enum::DtnListSysSftyFailureFlag_Fault), 1)

#define FSRL_EXPECT_INTERFERENCE_ENUMERATORS(Enum)                               \
  ExpectUnderlying<Enum, std::uint8_t>();                                        \
  EXPECT_EQ(ValueOf(Enum::RSDS4Interference_RSDS4UnknownInterferenceStatus), 0); \
  EXPECT_EQ(ValueOf(Enum::RSDS4Interference_RSDS4FullInterferenceStatus), 1);    \
  EXPECT_EQ(ValueOf(Enum::RSDS4Interference_RSDS4NoInterferenceStatus), 2)

#define FSRL_EXPECT_RDR_EMSN_STS_ENUMERATORS(Enum)     \
  ExpectUnderlying<Enum, std::uint8_t>();              \
  EXPECT_EQ(ValueOf(Enum::RdrEmsnSts_NotEmitting), 0); \
  EXPECT_EQ(ValueOf(Enum::RdrEmsnSts_Emmitting), 1)

#define FSRL_EXPECT_RADAR_STATUS_ENUMERATORS(Enum)  \
  ExpectUnderlying<Enum, std::uint8_t>();           \
  EXPECT_EQ(ValueOf(Enum::RdrStsDetn_InActive), 0); \
  EXPECT_EQ(ValueOf(Enum::RdrStsDetn_Active), 1);   \
  EXPECT_EQ(ValueOf(Enum::RdrStsDetn_Fault), 2)

#define FSRL_EXPECT_RSPSTATUS_INFO_ENUMERATORS(Enum)                        \
  ExpectUnderlying<Enum, std::uint8_t>();                                   \
  EXPECT_EQ(ValueOf(Enum::RSPStatusInfo_ValidityInvalidUnknown), 0);        \
  EXPECT_EQ(ValueOf(Enum::RSPStatusInfo_ValidityValid), 1);                 \
  EXPECT_EQ(ValueOf(Enum::RSPStatusInfo_ValidityInvalidRDACalibrate), 2);   \
  EXPECT_EQ(ValueOf(Enum::RSPStatusInfo_ValidityInvalidNoRDAData), 3);      \
  EXPECT_EQ(ValueOf(Enum::RSPStatusInfo_ValidityInvalidInterfaceError), 4); \
  EXPECT_EQ(ValueOf(Enum::RSPStatusInfo_ValidityInvalidIntRSPError), 5);    \
  EXPECT_EQ(ValueOf(Enum::RSPStatusInfo_ValidityValidEMC), 6);              \
  EXPECT_EQ(ValueOf(Enum::RSPStatusInfo_ValidityInvalid), 7);               \
  EXPECT_EQ(ValueOf(Enum::RSPStatusInfo_ValidityValidFastAAC), 8)

#define FSRL_EXPECT_TIME_STAMP_STATUS_ENUMERATORS(Enum) \
  ExpectUnderlying<Enum, std::uint8_t>();               \
  EXPECT_EQ(ValueOf(Enum::TimeStampStatus_NotOK), 0);   \
  EXPECT_EQ(ValueOf(Enum::TimeStampStatus_Ok), 1)

#define FSRL_EXPECT_PHASE_NOISE_ENUMERATORS(Enum)                    \
  ExpectUnderlying<Enum, std::uint8_t>();                            \
  EXPECT_EQ(ValueOf(Enum::PhaseNoise_PhaseNoiseNotDetected), 0);     \
  EXPECT_EQ(ValueOf(Enum::PhaseNoise_PhaseNoiseDetectedInMode0), 1); \
  EXPECT_EQ(ValueOf(Enum::PhaseNoise_PhaseNoiseDetectedInMode1), 2); \
  EXPECT_EQ(ValueOf(Enum::PhaseNoise_PhaseNoiseDetectedInMode2), 4); \
  EXPECT_EQ(ValueOf(Enum::PhaseNoise_PhaseNoiseDetectedInMode3), 8)

#define FSRL_EXPECT_STATE_MACHINE_STATUS_ENUMERATORS(Enum)          \
  ExpectUnderlying<Enum, std::uint8_t>();                           \
  EXPECT_EQ(ValueOf(Enum::StateMachineStatus_Normal), 0);           \
  EXPECT_EQ(ValueOf(Enum::StateMachineStatus_TempFailure), 1);      \
  EXPECT_EQ(ValueOf(Enum::StateMachineStatus_PermanentFailure), 2); \
  EXPECT_EQ(ValueOf(Enum::StateMachineStatus_Undefined), 3)

#define FSRL_EXPECT_CAL_RLT_STS_ENUMERATORS(Enum) \
  ExpectUnderlying<Enum, std::uint8_t>();         \
  EXPECT_EQ(ValueOf(Enum::RSDS4CalRltSts_OK), 0); \
  EXPECT_EQ(ValueOf(Enum::RSDS4CalRltSts_NotOK), 1)

#define FSRL_EXPECT_OBJ_SYS_SFTY_FAILURE_FLAG_ENUMERATORS(Enum)  \
  ExpectUnderlying<Enum, std::uint8_t>();                        \
  EXPECT_EQ(ValueOf(Enum::ObjListSysSftyFailureFlag_Normal), 0); \
  EXPECT_EQ(ValueOf(Enum::ObjListSysSftyFailureFlag_Fault), 1)

#define FSRL_EXPECT_COMM_FLT_REASON_ENUMERATORS(Enum)                           \
  ExpectUnderlying<Enum, std::uint16_t>();                                      \
  EXPECT_EQ(ValueOf(Enum::CommFltReason_NotApplicable), 0);                     \
  EXPECT_EQ(ValueOf(Enum::CommFltReason_CommFltReasonVehicleMotionState), 1);   \
  EXPECT_EQ(ValueOf(Enum::CommFltReason_CommFltReasonCarConfig), 2);            \
  EXPECT_EQ(ValueOf(Enum::CommFltReason_CommFltReasonVehicleModesProvider), 4); \
  EXPECT_EQ(ValueOf(Enum::CommFltReason_CommFltReasonGlobalSnapshot), 8);       \
  EXPECT_EQ(ValueOf(Enum::CommFltReason_CommFltReasonCarInfo), 16);             \
  EXPECT_EQ(ValueOf(Enum::CommFltReason_CommFltReasonAutosarTs), 32);           \
  EXPECT_EQ(ValueOf(Enum::CommFltReason_CommFltReasonFunctionInputs), 64);      \
  EXPECT_EQ(ValueOf(Enum::CommFltReason_CommFltReasonPowerModeRadar), 128)

#define FSRL_EXPECT_STS_SYS_SFTY_FAILURE_FLAG_ENUMERATORS(Enum) \
  ExpectUnderlying<Enum, std::uint8_t>();                       \
  EXPECT_EQ(ValueOf(Enum::StsSysSftyFailureFlag_Normal), 0);    \
  EXPECT_EQ(ValueOf(Enum::StsSysSftyFailureFlag_Fault), 1)

#define FSRL_EXPECT_CAL_STS_ENUMERATORS(Enum)                \
  ExpectUnderlying<Enum, std::uint8_t>();                    \
  EXPECT_EQ(ValueOf(Enum::CalibrationStatus_NotStarted), 0); \
  EXPECT_EQ(ValueOf(Enum::CalibrationStatus_NotOngoing), 1); \
  EXPECT_EQ(ValueOf(Enum::CalibrationStatus_Ongoing), 2)

#define FSRL_EXPECT_TRACK_STATUS_INFO_ENUMERATORS(Enum)       \
  ExpectUnderlying<Enum, std::uint8_t>();                     \
  EXPECT_EQ(ValueOf(Enum::TrackStatusInfo_TraOff), 0);        \
  EXPECT_EQ(ValueOf(Enum::TrackStatusInfo_TraPassive), 1);    \
  EXPECT_EQ(ValueOf(Enum::TrackStatusInfo_TraActive), 2);     \
  EXPECT_EQ(ValueOf(Enum::TrackStatusInfo_TraRestricted), 3); \
  EXPECT_EQ(ValueOf(Enum::TrackStatusInfo_TraStateInfoMax), 7)

#define FSRL_EXPECT_PCANSYNC_STATUS_INFO_ENUMERATORS(Enum)         \
  ExpectUnderlying<Enum, std::uint8_t>();                          \
  EXPECT_EQ(ValueOf(Enum::PCANSyncStatusInfo_NotSynchronized), 0); \
  EXPECT_EQ(ValueOf(Enum::PCANSyncStatusInfo_Synchronized), 1)

#define FSRL_EXPECT_TRK_STS_ENUMERATORS(Enum) \
  ExpectUnderlying<Enum, std::uint8_t>();     \
  EXPECT_EQ(ValueOf(Enum::TrkSts_New), 0);    \
  EXPECT_EQ(ValueOf(Enum::TrkSts_Updated), 1)

#define FSRL_EXPECT_FUSE_INFO_ENUMERATORS(Enum)             \
  ExpectUnderlying<Enum, std::uint8_t>();                   \
  EXPECT_EQ(ValueOf(Enum::FuseInfo_ObjFromBothSensor), 0);  \
  EXPECT_EQ(ValueOf(Enum::FuseInfo_ObjFromLeftSensor), 1);  \
  EXPECT_EQ(ValueOf(Enum::FuseInfo_ObjFromRightSensor), 2); \
  EXPECT_EQ(ValueOf(Enum::FuseInfo_NoObj), 3)

#define FSRL_EXPECT_OBJ_CLAS_ENUMERATORS(Enum)              \
  ExpectUnderlying<Enum, std::uint8_t>();                   \
  EXPECT_EQ(ValueOf(Enum::ObjClas_TRAICLASSUNKNOWN), 0);    \
  EXPECT_EQ(ValueOf(Enum::ObjClas_TRAICLASSPEDESTRIAN), 1); \
  EXPECT_EQ(ValueOf(Enum::ObjClas_TRAICLASSCYCLIST), 2);    \
  EXPECT_EQ(ValueOf(Enum::ObjClas_TRAICLASSMOTORCYCLE), 3); \
  EXPECT_EQ(ValueOf(Enum::ObjClas_TRAICLASSCAR), 4);        \
  EXPECT_EQ(ValueOf(Enum::ObjClas_TRAICLASSTRUCKBUS), 5)

#define FSRL_EXPECT_MTN_PTN_CLAS_ENUMERATORS(Enum)                  \
  ExpectUnderlying<Enum, std::uint8_t>();                           \
  EXPECT_EQ(ValueOf(Enum::MtnPtnClas_MOVPATTERNMOVINGSTRAIGHT), 0); \
  EXPECT_EQ(ValueOf(Enum::MtnPtnClas_MOVPATTERNMOVINGTURNING), 1);  \
  EXPECT_EQ(ValueOf(Enum::MtnPtnClas_MOVPATTERNSTATIONARY), 2);     \
  EXPECT_EQ(ValueOf(Enum::MtnPtnClas_MOVPATTERNMOVABLE), 3);        \
  EXPECT_EQ(ValueOf(Enum::MtnPtnClas_MOVPATTERNUNKNOWN), 4)

#define FSRL_EXPECT_REF_PT_ENUMERATORS(Enum)                  \
  ExpectUnderlying<Enum, std::uint8_t>();                     \
  EXPECT_EQ(ValueOf(Enum::RefPt_TRAIREFPOINTUNDEFINED), 0);   \
  EXPECT_EQ(ValueOf(Enum::RefPt_TRAIREFPOINTFRONTLEFT), 1);   \
  EXPECT_EQ(ValueOf(Enum::RefPt_TRAIREFPOINTFRONTMIDDLE), 2); \
  EXPECT_EQ(ValueOf(Enum::RefPt_TRAIREFPOINTFRONTRIGHT), 3);  \
  EXPECT_EQ(ValueOf(Enum::RefPt_TRAIREFPOINTRIGHTMIDDLE), 4); \
  EXPECT_EQ(ValueOf(Enum::RefPt_TRAIREFPOINTREARRIGHT), 5);   \
  EXPECT_EQ(ValueOf(Enum::RefPt_TRAIREFPOINTREARMIDDLE), 6);  \
  EXPECT_EQ(ValueOf(Enum::RefPt_TRAIREFPOINTREARLEFT), 7);    \
  EXPECT_EQ(ValueOf(Enum::RefPt_TRAIREFPOINTLEFTMIDDLE), 8);  \
  EXPECT_EQ(ValueOf(Enum::RefPt_TRAIREFPOINTMIDDLE), 9);

// All record types in group-table order.
template <typename... Records>
struct RecordList {};

#define FSRL_DETECTION_RECORD_TYPE(suffix, Type, first, accessor) types::Type,
using AllRecords =
    RecordList<FSRL_FOR_EACH_DETECTION_GROUP(FSRL_DETECTION_RECORD_TYPE) types::RSDS4Obj00To01, types::RSDS4Obj02To03,
               types::RSDS4Obj04To05, types::RSDS4Obj06To07, types::RSDS4Obj08To09, types::RSDS4Obj10To11,
               types::RSDS4Obj12To13, types::RSDS4Obj14To15, types::RSDS4Obj16To17, types::RSDS4Obj18To19,
               types::RSDS4SigSts1, types::RSDS4SigSts2>;
#undef FSRL_DETECTION_RECORD_TYPE

template <typename Record>
void ExpectPlainAggregate(std::size_t position) {
  SCOPED_TRACE(position);
  EXPECT_TRUE(std::is_trivially_copyable<Record>::value);
  EXPECT_TRUE(std::is_standard_layout<Record>::value);
  EXPECT_TRUE(std::is_default_constructible<Record>::value);
  EXPECT_TRUE(std::is_aggregate<Record>::value);
  EXPECT_TRUE(std::is_copy_assignable<Record>::value);
  ASSERT_EQ(meta::GroupIndexOf<Record>::value, position);
  const meta::GroupInfo& info = meta::kSignalGroups[position];
  EXPECT_EQ(info.record_size, sizeof(Record));
  // A value-initialised record holds zero in every field.
  const Record record{};
  const unsigned char* bytes = reinterpret_cast<const unsigned char*>(&record);
  for (std::size_t k = 0; k < info.field_count; ++k) {
    for (std::size_t b = 0; b < meta::FieldSize(info.fields[k].kind); ++b) {
      EXPECT_EQ(bytes[info.fields[k].byte_offset + b], 0U) << info.fields[k].name;
    }
  }
}

template <typename... Records>
void ExpectAllPlainAggregates(RecordList<Records...>) {
  std::size_t position = 0;
  (ExpectPlainAggregate<Records>(position++), ...);
  EXPECT_EQ(position, kGroupCount);
}

// Distinct values per detection field, so that a field handed out for the
// wrong detection or quantity is seen.
const char* const kDetectionQuantities[] = {"Range", "RngRt",   "AziAng",   "EleAng", "RCS",
                                            "SNR",   "Quality", "DynPrPty", "Mode"};

int QuantityIndex(const std::string& name) {
  for (int q = 0; q < 9; ++q) {
    if (name == kDetectionQuantities[q]) {
      return q;
    }
  }
  return -1;
}

double DetectionDouble(int quantity, int detection) { return 1000.0 * (quantity + 1) + detection + 0.25; }
long DetectionRaw(int quantity, int detection) { return 16L * (quantity + 1) + detection; }

template <typename Record>
void ExpectDetectionsHandedOutFromTheirOwnFields(std::uint16_t first, const std::string& suffix,
                                                 const std::vector<std::type_index>& quality_types,
                                                 const std::vector<std::type_index>& dyn_types,
                                                 const std::vector<std::type_index>& mode_types) {
  using Traits = DetectionGroupTraits<Record>;
  const std::size_t index = meta::GroupIndexOf<Record>::value;
  const std::string group_name = "RSDS4Detn" + suffix;
  SCOPED_TRACE(group_name);
  EXPECT_EQ(Traits::kFirstDetection, first);
  EXPECT_EQ(Traits::kGroupIndex, index);
  EXPECT_EQ(NameOf(initialfrontsideradarlefthal_signal_groups[index].name), group_name);
  EXPECT_EQ(first, 5U * index);

  // Fill every detection field through its described position.
  Record record{};
  unsigned char* bytes = reinterpret_cast<unsigned char*>(&record);
  const meta::GroupInfo& info = meta::kSignalGroups[index];
  int filled = 0;
  for (std::size_t k = 0; k < info.field_count; ++k) {
    const meta::FieldInfo& field = info.fields[k];
    const std::string rest = std::string(field.signal_name).substr(group_name.size());
    if (rest == "ScanID") {
      const std::uint8_t scan_id = 0xA5U;
      std::memcpy(bytes + field.byte_offset, &scan_id, 1U);
      continue;
    }
    const int quantity = QuantityIndex(rest.substr(0, rest.size() - 1U));
    if (quantity < 0) {
      continue;  // CRC and counter
    }
    const int detection = rest.back() - '0';
    ++filled;
    if (field.kind == meta::FieldKind::kDouble) {
      const double value = DetectionDouble(quantity, detection);
      std::memcpy(bytes + field.byte_offset, &value, sizeof value);
    } else {
      const auto raw = static_cast<std::uint8_t>(DetectionRaw(quantity, detection));
      std::memcpy(bytes + field.byte_offset, &raw, 1U);
    }
  }
  EXPECT_EQ(filled, 45);
  EXPECT_EQ(Traits::ScanId(record), 0xA5U);

  int calls = 0;
  Traits::ForEachDetection(
      record, [&](auto i, const auto& range, const auto& rng_rt, const auto& azi_ang, const auto& ele_ang,
                  const auto& rcs, const auto& snr, const auto& quality, const auto& dyn_pr_pty, const auto& mode) {
        EXPECT_TRUE((std::is_same<decltype(i), std::uint16_t>::value));
        EXPECT_EQ(i, calls);
        const int n = static_cast<int>(i);
        EXPECT_TRUE((std::is_same<std::decay_t<decltype(range)>, double>::value));
        EXPECT_TRUE((std::is_same<std::decay_t<decltype(snr)>, double>::value));
        EXPECT_EQ(range, DetectionDouble(0, n));
        EXPECT_EQ(rng_rt, DetectionDouble(1, n));
        EXPECT_EQ(azi_ang, DetectionDouble(2, n));
        EXPECT_EQ(ele_ang, DetectionDouble(3, n));
        EXPECT_EQ(rcs, DetectionDouble(4, n));
        EXPECT_EQ(snr, DetectionDouble(5, n));
        EXPECT_EQ(ValueOf(quality), DetectionRaw(6, n));
        EXPECT_EQ(ValueOf(dyn_pr_pty), DetectionRaw(7, n));
        EXPECT_EQ(ValueOf(mode), DetectionRaw(8, n));
        // Each detection's enumerations are its own types, one byte wide.
        if (n < 5) {
          EXPECT_EQ(std::type_index(typeid(quality)), quality_types[static_cast<std::size_t>(n)]);
          EXPECT_EQ(std::type_index(typeid(dyn_pr_pty)), dyn_types[static_cast<std::size_t>(n)]);
          EXPECT_EQ(std::type_index(typeid(mode)), mode_types[static_cast<std::size_t>(n)]);
        }
        ExpectUnderlying<std::decay_t<decltype(quality)>, std::uint8_t>();
        ExpectUnderlying<std::decay_t<decltype(dyn_pr_pty)>, std::uint8_t>();
        ExpectUnderlying<std::decay_t<decltype(mode)>, std::uint8_t>();
        ++calls;
      });
  EXPECT_EQ(calls, 5);
}

TEST(SignalGroupRecords, EveryRecordTypeIsAPlainAggregateAtItsGroupIndex) { ExpectAllPlainAggregates(AllRecords{}); }

TEST(SignalGroupRecords, DefaultConstructedStatusRecordHoldsZeroes) {
  const types::RSDS4SigSts1 status;
  EXPECT_EQ(status.rsds4sig_sts1counter, 0U);
  EXPECT_EQ(status.rsds4sig_sts1time_stamp3, 0U);
  EXPECT_EQ(status.rsds4sig_sts1zorient_ang, 0.0);
  EXPECT_EQ(ValueOf(status.rsds4sig_sts1phase_noise), 0);
}

TEST(SignalGroupRecords, FirstDetectionRecordFollowsItsTableFieldByField) {
  ExpectFieldsFollowTheTable(0U, RSDS4Detn000To004Fields(), sizeof(types::RSDS4Detn000To004));
}

TEST(SignalGroupRecords, StatusOneRecordFollowsItsTableFieldByField) {
  ExpectFieldsFollowTheTable(50U, RSDS4SigSts1Fields(), sizeof(types::RSDS4SigSts1));
}

TEST(SignalGroupRecords, StatusTwoRecordFollowsItsTableFieldByField) {
  ExpectFieldsFollowTheTable(51U, RSDS4SigSts2Fields(), sizeof(types::RSDS4SigSts2));
}

TEST(SignalGroupRecords, FirstObjectRecordFollowsItsTableFieldByField) {
  ExpectFieldsFollowTheTable(40U, RSDS4Obj00To01Fields(), sizeof(types::RSDS4Obj00To01));
}

TEST(SignalGroupRecords, FirstDetectionRecordBeginsWithRange2Range4AndEleAng2) {
  using Record = types::RSDS4Detn000To004;
  EXPECT_EQ(offsetof(Record, rsds4detn000to004range2), 0U);
  EXPECT_LT(offsetof(Record, rsds4detn000to004range2), offsetof(Record, rsds4detn000to004range4));
  EXPECT_LT(offsetof(Record, rsds4detn000to004range4), offsetof(Record, rsds4detn000to004ele_ang2));
  EXPECT_LT(offsetof(Record, rsds4detn000to004ele_ang2), offsetof(Record, rsds4detn000to004rcs4));
  EXPECT_EQ(NameOf(DatabaseSignal(0U, 0U).name), "RSDS4Detn000To004Range2");
  EXPECT_EQ(NameOf(DatabaseSignal(0U, 1U).name), "RSDS4Detn000To004Range4");
  EXPECT_EQ(NameOf(DatabaseSignal(0U, 2U).name), "RSDS4Detn000To004EleAng2");
}

TEST(SignalGroupRecords, SecondDetectionRecordBeginsWithRcs1InItsOwnOrder) {
  using Record = types::RSDS4Detn005To009;
  EXPECT_EQ(offsetof(Record, rsds4detn005to009rcs1), 0U);
  EXPECT_TRUE((std::is_same<decltype(Record::rsds4detn005to009rcs1), double>::value));
  EXPECT_EQ(NameOf(DatabaseSignal(1U, 0U).name), "RSDS4Detn005To009RCS1");
  EXPECT_EQ(DatabaseSignal(1U, 0U).value_storage_start_index, 0U);
  EXPECT_STREQ(meta::kSignalGroups[1].fields[0].name, "rsds4detn005to009rcs1");
}

TEST(SignalGroupRecords, FirstObjectRecordBeginsWithCoastCounterThenCounter) {
  using Record = types::RSDS4Obj00To01;
  EXPECT_EQ(offsetof(Record, rsds4obj00to01coast_cntr0), 0U);
  EXPECT_LT(offsetof(Record, rsds4obj00to01coast_cntr0), offsetof(Record, rsds4obj00to01counter));
  EXPECT_LT(offsetof(Record, rsds4obj00to01counter), offsetof(Record, rsds4obj00to01lat_accl0));
  EXPECT_EQ(NameOf(DatabaseSignal(40U, 0U).name), "RSDS4Obj00To01CoastCntr0");
  EXPECT_EQ(NameOf(DatabaseSignal(40U, 1U).name), "RSDS4Obj00To01Counter");
}

TEST(SignalGroupRecords, EveryRecordFieldHoldsTheValueSlotOfItsPosition) {
  for (std::size_t g = 0; g < kGroupCount; ++g) {
    const meta::GroupInfo& info = meta::kSignalGroups[g];
    const SignalAdapter_SignalGroup& group = initialfrontsideradarlefthal_signal_groups[g];
    const std::string group_name = NameOf(group.name);
    SCOPED_TRACE(group_name);
    EXPECT_EQ(info.index, g);
    EXPECT_STREQ(info.name, group_name.c_str());
    EXPECT_EQ(info.stem, SnakeCase(group_name));
    ASSERT_EQ(info.field_count, group.nbr_of_signals);
    for (std::size_t k = 0; k < info.field_count; ++k) {
      const meta::FieldInfo& field = info.fields[k];
      const SignalAdapter_Signal& signal = DatabaseSignal(g, k);
      SCOPED_TRACE(field.name);
      EXPECT_EQ(field.value_slot, k);
      EXPECT_EQ(signal.value_storage_start_index, k);
      EXPECT_EQ(field.signal_name, NameOf(signal.name));
      EXPECT_EQ(field.name, FieldNameFor(group_name, NameOf(signal.name)));
      EXPECT_EQ(static_cast<int>(field.kind), static_cast<int>(KindFor(signal)));
      if (k > 0U) {
        EXPECT_LT(info.fields[k - 1U].byte_offset, field.byte_offset);
      }
      EXPECT_LE(field.byte_offset + meta::FieldSize(field.kind), info.record_size);
      if (IsEnumeration(field.kind)) {
        EXPECT_NE(field.enumerators, nullptr);
        EXPECT_GT(field.enumerator_count, 0U);
      } else {
        EXPECT_EQ(field.enumerators, nullptr);
        EXPECT_EQ(field.enumerator_count, 0U);
      }
    }
  }
}

TEST(SignalGroupRecords, EveryRecordIsLaidOutFromItsFieldKindsInOrderWithNaturalAlignment) {
  // Catches a field whose real type is wider or narrower than its kind says.
  for (std::size_t g = 0; g < kGroupCount; ++g) {
    const meta::GroupInfo& info = meta::kSignalGroups[g];
    SCOPED_TRACE(info.name);
    std::size_t position = 0;
    std::size_t alignment = 1;
    for (std::size_t k = 0; k < info.field_count; ++k) {
      const std::size_t size = meta::FieldSize(info.fields[k].kind);
      position = (position + size - 1U) / size * size;
      EXPECT_EQ(info.fields[k].byte_offset, position) << info.fields[k].name;
      position += size;
      alignment = std::max(alignment, size);
    }
    EXPECT_EQ(info.record_size, (position + alignment - 1U) / alignment * alignment);
  }
}

TEST(SignalGroupRecords, SignalGroupLookupFindsEveryGroupByNameOnly) {
  for (std::size_t g = 0; g < kGroupCount; ++g) {
    const std::string name = NameOf(initialfrontsideradarlefthal_signal_groups[g].name);
    const meta::GroupInfo* info = meta::FindSignalGroup(name.c_str());
    ASSERT_NE(info, nullptr) << name;
    EXPECT_EQ(info->index, g);
  }
  EXPECT_EQ(meta::FindSignalGroup("RSDS4SigSts3"), nullptr);
  EXPECT_EQ(meta::FindSignalGroup(nullptr), nullptr);
}

TEST(SignalGroupRecords, EveryEnumerationFieldListsTheEnumeratorsOfItsKind) {
  int enumeration_fields = 0;
  int wide_enumeration_fields = 0;
  for (std::size_t g = 0; g < kGroupCount; ++g) {
    const meta::GroupInfo& info = meta::kSignalGroups[g];
    const std::string group_name = info.name;
    for (std::size_t k = 0; k < info.field_count; ++k) {
      const meta::FieldInfo& field = info.fields[k];
      if (!IsEnumeration(field.kind)) {
        continue;
      }
      SCOPED_TRACE(field.signal_name);
      ++enumeration_fields;
      std::string kind_name = std::string(field.signal_name).substr(group_name.size());
      while (!kind_name.empty() && std::isdigit(static_cast<unsigned char>(kind_name.back())) != 0) {
        kind_name.pop_back();
      }
      const auto kind = kEnumKinds.find(kind_name);
      ASSERT_NE(kind, kEnumKinds.end()) << "no enumeration kind " << kind_name;
      EXPECT_EQ(meta::FieldSize(field.kind), kind->second.width);
      if (field.kind == meta::FieldKind::kEnum16) {
        ++wide_enumeration_fields;
      }
      ASSERT_EQ(field.enumerator_count, kind->second.enumerators.size());
      for (std::size_t e = 0; e < field.enumerator_count; ++e) {
        EXPECT_EQ(field.enumerators[e].name, kind->second.enumerators[e].first);
        EXPECT_EQ(field.enumerators[e].value, kind->second.enumerators[e].second);
      }
    }
  }
  // One enumeration type per enumerated signal.
  EXPECT_EQ(enumeration_fields, 719);
  EXPECT_EQ(wide_enumeration_fields, 3);
}

TEST(SignalGroupRecords, FaultReasonEnumerationsAreSixteenBitsWideAndOthersEightBits) {
  ExpectUnderlying<types::RSDS4SigSts1DtnListFaultReasonEnum, std::uint16_t>();
  ExpectUnderlying<types::RSDS4SigSts2ObjListFaultReasonEnum, std::uint16_t>();
  ExpectUnderlying<types::RSDS4SigSts2CommFltReasonEnum, std::uint16_t>();
  ExpectUnderlying<types::RSDS4SigSts1BlockageEnum, std::uint8_t>();
  ExpectUnderlying<types::RSDS4SigSts2TrackStatusInfoEnum, std::uint8_t>();
}

TEST(SignalGroupRecords, QualityEnumeratorsHaveExactlyTheListedValues) {
  FSRL_EXPECT_QUALITY_ENUMERATORS(types::RSDS4Detn000To004Quality0Enum);
  FSRL_EXPECT_QUALITY_ENUMERATORS(types::RSDS4Detn195To199Quality4Enum);
}

TEST(SignalGroupRecords, ModeEnumeratorsHaveExactlyTheListedValues) {
  FSRL_EXPECT_MODE_ENUMERATORS(types::RSDS4Detn000To004Mode0Enum);
  FSRL_EXPECT_MODE_ENUMERATORS(types::RSDS4Detn195To199Mode4Enum);
}

TEST(SignalGroupRecords, DynPrPtyEnumeratorsHaveExactlyTheListedValues) {
  FSRL_EXPECT_DYN_PR_PTY_ENUMERATORS(types::RSDS4Detn000To004DynPrPty0Enum);
  FSRL_EXPECT_DYN_PR_PTY_ENUMERATORS(types::RSDS4Detn195To199DynPrPty4Enum);
}

TEST(SignalGroupRecords, BlockageEnumeratorsHaveExactlyTheListedValues) {
  FSRL_EXPECT_BLOCKAGE_ENUMERATORS(types::RSDS4SigSts1BlockageEnum);
}

TEST(SignalGroupRecords, FaultReasonEnumeratorsOfBothListsHaveExactlyTheListedValues) {
  FSRL_EXPECT_FAULT_REASON_ENUMERATORS(types::RSDS4SigSts1DtnListFaultReasonEnum);
  FSRL_EXPECT_FAULT_REASON_ENUMERATORS(types::RSDS4SigSts2ObjListFaultReasonEnum);
}

TEST(SignalGroupRecords, DtnListSysSftyFailureFlagEnumeratorsHaveExactlyTheListedValues) {
  FSRL_EXPECT_DTN_LIST_SYS_SFTY_FAILURE_FLAG_ENUMERATORS(types::RSDS4SigSts1DtnListSysSftyFailureFlagEnum);
}

TEST(SignalGroupRecords, InterferenceEnumeratorsHaveExactlyTheListedValues) {
  FSRL_EXPECT_INTERFERENCE_ENUMERATORS(types::RSDS4SigSts1InterferenceEnum);
}

TEST(SignalGroupRecords, RdrEmsnStsEnumeratorsHaveExactlyTheListedValues) {
  FSRL_EXPECT_RDR_EMSN_STS_ENUMERATORS(types::RSDS4SigSts1RdrEmsnStsEnum);
}

TEST(SignalGroupRecords, RadarStatusEnumeratorsOfDetectionsAndObjectsHaveExactlyTheListedValues) {
  FSRL_EXPECT_RADAR_STATUS_ENUMERATORS(types::RSDS4SigSts1RdrStsDetnEnum);
  FSRL_EXPECT_RADAR_STATUS_ENUMERATORS(types::RSDS4SigSts2RdrStsObjEnum);
}

TEST(SignalGroupRecords, RSPStatusInfoEnumeratorsHaveExactlyTheListedValues) {
  FSRL_EXPECT_RSPSTATUS_INFO_ENUMERATORS(types::RSDS4SigSts1RSPStatusInfoEnum);
}

TEST(SignalGroupRecords, TimeStampStatusEnumeratorsHaveExactlyTheListedValues) {
  FSRL_EXPECT_TIME_STAMP_STATUS_ENUMERATORS(types::RSDS4SigSts1TimeStampStatusEnum);
}

TEST(SignalGroupRecords, PhaseNoiseEnumeratorsHaveExactlyTheListedValues) {
  FSRL_EXPECT_PHASE_NOISE_ENUMERATORS(types::RSDS4SigSts1PhaseNoiseEnum);
}

TEST(SignalGroupRecords, StateMachineStatusEnumeratorsHaveExactlyTheListedValues) {
  FSRL_EXPECT_STATE_MACHINE_STATUS_ENUMERATORS(types::RSDS4SigSts2StateMachineStatusEnum);
}

TEST(SignalGroupRecords, CalRltStsEnumeratorsHaveExactlyTheListedValues) {
  FSRL_EXPECT_CAL_RLT_STS_ENUMERATORS(types::RSDS4SigSts2CalRltStsEnum);
}

TEST(SignalGroupRecords, ObjSysSftyFailureFlagEnumeratorsHaveExactlyTheListedValues) {
  FSRL_EXPECT_OBJ_SYS_SFTY_FAILURE_FLAG_ENUMERATORS(types::RSDS4SigSts2ObjSysSftyFailureFlagEnum);
}

TEST(SignalGroupRecords, CommFltReasonEnumeratorsHaveExactlyTheListedValues) {
  FSRL_EXPECT_COMM_FLT_REASON_ENUMERATORS(types::RSDS4SigSts2CommFltReasonEnum);
}

TEST(SignalGroupRecords, StsSysSftyFailureFlagEnumeratorsHaveExactlyTheListedValues) {
  FSRL_EXPECT_STS_SYS_SFTY_FAILURE_FLAG_ENUMERATORS(types::RSDS4SigSts2StsSysSftyFailureFlagEnum);
}

TEST(SignalGroupRecords, CalStsEnumeratorsHaveExactlyTheListedValues) {
  FSRL_EXPECT_CAL_STS_ENUMERATORS(types::RSDS4SigSts2CalStsEnum);
}

TEST(SignalGroupRecords, TrackStatusInfoEnumeratorsHaveExactlyTheListedValues) {
  FSRL_EXPECT_TRACK_STATUS_INFO_ENUMERATORS(types::RSDS4SigSts2TrackStatusInfoEnum);
}

TEST(SignalGroupRecords, PCANSyncStatusInfoEnumeratorsHaveExactlyTheListedValues) {
  FSRL_EXPECT_PCANSYNC_STATUS_INFO_ENUMERATORS(types::RSDS4SigSts2PCANSyncStatusInfoEnum);
}

TEST(SignalGroupRecords, TrkStsEnumeratorsHaveExactlyTheListedValues) {
  FSRL_EXPECT_TRK_STS_ENUMERATORS(types::RSDS4Obj00To01TrkSts0Enum);
  FSRL_EXPECT_TRK_STS_ENUMERATORS(types::RSDS4Obj18To19TrkSts1Enum);
}

TEST(SignalGroupRecords, FuseInfoEnumeratorsHaveExactlyTheListedValues) {
  FSRL_EXPECT_FUSE_INFO_ENUMERATORS(types::RSDS4Obj00To01FuseInfo0Enum);
  FSRL_EXPECT_FUSE_INFO_ENUMERATORS(types::RSDS4Obj18To19FuseInfo1Enum);
}

TEST(SignalGroupRecords, ObjClasEnumeratorsHaveExactlyTheListedValues) {
  FSRL_EXPECT_OBJ_CLAS_ENUMERATORS(types::RSDS4Obj00To01ObjClas0Enum);
  FSRL_EXPECT_OBJ_CLAS_ENUMERATORS(types::RSDS4Obj18To19ObjClas1Enum);
}

TEST(SignalGroupRecords, MtnPtnClasEnumeratorsHaveExactlyTheListedValues) {
  FSRL_EXPECT_MTN_PTN_CLAS_ENUMERATORS(types::RSDS4Obj00To01MtnPtnClas0Enum);
  FSRL_EXPECT_MTN_PTN_CLAS_ENUMERATORS(types::RSDS4Obj18To19MtnPtnClas1Enum);
}

TEST(SignalGroupRecords, RefPtEnumeratorsHaveExactlyTheListedValues) {
  FSRL_EXPECT_REF_PT_ENUMERATORS(types::RSDS4Obj00To01RefPt0Enum);
  FSRL_EXPECT_REF_PT_ENUMERATORS(types::RSDS4Obj18To19RefPt1Enum);
}

// The X-macro expansions below are statement lists, which the formatter cannot see.
// clang-format off
#define FSRL_EXPECT_DETECTION_ENUMERATIONS_OF(Type, n)            \
  FSRL_EXPECT_QUALITY_ENUMERATORS(types::Type##Quality##n##Enum); \
  FSRL_EXPECT_MODE_ENUMERATORS(types::Type##Mode##n##Enum);       \
  FSRL_EXPECT_DYN_PR_PTY_ENUMERATORS(types::Type##DynPrPty##n##Enum)

#define FSRL_EXPECT_DETECTION_GROUP_ENUMERATIONS(suffix, Type, first, accessor) \
  FSRL_EXPECT_DETECTION_ENUMERATIONS_OF(Type, 0);                     \
  FSRL_EXPECT_DETECTION_ENUMERATIONS_OF(Type, 1);                     \
  FSRL_EXPECT_DETECTION_ENUMERATIONS_OF(Type, 2);                     \
  FSRL_EXPECT_DETECTION_ENUMERATIONS_OF(Type, 3);                     \
  FSRL_EXPECT_DETECTION_ENUMERATIONS_OF(Type, 4);

TEST(SignalGroupRecords, EveryDetectionEnumerationTypeHasTheEnumeratorsOfItsKind) {
  FSRL_FOR_EACH_DETECTION_GROUP(FSRL_EXPECT_DETECTION_GROUP_ENUMERATIONS)
}

#undef FSRL_EXPECT_DETECTION_GROUP_ENUMERATIONS
#undef FSRL_EXPECT_DETECTION_ENUMERATIONS_OF

#define FSRL_FOR_EACH_OBJECT_RECORD(X)                                  \
  X(RSDS4Obj00To01) X(RSDS4Obj02To03) X(RSDS4Obj04To05) X(RSDS4Obj06To07) \
  X(RSDS4Obj08To09) X(RSDS4Obj10To11) X(RSDS4Obj12To13) X(RSDS4Obj14To15) \
  X(RSDS4Obj16To17) X(RSDS4Obj18To19)

#define FSRL_EXPECT_OBJECT_ENUMERATIONS_OF(Type, n)                       \
  FSRL_EXPECT_TRK_STS_ENUMERATORS(types::Type##TrkSts##n##Enum);          \
  FSRL_EXPECT_FUSE_INFO_ENUMERATORS(types::Type##FuseInfo##n##Enum);      \
  FSRL_EXPECT_OBJ_CLAS_ENUMERATORS(types::Type##ObjClas##n##Enum);        \
  FSRL_EXPECT_MTN_PTN_CLAS_ENUMERATORS(types::Type##MtnPtnClas##n##Enum); \
  FSRL_EXPECT_REF_PT_ENUMERATORS(types::Type##RefPt##n##Enum)

#define FSRL_EXPECT_OBJECT_GROUP_ENUMERATIONS(Type) \
  FSRL_EXPECT_OBJECT_ENUMERATIONS_OF(Type, 0);      \
  FSRL_EXPECT_OBJECT_ENUMERATIONS_OF(Type, 1);

TEST(SignalGroupRecords, EveryObjectEnumerationTypeHasTheEnumeratorsOfItsKind) {
  FSRL_FOR_EACH_OBJECT_RECORD(FSRL_EXPECT_OBJECT_GROUP_ENUMERATIONS)
}
// clang-format on

#undef FSRL_EXPECT_OBJECT_GROUP_ENUMERATIONS
#undef FSRL_EXPECT_OBJECT_ENUMERATIONS_OF
#undef FSRL_FOR_EACH_OBJECT_RECORD

// Every field of every detection and object record, named as the naming rule
// gives it, with the type its signal kind gives it: a field that is missing,
// misnamed or of another type fails to compile or to match.
// clang-format off
#define FSRL_EXPECT_FIELD_TYPE(Type, field, Expected) \
  EXPECT_TRUE((std::is_same<decltype(types::Type::field), Expected>::value)) << #Type "::" #field

#define FSRL_DETECTION_RECORDS(X) \
  X(RSDS4Detn000To004, rsds4detn000to004) \
  X(RSDS4Detn005To009, rsds4detn005to009) \
  X(RSDS4Detn010To014, rsds4detn010to014) \
  X(RSDS4Detn015To019, rsds4detn015to019) \
  X(RSDS4Detn020To024, rsds4detn020to024) \
  X(RSDS4Detn025To029, rsds4detn025to029) \
  X(RSDS4Detn030To034, rsds4detn030to034) \
  X(RSDS4Detn035To039, rsds4detn035to039) \
  X(RSDS4Detn040To044, rsds4detn040to044) \
  X(RSDS4Detn045To049, rsds4detn045to049) \
  X(RSDS4Detn050To054, rsds4detn050to054) \
  X(RSDS4Detn055To059, rsds4detn055to059) \
  X(RSDS4Detn060To064, rsds4detn060to064) \
  X(RSDS4Detn065To069, rsds4detn065to069) \
  X(RSDS4Detn070To074, rsds4detn070to074) \
  X(RSDS4Detn075To079, rsds4detn075to079) \
  X(RSDS4Detn080To084, rsds4detn080to084) \
  X(RSDS4Detn085To089, rsds4detn085to089) \
  X(RSDS4Detn090To094, rsds4detn090to094) \
  X(RSDS4Detn095To099, rsds4detn095to099) \
  X(RSDS4Detn100To104, rsds4detn100to104) \
  X(RSDS4Detn105To109, rsds4detn105to109) \
  X(RSDS4Detn110To114, rsds4detn110to114) \
  X(RSDS4Detn115To119, rsds4detn115to119) \
  X(RSDS4Detn120To124, rsds4detn120to124) \
  X(RSDS4Detn125To129, rsds4detn125to129) \
  X(RSDS4Detn130To134, rsds4detn130to134) \
  X(RSDS4Detn135To139, rsds4detn135to139) \
  X(RSDS4Detn140To144, rsds4detn140to144) \
  X(RSDS4Detn145To149, rsds4detn145to149) \
  X(RSDS4Detn150To154, rsds4detn150to154) \
  X(RSDS4Detn155To159, rsds4detn155to159) \
  X(RSDS4Detn160To164, rsds4detn160to164) \
  X(RSDS4Detn165To169, rsds4detn165to169) \
  X(RSDS4Detn170To174, rsds4detn170to174) \
  X(RSDS4Detn175To179, rsds4detn175to179) \
  X(RSDS4Detn180To184, rsds4detn180to184) \
  X(RSDS4Detn185To189, rsds4detn185to189) \
  X(RSDS4Detn190To194, rsds4detn190to194) \
  X(RSDS4Detn195To199, rsds4detn195to199)

#define FSRL_OBJECT_RECORDS(X) \
  X(RSDS4Obj00To01, rsds4obj00to01) \
  X(RSDS4Obj02To03, rsds4obj02to03) \
  X(RSDS4Obj04To05, rsds4obj04to05) \
  X(RSDS4Obj06To07, rsds4obj06to07) \
  X(RSDS4Obj08To09, rsds4obj08to09) \
  X(RSDS4Obj10To11, rsds4obj10to11) \
  X(RSDS4Obj12To13, rsds4obj12to13) \
  X(RSDS4Obj14To15, rsds4obj14to15) \
  X(RSDS4Obj16To17, rsds4obj16to17) \
  X(RSDS4Obj18To19, rsds4obj18to19)

#define FSRL_EXPECT_DETECTION_FIELD_TYPES_OF(Type, stem, n) \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##range##n, double); \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##rng_rt##n, double); \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##azi_ang##n, double); \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##ele_ang##n, double); \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##rcs##n, double); \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##snr##n, double); \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##quality##n, types::Type##Quality##n##Enum); \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##mode##n, types::Type##Mode##n##Enum); \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##dyn_pr_pty##n, types::Type##DynPrPty##n##Enum)

#define FSRL_EXPECT_DETECTION_RECORD_FIELD_TYPES(Type, stem)             \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##counter, std::uint8_t);             \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##crc, std::uint16_t);                \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##scan_id, std::uint8_t);             \
  FSRL_EXPECT_DETECTION_FIELD_TYPES_OF(Type, stem, 0);                   \
  FSRL_EXPECT_DETECTION_FIELD_TYPES_OF(Type, stem, 1);                   \
  FSRL_EXPECT_DETECTION_FIELD_TYPES_OF(Type, stem, 2);                   \
  FSRL_EXPECT_DETECTION_FIELD_TYPES_OF(Type, stem, 3);                   \
  FSRL_EXPECT_DETECTION_FIELD_TYPES_OF(Type, stem, 4);

#define FSRL_EXPECT_OBJECT_FIELD_TYPES_OF(Type, stem, n) \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##obj_id##n, std::uint8_t); \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##long_pos##n, double); \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##lat_pos##n, double); \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##long_vel##n, double); \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##lat_vel##n, double); \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##long_accl##n, double); \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##lat_accl##n, double); \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##std_long_pos##n, double); \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##std_lat_pos##n, double); \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##std_long_vel##n, double); \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##std_lat_vel##n, double); \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##std_long_accl##n, double); \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##std_lat_accl##n, double); \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##head_ang##n, double); \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##obj_len##n, double); \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##obj_wid##n, double); \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##confidance##n, std::uint8_t); \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##coast_cntr##n, std::uint8_t); \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##trk_sts##n, types::Type##TrkSts##n##Enum); \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##fuse_info##n, types::Type##FuseInfo##n##Enum); \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##obj_clas##n, types::Type##ObjClas##n##Enum); \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##mtn_ptn_clas##n, types::Type##MtnPtnClas##n##Enum); \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##ref_pt##n, types::Type##RefPt##n##Enum)

#define FSRL_EXPECT_OBJECT_RECORD_FIELD_TYPES(Type, stem)                \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##counter, std::uint8_t);             \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##crc, std::uint16_t);                \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##scan_id, std::uint8_t);             \
  FSRL_EXPECT_FIELD_TYPE(Type, stem##msg_cntr, std::uint8_t);            \
  FSRL_EXPECT_OBJECT_FIELD_TYPES_OF(Type, stem, 0);                      \
  FSRL_EXPECT_OBJECT_FIELD_TYPES_OF(Type, stem, 1);

TEST(SignalGroupRecords, EveryDetectionRecordFieldHasTheTypeOfItsSignalKind) {
  FSRL_DETECTION_RECORDS(FSRL_EXPECT_DETECTION_RECORD_FIELD_TYPES)
}

TEST(SignalGroupRecords, EveryObjectRecordFieldHasTheTypeOfItsSignalKind) {
  FSRL_OBJECT_RECORDS(FSRL_EXPECT_OBJECT_RECORD_FIELD_TYPES)
}
// clang-format on

#undef FSRL_EXPECT_OBJECT_RECORD_FIELD_TYPES
#undef FSRL_EXPECT_OBJECT_FIELD_TYPES_OF
#undef FSRL_EXPECT_DETECTION_RECORD_FIELD_TYPES
#undef FSRL_EXPECT_DETECTION_FIELD_TYPES_OF
#undef FSRL_OBJECT_RECORDS
#undef FSRL_DETECTION_RECORDS
#undef FSRL_EXPECT_FIELD_TYPE

TEST(SignalGroupRecords, UnpopulatedDetectionIsJustAQualityValueCarriedWithTheOtherFields) {
  using Quality = types::RSDS4Detn000To004Quality2Enum;
  types::RSDS4Detn000To004 record{};
  record.rsds4detn000to004scan_id = 42U;
  record.rsds4detn000to004range2 = 12.5;
  record.rsds4detn000to004rng_rt2 = -3.25;
  record.rsds4detn000to004azi_ang2 = 0.5;
  record.rsds4detn000to004mode2 = types::RSDS4Detn000To004Mode2Enum::RSRxDetectionMode_Long;
  record.rsds4detn000to004dyn_pr_pty2 = types::RSDS4Detn000To004DynPrPty2Enum::DynPrty_Moving;
  record.rsds4detn000to004quality2 = Quality::Quality_DetectionUnpopulated;
  EXPECT_EQ(ValueOf(record.rsds4detn000to004quality2), 3);

  types::RSDS4Detn000To004 copy;
  std::memcpy(&copy, &record, sizeof copy);
  EXPECT_EQ(copy.rsds4detn000to004quality2, Quality::Quality_DetectionUnpopulated);
  EXPECT_EQ(copy.rsds4detn000to004scan_id, 42U);
  EXPECT_EQ(copy.rsds4detn000to004range2, 12.5);
  EXPECT_EQ(copy.rsds4detn000to004rng_rt2, -3.25);
  EXPECT_EQ(copy.rsds4detn000to004azi_ang2, 0.5);
  EXPECT_EQ(ValueOf(copy.rsds4detn000to004mode2), 3);
  EXPECT_EQ(ValueOf(copy.rsds4detn000to004dyn_pr_pty2), 1);

  int seen = 0;
  DetectionGroupTraits<types::RSDS4Detn000To004>::ForEachDetection(
      copy, [&](auto i, double range, double rng_rt, double, double, double, double, auto quality, auto, auto) {
        if (i == 2U) {
          ++seen;
          EXPECT_EQ(ValueOf(quality), 3);
          EXPECT_EQ(range, 12.5);
          EXPECT_EQ(rng_rt, -3.25);
        }
      });
  EXPECT_EQ(seen, 1);
}

// Stores a raw value into a field the way a decoded value slot is copied into
// a record: truncated to the field's width, whatever the enumerators are.
template <typename Record>
void StoreRaw(Record& record, std::size_t offset, std::uint64_t raw, std::size_t width) {
  unsigned char* bytes = reinterpret_cast<unsigned char*>(&record) + offset;
  if (width == 1U) {
    const auto value = static_cast<std::uint8_t>(raw);
    std::memcpy(bytes, &value, 1U);
  } else {
    const auto value = static_cast<std::uint16_t>(raw);
    std::memcpy(bytes, &value, 2U);
  }
}

TEST(SignalGroupRecords, PhaseNoiseFieldCarriesARawValueWithoutEnumerator) {
  types::RSDS4SigSts1 status{};
  StoreRaw(status, offsetof(types::RSDS4SigSts1, rsds4sig_sts1phase_noise), 5U, 1U);
  EXPECT_EQ(ValueOf(status.rsds4sig_sts1phase_noise), 5);
  const types::RSDS4SigSts1 copy = status;
  EXPECT_EQ(ValueOf(copy.rsds4sig_sts1phase_noise), 5);
  status.rsds4sig_sts1phase_noise = static_cast<types::RSDS4SigSts1PhaseNoiseEnum>(12);
  EXPECT_EQ(ValueOf(status.rsds4sig_sts1phase_noise), 12);
}

TEST(SignalGroupRecords, TrackStatusFieldCarriesFourToSixUnchanged) {
  for (std::uint64_t raw = 4U; raw <= 6U; ++raw) {
    types::RSDS4SigSts2 status{};
    status.rsds4sig_sts2rdr_sts_obj = types::RSDS4SigSts2RdrStsObjEnum::RdrStsDetn_Fault;
    StoreRaw(status, offsetof(types::RSDS4SigSts2, rsds4sig_sts2track_status_info), raw, 1U);
    types::RSDS4SigSts2 copy{};
    copy = status;
    EXPECT_EQ(ValueOf(copy.rsds4sig_sts2track_status_info), static_cast<long>(raw));
    EXPECT_EQ(ValueOf(copy.rsds4sig_sts2rdr_sts_obj), 2);
  }
}

TEST(SignalGroupRecords, FaultReasonFieldsCarryCombinedBitsUnchanged) {
  types::RSDS4SigSts2 status{};
  StoreRaw(status, offsetof(types::RSDS4SigSts2, rsds4sig_sts2obj_list_fault_reason), 0x03U, 2U);
  StoreRaw(status, offsetof(types::RSDS4SigSts2, rsds4sig_sts2comm_flt_reason), 0xFFU, 2U);
  EXPECT_EQ(ValueOf(status.rsds4sig_sts2obj_list_fault_reason), 0x03);
  EXPECT_EQ(ValueOf(status.rsds4sig_sts2comm_flt_reason), 0xFF);
  types::RSDS4SigSts1 status1{};
  StoreRaw(status1, offsetof(types::RSDS4SigSts1, rsds4sig_sts1dtn_list_fault_reason), 0x0CU, 2U);
  EXPECT_EQ(ValueOf(status1.rsds4sig_sts1dtn_list_fault_reason), 0x0C);
}

TEST(DetectionGroupTraits, GroupOneHundredTwentyStartsAtDetectionOneHundredTwenty) {
  EXPECT_EQ(DetectionGroupTraits<types::RSDS4Detn120To124>::kFirstDetection, 120U);
  EXPECT_EQ(DetectionGroupTraits<types::RSDS4Detn120To124>::kGroupIndex, 24U);
  EXPECT_EQ(DetectionGroupTraits<types::RSDS4Detn000To004>::kFirstDetection, 0U);
  EXPECT_EQ(DetectionGroupTraits<types::RSDS4Detn195To199>::kFirstDetection, 195U);
  // Detection 2 of the second group is detection 7 of the scan.
  EXPECT_EQ(DetectionGroupTraits<types::RSDS4Detn005To009>::kFirstDetection + 2U, 7U);
  EXPECT_EQ(initialfrontsideradarlefthal::kDetectionGroupCount, 40U);
  EXPECT_EQ(initialfrontsideradarlefthal::kDetectionsPerGroup, 5U);
}

#define FSRL_FILL_DETECTION(n)                                                                              \
  record.rsds4detn120to124range##n = 100.0 + (n);                                                           \
  record.rsds4detn120to124rng_rt##n = 200.0 + (n);                                                          \
  record.rsds4detn120to124azi_ang##n = 300.0 + (n);                                                         \
  record.rsds4detn120to124ele_ang##n = 400.0 + (n);                                                         \
  record.rsds4detn120to124rcs##n = 500.0 + (n);                                                             \
  record.rsds4detn120to124snr##n = 600.0 + (n);                                                             \
  record.rsds4detn120to124quality##n = static_cast<types::RSDS4Detn120To124Quality##n##Enum>(10 + (n));     \
  record.rsds4detn120to124dyn_pr_pty##n = static_cast<types::RSDS4Detn120To124DynPrPty##n##Enum>(20 + (n)); \
  record.rsds4detn120to124mode##n = static_cast<types::RSDS4Detn120To124Mode##n##Enum>(30 + (n))

TEST(DetectionGroupTraits, ForEachDetectionHandsOutDetectionsZeroToFourWithTheirOwnFields) {
  types::RSDS4Detn120To124 record{};
  FSRL_FILL_DETECTION(0);
  FSRL_FILL_DETECTION(1);
  FSRL_FILL_DETECTION(2);
  FSRL_FILL_DETECTION(3);
  FSRL_FILL_DETECTION(4);
  record.rsds4detn120to124scan_id = 77U;
  record.rsds4detn120to124counter = 9U;
  record.rsds4detn120to124crc = 0xBEEFU;
  EXPECT_EQ(DetectionGroupTraits<types::RSDS4Detn120To124>::ScanId(record), 77U);

  std::vector<int> visited;
  DetectionGroupTraits<types::RSDS4Detn120To124>::ForEachDetection(
      record, [&](std::uint16_t i, double range, double rng_rt, double azi_ang, double ele_ang, double rcs, double snr,
                  auto quality, auto dyn_pr_pty, auto mode) {
        visited.push_back(i);
        EXPECT_EQ(range, 100.0 + i);
        EXPECT_EQ(rng_rt, 200.0 + i);
        EXPECT_EQ(azi_ang, 300.0 + i);
        EXPECT_EQ(ele_ang, 400.0 + i);
        EXPECT_EQ(rcs, 500.0 + i);
        EXPECT_EQ(snr, 600.0 + i);
        EXPECT_EQ(ValueOf(quality), 10 + i);
        EXPECT_EQ(ValueOf(dyn_pr_pty), 20 + i);
        EXPECT_EQ(ValueOf(mode), 30 + i);
      });
  EXPECT_EQ(visited, (std::vector<int>{0, 1, 2, 3, 4}));
}
#undef FSRL_FILL_DETECTION

#define FSRL_CHECK_DETECTION_GROUP(suffix, Type, first, accessor)                                                  \
  ExpectDetectionsHandedOutFromTheirOwnFields<types::Type>(                                                        \
      first, #suffix,                                                                                              \
      {typeid(types::Type##Quality0Enum), typeid(types::Type##Quality1Enum), typeid(types::Type##Quality2Enum),    \
       typeid(types::Type##Quality3Enum), typeid(types::Type##Quality4Enum)},                                      \
      {typeid(types::Type##DynPrPty0Enum), typeid(types::Type##DynPrPty1Enum), typeid(types::Type##DynPrPty2Enum), \
       typeid(types::Type##DynPrPty3Enum), typeid(types::Type##DynPrPty4Enum)},                                    \
      {typeid(types::Type##Mode0Enum), typeid(types::Type##Mode1Enum), typeid(types::Type##Mode2Enum),             \
       typeid(types::Type##Mode3Enum), typeid(types::Type##Mode4Enum)});

TEST(DetectionGroupTraits, EveryDetectionGroupHandsOutItsOwnFieldsForDetectionsZeroToFour) {
  FSRL_FOR_EACH_DETECTION_GROUP(FSRL_CHECK_DETECTION_GROUP)
}
#undef FSRL_CHECK_DETECTION_GROUP

}  // namespace
