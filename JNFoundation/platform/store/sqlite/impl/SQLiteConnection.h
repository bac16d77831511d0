#pragma once

#include <JNFoundation/platform/store/sqlite/impl/ConnectionSettings.h>
#include <JNFoundation/platform/store/sqlite/impl/RowShape.h>

namespace JNFoundation::inline v0_1::impl {

/// What a store has while it is open.
struct SQLiteConnection {
  /// A statement that is run again and again for one number, and how to read its rows.
  struct Lookup {
    std::string sql;
    RowShape shape;
  };

  /// Finds one record of a hierarchy.
  Lookup& lookupOf(const NSEntityDescription& root);
  /// Finds the members of a record's relationship to many, in their order.
  Lookup& lookupOf(const NSRelationshipDescription& relationship);

  Database database;
  ConnectionSettings settings;
  Schema schema;
  /// What tells the model that the file is of from others.
  std::string modelMark;
  /// What the file was at when the mark was last held against it, 0 before the first time; see
  /// Database::dataVersion.
  unsigned knownDataVersion = 0;
  /// Whether a save's transaction is under way.
  bool saving = false;
  /// Why the file could not be opened again after a suspension.
  Ref<NSError> reopeningError;

 private:
  std::unordered_map<const NSPropertyDescription*, Lookup> _lookupOfRelationship;
  std::unordered_map<const NSEntityDescription*, Lookup> _lookupOfRoot;
};

}  // namespace JNFoundation::impl
