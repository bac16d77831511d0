#pragma once

#include <JNFoundation/fetched/ListChanges.h>
#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation::inline v0_1::impl {

/// Where the items of a list are before and after a batch of changes.
///
/// What is told of is looked up; what is not keeps its order, so that its rank among its like is
/// the same before and after, and each place follows from the rank by the told places below it.
class ListMapping {
 public:
  /// Something told of at one end of the batch.
  struct Told {
    ListPlace place;
    /// At the other end, for a move.
    ListPlace other;
    bool moves;

    friend bool operator==(const Told& left, const Told& right) noexcept {
      return left.place == right.place && left.moves == right.moves && left.other == right.other;
    }
    friend bool operator<(const Told& left, const Told& right) noexcept {
      if (left.place != right.place) return left.place < right.place;
      return left.moves != right.moves ? right.moves : left.other < right.other;
    }
  };

  /// Sections, told items and the ways between them at one end of the batch, ascending.
  struct End {
    std::vector<NSUInteger> sections;
    std::vector<Told> items;

    /// Null for an item that is not told of.
    const Told* find(const ListPlace& place) const noexcept;
    bool hasSection(NSUInteger section) const noexcept;
    /// The told items of a section, as positions in `items`.
    std::pair<std::size_t, std::size_t> itemsOf(NSUInteger section) const noexcept;
    /// How many items that are not told of stand before the place, in its section.
    NSUInteger rankAt(const ListPlace& place) const noexcept;
    /// The place of the item of that rank among those not told of.
    ListPlace placeOfRank(NSUInteger section, NSUInteger rank) const noexcept;
    NSUInteger sectionRankAt(NSUInteger section) const noexcept;
    NSUInteger sectionOfRank(NSUInteger rank) const noexcept;
  };

  /// Fails: raises NSInvalidArgumentException where entries do not fit together.
  explicit ListMapping(const ListChanges& changes);
  /// What does not fit together. Returns: null where everything does.
  static Ref<NSString> faultOf(const ListChanges& changes);

  const End& before() const noexcept { return _before; }
  const End& after() const noexcept { return _after; }
  /// The updates of items that are neither deleted nor moved, ascending; their sections may go.
  const std::vector<ListPlace>& updated() const noexcept { return _updated; }

  /// Requires: the section stays.
  NSUInteger sectionAfter(NSUInteger before) const noexcept {
    return _after.sectionOfRank(_before.sectionRankAt(before));
  }
  NSUInteger sectionBefore(NSUInteger after) const noexcept {
    return _before.sectionOfRank(_after.sectionRankAt(after));
  }
  /// Where an item is afterwards, told of or not. Returns: false if it is gone.
  bool follow(const ListPlace& before, ListPlace* after) const noexcept {
    return follow(_before, _after, before, after);
  }
  /// Where it was before. Returns: false if it is new.
  bool followBack(const ListPlace& after, ListPlace* before) const noexcept {
    return follow(_after, _before, after, before);
  }

  /// Makes updates of all moves that change no order: as many as can be, beside each other and
  /// what is not told of.
  void settleMoves();

  ListChanges changes() const;

 private:
  ListMapping() = default;
  Ref<NSString> read(const ListChanges& changes);
  static bool follow(const End& from, const End& to, const ListPlace& place,
                     ListPlace* other) noexcept;

  End _before;
  End _after;
  std::vector<ListPlace> _updated;
};

}  // namespace JNFoundation::impl
