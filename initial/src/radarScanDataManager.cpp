#include "radarScanDataManager.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

#include "converters.h"

namespace {

// A slot older than this belongs to an earlier scan that happened to have the same id. The radar assembles a
// scan within a few of its 50 ms periods, and an 8-bit id returns only after 256 scans (12.8 s): a second
// separates the two with a wide margin either way. The rule is "at least 1,001 ms" while the comparison is
// "older than", hence one nanosecond under 1,001 ms.
constexpr std::chrono::nanoseconds kSlotLifetime{1000999999};

// The detection indexes, looked up by detection number. The class constants have no definition outside the class,
// so the translation may only take their values; copying them into this table does exactly that and lets a group
// pick its five indexes by arithmetic on its first detection number.
constexpr std::array<std::uint8_t, radar_service::CornerRadarDetections::kDetectionCount> kDetectionNumbers{{
    RadarScanDataManager::DETECTION_NUMBER_000, RadarScanDataManager::DETECTION_NUMBER_001,
    RadarScanDataManager::DETECTION_NUMBER_002, RadarScanDataManager::DETECTION_NUMBER_003,
    RadarScanDataManager::DETECTION_NUMBER_004, RadarScanDataManager::DETECTION_NUMBER_005,
    RadarScanDataManager::DETECTION_NUMBER_006, RadarScanDataManager::DETECTION_NUMBER_007,
    RadarScanDataManager::DETECTION_NUMBER_008, RadarScanDataManager::DETECTION_NUMBER_009,
    RadarScanDataManager::DETECTION_NUMBER_010, RadarScanDataManager::DETECTION_NUMBER_011,
    RadarScanDataManager::DETECTION_NUMBER_012, RadarScanDataManager::DETECTION_NUMBER_013,
    RadarScanDataManager::DETECTION_NUMBER_014, RadarScanDataManager::DETECTION_NUMBER_015,
    RadarScanDataManager::DETECTION_NUMBER_016, RadarScanDataManager::DETECTION_NUMBER_017,
    RadarScanDataManager::DETECTION_NUMBER_018, RadarScanDataManager::DETECTION_NUMBER_019,
    RadarScanDataManager::DETECTION_NUMBER_020, RadarScanDataManager::DETECTION_NUMBER_021,
    RadarScanDataManager::DETECTION_NUMBER_022, RadarScanDataManager::DETECTION_NUMBER_023,
    RadarScanDataManager::DETECTION_NUMBER_024, RadarScanDataManager::DETECTION_NUMBER_025,
    RadarScanDataManager::DETECTION_NUMBER_026, RadarScanDataManager::DETECTION_NUMBER_027,
    RadarScanDataManager::DETECTION_NUMBER_028, RadarScanDataManager::DETECTION_NUMBER_029,
    RadarScanDataManager::DETECTION_NUMBER_030, RadarScanDataManager::DETECTION_NUMBER_031,
    RadarScanDataManager::DETECTION_NUMBER_032, RadarScanDataManager::DETECTION_NUMBER_033,
    RadarScanDataManager::DETECTION_NUMBER_034, RadarScanDataManager::DETECTION_NUMBER_035,
    RadarScanDataManager::DETECTION_NUMBER_036, RadarScanDataManager::DETECTION_NUMBER_037,
    RadarScanDataManager::DETECTION_NUMBER_038, RadarScanDataManager::DETECTION_NUMBER_039,
    RadarScanDataManager::DETECTION_NUMBER_040, RadarScanDataManager::DETECTION_NUMBER_041,
    RadarScanDataManager::DETECTION_NUMBER_042, RadarScanDataManager::DETECTION_NUMBER_043,
    RadarScanDataManager::DETECTION_NUMBER_044, RadarScanDataManager::DETECTION_NUMBER_045,
    RadarScanDataManager::DETECTION_NUMBER_046, RadarScanDataManager::DETECTION_NUMBER_047,
    RadarScanDataManager::DETECTION_NUMBER_048, RadarScanDataManager::DETECTION_NUMBER_049,
    RadarScanDataManager::DETECTION_NUMBER_050, RadarScanDataManager::DETECTION_NUMBER_051,
    RadarScanDataManager::DETECTION_NUMBER_052, RadarScanDataManager::DETECTION_NUMBER_053,
    RadarScanDataManager::DETECTION_NUMBER_054, RadarScanDataManager::DETECTION_NUMBER_055,
    RadarScanDataManager::DETECTION_NUMBER_056, RadarScanDataManager::DETECTION_NUMBER_057,
    RadarScanDataManager::DETECTION_NUMBER_058, RadarScanDataManager::DETECTION_NUMBER_059,
    RadarScanDataManager::DETECTION_NUMBER_060, RadarScanDataManager::DETECTION_NUMBER_061,
    RadarScanDataManager::DETECTION_NUMBER_062, RadarScanDataManager::DETECTION_NUMBER_063,
    RadarScanDataManager::DETECTION_NUMBER_064, RadarScanDataManager::DETECTION_NUMBER_065,
    RadarScanDataManager::DETECTION_NUMBER_066, RadarScanDataManager::DETECTION_NUMBER_067,
    RadarScanDataManager::DETECTION_NUMBER_068, RadarScanDataManager::DETECTION_NUMBER_069,
    RadarScanDataManager::DETECTION_NUMBER_070, RadarScanDataManager::DETECTION_NUMBER_071,
    RadarScanDataManager::DETECTION_NUMBER_072, RadarScanDataManager::DETECTION_NUMBER_073,
    RadarScanDataManager::DETECTION_NUMBER_074, RadarScanDataManager::DETECTION_NUMBER_075,
    RadarScanDataManager::DETECTION_NUMBER_076, RadarScanDataManager::DETECTION_NUMBER_077,
    RadarScanDataManager::DETECTION_NUMBER_078, RadarScanDataManager::DETECTION_NUMBER_079,
    RadarScanDataManager::DETECTION_NUMBER_080, RadarScanDataManager::DETECTION_NUMBER_081,
    RadarScanDataManager::DETECTION_NUMBER_082, RadarScanDataManager::DETECTION_NUMBER_083,
    RadarScanDataManager::DETECTION_NUMBER_084, RadarScanDataManager::DETECTION_NUMBER_085,
    RadarScanDataManager::DETECTION_NUMBER_086, RadarScanDataManager::DETECTION_NUMBER_087,
    RadarScanDataManager::DETECTION_NUMBER_088, RadarScanDataManager::DETECTION_NUMBER_089,
    RadarScanDataManager::DETECTION_NUMBER_090, RadarScanDataManager::DETECTION_NUMBER_091,
    RadarScanDataManager::DETECTION_NUMBER_092, RadarScanDataManager::DETECTION_NUMBER_093,
    RadarScanDataManager::DETECTION_NUMBER_094, RadarScanDataManager::DETECTION_NUMBER_095,
    RadarScanDataManager::DETECTION_NUMBER_096, RadarScanDataManager::DETECTION_NUMBER_097,
    RadarScanDataManager::DETECTION_NUMBER_098, RadarScanDataManager::DETECTION_NUMBER_099,
    RadarScanDataManager::DETECTION_NUMBER_100, RadarScanDataManager::DETECTION_NUMBER_101,
    RadarScanDataManager::DETECTION_NUMBER_102, RadarScanDataManager::DETECTION_NUMBER_103,
    RadarScanDataManager::DETECTION_NUMBER_104, RadarScanDataManager::DETECTION_NUMBER_105,
    RadarScanDataManager::DETECTION_NUMBER_106, RadarScanDataManager::DETECTION_NUMBER_107,
    RadarScanDataManager::DETECTION_NUMBER_108, RadarScanDataManager::DETECTION_NUMBER_109,
    RadarScanDataManager::DETECTION_NUMBER_110, RadarScanDataManager::DETECTION_NUMBER_111,
    RadarScanDataManager::DETECTION_NUMBER_112, RadarScanDataManager::DETECTION_NUMBER_113,
    RadarScanDataManager::DETECTION_NUMBER_114, RadarScanDataManager::DETECTION_NUMBER_115,
    RadarScanDataManager::DETECTION_NUMBER_116, RadarScanDataManager::DETECTION_NUMBER_117,
    RadarScanDataManager::DETECTION_NUMBER_118, RadarScanDataManager::DETECTION_NUMBER_119,
    RadarScanDataManager::DETECTION_NUMBER_120, RadarScanDataManager::DETECTION_NUMBER_121,
    RadarScanDataManager::DETECTION_NUMBER_122, RadarScanDataManager::DETECTION_NUMBER_123,
    RadarScanDataManager::DETECTION_NUMBER_124, RadarScanDataManager::DETECTION_NUMBER_125,
    RadarScanDataManager::DETECTION_NUMBER_126, RadarScanDataManager::DETECTION_NUMBER_127,
    RadarScanDataManager::DETECTION_NUMBER_128, RadarScanDataManager::DETECTION_NUMBER_129,
    RadarScanDataManager::DETECTION_NUMBER_130, RadarScanDataManager::DETECTION_NUMBER_131,
    RadarScanDataManager::DETECTION_NUMBER_132, RadarScanDataManager::DETECTION_NUMBER_133,
    RadarScanDataManager::DETECTION_NUMBER_134, RadarScanDataManager::DETECTION_NUMBER_135,
    RadarScanDataManager::DETECTION_NUMBER_136, RadarScanDataManager::DETECTION_NUMBER_137,
    RadarScanDataManager::DETECTION_NUMBER_138, RadarScanDataManager::DETECTION_NUMBER_139,
    RadarScanDataManager::DETECTION_NUMBER_140, RadarScanDataManager::DETECTION_NUMBER_141,
    RadarScanDataManager::DETECTION_NUMBER_142, RadarScanDataManager::DETECTION_NUMBER_143,
    RadarScanDataManager::DETECTION_NUMBER_144, RadarScanDataManager::DETECTION_NUMBER_145,
    RadarScanDataManager::DETECTION_NUMBER_146, RadarScanDataManager::DETECTION_NUMBER_147,
    RadarScanDataManager::DETECTION_NUMBER_148, RadarScanDataManager::DETECTION_NUMBER_149,
    RadarScanDataManager::DETECTION_NUMBER_150, RadarScanDataManager::DETECTION_NUMBER_151,
    RadarScanDataManager::DETECTION_NUMBER_152, RadarScanDataManager::DETECTION_NUMBER_153,
    RadarScanDataManager::DETECTION_NUMBER_154, RadarScanDataManager::DETECTION_NUMBER_155,
    RadarScanDataManager::DETECTION_NUMBER_156, RadarScanDataManager::DETECTION_NUMBER_157,
    RadarScanDataManager::DETECTION_NUMBER_158, RadarScanDataManager::DETECTION_NUMBER_159,
    RadarScanDataManager::DETECTION_NUMBER_160, RadarScanDataManager::DETECTION_NUMBER_161,
    RadarScanDataManager::DETECTION_NUMBER_162, RadarScanDataManager::DETECTION_NUMBER_163,
    RadarScanDataManager::DETECTION_NUMBER_164, RadarScanDataManager::DETECTION_NUMBER_165,
    RadarScanDataManager::DETECTION_NUMBER_166, RadarScanDataManager::DETECTION_NUMBER_167,
    RadarScanDataManager::DETECTION_NUMBER_168, RadarScanDataManager::DETECTION_NUMBER_169,
    RadarScanDataManager::DETECTION_NUMBER_170, RadarScanDataManager::DETECTION_NUMBER_171,
    RadarScanDataManager::DETECTION_NUMBER_172, RadarScanDataManager::DETECTION_NUMBER_173,
    RadarScanDataManager::DETECTION_NUMBER_174, RadarScanDataManager::DETECTION_NUMBER_175,
    RadarScanDataManager::DETECTION_NUMBER_176, RadarScanDataManager::DETECTION_NUMBER_177,
    RadarScanDataManager::DETECTION_NUMBER_178, RadarScanDataManager::DETECTION_NUMBER_179,
    RadarScanDataManager::DETECTION_NUMBER_180, RadarScanDataManager::DETECTION_NUMBER_181,
    RadarScanDataManager::DETECTION_NUMBER_182, RadarScanDataManager::DETECTION_NUMBER_183,
    RadarScanDataManager::DETECTION_NUMBER_184, RadarScanDataManager::DETECTION_NUMBER_185,
    RadarScanDataManager::DETECTION_NUMBER_186, RadarScanDataManager::DETECTION_NUMBER_187,
    RadarScanDataManager::DETECTION_NUMBER_188, RadarScanDataManager::DETECTION_NUMBER_189,
    RadarScanDataManager::DETECTION_NUMBER_190, RadarScanDataManager::DETECTION_NUMBER_191,
    RadarScanDataManager::DETECTION_NUMBER_192, RadarScanDataManager::DETECTION_NUMBER_193,
    RadarScanDataManager::DETECTION_NUMBER_194, RadarScanDataManager::DETECTION_NUMBER_195,
    RadarScanDataManager::DETECTION_NUMBER_196, RadarScanDataManager::DETECTION_NUMBER_197,
    RadarScanDataManager::DETECTION_NUMBER_198, RadarScanDataManager::DETECTION_NUMBER_199,
}};

constexpr bool DetectionNumbersFollowTheirIndex() {
  for (std::size_t number = 0U; number < kDetectionNumbers.size(); ++number) {
    if (static_cast<std::size_t>(kDetectionNumbers[number]) != number) {
      return false;
    }
  }
  return true;
}

static_assert(DetectionNumbersFollowTheirIndex(), "detection number n must be stored at index n of the scan");

// The sensor's clock is unsigned; the data model keeps the same 64 bits as a signed number, so very large sensor
// times turn negative rather than being clipped.
std::int64_t AsSignedTimeStamp(std::uint64_t time_stamp) {
  std::int64_t as_signed = 0;
  static_assert(sizeof(as_signed) == sizeof(time_stamp), "time stamps are copied bit for bit");
  std::memcpy(&as_signed, &time_stamp, sizeof(as_signed));
  return as_signed;
}

// Makes `object` anew in its own storage. Slots are started and emptied every scan; assigning a temporary would
// first build the whole slot (200 detections) elsewhere and then copy it over, twice the memory writes of building
// it in place. The slot types are plain values, so the old object needs no destructor call.
template <typename T, typename... Args>
void Recreate(T& object, Args&&... args) {
  static_assert(std::is_trivially_destructible<T>::value, "a slot is ended by overwriting it");
  ::new (static_cast<void*>(&object)) T(std::forward<Args>(args)...);
}

}  // namespace

RadarScanDataManager::RadarScanDataManager()
    : m_log_context("FLDM", "Front left side radar data manager"),
      m_radarDetectionData(),
      m_radarStatusData(),
      m_mounting_info() {}

radar_service::CornerRadarDetections RadarScanDataManager::GetRadarScanDetections() const {
  // Copied straight from the published scan: a default scan filled by assignment would write its 200 detections
  // twice.
  radar_service::CornerRadarDetections detections(m_latestCompleteDetections.detections());
  if (m_log_context.CheckIsLogLevelEnabled(zol::log::LoggingLevel::kDebug)) {
    m_log_context.LogDebug("Fetched scan detections on ID: {}", detections.info().scan_id());
  }
  return detections;
}

radar_service::RadarStatus RadarScanDataManager::GetRadarScanStatus() const {
  radar_service::RadarStatus status;
  m_latestCompleteStatus.GetStatus(status);
  if (m_log_context.CheckIsLogLevelEnabled(zol::log::LoggingLevel::kDebug)) {
    m_log_context.LogDebug("Fetched scan status on ID: {}", status.scan_id());
  }
  return status;
}

bool RadarScanDataManager::UpdateLatestCompleteDetections(std::size_t scan_id) {
  if (scan_id >= kScanIdVariations) {
    return false;
  }
  RadarDetectionData& slot = m_radarDetectionData[scan_id];
  if (!slot.IsDetectionsComplete()) {
    return false;
  }
  bool published = false;
  if (slot.GetTimeStamp(radar_service::Mode::kMidRange) >
      m_latestCompleteDetections.GetTimeStamp(radar_service::Mode::kMidRange)) {
    m_latestCompleteDetections = slot;
    published = true;
  }
  // Consumed either way: a complete scan that is not newer than the published one is stale and must not linger.
  Recreate(slot);
  return published;
}

bool RadarScanDataManager::UpdateLatestCompleteStatus(std::uint8_t scan_id) {
  RadarStatusData& slot = m_radarStatusData[scan_id];
  if (!slot.IsStatusComplete()) {
    return false;
  }
  bool published = false;
  if (slot.GetTimeStamp() > m_latestCompleteStatus.GetTimeStamp()) {
    m_latestCompleteStatus = slot;
    published = true;
  }
  Recreate(slot);
  return published;
}

void RadarScanDataManager::InitializeDetectionsData(std::size_t scan_id) {
  if (scan_id >= kScanIdVariations) {
    return;
  }
  RadarDetectionData& slot = m_radarDetectionData[scan_id];
  if (slot.AreDetectionsValid() && !HasExistingDataExpired(slot.GetInstantiationTime())) {
    return;
  }
  Recreate(slot, zol::MonoClock::now(), static_cast<std::uint8_t>(scan_id));
  m_log_context.LogDebug("Initialized detections for scan: ", scan_id);
}

void RadarScanDataManager::InitializeStatusData(std::uint8_t scan_id) {
  RadarStatusData& slot = m_radarStatusData[scan_id];
  if (slot.IsStatusValid() && !HasExistingDataExpired(slot.GetInstantiationTime())) {
    return;
  }
  Recreate(slot, zol::MonoClock::now(), scan_id);
  m_log_context.LogDebug("Initialized status for scan: ", scan_id);
}

void RadarScanDataManager::SetLostCom() {
  // Only the fields of status message 1 are replaced; what message 2 contributed is still the sensor's last word.
  radar_service::FaultReason lost_communication;
  lost_communication.set_is_communication_faulty(true);
  radar_service::RadarStatus status;
  status.set_blockage(radar_service::SensorBlockage::kBlockageUnknown);
  status.set_interference(radar_service::Interference::kInterferenceUnknown);
  status.set_fault_reason(lost_communication);
  m_latestCompleteStatus.SetStatus1(status);
}

// -----------------------------------------------------------------------------------------------------------------
// Translation of the decoded signal-group records.
// -----------------------------------------------------------------------------------------------------------------

void RadarScanDataManager::TranslateAndStoreStatus(const initialfrontsideradarlefthal::types::RSDS4SigSts1& status) {
  using initialfrontsideradarlefthal::types::RSDS4SigSts1BlockageEnum;
  using initialfrontsideradarlefthal::types::RSDS4SigSts1InterferenceEnum;
  using initialfrontsideradarlefthal::types::RSDS4SigSts1RdrStsDetnEnum;

  radar_service::RadarStatus translated;
  translated.set_scan_id(status.rsds4sig_sts1scan_id);

  switch (status.rsds4sig_sts1blockage) {
    case RSDS4SigSts1BlockageEnum::RSDS4Blockage_StatusFullBlockage:
      translated.set_blockage(radar_service::SensorBlockage::kFullBlockage);
      break;
    case RSDS4SigSts1BlockageEnum::RSDS4Blockage_StatusNoBlockage:
      translated.set_blockage(radar_service::SensorBlockage::kNoBlockage);
      break;
    default:
      // The sensor's own "unknown" and any raw value it has no name for.
      translated.set_blockage(radar_service::SensorBlockage::kBlockageUnknown);
      break;
  }

  switch (status.rsds4sig_sts1interference) {
    case RSDS4SigSts1InterferenceEnum::RSDS4Interference_RSDS4FullInterferenceStatus:
      translated.set_interference(radar_service::Interference::kFullInterference);
      break;
    case RSDS4SigSts1InterferenceEnum::RSDS4Interference_RSDS4NoInterferenceStatus:
      translated.set_interference(radar_service::Interference::kNoInterference);
      break;
    default:
      // The sensor's own "unknown" and any raw value it has no name for.
      translated.set_interference(radar_service::Interference::kInterferenceUnknown);
      break;
  }

  // The fault reasons are a bit mask. Only communication, software, hardware and safety faults have a place in the
  // data model; the environment fault and the reserved bits are dropped, and nothing above the low byte is defined.
  const auto fault_mask =
      static_cast<std::uint8_t>(static_cast<std::uint16_t>(status.rsds4sig_sts1dtn_list_fault_reason) & 0x00FFU);
  radar_service::FaultReason faults;
  faults.set_is_communication_faulty((fault_mask & 0x01U) != 0U);
  faults.set_is_software_faulty((fault_mask & 0x02U) != 0U);
  faults.set_is_hardware_faulty((fault_mask & 0x04U) != 0U);
  faults.set_is_system_safety_faulty((fault_mask & 0x08U) != 0U);
  translated.set_fault_reason(faults);

  // A sensor that reports a fault is not counted as running.
  translated.set_is_sensor_status_on(status.rsds4sig_sts1rdr_sts_detn == RSDS4SigSts1RdrStsDetnEnum::RdrStsDetn_Active);
  translated.set_is_transmission_activated(static_cast<std::uint8_t>(status.rsds4sig_sts1rdr_emsn_sts) != 0U);
  translated.set_is_system_failing(static_cast<std::uint8_t>(status.rsds4sig_sts1dtn_list_sys_sfty_failure_flag) != 0U);
  translated.set_is_time_sync_ok(static_cast<std::uint8_t>(status.rsds4sig_sts1time_stamp_status) != 0U);

  const std::uint8_t scan_id = status.rsds4sig_sts1scan_id;
  RadarStatusData& status_slot = m_radarStatusData[scan_id];
  status_slot.SetStatus1(translated);
  // Statuses are ordered by the mid-range time stamp, like the detection scans.
  status_slot.SetTimeStamp(AsSignedTimeStamp(status.rsds4sig_sts1time_stamp2));

  // The detection groups carry neither time stamps nor mounting; this message supplies both for the whole scan.
  RadarDetectionData& detection_slot = m_radarDetectionData[scan_id];
  detection_slot.SetTimeStamp(AsSignedTimeStamp(status.rsds4sig_sts1time_stamp0), radar_service::Mode::kShortRange);
  detection_slot.SetTimeStamp(AsSignedTimeStamp(status.rsds4sig_sts1time_stamp1), radar_service::Mode::kNearRange);
  detection_slot.SetTimeStamp(AsSignedTimeStamp(status.rsds4sig_sts1time_stamp2), radar_service::Mode::kMidRange);
  detection_slot.SetTimeStamp(AsSignedTimeStamp(status.rsds4sig_sts1time_stamp3), radar_service::Mode::kLongRange);

  m_mounting_info.x_axis_offset = status.rsds4sig_sts1xaxis_offs;
  m_mounting_info.y_axis_offset = status.rsds4sig_sts1yaxis_offs;
  m_mounting_info.z_orient_ang = status.rsds4sig_sts1zorient_ang;
  detection_slot.SetMountingInfo(m_mounting_info);
}

void RadarScanDataManager::TranslateAndStoreStatus(const initialfrontsideradarlefthal::types::RSDS4SigSts2& status) {
  using initialfrontsideradarlefthal::types::RSDS4SigSts2CalRltStsEnum;
  using initialfrontsideradarlefthal::types::RSDS4SigSts2CalStsEnum;

  radar_service::RadarStatus translated;
  translated.set_scan_id(status.rsds4sig_sts2scan_id);
  // The sensor reports misalignment in degrees; consumers get radians.
  translated.set_azimuth_alignment_error(ConvertToRadians(static_cast<float>(status.rsds4sig_sts2azi_mis_alnmnt_ang)));
  translated.set_elevation_alignment_error(
      ConvertToRadians(static_cast<float>(status.rsds4sig_sts2ele_mis_alnmnt_ang)));

  switch (status.rsds4sig_sts2cal_sts) {
    case RSDS4SigSts2CalStsEnum::CalibrationStatus_NotOngoing:
      // A calibration that is no longer running has finished.
      translated.set_calibration_status(radar_service::CalibrationStatus::kComplete);
      break;
    case RSDS4SigSts2CalStsEnum::CalibrationStatus_Ongoing:
      // Still running, so not complete yet.
      translated.set_calibration_status(radar_service::CalibrationStatus::kNotComplete);
      break;
    default:
      // Not started, or a raw value the sensor has no name for.
      translated.set_calibration_status(radar_service::CalibrationStatus::kNotStarted);
      break;
  }

  radar_service::FaultReason faults;
  faults.set_is_calibration_faulty(status.rsds4sig_sts2cal_rlt_sts == RSDS4SigSts2CalRltStsEnum::RSDS4CalRltSts_NotOK);
  translated.set_fault_reason(faults);

  m_radarStatusData[status.rsds4sig_sts2scan_id].SetStatus2(translated);
}

template <typename ModeEnum>
radar_service::Mode RadarScanDataManager::ModeSwitch(ModeEnum mode) {
  switch (mode) {
    case ModeEnum::RSRxDetectionMode_Near:
      return radar_service::Mode::kNearRange;
    case ModeEnum::RSRxDetectionMode_Mid:
      return radar_service::Mode::kMidRange;
    case ModeEnum::RSRxDetectionMode_Long:
      return radar_service::Mode::kLongRange;
    case ModeEnum::RSRxDetectionMode_Short:
    default:
      // A raw mode the sensor has no name for: short range is the data model's default mode.
      return radar_service::Mode::kShortRange;
  }
}

template <typename QualityEnum>
radar_service::QualityAggregated RadarScanDataManager::QualityASwitch(QualityEnum quality) {
  switch (quality) {
    case QualityEnum::Quality_Low:
      return radar_service::QualityAggregated::kLow;
    case QualityEnum::Quality_Medium:
      return radar_service::QualityAggregated::kMid;
    case QualityEnum::Quality_High:
      return radar_service::QualityAggregated::kHigh;
    case QualityEnum::Quality_DetectionUnpopulated:
      // The sensor did not fill this detection; it is stored anyway, marked as of unknown quality.
    default:
      // A raw quality the sensor has no name for.
      return radar_service::QualityAggregated::kUnknown;
  }
}

template <typename Record>
void RadarScanDataManager::TranslateAndStoreDetectionGroup(const Record& detections) {
  using Traits = initialfrontsideradarlefthal::DetectionGroupTraits<Record>;
  // All five detections go to the slot of the record's scan id, looked up once.
  RadarDetectionData& slot = m_radarDetectionData[Traits::ScanId(detections)];
  Traits::ForEachDetection(
      detections, [&slot](std::uint16_t i, double range, double range_rate, double azimuth, double elevation,
                          double rcs, double snr, auto quality, auto dyn_pr_pty, auto mode) {
        using DynPrPtyEnum = decltype(dyn_pr_pty);
        // Written field by field where the scan keeps it: no detection is built aside and copied in.
        radar_service::RadarDetection* const detection =
            slot.DetectionToStore(kDetectionNumbers[static_cast<std::size_t>(Traits::kFirstDetection + i)]);
        if (detection == nullptr) {
          return;
        }
        // Physical values arrive already scaled; the data model only narrows them to float.
        detection->set_snr(static_cast<radar_service::Snr>(snr));
        detection->set_rcs(static_cast<radar_service::Rcs>(rcs));
        detection->set_azimuth(static_cast<radar_service::Azimuth>(azimuth));
        detection->set_elevation(static_cast<radar_service::Elevation>(elevation));
        detection->set_range(static_cast<radar_service::Range>(range));
        detection->set_range_rate(static_cast<radar_service::RangeRate>(range_rate));
        detection->set_is_dynamic(dyn_pr_pty == DynPrPtyEnum::DynPrty_Moving);
        detection->set_mode(ModeSwitch(mode));
        detection->set_quality_aggregated(QualityASwitch(quality));
      });
}

#define FSRL_DEFINE_TRANSLATE_AND_STORE_DETECTION(suffix, record_type, first_detection, accessor)              \
  void RadarScanDataManager::TranslateAndStoreDetection##suffix(                                               \
      const initialfrontsideradarlefthal::types::record_type& detections) {                                    \
    static_assert(initialfrontsideradarlefthal::DetectionGroupTraits<                                          \
                      initialfrontsideradarlefthal::types::record_type>::kFirstDetection == (first_detection), \
                  "the group list and the group traits number the detections alike");                          \
    TranslateAndStoreDetectionGroup(detections);                                                               \
  }
FSRL_FOR_EACH_DETECTION_GROUP(FSRL_DEFINE_TRANSLATE_AND_STORE_DETECTION)
#undef FSRL_DEFINE_TRANSLATE_AND_STORE_DETECTION

// Part of the slot policy of this class, hence a member, although today it only needs the clock.
bool RadarScanDataManager::HasExistingDataExpired(  // NOLINT(readability-convert-member-functions-to-static)
    zol::MonoClock::time_point instantiation_point) const {
  return (zol::MonoClock::now() - instantiation_point) > kSlotLifetime;
}
