#pragma once

#include <string_view>

#include <JNFoundation/platform/value/Block.h>
#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation::inline v0_1 {

/// Takes the lines of the log, without date and line end.
using LogSink = Block<void(const Ref<NSString>& line)>;

/// Puts another sink in the place of the current one; null for the default, which writes each line
/// to the standard error stream in one piece, with date, process name and process number.
///
/// Lines come one at a time, on the threads that log. What a sink logs itself goes to the default
/// sink. Threads: any. Returns when no thread is inside the old sink any more.
void setLogSink(LogSink sink);

namespace impl {
void logLine(const Ref<NSString>& line);
}

/// Writes a line to the log, formatted as NSString::stringWithFormat does.
/// Threads: any.
template <class... Arguments>
void NSLog(std::string_view format, const Arguments&... arguments) {
  impl::logLine(NSString::stringWithFormat(format, arguments...));
}

/// A sink for the length of a scope. For tests: scopes are nested, not interleaved.
class LogSinkScope {
 public:
  /// Takes: as `setLogSink`.
  explicit LogSinkScope(LogSink sink);
  ~LogSinkScope();
  LogSinkScope(const LogSinkScope&) = delete;
  LogSinkScope& operator=(const LogSinkScope&) = delete;

 private:
  LogSink _previous;
};

}  // namespace JNFoundation
