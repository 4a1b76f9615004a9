/// @file
/// @brief State and operations of the signal communication service, shared by the C interface and the
/// C++ facade. Private to the platform library.
#ifndef ZOL_SRC_SIGNALCOMM_SERVICE_CORE_H
#define ZOL_SRC_SIGNALCOMM_SERVICE_CORE_H

#include <array>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "detail/failure_injector.h"
#include "zol/e2e/signal_database.h"
#include "zol/format/format.h"
#include "zol/log/logging.h"
#include "zol/memory/span.h"
#include "zol/mono_clock.h"
#include "zol/nodiscard.h"
#include "zol/pmr/deleters.h"
#include "zol/pmr/memory_resource.h"
#include "zol/pmr/polymorphic_allocator.h"
#include "zol/signalcomm/signal_comm.h"
#include "zol/string_view.h"

namespace zol {
namespace signalcomm {
namespace detail {

/// The C functions, for call counting and failure injection.
enum class Function : std::size_t {
  kCreateContext,
  kDestroyContext,
  kGetSignalGroupInfo,
  kCacheCreate,
  kCacheDestroy,
  kCacheGetByIndex,
  kCacheRetrieve,
  kSetNotificationConfig,
  kGetByteArray,
  kGetByteArrayBuffer,
};
constexpr std::size_t kFunctionCount = 10;

/// The C name of @p function ("SignalComm_CreateContext" ...), from the one table that also serves
/// FunctionByName; it heads every message about a call.
const char* FunctionName(Function function);

/// The function called @p name; false when there is none.
bool FunctionByName(zol::string_view name, Function* function);

/// Everything the service knows and does, behind one mutex.
///
/// Notification callbacks run on a worker thread of the service, started with the first queued
/// notification, and always without the mutex held, so that a callback may call the service again.
class ServiceCore {
 public:
  /// Longest log line of the service, terminating NUL included.
  static constexpr std::size_t kMessageCapacity = 256;

  /// The process-wide instance; never destroyed (clients may still call in from static destructors).
  static ServiceCore& Instance();

  ServiceCore(const ServiceCore&) = delete;
  ServiceCore(ServiceCore&&) = delete;
  ServiceCore& operator=(const ServiceCore&) = delete;
  ServiceCore& operator=(ServiceCore&&) = delete;

  // Configuration and producer side (zol::signalcomm::Service).
  void DefineSignalGroup(zol::string_view name, std::size_t length);
  void DefineSignalGroups(const SignalAdapter_SignalGroup* groups, std::size_t count);
  void Reset();
  SignalComm_Name_t IdentityOf(zol::string_view name) const;
  int Publish(zol::string_view group_name, zol::memory::span<const std::uint8_t> payload);
  int Publish(SignalComm_Name_t group, zol::memory::span<const std::uint8_t> payload);
  void FlushNotifications();
  zol::MonoClock::time_point started_at() const;
  bool has_arrivals() const;
  zol::MonoClock::time_point last_arrival() const;
  std::uint64_t arrival_count() const;
  void InjectFailure(zol::string_view function_name, std::size_t nth_call, int code);
  void ClearInjections();
  std::size_t CallCount(zol::string_view function_name) const;

  class Call;

  /// @brief The one way into the service for the C functions: runs @p body as a call of @p function.
  ///
  /// The call holds the service's lock for as long as @p body runs and is counted; an injected failure for it
  /// answers instead of @p body. An exception from @p body (the containers' allocation failures: exceptions must
  /// not cross the C interface) is logged with the function's name and answered with SIGNALCOMM_E_NO_MEMORY.
  /// @p body is called as `int(Call&)`.
  template <typename Body>
  int Enter(Function function, Body&& body);

  // Client side: the work of the C functions, each entered through Enter.
  int CreateContext(Call& call, const char* client_name, const char* short_name,
                    SignalComm_NotificationCallback callback, void* user, SignalComm_Context_t* context);
  int DestroyContext(Call& call, SignalComm_Context_t* context);
  int GetSignalGroupInfo(Call& call, SignalComm_Context_t context, const char* const* group_names, std::size_t count,
                         const SignalComm_SignalGroupInfo** infos);
  int CacheCreate(Call& call, SignalComm_Context_t context, const SignalComm_Name_t* produced,
                  std::size_t produced_count, const SignalComm_Name_t* consumed, std::size_t consumed_count,
                  SignalComm_SignalGroupCache_t* cache);
  int CacheDestroy(Call& call, SignalComm_SignalGroupCache_t* cache);
  int CacheGetByIndex(Call& call, SignalComm_SignalGroupCache_t cache, std::size_t index,
                      const SignalComm_SignalGroup** group);
  int CacheRetrieve(Call& call, SignalComm_SignalGroupCache_t cache);
  int SetNotificationConfig(Call& call, SignalComm_Context_t context, SignalComm_Name_t group,
                            SignalComm_SignalGroupNotificationConfig config);
  int GetByteArray(Call& call, SignalComm_SignalGroupCache_t cache, const SignalComm_Signal* signal,
                   std::size_t buffer_length, std::uint8_t* buffer, std::size_t* written);
  int GetByteArrayBuffer(Call& call, SignalComm_SignalGroupCache_t cache, const SignalComm_Signal* signal,
                         const std::uint8_t** data, std::size_t* size);

  /// Logs a misuse of the service at warning level.
  void Misuse(zol::string_view message) const;
  /// Logs a misuse at warning level, formatted as zol::format::FormatTo does, without allocating.
  template <typename... Args>
  void MisuseFormatted(zol::string_view format, const Args&... args) const {
    std::array<char, kMessageCapacity> message{};
    const std::size_t length = zol::format::FormatTo(message.data(), message.size(), format, args...);
    Misuse(zol::string_view(message.data(), length));
  }
  /// Logs a failure of the service itself at error level.
  void Failure(zol::string_view message) const;

 private:
  // One defined group and its latest payload.
  struct Group {
    SignalComm_Name_t name{0};
    std::string text;
    SignalComm_SignalGroupInfo info{};
    std::size_t index{0};
    std::vector<std::uint8_t> latest;  // the group's length; zeros beyond received_length
    std::size_t received_length{0};
    std::uint64_t generation{0};  // arrivals so far; 0: never received
  };

  struct ContextRecord {
    std::string client_name;
    std::string short_name;
    SignalComm_NotificationCallback callback{nullptr};
    void* user{nullptr};
    // Indexed by group index; groups beyond the end are DISABLED.
    std::vector<SignalComm_SignalGroupNotificationConfig> configs;
  };

  // One consumed group of a cache. The group record is what the client sees.
  struct Slot {
    SignalComm_SignalGroup group;
    SignalComm_Signal signal;
    const Group* source;
    std::size_t offset;           // of the snapshot in Cache::bytes
    std::size_t length;           // the group's length
    std::size_t received_length;  // of the snapshot
    std::uint64_t seen_generation;
    bool holds_payload;  // false while the snapshot is the initial one
  };

  // A client's snapshot. Lives in the client's memory resource, like any object the client creates.
  struct Cache {
    explicit Cache(zol::pmr::memory_resource* resource)
        : slots(zol::pmr::polymorphic_allocator<Slot>(resource)),
          bytes(zol::pmr::polymorphic_allocator<std::uint8_t>(resource)) {}
    SignalComm_Context_t context{0};
    zol::pmr::vector<Slot> slots;
    zol::pmr::vector<std::uint8_t> bytes;
  };
  using CachePtr = std::unique_ptr<Cache, zol::pmr::SizedAllocatorDeleter<zol::pmr::polymorphic_allocator<Cache>>>;

  struct Pending {
    SignalComm_Context_t context;
    SignalComm_Name_t group;
  };

  ServiceCore();
  ~ServiceCore() = default;

  Group* FindGroup(SignalComm_Name_t name) const;
  Group* FindGroup(zol::string_view name) const;
  ContextRecord* FindContext(SignalComm_Context_t handle) const;
  Cache* FindCache(SignalComm_SignalGroupCache_t handle) const;
  static const Slot* FindSlot(const Cache& cache, const SignalComm_Signal& signal);
  // The received payload of @p signal's slot in @p cache (valid until the cache is retrieved again or destroyed),
  // or the misuse reported and its code when the cache or the slot is unknown; the outputs are set on success only.
  int ResolvePayload(Call& call, SignalComm_SignalGroupCache_t cache, const SignalComm_Signal& signal,
                     const std::uint8_t*& bytes, std::size_t& length) const;
  std::uint64_t NextHandle();
  // Files @p object under a new handle in @p map and hands the handle out through @p handle.
  template <typename Map, typename Object, typename Handle>
  int Register(Map& map, Object object, Handle* handle) {
    const Handle registered = NextHandle();
    map.emplace(registered, std::move(object));
    *handle = registered;
    return SIGNALCOMM_OK;
  }
  void DefineLocked(zol::string_view name, std::size_t length);
  int PublishLocked(Group& group, zol::memory::span<const std::uint8_t> payload);
  // Publish to the group @p key names (by name or by identity); @p unknown is the misuse message for no such group.
  template <typename Key>
  int PublishTo(const Key& key, zol::string_view unknown, zol::memory::span<const std::uint8_t> payload);
  void StartWorkerLocked();
  void RunWorker();
  void Deliver(std::unique_lock<std::mutex>& lock, SignalComm_Context_t handle,
               const std::vector<SignalComm_Name_t>& names);
  bool OnWorkerThread() const;

  mutable std::mutex mutex_;
  // Wakes the worker when notifications are queued.
  std::condition_variable work_cv_;
  // Wakes FlushNotifications, DestroyContext and Reset when a delivery finished.
  std::condition_variable delivered_cv_;

  zol::log::Context log_;

  std::vector<std::unique_ptr<Group>> groups_;  // by index; identity = kFirstIdentity + index
  std::map<SignalComm_Context_t, std::unique_ptr<ContextRecord>> contexts_;
  std::map<SignalComm_SignalGroupCache_t, CachePtr> caches_;
  std::uint64_t last_handle_{0};

  std::vector<Pending> queue_;
  std::uint64_t queued_{0};                  // notifications queued so far
  std::uint64_t delivered_{0};               // of those, how many are done with
  SignalComm_Context_t running_context_{0};  // whose callback runs now, 0: none
  std::thread worker_;
  std::thread::id worker_id_;

  zol::MonoClock::time_point started_at_;
  zol::MonoClock::time_point last_arrival_;
  std::uint64_t arrival_count_{0};

  zol::detail::FailureInjector<Function, kFunctionCount, int> failures_;
};

/// One call of a C function, from its entry to its return: it holds the service's lock and names the function
/// in every message logged about it ("SignalComm_CreateContext: null argument").
class ServiceCore::Call {
 public:
  Call(ServiceCore& core, Function function);

  /// The service's lock, held for the whole call; a call that waits on a condition waits with it.
  std::unique_lock<std::mutex>& lock() { return lock_; }

  /// Logs a misuse of this call at warning level, after the function's name.
  void Misuse(zol::string_view what) const;
  /// Misuse, then @p code for the call to return.
  ZOL_NODISCARD int Refuse(zol::string_view what, int code) const {
    Misuse(what);
    return code;
  }

  /// Logs a misuse of this call, formatted as zol::format::FormatTo does, after the function's name.
  template <typename... Args>
  void MisuseFormatted(zol::string_view format, const Args&... args) const {
    std::array<char, kMessageCapacity> message{};
    const std::size_t prefix = zol::format::FormatTo(message.data(), message.size(), "{}: ", FunctionName(function_));
    const std::size_t length =
        prefix + zol::format::FormatTo(message.data() + prefix, message.size() - prefix, format, args...);
    core_.Misuse(zol::string_view(message.data(), length));
  }

 private:
  ServiceCore& core_;
  Function function_;
  std::unique_lock<std::mutex> lock_;
};

template <typename Body>
int ServiceCore::Enter(Function function, Body&& body) {
  try {
    Call call(*this, function);
    int injected = 0;
    if (failures_.Intercept(function, &injected)) {
      return injected;
    }
    return std::forward<Body>(body)(call);
  } catch (const std::exception& error) {
    // The lock is released by now: logging does not need it.
    std::array<char, kMessageCapacity> message{};
    const std::size_t length =
        zol::format::FormatTo(message.data(), message.size(), "{}: {}", FunctionName(function), error.what());
    Failure(zol::string_view(message.data(), length));
    return SIGNALCOMM_E_NO_MEMORY;
  }
}

}  // namespace detail
}  // namespace signalcomm
}  // namespace zol

#endif  // ZOL_SRC_SIGNALCOMM_SERVICE_CORE_H
