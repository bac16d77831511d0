#pragma once

#include <JNFoundation/platform/value/Types.h>

namespace JNFoundation::inline v0_1 {

/// Codes of errors in NSCocoaErrorDomain that models, contexts and stores give.
enum NSCoreDataErrorCode : NSInteger {
  /// A file of a model cannot be read.
  NSFileReadUnknownError = 256,
  /// A file of a model is not what it should be.
  NSFileReadCorruptFileError = 259,
  /// There is no such file.
  NSFileReadNoSuchFileError = 260,
  /// A file cannot be written.
  NSFileWriteUnknownError = 512,
  /// There is a file already that is not to be replaced.
  NSFileWriteFileExistsError = 516,
  /// What a validation refuses without a code of its own.
  NSManagedObjectValidationError = 1550,
  /// Given by nothing here; see NSManagedObjectConstraintMergeError.
  NSManagedObjectConstraintValidationError = 1551,
  /// Several failures at once, under NSDetailedErrorsKey.
  NSValidationMultipleErrorsError = 1560,
  /// A property that is not optional has no value.
  NSValidationMissingMandatoryPropertyError = 1570,
  /// A relationship leads to too few objects.
  NSValidationRelationshipLacksMinimumCountError = 1580,
  /// A relationship leads to too many objects.
  NSValidationRelationshipExceedsMaximumCountError = 1590,
  /// A delete rule denies while objects are left at the other end.
  NSValidationRelationshipDeniedDeleteError = 1600,
  /// A number is above its maximum or its type's range.
  NSValidationNumberTooLargeError = 1610,
  /// A number is below its minimum or its type's range.
  NSValidationNumberTooSmallError = 1620,
  /// A date is after its maximum.
  NSValidationDateTooLateError = 1630,
  /// A date is before its minimum.
  NSValidationDateTooSoonError = 1640,
  /// A date is not-a-number.
  NSValidationInvalidDateError = 1650,
  /// A text is longer, or data larger, than its maximum.
  NSValidationStringTooLongError = 1660,
  /// A text is shorter, or data smaller, than its minimum.
  NSValidationStringTooShortError = 1670,
  /// A text does not fit its pattern.
  NSValidationStringPatternMatchingError = 1680,
  /// A record leads to one that is gone.
  NSManagedObjectReferentialIntegrityError = 133000,
  /// A relationship leads to an object of another store.
  NSManagedObjectExternalRelationshipError = 133010,
  /// Somebody else has changed the record meanwhile.
  NSManagedObjectMergeError = 133020,
  /// A value that must be unique is there already.
  NSManagedObjectConstraintMergeError = 133021,
  /// There is no store of that type.
  NSPersistentStoreInvalidTypeError = 134000,
  /// The file is of another release's format, or somebody has made its tables anew.
  NSPersistentStoreIncompatibleSchemaError = 134020,
  /// The file could not be written.
  NSPersistentStoreSaveError = 134030,
  /// What has no code of its own, a model that is not whole for one.
  NSCoreDataError = 134060,
  /// The store cannot do this, or not now.
  NSPersistentStoreOperationError = 134070,
  /// The file could not be opened.
  NSPersistentStoreOpenError = 134080,
  /// Another process had the file for too long.
  NSPersistentStoreTimeoutError = 134090,
  /// The file is of another model.
  NSPersistentStoreIncompatibleVersionHashError = 134100,
  /// A migration failed at the file.
  NSMigrationError = 134110,
  /// Values that are to be unique in the new model are not.
  NSMigrationConstraintViolationError = 134111,
  /// A migration was cancelled.
  NSMigrationCancelledError = 134120,
  /// The file's own model is not in it any more, or is not that of its tables.
  NSMigrationMissingSourceModelError = 134130,
  /// No step leads from the file's model to the coordinator's.
  NSMigrationMissingMappingModelError = 134140,
  /// A block of a migration said no or raised.
  NSEntityMigrationPolicyError = 134170,
  /// The file could not be read.
  NSSQLiteError = 134180,
  /// What is to become of a property cannot be inferred.
  NSInferredMappingModelError = 134190,
};

/// The domain of errors whose codes are SQLite's result codes.
inline constexpr const char* NSSQLiteErrorDomain = "NSSQLiteErrorDomain";

/// In the details of an error that stands for several: the NSErrors, an NSArray.
inline constexpr const char* NSDetailedErrorsKey = "NSDetailedErrors";
/// In the details of a validation error: the object.
inline constexpr const char* NSValidationObjectErrorKey = "NSValidationErrorObject";
/// In the details of a validation error: the name of the property.
inline constexpr const char* NSValidationKeyErrorKey = "NSValidationErrorKey";
/// In the details of a validation error: the value that was refused.
inline constexpr const char* NSValidationValueErrorKey = "NSValidationErrorValue";
/// In the details of a validation error: what would have to be true of the value, an NSPredicate;
/// not there for every rule.
inline constexpr const char* NSValidationPredicateErrorKey = "NSValidationErrorPredicate";
/// In the details of an error of a save: the objects that it is about, an NSArray.
inline constexpr const char* NSAffectedObjectsErrorKey = "NSAffectedObjectsErrorKey";
/// In the details of an error of a save: the NSMergeConflicts or NSConstraintConflicts that it has
/// met.
inline constexpr const char* NSPersistentStoreSaveConflictsErrorKey = "conflictList";

}  // namespace JNFoundation
