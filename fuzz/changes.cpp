#include <algorithm>
#include <set>

#include "Fuzzing.h"

#include <JNFoundation/fetched/EditScript.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSError.h>

using namespace JNFoundation;

namespace {

using fuzzing::require;

constexpr NSUInteger largestList = 20'000;

struct Row {
  long id;
  bool isNew = false;
  bool isUpdated = false;

  friend bool operator==(const Row& left, const Row& right) noexcept {
    return left.id == right.id && left.isNew == right.isNew && left.isUpdated == right.isUpdated;
  }
};

using Rows = std::vector<std::vector<Row>>;

/// Rows to show, as they are in a list.
struct Source {
  const Rows& list;

  NSUInteger count(NSUInteger section) const { return list.at(section).size(); }
  Row make(const ListPlace& place) const {
    return {list.at(place.section).at(place.item).id, true, false};
  }
  void update(Row& row, const ListPlace& place) const {
    require(row.id == list.at(place.section).at(place.item).id, "another row is updated");
    row.isUpdated = true;
  }
};

std::string textOf(const ListChanges& changes) {
  const Ref<NSData> data = changes.JSONData();
  return std::string(fuzzing::textOf(data->bytes(), data->length()));
}

template <class Entry>
bool contains(const std::vector<Entry>& entries, const Entry& entry) {
  return std::find(entries.begin(), entries.end(), entry) != entries.end();
}

/// The places before the batch, then those after it.
std::vector<ListPlace> placesOf(const ListChanges& changes) {
  std::vector<ListPlace> places = changes.deletedItems;
  const auto add = [&](const auto& more) { places.insert(places.end(), more.begin(), more.end()); };
  add(changes.insertedItems);
  add(changes.updatedItems);
  for (const ListMove& move : changes.movedItems) add(std::vector<ListPlace>{move.from, move.to});
  for (const NSUInteger section : changes.deletedSections) places.push_back({section, 0});
  for (const NSUInteger section : changes.insertedSections) places.push_back({section, 0});
  return places;
}

/// A list that the batch can be of; an empty one where it would be too long.
Rows listFor(const ListChanges& changes) {
  NSUInteger sections = 0, items = 0;
  for (const ListPlace& place : placesOf(changes)) {
    sections = std::max(sections, place.section);
    items = std::max(items, place.item);
  }
  if (sections > largestList || items > largestList) return {};
  // Some more, in the place of what goes.
  sections += 1 + changes.size();
  items += 1 + changes.size();
  if (sections * items > largestList) return {};
  Rows list(sections);
  long id = 0;
  for (auto& rows : list) {
    for (NSUInteger i = 0; i < items; ++i) rows.push_back({id++});
  }
  return list;
}

/// The list after the batch, word by word as ListChanges explains it.
Rows changed(const ListChanges& changes, const Rows& before) {
  const auto leaves = [&](const ListPlace& place) {
    return contains(changes.deletedItems, place) ||
           std::any_of(changes.movedItems.begin(), changes.movedItems.end(),
                       [&](const ListMove& move) { return move.from == place; });
  };
  const std::set<NSUInteger> gone(changes.deletedSections.begin(), changes.deletedSections.end());
  const std::set<NSUInteger> come(changes.insertedSections.begin(), changes.insertedSections.end());
  Rows after;
  long id = -1;
  NSUInteger old = 0;
  for (std::size_t left = before.size() - gone.size() + come.size(); left > 0; --left) {
    const NSUInteger section = after.size();
    const bool isNew = come.count(section) != 0;
    // What is not told of, in its order.
    std::vector<Row> rest;
    if (isNew) {
      for (std::size_t i = 0; i < before.front().size(); ++i) rest.push_back({id--, true, false});
    } else {
      while (gone.count(old) != 0) ++old;
      for (NSUInteger item = 0; item < before[old].size(); ++item) {
        const ListPlace place{old, item};
        if (leaves(place)) continue;
        rest.push_back(before[old][item]);
        rest.back().isUpdated = contains(changes.updatedItems, place);
      }
      ++old;
    }
    std::vector<Row> rows;
    for (std::size_t next = 0;;) {
      const ListPlace place{section, rows.size()};
      const auto move = std::find_if(changes.movedItems.begin(), changes.movedItems.end(),
                                     [&](const ListMove& each) { return each.to == place; });
      if (move != changes.movedItems.end()) {
        rows.push_back({before[move->from.section][move->from.item].id, false, true});
      } else if (contains(changes.insertedItems, place)) {
        rows.push_back({id--, true, false});
      } else if (next < rest.size()) {
        rows.push_back(rest[next++]);
      } else {
        break;
      }
      // A section that comes is as long as its source says, whatever is told to come to it.
      if (isNew && rows.size() == before.front().size()) break;
    }
    after.push_back(std::move(rows));
  }
  return after;
}

std::set<long> kept(const Rows& rows) {
  std::set<long> kept;
  for (const auto& section : rows) {
    for (const Row& row : section) {
      if (!row.isNew) kept.insert(row.id);
    }
  }
  return kept;
}

Rows withoutMarks(Rows rows) {
  for (auto& section : rows) {
    for (Row& row : section) row = {row.id};
  }
  return rows;
}

/// What the batch makes of the list, at once and step by step.
Rows applied(const ListChanges& changes, const Rows& before, const Rows& after) {
  const std::string text = textOf(changes);
  Rows rows = applyChanges(changes, before, Source{after});
  Rows stepped = before;
  applyEditScript(editScript(changes), stepped, Source{after});
  require(rows == stepped, "the script leads elsewhere", text);
  require(withoutMarks(rows) == withoutMarks(after), "the changes lead elsewhere", text);
  return rows;
}

void requireReadAgain(const ListChanges& changes) {
  ListChanges again;
  require(ListChanges::readJSONData(changes.JSONData(), &again) && again == changes,
          "what is written is not read again", textOf(changes));
}

/// Places that no list has may be led out of what a number can say, and are refused then.
void requireNothingElseRaised(const ListChanges& changes) {
  const auto isRefusal = [&](const auto& work) {
    const std::string raised = fuzzing::raisedName(work);
    require(raised.empty() || raised == NSRangeException || raised == NSInvalidArgumentException,
            "raised", raised);
  };
  isRefusal([&] { changes.reduced().inverted().reduced(); });
  isRefusal([&] { changes.followedBy(changes.inverted()); });
  isRefusal([&] { editScript(changes); });
  isRefusal([&] { changes.layout({3, 1}, [](NSUInteger) -> NSUInteger { return 2; }); });
}

}  // namespace

// Changes that are read are written the same; they lead a list to where they say they do, at once
// and step by step, however they are put, and their inverse leads it back.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ListChanges changes;
  Ref<NSError> error;
  const Ref<NSData> input = NSData::dataWithBytesLength(data, size);
  if (!ListChanges::readJSONData(input, &changes, &error)) {
    require(static_cast<bool>(error), "refused without an error");
    require(changes.isEmpty(), "refused, but taken over");
    return 0;
  }
  require(!error, "an error without a refusal");
  requireReadAgain(changes);
  requireNothingElseRaised(changes);

  const Rows before = listFor(changes);
  if (before.empty()) return 0;
  const std::string text = textOf(changes);
  const Rows expected = changed(changes, before);
  const Rows after = applied(changes, before, expected);
  require(after == expected, "other rows are kept or updated", text);

  const ListChanges reduced = changes.reduced();
  require(reduced.size() <= changes.size(), "reduced to more", text);
  require(reduced.reduced() == reduced, "reduced twice is something else", text);
  requireReadAgain(reduced);
  // A move between sections that go and come is left to them.
  const bool isLeft =
      std::any_of(changes.movedItems.begin(), changes.movedItems.end(), [&](const ListMove& move) {
        return contains(changes.deletedSections, move.from.section) &&
               contains(changes.insertedSections, move.to.section);
      });
  const Rows shorter = applied(reduced, before, expected);
  if (!isLeft) require(shorter == expected, "reduced to something else", text);

  const ListChanges inverse = changes.inverted();
  requireReadAgain(inverse);
  const Rows back = applied(inverse, withoutMarks(after), before);
  require(kept(back) == kept(after), "the way back keeps other rows", text);
  const ListChanges both = changes.followedBy(inverse);
  requireReadAgain(both);
  require(kept(applied(both, before, before)) == kept(after), "there and back keeps other rows",
          text);
  return 0;
}
