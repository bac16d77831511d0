// Languages of the world in a window: see BrowserWindow.h.
//
//     browser [STORE [URL]]
//
// Without a URL a server on the loopback address has the languages of ISO 639-3.

#include <QtCore/QFile>
#include <QtWidgets/QApplication>
#include <cstdio>
#include <curl/curl.h>
#include <optional>

#include "BrowserWindow.h"
#include "FeedServer.h"

#include <JNFoundation/adapters/QtHost.h>
#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/value/NSError.h>

using namespace JNFoundation;

int main(int argc, char** argv) {
  curl_global_init(CURL_GLOBAL_DEFAULT);
  QApplication application(argc, argv);
  MainQueue::current().setHost(std::make_unique<QtHost>());
  const QStringList arguments = QCoreApplication::arguments();

  std::optional<browser::FeedServer> server;
  QString url = arguments.value(2);
  if (url.isEmpty()) {
    QFile file("/usr/share/iso-codes/json/iso_639-3.json");
    if (!file.open(QIODevice::ReadOnly)) {
      std::fprintf(stderr, "%s: %s\n", qPrintable(file.fileName()), qPrintable(file.errorString()));
      return 1;
    }
    server.emplace().setAnswer(200, file.readAll());
    url = server->address();
  }
  browser::WorkThread thread;
  Ref<NSError> error;
  const auto store = browser::LanguageStore::open(arguments.value(1).toStdString(),
                                                  url.toStdString(), thread, &error);
  if (!store) {
    std::fprintf(stderr, "%s\n", error->localizedDescription()->UTF8String());
    return 1;
  }
  browser::BrowserWindow window(store);
  window.show();
  window.refresh();
  const int status = QApplication::exec();
  store->cancel();
  return status;
}
