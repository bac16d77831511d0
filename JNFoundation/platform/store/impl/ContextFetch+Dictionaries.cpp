#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/query/NSSortDescriptor.h>
#include <JNFoundation/platform/store/impl/ContextFetch.h>
#include <JNFoundation/platform/store/impl/DictionaryPlan.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

using Values = DictionaryPlan::Values;

/// What a store is to read where it reads nothing but the fields. Returns: false where a field has
/// to be computed.
bool columnsOf(const DictionaryPlan& plan, std::vector<StoreColumn>& columns) {
  for (const RecordField& field : plan.fields()) {
    if (field.expression) return false;
    columns.push_back({StoreColumn::Kind::Value, field.path});
  }
  return true;
}

/// What a store is to read where it makes the groups. Returns: false where it cannot.
bool columnsOfGroups(const DictionaryPlan& plan, std::vector<StoreColumn>& columns) {
  static constexpr std::pair<std::string_view, StoreColumn::Kind> kinds[] = {
      {"count:", StoreColumn::Kind::Count},     {"sum:", StoreColumn::Kind::Sum},
      {"average:", StoreColumn::Kind::Average}, {"min:", StoreColumn::Kind::Minimum},
      {"max:", StoreColumn::Kind::Maximum},
  };
  if (!columnsOf(plan, columns)) return false;
  columns.resize(plan.groupCount());
  for (const DictionaryPlan::Aggregate& aggregate : plan.aggregates()) {
    const auto kind = std::find_if(std::begin(kinds), std::end(kinds), [&](const auto& entry) {
      return entry.first == aggregate.function->utf8();
    });
    if (kind == std::end(kinds)) return false;
    columns.push_back({kind->second, plan.fields()[aggregate.field].path});
  }
  return true;
}

}  // namespace

bool ContextFetch::visitRows(NSPersistentStore& store, const StoreQuery& query,
                             const Block<void(StoredRow& row)>& visit, bool& isCut,
                             Ref<NSError>* error) {
  StoreQuery everything = query;
  everything.includesValues = true;
  everything.properties.clear();
  const StoreQueryPlan plan = store.planQuery(everything);
  if (query.sortDescriptors && !plan.sorts) {
    std::vector<Value> rows;
    if (!fetchRows(store, query, rows, isCut, error)) return false;
    for (const Value& row : rows) visit(*as<StoredRow>(row));
    return true;
  }
  isCut = plan.limits;
  if (!isCut) everything.limit = everything.offset = 0;
  RowVisitor visitor(sourceOf(store), [&](StoredRow& row) {
    if (!plan.remainingPredicate || plan.remainingPredicate->evaluateWithObject(Value(&row))) {
      visit(row);
    }
  });
  return store.fetchRows(everything, visitor, error);
}

Ref<NSArray> ContextFetch::dictionaries(Ref<NSError>* error) {
  if (_dictionaries->isGrouped()) return dictionariesOfGroups(error);
  const bool canBeIdentified =
      _dictionaries->hasIdentifiers() && !_request.returnsDistinctResults();
  if (_request.fetchBatchSize() > 0 && canBeIdentified) return batches(error);
  return dictionariesOfRecords(error);
}

Ref<NSArray> ContextFetch::dictionariesOfRecords(Ref<NSError>* error) {
  const DictionaryPlan& plan = *_dictionaries;
  const bool distinct = _request.returnsDistinctResults();
  StoreQuery everything = query();
  if (distinct || stores().size() > 1) everything.limit = everything.offset = 0;
  std::vector<Value> results;
  ValueLists seen;
  const auto add = [&](std::span<const Value> fields) {
    const std::size_t before = seen.count();
    if (distinct && seen.numberOf(fields) < before) return;
    results.emplace_back(plan.dictionaryOfRecord(fields));
  };
  std::vector<StoreColumn> columns;
  StoreAnswer answer = StoreAnswer::Unable;
  if (stores().size() == 1 && columnsOf(plan, columns)) {
    const auto enough = [&] {
      return distinct && _request.fetchLimit() > 0 &&
             results.size() >= _request.fetchOffset() + _request.fetchLimit();
    };
    answer = stores().front()->fetchColumns(
        {everything, std::move(columns), false},
        [&](std::span<Value> fields) {
          add(fields);
          return !enough();
        },
        error);
  }
  if (answer == StoreAnswer::Failed) return nullptr;
  if (answer == StoreAnswer::Done) {
    if (distinct) cut(results);
    return NSArray::arrayWithValues(std::move(results));
  }
  Values fields(plan.fields().size());
  bool isCut = false;
  const auto take = [&](StoredRow& row) {
    plan.read(row, fields);
    add(fields);
  };
  if (stores().size() > 1 && _sortDescriptors) {
    std::vector<Value> rows;
    for (const Ref<NSPersistentStore>& store : stores()) {
      if (!fetchRows(*store, everything, rows, isCut, error)) return nullptr;
    }
    const Ref<NSArray> sorted =
        sortedArrayUsingDescriptors(NSArray::arrayWithValues(std::move(rows)), _sortDescriptors);
    for (const Value& row : sorted) take(*as<StoredRow>(row));
  } else {
    for (const Ref<NSPersistentStore>& store : stores()) {
      if (!visitRows(*store, everything, take, isCut, error)) return nullptr;
    }
  }
  const bool cutByStore = isCut && (everything.limit > 0 || everything.offset > 0);
  if (!cutByStore) cut(results);
  return NSArray::arrayWithValues(std::move(results));
}

bool ContextFetch::collectGroups(std::vector<Values>& groups, Ref<NSError>* error) {
  const DictionaryPlan& plan = *_dictionaries;
  StoreQuery everything = query();
  everything.limit = everything.offset = 0;
  if (stores().size() == 1) {
    std::vector<StoreColumn> columns;
    if (columnsOfGroups(plan, columns)) {
      const StoreAnswer answer = stores().front()->fetchColumns(
          {everything, std::move(columns), true},
          [&](std::span<Value> values) {
            groups.emplace_back(values.begin(), values.end());
            return true;
          },
          error);
      if (answer != StoreAnswer::Unable) return answer == StoreAnswer::Done;
    }
  }
  RecordGroups collected(plan);
  std::vector<StoreColumn> columns;
  const bool readsFields = columnsOf(plan, columns);
  Values fields(plan.fields().size());
  for (const Ref<NSPersistentStore>& store : stores()) {
    StoreAnswer answer = StoreAnswer::Unable;
    if (readsFields) {
      answer = store->fetchColumns(
          {everything, columns, false},
          [&](std::span<Value> values) {
            collected.add(values);
            return true;
          },
          error);
    }
    if (answer == StoreAnswer::Failed) return false;
    if (answer == StoreAnswer::Done) continue;
    bool isCut = false;
    const auto take = [&](StoredRow& row) {
      plan.read(row, fields);
      collected.add(fields);
    };
    if (!visitRows(*store, everything, take, isCut, error)) return false;
  }
  groups = collected.finish();
  return true;
}

Ref<NSArray> ContextFetch::dictionariesOfGroups(Ref<NSError>* error) {
  const DictionaryPlan& plan = *_dictionaries;
  std::vector<Values> groups;
  if (!collectGroups(groups, error)) return nullptr;
  std::vector<Value> chosen = plan.chosenGroups(std::move(groups));
  if (_request.returnsDistinctResults()) {
    ValueLists seen;
    std::erase_if(chosen, [&](const Value& group) {
      const std::size_t before = seen.count();
      return seen.numberOf(plan.valuesOfGroup(group)) < before;
    });
  }
  cut(chosen);
  for (Value& group : chosen) group = plan.dictionaryOfGroup(group);
  return NSArray::arrayWithValues(std::move(chosen));
}

}  // namespace JNFoundation::impl
