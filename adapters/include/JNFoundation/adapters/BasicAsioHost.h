#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include <JNFoundation/platform/dispatch/LoopHost.h>

namespace JNFoundation::inline v0_1 {

/// The main queue inside the application's own io_context. AsioHost is the one for standalone asio,
/// BoostAsioHost the one for Boost.Asio; `Library` names the types of either.
///
///     asio::io_context context;
///     MainQueue::current().setHost(std::make_unique<AsioHost>(context));
///     context.run();
///
/// Tasks, delays and timers run as handlers of the context, and count as its outstanding work: with
/// nothing due `run` returns, unless a work guard of the application's holds it. A run of NSRunLoop
/// runs the context one handler at a time, from inside a handler too, and leaves it stopped or not
/// as it was. Once the application has stopped the context, a run of NSRunLoop that is still in
/// progress inside a handler waits for the main queue only.
///
/// Timers come at their moment or after it by what the system's timers take, some tens of
/// microseconds; a wait with a limit may end a millisecond after that. An exception out of a task
/// or timer passes through `run`, which may then be called again.
///
/// The context may go before the host: then the main queue sleeps by itself, as without any host.
/// Threads: the main thread makes the host, and alone runs and destroys the context; any thread may
/// post to either.
template <class Library>
class BasicAsioHost final : public LoopHost {
 public:
  /// The loop of the library.
  using Context = typename Library::Context;

  /// Takes: the context, borrowed until it goes.
  explicit BasicAsioHost(Context& context)
      : LoopHost(Exceptions::pass),
        _context(context),
        _farewell(&Library::template service<Farewell>(context)),
        _timer(std::in_place, context) {
    _farewell->add(*this);
  }

  ~BasicAsioHost() override { detach(); }

 protected:
  void requestTurn() noexcept override {
    Library::post(_context, [host = this->weak_from_this()] {
      const auto self = host.lock();
      if (!self) return;
      static_cast<BasicAsioHost&>(*self).turn();
      static_cast<BasicAsioHost&>(*self)._ranOwn = true;
    });
  }

  void setAlarm(Nanoseconds span) noexcept override {
    if (span == never) {
      _timer->cancel();
      return;
    }
    // The alarm that comes too early is set again.
    constexpr Nanoseconds longest = 3'600'000'000'000;
    _timer->expires_after(std::chrono::nanoseconds(std::min(span, longest)));
    _timer->async_wait([host = this->weak_from_this()](const typename Library::Error& error) {
      const auto self = host.lock();
      if (!self) return;
      if (!error) static_cast<BasicAsioHost&>(*self).alarm();
      static_cast<BasicAsioHost&>(*self)._ranOwn = true;
    });
  }

  Ran runLoop(Nanoseconds span) override {
    const bool isInside = _context.get_executor().running_in_this_thread();
    // Only outside its runs may a context be started again.
    if (isInside && _context.stopped()) return Ran::refused;
    std::optional<Alone> alone;
    if (!isInside) alone.emplace(_context);
    _ranOwn = false;
    std::size_t handlers = 0;
    if (span == 0) {
      handlers = _context.poll_one();
    } else if (span == never) {
      handlers = _context.run_one();
    } else {
      handlers = _context.run_one_for(std::chrono::nanoseconds(span));
    }
    // The handler in which this run is nested, if there is one, decides for itself.
    const bool ranOwn = std::exchange(_ranOwn, false);
    return handlers == 0 || ranOwn ? Ran::nothing : Ran::events;
  }

  void releaseLoop() noexcept override {
    _farewell->remove(*this);
    _timer.reset();
  }

 private:
  /// Lets the hosts of a context know that it goes.
  class Farewell final : public Library::Service {
   public:
    static inline typename Library::ServiceId id;
    explicit Farewell(typename Library::ExecutionContext& context) : Library::Service(context) {}

    void add(BasicAsioHost& host) {
      const std::lock_guard guard(_mutex);
      _hosts.push_back(&host);
    }
    void remove(BasicAsioHost& host) noexcept {
      const std::lock_guard guard(_mutex);
      _hosts.erase(std::remove(_hosts.begin(), _hosts.end(), &host), _hosts.end());
    }

   private:
    void shutdown() override {
      while (BasicAsioHost* host = last()) host->detach();
    }
    BasicAsioHost* last() {
      const std::lock_guard guard(_mutex);
      return _hosts.empty() ? nullptr : _hosts.back();
    }

    std::mutex _mutex;
    std::vector<BasicAsioHost*> _hosts;
  };

  /// A run of a context that nobody else runs: it waits without outstanding work too, and is
  /// stopped afterwards only if it was before.
  class Alone {
   public:
    explicit Alone(Context& context)
        : _context(context), _wasStopped(context.stopped()), _work(context.get_executor()) {
      if (_wasStopped) _context.restart();
    }
    ~Alone() {
      _work.reset();
      if (_wasStopped) {
        _context.stop();
      } else if (_context.stopped()) {
        _context.restart();
      }
    }
    Alone(const Alone&) = delete;
    Alone& operator=(const Alone&) = delete;

   private:
    Context& _context;
    const bool _wasStopped;
    typename Library::Work _work;
  };

  Context& _context;
  Farewell* const _farewell;
  std::optional<typename Library::Timer> _timer;
  bool _ranOwn = false;  ///< the last handler to end was the host's
};

}  // namespace JNFoundation
