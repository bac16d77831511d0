#include "JNFoundation/platform/store/NSMigrationStep.h"

#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/value/NSError.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSMigrationStep::classObject = Class::of<NSMigrationStep>("NSMigrationStep");

namespace {

using Blocks = std::vector<std::pair<Ref<NSString>, NSRecordMigration>>;

void setBlock(Blocks& blocks, const NSRecordMigration& block, const Ref<NSString>& name) {
  if (!name) raise(NSInvalidArgumentException, "A migration of records needs an entity's name");
  for (auto entry = blocks.begin(); entry != blocks.end(); ++entry) {
    if (!entry->first->hasContentOf(*name)) continue;
    blocks.erase(entry);
    break;
  }
  if (block) blocks.emplace_back(name, block);
}

NSRecordMigration blockOf(const Blocks& blocks, const NSEntityDescription& entity) {
  for (const auto& [name, block] : blocks) {
    if (name->hasContentOf(*entity.name())) return block;
  }
  return nullptr;
}

}  // namespace

NSMigrationStep::NSMigrationStep(Ref<NSPredicate> predicate, Ref<NSDictionary> hashes)
    : _predicate(std::move(predicate)), _hashes(std::move(hashes)) {}

NSMigrationStep::~NSMigrationStep() = default;

Ref<NSMigrationStep> NSMigrationStep::stepWithSourcePredicate(const Ref<NSPredicate>& predicate) {
  return makeObject<NSMigrationStep>(predicate, nullptr);
}

Ref<NSMigrationStep> NSMigrationStep::stepWithSourceVersionHashes(const Ref<NSDictionary>& hashes) {
  if (!hashes) raise(NSInvalidArgumentException, "A step needs the hashes of its source");
  return makeObject<NSMigrationStep>(nullptr, hashes);
}

void NSMigrationStep::setDestinationModel(const Ref<NSManagedObjectModel>& model) {
  Ref<NSError> problem;
  if (model && !model->makeImmutable(&problem)) {
    raise(NSInvalidArgumentException, "%@", problem->localizedDescription());
  }
  _destination = model;
}

void NSMigrationStep::setRecordMigrationForEntityNamed(const NSRecordMigration& block,
                                                       const Ref<NSString>& name) {
  setBlock(_recordBlocks, block, name);
}

void NSMigrationStep::setRelationshipMigrationForEntityNamed(const NSRecordMigration& block,
                                                             const Ref<NSString>& name) {
  setBlock(_relationshipBlocks, block, name);
}

bool NSMigrationStep::isForMetadata(const Ref<NSDictionary>& metadata) const {
  if (_hashes) {
    return Value(_hashes) == metadata->objectForKey(NSStoreModelVersionHashesKey);
  }
  return !_predicate || _predicate->evaluateWithObject(metadata);
}

NSRecordMigration NSMigrationStep::recordMigrationForEntity(
    const NSEntityDescription& entity) const {
  return blockOf(_recordBlocks, entity);
}

NSRecordMigration NSMigrationStep::relationshipMigrationForEntity(
    const NSEntityDescription& entity) const {
  return blockOf(_relationshipBlocks, entity);
}

std::vector<Ref<NSString>> NSMigrationStep::entityNames() const {
  std::vector<Ref<NSString>> names;
  for (const Blocks* blocks : {&_recordBlocks, &_relationshipBlocks}) {
    for (const auto& [name, block] : *blocks) names.push_back(name);
  }
  return names;
}

}  // namespace JNFoundation
