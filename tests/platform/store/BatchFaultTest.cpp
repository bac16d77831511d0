#include "FaultVfs.h"
#include "SalesFixture.h"

#include <JNFoundation/platform/store/NSBatchDeleteRequest.h>
#include <JNFoundation/platform/store/NSBatchInsertRequest.h>
#include <JNFoundation/platform/store/NSBatchUpdateRequest.h>

namespace JNFoundation {
namespace {

using testing::FaultVfs;

/// Batch requests on a disk of which one write fails, each in turn.
class BatchFaults : public StoreTest {
 protected:
  void SetUp() override {
    open(NSSQLiteStoreType, salesModel());
    for (int i = 0; i < 50; ++i) insert("Sale", {{"amount", i}});
    save();
  }

  /// How many records there are, and what their amounts come to.
  std::string state() {
    auto wanted = request("Sale");
    wanted->setResultType(NSDictionaryResultType);
    wanted->setPropertiesToFetch(
        NSArray::arrayWithObjects(computed("n", "count(SELF)"), computed("s", "sum(amount)")));
    const Value row = fetch(wanted)->firstObject();
    return as<NSDictionary>(row)->objectForKey("n").description()->toStdString() + " " +
           as<NSDictionary>(row)->objectForKey("s").description()->toStdString();
  }

  static Ref<NSPersistentStoreRequest> insertion() {
    auto next = std::make_shared<int>(0);
    return NSBatchInsertRequest::batchInsertRequestWithEntityNameDictionaryHandler(
        "Sale", [next](const Ref<NSMutableDictionary>& sale) {
          sale->setObjectForKey(NSString::fromText(std::string(400, 'x')), "region");
          sale->setObjectForKey(1, "amount");
          return ++*next > 6000;
        });
  }
  static Ref<NSPersistentStoreRequest> update() {
    auto request = NSBatchUpdateRequest::batchUpdateRequestWithEntityName("Sale");
    request->setPropertiesToUpdate(NSDictionary::dictionaryWithEntries(
        {{"amount", NSExpression::expressionWithFormat("amount + 1")}}));
    return request;
  }

  /// Has each write of a request fail once. Returns: how many failures ended it.
  template <class Make>
  int failEveryWrite(FaultVfs& disk, Make&& make, std::uint64_t step) {
    int failures = 0;
    for (std::uint64_t number = 1;; number += step) {
      const std::string before = state();
      disk.fail(FaultVfs::Operation::Write, number, FaultVfs::usualCode(FaultVfs::Operation::Write),
                FaultVfs::Lasting::Once);
      Ref<NSError> error;
      const Value result = context->executeRequestError(make(), &error);
      const bool hasFailed = disk.hasFailed();
      disk.heal();
      if (result.isNull()) {
        EXPECT_TRUE(error);
        EXPECT_EQ(state(), before) << "write " << number;
        ++failures;
      }
      if (!hasFailed) return failures;
    }
  }
};

TEST_F(BatchFaults, ARequestThatFailsHalfWayLeavesNothing) {
  ASSERT_TRUE(coordinator->removePersistentStoreError(store));
  FaultVfs disk;
  // Its files are closed before the disk goes.
  struct Closing {
    const Ref<NSPersistentStoreCoordinator>& coordinator;
    ~Closing() {
      for (const Value& store : coordinator->persistentStores()) {
        coordinator->removePersistentStoreError(
            Ref<NSPersistentStore>(as<NSPersistentStore>(store)));
      }
    }
  } closing{coordinator};
  Ref<NSError> error;
  ASSERT_TRUE(coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
      NSSQLiteStoreType, nullptr, NSURL::fileURLWithPath(directory.file("library.sqlite")), nullptr,
      &error))
      << text(error);
  context = newContext();
  EXPECT_GT(failEveryWrite(disk, insertion, 100), 2);
  EXPECT_GT(failEveryWrite(disk, update, 100), 2);
  const auto deletion = [] { return NSBatchDeleteRequest::initWithFetchRequest(request("Sale")); };
  EXPECT_GT(failEveryWrite(disk, deletion, 100), 2);
  EXPECT_EQ(state(), "0 0");
  const Ref<NSArray> errors = coordinator->integrityErrorsOfPersistentStoreError(
      as<NSPersistentStore>(coordinator->persistentStores()->firstObject()));
  ASSERT_TRUE(errors);
  EXPECT_EQ(errors->count(), 0u) << errors->description()->utf8();
}

}  // namespace
}  // namespace JNFoundation
