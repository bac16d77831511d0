#include "JNFoundation/platform/query/KeyPath.h"

#include <algorithm>
#include <array>
#include <utility>

#include <JNFoundation/platform/query/KeyValueCoding.h>
#include <JNFoundation/platform/query/impl/KeyReading.h>
#include <JNFoundation/platform/query/impl/Members.h>
#include <JNFoundation/platform/query/impl/Summary.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSNull.h>

namespace JNFoundation::inline v0_1 {

struct KeyPath::Parsed {
  Ref<NSString> text;
  std::vector<Step> steps;
};

namespace {

using Steps = std::span<const KeyPath::Step>;
using enum CollectionOperator;

CollectionOperator operatorNamed(std::string_view key) {
  static constexpr std::array<std::pair<std::string_view, CollectionOperator>, 10> operators{{
      {"@count", Count},
      {"@avg", Average},
      {"@sum", Sum},
      {"@min", Minimum},
      {"@max", Maximum},
      {"@unionOfObjects", UnionOfObjects},
      {"@distinctUnionOfObjects", DistinctUnionOfObjects},
      {"@unionOfArrays", UnionOfArrays},
      {"@distinctUnionOfArrays", DistinctUnionOfArrays},
      {"@distinctUnionOfSets", DistinctUnionOfSets},
  }};
  if (key.empty() || key[0] != '@') return None;
  for (const auto& [name, collectionOperator] : operators) {
    if (name == key) return collectionOperator;
  }
  return Unknown;
}

Ref<NSString> keyOf(std::string_view text) {
  if (NSString* interned = NSString::internedIfPresent(text)) return interned;
  return NSString::fromText(text);
}

/// How a collection came to be the object at hand, which decides what becomes of collections
/// inside.
enum class CollectionOrigin {
  Given,    ///< the path starts with it: one result per member, nested where they are nested
  Reached,  ///< a key led to it: what its members lead to is laid out flat
};

Value valueAlong(Steps steps, const Value& object);
Value valueAlong(Steps steps, Value object, CollectionOrigin origin);

Value distinct(std::vector<Value> values) {
  return NSOrderedSet::orderedSetWithValues(std::move(values))->array();
}

[[noreturn]] void raiseOperator(const Value& collection, const KeyPath::Step& step,
                                std::string_view trouble) {
  raise(NSInvalidArgumentException, "[<%s %p> valueForKeyPath:]: %s %s",
        collection.class_()->name(), static_cast<const void*>(collection.object()),
        step.key->utf8(), trouble);
}

/// What the path finds in each member; `unite` takes apart the collections that it finds.
std::vector<Value> found(const Value& collection, Steps path, bool unite) {
  std::vector<Value> members, values;
  impl::appendMembers(collection, members);
  values.reserve(members.size());
  for (const Value& member : members) {
    Value value = valueAlong(path, member);
    if (!unite || !impl::appendMembers(value, values)) values.push_back(std::move(value));
  }
  return values;
}

/// What the path finds in each member, which must be there; collections of values where `nested`.
std::vector<Value> foundObjects(const Value& collection, const KeyPath::Step& step, Steps path,
                                bool nested, CollectionOrigin origin) {
  std::vector<Value> values;
  for (Value& value : found(collection, path, !nested && origin == CollectionOrigin::Reached)) {
    if (value.isNull()) raiseOperator(collection, step, "found null");
    if (!nested) {
      values.push_back(std::move(value));
    } else if (!impl::appendMembers(value, values)) {
      raiseOperator(collection, step, "found what is no collection");
    }
  }
  return values;
}

Value operatorResult(const Value& collection, const KeyPath::Step& step, Steps path,
                     CollectionOrigin origin) {
  switch (step.collectionOperator) {
    case Count: {
      NSInteger count = 0;
      impl::forEachMember(collection, [&](const Value&) { return ++count, true; });
      return count;
    }
    case Average:
      return impl::averageOf(found(collection, path, true));
    case Sum:
      return impl::sumOf(found(collection, path, true));
    case Minimum:
      return impl::minimumOf(found(collection, path, true));
    case Maximum:
      return impl::maximumOf(found(collection, path, true));
    case UnionOfObjects:
      return NSArray::arrayWithValues(foundObjects(collection, step, path, false, origin));
    case DistinctUnionOfObjects:
      return distinct(foundObjects(collection, step, path, false, origin));
    case UnionOfArrays:
      return NSArray::arrayWithValues(foundObjects(collection, step, path, true, origin));
    case DistinctUnionOfArrays:
      return distinct(foundObjects(collection, step, path, true, origin));
    case DistinctUnionOfSets:
      return NSSet::setWithValues(foundObjects(collection, step, path, true, origin));
    case None:
    case Unknown:
      break;
  }
  raise(NSInvalidArgumentException,
        "[<%s %p> valueForKeyPath:]: this class does not implement the %s operation.",
        collection.class_()->name(), static_cast<const void*>(collection.object()),
        step.key->utf8().substr(1));
}

Value valueAlong(Steps steps, Value object, CollectionOrigin origin) {
  for (std::size_t i = 0; i < steps.size(); ++i) {
    const KeyPath::Step& step = steps[i];
    if (impl::isNullLike(object)) return object;
    if (!impl::isCollection(object)) {
      object = impl::valueForKeyOfOne(object, step.key);
      origin = CollectionOrigin::Reached;
    } else if (step.collectionOperator != None) {
      return operatorResult(object, step, steps.subspan(i + 1), origin);
    } else if (origin == CollectionOrigin::Reached) {
      object = impl::mapMembers(object, impl::Nested::Flattened, [&](const Value& member) {
        return impl::valueForKeyOfOne(member, step.key);
      });
    } else {
      return impl::mapMembers(object, impl::Nested::Kept, [&](const Value& member) {
        return valueAlong(steps.subspan(i), member);
      });
    }
  }
  return object;
}

Value valueAlong(Steps steps, const Value& object) {
  return valueAlong(steps, object, CollectionOrigin::Given);
}

/// One key further, of every one of the values: what is null stays, collections are taken apart.
std::vector<Value> valuesOneKeyFurther(std::span<const Value> values, const Ref<NSString>& key) {
  std::vector<Value> further;
  further.reserve(values.size());
  for (const Value& value : values) {
    Value next = impl::isNullLike(value) ? Value() : valueForKey(value, key);
    if (!impl::appendMembers(next, further)) further.push_back(std::move(next));
  }
  return further;
}

Value arrayWithNulls(std::vector<Value> values) {
  for (Value& value : values) value = orNSNull(value);
  return NSArray::arrayWithValues(std::move(values));
}

}  // namespace

KeyPath::KeyPath(const Ref<NSString>& path) {
  if (!path) raise(NSInvalidArgumentException, "a key path must not be nil");
  auto parsed = std::make_shared<Parsed>();
  parsed->text = path;
  std::string_view rest = path->utf8();
  std::size_t operators = 0;
  for (bool more = true; more;) {
    const std::size_t dot = rest.find('.');
    more = dot != std::string_view::npos;
    const std::string_view key = rest.substr(0, dot);
    if (more) rest.remove_prefix(dot + 1);
    parsed->steps.push_back({keyOf(key), operatorNamed(key)});
    if (parsed->steps.back().collectionOperator != None && ++operators > maximumOperators) {
      raise(NSInvalidArgumentException, "a key path must not have more than %d operators",
            maximumOperators);
    }
  }
  // The path is the key then, and one string serves as both.
  if (parsed->steps.size() == 1) parsed->text = parsed->steps[0].key;
  _parsed = std::move(parsed);
}

Ref<NSString> KeyPath::text() const { return _parsed ? _parsed->text : NSString::string(); }

std::span<const KeyPath::Step> KeyPath::steps() const noexcept {
  return _parsed ? Steps(_parsed->steps) : Steps();
}

const NSString* KeyPath::singleKey() const noexcept {
  const Steps steps = this->steps();
  return steps.size() == 1 && steps[0].collectionOperator == None ? steps[0].key.get() : nullptr;
}

Value KeyPath::valueInObject(const Value& object) const { return valueAlong(steps(), object); }

bool KeyPath::appendValuesInObject(const Value& object, std::vector<Value>& values) const {
  Value one = object;
  std::vector<Value> all;
  bool many = impl::appendMembers(one, all);
  const Steps steps = this->steps();
  for (std::size_t i = 0; i < steps.size(); ++i) {
    if (many && steps[i].collectionOperator != None) {
      one = operatorResult(arrayWithNulls(std::move(all)), steps[i], steps.subspan(i + 1),
                           CollectionOrigin::Reached);
      all.clear();
      many = impl::appendMembers(one, all);
      break;
    }
    if (many) {
      all = valuesOneKeyFurther(all, steps[i].key);
      continue;
    }
    if (impl::isNullLike(one)) return true;
    one = impl::valueForKeyOfOne(one, steps[i].key);
    many = impl::appendMembers(one, all);
  }
  if (!many) return impl::isNullLike(one);
  values.insert(values.end(), std::make_move_iterator(all.begin()),
                std::make_move_iterator(all.end()));
  return true;
}

void KeyPath::setValueInObject(const Value& value, const Value& object) const {
  const Steps steps = this->steps();
  if (steps.empty()) raise(NSInvalidArgumentException, "a path without keys cannot be written");
  setValueForKey(valueAlong(steps.first(steps.size() - 1), object), value, steps.back().key);
}

bool operator==(const KeyPath& left, const KeyPath& right) {
  return left._parsed == right._parsed ||
         (left._parsed && right._parsed && left._parsed->text->hasContentOf(*right._parsed->text));
}

}  // namespace JNFoundation
