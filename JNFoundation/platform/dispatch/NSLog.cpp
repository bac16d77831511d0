#include "JNFoundation/platform/dispatch/NSLog.h"

#include <cstdio>
#include <mutex>
#include <string>

#include <JNFoundation/platform/dispatch/Clock.h>
#include <JNFoundation/platform/dispatch/impl/Process.h>

namespace JNFoundation::inline v0_1 {
namespace {

struct Log {
  /// Held while a sink runs, so that lines do not mix and a sink is not taken away under a thread.
  std::recursive_mutex mutex;
  LogSink sink;

  static Log& shared() {
    static Log* log = new Log;  // outlives every static object
    return *log;
  }
};

/// Whether this thread is inside the sink.
thread_local bool isInSink = false;

void writeToStandardError(const Ref<NSString>& line) {
  std::string text = impl::localTimeText(Clock::current().now());
  text += ' ';
  text += impl::processName();
  text += '[';
  text += std::to_string(impl::processIdentifier());
  text += "] ";
  text += line->utf8();
  text += '\n';
  // One call, so that neither threads nor processes that share the stream mix their lines.
  std::fwrite(text.data(), 1, text.size(), stderr);
}

LogSink exchangeSink(LogSink sink) {
  Log& log = Log::shared();
  std::lock_guard guard(log.mutex);
  std::swap(log.sink, sink);
  return sink;
}

}  // namespace

void setLogSink(LogSink sink) { exchangeSink(std::move(sink)); }

void impl::logLine(const Ref<NSString>& line) {
  if (isInSink) return writeToStandardError(line);
  Log& log = Log::shared();
  std::lock_guard guard(log.mutex);
  // A copy, because the sink may be replaced from inside.
  const LogSink sink = log.sink;
  if (!sink) return writeToStandardError(line);
  struct Inside {
    Inside() noexcept { isInSink = true; }
    ~Inside() { isInSink = false; }
  };
  const Inside inside;
  sink(line);
}

LogSinkScope::LogSinkScope(LogSink sink) : _previous(exchangeSink(std::move(sink))) {}

LogSinkScope::~LogSinkScope() { setLogSink(std::move(_previous)); }

}  // namespace JNFoundation
