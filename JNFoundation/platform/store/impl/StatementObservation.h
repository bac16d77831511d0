#pragma once

#include <atomic>

#include <JNFoundation/platform/store/StatementTrace.h>

namespace JNFoundation::inline v0_1::impl {

/// Whether anybody wants to know of statements; all that it costs when nobody does.
extern constinit std::atomic<bool> hasStatementObserver;

inline bool observesStatements() noexcept {
  return hasStatementObserver.load(std::memory_order_relaxed);
}

/// Whether the observer wants plans, too.
bool observesPlans() noexcept;

/// Tells the observer, unless this thread is inside it.
void tellStatementObserver(const StatementTrace& trace) noexcept;

}  // namespace JNFoundation::impl
