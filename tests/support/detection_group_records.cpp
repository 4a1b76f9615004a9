#include "detection_group_records.h"

#include "initialfrontsideradarlefthal_signal_groups.h"

namespace fsrl_test {
namespace {

namespace types = initialfrontsideradarlefthal::types;

// X(first detection of the name, last detection of the name, first detection number).
#define FSRL_TEST_DETECTION_GROUPS(X) \
  X(000, 004, 0)                      \
  X(005, 009, 5)                      \
  X(010, 014, 10)                     \
  X(015, 019, 15)                     \
  X(020, 024, 20)                     \
  X(025, 029, 25)                     \
  X(030, 034, 30)                     \
  X(035, 039, 35)                     \
  X(040, 044, 40)                     \
  X(045, 049, 45)                     \
  X(050, 054, 50)                     \
  X(055, 059, 55)                     \
  X(060, 064, 60)                     \
  X(065, 069, 65)                     \
  X(070, 074, 70)                     \
  X(075, 079, 75)                     \
  X(080, 084, 80)                     \
  X(085, 089, 85)                     \
  X(090, 094, 90)                     \
  X(095, 099, 95)                     \
  X(100, 104, 100)                    \
  X(105, 109, 105)                    \
  X(110, 114, 110)                    \
  X(115, 119, 115)                    \
  X(120, 124, 120)                    \
  X(125, 129, 125)                    \
  X(130, 134, 130)                    \
  X(135, 139, 135)                    \
  X(140, 144, 140)                    \
  X(145, 149, 145)                    \
  X(150, 154, 150)                    \
  X(155, 159, 155)                    \
  X(160, 164, 160)                    \
  X(165, 169, 165)                    \
  X(170, 174, 170)                    \
  X(175, 179, 175)                    \
  X(180, 184, 180)                    \
  X(185, 189, 185)                    \
  X(190, 194, 190)                    \
  X(195, 199, 195)

// Writes detection n of a record by the fields' own names.
#define FSRL_TEST_SET_DETECTION(first_no, last_no, n, value)                                             \
  record.rsds4detn##first_no##to##last_no##range##n = (value).range;                                     \
  record.rsds4detn##first_no##to##last_no##rng_rt##n = (value).range_rate;                               \
  record.rsds4detn##first_no##to##last_no##azi_ang##n = (value).azimuth;                                 \
  record.rsds4detn##first_no##to##last_no##ele_ang##n = (value).elevation;                               \
  record.rsds4detn##first_no##to##last_no##rcs##n = (value).rcs;                                         \
  record.rsds4detn##first_no##to##last_no##snr##n = (value).snr;                                         \
  record.rsds4detn##first_no##to##last_no##quality##n =                                                  \
      static_cast<decltype(record.rsds4detn##first_no##to##last_no##quality##n)>((value).quality);       \
  record.rsds4detn##first_no##to##last_no##dyn_pr_pty##n =                                               \
      static_cast<decltype(record.rsds4detn##first_no##to##last_no##dyn_pr_pty##n)>((value).dyn_pr_pty); \
  record.rsds4detn##first_no##to##last_no##mode##n =                                                     \
      static_cast<decltype(record.rsds4detn##first_no##to##last_no##mode##n)>((value).mode);

#define FSRL_TEST_DETECTION_GROUP_ENTRY(first_no, last_no, first_detection)                             \
  DetectionGroup{"RSDS4Detn" #first_no "To" #last_no, first_detection,                                  \
                 [](RadarScanDataManager& manager, std::uint8_t scan_id, const GroupDetections& values, \
                    std::uint8_t counter, std::uint16_t crc) {                                          \
                   types::RSDS4Detn##first_no##To##last_no record{};                                    \
                   record.rsds4detn##first_no##to##last_no##scan_id = scan_id;                          \
                   record.rsds4detn##first_no##to##last_no##counter = counter;                          \
                   record.rsds4detn##first_no##to##last_no##crc = crc;                                  \
                   FSRL_TEST_SET_DETECTION(first_no, last_no, 0, values[0])                             \
                   FSRL_TEST_SET_DETECTION(first_no, last_no, 1, values[1])                             \
                   FSRL_TEST_SET_DETECTION(first_no, last_no, 2, values[2])                             \
                   FSRL_TEST_SET_DETECTION(first_no, last_no, 3, values[3])                             \
                   FSRL_TEST_SET_DETECTION(first_no, last_no, 4, values[4])                             \
                   manager.TranslateAndStoreDetection##first_no##To##last_no(record);                   \
                 }},

}  // namespace

const std::array<DetectionGroup, 40> kDetectionGroups{{FSRL_TEST_DETECTION_GROUPS(FSRL_TEST_DETECTION_GROUP_ENTRY)}};

}  // namespace fsrl_test
