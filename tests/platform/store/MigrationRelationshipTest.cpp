#include "MigrationFixture.h"

namespace JNFoundation {
namespace {

using testing::OpenedStore;

/// Department (name) and Person (name), related in many ways.
class RelationshipMigration : public MigrationTest {
 protected:
  static std::string company(const std::string& ofDepartment, const std::string& ofPerson,
                             const std::string& more = {}) {
    return entity("Department", attribute("name") + ofDepartment) +
           entity("Person", attribute("name") + ofPerson) + more;
  }
  static std::string owned(const std::string& more = {}) {
    return company(many("people", "Person", "department", more),
                   one("department", "Department", "people"));
  }
  static std::string shared(const std::string& more = {}, const std::string& back = {}) {
    return company(many("people", "Person", "departments", more),
                   many("departments", "Department", "people", back));
  }

  /// Red has Cy, Ada and Bob, Blue has Di, in this order.
  void fill(const Context& context, const char* key = "people") {
    auto ada = insert(context, "Person", {{"name", "Ada"}});
    auto bob = insert(context, "Person", {{"name", "Bob"}});
    auto cy = insert(context, "Person", {{"name", "Cy"}});
    auto di = insert(context, "Person", {{"name", "Di"}});
    insert(context, "Person", {{"name", "Ed"}});
    auto red = insert(context, "Department", {{"name", "Red"}});
    auto blue = insert(context, "Department", {{"name", "Blue"}});
    // The numbers come with the save: in the order of the objects' making.
    ASSERT_TRUE(context->save());
    put(red, key, {cy, ada, bob});
    put(blue, key, {di});
  }
  void makeOwned(const std::string& more = {}) {
    make(owned(more), [this](const Context& context) { fill(context); });
  }
  void makeShared(const std::string& more = {}) {
    make(shared(more), [this](const Context& context) {
      fill(context);
      auto people = all(context, "Person");
      put(all(context, "Department")[1], "people", {people[3], people[0]});
    });
  }
};

constexpr const char* unordered = "Red [Ada Bob Cy]; Blue [Di]";

TEST_F(RelationshipMigration, RelationshipsAreAdded) {
  make(company("", ""), [](const Context& context) {
    insert(context, "Person", {{"name", "Ada"}});
    insert(context, "Department", {{"name", "Red"}});
  });
  {
    auto store = migrated(owned());
    EXPECT_EQ(dump(store, "Department", {"name", "people"}), "Red []");
    EXPECT_EQ(dump(store, "Person", {"name", "department"}), "Ada -");
    all(store.context, "Person")[0]->setValueForKey(all(store.context, "Department")[0],
                                                    "department");
    ASSERT_TRUE(store.context->save());
    EXPECT_EQ(dump(store, "Department", {"name", "people"}), "Red [Ada]");
  }
  auto store = migrated(company(
      many("people", "Person", "department") + many("guests", "Person", "visits", "ordered='YES'"),
      one("department", "Department", "people") + many("visits", "Department", "guests")));
  EXPECT_EQ(dump(store, "Department", {"name", "people", "guests"}), "Red [Ada] []");
  put(all(store.context, "Department")[0], "guests", {all(store.context, "Person")[0]});
  ASSERT_TRUE(store.context->save());
  EXPECT_EQ(dump(store, "Person", {"visits"}), "[Red]");
}

TEST_F(RelationshipMigration, RelationshipsAreRemoved) {
  makeOwned();
  EXPECT_EQ(dump(migrated(company("", "")), "Person", {"name"}), "Ada; Bob; Cy; Di; Ed");
  makeShared();
  EXPECT_EQ(dump(migrated(company("", "")), "Person", {"name"}), "Ada; Bob; Cy; Di; Ed");
  EXPECT_EQ(query("SELECT count(*) FROM sqlite_schema WHERE name LIKE 'link_%'"), "0");
}

TEST_F(RelationshipMigration, RelationshipsAreRenamedAtBothEnds) {
  makeOwned("ordered='YES'");
  auto store =
      migrated(company(many("staff", "Person", "unit", "ordered='YES' " + renamed("people")),
                       one("unit", "Department", "staff", renamed("department"))));
  EXPECT_EQ(dump(store, "Department", {"name", "staff"}), "Red [Cy Ada Bob]; Blue [Di]");
  EXPECT_EQ(dump(store, "Person", {"name", "unit"}), "Ada Red; Bob Red; Cy Red; Di Blue; Ed -");
  store = OpenedStore();
  makeShared("ordered='YES'");
  store = migrated(company(many("staff", "Person", "units", "ordered='YES' " + renamed("people")),
                           many("units", "Department", "staff", renamed("departments"))));
  EXPECT_EQ(dump(store, "Department", {"name", "staff"}), "Red [Cy Ada Bob]; Blue [Di Ada]");
  EXPECT_EQ(dump(store, "Person", {"name", "units"}),
            "Ada [Blue Red]; Bob [Red]; Cy [Red]; Di [Blue]; Ed []");
}

TEST_F(RelationshipMigration, ToOneBecomesToMany) {
  makeOwned("ordered='YES'");
  auto store = migrated(shared("ordered='YES'"));
  EXPECT_EQ(dump(store, "Department", {"name", "people"}), "Red [Cy Ada Bob]; Blue [Di]");
  EXPECT_EQ(dump(store, "Person", {"name", "departments"}),
            "Ada [Red]; Bob [Red]; Cy [Red]; Di [Blue]; Ed []");
}

TEST_F(RelationshipMigration, ARenamedToOneBecomesToMany) {
  makeOwned("ordered='YES'");
  auto store = migrated(company(
      many("people", "Person", "departments", "ordered='YES'"),
      many("departments", "Department", "people", "ordered='YES' " + renamed("department"))));
  EXPECT_EQ(dump(store, "Department", {"name", "people"}), "Red [Cy Ada Bob]; Blue [Di]");
  EXPECT_EQ(dump(store, "Person", {"name", "departments"}),
            "Ada [Red]; Bob [Red]; Cy [Red]; Di [Blue]; Ed []");
}

TEST_F(RelationshipMigration, ToOneWithoutAWayBackBecomesToMany) {
  make(company("", one("boss", "Person")), [](const Context& context) {
    auto ada = insert(context, "Person", {{"name", "Ada"}});
    insert(context, "Person", {{"name", "Bob"}, {"boss", ada}});
    insert(context, "Person", {{"name", "Cy"}, {"boss", ada}});
  });
  auto store = migrated(company("", many("boss", "Person", "", "ordered='YES'")));
  EXPECT_EQ(dump(store, "Person", {"name", "boss"}), "Ada []; Bob [Ada]; Cy [Ada]");
}

TEST_F(RelationshipMigration, OneToOneBecomesOneToMany) {
  make(company(one("head", "Person", "heads"), one("heads", "Department", "head")),
       [](const Context& context) {
         auto ada = insert(context, "Person", {{"name", "Ada"}});
         insert(context, "Person", {{"name", "Bob"}});
         insert(context, "Department", {{"name", "Red"}, {"head", ada}});
       });
  auto store = migrated(company(one("head", "Person", "heads"),
                                many("heads", "Department", "head", "ordered='YES'")));
  EXPECT_EQ(dump(store, "Department", {"name", "head"}), "Red Ada");
  EXPECT_EQ(dump(store, "Person", {"name", "heads"}), "Ada [Red]; Bob []");
}

TEST_F(RelationshipMigration, OrderComesAndGoes) {
  makeOwned();
  {
    auto store = migrated(owned("ordered='YES'"));
    // The order in which they were given.
    EXPECT_EQ(dump(store, "Department", {"name", "people"}), "Red [Ada Bob Cy]; Blue [Di]");
    auto people = all(store.context, "Person");
    put(all(store.context, "Department")[0], "people", {people[2], people[4], people[0]});
    ASSERT_TRUE(store.context->save());
    EXPECT_EQ(dump(store, "Department", {"name", "people"}), "Red [Cy Ed Ada]; Blue [Di]");
  }
  EXPECT_EQ(dump(migrated(owned()), "Department", {"name", "people"}),
            "Red [Ada Cy Ed]; Blue [Di]");
  makeShared();
  EXPECT_EQ(
      dump(migrated(shared("ordered='YES'", "ordered='YES'")), "Department", {"name", "people"}),
      "Red [Ada Bob Cy]; Blue [Ada Di]");
  makeShared("ordered='YES'");
  EXPECT_EQ(dump(migrated(shared("", "ordered='YES'")), "Department", {"name", "people"}),
            "Red [Ada Bob Cy]; Blue [Ada Di]");
}

TEST_F(RelationshipMigration, OrderIsKeptWhenTheTablesAreMadeAnew) {
  makeOwned("ordered='YES'");
  auto store = migrated(
      entity("Department", many("people", "Person", "department", "ordered='YES'")) +
      entity("Person", one("department", "Department", "people") +
                           attribute("label", "String", "optional='YES' " + renamed("name"))));
  const auto red = all(store.context, "Department")[0];
  const Value people = red->valueForKey("people");
  std::string labels;
  for (const Value& person : *as<NSOrderedSet>(people)) {
    labels += shown(as<NSObject>(person)->valueForKey("label")) + " ";
  }
  EXPECT_EQ(labels, "Cy Ada Bob ");
  store = OpenedStore();
  makeShared("ordered='YES'");
  store = migrated(
      entity("Department", attribute("name") + attribute("floor", "Integer 16") +
                               many("people", "Person", "departments", "ordered='YES'")) +
      entity("Base", attribute("name")) +
      entity("Person", many("departments", "Department", "people"), "parentEntity='Base'"));
  EXPECT_EQ(dump(store, "Department", {"name", "people"}), "Red [Cy Ada Bob]; Blue [Di Ada]");
}

TEST_F(RelationshipMigration, AWayBackToManyIsAdded) {
  make(company("", one("department", "Department")), [](const Context& context) {
    auto red = insert(context, "Department", {{"name", "Red"}});
    insert(context, "Person", {{"name", "Ada"}, {"department", red}});
    insert(context, "Person", {{"name", "Bob"}, {"department", red}});
  });
  auto store = migrated(owned("ordered='YES'"));
  EXPECT_EQ(dump(store, "Department", {"name", "people"}), "Red [Ada Bob]");
  // And what led to a record that went without its leave leads nowhere.
  store = OpenedStore();
  make(company("", one("department", "Department")), [](const Context& context) {
    auto red = insert(context, "Department", {{"name", "Red"}});
    insert(context, "Person", {{"name", "Ada"}, {"department", red}});
    EXPECT_TRUE(context->save());
    context->deleteObject(red);
  });
  ASSERT_EQ(query("SELECT department FROM object_Person"), "1");
  store = migrated(owned());
  EXPECT_EQ(dump(store, "Person", {"name", "department"}), "Ada -");
}

TEST_F(RelationshipMigration, AWayBackIsRemoved) {
  makeOwned("ordered='YES'");
  auto store = migrated(company("", one("department", "Department")));
  EXPECT_EQ(dump(store, "Person", {"name", "department"}),
            "Ada Red; Bob Red; Cy Red; Di Blue; Ed -");
  store = OpenedStore();
  makeOwned("ordered='YES'");
  store = migrated(company(many("people", "Person", "", "ordered='YES'"), ""));
  EXPECT_EQ(dump(store, "Department", {"name", "people"}), "Red [Cy Ada Bob]; Blue [Di]");
  store = OpenedStore();
  makeShared();
  store = migrated(company("", many("departments", "Department")));
  EXPECT_EQ(dump(store, "Person", {"name", "departments"}),
            "Ada [Blue Red]; Bob [Red]; Cy [Red]; Di [Blue]; Ed []");
}

TEST_F(RelationshipMigration, DestinationsBecomeWider) {
  make(company("", one("boss", "Person")) + entity("Manager", "", "parentEntity='Person'") +
           entity("Team", attribute("name") + one("lead", "Manager") + many("members", "Manager")),
       [](const Context& context) {
         auto max = insert(context, "Manager", {{"name", "Max"}});
         auto team = insert(context, "Team", {{"name", "T"}, {"lead", max}});
         put(team, "members", {max});
       });
  auto store = migrated(
      company("", one("boss", "Person")) + entity("Manager", "", "parentEntity='Person'") +
      entity("Team", attribute("name") + one("lead", "Person") + many("members", "Person")));
  EXPECT_EQ(dump(store, "Team", {"name", "lead", "members"}), "T Max [Max]");
  const auto team = all(store.context, "Team").front();
  const Value lead = team->valueForKey("lead");
  EXPECT_EQ(shown(as<NSManagedObject>(lead)->entity()->name()), "Manager");
}

TEST_F(RelationshipMigration, DeleteRulesCountsAndOptionalityChange) {
  makeOwned();
  {
    auto store = migrated(owned("minCount='1' maxCount='5' deletionRule='Cascade'"));
    EXPECT_EQ(dump(store, "Department", {"name", "people"}), unordered);
    store.context->deleteObject(all(store.context, "Department")[1]);
    ASSERT_TRUE(store.context->save());
    EXPECT_EQ(dump(store, "Person", {"name"}), "Ada; Bob; Cy; Ed");
  }
  auto store = migrated(owned("deletionRule='No Action'"));
  store.context->deleteObject(all(store.context, "Department")[0]);
  Ref<NSError> error;
  EXPECT_TRUE(store.context->save(&error)) << "nothing holds the record any more: " << text(error);
  store = OpenedStore();
  store = migrated(owned());
  EXPECT_EQ(dump(store, "Person", {"name", "department"}), "Ada -; Bob -; Cy -; Ed -");
}

TEST_F(RelationshipMigration, ARelationshipThatIsItsOwnWayBackIsKept) {
  const auto people = [](const std::string& more) {
    return entity("Person", attribute("name") + more + many("friends", "Person", "friends"));
  };
  make(people(""), [](const Context& context) {
    auto ada = insert(context, "Person", {{"name", "Ada"}});
    auto bob = insert(context, "Person", {{"name", "Bob"}});
    put(ada, "friends", {bob});
  });
  EXPECT_EQ(dump(migrated(people(attribute("age", "Integer 16"))), "Person", {"name", "friends"}),
            "Ada [Bob]; Bob [Ada]");
  EXPECT_EQ(dump(migrated(people("")), "Person", {"name", "friends"}), "Ada [Bob]; Bob [Ada]");
}

}  // namespace
}  // namespace JNFoundation
