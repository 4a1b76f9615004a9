// Posting a plain function to a dispatch queue, for tests that need code to run on a queue's thread inside one of
// its transactions.
#ifndef FSRL_TEST_SUPPORT_FUNCTION_TASK_H
#define FSRL_TEST_SUPPORT_FUNCTION_TASK_H

#include <functional>
#include <utility>

#include "zol/afw/core/dispatch_queue.h"
#include "zol/afw/core/error_code.h"
#include "zol/afw/core/task.h"
#include "zol/pmr/deleters.h"
#include "zol/pmr/memory_resource.h"

namespace fsrl_test {

// A task that runs a function; the queue begins a transaction for it like for any other task.
class FunctionTask final : public zol::afw::core::Task {
 public:
  explicit FunctionTask(std::function<void()> body) : body_(std::move(body)) {}
  zol::afw::core::ErrorCode Execute() override {
    body_();
    return zol::afw::core::ErrorCode::kSuccess;
  }

 private:
  std::function<void()> body_;
};

// A task that counts its runs in an int the test owns.
class CountingTask final : public zol::afw::core::Task {
 public:
  explicit CountingTask(int* runs) : runs_(runs) {}
  zol::afw::core::ErrorCode Execute() override {
    ++*runs_;
    return zol::afw::core::ErrorCode::kSuccess;
  }

 private:
  int* runs_;
};

// Posts @p body to @p queue; the queue's answer (kSuccess, or why it refused the task).
inline zol::afw::core::ErrorCode Post(zol::afw::core::DispatchQueue& queue, std::function<void()> body) {
  return queue.AsyncTask(zol::pmr::MakeUniqueSized<FunctionTask>(zol::pmr::get_default_resource(), std::move(body)));
}

}  // namespace fsrl_test

#endif  // FSRL_TEST_SUPPORT_FUNCTION_TASK_H
