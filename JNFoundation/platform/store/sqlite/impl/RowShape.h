#pragma once

#include <deque>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/sqlite/impl/Database.h>
#include <JNFoundation/platform/store/sqlite/impl/Schema.h>

namespace JNFoundation::inline v0_1::impl {

/// Reads a column that may hold a value of the attribute type; the place is null so far.
void readColumn(Statement& statement, int column, NSAttributeType type, Value& place);

/// The columns that a SELECT of an entity's records names, and where each entity's values stand
/// among them: `_pk`, `_version` and `_entity` come first.
class RowShape {
 public:
  /// Takes: what stands before each column's name, and the names of the only properties to read,
  /// none for all of them.
  RowShape(const Schema& schema, const NSEntityDescription& entity, bool includesSubentities,
           std::string_view prefix = {}, std::span<const Ref<NSString>> properties = {});

  /// Without values, or with all of them.
  std::string columns(bool withValues) const { return withValues ? _own + _columns : _own; }
  /// The numbers of the entities, by commas.
  const std::string& entityNumbers() const noexcept { return _numbers; }
  /// Whether the hierarchy has no other records.
  bool isWholeHierarchy() const noexcept { return _isWhole; }

  /// For each column of the entity in its order: its number in the result, or -1 if it is not read.
  const std::vector<int>& positionsOf(const Schema::EntityMap& map);

  /// Gives the rows of a statement to the receiver. Fails: returns false where a row is no record
  /// of the hierarchy, and where the statement fails, as `failed` then says.
  bool read(Statement& statement, NSPersistentStore& store, bool withValues,
            StoreRowReceiver& receiver, bool& failed);

 private:
  void add(const std::string& column);

  const Schema& _schema;
  const NSEntityDescription& _root;
  std::string _prefix;
  std::string _own;
  std::string _columns;
  std::string _numbers;
  std::vector<std::string> _names;
  /// References to its elements stay good.
  std::deque<std::pair<const Schema::EntityMap*, std::vector<int>>> _positions;
  bool _isWhole;
};

}  // namespace JNFoundation::impl
