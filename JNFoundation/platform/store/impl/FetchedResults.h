#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <JNFoundation/platform/store/impl/FetchedArray.h>
#include <JNFoundation/platform/store/impl/ResultOrder.h>

namespace JNFoundation::inline v0_1::impl {

/// The list of a fetched-results controller: objects in the order of a request, in sections, and
/// what becomes of it when objects change.
///
/// While the order keeps every section together, a change is done to the objects that it is about.
/// Once it does not, the list is its objects in order, grouped into sections in the order of their
/// first objects, and is made anew with each change until sections stand together again.
class FetchedResults {
 public:
  struct Path {
    std::size_t section;
    std::size_t item;
    friend bool operator==(const Path&, const Path&) = default;
  };
  /// An object that may have changed.
  struct Candidate {
    Ref<NSManagedObject> object;
    /// Whether it is a result now.
    bool belongs;
    /// Whether it is an update if it stays where it is.
    bool isUpdate;
  };
  struct ObjectChange {
    Ref<NSManagedObject> object;
    NSFetchedResultsChangeType type;
    /// In the list before, and in the one after; nothing where it is not in it.
    std::optional<Path> from;
    std::optional<Path> to;
  };
  struct SectionChange {
    Ref<FetchedSection> section;
    NSFetchedResultsChangeType type;
    std::size_t index;
  };
  /// In the order in which they are told.
  struct Changes {
    std::vector<SectionChange> sections;
    std::vector<ObjectChange> objects;
  };
  /// Where sections do not stand together.
  struct OutOfOrder {
    std::size_t index;
    Ref<NSString> name;
  };
  /// A section's name and how many objects it has.
  using SectionLengths = std::vector<std::pair<Ref<NSString>, std::size_t>>;

  FetchedResults(ResultOrder order, Weak<NSFetchedResultsController> controller);
  FetchedResults(const FetchedResults&) = delete;
  FetchedResults& operator=(const FetchedResults&) = delete;

  const ResultOrder& order() const noexcept { return _order; }
  std::size_t count() const noexcept { return _objects.count(); }

  /// Fills the empty list with the objects in their order. Takes: what the sections are, if that is
  /// known; it is emptied where it cannot be true. Returns: the first object whose section comes a
  /// second time; the list is of no use then.
  std::optional<OutOfOrder> fill(const Ref<NSArray>& objects, std::optional<SectionLengths>& known);
  /// Requires: a list with sections.
  SectionLengths sectionLengths() const;

  bool contains(const NSManagedObject& object) const { return _objects.contains(object); }
  std::optional<Path> pathOf(const NSManagedObject& object) const;
  /// Whether an object of the list stands in order between its neighbours.
  bool isInPlace(const NSManagedObject& object) const;
  /// How many sections there are, and how many objects in one of them.
  std::size_t sectionCount() const noexcept;
  std::size_t countOfSection(std::size_t section) const;
  const NSObject& objectAt(const Path& path) const;

  Ref<NSArray> objects() const;
  Ref<NSArray> sections() const;
  /// A section with the objects that it has now, if it still is there.
  Ref<FetchedSectionInfo> infoOf(const Ref<FetchedSection>& section) const;
  /// The index titles of the sections, each once, and the first section of each.
  struct Titles {
    Ref<NSArray> titles;
    std::vector<std::size_t> sections;
  };
  const Titles& titles() const;
  void forgetTitles() const;

  /// Has the next change put the whole list in order: objects have changed places that are not
  /// among its candidates.
  void setOutOfOrder() noexcept { _isOutOfOrder = true; }
  /// Makes the list true again. Requires: no object twice.
  Changes apply(const std::vector<Candidate>& candidates);

 private:
  struct Entry;
  struct Batch;
  /// The list before a batch, with the section of each object.
  struct Placed {
    const NSObject* object;
    const FetchedSection* section;
  };

  Path pathAt(std::size_t index) const;
  OrderedVersion::Place sectionPlaceAt(std::size_t index) const;
  Path pathNow(const NSManagedObject& object) const;

  void sortOut(const std::vector<Candidate>& candidates, Batch& batch) const;
  void findMoves(Batch& batch) const;
  void findMovesOfRun(std::span<Entry> run) const;
  void takeOut(Entry& entry, std::size_t index, Batch& batch);
  bool putIn(Entry& entry, Batch& batch);
  void addSection(std::size_t index, const Ref<FetchedSection>& section, std::size_t weight);
  Changes changesOf(Batch& batch) const;

  std::vector<Placed> placed() const;
  std::vector<Placed> placedBefore(const Batch& batch) const;
  Changes regroup(Batch& batch, const std::vector<Placed>& before);
  Changes difference(const Batch& batch, const std::vector<Placed>& before,
                     const std::vector<Placed>& after) const;

  ResultOrder _order;
  Weak<NSFetchedResultsController> _controller;
  OrderedObjects _objects;
  /// FetchedSection objects that weigh what they hold; none for a list without sections.
  OrderedObjects _sections;
  std::unordered_map<std::string_view, FetchedSection*> _sectionsByName;
  /// The only section of a list without sections.
  Ref<FetchedSection> _wholeSection;
  /// Whether the order tears a section apart.
  bool _isTorn = false;
  bool _isOutOfOrder = false;
  mutable Ref<NSArray> _objectArray;
  mutable Ref<NSArray> _sectionArray;
  mutable Titles _titles;
};

/// What is said where a section comes a second time.
Ref<NSString> reasonOf(const FetchedResults::OutOfOrder& torn);
void logOutOfOrder(const FetchedResults::OutOfOrder& torn);

}  // namespace JNFoundation::impl
