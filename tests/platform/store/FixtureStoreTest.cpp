#include <cstdlib>

#include "MigrationFixture.h"

#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSUUID.h>

namespace JNFoundation {
namespace {

using testing::OpenedStore;

/// A file that an earlier release has made, and that this one reads. It is made again, which only
/// a change of the format before a release is a reason for, from the root of the tree by
///
///     JN_MAKE_FIXTURE=1 test_store --gtest_filter=FixtureStore.IsRead
class FixtureStore : public MigrationTest {
 protected:
  static constexpr const char* fixture = "tests/platform/store/fixtures/format1.sqlite";

  static constexpr const char* types[] = {"Integer 16", "Integer 32", "Integer 64", "Decimal",
                                          "Double",     "Float",      "String",     "Boolean",
                                          "Date",       "Binary",     "UUID",       "URI"};
  static std::string content(const std::string& more = {}) {
    std::string columns = attribute("name");
    for (std::size_t i = 0; i < std::size(types); ++i) {
      columns += attribute("v" + std::to_string(i), types[i]);
    }
    return entity("Thing", columns + more + one("group", "Group", "things") +
                               many("friends", "Thing", "friends") +
                               many("tags", "Tag", "things", "ordered='YES'")) +
           entity("Special", attribute("extra"), "parentEntity='Thing'") +
           entity("Group", attribute("name") + many("things", "Thing", "group", "ordered='YES'") +
                               one("head", "Special") +
                               "<uniquenessConstraints><uniquenessConstraint><constraint "
                               "value='name'/></uniquenessConstraint></uniquenessConstraints>") +
           entity("Tag", attribute("name") + many("things", "Thing", "tags") +
                             "<fetchIndex name='byName'><fetchIndexElement property='name' "
                             "type='Binary' order='descending'/></fetchIndex>");
  }
  static std::vector<const char*> valueKeys() {
    return {"name", "v0", "v1", "v2", "v3", "v4", "v5", "v6", "v7", "v8", "v9", "v10", "v11"};
  }

  static void fill(const Context& context) {
    const Value values[] = {-32768,
                            2147483647,
                            Value(std::int64_t{-9007199254740993}),
                            NSDecimalNumber::decimalNumberWithString("-0.10"),
                            0.1,
                            1.5f,
                            "z\u00fcrich \U0001F600",
                            true,
                            Value::dateWithTimeIntervalSince1970(1'000'000'000.25),
                            NSData::dataWithBytesLength("\0\1\xff", 3),
                            NSUUID::initWithUUIDString("6BA7B810-9DAD-11D1-80B4-00C04FD430C8"),
                            NSURL::URLWithString("http://example.com/a?b#c")};
    auto full = insert(context, "Thing", {{"name", "full"}});
    for (std::size_t i = 0; i < std::size(values); ++i) {
      full->setValueForKey(values[i], "v" + std::to_string(i));
    }
    auto empty = insert(context, "Thing", {});
    auto special = insert(context, "Special", {{"name", "special"}, {"extra", "more"}});
    auto gone = insert(context, "Thing", {{"name", "gone"}});
    auto group = insert(context, "Group", {{"name", "G"}, {"head", special}});
    auto red = insert(context, "Tag", {{"name", "red"}}),
         blue = insert(context, "Tag", {{"name", "blue"}});
    ASSERT_TRUE(context->save());
    put(group, "things", {special, full});
    put(full, "tags", {red, blue});
    put(special, "tags", {blue, red});
    put(full, "friends", {special});
    empty->setValueForKey("named later", "name");
    context->deleteObject(gone);
    ASSERT_TRUE(context->save());
  }

  /// A copy of it, which may be written to.
  void SetUp() override {
    if (std::getenv("JN_MAKE_FIXTURE")) makeFixture();
    ASSERT_TRUE(std::filesystem::exists(fixture)) << "run it from the root of the tree";
    std::filesystem::copy_file(fixture, file);
    std::filesystem::permissions(file, std::filesystem::perms::owner_all);
  }

  void makeFixture() {
    make(content(), fill);
    {
      OpenedStore store(file, modelOf(content()));
      ASSERT_TRUE(store.coordinator->setMetadataForPersistentStore(
          NSDictionary::dictionaryWithObjectForKey("format 1", "made by"), theStore(store)));
      ASSERT_TRUE(store.coordinator->compactPersistentStoreError(theStore(store)));
      expectContent(store);
    }
    std::filesystem::create_directories(std::filesystem::path(fixture).parent_path());
    std::filesystem::copy_file(file, fixture, std::filesystem::copy_options::overwrite_existing);
    std::filesystem::remove(file);
  }

  void expectContent(const OpenedStore& store) const {
    ASSERT_TRUE(store) << text(store.error);
    EXPECT_EQ(dump(store, "Thing", valueKeys()),
              "full -32768 2147483647 -9007199254740993 -0.1 0.1 1.5 z\u00fcrich \U0001F600 1 "
              "2001-09-09 01:46:40 +0000 <0001ff> "
              "6BA7B810-9DAD-11D1-80B4-00C04FD430C8 http://example.com/a?b#c; "
              "named later - - - - - - - - - - - -; "
              "special - - - - - - - - - - - -");
    EXPECT_EQ(dump(store, "Thing", {"name", "group", "friends", "tags"}),
              "full G [special] [red blue]; named later - [] []; special G [full] [blue red]");
    EXPECT_EQ(dump(store, "Special", {"name", "extra"}), "special more");
    EXPECT_EQ(dump(store, "Group", {"name", "things", "head"}), "G [special full] special");
    EXPECT_EQ(dump(store, "Tag", {"name", "things"}), "red [full special]; blue [full special]");
    EXPECT_EQ(shown(store.coordinator->metadataForPersistentStore(theStore(store))
                        ->objectForKey("made by")),
              "format 1");
    const Ref<NSArray> damage =
        store.coordinator->integrityErrorsOfPersistentStoreError(theStore(store));
    ASSERT_TRUE(damage);
    EXPECT_EQ(damage->count(), 0u) << damage->description()->utf8();
  }
};

TEST_F(FixtureStore, IsRead) {
  OpenedStore store(file, modelOf(content()));
  expectContent(store);
  insert(store.context, "Thing", {{"name", "new"}});
  ASSERT_TRUE(store.context->save());
  EXPECT_EQ(query("SELECT _pk || ':' || _version FROM object_Thing ORDER BY _pk"),
            "1:2 2:2 3:2 5:1");
}

TEST_F(FixtureStore, IsMigrated) {
  {
    auto store = migrated(content(attribute("added", "Integer 16", "defaultValueString='5'")));
    expectContent(store);
    EXPECT_EQ(dump(store, "Thing", {"added"}), "5; 5; 5");
  }
  expectContent(migrated(content()));
}

}  // namespace
}  // namespace JNFoundation
