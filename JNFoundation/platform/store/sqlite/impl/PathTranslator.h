#pragma once

#include <memory>
#include <span>
#include <string>

#include <JNFoundation/platform/query/KeyPath.h>
#include <JNFoundation/platform/store/sqlite/impl/SQLComparison.h>
#include <JNFoundation/platform/store/sqlite/impl/SelectSource.h>

namespace JNFoundation::inline v0_1::impl {

/// Where a key path leads in a statement.
struct TranslatedPath {
  /// A record, or one of the members of `collection`.
  RecordPlace place;
  /// The attribute of that record; null for the record itself.
  const Schema::Column* column = nullptr;
  /// Null for a path to one.
  std::unique_ptr<RecordCollection> collection;
  /// Whether the collection is read further: then what it leads to is what its members lead to.
  bool readsMembers = false;
  /// Whether it starts from a collection that a subquery gives.
  bool isOfSubquery = false;
  /// What is left to do from a collection operator on.
  std::span<const KeyPath::Step> rest;
  SQLDepth depth;
};

/// Whether sums of the attribute's values, however many, are exact in SQL as they are in memory.
bool isSummable(NSAttributeType type) noexcept;

/// Follows key paths through the tables of a store: what leads to one record is joined, what leads
/// to many is read by a SELECT of its own.
class PathTranslator {
 public:
  PathTranslator(const Schema& schema, const NSEntityDescription& entity)
      : _schema(schema),
        _source(schema.of(entity).table, _names),
        _root{&entity, &_source, _source.name() + "._pk", _source.name(), false, false, true} {}

  PathTranslator(const PathTranslator&) = delete;
  PathTranslator& operator=(const PathTranslator&) = delete;

  /// What is looked for, and where it is read from.
  const RecordPlace& root() const noexcept { return _root; }
  SelectSource& source() noexcept { return _source; }

  /// Goes on with the path from where it stands; an operator ends the way.
  /// Fails: returns false for what has no SQL form.
  bool follow(std::span<const KeyPath::Step> steps, TranslatedPath& path);

  /// What a path to one leads to. Fails: as `follow`.
  bool operandOf(TranslatedPath& path, SQLOperand& operand) const;
  /// What SQL calls the entity number of the record that a path to one leads to.
  /// Returns: an empty text where SQLite takes no more tables.
  std::string entityOf(TranslatedPath& path) const;
  /// What the operator at the end of a path to many gives. Fails: as `follow`.
  bool operatorOf(TranslatedPath& path, SQLOperand& operand);

 private:
  bool followOne(const NSString& key, TranslatedPath& path);
  bool toOne(const NSRelationshipDescription& relationship, const Schema::Column& column,
             RecordPlace& place);
  bool toMany(const NSRelationshipDescription& relationship, TranslatedPath& path);
  /// Makes the columns of the record readable. Fails: as `follow`.
  bool join(RecordPlace& place) const;

  const Schema& _schema;
  unsigned _names = 0;
  SelectSource _source;
  RecordPlace _root;
};

}  // namespace JNFoundation::impl
