#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include <JNFoundation/platform/store/NSAttributeDescription.h>
#include <JNFoundation/platform/store/NSRelationshipDescription.h>
#include <JNFoundation/platform/value/Class.h>
#include <JNFoundation/platform/value/Method.h>

namespace JNFoundation::inline v0_1 {

class NSEntityDescription;
class NSManagedObject;

namespace impl {

/// What an entity's objects look like in memory: its attributes and relationships by number,
/// inherited ones first, so that a number means the same property in every descendant.
///
/// Threads: any. What is found out at first use is published atomically.
class EntityLayout {
 public:
  struct Slot {
    /// One of the two is null.
    Ref<NSAttributeDescription> attribute;
    Ref<NSRelationshipDescription> relationship;
    Ref<NSString> name;
    /// Of a relationship that leads to one object NSObjectIDAttributeType, since the value is the
    /// identifier of that object; of one that leads to many the undefined type.
    NSAttributeType type;
    /// Whether a store keeps the value with the record.
    bool stored;
    bool optional;
    /// Whether its model says more of the value than its type: bounds or a pattern.
    bool hasRules;
    Value defaultValue;

    bool isToMany() const noexcept { return relationship && type == NSUndefinedAttributeType; }
    /// Whether a store keeps data for the value, see TransformedValue.
    bool isTransformed() const noexcept { return type == NSTransformableAttributeType && stored; }
  };

  /// How the class of an entity's objects reaches their attributes by name.
  struct ClassBinding {
    const Class* cls;
    /// By property number; null where the class declares no operation of its own.
    std::vector<const Method*> getters;
    std::vector<const Method*> setters;
    /// `validate<Key>:error:`.
    std::vector<const Method*> validators;
  };

  static constexpr std::size_t none = static_cast<std::size_t>(-1);

  explicit EntityLayout(const NSEntityDescription& entity);
  ~EntityLayout();
  EntityLayout(const EntityLayout&) = delete;
  EntityLayout& operator=(const EntityLayout&) = delete;

  std::span<const Slot> slots() const noexcept { return _slots; }
  std::size_t count() const noexcept { return _slots.size(); }
  const Slot& operator[](std::size_t index) const noexcept { return _slots[index]; }

  /// The number of the property of that name, or `none`.
  std::size_t indexOf(const NSString& name) const noexcept {
    // Most names are the very strings that the model has, and stand where they belong.
    const IndexEntry& home = _index[static_cast<std::size_t>(name.contentHash()) & _mask];
    return home.name == &name ? home.number : find(name);
  }
  /// The numbers of the relationships to one object, and of those to many.
  std::span<const std::size_t> toOnes() const noexcept { return _toOnes; }
  std::span<const std::size_t> toManys() const noexcept { return _toManys; }
  bool hasRelationships() const noexcept { return !_toOnes.empty() || !_toManys.empty(); }

  /// The ancestor that has none itself. Requires: the model is alive.
  const NSEntityDescription& root() const noexcept { return *_root; }
  /// Its name, interned; null while it has none.
  const Ref<NSString>& rootName() const noexcept { return _rootName; }
  /// The entity and all its descendants that are not abstract.
  std::span<const NSEntityDescription* const> family() const noexcept { return _family; }

  /// Whether relationships without a way back lead to the entity's hierarchy. Requires: the model
  /// is alive and complete.
  bool isLedToWithoutWayBack() const;

  /// Whether there are values that a store keeps data for.
  bool hasTransformed() const noexcept { return _hasTransformed; }
  /// Whether an inserted object has anything but nulls to start with.
  bool hasDefaults() const noexcept { return _hasDefaults; }

  /// The class of the entity's objects.
  /// Fails: raises NSInternalInconsistencyException for a class that is not linked into the
  /// program, is no managed object, or cannot make instances.
  const ClassBinding& objectClass() const {
    const ClassBinding* known = _objectClass.load(std::memory_order_acquire);
    return known ? *known : findObjectClass();
  }
  /// The same of an object's own class, which may be another one. Borrowed from the layout.
  const ClassBinding& bindingOf(const Class& cls) const {
    const ClassBinding& usual = objectClass();
    return usual.cls == &cls ? usual : bindingOfOther(cls);
  }

 private:
  struct IndexEntry {
    const NSString* name = nullptr;
    std::size_t number = 0;
  };
  struct BindingNode {
    ClassBinding binding;
    BindingNode* next;
  };

  std::size_t find(const NSString& name) const noexcept;
  void addSlot(NSPropertyDescription& property);
  void buildIndex();
  ClassBinding makeBinding(const Class& cls) const;
  const ClassBinding& findObjectClass() const;
  const ClassBinding& bindingOfOther(const Class& cls) const;

  const NSEntityDescription& _entity;
  const NSEntityDescription* _root;
  Ref<NSString> _rootName;
  std::vector<const NSEntityDescription*> _family;
  std::vector<Slot> _slots;
  std::vector<std::size_t> _toOnes;
  std::vector<std::size_t> _toManys;
  std::vector<IndexEntry> _index;
  std::size_t _mask = 0;
  bool _hasDefaults = false;
  bool _hasTransformed = false;
  /// Nothing is known at first.
  enum class Answer : std::uint8_t { None, No, Yes };
  mutable std::atomic<Answer> _isLedToWithoutWayBack{Answer::None};
  mutable std::atomic<const ClassBinding*> _objectClass{nullptr};
  mutable std::atomic<BindingNode*> _bindings{nullptr};
};

/// Whether objects already answer the name, so that no property may have it.
bool isReservedPropertyName(std::string_view name) noexcept;

}  // namespace impl
}  // namespace JNFoundation
