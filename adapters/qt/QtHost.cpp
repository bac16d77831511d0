#include "JNFoundation/adapters/QtHost.h"

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QCoreApplication>
#include <QtCore/QEvent>
#include <QtCore/QObject>
#include <QtCore/QTimerEvent>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <utility>

#include <JNFoundation/platform/value/FatalError.h>

namespace JNFoundation::inline v0_1 {
namespace {

constexpr int noTimer = 0;

QEvent::Type turnEvent() {
  static const auto type = static_cast<QEvent::Type>(QEvent::registerEventType());
  return type;
}

}  // namespace

/// Receives the events by which Qt serves the queue.
class QtHost::Receiver final : public QObject {
 public:
  explicit Receiver(QtHost& host) : _host(&host) {}

  /// The host has left. Returns: whether the object may be destroyed now, which it may not while it
  /// receives an event.
  bool part() noexcept {
    setAlarm(never);
    _host = nullptr;
    return _depth == 0;
  }

  /// Asks for a turn. Threads: any.
  void post() noexcept {
    auto asked = std::make_unique<QEvent>(turnEvent());
    _posts.fetch_add(1, std::memory_order_release);
    QCoreApplication::postEvent(this, asked.release());
  }

  void setAlarm(Nanoseconds span) noexcept {
    stop(_alarm);
    if (span != never) _alarm = start(span);
  }

  /// Starts a timer of whole milliseconds, rounded up; longer ones than a day come early.
  int start(Nanoseconds span) noexcept {
    constexpr Nanoseconds millisecond = 1'000'000;
    constexpr Nanoseconds longest = 86'400'000 * millisecond;
    const Nanoseconds rounded = (std::min(span, longest) + millisecond - 1) / millisecond;
    return startTimer(std::chrono::milliseconds(rounded), Qt::PreciseTimer);
  }

  void stop(int& timer) noexcept {
    const int stopped = std::exchange(timer, noTimer);
    if (stopped != noTimer) killTimer(stopped);
  }

  /// Processes events. Returns: whether there was one for another object than this.
  bool process(QAbstractEventDispatcher& dispatcher, QEventLoop::ProcessEventsFlags flags) {
    QCoreApplication* const application = QCoreApplication::instance();
    // Only the application's own thread has a filter for all events.
    if (!application || application->thread() != thread()) return dispatcher.processEvents(flags);
    const bool sawOtherOutside = std::exchange(_sawOther, false);
    if (_runs++ == 0) application->installEventFilter(this);
    dispatcher.processEvents(flags);
    if (--_runs == 0) application->removeEventFilter(this);
    return std::exchange(_sawOther, sawOtherOutside);
  }

 protected:
  bool eventFilter(QObject* watched, QEvent*) override {
    if (watched != this) _sawOther = true;
    return false;
  }

  bool event(QEvent* received) override {
    (void)_posts.load(std::memory_order_acquire);
    if (received->type() != turnEvent()) return QObject::event(received);
    ++_depth;
    if (_host) _host->turn();
    --_depth;
    return true;
  }

  /// Other timers than the alarm only end a wait.
  void timerEvent(QTimerEvent* received) override {
    if (received->timerId() != _alarm) return;
    ++_depth;
    stop(_alarm);
    if (_host) _host->alarm();
    --_depth;
  }

 private:
  QtHost* _host;
  /// What is posted is ordered before its receipt by Qt already; checkers of threads, which do not
  /// see into Qt, see it here.
  std::atomic<unsigned> _posts = 0;
  int _alarm = noTimer;
  int _depth = 0;  ///< of events that are being received
  int _runs = 0;   ///< of the loop by the host
  bool _sawOther = false;
};

QtHost::QtHost() : LoopHost(Exceptions::stop) {
  const QObject* const dispatcher = QAbstractEventDispatcher::instance();
  if (!dispatcher) {
    fatalError("QtHost: this thread has no event dispatcher; make the QCoreApplication first");
  }
  _receiver = std::make_unique<Receiver>(*this);
  QObject::connect(dispatcher, &QObject::destroyed, _receiver.get(), [this] { detach(); });
}

QtHost::~QtHost() { detach(); }

void QtHost::requestTurn() noexcept { _receiver->post(); }

void QtHost::setAlarm(Nanoseconds span) noexcept { _receiver->setAlarm(span); }

LoopHost::Ran QtHost::runLoop(Nanoseconds span) {
  // Inside the destructor of the application object there is none.
  QAbstractEventDispatcher* const dispatcher = QAbstractEventDispatcher::instance();
  if (!dispatcher) return Ran::refused;
  Receiver& receiver = *_receiver;
  const auto flags =
      span == 0 ? QEventLoop::AllEvents : QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents;
  int limit = span == 0 || span == never ? noTimer : receiver.start(span);
  const bool sawOther = receiver.process(*dispatcher, flags);
  receiver.stop(limit);
  return sawOther ? Ran::events : Ran::nothing;
}

void QtHost::releaseLoop() noexcept {
  Receiver* const receiver = _receiver.release();
  if (receiver->part()) {
    delete receiver;
  } else {
    receiver->deleteLater();
  }
}

}  // namespace JNFoundation
