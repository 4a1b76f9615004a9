// Fuzz logic of the signal adapter's read path: any payload of any length handed to the signal service for one
// group, then the group's typed read (E2E check and decoding into its record) and its raw read.
//
// The adapter keeps each group's E2E counter from input to input, as it does from frame to frame; a model of that
// state, kept next to the adapter, says which result every read must have.
#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "fuzz_targets.h"
#include "initialfrontsideradarlefthal_e2e_database.h"
#include "initialfrontsideradarlefthal_signal_adapter.h"
#include "initialfrontsideradarlefthal_signal_groups_meta.h"
#include "zol/afw/core/error_code.h"
#include "zol/afw/core/executable.h"
#include "zol/afw/core/signal_property_status.h"
#include "zol/afw/core/transaction.h"
#include "zol/e2e/crc.h"
#include "zol/e2e/e2e_signal_group_property.h"
#include "zol/memory/span.h"
#include "zol/signalcomm/service.h"

namespace fsrl_fuzz {
namespace {

using zol::afw::core::ErrorCode;
using zol::afw::core::SignalPropertyStatus;
using zol::afw::core::SignalPropertyStatusCode;
using RawBytes = zol::memory::span<const unsigned char>;

constexpr std::size_t kGroups = initialfrontsideradarlefthal_signal_group_count;

using TypedRead = ErrorCode (*)(const void* property, SignalPropertyStatus* status);
using RawRead = ErrorCode (*)(const void* property, RawBytes& bytes, SignalPropertyStatus* status);

template <typename Record>
ErrorCode ReadTypedGroup(const void* property, SignalPropertyStatus* status) {
  Record record{};
  return static_cast<const zol::e2e::E2ESignalGroupProperty<Record>*>(property)->get(&record, status);
}

template <typename Record>
ErrorCode ReadRawGroup(const void* property, RawBytes& bytes, SignalPropertyStatus* status) {
  return static_cast<const zol::e2e::E2ESignalGroupProperty<Record>*>(property)->get_raw(bytes, status);
}

struct GroupReader {
  std::shared_ptr<void> property;
  TypedRead typed = nullptr;
  RawRead raw = nullptr;
};

// What the adapter must remember of a group: the E2E counter of its last authentic payload and the payload of its
// last snapshot.
struct GroupModel {
  std::uint8_t counter = 0xFF;
  bool has_snapshot = false;
  std::vector<std::uint8_t> snapshot;
};

// The application's set-up of the adapter, made once per signal service generation: the service knows the radar's
// groups, and the adapter hangs below an executable whose queue stays idle (notifications are then dropped and
// every read retrieves the cache itself, once per transaction).
struct Harness {
  Harness() {
    SilenceLog();
    auto& service = zol::signalcomm::Service::Instance();
    service.Reset();
    service.DefineSignalGroups(initialfrontsideradarlefthal_signal_groups, kGroups);
    executable.reset(new zol::afw::core::Executable("fsrl_fuzz_typed_read"));
    adapter = initialfrontsideradarlefthal::SignalAdapter::Create(executable.get());
    FuzzCheck(adapter != nullptr, "the signal adapter cannot be created");
    using namespace initialfrontsideradarlefthal;         // NOLINT(google-build-using-namespace)
    using namespace initialfrontsideradarlefthal::types;  // NOLINT(google-build-using-namespace)
#define FSRL_FUZZ_READER(index, Record, stem) \
  readers[(index)] = GroupReader{adapter->stem(), &ReadTypedGroup<Record>, &ReadRawGroup<Record>};
    FSRL_FOR_EACH_SIGNAL_GROUP(FSRL_FUZZ_READER)
#undef FSRL_FUZZ_READER
    for (std::size_t group = 0; group < kGroups; ++group) {
      const char* name = reinterpret_cast<const char*>(initialfrontsideradarlefthal_signal_groups[group].name);
      identities[group] = service.IdentityOf(zol::string_view(name));
      FuzzCheck(identities[group] != 0, "a group of the database is unknown to the signal service");
    }
    generation = ++SignalServiceGeneration();
  }
  ~Harness() {
    readers = {};
    adapter.reset();
    executable.reset();
  }
  Harness(const Harness&) = delete;
  Harness& operator=(const Harness&) = delete;

  std::unique_ptr<zol::afw::core::Executable> executable;
  initialfrontsideradarlefthal::SignalAdapter::Ptr adapter;
  std::array<GroupReader, kGroups> readers{};
  std::array<SignalComm_Name_t, kGroups> identities{};
  std::array<GroupModel, kGroups> models{};
  std::uint64_t generation = 0;
};

Harness& GetHarness() {
  // Made again when another target reset the signal service under it; otherwise kept, and never destroyed at
  // exit, where the platform's process-wide services may already be gone.
  static Harness* harness = nullptr;
  if (harness == nullptr || harness->generation != SignalServiceGeneration()) {
    delete harness;
    harness = nullptr;
    harness = new Harness();
  }
  return *harness;
}

bool ExpectedPair(ErrorCode result, SignalPropertyStatusCode status, ErrorCode want_result,
                  SignalPropertyStatusCode want_status) {
  return result == want_result && status == want_status;
}

}  // namespace

void RunTypedRead(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return;
  }
  Harness& harness = GetHarness();
  const std::size_t group = data[0] % kGroups;
  const SignalAdapter_SignalGroup& record = initialfrontsideradarlefthal_signal_groups[group];
  const std::size_t group_length = record.data_length / 8U;
  const std::size_t offset = record.offset / 8U;

  // An odd multiple of 52 in byte 0 asks for the payload protected as the radar does (its counter byte kept), so
  // that arbitrary values get past the E2E check into the typed record; mutated bytes alone hardly ever do.
  std::vector<std::uint8_t> protected_payload;
  const std::uint8_t* payload = data + 1;
  std::size_t payload_size = size - 1;
  if ((data[0] / kGroups) % 2U == 1U) {
    protected_payload.assign(group_length, 0);
    std::memcpy(protected_payload.data(), payload, payload_size < group_length ? payload_size : group_length);
    zol::e2e::ProtectProfile5(record.data_id, protected_payload[offset + 2], protected_payload.data(), group_length,
                              offset);
    payload = protected_payload.data();
    payload_size = group_length;
  }

  // The payload as the service keeps it: a long one cut to the group's length, a short one as it came.
  const std::size_t received = payload_size < group_length ? payload_size : group_length;
  // The payload as the adapter checks it: the received bytes, zeros after them.
  std::vector<std::uint8_t> checked(group_length, 0);
  if (received != 0) {
    std::memcpy(checked.data(), payload, received);
  }

  auto& service = zol::signalcomm::Service::Instance();
  FuzzCheck(service.Publish(harness.identities[group], zol::memory::span<const std::uint8_t>(payload, payload_size)) ==
                SIGNALCOMM_OK,
            "the signal service refuses a payload of a known group");
  zol::afw::core::Transaction::Begin();

  const GroupReader& reader = harness.readers[group];
  GroupModel& model = harness.models[group];

  SignalPropertyStatus status;
  const ErrorCode result = reader.typed(reader.property.get(), &status);

  // Every result the read may give must come with the matching status.
  const SignalPropertyStatusCode code = status.status_code_;
  FuzzCheck(ExpectedPair(result, code, ErrorCode::kSuccess, SignalPropertyStatusCode::kE2eOk) ||
                ExpectedPair(result, code, ErrorCode::kSuccess, SignalPropertyStatusCode::kE2eNoNewData) ||
                ExpectedPair(result, code, ErrorCode::kFailure, SignalPropertyStatusCode::kE2eWrongCRC) ||
                ExpectedPair(result, code, ErrorCode::kFailure, SignalPropertyStatusCode::kE2eRepeated) ||
                ExpectedPair(result, code, ErrorCode::kFailure, SignalPropertyStatusCode::kE2eWrongSequence),
            "a typed read gives a result and status that do not belong together");

  // And which one it must be.
  const bool authentic =
      Profile5CrcOracle(record.data_id, checked.data(), group_length, offset) == StoredCrc(checked.data(), offset);
  if (!authentic) {
    FuzzCheck(ExpectedPair(result, code, ErrorCode::kFailure, SignalPropertyStatusCode::kE2eWrongCRC),
              "a typed read of a payload with a wrong CRC does not fail with kE2eWrongCRC");
  } else {
    const std::uint8_t counter = checked[offset + 2];
    const auto delta = static_cast<std::uint8_t>(counter - model.counter);
    model.counter = counter;
    switch (ExpectedStatusForDelta(delta, record.max_delta_counter)) {
      case zol::e2e::E2E_P05STATUS_REPEATED:
        FuzzCheck(ExpectedPair(result, code, ErrorCode::kFailure, SignalPropertyStatusCode::kE2eRepeated),
                  "a typed read of a repeated counter does not fail with kE2eRepeated");
        break;
      case zol::e2e::E2E_P05STATUS_OK:
      case zol::e2e::E2E_P05STATUS_OKSOMELOST:
        FuzzCheck(ExpectedPair(result, code, ErrorCode::kSuccess, SignalPropertyStatusCode::kE2eOk),
                  "a typed read of an authentic payload in sequence does not succeed with kE2eOk");
        break;
      default:
        FuzzCheck(ExpectedPair(result, code, ErrorCode::kFailure, SignalPropertyStatusCode::kE2eWrongSequence),
                  "a typed read of a counter jump does not fail with kE2eWrongSequence");
        break;
    }
  }

  // The raw read shows the received bytes themselves, and whether they changed since the last snapshot.
  RawBytes bytes;
  SignalPropertyStatus raw_status;
  const ErrorCode raw_result = reader.raw(reader.property.get(), bytes, &raw_status);
  FuzzCheck(raw_result == ErrorCode::kSuccess, "a raw read fails");
  FuzzCheck(bytes.size() == received, "a raw read shows another length than was received");
  FuzzCheck(received == 0 ? bytes.data() == nullptr : std::memcmp(bytes.data(), payload, received) == 0,
            "a raw read shows other bytes than were received");
  const bool modified = !model.has_snapshot || model.snapshot.size() != received ||
                        (received != 0 && std::memcmp(model.snapshot.data(), payload, received) != 0);
  FuzzCheck(raw_status.status_code_ ==
                (modified ? SignalPropertyStatusCode::kDataModified : SignalPropertyStatusCode::kDataUpdated),
            "a raw read reports the wrong change status");
  model.has_snapshot = true;
  model.snapshot.assign(payload, payload + received);
}

}  // namespace fsrl_fuzz
