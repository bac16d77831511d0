#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include <JNFoundation/platform/value/NSObject.h>

namespace JNFoundation::inline v0_1::impl {

// A list in which everything takes logarithmic time: what stands at a position, at which position
// an object stands, putting in and taking out, and a version that stays as it is. It is a tree of
// counts with wide nodes; versions share the nodes, and a change copies those on its way that
// somebody else holds as well.

struct OrderedNode {
  explicit OrderedNode(bool leaf) noexcept : isLeaf(leaf) {}

  mutable ReferenceCount references{1};
  /// Which node of the changing list this is, through all of its copies.
  std::uint32_t id = 0;
  std::uint16_t size = 0;
  const bool isLeaf;
};

struct OrderedLeaf : OrderedNode {
  static constexpr std::size_t capacity = 128;
  OrderedLeaf() noexcept : OrderedNode(true) {}

  const NSObject* items[capacity];
  /// How much each object counts: one that stands for a group, as much as there is in it.
  std::uint32_t weights[capacity];
};

struct OrderedBranch : OrderedNode {
  static constexpr std::size_t capacity = 64;
  OrderedBranch() noexcept : OrderedNode(false) {}

  OrderedNode* children[capacity];
  std::uint32_t counts[capacity];
  std::uint32_t weights[capacity];
  /// The first object below each child, so that a search need not go there to look.
  const NSObject* firsts[capacity];
};

/// A list as it was at one moment. Keeps its objects alive.
/// Threads: any.
class OrderedVersion {
 public:
  /// Where an object stands, and how much the objects before it and itself weigh.
  struct Place {
    const NSObject* object;
    std::size_t index;
    std::size_t before;
    std::size_t weight;
  };
  /// Objects that stand side by side in memory, the first of them at `index`.
  struct Run {
    const NSObject* const* objects;
    std::size_t index;
    std::size_t count;
  };

  OrderedVersion() noexcept = default;
  OrderedVersion(const OrderedVersion& other) noexcept;
  OrderedVersion(OrderedVersion&& other) noexcept
      : _root(std::exchange(other._root, nullptr)),
        _count(std::exchange(other._count, 0)),
        _weight(std::exchange(other._weight, 0)) {}
  OrderedVersion& operator=(OrderedVersion other) noexcept {
    std::swap(_root, other._root);
    std::swap(_count, other._count);
    std::swap(_weight, other._weight);
    return *this;
  }
  ~OrderedVersion();

  std::size_t count() const noexcept { return _count; }
  /// What all objects weigh together.
  std::size_t weight() const noexcept { return _weight; }

  // Require: an index below the count, a weight below the whole weight.
  Run runAt(std::size_t index) const noexcept;
  Place placeAt(std::size_t index) const noexcept;
  Place placeAtWeight(std::size_t weight) const noexcept;

 private:
  friend class OrderedObjects;
  OrderedNode* _root = nullptr;
  std::size_t _count = 0;
  std::size_t _weight = 0;
};

/// The list itself. Each object is in it once at most, and is kept alive by it. An object may stand
/// for a group of things and weigh as much as there are in it; positions count objects.
/// Threads: one at a time.
class OrderedObjects {
 public:
  using Place = OrderedVersion::Place;
  static constexpr std::size_t none = static_cast<std::size_t>(-1);

  OrderedObjects() = default;
  OrderedObjects(const OrderedObjects&) = delete;
  OrderedObjects& operator=(const OrderedObjects&) = delete;

  std::size_t count() const noexcept { return _list._count; }
  bool isEmpty() const noexcept { return count() == 0; }
  std::size_t weight() const noexcept { return _list._weight; }

  /// The list as it is now, for as long as it is kept. Takes constant time; a later change copies
  /// what it changes.
  const OrderedVersion& version() const noexcept { return _list; }

  /// Takes the place of everything. Without weights each object weighs 1. Requires: no object
  /// twice, and as many weights as objects.
  void assign(const std::vector<const NSObject*>& objects,
              const std::vector<std::uint32_t>& weights = {});

  const NSObject* at(std::size_t index) const noexcept {
    const OrderedVersion::Run run = _list.runAt(index);
    return run.objects[index - run.index];
  }
  /// Returns: `none` for an object that is not in the list.
  std::size_t indexOf(const NSObject& object) const;
  bool contains(const NSObject& object) const { return leafOf(object) != noNode; }
  Place placeOf(const NSObject& object) const;

  /// Requires: an index up to the count, an object that is not in the list, a weight of 1 where the
  /// objects are not groups.
  void insert(std::size_t index, const NSObject& object, std::size_t weight = 1);
  /// Returns: the object, which the list no longer keeps alive.
  Ref<NSObject> erase(std::size_t index);
  void addWeight(std::size_t index, std::ptrdiff_t difference);

  /// How many objects at the front satisfy the condition. Requires: all that do stand before all
  /// that do not.
  template <class Condition>
  std::size_t partitionPoint(Condition&& isBefore) const {
    const OrderedNode* node = _list._root;
    if (!node) return 0;
    std::size_t index = 0;
    while (!node->isLeaf) {
      const auto& branch = static_cast<const OrderedBranch&>(*node);
      std::size_t low = 1, high = branch.size;
      while (low < high) {
        const std::size_t middle = (low + high) / 2;
        if (isBefore(*branch.firsts[middle])) {
          low = middle + 1;
        } else {
          high = middle;
        }
      }
      for (std::size_t i = 0; i + 1 < low; ++i) index += branch.counts[i];
      node = branch.children[low - 1];
    }
    const auto& leaf = static_cast<const OrderedLeaf&>(*node);
    std::size_t low = 0, high = leaf.size;
    while (low < high) {
      const std::size_t middle = (low + high) / 2;
      if (isBefore(*leaf.items[middle])) {
        low = middle + 1;
      } else {
        high = middle;
      }
    }
    return index + low;
  }

  /// Whether counts, order and places agree with each other; for tests.
  bool isConsistent() const;

 private:
  static constexpr std::uint32_t noNode = static_cast<std::uint32_t>(-1);

  /// Where the node of an id is at the moment.
  struct NodePlace {
    OrderedNode* node;
    std::uint32_t parent;
    std::uint32_t slot;
  };
  /// The way from the root to a leaf.
  struct Way {
    OrderedBranch* branches[12];
    std::size_t slots[12];
    std::size_t depth = 0;
    OrderedLeaf* leaf;
    std::size_t slot;
  };

  /// Which leaf each object is in. Open addressing.
  class Leaves {
   public:
    std::uint32_t find(const NSObject& object) const noexcept;
    void set(const NSObject& object, std::uint32_t leaf);
    void erase(const NSObject& object) noexcept;
    void reset(std::size_t count);

   private:
    struct Entry {
      const NSObject* object = nullptr;
      std::uint32_t leaf = 0;
    };
    std::size_t homeOf(const NSObject& object) const noexcept {
      return static_cast<std::size_t>(
          (reinterpret_cast<std::uintptr_t>(&object) * 0x9E3779B97F4A7C15u) >> _shift);
    }
    void grow();

    std::vector<Entry> _entries;
    std::size_t _count = 0;
    unsigned _shift = 63;
  };

  std::uint32_t leafOf(const NSObject& object) const;
  void indexLeaves() const;
  std::uint32_t addNode(OrderedNode& node);
  void dropNode(OrderedNode& node) noexcept;
  OrderedNode* own(OrderedNode* node);
  Way ownWayTo(std::size_t index, bool toInsert);
  void setChild(OrderedBranch& branch, std::size_t slot, OrderedNode& child);
  void insertChild(OrderedBranch& branch, std::size_t slot, OrderedNode& child);
  void removeChild(OrderedBranch& branch, std::size_t slot);
  OrderedNode& split(OrderedNode& node, std::size_t keep);
  void makeRoom(Way& way, bool atEnd);
  void shrink(Way& way);
  bool mergeChildren(OrderedBranch& branch, std::size_t left);
  void moveItems(OrderedLeaf& from, std::size_t first, OrderedLeaf& to);
  void moveChildren(OrderedBranch& from, std::size_t first, OrderedBranch& to);
  void clear() noexcept;

  OrderedVersion _list;
  std::vector<NodePlace> _nodes;
  std::vector<std::uint32_t> _freeIds;
  /// Made when a position is first asked for: many a list is only read.
  mutable Leaves _leaves;
  mutable bool _isIndexed = false;
};

}  // namespace JNFoundation::impl
