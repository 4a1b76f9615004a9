// The HAL core of the "Initial" variant: the implementation object behind the left front side radar facade.
#ifndef FSRL_INITIAL_INITIALFRONTSIDERADARLEFTHAL_P_H
#define FSRL_INITIAL_INITIALFRONTSIDERADARLEFTHAL_P_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "device_activator/device_activator.h"
#include "frontsideradarlefthal.h"
#include "frontsideradarlefthal_types.h"
#include "initialfrontsideradarlefthal.h"
#include "initialfrontsideradarlefthal_detection_groups.h"
#include "initialfrontsideradarlefthal_signal_adapter.h"
#include "initialfrontsideradarlefthal_signal_groups.h"
#include "log/logging_wrapper.h"
#include "radarScanDataManager.h"
#include "zol/afw/core/contextual_object.h"
#include "zol/afw/core/error_code.h"
#include "zol/afw/core/notifier.h"
#include "zol/afw/core/status_or.h"
#include "zol/e2e/e2e_signal_group_property.h"
#include "zol/mono_clock.h"

namespace front_side_radar_left_hal {

/// Everything the HAL needs at run time: the notifiers of its subscribers, the signal adapter that reads the radar's
/// E2E-protected signal groups, the store of radar scans, the device activation client and one buffer per signal
/// group it reads.
///
/// Construction never fails by return value: a missing signal adapter or device activation client is logged and
/// leaves a core whose `ProcessFsrlInput` fails or whose device queries fail. All storage is fixed at construction;
/// the object is large (the scan store alone holds 512 scans) and is therefore always heap-allocated, by
/// `InitialFrontSideRadarLeftHal::Descriptor::Create`.
///
/// Not thread-safe: every operation, and every subscriber callback, runs on the owner's execution context. Callbacks
/// run synchronously inside `ProcessFsrlInput`; they may call the getters.
class InitialFrontSideRadarLeftHal::Impl final : public FrontSideRadarLeftHal::Impl {
 public:
  /// Builds the core below `parent` (may be null), which should already have an execution context.
  explicit Impl(const zol::afw::core::ContextualObject* parent);
  /// Tears the core down in reverse order of construction. A service-mode request stays in force.
  ~Impl() override;

  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;
  Impl(Impl&&) = delete;
  Impl& operator=(Impl&&) = delete;

  /// Forwards the request for device "FSRL" to the device activation service and returns the service's code;
  /// `kFailure` for a value that is neither `kActive` nor `kInactive`.
  zol::afw::core::ErrorCode RequestServiceMode(ServiceMode service_mode_state) override;
  /// One processing cycle: lost-communication check, then status and detection groups into the scan store, and the
  /// notifications of what became complete. `kFailure` when a group could not be read or there is no adapter.
  zol::afw::core::ErrorCode ProcessFsrlInput() override;
  /// The latest complete detection scan (defaults before the first one); always `kSuccess`.
  zol::afw::core::StatusOr<radar_service::CornerRadarDetections> GetFsrlDetections() const override;
  /// Subscribes to completed detection scans.
  zol::afw::core::Subscription SubscribeToFsrlDetections(Callback callback) override;
  /// The latest complete radar status (defaults before the first one); always `kSuccess`.
  zol::afw::core::StatusOr<radar_service::RadarStatus> GetFsrlStatus() const override;
  /// Subscribes to new radar status, which includes every cycle during lost communication.
  zol::afw::core::Subscription SubscribeToFsrlStatus(Callback callback) override;
  /// Whether device "FSRL" is requested active at the device activation service; `kInactive` when the service does
  /// not list it, `kFailure` without a value when the service cannot be read.
  zol::afw::core::StatusOr<ServiceMode> GetServiceMode() const override;
  /// Subscribes to service-mode changes. The core does not observe them, so these subscribers are never called.
  zol::afw::core::Subscription SubscribeToServiceMode(Callback callback) override;

 private:
  // Module tests look at the members to check the construction paths and what a cycle read.
  friend class InitialFrontSideRadarLeftHalTestAccess;

  using SignalAdapterPointer = decltype(initialfrontsideradarlefthal::SignalAdapter::Create(nullptr));

  /// The time base of the cycle: the monotonic time of the core's dispatch queue.
  zol::TimePoint Now() const;

  /// Reads both status groups; status group 2 is only read after group 1 was read successfully.
  bool FetchStatusData();
  /// Reads the 40 detection groups in order and stops at the first that fails.
  bool FetchDetectionData();
  /// Starts the status slots of both status records (and the detection slot of status 1's scan), then translates.
  void UpdateStatusData();
  /// Publishes the status slots that became complete and notifies once per published slot.
  void InvalidateStatusIfComplete();
  /// Flags the scan id of every detection record read in this cycle.
  void UpdateFetchedDetectionScanIds();
  /// Starts the detection slot of every flagged scan id, then translates the 40 detection records.
  void UpdateDetectionData();
  /// Publishes the flagged detection slots that became complete, in ascending scan id, one notification each.
  void InvalidateDetectionsIfComplete();
  /// The smallest flagged scan id from `first` on; 256 when there is none.
  std::size_t NextFlaggedScanId(std::size_t first) const;
  /// True when the device activation service reports an alive timeout for device "FSRL".
  bool UpdateLostCom() const;

  zol::afw::core::Notifier<void()> fsrl_detections_notifier_;
  zol::afw::core::Notifier<void()> fsrl_status_notifier_;
  zol::afw::core::Notifier<void()> service_mode_notifier_;
  SignalAdapterPointer m_sig_adapter;
  RadarScanDataManager m_radarScanDataManager;
  /// Scan ids are 8-bit: every possible id has its own flag.
  static constexpr std::uint16_t m_scan_id_variations = 256U;
  std::array<bool, m_scan_id_variations> m_fetched_detection_scan_ids;
  LoggingWrapper m_log_context;
  device_activator::DeviceActivator m_device_activator;
  bool m_loss_com{false};
  bool m_sig_adapter_nullptr{false};
  zol::TimePoint m_last_lost_com_check;
  initialfrontsideradarlefthal::types::RSDS4SigSts1 m_signal_status1;
  initialfrontsideradarlefthal::types::RSDS4SigSts2 m_signal_status2;
  /// The records of the 40 detection groups, m_signal_detections_000To004 .. m_signal_detections_195To199.
#define FSRL_CORE_DECLARE_DETECTION_RECORD(suffix, record_type, first_detection, accessor) \
  initialfrontsideradarlefthal::types::record_type m_signal_detections_##suffix;
  FSRL_FOR_EACH_DETECTION_GROUP(FSRL_CORE_DECLARE_DETECTION_RECORD)
#undef FSRL_CORE_DECLARE_DETECTION_RECORD

  /// The properties the cycle reads, taken from the adapter once at construction (null without adapter). The adapter
  /// keeps them for as long as it lives, which is as long as the core; asking it for them on every read would copy
  /// and release a shared pointer, two atomic operations, 42 times a cycle.
  template <typename Record>
  using PropertyPointer = const zol::e2e::E2ESignalGroupProperty<Record>*;
  PropertyPointer<initialfrontsideradarlefthal::types::RSDS4SigSts1> m_status1_property{nullptr};
  PropertyPointer<initialfrontsideradarlefthal::types::RSDS4SigSts2> m_status2_property{nullptr};
#define FSRL_CORE_DECLARE_DETECTION_PROPERTY(suffix, record_type, first_detection, accessor) \
  PropertyPointer<initialfrontsideradarlefthal::types::record_type> m_detection_property_##suffix{nullptr};
  FSRL_FOR_EACH_DETECTION_GROUP(FSRL_CORE_DECLARE_DETECTION_PROPERTY)
#undef FSRL_CORE_DECLARE_DETECTION_PROPERTY
};

}  // namespace front_side_radar_left_hal

#endif  // FSRL_INITIAL_INITIALFRONTSIDERADARLEFTHAL_P_H
