#include "zol/signalcomm/signal_comm.h"

#include <cstddef>

#include "service_core.h"

namespace {

using zol::signalcomm::detail::Function;
using zol::signalcomm::detail::ServiceCore;

}  // namespace

extern "C" {

int SignalComm_CreateContext(const char* client_name, const char* short_name, SignalComm_NotificationCallback callback,
                             void* user, SignalComm_Context_t* context) {
  ServiceCore& core = ServiceCore::Instance();
  return core.Enter(Function::kCreateContext, [&](ServiceCore::Call& call) {
    return core.CreateContext(call, client_name, short_name, callback, user, context);
  });
}

int SignalComm_DestroyContext(SignalComm_Context_t* context) {
  ServiceCore& core = ServiceCore::Instance();
  return core.Enter(Function::kDestroyContext,
                    [&](ServiceCore::Call& call) { return core.DestroyContext(call, context); });
}

int SignalComm_GetSignalGroupInfo(SignalComm_Context_t context, const char* const* group_names, std::size_t count,
                                  const SignalComm_SignalGroupInfo** infos) {
  ServiceCore& core = ServiceCore::Instance();
  return core.Enter(Function::kGetSignalGroupInfo, [&](ServiceCore::Call& call) {
    return core.GetSignalGroupInfo(call, context, group_names, count, infos);
  });
}

int SignalComm_SignalGroupCache_Create(SignalComm_Context_t context, const SignalComm_Name_t* produced,
                                       std::size_t produced_count, const SignalComm_Name_t* consumed,
                                       std::size_t consumed_count, SignalComm_SignalGroupCache_t* cache) {
  ServiceCore& core = ServiceCore::Instance();
  return core.Enter(Function::kCacheCreate, [&](ServiceCore::Call& call) {
    return core.CacheCreate(call, context, produced, produced_count, consumed, consumed_count, cache);
  });
}

int SignalComm_SignalGroupCache_Destroy(SignalComm_SignalGroupCache_t* cache) {
  ServiceCore& core = ServiceCore::Instance();
  return core.Enter(Function::kCacheDestroy, [&](ServiceCore::Call& call) { return core.CacheDestroy(call, cache); });
}

int SignalComm_SignalGroupCache_GetByIndex(SignalComm_SignalGroupCache_t cache, std::size_t index,
                                           const SignalComm_SignalGroup** group) {
  ServiceCore& core = ServiceCore::Instance();
  return core.Enter(Function::kCacheGetByIndex,
                    [&](ServiceCore::Call& call) { return core.CacheGetByIndex(call, cache, index, group); });
}

int SignalComm_SignalGroupCache_Retrieve(SignalComm_SignalGroupCache_t cache) {
  ServiceCore& core = ServiceCore::Instance();
  return core.Enter(Function::kCacheRetrieve, [&](ServiceCore::Call& call) { return core.CacheRetrieve(call, cache); });
}

int SignalComm_SetNotificationConfig(SignalComm_Context_t context, SignalComm_Name_t group,
                                     SignalComm_SignalGroupNotificationConfig config) {
  ServiceCore& core = ServiceCore::Instance();
  return core.Enter(Function::kSetNotificationConfig,
                    [&](ServiceCore::Call& call) { return core.SetNotificationConfig(call, context, group, config); });
}

int SignalComm_Signal_GetByteArray(SignalComm_SignalGroupCache_t cache, const SignalComm_Signal* signal,
                                   std::size_t buffer_length, std::uint8_t* buffer, std::size_t* written) {
  ServiceCore& core = ServiceCore::Instance();
  return core.Enter(Function::kGetByteArray, [&](ServiceCore::Call& call) {
    return core.GetByteArray(call, cache, signal, buffer_length, buffer, written);
  });
}

int SignalComm_Signal_GetByteArrayBuffer(SignalComm_SignalGroupCache_t cache, const SignalComm_Signal* signal,
                                         const std::uint8_t** data, std::size_t* size) {
  ServiceCore& core = ServiceCore::Instance();
  return core.Enter(Function::kGetByteArrayBuffer,
                    [&](ServiceCore::Call& call) { return core.GetByteArrayBuffer(call, cache, signal, data, size); });
}

}  // extern "C"
