#include "ImportFixture.h"

#include <algorithm>

#include <JNFoundation/platform/value/ClassDeclaration.h>

namespace JNFoundation {
namespace {

const ClassDeclaration<Land> declaration =
    ClassDeclaration<Land>()
        .factory()
        .operation("setRegionRecord:", &Land::setRegionRecord)
        .operation("setLanguageRecords:", &Land::setLanguageRecords)
        .operation("setCapitalRecord:", &Land::setCapitalRecord)
        .operation("setNeighbourRecords:", &Land::setNeighbourRecords)
        .operation("explode:", &Land::explode)
        .operation("relateNothing:", &Land::relateNothing);

Ref<NSRelationshipDescription> relationship(const char* name, const Ref<NSEntityDescription>& to,
                                            bool toMany) {
  auto made = NSRelationshipDescription::init();
  made->setName(name);
  made->setDestinationEntity(to);
  made->setMaxCount(toMany ? 0 : 1);
  made->setOptional(true);
  return made;
}

void pairUp(const Ref<NSRelationshipDescription>& one,
            const Ref<NSRelationshipDescription>& other) {
  one->setInverseRelationship(other);
  other->setInverseRelationship(one);
}

void add(const Ref<NSEntityDescription>& entity, std::vector<Value> more) {
  std::vector<Value> all;
  for (const auto& property : entity->ownProperties()) all.emplace_back(property);
  all.insert(all.end(), more.begin(), more.end());
  entity->setProperties(NSArray::arrayWithValues(std::move(all)));
}

void setUnique(const Ref<NSEntityDescription>& entity, std::vector<Value> names) {
  entity->setUniquenessConstraints(
      NSArray::arrayWithObject(NSArray::arrayWithValues(std::move(names))));
}

}  // namespace

Ref<NSManagedObjectModel> landModel() {
  auto land = entityNamed("Land", {attributeNamed("code", NSStringAttributeType),
                                   attributeNamed("name", NSStringAttributeType, false),
                                   attributeNamed("population", NSInteger64AttributeType),
                                   attributeNamed("share", NSFloatAttributeType),
                                   attributeNamed("founded", NSDateAttributeType)});
  land->setManagedObjectClassName("Land");
  auto kingdom = entityNamed("Kingdom", {attributeNamed("king", NSStringAttributeType)});
  kingdom->setManagedObjectClassName("Land");
  land->setSubentities(NSArray::arrayWithObject(kingdom));
  auto region = entityNamed("Region", {attributeNamed("code", NSStringAttributeType),
                                       attributeNamed("name", NSStringAttributeType)});
  auto language = entityNamed("Language", {attributeNamed("code", NSStringAttributeType),
                                           attributeNamed("name", NSStringAttributeType)});
  auto city = entityNamed("City", {attributeNamed("name", NSStringAttributeType)});
  auto stay = entityNamed("Stay", {attributeNamed("place", NSStringAttributeType),
                                   attributeNamed("day", NSDateAttributeType),
                                   attributeNamed("nights", NSInteger16AttributeType)});
  auto thing = entityNamed("Thing", {attributeNamed("name", NSStringAttributeType)});
  thing->setAbstract(true);
  setUnique(land, {"code"});
  setUnique(region, {"code"});
  setUnique(language, {"code"});
  setUnique(stay, {"place", "day"});
  auto landRegion = relationship("region", region, false);
  auto regionLands = relationship("lands", land, true);
  pairUp(landRegion, regionLands);
  auto landLanguages = relationship("languages", language, true);
  auto languageLands = relationship("lands", land, true);
  pairUp(landLanguages, languageLands);
  auto neighbours = relationship("neighbours", land, true);
  neighbours->setInverseRelationship(neighbours);
  add(land, {landRegion, landLanguages, relationship("capital", city, false), neighbours});
  add(region, {regionLands});
  add(language, {languageLands});
  land->setUserInfo(NSDictionary::dictionaryWithEntries({{"$region", "setRegionRecord:"},
                                                         {"$languages", "setLanguageRecords:"},
                                                         {"$capital", "setCapitalRecord:"},
                                                         {"$neighbours", "setNeighbourRecords:"},
                                                         {"$explode", "explode:"},
                                                         {"$nothing", "relateNothing:"},
                                                         {"%meta.$people", "population"}}));
  auto made = NSManagedObjectModel::init();
  made->setEntities(NSArray::arrayWithObjects(land, region, language, city, stay, thing));
  return made;
}

ImportTest::ImportTest(const char* storeType)
    : coordinator(NSPersistentStoreCoordinator::initWithManagedObjectModel(model)),
      _sink([this](const Ref<NSString>& line) { log.push_back(line->toStdString()); }) {
  Ref<NSError> error;
  coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
      storeType, nullptr, NSURL::fileURLWithPath(directory.file("lands.sqlite")), nullptr, &error);
  EXPECT_FALSE(error) << text(error);
  context = newContext();
}

Ref<NSManagedObjectContext> ImportTest::newContext() const {
  auto made = NSManagedObjectContext::init();
  made->setPersistentStoreCoordinator(coordinator);
  return made;
}

Ref<NSManagedObjectContext> ImportTest::newPrivateContext() {
  if (!pool) pool.emplace(2);
  auto made = NSManagedObjectContext::initWithConcurrencyTypeExecutor(NSPrivateQueueConcurrencyType,
                                                                      pool->executor());
  made->setPersistentStoreCoordinator(coordinator);
  return made;
}

Ref<NSArray> ImportTest::records(std::string text) {
  std::replace(text.begin(), text.end(), '\'', '"');
  Ref<NSError> error;
  const Value list = NSJSONSerialization::JSONObjectWithTextOptionsError(text, {}, &error);
  EXPECT_FALSE(error) << ImportTest::text(error);
  return Ref<NSArray>(as<NSArray>(list));
}

Ref<ImportReport> ImportTest::importText(const std::string& text, ImportOptions options,
                                         const char* entity) {
  return importInto(context, records(text), std::move(options), entity);
}

Ref<ImportReport> ImportTest::importInto(const Ref<NSManagedObjectContext>& target,
                                         const Ref<NSArray>& list, ImportOptions options,
                                         const char* entity) {
  return endOf(importRecords(list, entity, target, std::move(options)));
}

Ref<ImportReport> ImportTest::importJSON(const Ref<NSManagedObjectContext>& target,
                                         std::string json, ImportOptions options,
                                         const char* entity) {
  return endOf(importRecordsFromJSON(NSData::dataWithText(std::move(json)), entity, target,
                                     std::move(options)));
}

Ref<ImportReport> ImportTest::endOf(const Ref<PLVDeferred>& imported) {
  const Value outcome = outcomeOf(imported);
  failure = Ref<PLVRejected>(as<PLVRejected>(outcome));
  return Ref<ImportReport>(as<ImportReport>(outcome));
}

Value ImportTest::outcomeOf(const Ref<PLVDeferred>& deferred) {
  Value outcome;
  bool hasEnded = false;
  deferred->thenEither([&](const Value& value) -> Value {
    outcome = value;
    hasEnded = true;
    return nullptr;
  });
  testing::runUntil([&] { return hasEnded; });
  return outcome;
}

std::vector<std::string> ImportTest::lands() const {
  const auto reading = newContext();
  const Ref<NSArray> found =
      reading->executeFetchRequestError(NSFetchRequest::fetchRequestWithEntityName("Land"));
  std::vector<std::string> texts;
  for (const Value& value : found) {
    const auto* land = as<NSManagedObject>(value);
    texts.push_back(text(land->valueForKey("code")) + ":" + text(land->valueForKey("name")) + ":" +
                    text(land->valueForKey("population")));
  }
  std::sort(texts.begin(), texts.end());
  return texts;
}

std::vector<std::string> ImportTest::related(const char* relationship) const {
  const auto reading = newContext();
  const auto request = NSFetchRequest::fetchRequestWithEntityName("Land");
  request->setSortDescriptors(
      NSArray::arrayWithObject(NSSortDescriptor::sortDescriptorWithKeyAscending("code", true)));
  const Ref<NSArray> found = reading->executeFetchRequestError(request);
  std::vector<std::string> texts;
  for (const Value& value : found) {
    const auto* land = as<NSManagedObject>(value);
    std::vector<std::string> names;
    const Value end = land->valueForKey(relationship);
    const auto note = [&names](const Value& object) {
      names.push_back(text(as<NSManagedObject>(object)->valueForKey("name")));
    };
    if (const auto* set = as<NSSet>(end)) {
      for (const Value& object : *set) note(object);
    } else if (!end.isNull()) {
      note(end);
    }
    std::sort(names.begin(), names.end());
    std::string line = text(land->valueForKey("code")) + ":";
    for (const std::string& name : names) line += " " + name;
    texts.push_back(line);
  }
  return texts;
}

std::string ImportTest::text(const Value& value) {
  return value.isNull() ? "-" : value.description()->toStdString();
}

NSInteger ImportTest::failureCode() const {
  const Value value = failure ? failure->value() : Value();
  const auto* error = as<NSError>(value);
  return error ? error->code() : 0;
}

}  // namespace JNFoundation
