#include <glib.h>

#include "HostConformance.h"

#include <JNFoundation/adapters/GLibHost.h>

namespace JNFoundation {
namespace {

/// A main context of GLib with its main loop.
class GLibLoop {
 public:
  static constexpr bool isEventLoop = true;
  static constexpr bool passesExceptions = false;

  ~GLibLoop() { end(); }

  std::unique_ptr<MainQueueHost> host() { return std::make_unique<GLibHost>(context); }
  void run() { g_main_loop_run(loop); }
  void quit() { g_main_loop_quit(loop); }

  template <class Condition>
  void runUntil(Condition condition) {
    while (!condition()) g_main_context_iteration(context, TRUE);
  }

  void post(Block<void()> event) {
    attach(g_idle_source_new(), G_PRIORITY_DEFAULT, [event = std::move(event)] {
      event();
      return false;
    });
  }
  void repeat(Block<bool()> tick) {
    attach(g_timeout_source_new(1), G_PRIORITY_DEFAULT, std::move(tick));
  }
  void idle(Block<bool()> work) { attach(g_idle_source_new(), G_PRIORITY_LOW, std::move(work)); }

  void end() {
    if (!context) return;
    g_main_loop_unref(loop);
    g_main_context_unref(context);
    context = nullptr;
  }

  GMainContext* context = g_main_context_new();
  GMainLoop* loop = g_main_loop_new(context, FALSE);

 private:
  void attach(GSource* source, int priority, Block<bool()> called) {
    g_source_set_priority(source, priority);
    g_source_set_callback(
        source, [](gpointer data) -> gboolean { return (*static_cast<Block<bool()>*>(data))(); },
        new Block<bool()>(std::move(called)),
        [](gpointer data) { delete static_cast<Block<bool()>*>(data); });
    g_source_attach(source, context);
    g_source_unref(source);
  }
};

INSTANTIATE_TYPED_TEST_SUITE_P(GLib, HostConformance, GLibLoop);

TEST(GLibHost, TheDefaultContextIsTheOneThatNullNames) {
  MainQueueScope scope(std::make_unique<GLibHost>());
  bool hasRun = false;
  scope.queue().async([&] { hasRun = true; });
  while (!hasRun) g_main_context_iteration(nullptr, TRUE);
  EXPECT_TRUE(hasRun);
}

TEST(GLibHost, LeavesNoSourceInTheContext) {
  GMainContext* const context = g_main_context_new();
  {
    MainQueueScope scope(std::make_unique<GLibHost>(context));
    scope.queue().after(0.001, [] {});
    EXPECT_TRUE(g_main_context_pending(context));
  }
  EXPECT_FALSE(g_main_context_pending(context));
  g_main_context_unref(context);
}

TEST(GLibHost, AWaitIsEndedByItsDateWhileTheContextHasLaterTimeouts) {
  MainQueueScope scope(std::make_unique<GLibHost>());
  const guint far = g_timeout_add_seconds(
      1000, [](gpointer) -> gboolean { return FALSE; }, nullptr);
  const auto date = NSDate::dateWithTimeIntervalSinceNow(0.005);
  NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, date);
  EXPECT_GE(Clock::current().now(), date.timeIntervalSince1970());
  g_source_remove(far);
}

TEST(GLibHostDeathTest, AContextRunByAnotherThreadStopsWithAMessage) {
  ::testing::FLAGS_gtest_death_test_style = "threadsafe";
  MainQueueScope scope(std::make_unique<GLibHost>());
  scope.queue().async([] {});
  const auto iterate = [] { g_main_context_iteration(nullptr, TRUE); };
  EXPECT_DEATH(std::thread(iterate).join(), "runs on another thread");
}

}  // namespace
}  // namespace JNFoundation
