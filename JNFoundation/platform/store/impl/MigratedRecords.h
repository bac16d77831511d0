#pragma once

#include <cstdint>
#include <vector>

#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1 {

class NSEntityDescription;
class NSMigrationRecord;

namespace impl {

/// Where the records of a migration come from: the store as it was, or as it will be.
class MigratedRecords {
 public:
  virtual ~MigratedRecords() = default;

  /// Whether these are the records as they will be.
  virtual bool isNew() const noexcept = 0;
  /// What a relationship leads to: an NSMigrationRecord or null, or an NSArray of them.
  virtual Value related(const NSEntityDescription& entity, std::int64_t number,
                        std::size_t slot) = 0;
  /// Sets it, at both ends. Takes: the same.
  virtual void relate(const NSEntityDescription& entity, std::int64_t number, std::size_t slot,
                      const Value& value) = 0;

 protected:
  static const NSEntityDescription& entityOf(const NSMigrationRecord& record) noexcept;
  static const std::vector<Value>& valuesOf(const NSMigrationRecord& record) noexcept;
  static const std::vector<bool>& changesOf(const NSMigrationRecord& record) noexcept;
};

}  // namespace impl
}  // namespace JNFoundation
