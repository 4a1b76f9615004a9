#include "initialfrontsideradarlefthal_p.h"

#include <chrono>
#include <cstddef>
#include <cstring>
#include <new>
#include <utility>

#include "zol/afw/core/execution_context.h"
#include "zol/log/logging.h"
#include "zol/pmr/memory_resource.h"
#include "zol/pmr/polymorphic_allocator.h"
#include "zol/string_view.h"

namespace front_side_radar_left_hal {

namespace {

using zol::afw::core::ContextualObject;
using zol::afw::core::ErrorCode;
using zol::afw::core::StatusOr;
using zol::afw::core::Subscription;

// Name of the core as a contextual object; the signal adapter and the device activation client below it are known by
// names derived from it.
constexpr zol::string_view kObjectName("InitialFrontSideRadarLeftHal");
// The radar's device id at the device activation service, for service mode and for its alive supervision.
constexpr zol::string_view kDeviceId("FSRL");
// The facade gives the memory back with the alignment recorded here, so it has to be a constant every variant's
// deleter agrees on, not whatever alignof happens to say.
constexpr std::size_t kImplAlignment = 8U;
// Lost communication is evaluated at most once per millisecond while communicating: the device activation service
// is asked only when more than this has passed since the last evaluation. Its alive supervision changes no faster
// than its timeout (hundreds of milliseconds), so a millisecond costs no reaction time, while an owner cycling
// faster than that is spared a query per cycle. "Once per millisecond" with a "more than" comparison puts the
// window one nanosecond under 1 ms.
constexpr std::chrono::nanoseconds kLostComCheckSkipWindow(999999);

// One property read: the current value of the group's property into its record. The per-read status is not asked
// for on purpose: whatever the group's read function makes of an E2E outcome reaches the core as the sign of the
// returned code only.
template <typename Property, typename Record>
bool ReadProperty(const Property* property, Record* record) {
  return property != nullptr && zol::afw::core::IsSuccess(property->get(record));
}

// The device id as the device activation client takes it. Four characters stay within the string's own buffer, so
// building it allocates nothing.
device_activator::DeviceName MakeDeviceId() {
  device_activator::DeviceName device_id(kDeviceId.data(), kDeviceId.size(),
                                         zol::pmr::polymorphic_allocator<char>(zol::pmr::get_default_resource()));
  return device_id;
}

}  // namespace

// ---------------------------------------------------------------------------------------------------------------------
// Construction
// ---------------------------------------------------------------------------------------------------------------------

InitialFrontSideRadarLeftHal::Impl::Impl(const ContextualObject* parent)
    : FrontSideRadarLeftHal::Impl(parent, kObjectName),
      fsrl_detections_notifier_(zol::pmr::get_default_resource()),
      fsrl_status_notifier_(zol::pmr::get_default_resource()),
      service_mode_notifier_(zol::pmr::get_default_resource()),
      // The adapter hangs below this object: it takes its execution context (where its invalidation tasks run) from
      // here. Null when the signal service could not be set up; that is recorded below, not thrown.
      m_sig_adapter(initialfrontsideradarlefthal::SignalAdapter::Create(this)),
      // The scan store and the device activation client (not yet connected) are default-constructed in between;
      // both lost-communication flags start false.
      m_fetched_detection_scan_ids(),
      m_log_context("FLH", "Front side radar left hal"),
      m_last_lost_com_check(zol::TimePoint::duration::zero()),
      m_signal_status1(),
      m_signal_status2()
// Each detection record value-initialised, m_signal_detections_000To004() .. m_signal_detections_195To199().
#define FSRL_CORE_INIT_DETECTION_RECORD(suffix, record_type, first_detection, accessor) , m_signal_detections_##suffix()
          FSRL_FOR_EACH_DETECTION_GROUP(FSRL_CORE_INIT_DETECTION_RECORD) {
#undef FSRL_CORE_INIT_DETECTION_RECORD
  m_fetched_detection_scan_ids.fill(false);

  // The adapter owns its properties for its whole life, which ends with the core's: the cycle can hold plain
  // pointers to them.
  if (m_sig_adapter != nullptr) {
    m_status1_property = m_sig_adapter->rsds4sig_sts1().get();
    m_status2_property = m_sig_adapter->rsds4sig_sts2().get();
#define FSRL_CORE_TAKE_DETECTION_PROPERTY(suffix, record_type, first_detection, accessor) \
  m_detection_property_##suffix = m_sig_adapter->accessor().get();
    FSRL_FOR_EACH_DETECTION_GROUP(FSRL_CORE_TAKE_DETECTION_PROPERTY)
#undef FSRL_CORE_TAKE_DETECTION_PROPERTY
  }

  // Components get their execution context from their parent, and only once the executable has started. Missing
  // either is a set-up mistake of the owner worth reporting, but not a reason to refuse construction.
  if (parent != nullptr) {
    if (parent->execution_context() == nullptr) {
      m_log_context.LogWarn(
          "InitialFrontSideRadarLeftHal::Impl: context_parent ExecutionContext not present at initialization. For the "
          "Component to get hold of its context_parent ExecutionContext, it should be created in "
          "Executable::OnWillStart.");
    }
  } else {
    m_log_context.LogError("InitialFrontSideRadarLeftHal::Impl: context_parent contextual object was not present");
  }

  StatusOr<device_activator::DeviceActivator> created_client = device_activator::DeviceActivator::Create(this);
  if (zol::afw::core::IsFailure(created_client.status()) || !created_client.has_value()) {
    // Without a client the device queries fail as the unconnected default client fails them. The adapter is
    // deliberately not examined on this path: a missing adapter then still shows as a failing input cycle rather
    // than as a flag.
    return;
  }
  m_device_activator = std::move(created_client).value();

  if (m_sig_adapter != nullptr) {
    m_log_context.LogDebug("HAL monitor Signal Adapter created");
    if (zol::afw::core::IsFailure(m_device_activator.Init())) {
      // The client stays in place: its queries then fail, which the input cycle treats as communication not lost.
      m_log_context.LogError("Device Activator was not initialized successfully");
    }
  } else {
    // Without an adapter there is nothing to supervise or activate for, so the client is not connected.
    m_sig_adapter_nullptr = true;
    m_log_context.LogError("Error creating HAL monitor Signal Adapter");
  }
}

// Members go in reverse declaration order: device activation client, log context, scan store, signal adapter (which
// releases its signal service handles), then the notifiers, whose remaining subscriptions stay safe to cancel.
InitialFrontSideRadarLeftHal::Impl::~Impl() = default;

StatusOr<FrontSideRadarLeftHal::ImplPointer> InitialFrontSideRadarLeftHal::Descriptor::Create(
    const ContextualObject* parent) const {
  static_assert(alignof(InitialFrontSideRadarLeftHal::Impl) <= kImplAlignment,
                "the core needs a stricter alignment than its deleter records");
  zol::pmr::memory_resource* const resource = zol::pmr::get_default_resource();
  void* const storage = resource->allocate(sizeof(InitialFrontSideRadarLeftHal::Impl), kImplAlignment);
  InitialFrontSideRadarLeftHal::Impl* impl = nullptr;
  try {
    impl = ::new (storage) InitialFrontSideRadarLeftHal::Impl(parent);
  } catch (...) {
    resource->deallocate(storage, sizeof(InitialFrontSideRadarLeftHal::Impl), kImplAlignment);
    throw;
  }
  // The deleter remembers the concrete size: the facade only knows the abstract base.
  return {ImplPointer(impl, ImplDeleter(resource, sizeof(InitialFrontSideRadarLeftHal::Impl), kImplAlignment)),
          ErrorCode::kSuccess};
}

// ---------------------------------------------------------------------------------------------------------------------
// Input cycle
// ---------------------------------------------------------------------------------------------------------------------

zol::TimePoint InitialFrontSideRadarLeftHal::Impl::Now() const {
  const std::shared_ptr<zol::afw::core::ExecutionContext> context = execution_context();
  if (context != nullptr) {
    return context->dispatch_queue().now();
  }
  // A core built without an execution context (its absence was logged at construction) still runs its cycle: the
  // dispatch queue reads the same monotonic clock, so the lost-communication interval keeps its meaning.
  return zol::MonoClock::now();
}

ErrorCode InitialFrontSideRadarLeftHal::Impl::ProcessFsrlInput() {
  const zol::TimePoint now = Now();

  // While communicating the device activation service is asked at most once per millisecond; once lost, on every
  // call, so that the first cycle after the sensor is back already reads again.
  if ((now - m_last_lost_com_check) > kLostComCheckSkipWindow || m_loss_com) {
    m_loss_com = UpdateLostCom();
    if (m_loss_com) {
      m_radarScanDataManager.SetLostCom();
      fsrl_status_notifier_.Notify();
    }
    m_last_lost_com_check = Now();
  }

  if (m_loss_com) {
    // Nothing the sensor may still have left in the signal service is trusted while it is not alive.
    return ErrorCode::kSuccess;
  }

  // The flag covers a failed adapter creation; the pointer test also covers a core whose device activation client
  // could not be created, where the flag is never set.
  if (m_sig_adapter_nullptr || m_sig_adapter == nullptr) {
    return ErrorCode::kFailure;
  }

  // Status first: a cycle's status notification always precedes its detection notifications.
  const bool status_read_ok = FetchStatusData();
  if (status_read_ok) {
    UpdateStatusData();
    InvalidateStatusIfComplete();
  }

  const bool detections_read_ok = FetchDetectionData();
  if (detections_read_ok) {
    UpdateFetchedDetectionScanIds();
    UpdateDetectionData();
    InvalidateDetectionsIfComplete();
    m_fetched_detection_scan_ids.fill(false);
  }

  if (status_read_ok && detections_read_ok) {
    return ErrorCode::kSuccess;
  }
  m_log_context.LogWarn("Failed to read at least one property from signal database");
  return ErrorCode::kFailure;
}

bool InitialFrontSideRadarLeftHal::Impl::FetchStatusData() {
  if (!ReadProperty(m_status1_property, &m_signal_status1)) {
    return false;
  }
  return ReadProperty(m_status2_property, &m_signal_status2);
}

bool InitialFrontSideRadarLeftHal::Impl::FetchDetectionData() {
  // The first group that fails ends the fetch: a scan with a hole cannot complete in this cycle anyway, and the
  // groups after it are read again, fresh, in the next one.
#define FSRL_CORE_READ_DETECTION_GROUP(suffix, record_type, first_detection, accessor) \
  if (!ReadProperty(m_detection_property_##suffix, &m_signal_detections_##suffix)) {   \
    return false;                                                                      \
  }
  FSRL_FOR_EACH_DETECTION_GROUP(FSRL_CORE_READ_DETECTION_GROUP)
#undef FSRL_CORE_READ_DETECTION_GROUP
  return true;
}

void InitialFrontSideRadarLeftHal::Impl::UpdateStatusData() {
  const std::uint8_t status1_scan_id = m_signal_status1.rsds4sig_sts1scan_id;
  const std::uint8_t status2_scan_id = m_signal_status2.rsds4sig_sts2scan_id;
  if (status1_scan_id != status2_scan_id) {
    m_radarScanDataManager.InitializeStatusData(status1_scan_id);
    m_radarScanDataManager.InitializeStatusData(status2_scan_id);
  } else {
    m_radarScanDataManager.InitializeStatusData(status1_scan_id);
  }
  // Status 1 carries the scan's time stamps and mounting, which belong to the detection slot: start that slot here
  // too, so that they are not lost when status arrives before the scan's first detection group.
  m_radarScanDataManager.InitializeDetectionsData(status1_scan_id);

  m_radarScanDataManager.TranslateAndStoreStatus(m_signal_status1);
  m_radarScanDataManager.TranslateAndStoreStatus(m_signal_status2);
}

void InitialFrontSideRadarLeftHal::Impl::InvalidateStatusIfComplete() {
  const std::uint8_t status1_scan_id = m_signal_status1.rsds4sig_sts1scan_id;
  const std::uint8_t status2_scan_id = m_signal_status2.rsds4sig_sts2scan_id;
  if (status1_scan_id == status2_scan_id) {
    if (m_radarScanDataManager.UpdateLatestCompleteStatus(status1_scan_id)) {
      fsrl_status_notifier_.Notify();
    }
    return;
  }
  // The two messages may close two different scans in one cycle; each one published is announced.
  if (m_radarScanDataManager.UpdateLatestCompleteStatus(status1_scan_id)) {
    fsrl_status_notifier_.Notify();
  }
  if (m_radarScanDataManager.UpdateLatestCompleteStatus(status2_scan_id)) {
    fsrl_status_notifier_.Notify();
  }
}

void InitialFrontSideRadarLeftHal::Impl::UpdateFetchedDetectionScanIds() {
#define FSRL_CORE_FLAG_SCAN_ID(suffix, record_type, first_detection, accessor) \
  m_fetched_detection_scan_ids[m_signal_detections_##suffix.accessor##scan_id] = true;
  FSRL_FOR_EACH_DETECTION_GROUP(FSRL_CORE_FLAG_SCAN_ID)
#undef FSRL_CORE_FLAG_SCAN_ID
}

void InitialFrontSideRadarLeftHal::Impl::UpdateDetectionData() {
  for (std::size_t scan_id = NextFlaggedScanId(0U); scan_id < m_fetched_detection_scan_ids.size();
       scan_id = NextFlaggedScanId(scan_id + 1U)) {
    m_radarScanDataManager.InitializeDetectionsData(scan_id);
  }
  // Each translation files its detections under the record's own scan id, started just above.
#define FSRL_CORE_TRANSLATE_DETECTION_GROUP(suffix, record_type, first_detection, accessor) \
  m_radarScanDataManager.TranslateAndStoreDetection##suffix(m_signal_detections_##suffix);
  FSRL_FOR_EACH_DETECTION_GROUP(FSRL_CORE_TRANSLATE_DETECTION_GROUP)
#undef FSRL_CORE_TRANSLATE_DETECTION_GROUP
}

void InitialFrontSideRadarLeftHal::Impl::InvalidateDetectionsIfComplete() {
  for (std::size_t scan_id = NextFlaggedScanId(0U); scan_id < m_fetched_detection_scan_ids.size();
       scan_id = NextFlaggedScanId(scan_id + 1U)) {
    if (m_radarScanDataManager.UpdateLatestCompleteDetections(scan_id)) {
      fsrl_detections_notifier_.Notify();
    }
  }
}

std::size_t InitialFrontSideRadarLeftHal::Impl::NextFlaggedScanId(std::size_t first) const {
  // A cycle normally flags one or two of the 256 ids: a library search for the next set byte skips the rest at
  // once, where testing every flag would take hundreds of steps, twice per cycle.
  static_assert(sizeof(bool) == 1U, "a flag is one byte");
  const std::size_t count = m_fetched_detection_scan_ids.size();
  if (first >= count) {
    return count;
  }
  const void* const found =
      std::memchr(m_fetched_detection_scan_ids.data() + first, static_cast<int>(true), count - first);
  return found == nullptr
             ? count
             : static_cast<std::size_t>(static_cast<const bool*>(found) - m_fetched_detection_scan_ids.data());
}

bool InitialFrontSideRadarLeftHal::Impl::UpdateLostCom() const {
  const StatusOr<device_activator::DeviceErrors> device_errors = m_device_activator.GetRequestedDeviceErrors();
  if (!device_errors.ok()) {
    // Without an answer the sensor is given the benefit of the doubt: its own E2E checks still guard the data.
    m_log_context.LogWarn("Failed to read requested_device_errors from device_activator");
    return false;
  }
  const device_activator::DeviceErrors& errors = device_errors.value();
  const auto device = errors.find(MakeDeviceId());
  if (device == errors.end()) {
    return false;
  }
  // Only the alive supervision means the sensor is gone; other errors (SecOC) do not stop the data flow.
  return device->second.count(device_activator::DeviceErrorCode::kAliveTimeoutExceeded) != 0U;
}

StatusOr<radar_service::CornerRadarDetections> InitialFrontSideRadarLeftHal::Impl::GetFsrlDetections() const {
  return {m_radarScanDataManager.GetRadarScanDetections(), ErrorCode::kSuccess};
}

StatusOr<radar_service::RadarStatus> InitialFrontSideRadarLeftHal::Impl::GetFsrlStatus() const {
  return {m_radarScanDataManager.GetRadarScanStatus(), ErrorCode::kSuccess};
}

Subscription InitialFrontSideRadarLeftHal::Impl::SubscribeToFsrlDetections(Callback callback) {
  return fsrl_detections_notifier_.Subscribe(std::move(callback));
}

Subscription InitialFrontSideRadarLeftHal::Impl::SubscribeToFsrlStatus(Callback callback) {
  return fsrl_status_notifier_.Subscribe(std::move(callback));
}

// ---------------------------------------------------------------------------------------------------------------------
// Service mode
// ---------------------------------------------------------------------------------------------------------------------

ErrorCode InitialFrontSideRadarLeftHal::Impl::RequestServiceMode(ServiceMode service_mode_state) {
  ErrorCode result = ErrorCode::kFailure;
  switch (service_mode_state) {
    case ServiceMode::kActive: {
      {
        const device_activator::DeviceName device_id = MakeDeviceId();
        result = m_device_activator.RequestDeviceActive(device_id);
      }
      // The service's answer goes back to the caller unlogged: only the fact of the call is traced.
      m_log_context.LogDebug("RequestDeviceActive called | Service Mode: {} | DeviceID: FSRL",
                             static_cast<std::uint8_t>(service_mode_state));
      return result;
    }
    case ServiceMode::kInactive: {
      {
        const device_activator::DeviceName device_id = MakeDeviceId();
        result = m_device_activator.CancelDeviceActiveRequest(device_id);
      }
      m_log_context.LogDebug("CancelDeviceActiveRequest called");
      return result;
    }
    default:
      // A value cast from outside the enumeration: the service is not bothered with it.
      m_log_context.LogWarn("Invalid service_mode_state requested");
      return ErrorCode::kFailure;
  }
}

StatusOr<ServiceMode> InitialFrontSideRadarLeftHal::Impl::GetServiceMode() const {
  StatusOr<device_activator::DeviceStates> requested_states = m_device_activator.GetRequestedDeviceStates();
  if (!requested_states.ok()) {
    // The service's own code is not passed on: to the application the mode is simply unknown.
    return ErrorCode::kFailure;
  }
  const device_activator::DeviceStates states = std::move(requested_states).value();
  const auto device = states.find(MakeDeviceId());
  if (device == states.end()) {
    // A device nobody has asked for is not active; that is an answer, not an error.
    return {ServiceMode::kInactive, ErrorCode::kSuccess};
  }
  return {device->second ? ServiceMode::kActive : ServiceMode::kInactive, ErrorCode::kSuccess};
}

Subscription InitialFrontSideRadarLeftHal::Impl::SubscribeToServiceMode(Callback callback) {
  return service_mode_notifier_.Subscribe(std::move(callback));
}

}  // namespace front_side_radar_left_hal
