#pragma once

#include <memory>

#include <JNFoundation/platform/dispatch/LoopHost.h>

namespace JNFoundation::inline v0_1 {

/// The main queue inside the event loop of Qt 6.
///
///     QCoreApplication application(argc, argv);  // or a QApplication, a QGuiApplication
///     MainQueue::current().setHost(std::make_unique<QtHost>());
///     return application.exec();
///
/// Tasks, delays and timers run as an event of an object of the host's own, also inside dialogs and
/// other event loops that the application nests. A run of NSRunLoop processes events, from inside
/// an event handler too.
///
/// Timers and limits of waits come at their moment or up to a millisecond or two after it, which is
/// how exact Qt's timers are. Qt's event loops let no exception pass: one out of a task or timer
/// stops the process with a message.
///
/// The application object may go before the host: then the main queue sleeps by itself, as without
/// any host. For another application object make another host.
/// Threads: the main thread makes the host and runs the event loop; any may post.
class QtHost final : public LoopHost {
 public:
  /// Requires: an event dispatcher in the calling thread, which an application object brings; the
  /// process stops with a message otherwise.
  QtHost();
  ~QtHost() override;

 protected:
  void requestTurn() noexcept override;
  void setAlarm(Nanoseconds span) noexcept override;
  Ran runLoop(Nanoseconds span) override;
  void releaseLoop() noexcept override;

 private:
  class Receiver;
  std::unique_ptr<Receiver> _receiver;
};

}  // namespace JNFoundation
