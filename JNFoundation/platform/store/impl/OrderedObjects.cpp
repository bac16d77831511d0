#include "JNFoundation/platform/store/impl/OrderedObjects.h"

#include <algorithm>

namespace JNFoundation::inline v0_1::impl {
namespace {

// A list that is built at once leaves room for what comes, so that the first changes do not split
// every node that they meet.
constexpr std::size_t leafFilling = OrderedLeaf::capacity * 3 / 4;
constexpr std::size_t branchFilling = OrderedBranch::capacity * 3 / 4;

OrderedLeaf& leafAt(OrderedNode& node) noexcept { return static_cast<OrderedLeaf&>(node); }
const OrderedLeaf& leafAt(const OrderedNode& node) noexcept {
  return static_cast<const OrderedLeaf&>(node);
}
OrderedBranch& branchAt(OrderedNode& node) noexcept { return static_cast<OrderedBranch&>(node); }
const OrderedBranch& branchAt(const OrderedNode& node) noexcept {
  return static_cast<const OrderedBranch&>(node);
}

/// As deep as the tree is, which is a handful of levels for any number that there is memory for.
void releaseNode(OrderedNode* node) noexcept {
  if (node->references.decrement() != 1) return;
  node->references.synchronize();
  if (node->isLeaf) {
    OrderedLeaf& leaf = leafAt(*node);
    for (std::size_t i = 0; i < leaf.size; ++i) leaf.items[i]->release();
    delete &leaf;
  } else {
    OrderedBranch& branch = branchAt(*node);
    for (std::size_t i = 0; i < branch.size; ++i) releaseNode(branch.children[i]);
    delete &branch;
  }
}

OrderedNode* copyOf(const OrderedNode& node) {
  if (node.isLeaf) {
    const OrderedLeaf& leaf = leafAt(node);
    auto* copy = new OrderedLeaf;
    std::copy_n(leaf.items, leaf.size, copy->items);
    std::copy_n(leaf.weights, leaf.size, copy->weights);
    for (std::size_t i = 0; i < leaf.size; ++i) leaf.items[i]->retain();
    copy->id = leaf.id;
    copy->size = leaf.size;
    return copy;
  }
  const OrderedBranch& branch = branchAt(node);
  auto* copy = new OrderedBranch;
  std::copy_n(branch.children, branch.size, copy->children);
  std::copy_n(branch.counts, branch.size, copy->counts);
  std::copy_n(branch.weights, branch.size, copy->weights);
  std::copy_n(branch.firsts, branch.size, copy->firsts);
  for (std::size_t i = 0; i < branch.size; ++i) branch.children[i]->references.increment();
  copy->id = branch.id;
  copy->size = branch.size;
  return copy;
}

std::size_t countOf(const OrderedNode& node) noexcept {
  if (node.isLeaf) return node.size;
  std::size_t count = 0;
  for (std::size_t i = 0; i < node.size; ++i) count += branchAt(node).counts[i];
  return count;
}

std::size_t weightOf(const OrderedNode& node) noexcept {
  const std::uint32_t* weights = node.isLeaf ? leafAt(node).weights : branchAt(node).weights;
  std::size_t weight = 0;
  for (std::size_t i = 0; i < node.size; ++i) weight += weights[i];
  return weight;
}

const NSObject* firstOf(const OrderedNode& node) noexcept {
  return node.isLeaf ? leafAt(node).items[0] : branchAt(node).firsts[0];
}

template <class T>
void openPlace(T* array, std::size_t place, std::size_t size) noexcept {
  std::copy_backward(array + place, array + size, array + size + 1);
}
template <class T>
void closePlace(T* array, std::size_t place, std::size_t size) noexcept {
  std::copy(array + place + 1, array + size, array + place);
}

}  // namespace

// ---- A version ----------------------------------------------------------------------------------

OrderedVersion::OrderedVersion(const OrderedVersion& other) noexcept
    : _root(other._root), _count(other._count), _weight(other._weight) {
  if (_root) _root->references.increment();
}

OrderedVersion::~OrderedVersion() {
  if (_root) releaseNode(_root);
}

OrderedVersion::Run OrderedVersion::runAt(std::size_t index) const noexcept {
  const OrderedNode* node = _root;
  std::size_t first = 0;
  while (!node->isLeaf) {
    const OrderedBranch& branch = branchAt(*node);
    std::size_t slot = 0;
    while (index - first >= branch.counts[slot]) first += branch.counts[slot++];
    node = branch.children[slot];
  }
  return {leafAt(*node).items, first, node->size};
}

OrderedVersion::Place OrderedVersion::placeAt(std::size_t index) const noexcept {
  const OrderedNode* node = _root;
  std::size_t first = 0, before = 0;
  while (!node->isLeaf) {
    const OrderedBranch& branch = branchAt(*node);
    std::size_t slot = 0;
    for (; index - first >= branch.counts[slot]; ++slot) {
      first += branch.counts[slot];
      before += branch.weights[slot];
    }
    node = branch.children[slot];
  }
  const OrderedLeaf& leaf = leafAt(*node);
  for (std::size_t i = 0; i < index - first; ++i) before += leaf.weights[i];
  return {leaf.items[index - first], index, before, leaf.weights[index - first]};
}

OrderedVersion::Place OrderedVersion::placeAtWeight(std::size_t weight) const noexcept {
  const OrderedNode* node = _root;
  std::size_t index = 0, before = 0;
  while (!node->isLeaf) {
    const OrderedBranch& branch = branchAt(*node);
    std::size_t slot = 0;
    for (; weight - before >= branch.weights[slot]; ++slot) {
      index += branch.counts[slot];
      before += branch.weights[slot];
    }
    node = branch.children[slot];
  }
  const OrderedLeaf& leaf = leafAt(*node);
  std::size_t slot = 0;
  while (weight - before >= leaf.weights[slot]) before += leaf.weights[slot++];
  return {leaf.items[slot], index + slot, before, leaf.weights[slot]};
}

// ---- Which leaf an object is in -----------------------------------------------------------------

std::uint32_t OrderedObjects::Leaves::find(const NSObject& object) const noexcept {
  if (_entries.empty()) return noNode;
  const std::size_t mask = _entries.size() - 1;
  for (std::size_t place = homeOf(object); _entries[place].object; place = (place + 1) & mask) {
    if (_entries[place].object == &object) return _entries[place].leaf;
  }
  return noNode;
}

void OrderedObjects::Leaves::set(const NSObject& object, std::uint32_t leaf) {
  if ((_count + 1) * 2 > _entries.size()) grow();
  const std::size_t mask = _entries.size() - 1;
  std::size_t place = homeOf(object);
  while (_entries[place].object && _entries[place].object != &object) place = (place + 1) & mask;
  if (!_entries[place].object) ++_count;
  _entries[place] = {&object, leaf};
}

void OrderedObjects::Leaves::erase(const NSObject& object) noexcept {
  const std::size_t mask = _entries.size() - 1;
  std::size_t hole = homeOf(object);
  while (_entries[hole].object != &object) hole = (hole + 1) & mask;
  // What follows comes nearer to its home, so that no search ends too early.
  for (std::size_t place = (hole + 1) & mask; _entries[place].object; place = (place + 1) & mask) {
    const std::size_t home = homeOf(*_entries[place].object);
    if (((place - home) & mask) < ((place - hole) & mask)) continue;
    _entries[hole] = _entries[place];
    hole = place;
  }
  _entries[hole] = Entry();
  --_count;
}

void OrderedObjects::Leaves::grow() {
  std::vector<Entry> old = std::move(_entries);
  const std::size_t size = std::max<std::size_t>(16, old.size() * 2);
  _entries = std::vector<Entry>(size);
  _shift = 64;
  for (std::size_t rest = size; rest > 1; rest /= 2) --_shift;
  _count = 0;
  for (const Entry& entry : old) {
    if (entry.object) set(*entry.object, entry.leaf);
  }
}

void OrderedObjects::Leaves::reset(std::size_t count) {
  std::size_t size = 16;
  while (size < count * 2 + 2) size *= 2;
  _entries = std::vector<Entry>(size / 2);
  grow();
}

std::uint32_t OrderedObjects::leafOf(const NSObject& object) const {
  if (!_isIndexed) indexLeaves();
  return _leaves.find(object);
}

void OrderedObjects::indexLeaves() const {
  _leaves.reset(count());
  for (const NodePlace& place : _nodes) {
    if (!place.node || !place.node->isLeaf) continue;
    for (std::size_t i = 0; i < place.node->size; ++i) {
      _leaves.set(*leafAt(*place.node).items[i], place.node->id);
    }
  }
  _isIndexed = true;
}

// ---- Nodes --------------------------------------------------------------------------------------

std::uint32_t OrderedObjects::addNode(OrderedNode& node) {
  if (_freeIds.empty()) {
    node.id = static_cast<std::uint32_t>(_nodes.size());
    _nodes.push_back({&node, noNode, 0});
  } else {
    node.id = _freeIds.back();
    _freeIds.pop_back();
    _nodes[node.id] = {&node, noNode, 0};
  }
  return node.id;
}

void OrderedObjects::dropNode(OrderedNode& node) noexcept {
  _nodes[node.id].node = nullptr;
  _freeIds.push_back(node.id);
  releaseNode(&node);
}

/// The node, or a copy in its place if a version holds it as well.
OrderedNode* OrderedObjects::own(OrderedNode* node) {
  if (node->references.load() == 1) {
    node->references.synchronize();
    return node;
  }
  OrderedNode* copy = copyOf(*node);
  _nodes[copy->id].node = copy;
  releaseNode(node);
  return copy;
}

OrderedObjects::Way OrderedObjects::ownWayTo(std::size_t index, bool toInsert) {
  Way way;
  _list._root = own(_list._root);
  OrderedNode* node = _list._root;
  std::size_t rest = index;
  while (!node->isLeaf) {
    OrderedBranch& branch = branchAt(*node);
    std::size_t slot = 0;
    // A new object may stand at the end of a node.
    while (slot + 1u < branch.size && rest >= branch.counts[slot] + (toInsert ? 1u : 0u)) {
      rest -= branch.counts[slot++];
    }
    way.branches[way.depth] = &branch;
    way.slots[way.depth++] = slot;
    node = branch.children[slot] = own(branch.children[slot]);
  }
  way.leaf = &leafAt(*node);
  way.slot = rest;
  return way;
}

void OrderedObjects::setChild(OrderedBranch& branch, std::size_t slot, OrderedNode& child) {
  branch.children[slot] = &child;
  branch.counts[slot] = static_cast<std::uint32_t>(countOf(child));
  branch.weights[slot] = static_cast<std::uint32_t>(weightOf(child));
  branch.firsts[slot] = firstOf(child);
  _nodes[child.id].parent = branch.id;
  _nodes[child.id].slot = static_cast<std::uint32_t>(slot);
}

void OrderedObjects::insertChild(OrderedBranch& branch, std::size_t slot, OrderedNode& child) {
  openPlace(branch.children, slot, branch.size);
  openPlace(branch.counts, slot, branch.size);
  openPlace(branch.weights, slot, branch.size);
  openPlace(branch.firsts, slot, branch.size);
  ++branch.size;
  setChild(branch, slot, child);
  for (std::size_t i = slot + 1; i < branch.size; ++i) ++_nodes[branch.children[i]->id].slot;
}

void OrderedObjects::removeChild(OrderedBranch& branch, std::size_t slot) {
  OrderedNode& child = *branch.children[slot];
  closePlace(branch.children, slot, branch.size);
  closePlace(branch.counts, slot, branch.size);
  closePlace(branch.weights, slot, branch.size);
  closePlace(branch.firsts, slot, branch.size);
  --branch.size;
  for (std::size_t i = slot; i < branch.size; ++i) --_nodes[branch.children[i]->id].slot;
  dropNode(child);
}

/// Moves the objects from the slot on to the end of another leaf.
void OrderedObjects::moveItems(OrderedLeaf& from, std::size_t first, OrderedLeaf& to) {
  for (std::size_t i = first; i < from.size; ++i) {
    if (_isIndexed) _leaves.set(*from.items[i], to.id);
    to.items[to.size] = from.items[i];
    to.weights[to.size++] = from.weights[i];
  }
  from.size = static_cast<std::uint16_t>(first);
}

void OrderedObjects::moveChildren(OrderedBranch& from, std::size_t first, OrderedBranch& to) {
  for (std::size_t i = first; i < from.size; ++i) {
    NodePlace& place = _nodes[from.children[i]->id];
    place.parent = to.id;
    place.slot = to.size;
    to.children[to.size] = from.children[i];
    to.counts[to.size] = from.counts[i];
    to.weights[to.size] = from.weights[i];
    to.firsts[to.size++] = from.firsts[i];
  }
  from.size = static_cast<std::uint16_t>(first);
}

/// Returns: a new node with what the node has from that slot on.
OrderedNode& OrderedObjects::split(OrderedNode& node, std::size_t keep) {
  if (node.isLeaf) {
    auto& right = *new OrderedLeaf;
    addNode(right);
    moveItems(leafAt(node), keep, right);
    return right;
  }
  auto& right = *new OrderedBranch;
  addNode(right);
  moveChildren(branchAt(node), keep, right);
  return right;
}

/// Splits the full leaf at the end of the way, and the full branches above it. The way leads
/// nowhere afterwards.
void OrderedObjects::makeRoom(Way& way, bool atEnd) {
  // Who appends one after another gets full nodes.
  OrderedNode* left = way.leaf;
  OrderedNode* right = &split(*left, atEnd ? OrderedLeaf::capacity - 1 : OrderedLeaf::capacity / 2);
  for (std::size_t level = way.depth; level-- > 0;) {
    OrderedBranch* parent = way.branches[level];
    std::size_t slot = way.slots[level];
    OrderedNode* upper = nullptr;
    if (parent->size == OrderedBranch::capacity) {
      const std::size_t keep = atEnd ? OrderedBranch::capacity - 1 : OrderedBranch::capacity / 2;
      upper = &split(*parent, keep);
      if (slot >= keep) {
        slot -= keep;
        setChild(branchAt(*upper), slot, *left);
        insertChild(branchAt(*upper), slot + 1, *right);
      } else {
        setChild(*parent, slot, *left);
        insertChild(*parent, slot + 1, *right);
      }
    } else {
      setChild(*parent, slot, *left);
      insertChild(*parent, slot + 1, *right);
    }
    if (!upper) return;
    left = parent;
    right = upper;
  }
  auto& root = *new OrderedBranch;
  addNode(root);
  root.size = 2;
  setChild(root, 0, *left);
  setChild(root, 1, *right);
  _list._root = &root;
}

/// Puts the right one of two neighbours into the left one, if they fit well.
bool OrderedObjects::mergeChildren(OrderedBranch& branch, std::size_t left) {
  const std::size_t size = branch.children[left]->size + branch.children[left + 1]->size;
  const bool areLeaves = branch.children[left]->isLeaf;
  if (size > (areLeaves ? leafFilling : branchFilling)) return false;
  OrderedNode* one = branch.children[left] = own(branch.children[left]);
  OrderedNode* other = branch.children[left + 1] = own(branch.children[left + 1]);
  if (areLeaves) {
    moveItems(leafAt(*other), 0, leafAt(*one));
  } else {
    moveChildren(branchAt(*other), 0, branchAt(*one));
  }
  branch.counts[left] += branch.counts[left + 1];
  branch.weights[left] += branch.weights[left + 1];
  removeChild(branch, left + 1);
  return true;
}

/// After something was taken out at the end of the way: nodes that became empty go, small ones join
/// a neighbour.
void OrderedObjects::shrink(Way& way) {
  for (std::size_t level = way.depth; level-- > 0;) {
    OrderedBranch& parent = *way.branches[level];
    const std::size_t slot = way.slots[level];
    const OrderedNode& child = *parent.children[slot];
    if (child.size == 0) {
      removeChild(parent, slot);
      continue;
    }
    parent.firsts[slot] = firstOf(child);
    const std::size_t few = (child.isLeaf ? OrderedLeaf::capacity : OrderedBranch::capacity) / 4;
    if (child.size >= few) continue;
    if (slot + 1u < parent.size && mergeChildren(parent, slot)) continue;
    if (slot > 0) mergeChildren(parent, slot - 1);
  }
  while (_list._root && _list._root->size <= (_list._root->isLeaf ? 0 : 1)) {
    OrderedNode* root = _list._root;
    if (root->size == 0) {
      _list._root = nullptr;
    } else {
      _list._root = branchAt(*root).children[0];
      _nodes[_list._root->id].parent = noNode;
      root->size = 0;
    }
    dropNode(*root);
  }
}

// ---- The list -----------------------------------------------------------------------------------

void OrderedObjects::clear() noexcept {
  OrderedVersion old = std::move(_list);
  _nodes.clear();
  _freeIds.clear();
  _isIndexed = false;
}

void OrderedObjects::assign(const std::vector<const NSObject*>& objects,
                            const std::vector<std::uint32_t>& weights) {
  clear();
  if (objects.empty()) return;
  std::vector<OrderedNode*> level;
  const std::size_t leaves = (objects.size() + leafFilling - 1) / leafFilling;
  for (std::size_t i = 0, next = 0; i < leaves; ++i) {
    auto& leaf = *new OrderedLeaf;
    addNode(leaf);
    for (const std::size_t end = objects.size() * (i + 1) / leaves; next < end; ++next) {
      objects[next]->retain();
      leaf.items[leaf.size] = objects[next];
      leaf.weights[leaf.size++] = weights.empty() ? 1 : weights[next];
    }
    level.push_back(&leaf);
  }
  while (level.size() > 1) {
    std::vector<OrderedNode*> above;
    const std::size_t branches = (level.size() + branchFilling - 1) / branchFilling;
    for (std::size_t i = 0, next = 0; i < branches; ++i) {
      auto& branch = *new OrderedBranch;
      addNode(branch);
      for (const std::size_t end = level.size() * (i + 1) / branches; next < end; ++next) {
        setChild(branch, branch.size++, *level[next]);
      }
      above.push_back(&branch);
    }
    level = std::move(above);
  }
  _list._root = level.front();
  _list._count = objects.size();
  _list._weight = weightOf(*_list._root);
}

std::size_t OrderedObjects::indexOf(const NSObject& object) const {
  const std::uint32_t id = leafOf(object);
  if (id == noNode) return none;
  const OrderedLeaf& leaf = leafAt(*_nodes[id].node);
  std::size_t index = 0;
  while (leaf.items[index] != &object) ++index;
  for (const NodePlace* place = &_nodes[id]; place->parent != noNode;) {
    const std::uint32_t slot = place->slot;
    place = &_nodes[place->parent];
    const OrderedBranch& branch = branchAt(*place->node);
    for (std::uint32_t i = 0; i < slot; ++i) index += branch.counts[i];
  }
  return index;
}

OrderedObjects::Place OrderedObjects::placeOf(const NSObject& object) const {
  return _list.placeAt(indexOf(object));
}

void OrderedObjects::insert(std::size_t index, const NSObject& object, std::size_t weight) {
  if (!_isIndexed) indexLeaves();
  if (!_list._root) {
    _list._root = new OrderedLeaf;
    addNode(*_list._root);
  }
  Way way = ownWayTo(index, true);
  if (way.leaf->size == OrderedLeaf::capacity) {
    makeRoom(way, index == count());
    way = ownWayTo(index, true);
  }
  OrderedLeaf& leaf = *way.leaf;
  openPlace(leaf.items, way.slot, leaf.size);
  openPlace(leaf.weights, way.slot, leaf.size);
  object.retain();
  leaf.items[way.slot] = &object;
  leaf.weights[way.slot] = static_cast<std::uint32_t>(weight);
  ++leaf.size;
  _leaves.set(object, leaf.id);
  bool isFirst = way.slot == 0;
  for (std::size_t level = way.depth; level-- > 0;) {
    OrderedBranch& branch = *way.branches[level];
    const std::size_t slot = way.slots[level];
    ++branch.counts[slot];
    branch.weights[slot] += static_cast<std::uint32_t>(weight);
    if (isFirst) branch.firsts[slot] = &object;
    isFirst = isFirst && slot == 0;
  }
  ++_list._count;
  _list._weight += weight;
}

Ref<NSObject> OrderedObjects::erase(std::size_t index) {
  if (!_isIndexed) indexLeaves();
  Way way = ownWayTo(index, false);
  OrderedLeaf& leaf = *way.leaf;
  const NSObject* object = leaf.items[way.slot];
  const std::uint32_t weight = leaf.weights[way.slot];
  closePlace(leaf.items, way.slot, leaf.size);
  closePlace(leaf.weights, way.slot, leaf.size);
  --leaf.size;
  _leaves.erase(*object);
  for (std::size_t level = way.depth; level-- > 0;) {
    --way.branches[level]->counts[way.slots[level]];
    way.branches[level]->weights[way.slots[level]] -= weight;
  }
  --_list._count;
  _list._weight -= weight;
  shrink(way);
  // The list's own reference goes to the caller.
  return Ref<NSObject>::adopt(const_cast<NSObject*>(object));
}

void OrderedObjects::addWeight(std::size_t index, std::ptrdiff_t difference) {
  Way way = ownWayTo(index, false);
  const auto change = static_cast<std::uint32_t>(difference);
  way.leaf->weights[way.slot] += change;
  for (std::size_t level = way.depth; level-- > 0;) {
    way.branches[level]->weights[way.slots[level]] += change;
  }
  _list._weight += static_cast<std::size_t>(difference);
}

bool OrderedObjects::isConsistent() const {
  std::size_t objects = 0, weight = 0;
  for (std::size_t id = 0; id < _nodes.size(); ++id) {
    const NodePlace& place = _nodes[id];
    if (!place.node) continue;
    if (place.node->id != id || place.node->size == 0) return false;
    if (place.parent == noNode) {
      if (place.node != _list._root) return false;
    } else {
      const OrderedBranch& parent = branchAt(*_nodes[place.parent].node);
      if (place.slot >= parent.size || parent.children[place.slot] != place.node ||
          parent.counts[place.slot] != countOf(*place.node) ||
          parent.weights[place.slot] != weightOf(*place.node) ||
          parent.firsts[place.slot] != firstOf(*place.node)) {
        return false;
      }
    }
    if (!place.node->isLeaf) continue;
    objects += place.node->size;
    weight += weightOf(*place.node);
    for (std::size_t i = 0; _isIndexed && i < place.node->size; ++i) {
      if (_leaves.find(*leafAt(*place.node).items[i]) != id) return false;
    }
  }
  return objects == _list._count && weight == _list._weight;
}

}  // namespace JNFoundation::impl
