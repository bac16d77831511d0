#include "JNFoundation/adapters/GLibHost.h"

#include <algorithm>
#include <atomic>
#include <glib.h>
#include <limits>
#include <new>

namespace JNFoundation::inline v0_1 {
namespace {

constexpr gint64 noTime = std::numeric_limits<gint64>::max();

/// The context's time, in microseconds, after that span, rounded up.
gint64 timeAfter(Nanoseconds span) noexcept {
  if (span == never) return noTime;
  const gint64 now = g_get_monotonic_time();
  const gint64 microseconds = span / 1000 + (span % 1000 > 0 ? 1 : 0);
  return microseconds > noTime - now ? noTime : now + microseconds;
}

/// For how long the context may wait, in milliseconds, rounded up; -1 is any time.
gint timeoutUntil(gint64 time) noexcept {
  if (time == noTime) return -1;
  const gint64 left = std::max<gint64>(time - g_get_monotonic_time(), 0);
  return static_cast<gint>(std::min<gint64>((left + 999) / 1000, std::numeric_limits<gint>::max()));
}

}  // namespace

/// The queue among the sources of the context, which makes it of zeros and frees it.
struct GLibHost::Source {
  GSource base;
  GLibHost* host;  ///< null once that has left
  std::atomic<bool> isRequested;
  gint64 alarm;

  /// The next iteration is for the other sources; it waits until that time at most.
  bool mustPass;
  gint64 limit;
  /// The iteration in progress is.
  bool isPassing;

  static Source& of(GSource* source) noexcept { return *reinterpret_cast<Source*>(source); }

  bool isDue() const noexcept {
    return isRequested.load() || (alarm != noTime && alarm <= g_get_monotonic_time());
  }

  static gboolean prepare(GSource* base, gint* timeout) noexcept {
    Source& self = of(base);
    const bool isDue = self.isDue();
    self.isPassing = self.mustPass;
    self.mustPass = false;
    const gint64 limit = self.isPassing ? std::min(self.limit, self.alarm) : self.alarm;
    *timeout = isDue ? 0 : timeoutUntil(limit);
    return isDue && !self.isPassing;
  }

  static gboolean check(GSource* base) noexcept {
    const Source& self = of(base);
    return !self.isPassing && self.isDue();
  }

  static gboolean dispatch(GSource* base, GSourceFunc, gpointer) noexcept {
    Source& self = of(base);
    if (self.isRequested.exchange(false) && self.host) self.host->turn();
    if (self.alarm <= g_get_monotonic_time()) {
      self.alarm = noTime;
      if (self.host) self.host->alarm();
    }
    // Sources of lower priority get their turn between two of a queue that is never empty.
    self.pass(self.isRequested.load(), noTime);
    return G_SOURCE_CONTINUE;
  }

  void pass(bool must, gint64 until) noexcept {
    mustPass = must;
    limit = until;
  }

  static Source* make() {
    static GSourceFuncs functions = {prepare, check, dispatch, nullptr, nullptr, nullptr};
    GSource* const base = g_source_new(&functions, sizeof(Source));
    g_source_set_static_name(base, "JNFoundation main queue");
    // A task may run the loop, which then serves the queue too.
    g_source_set_can_recurse(base, TRUE);
    Source& self = of(base);
    new (&self.isRequested) std::atomic<bool>(false);
    self.alarm = noTime;
    self.limit = noTime;
    return &self;
  }
};

GLibHost::GLibHost(GMainContext* context)
    : LoopHost(Exceptions::stop),
      _context(g_main_context_ref(context ? context : g_main_context_default())),
      _source(Source::make()) {
  _source->host = this;
  g_source_attach(&_source->base, _context);
}

GLibHost::~GLibHost() {
  detach();
  g_main_context_unref(_context);
}

void GLibHost::requestTurn() noexcept {
  _source->isRequested.store(true);
  g_main_context_wakeup(_context);
}

void GLibHost::setAlarm(Nanoseconds span) noexcept { _source->alarm = timeAfter(span); }

LoopHost::Ran GLibHost::runLoop(Nanoseconds span) {
  // What is due of the queue is served behind the iteration, which tells what the others did.
  _source->pass(true, timeAfter(span));
  const bool ranOthers = g_main_context_iteration(_context, span > 0);
  _source->pass(false, noTime);
  if (_source->isRequested.exchange(false)) turn();
  return ranOthers ? Ran::events : Ran::nothing;
}

void GLibHost::releaseLoop() noexcept {
  _source->host = nullptr;
  g_source_destroy(&_source->base);
  g_source_unref(&_source->base);
  _source = nullptr;
}

}  // namespace JNFoundation
