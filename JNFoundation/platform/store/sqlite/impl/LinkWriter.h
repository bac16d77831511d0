#pragma once

#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/sqlite/impl/Database.h>
#include <JNFoundation/platform/store/sqlite/impl/Schema.h>

namespace JNFoundation::inline v0_1::impl {

/// Writes what relationships to many lead to, and in which order.
/// Every operation fails by returning false; the database knows why.
class LinkWriter {
 public:
  LinkWriter(Database& database, const Schema& schema) : _database(database), _schema(schema) {}

  bool write(std::span<const StoreLinkChange> changes);

 private:
  bool remove(const Schema::Link& link, const StoreLinkChange& change);
  bool add(const Schema::Link& link, const StoreLinkChange& change);
  bool putInOrder(const Schema::Link& link, const StoreLinkChange& change);
  bool setPosition(const Schema::Link& link, std::int64_t near, std::int64_t far,
                   std::int64_t position, bool onlyIfNone = false);

  Database& _database;
  const Schema& _schema;
};

}  // namespace JNFoundation::impl
