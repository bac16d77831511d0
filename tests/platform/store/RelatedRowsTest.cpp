#include <gtest/gtest.h>
#include <sqlite3.h>

#include "tests/platform/store/RelationshipFixture.h"

#include <JNFoundation/platform/store/NSPersistentStore.h>

namespace JNFoundation {
namespace {

/// The company in a file that is damaged behind the store's back.
class RelatedRows : public CompanyTest {
 protected:
  void SetUp() override { open(NSSQLiteStoreType, companyModel()); }

  void execute(const char* sql) const {
    sqlite3* handle = nullptr;
    ASSERT_EQ(sqlite3_open(directory.file("library.sqlite").c_str(), &handle), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(handle, sql, nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(handle);
    sqlite3_close(handle);
  }
};

TEST_F(RelatedRows, WhatCannotBeReadIsAnErrorOfTheFetch) {
  auto ann = make("Person", "Ann"), sales = make("Department", "Sales");
  ann->setValueForKey(sales, "department");
  save();
  context->reset();
  // Upper case is made in memory.
  const auto wanted = [](const char* format) {
    return request("Person", NSPredicate::predicateWithFormat(format));
  };
  const char* toOne = "uppercase(department.name) == 'SALES'";
  EXPECT_EQ(fetched(wanted(toOne), "name"), "Ann");
  execute("ALTER TABLE object_Department RENAME TO object_Gone");
  Ref<NSError> error;
  EXPECT_FALSE(context->executeFetchRequestError(wanted(toOne), &error));
  EXPECT_TRUE(error);
  error = nullptr;
  EXPECT_EQ(context->countForFetchRequestError(wanted(toOne), &error),
            static_cast<NSUInteger>(NSNotFound));
  EXPECT_TRUE(error);
  execute("ALTER TABLE object_Gone RENAME TO object_Department");
  EXPECT_EQ(fetched(wanted(toOne), "name"), "Ann");
}

}  // namespace
}  // namespace JNFoundation
