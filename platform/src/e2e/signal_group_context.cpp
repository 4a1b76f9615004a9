#include "zol/e2e/signal_group_context.h"

namespace zol {
namespace e2e {

SignalGroupContext InitializeSignalGroup(unsigned int index, const SignalAdapter_SignalGroup* groups,
                                         const SignalAdapter_Signal* signals,
                                         const SignalAdapter_Signal* tav_sorted_signals) {
  SignalGroupContext context;
  if (groups == nullptr) {
    return context;
  }
  context.signal_group_ = &groups[index];
  const std::uint32_t first_signal = context.signal_group_->signal_start_index;
  context.signals_db_ = signals;
  context.tav_sorted_signals_db_ = tav_sorted_signals;
  if (signals != nullptr) {
    context.signals_ = signals + first_signal;
  }
  if (tav_sorted_signals != nullptr) {
    context.tav_sorted_signals_ = tav_sorted_signals + first_signal;
  }
  return context;
}

}  // namespace e2e
}  // namespace zol
