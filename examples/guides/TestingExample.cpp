#include <cstdio>
#include <string>
#include <vector>

#include "Examples.h"
#include "ShopFilter.h"

#include <JNFoundation/importing/RecordImport.h>
#include <JNFoundation/mapping/NSManagedObjectContext+PLVAssociatedFilter.h>
#include <JNFoundation/platform/dispatch/NSLog.h>
#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/testing/RunLoopTesting.h>
#include <JNFoundation/testing/TestMainThread.h>

namespace examples {
namespace {

void check(bool holds) { std::puts(holds ? "holds" : "FAILS"); }

// begin
/// A store of a test's own: in memory, empty at first and gone at its end, with the application's
/// model and filter. It keeps the lines of the log, and time stands still in it.
class ShopFixture {
 public:
  ShopFixture() {
    const auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(shopModel());
    coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(NSInMemoryStoreType,
                                                                        nullptr, nullptr, nullptr);
    context->setPersistentStoreCoordinator(coordinator);
    plv_setDataMapFilter(context, makeShopFilter());
  }

  Ref<ImportReport> import(const char* json) {
    const Value records =
        NSJSONSerialization::JSONObjectWithTextOptionsError(json, NSJSONReadingPlain, nullptr);
    Ref<ImportReport> report;
    importRecords(as<NSArray>(records), "Product", context)
        .thenResolved([&report](const Ref<ImportReport>& done) { report = done; });
    runUntilIdle();
    return report;
  }

  TestMainThread main;
  const Ref<NSManagedObjectContext> context = NSManagedObjectContext::init();
  std::vector<std::string> log;

 private:
  LogSinkScope _sink{[this](const Ref<NSString>& line) { log.push_back(line->toStdString()); }};
};

void testASecondFeedWritesOnlyWhatDiffers() {
  ShopFixture shop;
  shop.import(R"([{"sku": "A", "price": "9,50 €"}, {"sku": "B", "price": "12,00 €"}])");
  const auto report =
      shop.import(R"([{"sku": "A", "price": "9,50 €"}, {"sku": "B", "price": "11,00 €"}])");
  check(report->updated() == 1 && report->unchanged() == 1);
  check(shop.log.empty());
}

void testAnArrayIsNoName() {
  ShopFixture shop;
  const auto report = shop.import(R"([{"sku": "A", "name": ["Lamp"]}])");
  check(report->inserted() == 1);  // the rest of the record is there
  check(shop.log.size() == 1);     // and the log says what is not
}
// end

}  // namespace

void testing() {
  testASecondFeedWritesOnlyWhatDiffers();
  testAnArrayIsNoName();
}

}  // namespace examples
