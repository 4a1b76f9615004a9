// Fuzz logic of the profile 5 check: one group's protection state driven through a sequence of payloads, checked
// through CheckSignalGroup as the adapter does, and the producer side (ProtectProfile5) alongside.
//
// Input: byte 0 selects the group (mod 52). Then operations, each an operation byte (kind = byte % 8,
// parameter = byte / 8) followed by its arguments; missing argument bytes read as zero:
//   0 raw payload       LEN, LEN bytes: the group's payload as received (cut or zero-filled to its length)
//   1 protected         COUNTER, LEN, LEN bytes: as 0, then protected with COUNTER as the radar does
//   2 corrupted         COUNTER, LEN, LEN bytes, BIT (2 bytes): as 1, then one bit flipped
//   3 no new data       -: a check without an update
//   4 initialize        -: the protection back to its created state
//   5 direct check      LEN_LOW, bytes: Check on a buffer of LEN_LOW + 256 * parameter bytes (null when empty and
//                       the parameter is odd)
//   6 next counter      -: the last payload protected again with the state's counter + parameter
//   7 protect any       LEN, COUNTER, LEN bytes: ProtectProfile5 on a buffer of LEN bytes at header offset parameter
#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "fuzz_support.h"
#include "fuzz_targets.h"
#include "initialfrontsideradarlefthal_e2e_database.h"
#include "zol/afw/core/error_code.h"
#include "zol/afw/core/signal_property_status.h"
#include "zol/e2e/check_signal_group.h"
#include "zol/e2e/crc.h"
#include "zol/e2e/e2e_protection.h"
#include "zol/e2e/signal_group_context.h"

namespace fsrl_fuzz {
namespace {

using zol::afw::core::ErrorCode;
using zol::afw::core::SignalPropertyStatusCode;
using zol::e2e::E2E_P05CheckStatusType;

// Bounds the work of one input whatever its size.
constexpr std::size_t kMaxOperations = 4096;

std::uint64_t ExpectedResult(E2E_P05CheckStatusType status) {
  switch (status) {
    case zol::e2e::E2E_P05STATUS_OK:
    case zol::e2e::E2E_P05STATUS_OKSOMELOST:
      return zol::e2e::PackCheckResult(ErrorCode::kSuccess, SignalPropertyStatusCode::kE2eOk);
    case zol::e2e::E2E_P05STATUS_NONEWDATA:
      return zol::e2e::PackCheckResult(ErrorCode::kSuccess, SignalPropertyStatusCode::kE2eNoNewData);
    case zol::e2e::E2E_P05STATUS_ERROR:
      return zol::e2e::PackCheckResult(ErrorCode::kFailure, SignalPropertyStatusCode::kE2eWrongCRC);
    case zol::e2e::E2E_P05STATUS_REPEATED:
      return zol::e2e::PackCheckResult(ErrorCode::kFailure, SignalPropertyStatusCode::kE2eRepeated);
    case zol::e2e::E2E_P05STATUS_WRONGSEQUENCE:
      return zol::e2e::PackCheckResult(ErrorCode::kFailure, SignalPropertyStatusCode::kE2eWrongSequence);
  }
  return 0;
}

zol::e2e::E2E_PCheckStatusType ExpectedGeneric(E2E_P05CheckStatusType status) {
  switch (status) {
    case zol::e2e::E2E_P05STATUS_OK:
    case zol::e2e::E2E_P05STATUS_OKSOMELOST:
      return zol::e2e::E2E_P_OK;
    case zol::e2e::E2E_P05STATUS_NONEWDATA:
      return zol::e2e::E2E_P_NONEWDATA;
    case zol::e2e::E2E_P05STATUS_ERROR:
      return zol::e2e::E2E_P_ERROR;
    case zol::e2e::E2E_P05STATUS_REPEATED:
      return zol::e2e::E2E_P_REPEATED;
    case zol::e2e::E2E_P05STATUS_WRONGSEQUENCE:
      return zol::e2e::E2E_P_WRONGSEQUENCE;
  }
  return zol::e2e::E2E_P_NOTAVAILABLE;
}

class Session {
 public:
  explicit Session(std::size_t group_index)
      : context_(zol::e2e::InitializeSignalGroup(static_cast<unsigned int>(group_index),
                                                 initialfrontsideradarlefthal_signal_groups,
                                                 initialfrontsideradarlefthal_signals, nullptr)),
        group_(*context_.signal_group_),
        protection_(zol::e2e::E2eProtectionProfile5::Create(context_)) {
    FuzzCheck(protection_ != nullptr, "a group of the database has no profile 5 protection");
    length_ = protection_->payload_buffer_length();
    offset_ = protection_->offset_bytes();
    FuzzCheck(length_ == group_.data_length / 8U, "the payload buffer is not the group's length");
    FuzzCheck(offset_ == group_.offset / 8U, "the header offset is not the group's");
    FuzzCheck(protection_->counter() == 0xFF, "a new protection does not start at counter 0xFF");
    values_.elements = group_.signal_values_storage_total_size / sizeof(SignalAdapter_SignalValue);
    values_.data.reserve(values_.elements);
  }

  void Run(Cursor& in) {
    for (std::size_t n = 0; n < kMaxOperations && !in.done(); ++n) {
      const std::uint8_t op = in.Byte();
      const unsigned parameter = op / 8U;
      switch (op % 8U) {
        case 0:
          FillPayload(in, in.Byte());
          CheckUpdate();
          break;
        case 1: {
          const std::uint8_t counter = in.Byte();
          FillPayload(in, in.Byte());
          Protect(counter);
          CheckUpdate();
          break;
        }
        case 2: {
          const std::uint8_t counter = in.Byte();
          FillPayload(in, in.Byte());
          Protect(counter);
          const unsigned low = in.Byte();
          const unsigned bit = (low | (static_cast<unsigned>(in.Byte()) << 8U)) % (length_ * 8U);
          buffer()[bit / 8U] = static_cast<std::uint8_t>(buffer()[bit / 8U] ^ (1U << (bit % 8U)));
          // A CRC over the whole payload detects every single-bit error, the CRC's own bits included.
          FuzzCheck(CheckUpdate() == zol::e2e::E2E_P05STATUS_ERROR, "a payload with one bit flipped passes the check");
          break;
        }
        case 3:
          CheckWithoutUpdate();
          break;
        case 4:
          protection_->Initialize();
          counter_ = 0xFF;
          accepted_ = false;
          FuzzCheck(!protection_->payload_accepted(), "Initialize keeps a payload accepted");
          FuzzCheck(protection_->counter() == 0xFF, "Initialize does not set the counter to 0xFF");
          FuzzCheck(protection_->last_p05_status() == zol::e2e::E2E_P05STATUS_NONEWDATA,
                    "Initialize does not set the status to NONEWDATA");
          FuzzCheck(protection_->last_check_status() == zol::e2e::E2E_P_NOTAVAILABLE,
                    "Initialize does not set the generic status to NOTAVAILABLE");
          break;
        case 5:
          DirectCheck(in, in.Byte() + 256U * parameter, (parameter & 1U) != 0U);
          break;
        case 6:
          Protect(static_cast<std::uint8_t>(counter_ + parameter));
          CheckUpdate();
          break;
        default:
          ProtectAny(in, parameter);
          break;
      }
    }
  }

 private:
  std::uint8_t* buffer() { return protection_->payload_buffer(); }

  void FillPayload(Cursor& in, std::size_t n) {
    std::vector<std::uint8_t> bytes(n);
    in.Bytes(bytes.data(), n);
    std::memset(buffer(), 0, length_);
    if (n != 0) {
      std::memcpy(buffer(), bytes.data(), n < length_ ? n : length_);
    }
  }

  void Protect(std::uint8_t counter) {
    zol::e2e::ProtectProfile5(group_.data_id, counter, buffer(), length_, offset_);
    FuzzCheck(buffer()[offset_ + 2] == counter, "ProtectProfile5 does not write the counter");
    FuzzCheck(StoredCrc(buffer(), offset_) == Profile5CrcOracle(group_.data_id, buffer(), length_, offset_),
              "ProtectProfile5 writes a CRC other than the profile 5 CRC");
  }

  // What a check of @p data (of the group's length) must say, from the model's counter alone.
  E2E_P05CheckStatusType Expected(const std::uint8_t* data) const {
    if (StoredCrc(data, offset_) != Profile5CrcOracle(group_.data_id, data, length_, offset_)) {
      return zol::e2e::E2E_P05STATUS_ERROR;
    }
    return ExpectedStatusForDelta(static_cast<std::uint8_t>(data[offset_ + 2] - counter_), group_.max_delta_counter);
  }

  void AfterCheck(E2E_P05CheckStatusType expected, E2E_P05CheckStatusType got, std::uint8_t received_counter) {
    FuzzCheck(got == expected, "the check result differs from the profile 5 rules");
    if (got != zol::e2e::E2E_P05STATUS_NONEWDATA) {
      accepted_ = got == zol::e2e::E2E_P05STATUS_OK || got == zol::e2e::E2E_P05STATUS_OKSOMELOST;
    }
    FuzzCheck(protection_->payload_accepted() == accepted_,
              "payload_accepted does not say whether the last new payload passed");
    FuzzCheck(protection_->last_p05_status() == got, "last_p05_status is not the last result");
    FuzzCheck(protection_->last_check_status() == ExpectedGeneric(got), "last_check_status is not the mapped result");
    FuzzCheck(zol::e2e::E2eProtectionProfile5::ToGenericStatus(got) == ExpectedGeneric(got),
              "ToGenericStatus maps a result wrongly");
    if (got == zol::e2e::E2E_P05STATUS_ERROR || got == zol::e2e::E2E_P05STATUS_NONEWDATA) {
      FuzzCheck(protection_->counter() == counter_, "a rejected or absent frame changes the counter");
    } else {
      FuzzCheck(protection_->counter() == received_counter, "an authentic frame does not set the counter");
      counter_ = received_counter;
    }
  }

  E2E_P05CheckStatusType CheckUpdate() {
    const E2E_P05CheckStatusType expected = Expected(buffer());
    const std::uint8_t received_counter = buffer()[offset_ + 2];
    const std::uint64_t result = zol::e2e::CheckSignalGroup(context_, values_, true, *protection_);
    const E2E_P05CheckStatusType got = protection_->last_p05_status();
    FuzzCheck(result == ExpectedResult(got), "CheckSignalGroup reports another result than the check gave");
    AfterCheck(expected, got, received_counter);
    CheckDecodedValues();
    return got;
  }

  void CheckWithoutUpdate() {
    const std::uint64_t result = zol::e2e::CheckSignalGroup(context_, values_, false, *protection_);
    // Held bytes that passed their check stay usable; bytes that failed it, or were never checked, never are.
    const ErrorCode expected_error = accepted_ ? ErrorCode::kSuccess : ErrorCode::kNotAvailable;
    FuzzCheck(result == zol::e2e::PackCheckResult(expected_error, SignalPropertyStatusCode::kE2eNoNewData),
              "a check without an update does not answer by whether the held payload passed");
    AfterCheck(zol::e2e::E2E_P05STATUS_NONEWDATA, protection_->last_p05_status(), 0);
    CheckDecodedValues();
  }

  void DirectCheck(Cursor& in, std::size_t n, bool null_when_empty) {
    // Exactly n bytes on the heap: a read past them is an address sanitizer report.
    std::unique_ptr<std::uint8_t[]> bytes(new std::uint8_t[n]);
    in.Bytes(bytes.get(), n);
    const std::uint8_t* data = (n == 0 && null_when_empty) ? nullptr : bytes.get();
    E2E_P05CheckStatusType expected = zol::e2e::E2E_P05STATUS_ERROR;
    std::uint8_t received_counter = 0;
    if (data != nullptr && n == length_) {
      expected = Expected(data);
      received_counter = data[offset_ + 2];
    }
    const E2E_P05CheckStatusType got = protection_->Check(true, data, n);
    AfterCheck(expected, got, received_counter);
  }

  void ProtectAny(Cursor& in, std::size_t offset) {
    const std::size_t n = in.Byte();
    const std::uint8_t counter = in.Byte();
    std::unique_ptr<std::uint8_t[]> bytes(new std::uint8_t[n]);
    in.Bytes(bytes.get(), n);
    const std::vector<std::uint8_t> before(bytes.get(), bytes.get() + n);
    zol::e2e::ProtectProfile5(group_.data_id, counter, bytes.get(), n, offset);
    const bool fits = offset + 3 <= n;
    for (std::size_t i = 0; i < n; ++i) {
      if (!fits || i < offset || i >= offset + 3) {
        FuzzCheck(bytes[i] == before[i], "ProtectProfile5 writes outside the header, or a header that does not fit");
      }
    }
    if (fits) {
      FuzzCheck(bytes[offset + 2] == counter, "ProtectProfile5 does not write the counter");
      FuzzCheck(StoredCrc(bytes.get(), offset) == Profile5CrcOracle(group_.data_id, bytes.get(), n, offset),
                "ProtectProfile5 writes a CRC other than the profile 5 CRC");
      FuzzCheck(zol::e2e::ComputeProfile5Crc(group_.data_id, bytes.get(), n, offset) == StoredCrc(bytes.get(), offset),
                "ComputeProfile5Crc disagrees with the CRC ProtectProfile5 wrote");
    }
  }

  // Every signal is decoded into its slot, and a limited value stays within its limits.
  void CheckDecodedValues() {
    FuzzCheck(values_.data.size() == values_.elements, "the value storage is not the group's size");
    for (std::uint16_t i = 0; i < group_.nbr_of_signals; ++i) {
      const SignalAdapter_Signal& signal = context_.signals_[i];
      if (signal.value_storage_start_index >= values_.elements ||
          (signal.flags & SIGNAL_DB_SIGNAL_FLAGS_SKIP_MIN_MAX_CALC) != 0U) {
        continue;
      }
      const SignalAdapter_SignalValue value = values_.data[signal.value_storage_start_index];
      const SignalAdapter_SignalMinMax& limits = signal.value_min_max;
      switch (signal.value_type) {
        case SIGNAL_DB_SIGNAL_VALUE_TYPE_FLOAT:
          if (limits.min.double_float <= limits.max.double_float && !std::isnan(value.double_float)) {
            FuzzCheck(value.double_float >= limits.min.double_float && value.double_float <= limits.max.double_float,
                      "a decoded value lies outside its limits");
          }
          break;
        case SIGNAL_DB_SIGNAL_VALUE_TYPE_SIGNED_INTEGER:
          if (limits.min.signed_int <= limits.max.signed_int) {
            FuzzCheck(value.signed_int >= limits.min.signed_int && value.signed_int <= limits.max.signed_int,
                      "a decoded value lies outside its limits");
          }
          break;
        case SIGNAL_DB_SIGNAL_VALUE_TYPE_UNSIGNED_INTEGER:
        case SIGNAL_DB_SIGNAL_VALUE_TYPE_ENUMERATED:
          if (limits.min.unsigned_int <= limits.max.unsigned_int) {
            FuzzCheck(value.unsigned_int >= limits.min.unsigned_int && value.unsigned_int <= limits.max.unsigned_int,
                      "a decoded value lies outside its limits");
          }
          break;
        default:
          break;  // byte arrays are never limited
      }
    }
  }

  zol::e2e::SignalGroupContext context_;
  const SignalAdapter_SignalGroup& group_;
  zol::e2e::E2eProtectionProfile5Ptr protection_;
  zol::e2e::SignalStorageBuffer values_;
  std::size_t length_ = 0;
  std::size_t offset_ = 0;
  std::uint8_t counter_ = 0xFF;  // the model of the protection's counter
  bool accepted_ = false;        // the model of whether the last new payload passed
};

}  // namespace

void RunProfile5Check(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return;
  }
  Session session(data[0] % initialfrontsideradarlefthal_signal_group_count);
  Cursor in(data + 1, size - 1);
  session.Run(in);
}

}  // namespace fsrl_fuzz
