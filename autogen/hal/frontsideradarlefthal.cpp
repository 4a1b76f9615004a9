#include "frontsideradarlefthal.h"

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <utility>

#include "zol/format/format.h"
#include "zol/log/logging.h"

namespace front_side_radar_left_hal {

namespace {

using zol::afw::core::ComponentDescriptor;
using zol::afw::core::ComponentDescriptorCollection;
using zol::afw::core::ContextualObject;
using zol::afw::core::ErrorCode;
using zol::afw::core::StatusOr;
using zol::afw::core::Subscription;

// Every variant registers under this component name; Create looks variants up by it.
constexpr zol::string_view kComponentName("frontsideradarlefthal");
// Reserved instance id: "pick the only registered variant". Compared exactly, length and letter case included.
constexpr zol::string_view kNoInstanceId("NoInstanceId");
// Large enough for the one message Create formats (the count has at most 20 digits).
constexpr std::size_t kLogBufferSize = 512;

}  // namespace

FrontSideRadarLeftHal::Impl::Impl(const ContextualObject* parent, zol::basic_string_view<char> name)
    : ContextualObject(parent, name) {}

// Out of line so that the vtable and type information live in this library only.
FrontSideRadarLeftHal::Impl::~Impl() = default;

FrontSideRadarLeftHal::Descriptor::Descriptor(zol::basic_string_view<char> instance_id)
    : ComponentDescriptor(kComponentName, instance_id) {}

// Out of line: Create's dynamic_cast relies on one type_info for Descriptor across all libraries.
FrontSideRadarLeftHal::Descriptor::~Descriptor() = default;

FrontSideRadarLeftHal::FrontSideRadarLeftHal() noexcept = default;

FrontSideRadarLeftHal::FrontSideRadarLeftHal(ImplPointer impl) noexcept : impl_(std::move(impl)) {}

FrontSideRadarLeftHal::FrontSideRadarLeftHal(FrontSideRadarLeftHal&& other) noexcept
    : impl_(std::move(other.impl_.underlying())) {}

FrontSideRadarLeftHal& FrontSideRadarLeftHal::operator=(FrontSideRadarLeftHal&& other) noexcept {
  if (this != &other) {
    // The old implementation object goes first, with its own deleter, before anything of the other one moves in.
    impl_.underlying().reset();
    impl_.underlying() = std::move(other.impl_.underlying());
  }
  return *this;
}

FrontSideRadarLeftHal::~FrontSideRadarLeftHal() = default;

StatusOr<FrontSideRadarLeftHal> FrontSideRadarLeftHal::Create(const ContextualObject* parent,
                                                              zol::basic_string_view<char> instance_id) {
  zol::pmr::string owned_instance_id(instance_id.data(), instance_id.size(),
                                     zol::pmr::polymorphic_allocator<char>(zol::pmr::get_default_resource()));
  const auto is_reserved = [&owned_instance_id]() {
    return zol::string_view(owned_instance_id.data(), owned_instance_id.size()) == kNoInstanceId;
  };

  if (is_reserved()) {
    const zol::pmr::vector<zol::pmr::string> instance_ids =
        ComponentDescriptorCollection::instance().instance_ids(kComponentName);
    if (instance_ids.size() == 1U) {
      owned_instance_id = instance_ids.front();
    } else {
      const zol::log::Context log_context;
      if (log_context.IsEnabled(zol::log::LoggingLevel::kError)) {
        char message[kLogBufferSize];
        // The second value is the component name on purpose: the instance id would only repeat "NoInstanceId".
        const std::size_t length =
            zol::format::FormatTo(message, sizeof(message),
                                  "Error creating HAL interface without instance id, since there are {} registered "
                                  "instances. instance_id: {}",
                                  static_cast<std::uint64_t>(instance_ids.size()), kComponentName);
        log_context.Log(zol::log::LoggingLevel::kError, zol::string_view(message, length));
      }
    }
  }

  if (is_reserved()) {
    return ErrorCode::kFailure;
  }

  const ComponentDescriptor* const component = ComponentDescriptorCollection::instance().Find(
      kComponentName, zol::string_view(owned_instance_id.data(), owned_instance_id.size()));
  const auto* const descriptor = dynamic_cast<const Descriptor*>(component);
  if (descriptor == nullptr) {
    return ErrorCode::kFailure;
  }

  StatusOr<ImplPointer> impl = descriptor->Create(parent);
  if (zol::afw::core::IsFailure(impl.status())) {
    return impl.status();
  }
  // A variant that reports success must deliver an object; never hand out an empty facade from here.
  if (!impl.has_value() || impl.value() == nullptr) {
    return ErrorCode::kFailure;
  }
  return {FrontSideRadarLeftHal(std::move(impl).value()), ErrorCode::kSuccess};
}

zol::afw::core::ErrorCode FrontSideRadarLeftHal::RequestServiceMode(ServiceMode service_mode_state) {
  CheckIsValid();
  return impl_->RequestServiceMode(service_mode_state);
}

zol::afw::core::ErrorCode FrontSideRadarLeftHal::ProcessFsrlInput() {
  CheckIsValid();
  return impl_->ProcessFsrlInput();
}

StatusOr<radar_service::CornerRadarDetections> FrontSideRadarLeftHal::GetFsrlDetections() const {
  CheckIsValid();
  return impl_->GetFsrlDetections();
}

Subscription FrontSideRadarLeftHal::SubscribeToFsrlDetections(Callback callback) {
  CheckIsValid();
  return impl_->SubscribeToFsrlDetections(Callback(std::move(callback)));
}

StatusOr<radar_service::RadarStatus> FrontSideRadarLeftHal::GetFsrlStatus() const {
  CheckIsValid();
  return impl_->GetFsrlStatus();
}

Subscription FrontSideRadarLeftHal::SubscribeToFsrlStatus(Callback callback) {
  CheckIsValid();
  return impl_->SubscribeToFsrlStatus(Callback(std::move(callback)));
}

StatusOr<ServiceMode> FrontSideRadarLeftHal::GetServiceMode() const {
  CheckIsValid();
  return impl_->GetServiceMode();
}

Subscription FrontSideRadarLeftHal::SubscribeToServiceMode(Callback callback) {
  CheckIsValid();
  return impl_->SubscribeToServiceMode(Callback(std::move(callback)));
}

void FrontSideRadarLeftHal::CheckIsValid() const {
  if (!impl_) {
    throw std::logic_error("Function called on default constructed FrontSideRadarLeftHal");
  }
}

}  // namespace front_side_radar_left_hal
