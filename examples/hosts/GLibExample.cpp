// The main queue inside the main loop of GLib: docs/hosts.md shows it.

// begin
#include <cstdio>
#include <glib.h>
#include <memory>

#include <JNFoundation/adapters/GLibHost.h>
#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/platform/dispatch/MainQueue.h>

using namespace JNFoundation;

int main() {
  GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
  MainQueue::current().setHost(std::make_unique<GLibHost>());

  // In place of a request over the network.
  auto answer = PLVDeferred::init();
  const auto arrive = [](gpointer waiting) -> gboolean {
    (*static_cast<Ref<PLVDeferred>*>(waiting))->resolve("an answer");
    return G_SOURCE_REMOVE;
  };
  g_timeout_add(20, arrive, &answer);

  MainQueue::current().after(0.005, [] { std::puts("tick"); });
  answer->timeout(5)->thenEither([loop](const Value& outcome) -> Value {
    std::puts(outcome.description()->UTF8String());
    g_main_loop_quit(loop);
    return outcome;
  });
  g_main_loop_run(loop);
  g_main_loop_unref(loop);
}
// end
