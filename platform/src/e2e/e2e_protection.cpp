#include "zol/e2e/e2e_protection.h"
#include "zol/e2e/e2e_protection_testing.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <mutex>
#include <new>
#include <utility>

#include "zol/e2e/crc.h"

namespace zol {
namespace e2e {
namespace {

// Byte buffers need no alignment; allocation and release must name the same value for the resource to match them.
constexpr std::size_t kBufferAlignment = alignof(std::uint8_t);

std::uint8_t* AllocateZeroed(zol::pmr::memory_resource* resource, std::size_t length) {
  if (length == 0U) {
    return nullptr;
  }
  auto* buffer = static_cast<std::uint8_t*>(resource->allocate(length, kBufferAlignment));
  std::memset(buffer, 0, length);
  return buffer;
}

// Data ids whose profile 5 creation is refused on purpose (testing::RejectProfile5Creation).
class Rejections {
 public:
  bool Add(std::uint16_t data_id) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (ContainsLocked(data_id)) {
      return true;
    }
    if (count_ == ids_.size()) {
      return false;
    }
    ids_[count_++] = data_id;
    active_.store(true, std::memory_order_release);
    return true;
  }

  void Clear() {
    const std::lock_guard<std::mutex> lock(mutex_);
    count_ = 0U;
    active_.store(false, std::memory_order_release);
  }

  bool Contains(std::uint16_t data_id) const {
    // Creating protections is not to pay for a lock while no test injects anything.
    if (!active_.load(std::memory_order_acquire)) {
      return false;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    return ContainsLocked(data_id);
  }

 private:
  bool ContainsLocked(std::uint16_t data_id) const {
    return std::find(ids_.begin(), ids_.begin() + static_cast<std::ptrdiff_t>(count_), data_id) !=
           ids_.begin() + static_cast<std::ptrdiff_t>(count_);
  }

  mutable std::mutex mutex_;
  std::array<std::uint16_t, testing::kMaxRejectedDataIds> ids_{};
  std::size_t count_{0U};
  std::atomic<bool> active_{false};
};

Rejections& RejectedDataIds() {
  // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): process-wide test hook, behind its mutex
  static Rejections rejections;
  return rejections;
}

}  // namespace

namespace testing {

bool RejectProfile5Creation(std::uint16_t data_id) { return RejectedDataIds().Add(data_id); }

void ClearRejections() { RejectedDataIds().Clear(); }

}  // namespace testing

E2eProtection::E2eProtection(SignalAdapter_E2eProfile profile, std::size_t protection_size,
                             std::size_t payload_buffer_length, std::size_t tav_payload_buffer_length,
                             zol::pmr::memory_resource* resource)
    : profile_(profile),
      protection_size_(protection_size),
      resource_(resource),
      payload_buffer_(AllocateZeroed(resource, payload_buffer_length)),
      payload_buffer_length_(payload_buffer_length) {
  try {
    tav_payload_buffer_ = AllocateZeroed(resource_, tav_payload_buffer_length);
  } catch (...) {
    // The destructor does not run for a half-built object: give the first buffer back here.
    if (payload_buffer_ != nullptr) {
      resource_->deallocate(payload_buffer_, payload_buffer_length_, kBufferAlignment);
    }
    throw;
  }
  tav_payload_buffer_length_ = tav_payload_buffer_length;
}

E2eProtection::~E2eProtection() {
  if (tav_payload_buffer_ != nullptr) {
    resource_->deallocate(tav_payload_buffer_, tav_payload_buffer_length_, kBufferAlignment);
  }
  if (payload_buffer_ != nullptr) {
    resource_->deallocate(payload_buffer_, payload_buffer_length_, kBufferAlignment);
  }
}

constexpr std::size_t E2eProtectionProfile5::kHeaderSize;

E2eProtectionProfile5::E2eProtectionProfile5(zol::pmr::memory_resource* resource, std::uint16_t data_id,
                                             std::size_t data_length_bytes, std::size_t offset_bytes,
                                             std::uint8_t max_delta_counter)
    : E2eProtection(SIGNAL_DB_E2E_PROFILE_05, kHeaderSize, data_length_bytes, 0U, resource),
      data_id_(data_id),
      offset_bytes_(offset_bytes),
      max_delta_counter_(max_delta_counter) {
  Initialize();
}

E2eProtectionProfile5Ptr E2eProtectionProfile5::Create(const SignalGroupContext& context) {
  const SignalAdapter_SignalGroup* group = context.signal_group_;
  if (group == nullptr || group->profile_name != SIGNAL_DB_E2E_PROFILE_05) {
    return {};
  }
  if (RejectedDataIds().Contains(group->data_id)) {
    return {};  // refused on purpose by a test
  }
  // The header is addressed in whole bytes and the check compares whole-byte lengths, so any bit remainder would
  // make every frame of the group fail; refuse such a row up front instead.
  const std::size_t data_length_bits = group->data_length;
  const std::size_t offset_bits = group->offset;
  if (data_length_bits % 8U != 0U || data_length_bits < kHeaderSize * 8U || offset_bits % 8U != 0U) {
    return {};
  }
  const std::size_t data_length_bytes = data_length_bits / 8U;
  const std::size_t offset_bytes = offset_bits / 8U;
  if (offset_bytes + kHeaderSize > data_length_bytes) {
    return {};
  }

  zol::pmr::polymorphic_allocator<E2eProtectionProfile5> allocator(zol::pmr::get_default_resource());
  E2eProtectionProfile5* storage = allocator.allocate(1U);
  E2eProtectionProfile5* protection = nullptr;
  try {
    protection = ::new (static_cast<void*>(storage)) E2eProtectionProfile5(
        allocator.resource(), group->data_id, data_length_bytes, offset_bytes, group->max_delta_counter);
  } catch (...) {
    allocator.deallocate(storage, 1U);
    throw;
  }
  // Worked out once here, so that no check of the group interprets the database records again.
  protection->decode_plan_.Build(context, data_length_bytes);
  // The deleter keeps this allocator, so the object goes back to this resource even if the default changes.
  return {protection, E2eProtectionProfile5Ptr::deleter_type(allocator)};
}

void E2eProtectionProfile5::Initialize() {
  counter_ = 0xFFU;
  last_p05_status_ = E2E_P05STATUS_NONEWDATA;
  payload_accepted_ = false;
  set_last_check_status(E2E_P_NOTAVAILABLE);
}

E2E_P05CheckStatusType E2eProtectionProfile5::Check(bool new_data, const std::uint8_t* data, std::size_t length) {
  if (!new_data) {
    Record(E2E_P05STATUS_NONEWDATA);
    return last_p05_status_;
  }
  // From here on the payload is new: whatever the outcome, it decides whether the bytes now held may be used.
  payload_accepted_ = false;
  if (data == nullptr || length != data_length_bytes()) {
    Record(E2E_P05STATUS_ERROR);
    return last_p05_status_;
  }
  const auto received_crc =
      static_cast<std::uint16_t>(data[offset_bytes_] | (static_cast<unsigned int>(data[offset_bytes_ + 1U]) << 8U));
  if (received_crc != ComputeProfile5Crc(data_id_, data, length, offset_bytes_)) {
    // A corrupted frame says nothing about the sender's counter: keep the last good one.
    Record(E2E_P05STATUS_ERROR);
    return last_p05_status_;
  }
  const std::uint8_t received_counter = data[offset_bytes_ + 2U];
  const auto delta = static_cast<std::uint8_t>(received_counter - counter_);
  E2E_P05CheckStatusType status = E2E_P05STATUS_WRONGSEQUENCE;
  if (delta == 0U) {
    status = E2E_P05STATUS_REPEATED;
  } else if (delta == 1U) {
    status = E2E_P05STATUS_OK;
  } else if (delta <= max_delta_counter_) {
    status = E2E_P05STATUS_OKSOMELOST;
  }
  // The frame is authentic, so its counter is where the sender now is, even when the step was wrong: the
  // following frame is judged against it and the sequence recovers by itself.
  counter_ = received_counter;
  payload_accepted_ = status == E2E_P05STATUS_OK || status == E2E_P05STATUS_OKSOMELOST;
  Record(status);
  return status;
}

E2E_PCheckStatusType E2eProtectionProfile5::ToGenericStatus(E2E_P05CheckStatusType status) noexcept {
  switch (status) {
    case E2E_P05STATUS_OK:
    case E2E_P05STATUS_OKSOMELOST:
      return E2E_P_OK;
    case E2E_P05STATUS_NONEWDATA:
      return E2E_P_NONEWDATA;
    case E2E_P05STATUS_REPEATED:
      return E2E_P_REPEATED;
    case E2E_P05STATUS_WRONGSEQUENCE:
      return E2E_P_WRONGSEQUENCE;
    case E2E_P05STATUS_ERROR:
      return E2E_P_ERROR;
  }
  // Only a value cast from outside the enumerators gets here; it is no trustworthy result.
  return E2E_P_ERROR;
}

void E2eProtectionProfile5::Record(E2E_P05CheckStatusType status) noexcept {
  last_p05_status_ = status;
  set_last_check_status(ToGenericStatus(status));
}

}  // namespace e2e
}  // namespace zol
