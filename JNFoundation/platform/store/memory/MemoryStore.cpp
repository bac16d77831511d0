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
#include <JNFoundation/platform/value/NSUUID.h>

namespace JNFoundation {

constinit const Class MemoryStore::classObject = Class::of<MemoryStore>("MemoryStore");

MemoryStore::MemoryStore(const Ref<NSManagedObjectModel>& model, const Ref<NSString>& configuration,
                         const Ref<NSURL>& url, const Ref<NSDictionary>& options)
    : NSPersistentStore(model, configuration, url, options) {}

Ref<MemoryStore> MemoryStore::initWithModelConfigurationURLOptions(
    const Ref<NSManagedObjectModel>& model, const Ref<NSString>& configuration,
    const Ref<NSURL>& url, const Ref<NSDictionary>& options) {
  return Ref<MemoryStore>::adopt(new MemoryStore(model, configuration, url, options));
}

Ref<NSString> MemoryStore::type() const { return NSString::interned(NSInMemoryStoreType); }

bool MemoryStore::open(Ref<NSError>*) {
  setIdentifier(NSUUID::UUID()->UUIDString());
  if (options()) setReadOnly(options()->objectForKey(NSReadOnlyPersistentStoreOption).boolValue());
  return true;
}

void MemoryStore::close() {
  _pending.clear();
  _tables.clear();
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
  return true;
}

bool MemoryStore::writeRows(std::span<const StoreRowChange> changes, std::size_t* conflict,
                            Ref<NSError>* error) {
  for (const StoreRowChange& change : changes) {
    const impl::EntityLayout& layout = change.entity->layout();
    Row row{change.entity, 1, ValueArray()};
    if (change.kind != StoreRowChange::Kind::Insert) {
      const Table& table = tableOf(*change.entity);
      const auto found = table.rows.find(change.primaryKey);
      if (found == table.rows.end() || found->second.version != change.version) {
        if (conflict) *conflict = static_cast<std::size_t>(&change - changes.data());
        return impl::fail(error,
                          impl::cocoaError(NSManagedObjectMergeError, "Could not merge changes."));
      }
      row.version = change.version + 1;
    }
    if (change.kind != StoreRowChange::Kind::Delete) {
      row.values = ValueArray(layout.count());
      for (std::size_t i = 0; i < layout.count(); ++i) {
        if (layout[i].stored)
          row.values[i] = impl::canonicalValue(change.values[i], layout[i].type);
      }
    }
    _pending.push_back({change.kind, change.primaryKey, std::move(row)});
  }
  return true;
}

bool MemoryStore::commitSave(Ref<NSError>*) {
  for (PendingRow& pending : _pending) {
    Table& table = tableOf(*pending.row.entity);
    switch (pending.kind) {
      case StoreRowChange::Kind::Insert:
        table.rows.emplace_hint(table.rows.end(), pending.primaryKey, std::move(pending.row));
        break;
      case StoreRowChange::Kind::Update:
        table.rows[pending.primaryKey] = std::move(pending.row);
        break;
      case StoreRowChange::Kind::Delete:
        table.rows.erase(pending.primaryKey);
        break;
    }
  }
  _pending.clear();
  return true;
}

void MemoryStore::abandonSave() noexcept { _pending.clear(); }

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
  Ref<impl::StoredRow> probe = makeObject<impl::StoredRow>(*this);
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
      Ref<impl::StoredRow> entry = makeObject<impl::StoredRow>(*this);
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

NSUInteger MemoryStore::countRows(const StoreQuery& query, Ref<NSError>*) {
  NSUInteger count = 0;
  StoreQuery unordered = query;
  unordered.sortDescriptors = nullptr;
  select(unordered,
         [&](const NSEntityDescription&, std::int64_t, std::uint32_t, const Value*) { ++count; });
  return count;
}

}  // namespace JNFoundation
