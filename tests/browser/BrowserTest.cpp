// The example's window on a screen of its own, driven by keys, against a real server.

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QTimer>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>
#include <cstdio>
#include <curl/curl.h>
#include <gtest/gtest.h>
#include <map>
#include <set>

#include "examples/browser/BrowserWindow.h"
#include "examples/browser/FeedServer.h"
#include "tests/browser/VirtualScreen.h"

#include <JNFoundation/adapters/QtHost.h>
#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/dispatch/Random.h>
#include <JNFoundation/platform/value/NSError.h>

namespace JNFoundation {
namespace {

class BrowserTest : public ::testing::Test {
 protected:
  void SetUp() override {
    language("dan", "Danish", "L");
    language("deu", "German", "L");
    language("epo", "Esperanto", "C");
    language("fin", "Finnish", "L");
    language("got", "Gothic", "A");
    language("isl", "Icelandic", "L");
    language("lat", "Latin", "A");
    language("nld", "Dutch", "L");
    language("nob", "Norwegian Bokmål", "L");
    language("non", "Old Norse", "H");
    language("swe", "Swedish", "L");
    language("vol", "Volapük", "C");
    serve();
    open();
  }

  void TearDown() override {
    window.reset();
    if (store) store->cancel();
  }

  void open() {
    window.reset();
    Ref<NSError> error;
    store = browser::LanguageStore::open("", server.address().toStdString(), thread, &error);
    ASSERT_TRUE(store) << error->localizedDescription()->utf8();
    window = std::make_unique<browser::BrowserWindow>(store);
    window->show();
    window->activateWindow();
    ASSERT_TRUE(until([&] { return window->isActiveWindow(); }));
  }

  // ---- The server -------------------------------------------------------------------------------

  void language(const char* code, const char* name, const char* type) {
    feed[code] = QJsonObject{{"alpha_3", code}, {"name", name}, {"scope", "I"}, {"type", type}};
  }

  void serve() {
    QJsonArray records;
    for (const auto& [code, record] : feed) records.append(record);
    server.setAnswer(200, QJsonDocument(QJsonObject{{"639-3", records}}).toJson());
  }

  // ---- The window -------------------------------------------------------------------------------

  /// Runs the event loop until the condition holds, for ten seconds at most. Returns: whether it
  /// does.
  template <class Condition>
  bool until(Condition condition) {
    QTimer limit;
    limit.setSingleShot(true);
    limit.start(10'000);
    while (!condition() && limit.isActive()) {
      QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return condition();
  }

  template <class Widget>
  Widget& part(const char* name) const {
    return *window->findChild<Widget*>(name);
  }

  std::string state() const { return part<QLabel>("state").text().toStdString(); }
  std::string detail() const { return part<QLabel>("detail").text().toStdString(); }
  bool isLoading() const { return !part<QPushButton>("refresh").isEnabled(); }

  void key(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
    QWidget* const focus = QApplication::focusWidget();
    QTest::keyClick(focus ? focus : window.get(), key, modifiers);
  }
  void type(const char* text) { QTest::keyClicks(QApplication::focusWidget(), text); }

  void refresh() {
    key(Qt::Key_F5);
    ASSERT_TRUE(until([&] { return !isLoading(); }));
    // What was imported is merged in a turn of its own.
    QCoreApplication::processEvents();
  }

  /// The rows, sections with what is below them in brackets.
  std::string languages() const {
    const QAbstractItemModel& model = *part<QTreeView>("languages").model();
    std::string joined;
    for (int section = 0; section < model.rowCount(); ++section) {
      const QModelIndex parent = model.index(section, 0);
      joined += (section == 0 ? "" : " ") + parent.data().toString().toStdString() + "(";
      for (int row = 0; row < model.rowCount(parent); ++row) {
        const QString text = model.index(row, 0, parent).data().toString();
        joined += (row == 0 ? "" : " ") + text.right(3).toStdString();
      }
      joined += ")";
    }
    return joined;
  }

  /// Whether all sections are open.
  bool isOpen() const {
    const QTreeView& view = part<QTreeView>("languages");
    for (int section = 0; section < view.model()->rowCount(); ++section) {
      if (!view.isExpanded(view.model()->index(section, 0))) return false;
    }
    return true;
  }

  std::set<std::string> strip() const {
    const QAbstractItemModel& model = *part<QListView>("strip").model();
    std::set<std::string> names;
    for (int row = 0; row < model.rowCount(); ++row) {
      names.insert(model.index(row, 0).data().toString().toStdString());
    }
    return names;
  }

  /// Writes what the window looks like. Returns: how many colours it has.
  int picture(const char* name) {
    const QImage image = window->grab().toImage();
    EXPECT_TRUE(image.save(QDir(PICTURES).filePath(QString("browser-%1.png").arg(name))));
    std::set<QRgb> colours;
    for (int y = 0; y < image.height(); ++y) {
      for (int x = 0; x < image.width(); ++x) colours.insert(image.pixel(x, y));
    }
    return static_cast<int>(colours.size());
  }

  std::map<QString, QJsonObject> feed;
  MainQueueScope queue{std::make_unique<QtHost>()};
  RandomSourceScope random{seededRandomSource(7)};
  browser::FeedServer server;
  browser::WorkThread thread;
  Ref<browser::LanguageStore> store;
  std::unique_ptr<browser::BrowserWindow> window;
};

constexpr const char* everything =
    "ancient(got lat) constructed(epo vol) historical(non) "
    "living(dan nld fin deu isl nob swe)";

TEST_F(BrowserTest, AnEmptyCatalogueFillsWhileItIsLoaded) {
  EXPECT_EQ(languages(), "");
  EXPECT_EQ(state(), "0 languages");
  const int before = picture("empty");
  server.setHeld(true);
  key(Qt::Key_F5);
  EXPECT_TRUE(isLoading());
  EXPECT_EQ(state(), "Loading…");
  ASSERT_TRUE(until([&] { return server.requests() == 1; }));
  key(Qt::Key_F5);
  EXPECT_EQ(languages(), "");
  server.setHeld(false);
  ASSERT_TRUE(until([&] { return !isLoading(); }));
  EXPECT_EQ(server.requests(), 1) << "one flight at a time";
  ASSERT_TRUE(until([&] { return languages() == everything; })) << languages();
  EXPECT_EQ(state(), "12 inserted");
  EXPECT_EQ(strip().size(), 10u);
  EXPECT_TRUE(
      part<QTreeView>("languages").isExpanded(part<QTreeView>("languages").model()->index(0, 0)));
  EXPECT_GT(picture("full"), before) << "text is seen";
}

TEST_F(BrowserTest, KeysSearchAndWalkThroughWhatWasFound) {
  refresh();
  key(Qt::Key_F, Qt::ControlModifier);
  ASSERT_EQ(QApplication::focusWidget(), &part<QLineEdit>("search"));
  type("Ish");
  EXPECT_EQ(languages(), "living(dan fin swe)");
  key(Qt::Key_Return);
  ASSERT_EQ(QApplication::focusWidget(), &part<QTreeView>("languages"));
  key(Qt::Key_Down);
  key(Qt::Key_Down);
  EXPECT_EQ(detail(), "fin  Finnish (living, individual)");
  picture("search");
  part<QLineEdit>("search").setFocus();
  key(Qt::Key_A, Qt::ControlModifier);
  type("klingon");
  EXPECT_EQ(languages(), "");
  key(Qt::Key_A, Qt::ControlModifier);
  key(Qt::Key_Backspace);
  EXPECT_EQ(languages(), everything);
}

TEST_F(BrowserTest, WhatAnImportChangesIsFollowedAndTheCurrentLanguageStaysCurrent) {
  refresh();
  key(Qt::Key_F, Qt::ControlModifier);
  type("Icelandic");
  key(Qt::Key_Return);
  key(Qt::Key_Down);
  part<QLineEdit>("search").clear();
  EXPECT_EQ(detail(), "isl  Icelandic (living, individual)");

  language("isl", "Íslenska", "H");  // to another section
  language("got", "Gothic", "E");    // to one that comes
  feed.erase("lat");                 // so that another one goes
  language("fao", "Faroese", "L");
  serve();
  refresh();
  ASSERT_TRUE(until([&] {
    return languages() ==
           "constructed(epo vol) extinct(got) historical(non isl) living(dan nld fao fin deu nob "
           "swe)";
  })) << languages();
  EXPECT_TRUE(until([&] { return isOpen(); })) << "the new section as well";
  EXPECT_EQ(detail(), "isl  Íslenska (historical, individual)");
  EXPECT_EQ(state(), "1 inserted, 2 updated, 9 unchanged, 1 deleted");
  EXPECT_EQ(strip().size(), 10u);
  EXPECT_EQ(strip().count("Latin"), 0u);
  picture("followed");
}

TEST_F(BrowserTest, TheStripDrawsAnewForWhoeverIsGone) {
  refresh();
  ASSERT_EQ(strip().size(), 10u);
  const std::set<std::string> drawn = strip();
  // Of ten that were drawn four go; two are left to be drawn.
  int gone = 0;
  for (auto each = feed.begin(); each != feed.end() && gone < 4;) {
    if (drawn.count(each->second["name"].toString().toStdString()) == 0) {
      ++each;
    } else {
      each = feed.erase(each);
      ++gone;
    }
  }
  serve();
  refresh();
  std::set<std::string> left;
  for (const auto& [code, record] : feed) left.insert(record["name"].toString().toStdString());
  EXPECT_TRUE(until([&] { return strip() == left; }));
  EXPECT_EQ(left.size(), 8u);
}

TEST_F(BrowserTest, OthersAreDrawnOnDemand) {
  refresh();
  const auto order = [&] {
    const QAbstractItemModel& model = *part<QListView>("strip").model();
    QStringList names;
    for (int row = 0; row < model.rowCount(); ++row) names << model.index(row, 0).data().toString();
    return names;
  };
  const QStringList before = order();
  part<QPushButton>("others").setFocus();
  key(Qt::Key_Space);
  EXPECT_NE(order(), before);
  EXPECT_EQ(order().size(), 10);
}

TEST_F(BrowserTest, OfflineIsSaidAndWhatIsThereStays) {
  refresh();
  server.setOnline(false);
  refresh();
  EXPECT_EQ(state(), "Offline. These are the languages that were loaded before.");
  EXPECT_EQ(languages(), everything);
  picture("offline");
  server.setOnline(true);
  refresh();
  EXPECT_EQ(state(), "12 unchanged");
}

TEST_F(BrowserTest, WhatIsWrongWithTheAnswerIsSaid) {
  refresh();
  server.setAnswer(503, "gone fishing");
  refresh();
  EXPECT_EQ(state(), "The server answered with 503");
  server.setAnswer(200, "{\"a\": [], \"b\": 1}");
  refresh();
  EXPECT_EQ(state(), "The answer holds no list of records");
  server.setAnswer(200, "[{\"alpha_3\": ");
  refresh();
  EXPECT_NE(state(), "12 unchanged");
  EXPECT_FALSE(state().empty());
  EXPECT_EQ(languages(), everything);
  picture("error");
}

TEST_F(BrowserTest, TheLanguagesOfTheWorldFit) {
  QFile file("/usr/share/iso-codes/json/iso_639-3.json");
  ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << qPrintable(file.errorString());
  const QByteArray world = file.readAll();
  const qsizetype count = QJsonDocument::fromJson(world).object()["639-3"].toArray().size();
  server.setAnswer(200, world);
  refresh();
  EXPECT_EQ(state(), std::to_string(count) + " inserted");
  const QAbstractItemModel& model = *part<QTreeView>("languages").model();
  const auto shown = [&] {
    qsizetype rows = 0;
    for (int section = 0; section < model.rowCount(); ++section) {
      rows += model.rowCount(model.index(section, 0));
    }
    return rows;
  };
  EXPECT_TRUE(until([&] { return shown() == count; })) << shown();
  EXPECT_TRUE(until([&] { return isOpen(); }));
  EXPECT_EQ(strip().size(), 10u);
  picture("world");
  key(Qt::Key_F, Qt::ControlModifier);
  type("norw");
  EXPECT_GT(shown(), 3);
  EXPECT_LT(shown(), 20);
  key(Qt::Key_Return);
  key(Qt::Key_Down);
  key(Qt::Key_Down);
  EXPECT_NE(detail().find("Norw"), std::string::npos) << detail();
  picture("norwegian");
}

TEST_F(BrowserTest, AWindowMayBeClosedWhileItLoads) {
  server.setHeld(true);
  key(Qt::Key_F5);
  ASSERT_TRUE(until([&] { return server.requests() == 1; }));
  window.reset();
  store->cancel();
  server.setHeld(false);
  QCoreApplication::processEvents();
}

}  // namespace
}  // namespace JNFoundation

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  // Whoever only asks for the tests' names needs no screen.
  if (::testing::GTEST_FLAG(list_tests)) return RUN_ALL_TESTS();
  const JNFoundation::VirtualScreen screen;
  if (!screen.problem().empty()) {
    std::fprintf(stderr, "%s\n", screen.problem().c_str());
    return 1;
  }
  curl_global_init(CURL_GLOBAL_DEFAULT);
  QApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
