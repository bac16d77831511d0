#include "MigrationFixture.h"

namespace JNFoundation {
namespace {

using testing::OpenedStore;

/// Entities that come, go, change their names and their places in a hierarchy.
class EntityMigration : public MigrationTest {
 protected:
  std::string named(const char* name, const std::string& more = {}) {
    return entity(name, attribute("name"), more);
  }
  /// Work (name), below it Book (pages) and Film (minutes), and Tag with works.
  std::string library() {
    return entity("Work", attribute("name") + many("tags", "Tag", "works")) +
           entity("Book", attribute("pages", "Integer 32"), "parentEntity='Work'") +
           entity("Film", attribute("minutes", "Integer 32"), "parentEntity='Work'") +
           entity("Tag", attribute("name") + many("works", "Work", "tags") + one("first", "Work"));
  }
  void makeLibrary() {
    make(library(), [](const Context& context) {
      auto work = insert(context, "Work", {{"name", "w"}});
      auto book = insert(context, "Book", {{"name", "b"}, {"pages", 300}});
      auto film = insert(context, "Film", {{"name", "f"}, {"minutes", 90}});
      auto red = insert(context, "Tag", {{"name", "red"}, {"first", film}});
      auto blue = insert(context, "Tag", {{"name", "blue"}, {"first", book}});
      put(red, "works", {work, book, film});
      put(blue, "works", {film});
    });
  }
};

TEST_F(EntityMigration, AnEntityIsAddedAndRemoved) {
  make(named("Person"), [](const Context& context) {
    insert(context, "Person", {{"name", "Ada"}});
  });
  {
    auto store = migrated(named("Person") + named("Dog"));
    EXPECT_EQ(dump(store, "Person", {"name"}), "Ada");
    insert(store.context, "Dog", {{"name", "Rex"}});
    ASSERT_TRUE(store.context->save());
  }
  auto store = migrated(named("Dog"));
  EXPECT_EQ(dump(store, "Dog", {"name"}), "Rex");
  EXPECT_EQ(query("SELECT name FROM sqlite_schema WHERE name LIKE 'object_%'"), "object_Dog");
}

TEST_F(EntityMigration, AnEntityIsRenamedWithoutTouchingItsRecords) {
  make(named("Person") + entity("Dog", attribute("name") + one("owner", "Person")),
       [](const Context& context) {
         auto ada = insert(context, "Person", {{"name", "Ada"}});
         insert(context, "Dog", {{"name", "Rex"}, {"owner", ada}});
       });
  auto store = migrated(named("Human", "elementID='Person'") +
                        entity("Dog", attribute("name") + one("owner", "Human")));
  EXPECT_EQ(dump(store, "Human", {"name"}), "Ada");
  EXPECT_EQ(dump(store, "Dog", {"name", "owner"}), "Rex Ada");
  EXPECT_EQ(query("SELECT table_name FROM jn_entity WHERE name = 'Human'"), "object_Person");
}

TEST_F(EntityMigration, TwoEntitiesChangeNames) {
  make(named("A") + named("B"), [](const Context& context) {
    insert(context, "A", {{"name", "a"}});
    insert(context, "B", {{"name", "b"}});
  });
  auto store = migrated(named("A", "elementID='B' versionHashModifier='2'") +
                        named("B", "elementID='A' versionHashModifier='2'"));
  EXPECT_EQ(dump(store, "A", {"name"}) + dump(store, "B", {"name"}), "ba");
}

TEST_F(EntityMigration, ARenamedEntityMakesRoomForANewOneOfItsName) {
  make(named("A"), [](const Context& context) { insert(context, "A", {{"name", "a"}}); });
  auto store = migrated(named("A") + named("B", "elementID='A'"));
  EXPECT_EQ(dump(store, "B", {"name"}), "a");
  EXPECT_EQ(dump(store, "A", {"name"}), "");
  insert(store.context, "A", {{"name", "new"}});
  EXPECT_TRUE(store.context->save());
}

TEST_F(EntityMigration, AHierarchyGetsANewParent) {
  make(named("Dog"), [](const Context& context) { insert(context, "Dog", {{"name", "Rex"}}); });
  auto store = migrated(entity("Animal", attribute("name") + attribute("legs", "Integer 16",
                                                                       "defaultValueString='4'")) +
                        entity("Dog", "", "parentEntity='Animal'"));
  EXPECT_EQ(dump(store, "Animal", {"name", "legs"}), "Rex 4");
  EXPECT_EQ(all(store.context, "Dog").size(), 1u);
  insert(store.context, "Animal", {{"name", "Tom"}});
  EXPECT_TRUE(store.context->save()) << "with a number of its own";
}

TEST_F(EntityMigration, AnEntityGetsAChild) {
  make(named("Animal"), [](const Context& context) {
    insert(context, "Animal", {{"name", "Tom"}});
  });
  auto store = migrated(named("Animal") +
                        entity("Dog", attribute("tricks", "Integer 16"), "parentEntity='Animal'"));
  insert(store.context, "Dog", {{"name", "Rex"}, {"tricks", 2}});
  ASSERT_TRUE(store.context->save());
  EXPECT_EQ(dump(store, "Animal", {"name"}), "Tom; Rex");
}

TEST_F(EntityMigration, PropertiesMoveUp) {
  makeLibrary();
  auto store = migrated(
      entity("Work",
             attribute("name") + attribute("pages", "Integer 32") + many("tags", "Tag", "works")) +
      entity("Book", "", "parentEntity='Work'") +
      entity("Film", attribute("minutes", "Integer 32"), "parentEntity='Work'") +
      entity("Tag", attribute("name") + many("works", "Work", "tags") + one("first", "Work")));
  EXPECT_EQ(dump(store, "Work", {"name", "pages", "tags"}),
            "w - [red]; b 300 [red]; f - [blue red]");
  EXPECT_EQ(dump(store, "Film", {"minutes"}), "90");
  EXPECT_EQ(dump(store, "Tag", {"name", "first"}), "red f; blue b");
}

TEST_F(EntityMigration, PropertiesOfSiblingsMoveUpIntoOne) {
  make(entity("Work", attribute("name"), "isAbstract='YES'") +
           entity("Book", attribute("size", "Integer 32") + one("next", "Work"),
                  "parentEntity='Work'") +
           entity("Film", attribute("length", "Integer 32") + many("next", "Work"),
                  "parentEntity='Work'"),
       [](const Context& context) {
         auto book = insert(context, "Book", {{"name", "b"}, {"size", 300}});
         auto film = insert(context, "Film", {{"name", "f"}, {"length", 90}});
         book->setValueForKey(film, "next");
         put(film, "next", {book, film});
       });
  auto store = migrated(
      entity("Work", attribute("name") + attribute("size", "Integer 32") + many("next", "Work"),
             "isAbstract='YES'") +
      entity("Book", "", "parentEntity='Work'") + entity("Film", "", "parentEntity='Work'"));
  EXPECT_EQ(dump(store, "Work", {"name", "size", "next"}), "b 300 [f]; f - [b f]");
}

TEST_F(EntityMigration, PropertiesMoveDown) {
  make(entity("Work", attribute("name") + attribute("pages", "Integer 32")) +
           entity("Book", "", "parentEntity='Work'"),
       [](const Context& context) {
         insert(context, "Work", {{"name", "w"}, {"pages", 1}});
         insert(context, "Book", {{"name", "b"}, {"pages", 2}});
       });
  auto store = migrated(entity("Work", attribute("name")) +
                        entity("Book", attribute("pages", "Integer 32"), "parentEntity='Work'"));
  EXPECT_EQ(dump(store, "Work", {"name"}), "w; b");
  EXPECT_EQ(dump(store, "Book", {"name", "pages"}), "b 2");
  EXPECT_EQ(query("SELECT pages FROM object_Work ORDER BY _pk"), "NULL 2");
}

TEST_F(EntityMigration, AnEntityLeavesItsHierarchy) {
  makeLibrary();
  auto store = migrated(
      entity("Work", attribute("name") + many("tags", "Tag", "works")) +
      entity("Book", attribute("pages", "Integer 32"), "parentEntity='Work'") +
      entity("Film", attribute("name") + attribute("minutes", "Integer 32")) +
      entity("Tag", attribute("name") + many("works", "Work", "tags") + one("first", "Work")));
  EXPECT_EQ(dump(store, "Work", {"name", "tags"}), "w [red]; b [red]");
  EXPECT_EQ(dump(store, "Film", {"name", "minutes"}), "f 90");
  EXPECT_EQ(dump(store, "Tag", {"name", "works", "first"}), "red [b w] -; blue [] b");
  EXPECT_EQ(query("SELECT _pk FROM object_Film"), "3") << "numbers stay";
  insert(store.context, "Film", {{"name", "g"}});
  ASSERT_TRUE(store.context->save());
  EXPECT_EQ(query("SELECT _pk FROM object_Film"), "3 4") << "and are not given again";
}

TEST_F(EntityMigration, AChildIsRemovedWithItsRecordsAndWhatLedToThem) {
  makeLibrary();
  auto store = migrated(
      entity("Work", attribute("name") + many("tags", "Tag", "works")) +
      entity("Book", attribute("pages", "Integer 32"), "parentEntity='Work'") +
      entity("Tag", attribute("name") + many("works", "Work", "tags") + one("first", "Work")));
  EXPECT_EQ(dump(store, "Work", {"name", "tags"}), "w [red]; b [red]");
  EXPECT_EQ(dump(store, "Tag", {"name", "works", "first"}), "red [b w] -; blue [] b");
}

TEST_F(EntityMigration, AParentIsRemovedAndItsChildrenStayApart) {
  makeLibrary();
  auto store = migrated(entity("Book", attribute("name") + attribute("pages", "Integer 32")) +
                        entity("Film", attribute("name") + attribute("minutes", "Integer 32")));
  EXPECT_EQ(dump(store, "Book", {"name", "pages"}), "b 300");
  EXPECT_EQ(dump(store, "Film", {"name", "minutes"}), "f 90");
}

TEST_F(EntityMigration, AnEntityMovesWithinItsHierarchy) {
  makeLibrary();
  auto store = migrated(
      entity("Work", attribute("name") + many("tags", "Tag", "works")) +
      entity("Book", attribute("pages", "Integer 32"), "parentEntity='Work'") +
      entity("Film", attribute("minutes", "Integer 32"), "parentEntity='Book'") +
      entity("Tag", attribute("name") + many("works", "Work", "tags") + one("first", "Work")));
  EXPECT_EQ(dump(store, "Book", {"name", "pages", "tags"}), "b 300 [red]; f - [blue red]");
}

TEST_F(EntityMigration, AnAbstractEntityGetsRecordsOfItsOwn) {
  make(named("Work", "isAbstract='YES'") + entity("Book", "", "parentEntity='Work'") +
           entity("Shelf", attribute("name") + one("book", "Work")),
       [](const Context& context) {
         auto book = insert(context, "Book", {{"name", "b"}});
         insert(context, "Shelf", {{"name", "s"}, {"book", book}});
       });
  // What leads there must say from now on of which entity it is.
  auto store = migrated(named("Work") + entity("Book", "", "parentEntity='Work'") +
                        entity("Shelf", attribute("name") + one("book", "Work")));
  EXPECT_EQ(dump(store, "Shelf", {"name", "book"}), "s b");
  const auto shelf = all(store.context, "Shelf").front();
  const Value book = shelf->valueForKey("book");
  EXPECT_EQ(shown(as<NSManagedObject>(book)->entity()->name()), "Book");
}

TEST_F(EntityMigration, ALongHistoryOfModelsEndsWhereItBegan) {
  makeLibrary();
  const std::string whole = bytes();
  for (int i = 0; i < 3; ++i) {
    migrated(entity("Opus",
                    attribute("title", "String", "optional='YES' " + renamed("name")) +
                        many("labels", "Tag", "works", renamed("tags")),
                    "elementID='Work'") +
             entity("Book", attribute("pages", "Integer 32"), "parentEntity='Opus'") +
             entity("Film", attribute("minutes", "Integer 32"), "parentEntity='Opus'") +
             entity("Tag", attribute("name") + attribute("colour") +
                               many("works", "Opus", "labels") + one("first", "Opus")));
    auto store = migrated(
        entity("Work",
               attribute("name", "String", "optional='YES' " + renamed("title")) +
                   many("tags", "Tag", "works", renamed("labels")),
               "elementID='Opus'") +
        entity("Book", attribute("pages", "Integer 32"), "parentEntity='Work'") +
        entity("Film", attribute("minutes", "Integer 32"), "parentEntity='Work'") +
        entity("Tag", attribute("name") + many("works", "Work", "tags") + one("first", "Work")));
    EXPECT_EQ(dump(store, "Work", {"name", "tags"}), "w [red]; b [red]; f [blue red]");
    EXPECT_EQ(dump(store, "Tag", {"name", "works", "first"}), "red [b f w] f; blue [f] b");
    ASSERT_FALSE(HasFailure()) << i;
  }
}

}  // namespace
}  // namespace JNFoundation
