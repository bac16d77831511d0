#include <QtCore/QCoreApplication>
#include <QtCore/QTimer>

#include "HostConformance.h"

#include <JNFoundation/adapters/QtHost.h>

namespace JNFoundation {
namespace {

/// An application object of Qt without a user interface.
class QtLoop {
 public:
  static constexpr bool isEventLoop = true;
  static constexpr bool passesExceptions = false;

  std::unique_ptr<MainQueueHost> host() { return std::make_unique<QtHost>(); }
  void run() { QCoreApplication::exec(); }
  void quit() { QCoreApplication::exit(); }

  template <class Condition>
  void runUntil(Condition condition) {
    while (!condition()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  }

  void post(Block<void()> event) {
    QMetaObject::invokeMethod(
        _application.get(), [event = std::move(event)] { event(); }, Qt::QueuedConnection);
  }
  void repeat(Block<bool()> tick) { start(1, std::move(tick)); }
  void idle(Block<bool()> work) { start(0, std::move(work)); }

  void end() { _application.reset(); }

 private:
  void start(int milliseconds, Block<bool()> called) {
    auto* timer = new QTimer(_application.get());
    QObject::connect(timer, &QTimer::timeout, timer, [timer, called = std::move(called)] {
      if (!called()) timer->stop();
    });
    timer->start(milliseconds);
  }

  int _argumentCount = 1;
  char _name[5] = "test";
  char* _arguments[2] = {_name, nullptr};
  std::unique_ptr<QCoreApplication> _application =
      std::make_unique<QCoreApplication>(_argumentCount, _arguments);
};

INSTANTIATE_TYPED_TEST_SUITE_P(Qt, HostConformance, QtLoop);

TEST(QtHost, ServesTheQueueInsideAnEventLoopThatATaskNests) {
  QtLoop loop;
  MainQueueScope scope(loop.host());
  std::vector<std::string> record;
  scope.queue().async([&] {
    QEventLoop dialog;
    MainQueue::current().after(0.002, [&] {
      record.push_back("closes");
      dialog.quit();
    });
    dialog.exec();
    record.push_back("closed");
    loop.quit();
  });
  loop.run();
  EXPECT_EQ(record, (std::vector<std::string>{"closes", "closed"}));
}

TEST(QtHost, IsMadeAnewForAnotherApplicationObject) {
  MainQueueScope scope;
  for (int i = 0; i < 3; ++i) {
    QtLoop loop;
    scope.queue().setHost(loop.host());
    scope.queue().after(0.001, [&] { loop.quit(); });
    loop.run();
  }
}

TEST(QtHostDeathTest, WithoutAnApplicationObjectThereIsNothingToHostTheQueue) {
  ::testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(QtHost(), "make the QCoreApplication first");
}

}  // namespace
}  // namespace JNFoundation
