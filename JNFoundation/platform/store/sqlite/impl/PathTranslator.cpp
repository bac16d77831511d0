#include "JNFoundation/platform/store/sqlite/impl/PathTranslator.h"

#include <JNFoundation/platform/store/NSEntityDescription.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

/// Whether the file itself sees to it that the record is there that the relationship leads to.
bool isWatched(const NSRelationshipDescription& relationship) {
  const Ref<NSRelationshipDescription> inverse = relationship.inverseRelationship();
  return inverse && inverse->deleteRule() != NSNoActionDeleteRule;
}

/// Whether an index of the model begins with the property.
bool isIndexed(const NSEntityDescription& entity, std::size_t property) {
  const NSString& name = *entity.layout()[property].name;
  for (Ref<NSEntityDescription> above(const_cast<NSEntityDescription*>(&entity)); above;
       above = above->superentity()) {
    for (const Value& value : *above->indexes()) {
      const Ref<NSArray> elements = as<NSFetchIndexDescription>(value)->elements();
      if (elements->count() == 0) continue;
      const Value first = elements->objectAtIndex(0);
      if (as<NSFetchIndexElementDescription>(first)->propertyName()->hasContentOf(name))
        return true;
    }
    for (const Value& value : *above->uniquenessConstraints()) {
      const auto* names = as<NSArray>(value);
      const Value first = names && names->count() > 0 ? names->objectAtIndex(0) : Value();
      const auto* text = as<NSString>(first);
      if (text && text->hasContentOf(name)) return true;
    }
  }
  return false;
}

}  // namespace

bool isSummable(NSAttributeType type) noexcept {
  return type == NSInteger16AttributeType || type == NSInteger32AttributeType ||
         type == NSBooleanAttributeType;
}

bool PathTranslator::join(RecordPlace& place) const {
  if (!place.table.empty()) return true;
  place.table =
      place.source->joinRecord(_schema.of(*place.entity).table, place.number, place.canBeNull);
  return !place.table.empty();
}

bool PathTranslator::toOne(const NSRelationshipDescription& relationship,
                           const Schema::Column& column, RecordPlace& place) {
  if (!join(place)) return false;
  place.number = place.table + "." + column.name;
  place.isJoined = place.canBeNull;
  place.isIndexed = true;
  place.entity = column.destination;
  place.canBeNull = true;
  place.table.clear();
  if (isWatched(relationship)) return true;
  // A record that has gone counts as none.
  if (!join(place)) return false;
  place.number = place.table + "._pk";
  place.isJoined = true;
  place.isIndexed = false;
  return true;
}

bool PathTranslator::toMany(const NSRelationshipDescription& relationship, TranslatedPath& path) {
  const Schema::Link& link = _schema.of(relationship);
  RecordPlace& place = path.place;
  std::string table;
  if (path.collection) {
    // Members of members, one after the other. A missing one in between would count as a null.
    if (place.canBeNull) return false;
    table = place.source->joinRows(link.table, link.near, place.number);
    if (table.empty()) return false;
  } else {
    auto collection = std::make_unique<RecordCollection>();
    collection->source = SelectSource::named(link.table, _names);
    table = collection->source->name();
    collection->near = table + "." + link.near;
    collection->condition = collection->near + " = " + place.number;
    collection->owner = place.number;
    collection->ownerCanBeNull = place.canBeNull;
    place.source = collection->source.get();
    path.collection = std::move(collection);
  }
  place.entity = link.destination;
  place.number = table + "." + link.far;
  place.table = link.hasOwnTable ? std::string() : table;
  place.canBeNull = false;
  place.isJoined = false;
  place.isIndexed = true;
  path.collection->member = place;
  return true;
}

bool PathTranslator::followOne(const NSString& key, TranslatedPath& path) {
  RecordPlace& place = path.place;
  const EntityLayout& layout = place.entity->layout();
  const std::size_t index = layout.indexOf(key);
  if (index == EntityLayout::none) {
    // Both are the record again.
    return key.utf8() == "self" || key.utf8() == "objectID";
  }
  const EntityLayout::Slot& slot = layout[index];
  if (slot.isToMany()) {
    return !slot.relationship->isTransient() && !path.readsMembers &&
           toMany(*slot.relationship, path);
  }
  const Schema::Column* column = Schema::columnNamed(_schema.of(*place.entity), key);
  if (!column) return false;
  if (path.collection) path.readsMembers = true;
  if (slot.relationship) return toOne(*slot.relationship, *column, place);
  path.column = column;
  return join(place);
}

bool PathTranslator::follow(std::span<const KeyPath::Step> steps, TranslatedPath& path) {
  for (; !steps.empty(); steps = steps.subspan(1)) {
    const KeyPath::Step& step = steps.front();
    if (step.collectionOperator != CollectionOperator::None) {
      path.rest = steps;
      return true;
    }
    if (path.column || !followOne(*step.key, path)) return false;
  }
  return true;
}

bool PathTranslator::operandOf(TranslatedPath& path, SQLOperand& operand) const {
  if (!path.rest.empty()) return false;
  operand.depth.include(path.depth);
  operand.isColumn = true;
  if (!path.column) {
    operand.form = SQLOperand::Form::Record;
    operand.sql = path.place.number;
    operand.entity = path.place.entity;
    operand.canBeNull = path.place.canBeNull;
    operand.isJoined = path.place.isJoined;
    operand.isIndexed = path.place.isIndexed;
    return true;
  }
  operand.form = SQLOperand::Form::Value;
  operand.sql = path.place.table + "." + path.column->name;
  operand.kind = kindOf(path.column->type);
  operand.isJoined = path.place.canBeNull;
  operand.isIndexed = isIndexed(*path.place.entity, path.column->attribute);
  return true;
}

std::string PathTranslator::entityOf(TranslatedPath& path) const {
  return join(path.place) ? path.place.table + "._entity" : std::string();
}

bool PathTranslator::operatorOf(TranslatedPath& path, SQLOperand& operand) {
  if (!path.collection || path.readsMembers || path.rest.empty()) return false;
  const RecordCollection& collection = *path.collection;
  const CollectionOperator wanted = path.rest.front().collectionOperator;
  operand.form = SQLOperand::Form::Value;
  operand.kind = ValueKind::Number;
  operand.canBeNull = collection.ownerCanBeNull;
  std::string select;
  if (wanted == CollectionOperator::Count) {
    select = "(" + collection.select("count(*)") + ")";
    operand.exists = "EXISTS (" + collection.select("1") + ")";
  } else {
    TranslatedPath inner;
    inner.place = path.place;
    if (!follow(path.rest.subspan(1), inner) || inner.collection || !inner.rest.empty() ||
        !inner.column) {
      return false;
    }
    const std::string value = inner.place.table + "." + inner.column->name;
    const ValueKind kind = kindOf(inner.column->type);
    switch (wanted) {
      case CollectionOperator::Sum:
        if (!isSummable(inner.column->type)) return false;
        select = "(" + collection.select("ifnull(sum(" + value + "), 0)") + ")";
        break;
      case CollectionOperator::Average:
        // Nulls count as zeroes.
        if (!isSummable(inner.column->type)) return false;
        select = "(" +
                 collection.select("ifnull(CAST(ifnull(sum(" + value +
                                   "), 0) AS REAL) / nullif(count(*), 0), 0.0)") +
                 ")";
        break;
      case CollectionOperator::Minimum:
      case CollectionOperator::Maximum:
        if (kind != ValueKind::Number && kind != ValueKind::Text && kind != ValueKind::Date) {
          return false;
        }
        operand.kind = kind;
        operand.canBeNull = true;
        select = "(" +
                 collection.select((wanted == CollectionOperator::Minimum ? "min(" : "max(") +
                                   value + ")") +
                 ")";
        break;
      default:
        return false;
    }
  }
  operand.sql = collection.ownerCanBeNull ? "(CASE WHEN " + collection.owner +
                                                " IS NULL THEN NULL ELSE " + select + " END)"
                                          : select;
  constexpr unsigned levels = 10, tokens = 16;
  operand.depth.include(path.depth.within(levels, tokens));
  return true;
}

}  // namespace JNFoundation::impl
