#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

namespace JNFoundation::inline v0_1 {

/// What an element of a RankedTree derives from.
template <class T>
class RankedElement {
 public:
  RankedElement() = default;
  RankedElement(const RankedElement&) = delete;
  RankedElement& operator=(const RankedElement&) = delete;

 private:
  template <class>
  friend class RankedTree;

  T* _parent = nullptr;
  T* _left = nullptr;
  T* _right = nullptr;
  std::uint32_t _size = 1;
  std::uint32_t _priority = 0;
  std::uint32_t _weight = 1;
  std::uint32_t _sum = 1;
};

/// A sequence whose elements stay where they are in memory, and know the number of their place.
/// Every element has a weight, 1 at first, and knows the weight of all that stand before it.
///
/// A treap: balanced by random priorities, so that everything takes logarithmic time.
template <class T>
class RankedTree {
 public:
  RankedTree() = default;
  RankedTree(const RankedTree&) = delete;
  RankedTree& operator=(const RankedTree&) = delete;
  ~RankedTree() { clear(); }

  std::size_t size() const noexcept { return sizeOf(_root); }
  std::size_t weight() const noexcept { return sumOf(_root); }

  /// Returns: null past the end.
  T* at(std::size_t number) const noexcept {
    T* element = _root;
    while (element) {
      const std::size_t before = sizeOf(element->_left);
      if (number == before) break;
      if (number < before) {
        element = element->_left;
      } else {
        number -= before + 1;
        element = element->_right;
      }
    }
    return element;
  }

  /// The element that the place falls into where each is as long as its weight; one of weight 0 is
  /// never met. Returns: null past the end.
  T* atWeight(std::size_t place) const noexcept {
    if (place >= sumOf(_root)) return nullptr;
    T* element = _root;
    while (true) {
      const std::size_t before = sumOf(element->_left);
      if (place < before) {
        element = element->_left;
      } else if (place < before + element->_weight) {
        return element;
      } else {
        place -= before + element->_weight;
        element = element->_right;
      }
    }
  }

  /// The number of the element's place.
  static std::size_t rank(const T& element) noexcept {
    std::size_t before = sizeOf(element._left);
    for (const T* each = &element; each->_parent; each = each->_parent) {
      if (each == each->_parent->_right) before += sizeOf(each->_parent->_left) + 1;
    }
    return before;
  }

  static std::size_t weightBefore(const T& element) noexcept {
    std::size_t before = sumOf(element._left);
    for (const T* each = &element; each->_parent; each = each->_parent) {
      const T& parent = *each->_parent;
      if (each == parent._right) before += sumOf(parent._left) + parent._weight;
    }
    return before;
  }

  static void setWeight(T& element, std::size_t weight) noexcept {
    const std::uint32_t change = static_cast<std::uint32_t>(weight) - element._weight;
    element._weight += change;
    for (T* each = &element; each; each = each->_parent) each->_sum += change;
  }

  /// Puts the element before the one that has the number, or at the end.
  T& insert(std::size_t number, std::unique_ptr<T> inserted) noexcept {
    T* const element = inserted.release();
    T* parent = nullptr;
    T** link = &_root;
    while (*link) {
      parent = *link;
      const std::size_t before = sizeOf(parent->_left);
      if (number <= before) {
        link = &parent->_left;
      } else {
        number -= before + 1;
        link = &parent->_right;
      }
    }
    *link = element;
    element->_parent = parent;
    element->_priority = nextPriority();
    for (T* each = parent; each; each = each->_parent) {
      each->_size += 1;
      each->_sum += element->_weight;
    }
    while (element->_parent && element->_parent->_priority < element->_priority) rotateUp(*element);
    return *element;
  }

  std::unique_ptr<T> remove(T& element) noexcept {
    while (element._left || element._right) {
      T* const left = element._left;
      T* const right = element._right;
      rotateUp(!right || (left && left->_priority > right->_priority) ? *left : *right);
    }
    linkTo(element) = nullptr;
    for (T* each = element._parent; each; each = each->_parent) {
      each->_size -= 1;
      each->_sum -= element._weight;
    }
    element._parent = nullptr;
    return std::unique_ptr<T>(&element);
  }

  void clear() noexcept {
    T* element = std::exchange(_root, nullptr);
    while (element) {
      if (T* const child = element->_left ? element->_left : element->_right) {
        element = child;
        continue;
      }
      T* const parent = element->_parent;
      if (parent) (parent->_left == element ? parent->_left : parent->_right) = nullptr;
      delete element;
      element = parent;
    }
  }

 private:
  static std::uint32_t sizeOf(const T* element) noexcept { return element ? element->_size : 0; }
  static std::uint32_t sumOf(const T* element) noexcept { return element ? element->_sum : 0; }

  T*& linkTo(T& element) noexcept {
    T* const parent = element._parent;
    if (!parent) return _root;
    return parent->_left == &element ? parent->_left : parent->_right;
  }

  /// Puts the element in the place of its parent, and the parent below it.
  void rotateUp(T& element) noexcept {
    T& parent = *element._parent;
    T*& link = linkTo(parent);
    T*& mine = parent._left == &element ? element._right : element._left;
    T*& theirs = parent._left == &element ? parent._left : parent._right;
    theirs = mine;
    if (theirs) theirs->_parent = &parent;
    mine = &parent;
    element._parent = parent._parent;
    parent._parent = &element;
    link = &element;
    element._size = parent._size;
    element._sum = parent._sum;
    parent._size = sizeOf(parent._left) + sizeOf(parent._right) + 1;
    parent._sum = sumOf(parent._left) + sumOf(parent._right) + parent._weight;
  }

  std::uint32_t nextPriority() noexcept {
    _state ^= _state << 13;
    _state ^= _state >> 17;
    _state ^= _state << 5;
    return _state;
  }

  T* _root = nullptr;
  std::uint32_t _state = 0x9e3779b9;
};

}  // namespace JNFoundation
