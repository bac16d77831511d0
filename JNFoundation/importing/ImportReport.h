#pragma once

#include <vector>

#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSError.h>

namespace JNFoundation::inline v0_1 {

namespace impl {
class ImportRun;
}

/// The domain of an import's own errors. Each has a localizedDescription.
inline constexpr const char* JNImportErrorDomain = "JNImportErrorDomain";
/// The codes of an import's own errors.
enum JNImportErrorCode : NSInteger {
  /// The context has unsaved changes that are not the import's, or another import runs in it.
  JNImportErrorContextInUse = 1,
  /// The model has no such entity, or the entity cannot have objects, or lacks an attribute that
  /// was named as identity.
  JNImportErrorBadEntity = 2,
  /// An entry of the list is no dictionary.
  JNImportErrorNotARecord = 3,
  /// A record has no value for an attribute of the identity.
  JNImportErrorNoIdentity = 4,
  /// A filter, a message or an accessor raised; the exception's reason is in the description.
  JNImportErrorRaised = 5,
  /// There is no object that a value for a relationship stands for.
  JNImportErrorNoRelatedObject = 6,
};

// Keys of the user info of the error that ends an import because of one record: the number of the
// record in the list, and the ImportReport up to there.
inline constexpr const char* JNImportRecordIndexErrorKey = "JNImportRecordIndex";
inline constexpr const char* JNImportReportErrorKey = "JNImportReport";

/// What an import did, to the last record. Threads: any; a report that was handed out never
/// changes.
class ImportReport : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// A record that is not in the store, or not as a whole, and why.
  struct Refusal {
    /// Its place in the list; NSNotFound for an object that could not be deleted.
    NSUInteger index;
    /// Of JNImportErrorDomain, or the error that the object failed its validation with.
    Ref<NSError> error;
  };
  /// A record whose object an earlier one of the feed stands for as well.
  struct Duplicate {
    /// The place of the record in the list.
    NSUInteger index;
    /// The place of the first record for the same object.
    NSUInteger firstIndex;
  };

  // Objects of the entity, each counted once a chunk.
  NSUInteger inserted() const noexcept { return _counts.inserted; }
  NSUInteger updated() const noexcept { return _counts.updated; }
  /// Objects that hold what their records say already; the import wrote nothing for them.
  NSUInteger unchanged() const noexcept { return _counts.unchanged; }
  /// Objects that were absent from the feed.
  NSUInteger deleted() const noexcept { return _counts.deleted; }
  /// Objects that were made for records within records.
  NSUInteger insertedRelated() const noexcept { return _counts.insertedRelated; }

  /// As the import met them.
  const std::vector<Refusal>& refusals() const noexcept { return _refusals; }
  /// As the import met them.
  const std::vector<Duplicate>& duplicates() const noexcept { return _duplicates; }
  /// Whether objects absent from the feed were kept although they were to be deleted, because a
  /// record could not be told apart and may stand for any of them.
  bool keptAbsentObjects() const noexcept { return _keptAbsentObjects; }

  /// The counts in one line, e.g. "3 inserted, 2 updated, 10 unchanged, 1 refused".
  Ref<NSString> description() const override;

 protected:
  ImportReport() = default;

 private:
  friend class impl::ImportRun;

  struct Counts {
    NSUInteger inserted = 0;
    NSUInteger updated = 0;
    NSUInteger unchanged = 0;
    NSUInteger deleted = 0;
    NSUInteger insertedRelated = 0;
  };

  Counts _counts;
  std::vector<Refusal> _refusals;
  std::vector<Duplicate> _duplicates;
  bool _keptAbsentObjects = false;
};

}  // namespace JNFoundation
