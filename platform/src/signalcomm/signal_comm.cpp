#include "zol/signalcomm/signal_comm.h"

#include <array>
#include <cstddef>
#include <exception>
#include <utility>

#include "service_core.h"
#include "zol/format/format.h"

namespace {

using zol::signalcomm::detail::ServiceCore;

// Exceptions must not cross the C interface. The only ones the service raises are allocation failures
// (std::bad_alloc and its relatives from the containers); the client learns of them as a code.
template <typename Operation>
int Guarded(const char* function, Operation&& operation) {
  try {
    return std::forward<Operation>(operation)();
  } catch (const std::exception& error) {
    std::array<char, ServiceCore::kMessageCapacity> message{};
    const std::size_t length = zol::format::FormatTo(message.data(), message.size(), "{}: {}", function, error.what());
    ServiceCore::Instance().Failure(zol::string_view(message.data(), length));
    return SIGNALCOMM_E_NO_MEMORY;
  }
}

}  // namespace

extern "C" {

int SignalComm_CreateContext(const char* client_name, const char* short_name, SignalComm_NotificationCallback callback,
                             void* user, SignalComm_Context_t* context) {
  return Guarded(static_cast<const char*>(__func__), [&] {
    return ServiceCore::Instance().CreateContext(client_name, short_name, callback, user, context);
  });
}

int SignalComm_DestroyContext(SignalComm_Context_t* context) {
  return Guarded(static_cast<const char*>(__func__), [&] { return ServiceCore::Instance().DestroyContext(context); });
}

int SignalComm_GetSignalGroupInfo(SignalComm_Context_t context, const char* const* group_names, std::size_t count,
                                  const SignalComm_SignalGroupInfo** infos) {
  return Guarded(static_cast<const char*>(__func__),
                 [&] { return ServiceCore::Instance().GetSignalGroupInfo(context, group_names, count, infos); });
}

int SignalComm_SignalGroupCache_Create(SignalComm_Context_t context, const SignalComm_Name_t* produced,
                                       std::size_t produced_count, const SignalComm_Name_t* consumed,
                                       std::size_t consumed_count, SignalComm_SignalGroupCache_t* cache) {
  return Guarded(static_cast<const char*>(__func__), [&] {
    return ServiceCore::Instance().CacheCreate(context, produced, produced_count, consumed, consumed_count, cache);
  });
}

int SignalComm_SignalGroupCache_Destroy(SignalComm_SignalGroupCache_t* cache) {
  return Guarded(static_cast<const char*>(__func__), [&] { return ServiceCore::Instance().CacheDestroy(cache); });
}

int SignalComm_SignalGroupCache_GetByIndex(SignalComm_SignalGroupCache_t cache, std::size_t index,
                                           const SignalComm_SignalGroup** group) {
  return Guarded(static_cast<const char*>(__func__),
                 [&] { return ServiceCore::Instance().CacheGetByIndex(cache, index, group); });
}

int SignalComm_SignalGroupCache_Retrieve(SignalComm_SignalGroupCache_t cache) {
  return Guarded(static_cast<const char*>(__func__), [&] { return ServiceCore::Instance().CacheRetrieve(cache); });
}

int SignalComm_SetNotificationConfig(SignalComm_Context_t context, SignalComm_Name_t group,
                                     SignalComm_SignalGroupNotificationConfig config) {
  return Guarded(static_cast<const char*>(__func__),
                 [&] { return ServiceCore::Instance().SetNotificationConfig(context, group, config); });
}

int SignalComm_Signal_GetByteArray(SignalComm_SignalGroupCache_t cache, const SignalComm_Signal* signal,
                                   std::size_t buffer_length, std::uint8_t* buffer, std::size_t* written) {
  return Guarded(static_cast<const char*>(__func__),
                 [&] { return ServiceCore::Instance().GetByteArray(cache, signal, buffer_length, buffer, written); });
}

int SignalComm_Signal_GetByteArrayBuffer(SignalComm_SignalGroupCache_t cache, const SignalComm_Signal* signal,
                                         const std::uint8_t** data, std::size_t* size) {
  return Guarded(static_cast<const char*>(__func__),
                 [&] { return ServiceCore::Instance().GetByteArrayBuffer(cache, signal, data, size); });
}

}  // extern "C"
