#pragma once

#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "FetchedRows.h"
#include "ResultsFollower.h"
#include "ToldBatch.h"

#include <JNFoundation/adapters/FetchedResultsModel.h>
#include <JNFoundation/platform/value/NSObject.h>

namespace JNFoundation::inline v0_1 {

/// Keeps the rows of a model, and takes them from one list of the controller to the next in steps
/// that Qt understands.
///
/// Every signal may end the model, or have it show something else: after each, `goesOn` is asked
/// before anything of the model is touched.
class FetchedResultsModel::Feed : public std::enable_shared_from_this<Feed> {
 public:
  Feed(FetchedResultsModel& model, Sections sections) : _model(&model), _sections(sections) {}
  ~Feed();
  Feed(const Feed&) = delete;
  Feed& operator=(const Feed&) = delete;

  /// The model is being destroyed.
  void part();

  const Ref<NSFetchedResultsController>& controller() const noexcept { return _controller; }
  void setController(const Ref<NSFetchedResultsController>& controller);
  const FetchedRows& rows() const noexcept { return _rows; }
  bool isTree() const noexcept { return _sections == Sections::asParents; }

  void reload() { want(Wanted::reload); }
  /// The batch is over.
  void apply(ToldBatch batch);

  void setAttributes(std::vector<Ref<NSString>> keyPaths);
  void setDisplay(const Ref<NSString>& keyPath);
  const std::vector<Ref<NSString>>& attributes() const;
  /// Returns: null for a role that shows no key path.
  Ref<NSString> keyPathOf(int role) const;
  /// The value that views know, or now get to know.
  QVariant show(FetchedRow& row, int role);
  FetchedRow* rowAt(const QModelIndex& index) const;
  QModelIndex indexOf(const FetchedRow& row) const;
  QModelIndex indexOf(const FetchedRowSection& section) const;

 private:
  /// Marks the time in which views are told something, so that nothing else is told within.
  class Telling {
   public:
    explicit Telling(Feed& feed) : _feed(feed) { _feed._isTelling = true; }
    ~Telling() { _feed._isTelling = false; }
    Telling(const Telling&) = delete;
    Telling& operator=(const Telling&) = delete;

   private:
    Feed& _feed;
  };

  /// What is done, in place of the rest of the steps, when the running one is over.
  enum class Wanted { nothing, reload, clear };

  /// A place among the rows below one parent of Qt's: a section, or the whole list.
  struct Place {
    std::size_t parent;
    std::size_t row;
    FetchedRow* element;
  };

  void want(Wanted wanted);
  void settle();
  bool goesOn() const noexcept { return _model && _wanted == Wanted::nothing; }
  /// What was told does not fit. Returns: false.
  bool mistrust();
  void attach();
  void detach();

  // The steps, in the order in which they are made. They return whether to go on.
  bool tellUpdated(const ToldBatch& batch);
  bool removeRows(const ToldBatch& batch);
  bool insertSections(const ToldBatch& batch);
  bool moveRows(const ToldBatch& batch);
  bool removeSections(const std::vector<FetchedRowSection*>& sections);
  bool insertRows(const ToldBatch& batch);
  bool tellSectionNumbers(const ToldBatch& batch);

  bool moveOneByOne(const ToldBatch& batch, const std::vector<std::size_t>& places);
  bool moveAtOnce(const ToldBatch& batch, const std::vector<std::size_t>& places);
  bool moveRow(FetchedRow& row, FetchedRowSection& section, std::size_t item);
  /// Has the values of the rows asked for anew.
  bool tellChanged(const std::vector<FetchedRow*>& rows);

  QAbstractItemModel& items() const noexcept { return _model->itemModel(); }
  Place placeOf(FetchedRow& row) const;
  std::vector<Place> placesOf(const std::vector<FetchedRow*>& rows) const;
  /// The parent of a section's rows.
  QModelIndex parentOf(const FetchedRowSection& section) const;
  /// The number, below that parent, that the item of a section has.
  int numberOf(const FetchedRowSection& section, std::size_t item) const;

  FetchedResultsModel* _model;
  const Sections _sections;
  Ref<NSFetchedResultsController> _controller;
  Ref<ResultsFollower> _delegate;
  Ref<NSObject> _resets;  ///< observes those of the context
  FetchedRows _rows;
  Wanted _wanted = Wanted::nothing;
  bool _isTelling = false;

  bool _showsAllAttributes = true;
  mutable std::vector<Ref<NSString>> _attributes;
  mutable bool _knowsAttributes = false;
  Ref<NSString> _display;
  std::set<int> _complained;  ///< roles whose key path is unknown
};

}  // namespace JNFoundation
