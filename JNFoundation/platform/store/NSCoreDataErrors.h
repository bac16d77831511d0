#pragma once

#include <JNFoundation/platform/value/Types.h>

namespace JNFoundation::inline v0_1 {

/// Codes of errors in NSCocoaErrorDomain that models, contexts and stores give.
enum NSCoreDataErrorCode : NSInteger {
  NSFileReadUnknownError = 256,
  NSFileReadCorruptFileError = 259,
  NSFileReadNoSuchFileError = 260,
  NSFileWriteUnknownError = 512,
  NSFileWriteFileExistsError = 516,
  NSManagedObjectValidationError = 1550,
  NSManagedObjectConstraintValidationError = 1551,
  NSValidationMultipleErrorsError = 1560,
  NSValidationMissingMandatoryPropertyError = 1570,
  NSValidationRelationshipLacksMinimumCountError = 1580,
  NSValidationRelationshipExceedsMaximumCountError = 1590,
  NSValidationRelationshipDeniedDeleteError = 1600,
  NSValidationNumberTooLargeError = 1610,
  NSValidationNumberTooSmallError = 1620,
  NSValidationDateTooLateError = 1630,
  NSValidationDateTooSoonError = 1640,
  NSValidationInvalidDateError = 1650,
  NSValidationStringTooLongError = 1660,
  NSValidationStringTooShortError = 1670,
  NSValidationStringPatternMatchingError = 1680,
  NSManagedObjectReferentialIntegrityError = 133000,
  NSManagedObjectExternalRelationshipError = 133010,
  NSManagedObjectMergeError = 133020,
  NSManagedObjectConstraintMergeError = 133021,
  NSPersistentStoreInvalidTypeError = 134000,
  NSPersistentStoreIncompatibleSchemaError = 134020,
  NSPersistentStoreSaveError = 134030,
  NSCoreDataError = 134060,
  NSPersistentStoreOperationError = 134070,
  NSPersistentStoreOpenError = 134080,
  NSPersistentStoreTimeoutError = 134090,
  NSPersistentStoreIncompatibleVersionHashError = 134100,
  NSMigrationError = 134110,
  NSMigrationConstraintViolationError = 134111,
  NSMigrationCancelledError = 134120,
  NSMigrationMissingSourceModelError = 134130,
  NSMigrationMissingMappingModelError = 134140,
  NSEntityMigrationPolicyError = 134170,
  NSSQLiteError = 134180,
  NSInferredMappingModelError = 134190,
};

/// The domain of errors whose codes are SQLite's result codes.
inline constexpr const char* NSSQLiteErrorDomain = "NSSQLiteErrorDomain";

// Keys of an error's user info.
inline constexpr const char* NSDetailedErrorsKey = "NSDetailedErrors";
inline constexpr const char* NSValidationObjectErrorKey = "NSValidationErrorObject";
inline constexpr const char* NSValidationKeyErrorKey = "NSValidationErrorKey";
inline constexpr const char* NSValidationValueErrorKey = "NSValidationErrorValue";
inline constexpr const char* NSValidationPredicateErrorKey = "NSValidationErrorPredicate";
inline constexpr const char* NSAffectedObjectsErrorKey = "NSAffectedObjectsErrorKey";
/// The NSMergeConflicts or NSConstraintConflicts that a save has met.
inline constexpr const char* NSPersistentStoreSaveConflictsErrorKey = "conflictList";

}  // namespace JNFoundation
