#pragma once

#include <QtCore/QVariant>
#include <unordered_map>
#include <utility>
#include <vector>

#include "RankedTree.h"

#include <JNFoundation/platform/store/NSFetchedResultsController.h>

namespace JNFoundation::inline v0_1 {

struct FetchedRowSection;

/// An object that a model shows, and the values that were shown of it.
struct FetchedRow : RankedElement<FetchedRow> {
  Ref<NSManagedObject> object;
  FetchedRowSection* section = nullptr;
  std::vector<std::pair<int, QVariant>> shown;
};

/// Weighs as much as it has rows.
struct FetchedRowSection : RankedElement<FetchedRowSection> {
  Ref<NSString> name;
  quintptr identifier = 0;
  RankedTree<FetchedRow> rows;
};

/// The rows of a model in their sections, as its views know them: between the list that a
/// controller had before a batch and the one that it has after it. Rows and sections stay where
/// they are in memory until they are removed. Takes logarithmic time everywhere but for `load` and
/// `clear`.
class FetchedRows {
 public:
  using Sections = RankedTree<FetchedRowSection>;
  using Rows = RankedTree<FetchedRow>;

  FetchedRows() = default;
  FetchedRows(const FetchedRows&) = delete;
  FetchedRows& operator=(const FetchedRows&) = delete;

  /// Takes what the controller has fetched, in place of what was here.
  void load(const NSFetchedResultsController& controller);
  void clear();

  std::size_t sectionCount() const noexcept { return _sections.size(); }
  /// Of all sections.
  std::size_t rowCount() const noexcept { return _sections.weight(); }

  // Null where there is none.
  FetchedRowSection* sectionAt(std::size_t section) const noexcept { return _sections.at(section); }
  FetchedRowSection* sectionOf(quintptr identifier) const;
  FetchedRow* rowAt(std::size_t section, std::size_t item) const noexcept;
  /// By the number that the row has among those of all sections.
  FetchedRow* rowAt(std::size_t number) const noexcept;

  static std::size_t numberOf(const FetchedRowSection& section) { return Sections::rank(section); }
  /// How many rows the sections before this one have.
  static std::size_t rowsBefore(const FetchedRowSection& section) {
    return Sections::weightBefore(section);
  }

  FetchedRowSection& insertSection(std::size_t number, const Ref<NSString>& name);
  /// With the rows that it has.
  void removeSection(FetchedRowSection& section);
  void insertRow(FetchedRowSection& section, std::size_t item, const Ref<NSManagedObject>& object);
  void removeRow(FetchedRow& row);
  /// Puts the row before the one that is `item` in the section now.
  void moveRow(FetchedRow& row, FetchedRowSection& section, std::size_t item);

 private:
  static void add(FetchedRowSection& section, std::size_t item, std::unique_ptr<FetchedRow> row);
  static std::unique_ptr<FetchedRow> take(FetchedRow& row);

  Sections _sections;
  std::unordered_map<quintptr, FetchedRowSection*> _sectionsByIdentifier;
  quintptr _lastIdentifier = 0;
};

}  // namespace JNFoundation
