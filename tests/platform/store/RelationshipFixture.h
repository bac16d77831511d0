#pragma once

#include "tests/platform/store/StoreFixture.h"

#include <JNFoundation/platform/store/NSRelationshipDescription.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>

namespace JNFoundation {

struct RelationshipOptions {
  bool toMany = false;
  bool ordered = false;
  bool optional = true;
  NSDeleteRule rule = NSNullifyDeleteRule;
  NSUInteger minCount = 0;
  NSUInteger maxCount = 0;
};

inline Ref<NSRelationshipDescription> relationshipNamed(const char* name,
                                                        const Ref<NSEntityDescription>& destination,
                                                        const RelationshipOptions& options = {}) {
  auto relationship = NSRelationshipDescription::init();
  relationship->setName(name);
  relationship->setDestinationEntity(destination);
  relationship->setMinCount(options.minCount);
  relationship->setMaxCount(options.toMany ? options.maxCount : 1);
  relationship->setOrdered(options.ordered);
  relationship->setOptional(options.optional);
  relationship->setDeleteRule(options.rule);
  return relationship;
}

inline void pairUp(const Ref<NSRelationshipDescription>& one,
                   const Ref<NSRelationshipDescription>& other) {
  one->setInverseRelationship(other);
  other->setInverseRelationship(one);
}

/// Person (name; below it Manager): department ⇄ Department.people, desk ⇄ Desk.person (one to
/// one), skills ⇄ Skill.people (many to many), friends ⇄ friends, mentor (no way back), favourites
/// (Skill, many, no way back). Department (name): people, tasks (ordered, cascade) ⇄
/// Task.department, badges (deny) ⇄ Badge.department. Task (title): department, followers (ordered,
/// many to many) ⇄ Person.followed.
inline Ref<NSManagedObjectModel> companyModel() {
  const auto named = [](const char* name) {
    return entityNamed(name, {attributeNamed("name", NSStringAttributeType)});
  };
  auto person = named("Person"), manager = entityNamed("Manager", {}),
       department = named("Department");
  auto desk = named("Desk"), skill = named("Skill"), task = named("Task"), badge = named("Badge");
  person->setSubentities(NSArray::arrayWithObjects(manager));
  const RelationshipOptions many{.toMany = true};
  auto personDepartment = relationshipNamed("department", department);
  auto departmentPeople = relationshipNamed("people", person, many);
  pairUp(personDepartment, departmentPeople);
  auto personDesk = relationshipNamed("desk", desk);
  auto deskPerson = relationshipNamed("person", person);
  pairUp(personDesk, deskPerson);
  auto personSkills = relationshipNamed("skills", skill, many);
  auto skillPeople = relationshipNamed("people", person, many);
  pairUp(personSkills, skillPeople);
  auto friends = relationshipNamed("friends", person, many);
  friends->setInverseRelationship(friends);
  auto mentor = relationshipNamed("mentor", person);
  auto favourites = relationshipNamed("favourites", skill, many);
  auto departmentTasks = relationshipNamed(
      "tasks", task, {.toMany = true, .ordered = true, .rule = NSCascadeDeleteRule});
  auto taskDepartment = relationshipNamed("department", department);
  pairUp(departmentTasks, taskDepartment);
  auto departmentBadges =
      relationshipNamed("badges", badge, {.toMany = true, .rule = NSDenyDeleteRule});
  auto badgeDepartment = relationshipNamed("department", department);
  pairUp(departmentBadges, badgeDepartment);
  auto taskFollowers = relationshipNamed("followers", person, {.toMany = true, .ordered = true});
  auto personFollowed = relationshipNamed("followed", task, many);
  pairUp(taskFollowers, personFollowed);
  const auto add = [](const Ref<NSEntityDescription>& entity, std::vector<Value> more) {
    std::vector<Value> all;
    for (const auto& property : entity->ownProperties()) all.emplace_back(property);
    all.insert(all.end(), more.begin(), more.end());
    entity->setProperties(NSArray::arrayWithValues(std::move(all)));
  };
  add(person,
      {personDepartment, personDesk, personSkills, friends, mentor, favourites, personFollowed});
  add(department, {departmentPeople, departmentTasks, departmentBadges});
  add(desk, {deskPerson});
  add(skill, {skillPeople});
  add(task, {taskDepartment, taskFollowers});
  add(badge, {badgeDepartment});
  auto model = NSManagedObjectModel::init();
  model->setEntities(NSArray::arrayWithObjects(person, department, desk, skill, task, badge));
  return model;
}

/// The company in either kind of store.
class CompanyTest : public StoreTest, public ::testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override { open(GetParam(), companyModel()); }

  Ref<NSManagedObject> make(const char* entity, const char* name) {
    return insert(entity, {{"name", name}});
  }

  /// A saved department with tasks of those names, in that order.
  Ref<NSManagedObject> departmentWithTasks(std::initializer_list<const char*> tasks) {
    auto department = make("Department", "One");
    const auto list = department->mutableOrderedSetValueForKey("tasks");
    for (const char* name : tasks) list->addObject(Value(make("Task", name)));
    save();
    return department;
  }

  static Ref<NSManagedObject> one(const Ref<NSManagedObject>& object, const char* key) {
    const Value value = object->valueForKey(key);
    return Ref<NSManagedObject>(as<NSManagedObject>(value));
  }

  /// The names of what a relationship leads to, in its order or sorted.
  static std::string names(const Ref<NSManagedObject>& object, const char* key) {
    const Value value = object->valueForKey(key);
    std::vector<std::string> found;
    const auto add = [&](const Value& member) {
      found.push_back(as<NSObject>(member)->valueForKey("name").description()->toStdString());
    };
    if (const auto* ordered = as<NSOrderedSet>(value)) {
      for (const Value& member : *ordered) add(member);
    } else if (const auto* set = as<NSSet>(value)) {
      for (const Value& member : *set) add(member);
      std::sort(found.begin(), found.end());
    } else if (!value.isNull()) {
      add(value);
    }
    std::string joined;
    for (const std::string& name : found) joined += (joined.empty() ? "" : " ") + name;
    return joined;
  }

  /// The object of that name, as another context sees it that has just been made.
  Ref<NSManagedObject> anew(const char* entity, const char* name) {
    others.push_back(newContext());
    Ref<NSError> error;
    Ref<NSArray> found = others.back()->executeFetchRequestError(
        request(entity, NSPredicate::predicateWithFormat("name == %@", name)), &error);
    EXPECT_TRUE(found) << text(error);
    if (!found || found->count() != 1) return nullptr;
    const Value object = found->objectAtIndex(0);
    return Ref<NSManagedObject>(as<NSManagedObject>(object));
  }

  void relate(const Ref<NSManagedObject>& object, const char* key, std::vector<Value> members) {
    object->mutableSetValueForKey(key)->addObjectsFromArray(
        NSArray::arrayWithValues(std::move(members)));
  }

  std::vector<Ref<NSManagedObjectContext>> others;
};

}  // namespace JNFoundation
