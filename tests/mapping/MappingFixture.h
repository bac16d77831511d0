#pragma once

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include <JNFoundation/mapping/NSManagedObjectContext+PLVAssociatedFilter.h>
#include <JNFoundation/mapping/PLVDataMapFilter.h>
#include <JNFoundation/mapping/PLVManagedObject.h>
#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/dispatch/NSLog.h>
#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation {

/// A model class with one message of every form that a rule may name, right and wrong.
class Person : public Subclass<Person, PLVManagedObject> {
 public:
  static Ref<NSEntityDescription> entityInManagedObjectContext(
      const Ref<NSManagedObjectContext>& context) {
    return NSEntityDescription::entityForNameInManagedObjectContext("Person", context);
  }
  Ref<PLVDictionaryDataMap> entityDataMap() const override {
    return PLVDictionaryDataMap::newMapForEntityDescriptor(
        entity(), PLVDictionaryDataMap::automaticMapDescriptorForEntity(entity()));
  }

  void applyPayload(const Value& payload) { received.push_back(payload); }
  Value applyAndAnswer(const Value& payload) {
    received.push_back(payload);
    return "ignored";
  }
  void setAB(const Value&, const Value&) {}
  void applyCount(NSInteger) {}
  bool applyAndJudge(const Value&) { return true; }

  /// The accessors of an attribute that some tests add.
  Value motto() const { return storedValueForKey("motto"); }
  void setMotto(const Value& motto) {
    mottos.push_back(motto.description()->toStdString());
    setStoredValueForKey(motto, "motto");
  }

  std::vector<Value> received;
  std::vector<std::string> mottos;

 protected:
  using Subclass::Subclass;
};

class PersonFilter : public Subclass<PersonFilter, PLVDataMapFilter> {
 public:
  Value trim(const Value& value) {
    received.push_back(value);
    const NSString* text = as<NSString>(value);
    return text ? Value(text->stringByTrimmingWhitespace()) : value;
  }
  Value shout(const Value& value) {
    const NSString* text = as<NSString>(value);
    return text ? Value(text->uppercaseString()) : value;
  }
  Value nothing(const Value&) { return nullptr; }
  Value something(const Value&) { return "something"; }
  Value answer(const Value&) { return result; }

  std::vector<Value> received;
  /// What `answer` gives.
  Value result;

 protected:
  using Subclass::Subclass;
};

inline Ref<NSDictionary> dictionary(std::vector<NSDictionary::Pair> entries) {
  return NSDictionary::dictionaryWithEntries(std::move(entries));
}

/// A context over a memory store, an entity with an attribute of every accepted type (named after
/// it), and the lines that mapping logs.
class MappingTest : public ::testing::Test {
 protected:
  MappingTest();

  /// Adds another attribute to Person. Before the first use of `context()` only.
  void addAttribute(const char* name, NSAttributeType type);
  void setUserInfo(std::vector<NSDictionary::Pair> entries);

  Ref<NSManagedObjectContext> context();
  Ref<NSEntityDescription> entity() const { return _entity; }
  Ref<Person> insertPerson();

  /// A filter whose actions are registered under their own names, attached to the context.
  Ref<PersonFilter> attachFilter();

  MainQueueScope scope;
  std::vector<std::string> log;

 private:
  LogSinkScope _sink;
  Ref<NSManagedObjectModel> _model;
  Ref<NSEntityDescription> _entity;
  Ref<NSMutableArray> _attributes;
  Ref<NSManagedObjectContext> _context;
};

}  // namespace JNFoundation
