// The store of radar scans of the HAL core: one detection and one status slot per scan id, and the latest complete
// scan that the HAL's getters answer from.
#ifndef FSRL_INITIAL_RADAR_SCAN_DATA_MANAGER_H
#define FSRL_INITIAL_RADAR_SCAN_DATA_MANAGER_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "frontsideradarlefthal_types.h"
#include "initialfrontsideradarlefthal_detection_groups.h"
#include "initialfrontsideradarlefthal_signal_groups.h"
#include "log/logging_wrapper.h"
#include "radarDetectionData.h"
#include "radarStatusData.h"
#include "zol/mono_clock.h"
#include "zol/nodiscard.h"

/// Collects radar scans per scan id and publishes the latest complete one.
///
/// A scan's detections arrive over 40 signal groups and its status over two, not necessarily in one cycle. Each of
/// the 256 possible scan ids has its own detection and status slot, indexed directly by the id. A slot is started by
/// the `Initialize...` operations, filled by the translation operations and offered for publication by the
/// `UpdateLatestComplete...` operations, which take it over when it is complete and newer than the published scan and
/// consume it in any case. A slot that was started 1,001 ms or more ago is restarted rather than continued, so an id
/// that recurs later never mixes with the old scan of the same id.
///
/// All storage is fixed at construction. The object is large (two arrays of 256 scans): it lives inside the HAL core,
/// is never copied, and is used from one thread only.
class RadarScanDataManager {
 public:
  /// Detection indexes used by the detection translation, one per detection number of a scan.
  ///
  /// The constants are deliberately never defined outside the class: C++17 code (tools, tests) gets inline
  /// definitions of its own, which a second definition compiled into the library would clash with at link time.
  /// Library code therefore only ever uses their values (passes them by value, compares them), never their address.
  static constexpr std::uint8_t DETECTION_NUMBER_000 = 0U;
  static constexpr std::uint8_t DETECTION_NUMBER_001 = 1U;
  static constexpr std::uint8_t DETECTION_NUMBER_002 = 2U;
  static constexpr std::uint8_t DETECTION_NUMBER_003 = 3U;
  static constexpr std::uint8_t DETECTION_NUMBER_004 = 4U;
  static constexpr std::uint8_t DETECTION_NUMBER_005 = 5U;
  static constexpr std::uint8_t DETECTION_NUMBER_006 = 6U;
  static constexpr std::uint8_t DETECTION_NUMBER_007 = 7U;
  static constexpr std::uint8_t DETECTION_NUMBER_008 = 8U;
  static constexpr std::uint8_t DETECTION_NUMBER_009 = 9U;
  static constexpr std::uint8_t DETECTION_NUMBER_010 = 10U;
  static constexpr std::uint8_t DETECTION_NUMBER_011 = 11U;
  static constexpr std::uint8_t DETECTION_NUMBER_012 = 12U;
  static constexpr std::uint8_t DETECTION_NUMBER_013 = 13U;
  static constexpr std::uint8_t DETECTION_NUMBER_014 = 14U;
  static constexpr std::uint8_t DETECTION_NUMBER_015 = 15U;
  static constexpr std::uint8_t DETECTION_NUMBER_016 = 16U;
  static constexpr std::uint8_t DETECTION_NUMBER_017 = 17U;
  static constexpr std::uint8_t DETECTION_NUMBER_018 = 18U;
  static constexpr std::uint8_t DETECTION_NUMBER_019 = 19U;
  static constexpr std::uint8_t DETECTION_NUMBER_020 = 20U;
  static constexpr std::uint8_t DETECTION_NUMBER_021 = 21U;
  static constexpr std::uint8_t DETECTION_NUMBER_022 = 22U;
  static constexpr std::uint8_t DETECTION_NUMBER_023 = 23U;
  static constexpr std::uint8_t DETECTION_NUMBER_024 = 24U;
  static constexpr std::uint8_t DETECTION_NUMBER_025 = 25U;
  static constexpr std::uint8_t DETECTION_NUMBER_026 = 26U;
  static constexpr std::uint8_t DETECTION_NUMBER_027 = 27U;
  static constexpr std::uint8_t DETECTION_NUMBER_028 = 28U;
  static constexpr std::uint8_t DETECTION_NUMBER_029 = 29U;
  static constexpr std::uint8_t DETECTION_NUMBER_030 = 30U;
  static constexpr std::uint8_t DETECTION_NUMBER_031 = 31U;
  static constexpr std::uint8_t DETECTION_NUMBER_032 = 32U;
  static constexpr std::uint8_t DETECTION_NUMBER_033 = 33U;
  static constexpr std::uint8_t DETECTION_NUMBER_034 = 34U;
  static constexpr std::uint8_t DETECTION_NUMBER_035 = 35U;
  static constexpr std::uint8_t DETECTION_NUMBER_036 = 36U;
  static constexpr std::uint8_t DETECTION_NUMBER_037 = 37U;
  static constexpr std::uint8_t DETECTION_NUMBER_038 = 38U;
  static constexpr std::uint8_t DETECTION_NUMBER_039 = 39U;
  static constexpr std::uint8_t DETECTION_NUMBER_040 = 40U;
  static constexpr std::uint8_t DETECTION_NUMBER_041 = 41U;
  static constexpr std::uint8_t DETECTION_NUMBER_042 = 42U;
  static constexpr std::uint8_t DETECTION_NUMBER_043 = 43U;
  static constexpr std::uint8_t DETECTION_NUMBER_044 = 44U;
  static constexpr std::uint8_t DETECTION_NUMBER_045 = 45U;
  static constexpr std::uint8_t DETECTION_NUMBER_046 = 46U;
  static constexpr std::uint8_t DETECTION_NUMBER_047 = 47U;
  static constexpr std::uint8_t DETECTION_NUMBER_048 = 48U;
  static constexpr std::uint8_t DETECTION_NUMBER_049 = 49U;
  static constexpr std::uint8_t DETECTION_NUMBER_050 = 50U;
  static constexpr std::uint8_t DETECTION_NUMBER_051 = 51U;
  static constexpr std::uint8_t DETECTION_NUMBER_052 = 52U;
  static constexpr std::uint8_t DETECTION_NUMBER_053 = 53U;
  static constexpr std::uint8_t DETECTION_NUMBER_054 = 54U;
  static constexpr std::uint8_t DETECTION_NUMBER_055 = 55U;
  static constexpr std::uint8_t DETECTION_NUMBER_056 = 56U;
  static constexpr std::uint8_t DETECTION_NUMBER_057 = 57U;
  static constexpr std::uint8_t DETECTION_NUMBER_058 = 58U;
  static constexpr std::uint8_t DETECTION_NUMBER_059 = 59U;
  static constexpr std::uint8_t DETECTION_NUMBER_060 = 60U;
  static constexpr std::uint8_t DETECTION_NUMBER_061 = 61U;
  static constexpr std::uint8_t DETECTION_NUMBER_062 = 62U;
  static constexpr std::uint8_t DETECTION_NUMBER_063 = 63U;
  static constexpr std::uint8_t DETECTION_NUMBER_064 = 64U;
  static constexpr std::uint8_t DETECTION_NUMBER_065 = 65U;
  static constexpr std::uint8_t DETECTION_NUMBER_066 = 66U;
  static constexpr std::uint8_t DETECTION_NUMBER_067 = 67U;
  static constexpr std::uint8_t DETECTION_NUMBER_068 = 68U;
  static constexpr std::uint8_t DETECTION_NUMBER_069 = 69U;
  static constexpr std::uint8_t DETECTION_NUMBER_070 = 70U;
  static constexpr std::uint8_t DETECTION_NUMBER_071 = 71U;
  static constexpr std::uint8_t DETECTION_NUMBER_072 = 72U;
  static constexpr std::uint8_t DETECTION_NUMBER_073 = 73U;
  static constexpr std::uint8_t DETECTION_NUMBER_074 = 74U;
  static constexpr std::uint8_t DETECTION_NUMBER_075 = 75U;
  static constexpr std::uint8_t DETECTION_NUMBER_076 = 76U;
  static constexpr std::uint8_t DETECTION_NUMBER_077 = 77U;
  static constexpr std::uint8_t DETECTION_NUMBER_078 = 78U;
  static constexpr std::uint8_t DETECTION_NUMBER_079 = 79U;
  static constexpr std::uint8_t DETECTION_NUMBER_080 = 80U;
  static constexpr std::uint8_t DETECTION_NUMBER_081 = 81U;
  static constexpr std::uint8_t DETECTION_NUMBER_082 = 82U;
  static constexpr std::uint8_t DETECTION_NUMBER_083 = 83U;
  static constexpr std::uint8_t DETECTION_NUMBER_084 = 84U;
  static constexpr std::uint8_t DETECTION_NUMBER_085 = 85U;
  static constexpr std::uint8_t DETECTION_NUMBER_086 = 86U;
  static constexpr std::uint8_t DETECTION_NUMBER_087 = 87U;
  static constexpr std::uint8_t DETECTION_NUMBER_088 = 88U;
  static constexpr std::uint8_t DETECTION_NUMBER_089 = 89U;
  static constexpr std::uint8_t DETECTION_NUMBER_090 = 90U;
  static constexpr std::uint8_t DETECTION_NUMBER_091 = 91U;
  static constexpr std::uint8_t DETECTION_NUMBER_092 = 92U;
  static constexpr std::uint8_t DETECTION_NUMBER_093 = 93U;
  static constexpr std::uint8_t DETECTION_NUMBER_094 = 94U;
  static constexpr std::uint8_t DETECTION_NUMBER_095 = 95U;
  static constexpr std::uint8_t DETECTION_NUMBER_096 = 96U;
  static constexpr std::uint8_t DETECTION_NUMBER_097 = 97U;
  static constexpr std::uint8_t DETECTION_NUMBER_098 = 98U;
  static constexpr std::uint8_t DETECTION_NUMBER_099 = 99U;
  static constexpr std::uint8_t DETECTION_NUMBER_100 = 100U;
  static constexpr std::uint8_t DETECTION_NUMBER_101 = 101U;
  static constexpr std::uint8_t DETECTION_NUMBER_102 = 102U;
  static constexpr std::uint8_t DETECTION_NUMBER_103 = 103U;
  static constexpr std::uint8_t DETECTION_NUMBER_104 = 104U;
  static constexpr std::uint8_t DETECTION_NUMBER_105 = 105U;
  static constexpr std::uint8_t DETECTION_NUMBER_106 = 106U;
  static constexpr std::uint8_t DETECTION_NUMBER_107 = 107U;
  static constexpr std::uint8_t DETECTION_NUMBER_108 = 108U;
  static constexpr std::uint8_t DETECTION_NUMBER_109 = 109U;
  static constexpr std::uint8_t DETECTION_NUMBER_110 = 110U;
  static constexpr std::uint8_t DETECTION_NUMBER_111 = 111U;
  static constexpr std::uint8_t DETECTION_NUMBER_112 = 112U;
  static constexpr std::uint8_t DETECTION_NUMBER_113 = 113U;
  static constexpr std::uint8_t DETECTION_NUMBER_114 = 114U;
  static constexpr std::uint8_t DETECTION_NUMBER_115 = 115U;
  static constexpr std::uint8_t DETECTION_NUMBER_116 = 116U;
  static constexpr std::uint8_t DETECTION_NUMBER_117 = 117U;
  static constexpr std::uint8_t DETECTION_NUMBER_118 = 118U;
  static constexpr std::uint8_t DETECTION_NUMBER_119 = 119U;
  static constexpr std::uint8_t DETECTION_NUMBER_120 = 120U;
  static constexpr std::uint8_t DETECTION_NUMBER_121 = 121U;
  static constexpr std::uint8_t DETECTION_NUMBER_122 = 122U;
  static constexpr std::uint8_t DETECTION_NUMBER_123 = 123U;
  static constexpr std::uint8_t DETECTION_NUMBER_124 = 124U;
  static constexpr std::uint8_t DETECTION_NUMBER_125 = 125U;
  static constexpr std::uint8_t DETECTION_NUMBER_126 = 126U;
  static constexpr std::uint8_t DETECTION_NUMBER_127 = 127U;
  static constexpr std::uint8_t DETECTION_NUMBER_128 = 128U;
  static constexpr std::uint8_t DETECTION_NUMBER_129 = 129U;
  static constexpr std::uint8_t DETECTION_NUMBER_130 = 130U;
  static constexpr std::uint8_t DETECTION_NUMBER_131 = 131U;
  static constexpr std::uint8_t DETECTION_NUMBER_132 = 132U;
  static constexpr std::uint8_t DETECTION_NUMBER_133 = 133U;
  static constexpr std::uint8_t DETECTION_NUMBER_134 = 134U;
  static constexpr std::uint8_t DETECTION_NUMBER_135 = 135U;
  static constexpr std::uint8_t DETECTION_NUMBER_136 = 136U;
  static constexpr std::uint8_t DETECTION_NUMBER_137 = 137U;
  static constexpr std::uint8_t DETECTION_NUMBER_138 = 138U;
  static constexpr std::uint8_t DETECTION_NUMBER_139 = 139U;
  static constexpr std::uint8_t DETECTION_NUMBER_140 = 140U;
  static constexpr std::uint8_t DETECTION_NUMBER_141 = 141U;
  static constexpr std::uint8_t DETECTION_NUMBER_142 = 142U;
  static constexpr std::uint8_t DETECTION_NUMBER_143 = 143U;
  static constexpr std::uint8_t DETECTION_NUMBER_144 = 144U;
  static constexpr std::uint8_t DETECTION_NUMBER_145 = 145U;
  static constexpr std::uint8_t DETECTION_NUMBER_146 = 146U;
  static constexpr std::uint8_t DETECTION_NUMBER_147 = 147U;
  static constexpr std::uint8_t DETECTION_NUMBER_148 = 148U;
  static constexpr std::uint8_t DETECTION_NUMBER_149 = 149U;
  static constexpr std::uint8_t DETECTION_NUMBER_150 = 150U;
  static constexpr std::uint8_t DETECTION_NUMBER_151 = 151U;
  static constexpr std::uint8_t DETECTION_NUMBER_152 = 152U;
  static constexpr std::uint8_t DETECTION_NUMBER_153 = 153U;
  static constexpr std::uint8_t DETECTION_NUMBER_154 = 154U;
  static constexpr std::uint8_t DETECTION_NUMBER_155 = 155U;
  static constexpr std::uint8_t DETECTION_NUMBER_156 = 156U;
  static constexpr std::uint8_t DETECTION_NUMBER_157 = 157U;
  static constexpr std::uint8_t DETECTION_NUMBER_158 = 158U;
  static constexpr std::uint8_t DETECTION_NUMBER_159 = 159U;
  static constexpr std::uint8_t DETECTION_NUMBER_160 = 160U;
  static constexpr std::uint8_t DETECTION_NUMBER_161 = 161U;
  static constexpr std::uint8_t DETECTION_NUMBER_162 = 162U;
  static constexpr std::uint8_t DETECTION_NUMBER_163 = 163U;
  static constexpr std::uint8_t DETECTION_NUMBER_164 = 164U;
  static constexpr std::uint8_t DETECTION_NUMBER_165 = 165U;
  static constexpr std::uint8_t DETECTION_NUMBER_166 = 166U;
  static constexpr std::uint8_t DETECTION_NUMBER_167 = 167U;
  static constexpr std::uint8_t DETECTION_NUMBER_168 = 168U;
  static constexpr std::uint8_t DETECTION_NUMBER_169 = 169U;
  static constexpr std::uint8_t DETECTION_NUMBER_170 = 170U;
  static constexpr std::uint8_t DETECTION_NUMBER_171 = 171U;
  static constexpr std::uint8_t DETECTION_NUMBER_172 = 172U;
  static constexpr std::uint8_t DETECTION_NUMBER_173 = 173U;
  static constexpr std::uint8_t DETECTION_NUMBER_174 = 174U;
  static constexpr std::uint8_t DETECTION_NUMBER_175 = 175U;
  static constexpr std::uint8_t DETECTION_NUMBER_176 = 176U;
  static constexpr std::uint8_t DETECTION_NUMBER_177 = 177U;
  static constexpr std::uint8_t DETECTION_NUMBER_178 = 178U;
  static constexpr std::uint8_t DETECTION_NUMBER_179 = 179U;
  static constexpr std::uint8_t DETECTION_NUMBER_180 = 180U;
  static constexpr std::uint8_t DETECTION_NUMBER_181 = 181U;
  static constexpr std::uint8_t DETECTION_NUMBER_182 = 182U;
  static constexpr std::uint8_t DETECTION_NUMBER_183 = 183U;
  static constexpr std::uint8_t DETECTION_NUMBER_184 = 184U;
  static constexpr std::uint8_t DETECTION_NUMBER_185 = 185U;
  static constexpr std::uint8_t DETECTION_NUMBER_186 = 186U;
  static constexpr std::uint8_t DETECTION_NUMBER_187 = 187U;
  static constexpr std::uint8_t DETECTION_NUMBER_188 = 188U;
  static constexpr std::uint8_t DETECTION_NUMBER_189 = 189U;
  static constexpr std::uint8_t DETECTION_NUMBER_190 = 190U;
  static constexpr std::uint8_t DETECTION_NUMBER_191 = 191U;
  static constexpr std::uint8_t DETECTION_NUMBER_192 = 192U;
  static constexpr std::uint8_t DETECTION_NUMBER_193 = 193U;
  static constexpr std::uint8_t DETECTION_NUMBER_194 = 194U;
  static constexpr std::uint8_t DETECTION_NUMBER_195 = 195U;
  static constexpr std::uint8_t DETECTION_NUMBER_196 = 196U;
  static constexpr std::uint8_t DETECTION_NUMBER_197 = 197U;
  static constexpr std::uint8_t DETECTION_NUMBER_198 = 198U;
  static constexpr std::uint8_t DETECTION_NUMBER_199 = 199U;

  /// Empty slots and an all-default latest scan and status; reads no clock and logs nothing.
  RadarScanDataManager();

  RadarScanDataManager(const RadarScanDataManager&) = delete;
  RadarScanDataManager& operator=(const RadarScanDataManager&) = delete;
  RadarScanDataManager(RadarScanDataManager&&) = delete;
  RadarScanDataManager& operator=(RadarScanDataManager&&) = delete;
  ~RadarScanDataManager() = default;

  /// The latest complete detection scan; before any was published, the default value (scan id 0, not valid).
  ZOL_NODISCARD radar_service::CornerRadarDetections GetRadarScanDetections() const;

  /// The latest complete status; before any was published, the default value.
  ZOL_NODISCARD radar_service::RadarStatus GetRadarScanStatus() const;

  /// Offers the detection slot of `scan_id` for publication.
  ///
  /// An incomplete slot is left as it is and false returned. A complete slot becomes the latest scan when its
  /// mid-range time stamp is greater than that of the latest scan (true), and is consumed either way: a complete scan
  /// that is not newer is dropped. Ids above 255 return false.
  bool UpdateLatestCompleteDetections(std::size_t scan_id);

  /// Offers the status slot of `scan_id` for publication, with the same rules as `UpdateLatestCompleteDetections`.
  bool UpdateLatestCompleteStatus(std::uint8_t scan_id);

  /// Starts the detection slot of `scan_id` unless it is valid and was started less than 1,001 ms ago. Ids above 255
  /// are ignored.
  void InitializeDetectionsData(std::size_t scan_id);

  /// Starts the status slot of `scan_id` unless it is valid and was started less than 1,001 ms ago.
  void InitializeStatusData(std::uint8_t scan_id);

  /// Marks the published status as cut off from the sensor: communication fault, no sensor activity, blockage and
  /// interference unknown. Scan id, alignment, calibration and time stamp stay.
  void SetLostCom();

  // ---------------------------------------------------------------------------------------------------------------
  // Translation of the decoded signal-group records into the data model. None of them checks whether the slot of the
  // record's scan id was started: data written into an empty slot is kept there, but such a slot can never become
  // complete, and starting it for a scan wipes it.
  // ---------------------------------------------------------------------------------------------------------------

  /// Takes status message 1 into the slots of its scan id.
  ///
  /// The status slot gets blockage, interference, the sensor flags and the communication, software, hardware and
  /// safety faults, and is ordered by the mid-range time stamp. The detection slot gets the four mode time stamps
  /// and the mounting of the sensor: without this message a detection scan can never become complete.
  void TranslateAndStoreStatus(const initialfrontsideradarlefthal::types::RSDS4SigSts1& status);

  /// Takes status message 2 into the status slot of its scan id: both misalignment angles (in radians), the
  /// calibration status and the calibration fault. Time stamps and detections are left alone.
  void TranslateAndStoreStatus(const initialfrontsideradarlefthal::types::RSDS4SigSts2& status);

  // TranslateAndStoreDetection000To004 .. TranslateAndStoreDetection195To199, one per detection group: each stores
  // the group's five detections, as detection numbers first .. first + 4 of the group, into the detection slot of the
  // record's scan id. A detection number that is already filled in that slot keeps its first value.
#define FSRL_DECLARE_TRANSLATE_AND_STORE_DETECTION(suffix, record_type, first_detection, accessor) \
  void TranslateAndStoreDetection##suffix(const initialfrontsideradarlefthal::types::record_type& detections);
  FSRL_FOR_EACH_DETECTION_GROUP(FSRL_DECLARE_TRANSLATE_AND_STORE_DETECTION)
#undef FSRL_DECLARE_TRANSLATE_AND_STORE_DETECTION

 private:
  // Module tests reach the slots through this to assemble scans without the generated signal-group records.
  friend class RadarScanDataManagerTestAccess;

  /// Every possible value of the 8-bit scan id has its own slot.
  static constexpr std::size_t kScanIdVariations = 256U;

  /// True when at least 1,001 ms have passed since `instantiation_point`.
  ZOL_NODISCARD bool HasExistingDataExpired(zol::MonoClock::time_point instantiation_point) const;

  /// The one body behind all 40 detection translations; `Record` is one of the detection group records.
  template <typename Record>
  void TranslateAndStoreDetectionGroup(const Record& detections);

  /// The radar mode of a detection, from the record's own mode enumeration of that detection.
  template <typename ModeEnum>
  static radar_service::Mode ModeSwitch(ModeEnum mode);

  /// The aggregated quality of a detection, from the record's own quality enumeration of that detection.
  template <typename QualityEnum>
  static radar_service::QualityAggregated QualityASwitch(QualityEnum quality);

  LoggingWrapper m_log_context;
  std::array<RadarDetectionData, kScanIdVariations> m_radarDetectionData;
  std::array<RadarStatusData, kScanIdVariations> m_radarStatusData;
  RadarDetectionData m_latestCompleteDetections;
  RadarStatusData m_latestCompleteStatus;
  MountingInformation m_mounting_info;
};

#endif  // FSRL_INITIAL_RADAR_SCAN_DATA_MANAGER_H
