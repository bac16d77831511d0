#pragma once

#include <chrono>
#include <cstdint>
#include <string_view>

#include <JNFoundation/platform/value/Block.h>
#include <JNFoundation/platform/value/Types.h>

namespace JNFoundation::inline v0_1 {

/// One statement that a store ran, told when it had ended. Texts are borrowed for the call.
struct StatementTrace {
  /// The file's name, as the store was given it.
  std::string_view path;
  /// With a `?` for each value: those are bound, and not told.
  std::string_view sql;
  /// How many values are bound.
  int parameterCount = 0;
  /// How many rows it gave, or were taken of it.
  std::uint64_t rowCount = 0;
  /// The time inside SQLite, without what the rows were used for in between.
  std::chrono::nanoseconds duration{0};
  /// SQLite's extended result code; 0 for success.
  int code = 0;
  /// How SQLite goes about it, a line for each step, those below a step indented: "SEARCH
  /// object_Book USING INDEX ...". Empty unless the plan was asked for, and for statements that
  /// have none.
  std::string_view plan;
};

/// Calls: on the thread that uses the store, while other users of its coordinator wait. What it
/// raises is dropped. Statements that it causes itself are not told.
using StatementObserver = Block<void(const StatementTrace& trace)>;

/// Whether the plan of a statement is told along.
enum class StatementPlans : std::uint8_t {
  Omit,    ///< no plan is made
  Include  ///< a plan is made for each text
};

/// Has every statement that any store of the process runs told to the block, from its next
/// statement on; null turns it off. A plan is made once for each text of a store's open file.
/// Threads: any. A call on another thread may still be under way when this returns.
void setStatementObserver(StatementObserver observer, StatementPlans plans = StatementPlans::Omit);

/// An observer for the length of a scope. Scopes are nested, not interleaved.
class StatementObserverScope {
 public:
  /// Calls: the observer, as `setStatementObserver` says, until the end of the scope.
  explicit StatementObserverScope(StatementObserver observer,
                                  StatementPlans plans = StatementPlans::Omit);
  ~StatementObserverScope();
  StatementObserverScope(const StatementObserverScope&) = delete;
  StatementObserverScope& operator=(const StatementObserverScope&) = delete;

 private:
  StatementObserver _previous;
  StatementPlans _previousPlans;
};

/// An observer that writes each statement of at least that many seconds to the log, as one line and
/// the lines of its plan:
///
///     setStatementObserver(statementLogObserver(0.01), StatementPlans::Include);
///
///     SQL 12.480 ms, 3 parameters, 100 rows (catalog.sqlite): SELECT _pk, ...
StatementObserver statementLogObserver(NSTimeInterval atLeast = 0);

}  // namespace JNFoundation
