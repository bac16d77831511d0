#pragma once

#include <cstdint>

#include <JNFoundation/platform/value/Types.h>

/// Every class and enumeration of the library, declared and not defined, for headers that name them
/// only in declarations: as references and pointers, in parameters and in results. What makes,
/// copies or calls one includes its own header. `scripts/check_forward.py --fix` writes this one.
///
///     Ref<NSArray> titlesOfBooks(const Ref<NSManagedObjectContext>& shelf);
namespace JNFoundation::inline v0_1 {

// platform/text
struct CivilTime;
enum class Fold : unsigned;
class LikePattern;
class RegularExpression;

// platform/value
template <class Signature>
class Block;
class Class;
template <class T>
class ClassDeclaration;
class FormatArgument;
class Method;
class NSArray;
class NSData;
enum NSDataBase64DecodingOptions : NSUInteger;
class NSDate;
struct NSDecimal;
class NSDecimalNumber;
class NSDictionary;
class NSError;
class NSException;
class NSIndexPath;
class NSIndexSet;
class NSMutableArray;
class NSMutableData;
class NSMutableDictionary;
class NSMutableIndexSet;
class NSMutableOrderedSet;
class NSMutableSet;
class NSNull;
class NSNumber;
class NSObject;
class NSObjectProtocol;
class NSOrderedSet;
enum NSRoundingMode : NSUInteger;
class NSSet;
class NSString;
class NSUUID;
class NSValueTransformer;
template <class Entry>
class OrderedHashTable;
class Raised;
class RecurringTexts;
template <class T>
class Ref;
class SEL;
enum class SharedMemoryUse : std::uint8_t;
template <class Self, class Base, class... Protocols>
class Subclass;
class Value;
template <class T>
class Weak;
class WeakObject;
enum objc_AssociationPolicy : unsigned;

// platform/dispatch
class Clock;
class ClockScope;
class LogSinkScope;
class LoopHost;
class MainQueue;
class MainQueueHost;
class MainQueueScope;
class ManualClock;
class NSNotification;
class NSNotificationCenter;
class NSRunLoop;
class NSTimer;
class RandomSourceScope;

// platform/query
enum class CollectionOperator : std::uint8_t;
class KeyPath;
class NSComparisonPredicate;
enum NSComparisonPredicateModifier : NSUInteger;
enum NSComparisonPredicateOptions : NSUInteger;
class NSCompoundPredicate;
enum NSCompoundPredicateType : NSUInteger;
class NSExpression;
enum NSExpressionType : NSUInteger;
class NSPredicate;
enum NSPredicateOperatorType : NSUInteger;
class NSSortDescriptor;
class TextComparison;

// platform/json
class JNJSONTransformer;
class JSONElements;
enum NSJSONReadingOptions : NSUInteger;
class NSJSONSerialization;
enum NSJSONWritingOptions : NSUInteger;

// platform/net
class NSMutableURLRequest;
class NSURL;
enum NSURLErrorCode : NSInteger;
class NSURLRequest;
enum NSURLRequestCachePolicy : NSUInteger;

// platform/store
class MemoryStore;
class NSAttributeDescription;
enum NSAttributeType : NSUInteger;
class NSBatchDeleteRequest;
enum NSBatchDeleteRequestResultType : NSUInteger;
class NSBatchDeleteResult;
class NSBatchInsertRequest;
enum NSBatchInsertRequestResultType : NSUInteger;
class NSBatchInsertResult;
class NSBatchUpdateRequest;
enum NSBatchUpdateRequestResultType : NSUInteger;
class NSBatchUpdateResult;
class NSConstraintConflict;
enum NSCoreDataErrorCode : NSInteger;
enum NSDeleteRule : NSUInteger;
class NSDerivedAttributeDescription;
class NSEntityDescription;
class NSEntityMapping;
enum NSEntityMappingType : NSUInteger;
class NSExpressionDescription;
class NSFetchIndexDescription;
class NSFetchIndexElementDescription;
enum NSFetchIndexElementType : NSUInteger;
class NSFetchRequest;
enum NSFetchRequestResultType : NSUInteger;
class NSFetchedPropertyDescription;
enum NSFetchedResultsChangeType : NSUInteger;
class NSFetchedResultsController;
class NSFetchedResultsControllerDelegate;
class NSFetchedResultsSectionInfo;
class NSManagedObject;
class NSManagedObjectContext;
enum NSManagedObjectContextConcurrencyType : NSUInteger;
class NSManagedObjectID;
class NSManagedObjectModel;
class NSMappingModel;
class NSMergeConflict;
class NSMergePolicy;
enum NSMergePolicyType : NSUInteger;
class NSMigrationPlan;
class NSMigrationRecord;
class NSMigrationStep;
class NSPersistentStore;
enum NSPersistentStoreBackupOptions : NSUInteger;
class NSPersistentStoreCoordinator;
class NSPersistentStoreRequest;
enum NSPersistentStoreRequestType : NSUInteger;
class NSPersistentStoreResult;
struct NSPersistentStoreSize;
class NSPropertyDescription;
class NSPropertyMapping;
class NSRelationshipDescription;
class SQLiteStore;
class StatementObserverScope;
enum class StatementPlans : std::uint8_t;
struct StatementTrace;
enum class StoreAnswer : std::uint8_t;
struct StoreColumn;
struct StoreColumnQuery;
struct StoreLinkChange;
struct StoreQuery;
struct StoreQueryPlan;
class StoreRelatedReceiver;
struct StoreRowChange;
class StoreRowReceiver;
class ValueArray;

// util
class PLVTargetAction;
class PLVTimerFiredBlockWrapper;
class PLVTimerFiredUserInfoBlockWrapper;

// deferred
class CancellationToken;
class Cancelled;
struct CreationPlace;
template <class T>
class Deferred;
class DeferredTrace;
enum JNDeferredErrorCode : NSInteger;
class JNTimeout;
template <class T>
class Outcome;
class PLVDeferred;
class PLVDeferredEnumeration;
class PLVDeferredStep;
template <class Rx>
class PLVDeferredUtil;
class PLVPromise;
class PLVRejected;
class PLVRejectedHandler;
class PLVRejectedIgnored;
class PLVResolutionSource;
class PLVResolvable;
template <class T>
class Promise;
class Rejected;
struct RetryOptions;
struct UnhandledRejection;
enum class Unneeded;
template <class T>
struct ValueConversion;

// mapping
class DatePattern;
struct MapInspection;
class MappingEvent;
enum class MappingWrites;
class PLVDataError;
class PLVDataMapFilter;
class PLVDictionaryDataMap;
class PLVManagedObject;
class PLVScalarDataMap;
struct RecordEntry;
class RecordExport;

// fetched
struct EditStep;
template <class Rx>
class FetchedObservables;
struct ListChanges;
struct ListMove;
struct ListPlace;
struct ListRun;
class Observation;
class PLVFetchedResultsChanges;
class PLVFetchedResultsItemMove;
class PLVRandomFetchedResultsController;
class PLVRandomFetchedResultsSample;
class PLVRefreshProviderBlock;
class RefreshState;
struct RefreshStatus;
class ResultsEvent;
class ResultsStream;
class StickySampleController;

// importing
class ContextExecutor;
enum class ImportAbsent;
enum class ImportCommit;
enum class ImportDuplicate;
struct ImportOptions;
struct ImportProgress;
enum class ImportRefusal;
class ImportReport;
enum JNImportErrorCode : NSInteger;

}  // namespace JNFoundation
