#include "JNFoundation/platform/store/memory/MemoryStore.h"

#include <algorithm>

#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/query/NSSortDescriptor.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/store/impl/ObjectAccess.h>
#include <JNFoundation/platform/store/impl/QueryCheck.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/store/impl/StoredRow.h>
#include <JNFoundation/platform/store/memory/impl/RecordRules.h>
#include <JNFoundation/platform/value/NSUUID.h>

namespace JNFoundation::inline v0_1 {

constinit const Class MemoryStore::classObject = Class::of<MemoryStore>("MemoryStore");

MemoryStore::MemoryStore(const Ref<NSManagedObjectModel>& model, const Ref<NSString>& configuration,
                         const Ref<NSURL>& url, const Ref<NSDictionary>& options)
    : NSPersistentStore(model, configuration, url, options),
      _rules(std::make_unique<impl::RecordRules>()) {}

MemoryStore::~MemoryStore() = default;

Ref<MemoryStore> MemoryStore::initWithModelConfigurationURLOptions(
    const Ref<NSManagedObjectModel>& model, const Ref<NSString>& configuration,
    const Ref<NSURL>& url, const Ref<NSDictionary>& options) {
  return Ref<MemoryStore>::adopt(new MemoryStore(model, configuration, url, options));
}

Ref<NSString> MemoryStore::type() const { return NSString::interned(NSInMemoryStoreType); }

bool MemoryStore::open(Ref<NSError>*) {
  setIdentifier(NSUUID::UUID()->UUIDString());
  readConstraints();
  if (options()) setReadOnly(options()->objectForKey(NSReadOnlyPersistentStoreOption).boolValue());
  return true;
}

void MemoryStore::close() {
  abandonSave();
  _tables.clear();
  _rules = std::make_unique<impl::RecordRules>();
}

MemoryStore::Table& MemoryStore::tableOf(const NSEntityDescription& entity) {
  return _tables[&entity.layout().root()];
}

std::int64_t MemoryStore::takePrimaryKeys(const NSEntityDescription& entity, NSUInteger count,
                                          Ref<NSError>*) {
  Table& table = tableOf(entity);
  const std::int64_t first = table.nextKey;
  table.nextKey += static_cast<std::int64_t>(count);
  return first;
}

bool MemoryStore::beginSave(Ref<NSError>* error) {
  if (isReadOnly()) {
    return impl::fail(error, impl::cocoaError(NSPersistentStoreSaveError,
                                              "The store was opened to be read only."));
  }
  if (_isSaving) {
    return impl::fail(error, impl::cocoaError(NSPersistentStoreSaveError,
                                              "The store is being saved to already."));
  }
  _isSaving = true;
  return true;
}

/// Looks through the model for what the store has to watch over.
void MemoryStore::readConstraints() {
  for (const Ref<NSEntityDescription>& entity : model()->entityList()) {
    const impl::EntityLayout& layout = entity->layout();
    for (const Value& constraint : *entity->uniquenessConstraints()) {
      const auto* names = as<NSArray>(constraint);
      std::vector<std::size_t> properties;
      bool isStored = names != nullptr;
      for (NSUInteger i = 0; names && i < names->count(); ++i) {
        const Value name = names->objectAtIndex(i);
        const auto* text = as<NSString>(name);
        const std::size_t index = text ? layout.indexOf(*text) : impl::EntityLayout::none;
        isStored = isStored && index != impl::EntityLayout::none && layout[index].stored;
        properties.push_back(index);
      }
      if (isStored && !properties.empty()) _rules->constraints.emplace_back(*entity, properties);
    }
    for (const Ref<NSPropertyDescription>& property : entity->ownProperties()) {
      if (!isKindOf<NSRelationshipDescription>(*property)) continue;
      auto* relationship = static_cast<NSRelationshipDescription*>(property.get());
      if (relationship->isToMany() || relationship->isTransient()) continue;
      const Ref<NSRelationshipDescription> inverse = relationship->inverseRelationship();
      if (!inverse || inverse->deleteRule() == NSNoActionDeleteRule) continue;
      _rules->references[&relationship->destinationEntity()->layout().root()].emplace_back(
          relationship);
    }
  }
}

const MemoryStore::Row* MemoryStore::rowOf(const NSEntityDescription& entity,
                                           std::int64_t primaryKey) {
  const Table& table = tableOf(entity);
  const auto found = table.rows.find(primaryKey);
  return found == table.rows.end() ? nullptr : &found->second;
}

bool MemoryStore::writeRows(std::span<const StoreRowChange> changes, std::size_t* conflict,
                            Ref<NSError>* error) {
  const std::size_t first = _pending.size();
  const auto refuse = [&](std::size_t number, NSInteger code, const char* sentence) {
    if (conflict) *conflict = number;
    return impl::fail(error, impl::cocoaError(code, sentence));
  };
  for (const StoreRowChange& change : changes) {
    const impl::EntityLayout& layout = change.entity->layout();
    Row row{change.entity, change.version + 1, ValueArray()};
    const bool isInsertion = change.kind == StoreRowChange::Kind::Insert;
    if (!isInsertion || change.version != 0) {
      const Row* known = rowOf(*change.entity, change.primaryKey);
      const bool isExpected = isInsertion ? !known : known && known->version == change.version;
      if (!isExpected) {
        return refuse(static_cast<std::size_t>(&change - changes.data()), NSManagedObjectMergeError,
                      "Could not merge changes.");
      }
    }
    if (change.kind != StoreRowChange::Kind::Delete) {
      row.values = ValueArray(layout.count());
      for (std::size_t i = 0; i < layout.count(); ++i) {
        if (layout[i].stored)
          row.values[i] = impl::canonicalValue(change.values[i], layout[i].type);
      }
    }
    _pendingByKey[{&layout.root(), change.primaryKey}] = _pending.size();
    _pending.push_back({change.kind, change.primaryKey, std::move(row)});
  }
  const std::size_t repetition = findRepetition();
  if (repetition == impl::EntityLayout::none) return true;
  return refuse(repetition - first, NSManagedObjectConstraintMergeError,
                "A value that must be unique is there already");
}

const MemoryStore::PendingRow* MemoryStore::pendingOf(const NSEntityDescription& entity,
                                                      std::int64_t primaryKey) const {
  const auto found = _pendingByKey.find({&entity.layout().root(), primaryKey});
  return found == _pendingByKey.end() ? nullptr : &_pending[found->second];
}

std::size_t MemoryStore::findRepetition() {
  for (std::size_t i = _rules->checkedCount; i < _pending.size(); ++i) {
    const PendingRow& pending = _pending[i];
    if (pending.kind == StoreRowChange::Kind::Delete) continue;
    for (std::size_t k = 0; k < _rules->constraints.size(); ++k) {
      const impl::UniqueValues& constraint = _rules->constraints[k];
      if (!constraint.concerns(*pending.row.entity)) continue;
      const Value key = constraint.keyOf(pending.row.values.get());
      if (key.isNull()) continue;
      const std::int64_t holder = constraint.holderOf(key);
      // A record that changes as well has what it changes to.
      const bool isTaken = holder != 0 && !pendingOf(*pending.row.entity, holder);
      impl::UniqueValues& fresh = _rules->pendingValues(k);
      if (isTaken || fresh.holderOf(key) != 0) return i;
      fresh.put(key, pending.primaryKey);
    }
  }
  _rules->checkedCount = _pending.size();
  return impl::EntityLayout::none;
}

bool MemoryStore::writeLinks(std::span<const StoreLinkChange> changes, Ref<NSError>*) {
  _pendingLinks.insert(_pendingLinks.end(), changes.begin(), changes.end());
  return true;
}

bool MemoryStore::isThereAfterwards(const NSEntityDescription& entity, std::int64_t primaryKey) {
  const PendingRow* pending = pendingOf(entity, primaryKey);
  return pending ? pending->kind != StoreRowChange::Kind::Delete
                 : rowOf(entity, primaryKey) != nullptr;
}

bool MemoryStore::namesOnlyWhatIsThere() {
  for (const PendingRow& pending : _pending) {
    const NSEntityDescription& entity = *pending.row.entity;
    if (pending.kind == StoreRowChange::Kind::Delete) {
      for (const auto& relationship : _rules->references[&entity.layout().root()]) {
        const Ref<NSEntityDescription> source = relationship->entity();
        const auto referrers = _rules->links.referrers(*relationship, pending.primaryKey);
        const bool isFree = std::all_of(
            referrers.begin(), referrers.end(),
            [&](std::int64_t referrer) { return pendingOf(*source, referrer) != nullptr; });
        if (!isFree) return false;
      }
      continue;
    }
    const impl::EntityLayout& layout = entity.layout();
    for (const std::size_t place : layout.toOnes()) {
      const auto* identifier = as<NSManagedObjectID>(pending.row.values[place]);
      if (!identifier || !layout[place].stored) continue;
      const auto& watched = _rules->references[&identifier->entity()->layout().root()];
      const bool isWatched =
          std::find(watched.begin(), watched.end(), layout[place].relationship) != watched.end();
      if (isWatched && !isThereAfterwards(*identifier->entity(), identifier->number())) {
        return false;
      }
    }
  }
  for (const StoreLinkChange& change : _pendingLinks) {
    const bool isPair = impl::RecordLinks::hasPairs(*change.relationship);
    const Ref<NSEntityDescription> source = change.relationship->entity();
    if (isPair && !change.added.empty() && !isThereAfterwards(*source, change.primaryKey)) {
      return false;
    }
    for (const std::int64_t member : change.added) {
      if (!isThereAfterwards(*change.relationship->destinationEntity(), member)) return false;
    }
  }
  return true;
}

bool MemoryStore::prepareToCommit(Ref<NSError>* error) {
  if (namesOnlyWhatIsThere()) return true;
  return impl::fail(error, impl::cocoaError(NSManagedObjectReferentialIntegrityError,
                                            "A record would lead to one that is not there"));
}

bool MemoryStore::commitSave(Ref<NSError>* error) {
  if (!prepareToCommit(error)) {
    abandonSave();
    return false;
  }
  for (PendingRow& pending : _pending) {
    const NSEntityDescription& entity = *pending.row.entity;
    const Row* former = rowOf(entity, pending.primaryKey);
    const Value* before = former ? former->values.get() : nullptr;
    const Value* after = pending.row.values.get();
    for (impl::UniqueValues& constraint : _rules->constraints) {
      if (!constraint.concerns(entity)) continue;
      if (before) constraint.remove(constraint.keyOf(before), pending.primaryKey);
      if (!after) continue;
      const Value key = constraint.keyOf(after);
      if (!key.isNull()) constraint.put(key, pending.primaryKey);
    }
    _rules->links.changeReferences(entity, pending.primaryKey, before, after);
    Table& table = tableOf(entity);
    switch (pending.kind) {
      case StoreRowChange::Kind::Insert:
        table.rows.emplace_hint(table.rows.end(), pending.primaryKey, std::move(pending.row));
        break;
      case StoreRowChange::Kind::Update:
        table.rows[pending.primaryKey] = std::move(pending.row);
        break;
      case StoreRowChange::Kind::Delete:
        _rules->links.remove(entity, pending.primaryKey);
        table.rows.erase(pending.primaryKey);
        break;
    }
  }
  _rules->links.change(_pendingLinks);
  abandonSave();
  return true;
}

void MemoryStore::abandonSave() noexcept {
  _isSaving = false;
  _rules->forgetPending();
  _pending.clear();
  _pendingByKey.clear();
  _pendingLinks.clear();
}

StoreQueryPlan MemoryStore::planQuery(const StoreQuery& query) {
  StoreQueryPlan plan;
  if (query.predicate && impl::wantsObjects(*query.predicate)) {
    plan.remainingPredicate = query.predicate;
  }
  plan.sorts = true;
  plan.limits = !plan.remainingPredicate;
  return plan;
}

template <class Function>
void MemoryStore::select(const StoreQuery& query, Function&& function) {
  const auto table = _tables.find(&query.entity->layout().root());
  if (table == _tables.end()) return;
  std::vector<const NSEntityDescription*> family;
  if (query.includesSubentities) {
    const auto all = query.entity->layout().family();
    family.assign(all.begin(), all.end());
    std::sort(family.begin(), family.end());
  } else {
    family.push_back(query.entity);
  }
  const bool filters = query.predicate && !impl::wantsObjects(*query.predicate);
  const bool limits = !query.predicate || filters;
  const bool sorts = query.sortDescriptors && query.sortDescriptors->count() > 0;
  const NSUInteger offset = limits ? query.offset : 0;
  const NSUInteger limit = limits ? query.limit : 0;
  impl::RowSource source(*this);
  Ref<impl::StoredRow> probe = makeObject<impl::StoredRow>(source);
  const Value probeValue(probe);
  std::vector<Value> matching;
  NSUInteger position = 0;
  for (const auto& [key, row] : table->second.rows) {
    if (!std::binary_search(family.begin(), family.end(), row.entity)) continue;
    if (filters) {
      probe->pointTo(*row.entity, key, row.version, row.values.get());
      if (!query.predicate->evaluateWithObject(probeValue)) continue;
    }
    if (sorts) {
      Ref<impl::StoredRow> entry = makeObject<impl::StoredRow>(source);
      entry->pointTo(*row.entity, key, row.version, row.values.get());
      matching.emplace_back(std::move(entry));
      continue;
    }
    if (position++ < offset) continue;
    function(*row.entity, key, row.version, row.values.get());
    if (limit > 0 && position == offset + limit) return;
  }
  if (!sorts) return;
  Ref<NSArray> ordered = sortedArrayUsingDescriptors(NSArray::arrayWithValues(std::move(matching)),
                                                     query.sortDescriptors);
  for (const Value& value : *ordered) {
    if (position++ < offset) continue;
    const auto& row = *as<impl::StoredRow>(value);
    function(row.entity(), row.primaryKey(), row.version(), row.values());
    if (limit > 0 && position == offset + limit) return;
  }
}

bool MemoryStore::fetchRows(const StoreQuery& query, StoreRowReceiver& receiver, Ref<NSError>*) {
  select(query, [&](const NSEntityDescription& entity, std::int64_t key, std::uint32_t version,
                    const Value* values) {
    Value* places = receiver.beginRow(entity, key, version);
    if (!places) return;
    const std::size_t count = entity.layout().count();
    for (std::size_t i = 0; i < count; ++i) places[i] = values[i];
    receiver.endRow();
  });
  return true;
}

bool MemoryStore::fetchRow(const NSEntityDescription& entity, std::int64_t primaryKey,
                           StoreRowReceiver& receiver, Ref<NSError>*) {
  const Table& table = tableOf(entity);
  const auto found = table.rows.find(primaryKey);
  if (found == table.rows.end()) return true;
  const Row& row = found->second;
  if (Value* places = receiver.beginRow(*row.entity, primaryKey, row.version)) {
    for (std::size_t i = 0; i < row.entity->layout().count(); ++i) places[i] = row.values[i];
    receiver.endRow();
  }
  return true;
}

bool MemoryStore::fetchHolder(const NSEntityDescription& entity,
                              std::span<const std::size_t> properties, const NSArray& values,
                              StoreRowReceiver& receiver, Ref<NSError>* error) {
  const Value key(const_cast<NSArray*>(&values));
  for (const impl::UniqueValues& constraint : _rules->constraints) {
    if (!constraint.isOf(entity, properties)) continue;
    const std::int64_t holder = constraint.holderOf(key);
    return holder == 0 || fetchRow(entity, holder, receiver, error);
  }
  return true;
}

bool MemoryStore::fetchRelated(const NSRelationshipDescription& relationship,
                               std::int64_t primaryKey, StoreRowReceiver& receiver,
                               Ref<NSError>* error) {
  for (const std::int64_t member : _rules->links.members(relationship, primaryKey)) {
    if (!fetchRow(*relationship.destinationEntity(), member, receiver, error)) return false;
  }
  return true;
}

NSUInteger MemoryStore::countRows(const StoreQuery& query, Ref<NSError>*) {
  NSUInteger count = 0;
  StoreQuery unordered = query;
  unordered.sortDescriptors = nullptr;
  select(unordered,
         [&](const NSEntityDescription&, std::int64_t, std::uint32_t, const Value*) { ++count; });
  return count;
}

}  // namespace JNFoundation
