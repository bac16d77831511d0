#pragma once

#include <optional>
#include <utility>

#include "HostConformance.h"

namespace JNFoundation {

/// An io_context, of standalone asio or of Boost.Asio, as the test drives it.
template <class Host, class Library>
class AsioLoop {
 public:
  static constexpr bool isEventLoop = true;
  static constexpr bool passesExceptions = true;
  using Context = typename Library::Context;

  std::unique_ptr<MainQueueHost> host() { return std::make_unique<Host>(*context); }

  void run() {
    context->restart();
    const typename Library::Work work(context->get_executor());
    context->run();
  }
  void quit() { context->stop(); }

  template <class Condition>
  void runUntil(Condition condition) {
    while (!condition()) context->run_one();
  }

  void post(Block<void()> event) { Library::post(*context, std::move(event)); }

  void repeat(Block<bool()> tick) {
    const auto timer = std::make_shared<typename Library::Timer>(*context);
    waitFor(timer, std::move(tick));
  }

  /// All that the loop has is equally urgent.
  void idle(Block<bool()> work) {
    post([this, work = std::move(work)] {
      if (work()) idle(work);
    });
  }

  void end() { context.reset(); }

  std::optional<Context> context{std::in_place};

 private:
  static void waitFor(const std::shared_ptr<typename Library::Timer>& timer, Block<bool()> tick) {
    timer->expires_after(std::chrono::milliseconds(1));
    timer->async_wait([timer, tick = std::move(tick)](const typename Library::Error& error) {
      if (!error && tick()) waitFor(timer, tick);
    });
  }
};

}  // namespace JNFoundation
