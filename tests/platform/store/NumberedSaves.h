#pragma once

#include <cstdint>
#include <map>
#include <string>

#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>

namespace JNFoundation::testing {

/// Saves that follow from a seed and their number, so that whoever knows how many were made knows
/// every value that the store must hold.
///
/// Each save adds a batch of items, changes others and takes some away with their items; a batch
/// has its items in an order, some of five tags, and says what its items add up to, and a ledger
/// the same of the batches, so that what is half there does not agree.
///
///     NumberedSaves saves(seed);
///     for (int i = 0; i < 10; ++i) saves.change(context, &error) && context->save(&error);
///     std::puts(saves.difference(context).c_str());
class NumberedSaves {
 public:
  explicit NumberedSaves(std::uint64_t seed) : _seed(seed) {}

  static Ref<NSManagedObjectModel> model();

  /// The number of the last save; 0 before the first.
  std::int64_t number() const noexcept { return _number; }

  /// Goes on to the next number and makes its changes in the context, which has what the number
  /// before left. Fails: returns false and sets the error; the changes are not whole then.
  bool change(const Ref<NSManagedObjectContext>& context, Ref<NSError>* error);
  /// Goes on to that number without a context.
  void goTo(std::int64_t number);

  /// What tells the store apart from what it must hold, read by a context that has no objects yet.
  /// Returns: an empty text if nothing does.
  std::string difference(const Ref<NSManagedObjectContext>& context) const;

  /// The number that the store has come to.
  /// Returns: 0 for an empty store, -1 on failure, with the error set.
  static std::int64_t numberIn(const Ref<NSManagedObjectContext>& context, Ref<NSError>* error);

 private:
  class Editor;
  struct Batch {
    std::int64_t items;
    /// The save that wrote it last.
    std::int64_t revision;
    /// How often its first item has been moved to the end.
    std::int64_t turns;
  };

  void change(Editor* editor);
  std::string textOf(std::int64_t batch, std::int64_t position) const;
  std::uint64_t tagsOf(std::int64_t batch) const;
  void rewrite(Editor& editor, NSManagedObject& batch, std::int64_t number) const;
  std::string differenceOfBatch(const NSManagedObject& batch) const;
  std::int64_t sumOf(std::int64_t batch) const;
  std::int64_t sum() const;

  std::uint64_t _seed;
  std::int64_t _number = 0;
  std::map<std::int64_t, Batch> _batches;
};

}  // namespace JNFoundation::testing
