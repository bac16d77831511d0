#include "JNFoundation/platform/query/NSSortDescriptor.h"

#include <algorithm>
#include <array>
#include <utility>

#include <JNFoundation/platform/query/impl/Bindings.h>
#include <JNFoundation/platform/query/impl/Members.h>
#include <JNFoundation/platform/text/Folding.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/FatalError.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSSortDescriptor::classObject =
    Class::of<NSSortDescriptor>("NSSortDescriptor");
const Class& NSSortDescriptor::class_() const noexcept { return classObject; }

namespace {

const ClassDeclaration<NSSortDescriptor> declarationOfNSSortDescriptor =
    ClassDeclaration<NSSortDescriptor>()
        .property("key", &NSSortDescriptor::key)
        .property("ascending", &NSSortDescriptor::ascending);

NSComparisonResult signOf(std::int64_t order) noexcept {
  return order < 0 ? NSOrderedAscending : order > 0 ? NSOrderedDescending : NSOrderedSame;
}

/// A comparator and what tells it from others: closures themselves do not compare.
class ComparatorIdentity final : public NSObject {};

}  // namespace

NSSortDescriptor::Order NSSortDescriptor::orderOf(SEL selector) {
  static const std::array<std::pair<SEL, Order>, 5> orders{{
      {"compare:", Order::Compare},
      {"caseInsensitiveCompare:", Order::CaseInsensitive},
      {"localizedCompare:", Order::Localized},
      {"localizedCaseInsensitiveCompare:", Order::LocalizedCaseInsensitive},
      {"localizedStandardCompare:", Order::LocalizedStandard},
  }};
  for (const auto& [known, order] : orders) {
    if (known == selector) return order;
  }
  return Order::OtherSelector;
}

NSSortDescriptor::NSSortDescriptor(Ref<NSString> key, bool ascending, SEL selector)
    : _key(std::move(key)),
      _selector(selector ? selector : SEL("compare:")),
      _order(orderOf(_selector)),
      _ascending(ascending) {
  if (_key) _path = KeyPath(_key);
}

NSSortDescriptor::NSSortDescriptor(Ref<NSString> key, bool ascending, Comparator comparator)
    : _key(std::move(key)),
      _comparator(std::move(comparator)),
      _comparatorIdentity(makeObject<ComparatorIdentity>()),
      _order(Order::ByComparator),
      _ascending(ascending) {
  if (!_comparator) fatalError("sortDescriptorWithKey:ascending:comparator: needs a comparator");
  if (_key) _path = KeyPath(_key);
}

NSSortDescriptor::NSSortDescriptor(const NSSortDescriptor& other, bool ascending)
    : _key(other._key),
      _path(other._path),
      _selector(other._selector),
      _comparator(other._comparator),
      _comparatorIdentity(other._comparatorIdentity),
      _order(other._order),
      _ascending(ascending) {}

Ref<NSSortDescriptor> NSSortDescriptor::sortDescriptorWithKeyAscending(const Ref<NSString>& key,
                                                                       bool ascending) {
  return makeObject<NSSortDescriptor>(key, ascending, SEL());
}

Ref<NSSortDescriptor> NSSortDescriptor::sortDescriptorWithKeyAscendingSelector(
    const Ref<NSString>& key, bool ascending, SEL selector) {
  return makeObject<NSSortDescriptor>(key, ascending, selector);
}

Ref<NSSortDescriptor> NSSortDescriptor::sortDescriptorWithKeyAscendingComparator(
    const Ref<NSString>& key, bool ascending, Comparator comparator) {
  return makeObject<NSSortDescriptor>(key, ascending, std::move(comparator));
}

NSComparisonResult NSSortDescriptor::compareObjectToObject(const Value& left,
                                                           const Value& right) const {
  return compareValues(_path.valueInObject(left), _path.valueInObject(right));
}

NSComparisonResult NSSortDescriptor::compareValues(const Value& left, const Value& right) const {
  const NSComparisonResult order = ascendingOrder(left, right);
  return _ascending ? order : signOf(-order);
}

NSComparisonResult NSSortDescriptor::ascendingOrder(const Value& left, const Value& right) const {
  const bool isLeftNull = impl::isNullLike(left), isRightNull = impl::isNullLike(right);
  if (isLeftNull || isRightNull) return signOf(!isLeftNull - !isRightNull);
  if (_order == Order::ByComparator) return signOf(_comparator(left, right));
  const NSString* leftText = as<NSString>(left);
  const NSString* rightText = as<NSString>(right);
  if (leftText && rightText) {
    switch (_order) {
      case Order::Compare:
        return signOf(compareLiteral(*leftText, *rightText));
      case Order::CaseInsensitive:
        return signOf(compareFolded(*leftText, *rightText, Fold::Case));
      case Order::Localized:
        return signOf(compareLocalized(*leftText, *rightText));
      case Order::LocalizedCaseInsensitive:
        return signOf(compareLocalizedCaseInsensitive(*leftText, *rightText));
      case Order::LocalizedStandard:
        return signOf(compareLocalizedStandard(*leftText, *rightText));
      case Order::OtherSelector:
      case Order::ByComparator:
        break;
    }
  }
  if (!left.respondsToSelector(_selector)) doesNotRecognizeSelector(left, _selector);
  if (_order == Order::Compare) return left.compare(right);
  return signOf(performSelector(left, _selector, right).longLongValue());
}

Ref<NSSortDescriptor> NSSortDescriptor::reversedSortDescriptor() const {
  return makeObject<NSSortDescriptor>(*this, !_ascending);
}

bool NSSortDescriptor::isEqual(const Value& other) const {
  const NSSortDescriptor* descriptor = as<NSSortDescriptor>(other);
  return descriptor && _ascending == descriptor->_ascending && _selector == descriptor->_selector &&
         _comparatorIdentity == descriptor->_comparatorIdentity &&
         Value(_key) == Value(descriptor->_key);
}

std::size_t NSSortDescriptor::hash() const {
  return impl::combinedHash(Value(_key).hash(), std::hash<SEL>()(_selector) ^ _ascending);
}

Ref<NSString> NSSortDescriptor::description() const {
  return NSString::stringWithFormat("(%@, %s, %s)", _key, _ascending ? "ascending" : "descending",
                                    _comparator ? "comparator" : _selector.name());
}

}  // namespace JNFoundation
