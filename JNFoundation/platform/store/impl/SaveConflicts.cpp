#include "JNFoundation/platform/store/impl/SaveConflicts.h"

#include <algorithm>

#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/store/impl/ContextChanges.h>
#include <JNFoundation/platform/store/impl/Relations.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>

namespace JNFoundation::inline v0_1::impl {

using RowChangeKind = StoreRowChange::Kind;

bool SaveConflicts::find(SaveObstacle obstacle, Ref<NSError>* error) {
  switch (obstacle) {
    case SaveObstacle::Version:
      return findVersions(error);
    case SaveObstacle::Constraint:
      // A record that was to give its values away may have changed: that comes first.
      return findVersions(error) && (!_versions.empty() || findConstraints(error));
    case SaveObstacle::Reference:
      return findReferences(error);
    case SaveObstacle::None:
      break;
  }
  return true;
}

// ---- Versions -----------------------------------------------------------------------------------

bool SaveConflicts::findVersions(Ref<NSError>* error) {
  for (const SaveBatch& batch : _batches) {
    for (std::size_t i = 0; i < batch.rows.size(); ++i) {
      const StoreRowChange& row = batch.rows[i];
      const bool isNew = row.kind == RowChangeKind::Insert;
      if (isNew && row.version == 0) continue;
      if (!addVersion(batch, *batch.objects[i], row.version, isNew, false, error)) return false;
    }
    for (NSManagedObject* object : batch.watched) {
      const std::uint32_t version = ObjectAccess::version(*object);
      if (!addVersion(batch, *object, version, false, true, error)) return false;
    }
  }
  return true;
}

bool SaveConflicts::addVersion(const SaveBatch& batch, NSManagedObject& object,
                               std::uint32_t version, bool isNew, bool isWatched,
                               Ref<NSError>* error) {
  RecordReceiver record;
  const std::int64_t number = ObjectAccess::key(object).number;
  if (!batch.store->fetchRow(*object.entity(), number, record, error)) return false;
  const bool isThere = record.entity == object.entity().get();
  const bool isExpected = isNew ? !isThere : isThere && record.version == version;
  if (isExpected) return true;
  if (!isThere) record = RecordReceiver();
  _versions.push_back(ConflictResolution::versionConflict(object, std::move(record), isWatched));
  return true;
}

// ---- Unique values ------------------------------------------------------------------------------

const std::vector<SaveConflicts::Constraint>& SaveConflicts::constraintsOf(
    const NSEntityDescription& entity) {
  const auto [place, isNew] = _constraintsOf.try_emplace(&entity);
  if (!isNew) return place->second;
  const EntityLayout& layout = entity.layout();
  for (Ref<NSEntityDescription> above(const_cast<NSEntityDescription*>(&entity)); above;
       above = above->superentity()) {
    const Ref<NSArray>& declared = above->uniquenessConstraints();
    for (NSUInteger i = 0; i < declared->count(); ++i) {
      const Value value = declared->objectAtIndex(i);
      const auto* names = as<NSArray>(value);
      Constraint constraint{above.get(), i, {}};
      bool isKept = names && names->count() > 0;
      for (NSUInteger k = 0; isKept && k < names->count(); ++k) {
        const Value name = names->objectAtIndex(k);
        const auto* text = as<NSString>(name);
        const std::size_t number = text ? layout.indexOf(*text) : EntityLayout::none;
        isKept = number != EntityLayout::none && layout[number].stored;
        constraint.properties.push_back(number);
      }
      if (isKept) place->second.push_back(std::move(constraint));
    }
  }
  return place->second;
}

void SaveConflicts::indexRows(const SaveBatch& batch) {
  _rows.clear();
  for (std::size_t i = 0; i < batch.rows.size(); ++i) {
    _rows[{&batch.rows[i].entity->layout().root(), batch.rows[i].primaryKey}] = i;
  }
}

const StoreRowChange* SaveConflicts::rowOf(const SaveBatch& batch,
                                           const NSEntityDescription& entity,
                                           std::int64_t primaryKey) const {
  const auto found = _rows.find({&entity.layout().root(), primaryKey});
  return found == _rows.end() ? nullptr : &batch.rows[found->second];
}

void SaveConflicts::addClaims(const SaveBatch& batch, std::size_t row) {
  const StoreRowChange& change = batch.rows[row];
  const EntityLayout& layout = change.entity->layout();
  for (const Constraint& constraint : constraintsOf(*change.entity)) {
    const Value key = uniqueKeyOf(change.values, constraint.properties, layout);
    if (key.isNull()) continue;
    auto& known = _claimOf[{constraint.entity, constraint.place}];
    const auto [place, isNew] = known.try_emplace(key, _claims.size());
    if (isNew) _claims.push_back({&constraint, key, {}, false});
    Claim& claim = _claims[place->second];
    claim.rows.push_back(row);
    claim.isNew |= change.kind == RowChangeKind::Insert ||
                   uniqueKeyOf(change.committed, constraint.properties, layout) != key;
  }
}

bool SaveConflicts::findConstraints(Ref<NSError>* error) {
  return std::all_of(_batches.begin(), _batches.end(),
                     [&](const SaveBatch& batch) { return findConstraints(batch, error); });
}

bool SaveConflicts::findConstraints(const SaveBatch& batch, Ref<NSError>* error) {
  _claims.clear();
  _claimOf.clear();
  indexRows(batch);
  // The rows stand as their objects came: what was changed before what is new.
  for (std::size_t i = 0; i < batch.rows.size(); ++i) {
    if (batch.rows[i].kind == RowChangeKind::Update) addClaims(batch, i);
  }
  for (std::size_t i = 0; i < batch.rows.size(); ++i) {
    if (batch.rows[i].kind == RowChangeKind::Insert) addClaims(batch, i);
  }
  return std::all_of(_claims.begin(), _claims.end(), [&](const Claim& claim) {
    return !claim.isNew || addConflict(batch, claim, error);
  });
}

bool SaveConflicts::addConflict(const SaveBatch& batch, const Claim& claim, Ref<NSError>* error) {
  const Constraint& constraint = *claim.constraint;
  RecordReceiver record;
  if (!batch.store->fetchHolder(*constraint.entity, constraint.properties, *as<NSArray>(claim.key),
                                record, error)) {
    return false;
  }
  Ref<NSManagedObject> holder;
  const StoreRowChange* change =
      record.entity ? rowOf(batch, *record.entity, record.primaryKey) : nullptr;
  ConflictResolution::Objects objects;
  for (const std::size_t row : claim.rows) {
    if (&batch.rows[row] == change) {
      holder = Ref<NSManagedObject>(batch.objects[row]);
    } else {
      objects.emplace_back(batch.objects[row]);
    }
  }
  if (record.entity && !change) {
    holder = _context.existingObjectWithIDError(
        ObjectAccess::makeID(
            Ref<NSEntityDescription>(const_cast<NSEntityDescription*>(record.entity)),
            record.primaryKey, batch.store),
        error);
    if (!holder) return false;
  }
  if (!holder) record = RecordReceiver();
  if (objects.size() + (holder ? 1 : 0) < 2) return true;
  _constraints.push_back(ConflictResolution::constraintConflict(
      constraint.properties, claim.key, holder, std::move(record), objects));
  return true;
}

// ---- References ---------------------------------------------------------------------------------

bool SaveConflicts::findReferences(Ref<NSError>* error) {
  for (const SaveBatch& batch : _batches) {
    indexRows(batch);
    _isThere.clear();
    for (std::size_t i = 0; i < batch.rows.size(); ++i) {
      if (batch.rows[i].kind != RowChangeKind::Delete) {
        if (!addReferences(batch, *batch.objects[i], error)) return false;
      } else if (batch.rows[i].entity->layout().hasRelationships()) {
        _deletions.emplace_back(batch.objects[i]);
      }
    }
    for (NSManagedObject* object : batch.related) {
      if (!addReferences(batch, *object, error)) return false;
    }
  }
  return true;
}

bool SaveConflicts::addReferences(const SaveBatch& batch, NSManagedObject& object,
                                  Ref<NSError>* error) {
  const EntityLayout& layout = object.entity()->layout();
  for (const std::size_t number : layout.toOnes()) {
    if (layout[number].stored &&
        !addIfMissing(batch, object, number, ObjectAccess::values(object)[number], error)) {
      return false;
    }
  }
  for (const std::size_t number : layout.toManys()) {
    const RelatedObjects* related = Relations::known(object, number);
    if (!related || !related->added() || layout[number].relationship->isTransient()) continue;
    for (const Value& identifier : *related->added()) {
      if (!addIfMissing(batch, object, number, identifier, error)) return false;
    }
  }
  return true;
}

bool SaveConflicts::addIfMissing(const SaveBatch& batch, NSManagedObject& object,
                                 std::size_t number, const Value& identifier, Ref<NSError>* error) {
  const auto* destination = as<NSManagedObjectID>(identifier);
  if (!destination || destination->isTemporaryID()) return true;
  const NSEntityDescription& entity = *destination->entity();
  bool isThere;
  if (const StoreRowChange* change = rowOf(batch, entity, destination->number())) {
    isThere = change->kind != RowChangeKind::Delete;
  } else {
    const auto [known, isNew] =
        _isThere.try_emplace({&entity.layout().root(), destination->number()}, false);
    if (isNew) {
      RecordReceiver record;
      if (!batch.store->fetchRow(entity, destination->number(), record, error)) return false;
      known->second = record.entity != nullptr;
    }
    isThere = known->second;
  }
  if (!isThere) {
    _references.push_back({Ref<NSManagedObject>(&object), number,
                           Ref<NSManagedObjectID>(const_cast<NSManagedObjectID*>(destination))});
  }
  return true;
}

// ---- Deciding -----------------------------------------------------------------------------------

bool SaveConflicts::resolve(Ref<NSError>* error) {
  if (!_references.empty() || !_deletions.empty()) {
    ConflictResolution::letGoOfMissing(_references, _deletions);
    return true;
  }
  const bool isAboutVersions = !_versions.empty();
  const Ref<NSArray> list =
      isAboutVersions ? NSArray::arrayWithValues({_versions.begin(), _versions.end()})
                      : NSArray::arrayWithValues({_constraints.begin(), _constraints.end()});
  const Ref<NSMergePolicy> policy = _context.mergePolicy();
  const std::uint64_t before = _context._registry->edits;
  Ref<NSError> reason;
  bool isResolved;
  {
    struct Asking {
      bool& flag;
      ~Asking() { flag = false; }
    } asking{_context._changes->isMerging};
    _context._changes->isMerging = true;
    isResolved = policy->resolveConflictsError(list, &reason);
  }
  if (isResolved && isAboutVersions) {
    const std::vector<ConflictResolution::Outcome> outcomes = ConflictResolution::settle(_versions);
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
      const Ref<NSManagedObject>& object = _versions[i]->sourceObject();
      _decisions.writtenAnew.erase(object.get());
      if (outcomes[i] == ConflictResolution::Outcome::WriteAnew) {
        _decisions.writtenAnew.emplace(object.get(), object);
      } else if (outcomes[i] == ConflictResolution::Outcome::Gone) {
        _decisions.gone.emplace(object.get(), object);
      }
    }
    return true;
  }
  // Unique values that nobody has touched will repeat as before.
  if (isResolved && _context._registry->edits != before) return true;
  if (isResolved || !reason) {
    reason = isAboutVersions ? ConflictResolution::errorOfVersions(list)
                             : ConflictResolution::errorOfConstraints(list);
  }
  return fail(error, reason);
}

}  // namespace JNFoundation::impl
