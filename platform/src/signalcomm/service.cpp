#include "zol/signalcomm/service.h"

#include "service_core.h"

namespace zol {
namespace signalcomm {

namespace {

detail::ServiceCore& Core() { return detail::ServiceCore::Instance(); }

}  // namespace

Service& Service::Instance() {
  // Stateless front of the core; all state lives in ServiceCore, which the C functions share.
  static Service service;
  return service;
}

// The members stay members although they reach only the core: callers hold the service as an object, and a
// vehicle platform's service keeps its state in it.
// NOLINTBEGIN(readability-convert-member-functions-to-static)

void Service::DefineSignalGroups(const SignalAdapter_SignalGroup* groups, std::size_t count) {
  Core().DefineSignalGroups(groups, count);
}

void Service::DefineSignalGroup(zol::string_view name, std::size_t length) { Core().DefineSignalGroup(name, length); }

void Service::Reset() { Core().Reset(); }

SignalComm_Name_t Service::IdentityOf(zol::string_view name) const { return Core().IdentityOf(name); }

int Service::Publish(zol::string_view group_name, zol::memory::span<const std::uint8_t> payload) {
  return Core().Publish(group_name, payload);
}

int Service::Publish(SignalComm_Name_t group, zol::memory::span<const std::uint8_t> payload) {
  return Core().Publish(group, payload);
}

void Service::FlushNotifications() { Core().FlushNotifications(); }

zol::MonoClock::time_point Service::started_at() const { return Core().started_at(); }

bool Service::has_arrivals() const { return Core().has_arrivals(); }

zol::MonoClock::time_point Service::last_arrival() const { return Core().last_arrival(); }

std::uint64_t Service::arrival_count() const { return Core().arrival_count(); }

void Service::InjectFailure(zol::string_view function_name, std::size_t nth_call, int code) {
  Core().InjectFailure(function_name, nth_call, code);
}

void Service::ClearInjections() { Core().ClearInjections(); }

std::size_t Service::CallCount(zol::string_view function_name) const { return Core().CallCount(function_name); }

// NOLINTEND(readability-convert-member-functions-to-static)

}  // namespace signalcomm
}  // namespace zol
