#pragma once

#include <cstdlib>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/platform/store/StoreFixture.h"
#include "tests/platform/store/WorkerPool.h"

#include <JNFoundation/deferred/Deferred.h>
#include <JNFoundation/importing/RecordImport.h>
#include <JNFoundation/importing/RelatedRecords.h>
#include <JNFoundation/mapping/PLVManagedObject.h>
#include <JNFoundation/platform/dispatch/NSLog.h>
#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/store/NSRelationshipDescription.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>

namespace JNFoundation {

/// A model class whose records bring related ones along.
class Land : public Subclass<Land, PLVManagedObject> {
 public:
  Ref<PLVDictionaryDataMap> entityDataMap() const override {
    return PLVDictionaryDataMap::newMapForEntityDescriptor(
        entity(), PLVDictionaryDataMap::automaticMapDescriptorForEntity(entity()));
  }
  void setRegionRecord(const Value& record) { relateRecord(*this, "region", record); }
  void setLanguageRecords(const Value& records) { relateRecord(*this, "languages", records); }
  void setCapitalRecord(const Value& record) { relateRecord(*this, "capital", record); }
  void setNeighbourRecords(const Value& records) { relateRecord(*this, "neighbours", records); }
  void explode(const Value& value) { raise("Explosion", "at %@", value); }
  void relateNothing(const Value& value) { relateRecord(*this, "nothing", value); }

 protected:
  using Subclass::Subclass;
};

/// Land (code, unique; name, required; population; share, a float; founded): region ⇄ Region.lands,
/// languages (many to many), capital (City, no way back), neighbours ⇄ neighbours (ordered on
/// neither side). Region and Language (code, unique; name), City (name). Below Land Kingdom (king).
/// Stay (place and day, unique together; nights). Thing is abstract.
Ref<NSManagedObjectModel> landModel();

/// A context of the main queue over a store of that model, and what an import comes to.
class ImportTest : public ::testing::Test {
 protected:
  explicit ImportTest(const char* storeType = NSInMemoryStoreType);

  Ref<NSManagedObjectContext> newContext() const;
  Ref<NSManagedObjectContext> newPrivateContext();

  /// A list of records in JSON; single quotes stand for double ones.
  static Ref<NSArray> records(std::string text);

  /// Imports and waits. Returns: the report; null after a failure, which `failure` then holds.
  Ref<ImportReport> importText(const std::string& text, ImportOptions options = {},
                               const char* entity = "Land");
  Ref<ImportReport> importInto(const Ref<NSManagedObjectContext>& target, const Ref<NSArray>& list,
                               ImportOptions options = {}, const char* entity = "Land");
  /// Imports the JSON text as it is and waits.
  Ref<ImportReport> importJSON(const Ref<NSManagedObjectContext>& target, std::string json,
                               ImportOptions options = {}, const char* entity = "Land");
  /// Waits for a deferred. Returns: what it gives, which may be a PLVRejected.
  static Value outcomeOf(const Ref<PLVDeferred>& deferred);

  /// What the store holds, read by a new context: "code:name:population", sorted.
  std::vector<std::string> lands() const;
  /// What is related, read by a new context: one string for each object, in order of their codes.
  std::vector<std::string> related(const char* relationship) const;

  static std::string text(const Value& value);
  /// Code of the error that the last import failed with; 0 for none.
  NSInteger failureCode() const;

  MainQueueScope scope;
  TemporaryDirectory directory;
  std::vector<std::string> log;
  Ref<NSManagedObjectModel> model = landModel();
  Ref<NSPersistentStoreCoordinator> coordinator;
  Ref<NSManagedObjectContext> context;
  Ref<PLVRejected> failure;
  std::optional<testing::WorkerPool> pool;

 private:
  Ref<ImportReport> endOf(const Ref<PLVDeferred>& imported);

  LogSinkScope _sink;
};

}  // namespace JNFoundation
