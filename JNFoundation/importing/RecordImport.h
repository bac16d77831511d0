#pragma once

#include <JNFoundation/deferred/Deferred.h>
#include <JNFoundation/importing/ImportReport.h>
#include <JNFoundation/mapping/PLVDataMapFilter.h>
#include <JNFoundation/mapping/PLVDictionaryDataMap.h>
#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/value/NSData.h>

namespace JNFoundation::inline v0_1 {

/// When what was imported is written.
enum class ImportCommit {
  /// After each chunk. What is written stays, whatever comes later.
  EachChunk,
  /// Once, at the end, in one transaction. A record that is refused ends the import, and nothing is
  /// written.
  AllOrNothing,
};

/// What becomes of an import in which a record is refused.
enum class ImportRefusal {
  /// It goes on; the report has the record.
  Skip,
  /// It ends with the error; the chunks before stay written.
  Stop,
};

/// What becomes of a record whose object an earlier record of the feed stands for. Either way the
/// report has it.
enum class ImportDuplicate {
  Map,   ///< it is mapped onto the object as well, so the last one wins
  Skip,  ///< the first one stands
};

/// What becomes of objects for which the feed has no record.
enum class ImportAbsent {
  Keep,   ///< they stay
  Delete  ///< they are deleted
};

/// How far an import is; told after each chunk.
struct ImportProgress {
  NSUInteger recordsDone;  ///< of the feed
  /// Of the feed, those that are done included. NSNotFound while nobody knows: the end of a text
  /// that is read as it is imported is not seen.
  NSUInteger recordsTotal;
  /// How much of the feed is done, from 0 to 1.
  double fraction;
};

/// How an import tells objects apart, and what it does about what it meets.
struct ImportOptions {
  /// The names of the attributes by which a record finds its object. Null: those of the entity's
  /// first uniqueness constraint that has attributes only. Empty, or null without such a
  /// constraint: every record becomes a new object.
  Ref<NSArray> identity = nullptr;
  /// The same for entities that records are related to: name to array of names.
  Ref<NSDictionary> relatedIdentities = nullptr;
  /// Null: the `entityDataMap` of the entity's class; of a class without one the automatic map.
  Ref<PLVDictionaryDataMap> map = nullptr;
  /// Null: the filter of the context.
  Ref<PLVDataMapFilter> filter = nullptr;

  /// When what was imported is written.
  ImportCommit commit = ImportCommit::EachChunk;
  /// What becomes of an import in which a record is refused.
  ImportRefusal refusal = ImportRefusal::Skip;
  /// What becomes of a further record for the same object.
  ImportDuplicate duplicate = ImportDuplicate::Map;

  /// Deleting needs an identity. Nothing is deleted when a record cannot be told apart.
  ImportAbsent absent = ImportAbsent::Keep;
  /// Which objects the feed speaks of; others are never absent. Null: all objects of the entity.
  Ref<NSPredicate> scope = nullptr;

  /// How many records are looked up and written together, at least 1.
  NSUInteger chunkSize = 500;
  /// For how many seconds at a time a context of the main queue is worked in, before the main
  /// thread has a turn for other things. At least one record is done each time.
  NSTimeInterval slice = 0.008;
  /// The number of the first record to import, where an earlier import has ended; those before it
  /// only count as present.
  NSUInteger firstRecord = 0;

  /// Calls: on the main thread, after each chunk.
  Block<void(const ImportProgress&)> progress = nullptr;
};

/// Imports a list of decoded records: finds or makes the object of each, by its identity, and maps
/// the record onto it. A value that an attribute holds already is not set, so an object that a
/// record does not change has no changes, no observer hears of it, and nothing is written. What an
/// attribute holds is what is stored, past accessors of the application's own; where the rules that
/// a record meets are plain (no filter, no message), that is seen before the object is made.
///
///     importRecords(records, "Country", context, {.absent = ImportAbsent::Delete})
///         .thenResolved([](const Ref<ImportReport>& report) { NSLog("%@", report); });
///
/// Objects are looked up with one fetch a chunk, or two where some change and others do not. The
/// work is done in the context's queue: in a private one a chunk at a time, in that of the main
/// thread in slices. The context should be the import's own: what is unsaved in it while the import
/// runs is saved with a chunk, or rolled back. Other contexts learn of it by merging.
///
/// Cancelling ends the import before its next record: what has been written stays, the rest is
/// rolled back. So does any failure: an import that fails leaves nothing unsaved.
/// Takes: the list, copied; the context, until the end. Threads: any; the outcome arrives on the
/// main thread. Fails: is rejected with an error of JNImportErrorDomain, or with that of the fetch
/// or save that failed, e.g. 133020 where somebody else has changed a record meanwhile and the
/// context's merge policy does not settle it.
Deferred<Ref<ImportReport>> importRecords(const Ref<NSArray>& records,
                                          const Ref<NSString>& entityName,
                                          const Ref<NSManagedObjectContext>& context,
                                          ImportOptions options = {},
                                          CreationPlace place = CreationPlace::here());

/// The same of a feed as it comes: a JSON text that is one array of records. They are read as they
/// are imported, so that beside the text there is never more than a chunk of them in memory.
/// Takes: the text, retained. Fails: as above; text that is no JSON ends the import where it goes
/// wrong, with NSPropertyListReadCorruptError. Raises NSInvalidArgumentException for null.
Deferred<Ref<ImportReport>> importRecordsFromJSON(const Ref<NSData>& json,
                                                  const Ref<NSString>& entityName,
                                                  const Ref<NSManagedObjectContext>& context,
                                                  ImportOptions options = {},
                                                  CreationPlace place = CreationPlace::here());

}  // namespace JNFoundation
