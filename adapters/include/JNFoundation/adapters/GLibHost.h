#pragma once

#include <JNFoundation/platform/dispatch/LoopHost.h>

// As <glib.h> has it, which this header spares its users.
typedef struct _GMainContext GMainContext;

namespace JNFoundation::inline v0_1 {

/// The main queue inside a main context of GLib, and so of GTK.
///
///     MainQueue::current().setHost(std::make_unique<GLibHost>());
///     g_main_loop_run(loop);
///
/// Tasks, delays and timers run at the context's default priority, and leave every other iteration
/// to its other sources: also those of lower priority get their turn while tasks post tasks without
/// end. A run of NSRunLoop iterates the context, from inside a callback too.
///
/// Timers and limits of waits come at their moment or up to a millisecond after it, which is how
/// the context waits. GLib is C, through which no exception passes: one out of a task or timer
/// stops the process with a message.
///
/// The host keeps the context alive.
/// Threads: the main thread makes the host, and alone iterates the context; any may post to either.
class GLibHost final : public LoopHost {
 public:
  /// Null is the global default context.
  explicit GLibHost(GMainContext* context = nullptr);
  ~GLibHost() override;

 protected:
  void requestTurn() noexcept override;
  void setAlarm(Nanoseconds span) noexcept override;
  Ran runLoop(Nanoseconds span) override;
  void releaseLoop() noexcept override;

 private:
  struct Source;

  GMainContext* const _context;
  Source* _source;
};

}  // namespace JNFoundation
