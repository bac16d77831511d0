#include "JNFoundation/platform/store/StatementTrace.h"

#include <algorithm>
#include <mutex>
#include <string>

#include <JNFoundation/platform/dispatch/NSLog.h>
#include <JNFoundation/platform/store/impl/StatementObservation.h>

namespace JNFoundation::inline v0_1 {
namespace {

struct SharedObserver {
  std::mutex mutex;
  StatementObserver observer;
  StatementPlans plans = StatementPlans::Omit;

  static SharedObserver& shared() {
    static SharedObserver* observation = new SharedObserver;  // outlives every static object
    return *observation;
  }
};

/// Whether this thread is inside the observer.
thread_local bool isInObserver = false;

}  // namespace

constinit std::atomic<bool> impl::hasStatementObserver = false;

bool impl::observesPlans() noexcept {
  SharedObserver& observation = SharedObserver::shared();
  const std::lock_guard guard(observation.mutex);
  return observation.plans == StatementPlans::Include && !isInObserver;
}

void impl::tellStatementObserver(const StatementTrace& trace) noexcept {
  if (isInObserver) return;
  SharedObserver& observation = SharedObserver::shared();
  StatementObserver observer;
  {
    const std::lock_guard guard(observation.mutex);
    observer = observation.observer;
  }
  if (!observer) return;
  isInObserver = true;
  try {
    observer(trace);
  } catch (...) {
    // A statement's user must not fail because somebody watches.
    static_cast<void>(0);
  }
  isInObserver = false;
}

void setStatementObserver(StatementObserver observer, StatementPlans plans) {
  SharedObserver& observation = SharedObserver::shared();
  {
    const std::lock_guard guard(observation.mutex);
    std::swap(observation.observer, observer);
    observation.plans = plans;
    impl::hasStatementObserver.store(observation.observer != nullptr, std::memory_order_relaxed);
  }
  // The former one is released here, outside the lock.
}

StatementObserverScope::StatementObserverScope(StatementObserver observer, StatementPlans plans) {
  SharedObserver& observation = SharedObserver::shared();
  {
    const std::lock_guard guard(observation.mutex);
    _previous = observation.observer;
    _previousPlans = observation.plans;
  }
  setStatementObserver(std::move(observer), plans);
}

StatementObserverScope::~StatementObserverScope() {
  setStatementObserver(std::move(_previous), _previousPlans);
}

StatementObserver statementLogObserver(NSTimeInterval atLeast) {
  return [atLeast](const StatementTrace& trace) {
    const std::chrono::duration<double> seconds = trace.duration;
    if (seconds.count() < atLeast) return;
    const std::size_t slash = trace.path.rfind('/');
    const std::string_view file =
        slash == std::string_view::npos ? trace.path : trace.path.substr(slash + 1);
    std::string text;
    if (trace.code != 0) text += ", failed with code " + std::to_string(trace.code);
    text += " (";
    text += file;
    text += "): ";
    text += trace.sql;
    for (std::string_view plan = trace.plan; !plan.empty();) {
      const std::size_t end = std::min(plan.find('\n'), plan.size());
      text += "\n    ";
      text += plan.substr(0, end);
      plan.remove_prefix(std::min(end + 1, plan.size()));
    }
    NSLog("SQL %.3f ms, %d %s, %llu %s%s", seconds.count() * 1000, trace.parameterCount,
          trace.parameterCount == 1 ? "parameter" : "parameters", trace.rowCount,
          trace.rowCount == 1 ? "row" : "rows", text);
  };
}

}  // namespace JNFoundation
