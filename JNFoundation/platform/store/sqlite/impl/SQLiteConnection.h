#pragma once

#include <JNFoundation/platform/store/sqlite/impl/Database.h>
#include <JNFoundation/platform/store/sqlite/impl/Schema.h>

namespace JNFoundation::impl {

/// What a store has while it is open.
struct SQLiteConnection {
  Database database;
  Schema schema;
  /// Whether a save's transaction is under way.
  bool saving = false;
};

}  // namespace JNFoundation::impl
