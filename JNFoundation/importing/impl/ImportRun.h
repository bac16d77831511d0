#pragma once

#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

#include <JNFoundation/deferred/Executor.h>
#include <JNFoundation/importing/RecordImport.h>
#include <JNFoundation/importing/impl/EntityImport.h>
#include <JNFoundation/importing/impl/ImportLinks.h>
#include <JNFoundation/importing/impl/RecordSource.h>
#include <JNFoundation/importing/impl/SeenIdentities.h>

namespace JNFoundation::inline v0_1::impl {

/// An import under way. The main thread sends it into the context's queue for one step after the
/// other, and looks in between at what it has done and whether it is wanted still; so the two never
/// touch it at once.
class ImportRun : public NSObject, public PLVResolutionSource {
 public:
  NSObject* protocolObject() noexcept override { return this; }

  static Ref<PLVDeferred> start(std::unique_ptr<RecordSource> records,
                                const Ref<NSString>& entityName,
                                const Ref<NSManagedObjectContext>& context, ImportOptions options,
                                CreationPlace place);

  void resolvableDidCancelWithValue(const Ref<PLVResolvable>& resolvable,
                                    const Value& value) override;

 protected:
  ImportRun(std::unique_ptr<RecordSource> records, const Ref<NSString>& entityName,
            const Ref<NSManagedObjectContext>& context, ImportOptions options);
  ~ImportRun() override;

 private:
  enum class Stage { Begin, Known, Open, Map, Relate, Commit, Absent, Delete, Finish };
  enum class Step : int { Going, ChunkDone, Done };
  // On the main thread.
  void goOn();
  void stepHasEnded(Step step);

  // In the context's queue.
  Outcome<int> work(const CancellationToken& token);
  Step advance();
  void begin();
  void noteKnownRecords();
  /// Returns: false if there are no more records.
  bool openChunk();
  /// Returns: null for an entry that is no record, and for one that cannot be told apart; the
  /// reason is in the error.
  Value identityOf(const Value& entry, Ref<NSDictionary>& record, Ref<NSError>& error);
  /// Whether the item is to be mapped, though another record has its object.
  bool addDuplicate(ImportItem& item, NSUInteger firstIndex);
  void dropSettledItems();
  void mapNextRecord();
  void relate();
  void commitChunk();
  void findPresentObjects();
  void deleteAbsentObjects();
  void save();
  ImportReport::Counts countTouchedObjects() const;
  void count(const ImportReport::Counts& counts) noexcept;
  bool refuseInvalidObjects(const Ref<NSError>& error);
  void undo(const Ref<NSManagedObject>& object);
  void refuse(NSUInteger index, const Ref<NSError>& error);
  void touch(const Ref<NSManagedObject>& object, NSUInteger index);
  void leaveContext() noexcept;
  void abandon();
  bool isAtomic() const noexcept { return _options.commit == ImportCommit::AllOrNothing; }
  NSUInteger endOfChunk(NSUInteger begin, NSUInteger end) const noexcept;

  const std::unique_ptr<RecordSource> _records;
  const Ref<NSString> _entityName;
  const Ref<NSManagedObjectContext> _context;
  const ImportOptions _options;
  Ref<PLVDeferred> _result;
  Ref<PLVDeferred> _step;
  Ref<ImportReport> _report;

  Stage _stage = Stage::Begin;
  bool _isInContext = false;
  std::unique_ptr<EntityImport> _import;
  Ref<ImportLinks> _links;
  /// Of the next chunk.
  NSUInteger _next = 0;
  SeenIdentities _seen;
  /// Whether every record so far could be told apart.
  bool _isSure = true;

  // The chunk in hand; of an import that is written at its end, everything so far.
  std::vector<ImportItem> _items;
  std::size_t _nextItem = 0;
  Ref<NSMutableDictionary> _objects;  ///< by identity
  std::vector<Ref<NSManagedObject>> _touched;
  std::size_t _counted = 0;  ///< how many of these are in the report
  /// How many records of the chunk were found to change nothing before their objects were made.
  NSUInteger _settled = 0;
  std::unordered_map<const NSObject*, NSUInteger> _recordOfObject;

  /// All objects of the entity, some of which may be absent from the feed.
  Ref<NSArray> _present;
  NSUInteger _nextPresent = 0;
};

}  // namespace JNFoundation::impl
