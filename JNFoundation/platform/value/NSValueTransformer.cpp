#include "JNFoundation/platform/value/NSValueTransformer.h"

#include <map>
#include <mutex>
#include <shared_mutex>
#include <string>

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/FatalError.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSValueTransformer::classObject =
    Class::of<NSValueTransformer>("NSValueTransformer");

namespace {

const ClassDeclaration<NSValueTransformer> declarationOfNSValueTransformer =
    ClassDeclaration<NSValueTransformer>()
        .operation("transformedValue:", &NSValueTransformer::transformedValue)
        .operation("reverseTransformedValue:", &NSValueTransformer::reverseTransformedValue)
        .operation("allowsReverseTransformation", &NSValueTransformer::allowsReverseTransformation)
        .operation("transformedValueClass",
                   [](const NSValueTransformer& self) { return &self.transformedValueClass(); });

class BlockTransformer final : public NSValueTransformer {
 public:
  BlockTransformer(Block<Value(const Value&)> transform, Block<Value(const Value&)> reverse)
      : _transform(std::move(transform)), _reverse(std::move(reverse)) {}

  Value transformedValue(const Value& value) const override { return _transform(value); }
  Value reverseTransformedValue(const Value& value) const override {
    return _reverse ? _reverse(value) : NSValueTransformer::reverseTransformedValue(value);
  }
  bool allowsReverseTransformation() const override { return static_cast<bool>(_reverse); }

 private:
  Block<Value(const Value&)> _transform;
  Block<Value(const Value&)> _reverse;
};

/// The transformers by name, for the whole process.
class Registry {
 public:
  static Registry& shared() {
    static Registry& registry = *new Registry;  // outlives every static object
    return registry;
  }

  Ref<NSValueTransformer> find(const std::string& name) const {
    const std::shared_lock lock(_mutex);
    const auto found = _transformers.find(name);
    return found == _transformers.end() ? nullptr : found->second;
  }

  void set(const std::string& name, Ref<NSValueTransformer> transformer) {
    // What is replaced goes outside the lock: it may look for transformers while it does.
    const std::unique_lock lock(_mutex);
    if (transformer) {
      _transformers[name].swap(transformer);
    } else if (auto node = _transformers.extract(name)) {
      transformer = std::move(node.mapped());
    }
  }

  /// Of two that come at once the first one stays. Returns: the one that stands under the name.
  Ref<NSValueTransformer> add(const std::string& name, const Ref<NSValueTransformer>& transformer) {
    const std::unique_lock lock(_mutex);
    return _transformers.try_emplace(name, transformer).first->second;
  }

  std::vector<Value> names() const {
    const std::shared_lock lock(_mutex);
    std::vector<Value> names;
    for (const auto& [name, transformer] : _transformers) names.emplace_back(name);
    return names;
  }

 private:
  Registry() {
    const auto negate = [](const Value& value) -> Value {
      return !(value.isNumber() && value.boolValue());
    };
    addAtStart(NSNegateBooleanTransformerName, negate, negate);
    addAtStart(
        NSIsNilTransformerName, [](const Value& value) -> Value { return value.isNull(); },
        nullptr);
    addAtStart(
        NSIsNotNilTransformerName, [](const Value& value) -> Value { return !value.isNull(); },
        nullptr);
  }

  void addAtStart(const char* name, Block<Value(const Value&)> transform,
                  Block<Value(const Value&)> reverse) {
    impl::excludeFromLiveObjects();
    _transformers[name] = NSValueTransformer::transformerWithBlockReverseBlock(std::move(transform),
                                                                               std::move(reverse));
  }

  mutable std::shared_mutex _mutex;
  std::map<std::string, Ref<NSValueTransformer>, std::less<>> _transformers;
};

}  // namespace

NSValueTransformer::NSValueTransformer() = default;
NSValueTransformer::~NSValueTransformer() = default;

void NSValueTransformer::setValueTransformerForName(const Ref<NSValueTransformer>& transformer,
                                                    const Ref<NSString>& name) {
  if (!name) {
    raise(NSInvalidArgumentException,
          "+[NSValueTransformer setValueTransformer:forName:]: the name is null");
  }
  Registry::shared().set(name->toStdString(), transformer);
}

Ref<NSValueTransformer> NSValueTransformer::valueTransformerForName(const Ref<NSString>& name) {
  if (!name) return nullptr;
  const std::string text = name->toStdString();
  if (Ref<NSValueTransformer> known = Registry::shared().find(text)) return known;
  const Class* cls = NSClassFromString(text);
  if (!cls || !cls->isSubclassOf(classObject) || !cls->canMakeInstances()) return nullptr;
  // Made without the lock: a factory may register transformers itself.
  const Value made = cls->newInstance();
  auto* transformer = as<NSValueTransformer>(made);
  return transformer ? Registry::shared().add(text, Ref<NSValueTransformer>(transformer)) : nullptr;
}

Ref<NSArray> NSValueTransformer::valueTransformerNames() {
  return NSArray::arrayWithValues(Registry::shared().names());
}

Ref<NSValueTransformer> NSValueTransformer::transformerWithBlockReverseBlock(
    Block<Value(const Value&)> transform, Block<Value(const Value&)> reverse) {
  if (!transform) {
    fatalError("+[NSValueTransformer transformerWithBlock:reverseBlock:]: the block is null");
  }
  return makeObject<BlockTransformer>(std::move(transform), std::move(reverse));
}

Value NSValueTransformer::transformedValue(const Value&) const { return {}; }

Value NSValueTransformer::reverseTransformedValue(const Value& value) const {
  if (allowsReverseTransformation()) return transformedValue(value);
  raise(NSInvalidArgumentException, "-[%s reverseTransformedValue:]: it cannot be reversed",
        class_().name());
}

bool NSValueTransformer::allowsReverseTransformation() const { return false; }

const Class& NSValueTransformer::transformedValueClass() const { return NSObject::classObject; }

}  // namespace JNFoundation
