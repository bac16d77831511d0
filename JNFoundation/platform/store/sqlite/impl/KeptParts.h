#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include <JNFoundation/platform/store/NSEntityDescription.h>
#include <JNFoundation/platform/store/NSRelationshipDescription.h>

namespace JNFoundation::inline v0_1::impl {

/// What a store goes on having when its tables are made for another model: numbers of entities,
/// names, whole tables. Nothing for a new store. Names are as they are, not quoted.
struct KeptParts {
  struct Column {
    std::string name;
    /// Empty for what there is none of, as all of these.
    std::string entity;
    std::string position;
  };
  struct Pairs {
    std::string table;
    std::string near;
    std::string far;
    std::string position;
  };

  /// Of entities. The greatest that is, or ever was, in use.
  std::unordered_map<const NSEntityDescription*, std::int64_t> numbers;
  std::int64_t lastNumber = 0;
  /// By a hierarchy's root: where its next record's number stands.
  std::unordered_map<const NSEntityDescription*, std::int64_t> nextKeys;
  /// By a hierarchy's root: the name that its table goes on having.
  std::unordered_map<const NSEntityDescription*, std::string> tableNames;
  /// The roots whose tables stay as they are, but for columns that are added.
  std::unordered_set<const NSEntityDescription*> tables;
  /// All columns of those tables.
  std::unordered_map<const NSPropertyDescription*, Column> columns;
  /// Tables of pairs that stay, from either end.
  std::unordered_map<const NSRelationshipDescription*, Pairs> pairs;
};

}  // namespace JNFoundation::impl
