// Shared set-up of the signal adapter module tests: a fresh signal service that
// knows every group of the real database, a captured log, a parent whose
// dispatch queue the test steps, and payload helpers that work from the
// database records without the adapter's help.
#ifndef FSRL_TESTS_SIGNAL_ADAPTER_TEST_SUPPORT_H
#define FSRL_TESTS_SIGNAL_ADAPTER_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "initialfrontsideradarlefthal_e2e_database.h"
#include "initialfrontsideradarlefthal_signal_adapter.h"
#include "initialfrontsideradarlefthal_signal_adapter_impl.h"
#include "initialfrontsideradarlefthal_signal_groups_meta.h"
#include "zol/afw/core/executable.h"
#include "zol/afw/core/transaction.h"
#include "zol/afw/core/transaction_testing.h"
#include "zol/e2e/crc.h"
#include "zol/e2e/e2e_protection.h"
#include "zol/e2e/e2e_protection_testing.h"
#include "zol/log/logging.h"
#include "zol/pmr/memory_resource.h"
#include "zol/pmr/polymorphic_allocator.h"
#include "zol/signalcomm/service.h"

namespace fsrl_test {

using initialfrontsideradarlefthal::SignalAdapter;
using Impl = initialfrontsideradarlefthal::SignalAdapter::Impl;
using zol::afw::core::ErrorCode;
using zol::afw::core::SignalPropertyStatus;
using zol::afw::core::SignalPropertyStatusCode;
using zol::log::LoggingLevel;
using zol::signalcomm::Service;

constexpr std::size_t kGroupCount = initialfrontsideradarlefthal_signal_group_count;

// Group indexes the tests name.
constexpr std::size_t kDetn000To004 = 0;
constexpr std::size_t kDetn085To089 = 17;
constexpr std::size_t kDetn120To124 = 24;
constexpr std::size_t kObj00To01 = 40;
constexpr std::size_t kSigSts1 = 50;
constexpr std::size_t kSigSts2 = 51;

inline const SignalAdapter_SignalGroup& GroupRecord(std::size_t index) {
  return initialfrontsideradarlefthal_signal_groups[index];
}

inline std::string GroupName(std::size_t index) { return reinterpret_cast<const char*>(GroupRecord(index).name); }

inline std::size_t PayloadLength(std::size_t index) { return GroupRecord(index).data_length / 8U; }

// The database record of value slot `slot` of group `index`.
inline const SignalAdapter_Signal& SignalOfSlot(std::size_t index, std::size_t slot) {
  const SignalAdapter_SignalGroup& group = GroupRecord(index);
  for (std::size_t i = 0; i < group.nbr_of_signals; ++i) {
    const SignalAdapter_Signal& signal = initialfrontsideradarlefthal_signals[group.signal_start_index + i];
    if (signal.value_storage_start_index == slot) {
      return signal;
    }
  }
  ADD_FAILURE() << "group " << index << " has no signal in slot " << slot;
  return initialfrontsideradarlefthal_signals[group.signal_start_index];
}

// The database record of the signal called `name` (full signal name).
inline const SignalAdapter_Signal& SignalNamed(const std::string& name) {
  for (std::size_t i = 0; i < initialfrontsideradarlefthal_signal_count; ++i) {
    if (name == reinterpret_cast<const char*>(initialfrontsideradarlefthal_signals[i].name)) {
      return initialfrontsideradarlefthal_signals[i];
    }
  }
  ADD_FAILURE() << "no signal " << name;
  return initialfrontsideradarlefthal_signals[0];
}

// Little-endian bit fields written and read bit by bit, independently of the
// platform codec: bit n of the payload is bit n % 8 of byte n / 8.
inline void PutBits(std::vector<std::uint8_t>& payload, unsigned start_bit, unsigned bit_length, std::uint64_t raw) {
  for (unsigned b = 0; b < bit_length; ++b) {
    const unsigned bit = start_bit + b;
    const auto mask = static_cast<std::uint8_t>(1U << (bit % 8U));
    if (((raw >> b) & 1U) != 0U) {
      payload.at(bit / 8U) = static_cast<std::uint8_t>(payload.at(bit / 8U) | mask);
    } else {
      payload.at(bit / 8U) = static_cast<std::uint8_t>(payload.at(bit / 8U) & ~mask);
    }
  }
}

inline std::uint64_t GetBits(const std::vector<std::uint8_t>& payload, unsigned start_bit, unsigned bit_length) {
  std::uint64_t raw = 0;
  for (unsigned b = 0; b < bit_length; ++b) {
    const unsigned bit = start_bit + b;
    if (((payload.at(bit / 8U) >> (bit % 8U)) & 1U) != 0U) {
      raw |= std::uint64_t{1} << b;
    }
  }
  return raw;
}

inline std::uint64_t AllOnes(unsigned bit_length) {
  return bit_length >= 64U ? ~std::uint64_t{0} : (std::uint64_t{1} << bit_length) - 1U;
}

// Protects a payload of group `index` with its data id, as the radar would.
inline void Protect(std::size_t index, std::uint8_t counter, std::vector<std::uint8_t>& payload) {
  zol::e2e::ProtectProfile5(GroupRecord(index).data_id, counter, payload.data(), payload.size(), 0U);
}

// A protected payload of group `index` whose other bytes are a pattern that
// changes with `seed`, so that payloads differ from each other.
inline std::vector<std::uint8_t> PatternFrame(std::size_t index, std::uint8_t counter, std::uint8_t seed = 0) {
  std::vector<std::uint8_t> payload(PayloadLength(index));
  for (std::size_t i = 0; i < payload.size(); ++i) {
    payload[i] = static_cast<std::uint8_t>(seed + 7U * i + 1U);
  }
  Protect(index, counter, payload);
  return payload;
}

inline void Publish(std::size_t index, const std::vector<std::uint8_t>& payload) {
  ASSERT_EQ(Service::Instance().Publish(zol::string_view(GroupName(index).c_str()),
                                        zol::memory::span<const std::uint8_t>(payload.data(), payload.size())),
            SIGNALCOMM_OK);
}

// What the typed record must hold for a raw field value: floats scaled, limited
// and carried at single precision; integers and enumerations limited where the
// database asks for it and cut to the field's width.
struct Expected {
  bool is_double;
  double physical;
  std::uint64_t integer;
};

inline Expected ExpectedValue(const SignalAdapter_Signal& signal, std::uint64_t raw) {
  const bool limited = (signal.flags & SIGNAL_DB_SIGNAL_FLAGS_SKIP_MIN_MAX_CALC) == 0U;
  if (signal.value_type == SIGNAL_DB_SIGNAL_VALUE_TYPE_FLOAT) {
    double value = static_cast<double>(raw) * signal.value_factor_offset.scale_factor.double_float +
                   signal.value_factor_offset.offset.double_float;
    if (limited) {
      value = value < signal.value_min_max.min.double_float ? signal.value_min_max.min.double_float : value;
      value = value > signal.value_min_max.max.double_float ? signal.value_min_max.max.double_float : value;
    }
    return {true, static_cast<double>(static_cast<float>(value)), 0};
  }
  std::uint64_t value = raw;
  if (limited) {
    value = value < signal.value_min_max.min.unsigned_int ? signal.value_min_max.min.unsigned_int : value;
    value = value > signal.value_min_max.max.unsigned_int ? signal.value_min_max.max.unsigned_int : value;
  }
  return {false, 0.0, value & AllOnes(8U * signal.value_byte_length)};
}

// A record field read through its description, whatever the record type.
inline Expected FieldValue(const void* record, const initialfrontsideradarlefthal::meta::FieldInfo& field) {
  using initialfrontsideradarlefthal::meta::FieldKind;
  const auto* bytes = static_cast<const unsigned char*>(record) + field.byte_offset;
  switch (field.kind) {
    case FieldKind::kDouble: {
      double value = 0;
      std::memcpy(&value, bytes, sizeof(value));
      return {true, value, 0};
    }
    case FieldKind::kUInt8:
    case FieldKind::kEnum8:
      return {false, 0.0, *bytes};
    case FieldKind::kUInt16:
    case FieldKind::kEnum16: {
      std::uint16_t value = 0;
      std::memcpy(&value, bytes, sizeof(value));
      return {false, 0.0, value};
    }
    case FieldKind::kUInt64: {
      std::uint64_t value = 0;
      std::memcpy(&value, bytes, sizeof(value));
      return {false, 0.0, value};
    }
  }
  ADD_FAILURE() << "unknown field kind";
  return {false, 0.0, 0};
}

// Calls f(property, record) with the typed property of group `index` and a
// default record of its type, so one test body can visit all 52 groups.
template <typename F>
void WithGroup(const SignalAdapter& adapter, std::size_t index, F&& f) {
  switch (index) {
#define FSRL_TEST_GROUP_CASE(i, Record, stem)             \
  case i: {                                               \
    initialfrontsideradarlefthal::types::Record record{}; \
    f(*adapter.stem(), record);                           \
    break;                                                \
  }
    FSRL_FOR_EACH_SIGNAL_GROUP(FSRL_TEST_GROUP_CASE)
#undef FSRL_TEST_GROUP_CASE
    default:
      ADD_FAILURE() << "no group " << index;
  }
}

// Every test runs against a fresh service that knows the real database, with
// no begin-transaction callback or E2E refusal left over from another test and
// the log captured.
class SignalAdapterTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Service::Instance().Reset();
    Service::Instance().DefineSignalGroups(initialfrontsideradarlefthal_signal_groups, kGroupCount);
    zol::afw::core::TransactionTesting::Reset();
    zol::e2e::testing::ClearRejections();
    previous_level_ = zol::log::DefaultLevel();
    zol::log::SetDefaultLevel(LoggingLevel::kInfo);
  }

  void TearDown() override {
    zol::afw::core::TransactionTesting::Reset();
    zol::e2e::testing::ClearRejections();
    zol::log::SetDefaultLevel(previous_level_);
  }

  // An Impl made as Create makes it, before Init, for tests of its inside.
  static std::shared_ptr<Impl> MakeImpl(const zol::afw::core::ContextualObject* parent) {
    std::shared_ptr<Impl> impl =
        std::allocate_shared<Impl>(zol::pmr::polymorphic_allocator<Impl>(zol::pmr::get_default_resource()), parent);
    impl->set_self(impl);
    return impl;
  }

  // An Impl set up completely, as Create hands it out.
  std::shared_ptr<Impl> MakeInitializedImpl() {
    std::shared_ptr<Impl> impl = MakeImpl(&app_);
    EXPECT_EQ(impl->Init(), ErrorCode::kSuccess);
    return impl;
  }

  zol::afw::core::DispatchQueue& queue() { return app_.execution_context()->dispatch_queue(); }

  std::size_t Calls(const char* function) const { return Service::Instance().CallCount(function); }

  zol::log::CapturingSink sink_;
  zol::log::ScopedSink scoped_sink_{&sink_};
  zol::afw::core::Executable app_{"app"};

 private:
  LoggingLevel previous_level_{LoggingLevel::kInfo};
};

}  // namespace fsrl_test

#endif  // FSRL_TESTS_SIGNAL_ADAPTER_TEST_SUPPORT_H
