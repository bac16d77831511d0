#pragma once

#include <JNFoundation/platform/store/sqlite/impl/ConnectionSettings.h>
#include <JNFoundation/platform/store/sqlite/impl/Database.h>
#include <JNFoundation/platform/store/sqlite/impl/Schema.h>

namespace JNFoundation::impl {

/// What a store has while it is open.
struct SQLiteConnection {
  Database database;
  ConnectionSettings settings;
  Schema schema;
  /// Whether a save's transaction is under way.
  bool saving = false;
  /// Why the file could not be opened again after a suspension.
  Ref<NSError> reopeningError;
};

}  // namespace JNFoundation::impl
