// Public facade of the left front side radar HAL.
#ifndef FRONTSIDERADARLEFTHAL_H
#define FRONTSIDERADARLEFTHAL_H

#include <memory>

#include "frontsideradarlefthal_types.h"
#include "zol/afw/core/component_descriptor.h"
#include "zol/afw/core/contextual_object.h"
#include "zol/afw/core/error_code.h"
#include "zol/afw/core/notifier.h"
#include "zol/afw/core/status_or.h"
#include "zol/memory/propagate_const.h"
#include "zol/memory/static_function.h"
#include "zol/nodiscard.h"
#include "zol/pmr/deleters.h"
#include "zol/pmr/polymorphic_allocator.h"
#include "zol/string_view.h"

namespace front_side_radar_left_hal {

/// The handle that applications hold on the left front side radar (FSRL).
///
/// A thin, movable handle over an implementation object supplied by a registered implementation variant; every
/// operation forwards to it. Obtain a working handle with `Create`. A default-constructed or moved-from handle is
/// empty: calling any operation on it throws `std::logic_error`.
///
/// All operations of one handle are meant to be called from the owner's execution context; the handle adds no
/// locking of its own.
class FrontSideRadarLeftHal {
 public:
  /// Callback type of the subscribe operations: no arguments, no result, 16 bytes of inline storage.
  using Callback = zol::memory::StaticFunction<void(), 16>;

  /// The implementation object behind the facade; each variant derives its own from it.
  ///
  /// Its execution context is the one reported by the inherited `execution_context()`.
  class Impl : public zol::afw::core::ContextualObject {
   public:
    /// Passes `parent` (may be null) and `name` on to the contextual object.
    Impl(const zol::afw::core::ContextualObject* parent, zol::basic_string_view<char> name);
    ~Impl() override;

    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;
    Impl(Impl&&) = delete;
    Impl& operator=(Impl&&) = delete;

    /// Requests the sensor to be active or inactive.
    virtual zol::afw::core::ErrorCode RequestServiceMode(ServiceMode service_mode_state) = 0;
    /// Runs one processing cycle: reads the sensor's input and publishes completed scans.
    virtual zol::afw::core::ErrorCode ProcessFsrlInput() = 0;
    /// The latest complete detection scan.
    ZOL_NODISCARD virtual zol::afw::core::StatusOr<radar_service::CornerRadarDetections> GetFsrlDetections() const = 0;
    /// Subscribes to the event that a new complete detection scan is available.
    virtual zol::afw::core::Subscription SubscribeToFsrlDetections(Callback callback) = 0;
    /// The latest complete radar status.
    ZOL_NODISCARD virtual zol::afw::core::StatusOr<radar_service::RadarStatus> GetFsrlStatus() const = 0;
    /// Subscribes to the event that new radar status is available.
    virtual zol::afw::core::Subscription SubscribeToFsrlStatus(Callback callback) = 0;
    /// The service mode last requested.
    ZOL_NODISCARD virtual zol::afw::core::StatusOr<ServiceMode> GetServiceMode() const = 0;
    /// Subscribes to service-mode changes.
    virtual zol::afw::core::Subscription SubscribeToServiceMode(Callback callback) = 0;
  };

  /// Deleter of implementation objects: remembers the resource, size and alignment of the concrete object, so the
  /// facade can give the memory back without knowing the variant's type.
  using ImplDeleter = zol::pmr::SizedAllocatorDeleter<zol::pmr::polymorphic_allocator<Impl>>;
  /// Owning pointer to an implementation object.
  using ImplPointer = std::unique_ptr<Impl, ImplDeleter>;

  /// Registration of one implementation variant in the platform's component descriptor collection.
  ///
  /// Constructing a descriptor enters it under the component name "frontsideradarlefthal" and its instance id;
  /// destroying it takes it out again. Each variant overrides `Create`.
  class Descriptor : public zol::afw::core::ComponentDescriptor {
   public:
    /// Registers this descriptor with component name "frontsideradarlefthal" and `instance_id`.
    explicit Descriptor(zol::basic_string_view<char> instance_id);
    ~Descriptor() override;

    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    Descriptor(Descriptor&&) = delete;
    Descriptor& operator=(Descriptor&&) = delete;

    /// Builds the variant's implementation object with `parent` as its parent contextual object.
    /// A negative status is passed on to the caller of `FrontSideRadarLeftHal::Create`.
    virtual zol::afw::core::StatusOr<ImplPointer> Create(const zol::afw::core::ContextualObject* parent) const = 0;
  };

  /// An empty facade; every operation on it throws `std::logic_error`.
  FrontSideRadarLeftHal() noexcept;
  /// Takes ownership of `impl` (pointer and deleter).
  explicit FrontSideRadarLeftHal(ImplPointer impl) noexcept;
  /// Takes over `other`'s implementation object and leaves `other` empty.
  FrontSideRadarLeftHal(FrontSideRadarLeftHal&& other) noexcept;
  /// Destroys the implementation object held so far, then takes over `other`'s and leaves `other` empty.
  FrontSideRadarLeftHal& operator=(FrontSideRadarLeftHal&& other) noexcept;
  FrontSideRadarLeftHal(const FrontSideRadarLeftHal&) = delete;
  FrontSideRadarLeftHal& operator=(const FrontSideRadarLeftHal&) = delete;
  /// Destroys the implementation object, if any, and returns its memory to the resource it came from.
  ~FrontSideRadarLeftHal();

  /// Builds a facade over the implementation variant registered as `instance_id`.
  ///
  /// "NoInstanceId" picks the only registered variant; with none or several registered it logs an error and fails.
  /// @param parent parent contextual object of the implementation object (may be null); it should already have an
  ///        execution context.
  /// @param instance_id the variant's instance id, or "NoInstanceId".
  /// @return the facade with `kSuccess`; `kFailure` without a value when no suitable variant is registered; the
  ///         variant's own negative status when it fails to build its implementation object.
  static zol::afw::core::StatusOr<FrontSideRadarLeftHal> Create(const zol::afw::core::ContextualObject* parent,
                                                                zol::basic_string_view<char> instance_id);

  /// Requests the sensor to be active or inactive.
  /// @throws std::logic_error on an empty facade.
  zol::afw::core::ErrorCode RequestServiceMode(ServiceMode service_mode_state);
  /// Runs one processing cycle; call it once per cycle from the owner's execution context.
  /// @throws std::logic_error on an empty facade.
  zol::afw::core::ErrorCode ProcessFsrlInput();
  /// The latest complete detection scan.
  /// @throws std::logic_error on an empty facade.
  ZOL_NODISCARD zol::afw::core::StatusOr<radar_service::CornerRadarDetections> GetFsrlDetections() const;
  /// Subscribes `callback` to new complete detection scans; `callback` is moved from.
  /// @throws std::logic_error on an empty facade, before `callback` is touched.
  zol::afw::core::Subscription SubscribeToFsrlDetections(Callback callback);
  /// The latest complete radar status.
  /// @throws std::logic_error on an empty facade.
  ZOL_NODISCARD zol::afw::core::StatusOr<radar_service::RadarStatus> GetFsrlStatus() const;
  /// Subscribes `callback` to new radar status; `callback` is moved from.
  /// @throws std::logic_error on an empty facade, before `callback` is touched.
  zol::afw::core::Subscription SubscribeToFsrlStatus(Callback callback);
  /// The service mode last requested.
  /// @throws std::logic_error on an empty facade.
  ZOL_NODISCARD zol::afw::core::StatusOr<ServiceMode> GetServiceMode() const;
  /// Subscribes `callback` to service-mode changes; `callback` is moved from.
  /// @throws std::logic_error on an empty facade, before `callback` is touched.
  zol::afw::core::Subscription SubscribeToServiceMode(Callback callback);

 private:
  void CheckIsValid() const;

  zol::memory::PropagateConst<ImplPointer> impl_;
};

}  // namespace front_side_radar_left_hal

#endif  // FRONTSIDERADARLEFTHAL_H
