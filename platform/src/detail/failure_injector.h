/// @file
/// @brief Call counting and injected failures of a platform service's operations, shared by the services that
/// let tests make their calls fail on purpose. Private to the platform library.
#ifndef ZOL_SRC_DETAIL_FAILURE_INJECTOR_H
#define ZOL_SRC_DETAIL_FAILURE_INJECTOR_H

#include <array>
#include <cstddef>
#include <vector>

#include "zol/nodiscard.h"

namespace zol {
namespace detail {

/// @brief Counts the calls of each of a service's @p Count operations and lets chosen calls fail.
///
/// An injection names an operation, a call (counted from the moment of the injection, 1 for the next one) and
/// the code that call answers instead of doing its work. Each injection fires once and is then forgotten; when
/// several name the same call, the first one made fires and the others are dropped with it, so nothing stays
/// behind after the call it was meant for. Not thread-safe: the owning service calls it under its
/// own lock.
/// @tparam Operation an enumeration whose values are 0 .. Count - 1
/// @tparam Code what a failed call answers
template <typename Operation, std::size_t Count, typename Code>
class FailureInjector {
 public:
  /// @brief Counts a call of @p operation.
  /// @return true, with @p code set, when an injected failure replaces this call
  bool Intercept(Operation operation, Code* code) {
    const std::size_t index = Index(operation);
    const std::size_t call = ++calls_[index];
    // Outside failure tests nothing is ever injected: one test, and the service's hot calls (a byte read per
    // signal group and cycle) pay no more than the count.
    if (pending_count_ == 0U) {
      return false;
    }
    std::vector<Injection>& pending = pending_[index];
    bool fired = false;
    for (auto it = pending.begin(); it != pending.end();) {
      if (it->call > call) {
        ++it;
        continue;
      }
      // Due now: the first one fires. A second one for the same call could never fire; it goes with it.
      if (!fired) {
        *code = it->code;
        fired = true;
      }
      it = pending.erase(it);
      --pending_count_;
    }
    return fired;
  }

  /// @brief Makes the @p nth_call-th call of @p operation from now answer @p code.
  /// @return false (and nothing changes) for an @p nth_call of 0 or an operation out of range
  bool Inject(Operation operation, std::size_t nth_call, Code code) {
    const std::size_t index = Index(operation);
    if (nth_call == 0U || index >= Count) {
      return false;
    }
    pending_[index].push_back(Injection{calls_[index] + nth_call, code});
    ++pending_count_;
    return true;
  }

  /// @brief Drops every injection that has not fired; the counts stay.
  void ClearInjections() {
    for (std::vector<Injection>& pending : pending_) {
      pending.clear();
    }
    pending_count_ = 0U;
  }

  /// @brief Back to the start: no injections, every count 0.
  void Reset() {
    ClearInjections();
    calls_.fill(0U);
  }

  /// @brief How often @p operation was called since the start or the last Reset, injected calls included.
  ZOL_NODISCARD std::size_t calls(Operation operation) const {
    const std::size_t index = Index(operation);
    return index < Count ? calls_[index] : 0U;
  }

 private:
  struct Injection {
    std::size_t call;  // the count at which it fires
    Code code;
  };

  static std::size_t Index(Operation operation) { return static_cast<std::size_t>(operation); }

  std::array<std::size_t, Count> calls_{};
  std::array<std::vector<Injection>, Count> pending_;
  std::size_t pending_count_ = 0U;  // injections in pending_ altogether
};

}  // namespace detail
}  // namespace zol

#endif  // ZOL_SRC_DETAIL_FAILURE_INJECTOR_H
