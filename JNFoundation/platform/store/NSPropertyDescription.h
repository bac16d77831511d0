#pragma once

#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Weak.h>

namespace JNFoundation::inline v0_1 {

class NSEntityDescription;

/// One property of an entity: what attributes, relationships and computed values have in common.
///
/// A description may be changed until its model is used by a coordinator; from then on every setter
/// raises NSInternalInconsistencyException. An inherited property is the superentity's own
/// description object, so it compares equal wherever it is met.
/// Threads: one thread while it is built; any once its model is in use.
class NSPropertyDescription : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// Interned, so that a look-up by name compares addresses first. Null until it is set.
  const Ref<NSString>& name() const noexcept { return _name; }
  void setName(const Ref<NSString>& name);

  /// The entity that declares the property. Returns: null while no entity has it.
  Ref<NSEntityDescription> entity() const noexcept;

  /// Whether an object may be saved while the value is null. True unless it is set otherwise.
  bool isOptional() const noexcept { return _optional; }
  void setOptional(bool optional);

  /// Whether the value lives in memory only and is never stored.
  bool isTransient() const noexcept { return _transient; }
  void setTransient(bool transient);

  /// Strings that the model keeps beside the property. Never null.
  const Ref<NSDictionary>& userInfo() const noexcept { return _userInfo; }
  void setUserInfo(const Ref<NSDictionary>& userInfo);

  /// Null unless it is set; part of the version hash.
  const Ref<NSString>& versionHashModifier() const noexcept { return _versionHashModifier; }
  void setVersionHashModifier(const Ref<NSString>& modifier);

  /// The property's name in the model version before this one; its own name unless it is set.
  const Ref<NSString>& renamingIdentifier() const noexcept {
    return _renamingIdentifier ? _renamingIdentifier : _name;
  }
  void setRenamingIdentifier(const Ref<NSString>& identifier);

  /// Equal kind, name, flags and, for attributes, type and default.
  bool isEqual(const Value& other) const override;
  std::size_t hash() const override;
  /// The kind, the name and the entity, for logs.
  Ref<NSString> description() const override;

 protected:
  NSPropertyDescription();
  ~NSPropertyDescription() override;

  /// Fails: raises NSInternalInconsistencyException once the model is in use.
  void willChange();
  /// What goes into the version hash, as text that differs where the stored form differs.
  virtual std::string versionHashInput() const;

 private:
  friend class NSEntityDescription;

  Ref<NSString> _name;
  Ref<NSDictionary> _userInfo;
  Ref<NSString> _versionHashModifier;
  Ref<NSString> _renamingIdentifier;
  Weak<NSEntityDescription> _entity;
  bool _optional = true;
  bool _transient = false;
  bool _immutable = false;
};

}  // namespace JNFoundation
