// Imports lists of records into an object store.
//
//   catalog                              the ISO lists of countries, subdivisions and languages
//   catalog FILE.json ENTITY             a list of records of your own
//   catalog --store FILE.sqlite …        into another store than build/demo/catalog.sqlite
//
// Read it from here: main puts the pieces together, Catalog.cpp chains the stages of an import,
// Feed.cpp reads, Merge.cpp makes objects of records, by the rules in Catalog.xcdatamodel.

#include <cstdio>
#include <string>
#include <vector>

#include "Catalog.h"
#include "Report.h"

#include <JNFoundation/platform/dispatch/NSLog.h>
#include <JNFoundation/platform/dispatch/NSRunLoop.h>

namespace {

using namespace JNFoundation;
using namespace catalog;

constexpr const char* isoFolder = "/usr/share/iso-codes/json/";

std::vector<FeedFile> isoFiles() {
  const std::string folder = isoFolder;
  return {{folder + "iso_3166-1.json", "Country", {}},
          {folder + "iso_3166-2.json", "Subdivision", {}},
          {folder + "iso_639-3.json", "Language", {}}};
}

int usage() {
  std::fputs("usage: catalog [--store FILE.sqlite] [FILE.json ENTITY]\n", stderr);
  return 2;
}

/// One line for people, whatever a deferred was rejected with.
Ref<NSString> lineFor(const Ref<PLVRejected>& rejected) {
  const NSError* error = as<NSError>(rejected->value());
  return error ? error->localizedDescription() : rejected->value().description();
}

int importAndReport(Catalog& catalog, std::vector<FeedFile> files) {
  Worker worker;
  // What a rule cannot store is one line in the log; a user wants to see all of them at the end.
  std::vector<std::string> refused;
  int status = 1;
  bool isFinished = false;
  const auto start = std::chrono::steady_clock::now();
  {
    LogSinkScope sink(
        [&refused](const Ref<NSString>& line) { refused.push_back(line->toStdString()); });
    importFiles(catalog, files, worker, &showProgress)
        ->thenResolvedRejected(
            [&status](const Value& value) {
              status = 0;
              return value;
            },
            [](const Ref<PLVRejected>& rejected) -> Value {
              std::fprintf(stderr, "catalog: %s\n", lineFor(rejected)->UTF8String());
              return rejected;
            })
        ->thenEither([&isFinished](const Value& value) {
          isFinished = true;
          NSRunLoop::mainRunLoop()->stop();
          return value;
        });
    while (!isFinished) NSRunLoop::mainRunLoop()->run();
  }
  if (status == 0) {
    showReport(catalog, files, refused, std::chrono::steady_clock::now() - start);
  }
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> arguments(argv + 1, argv + argc);
  std::string storePath = "build/demo/catalog.sqlite";
  if (arguments.size() >= 2 && arguments[0] == "--store") {
    storePath = arguments[1];
    arguments.erase(arguments.begin(), arguments.begin() + 2);
  }
  if (arguments.size() != 0 && arguments.size() != 2) return usage();

  Ref<NSError> error;
  Ref<NSManagedObjectModel> model = Catalog::readModel(CATALOG_MODEL, &error);
  if (!model) {
    std::fprintf(stderr, "catalog: %s\n", error->localizedDescription()->UTF8String());
    return 1;
  }
  std::vector<FeedFile> files = isoFiles();
  if (!arguments.empty()) {
    const auto entity =
        as<NSEntityDescription>(model->entitiesByName()->objectForKey(arguments[1]));
    if (!entity || entity->isAbstract()) {
      std::fprintf(stderr, "catalog: the model has no records of an entity %s\n",
                   arguments[1].c_str());
      return 1;
    }
    files = {{arguments[0], entity->name(), {}}};
  }
  Catalog catalog(model, storePath);
  return importAndReport(catalog, std::move(files));
}
