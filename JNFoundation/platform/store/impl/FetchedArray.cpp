#include "JNFoundation/platform/store/impl/FetchedArray.h"

#include <atomic>

namespace JNFoundation::inline v0_1::impl {

constinit const Class FetchedSectionInfo::classObject =
    Class::of<FetchedSectionInfo>("NSFetchedResultsSectionInfo");

namespace {

std::uint64_t nextSerial() noexcept {
  static std::atomic<std::uint64_t> last{0};
  return ++last;
}

/// Where the thread read last. Whoever walks an array reads neighbours, and need not find the way
/// to each of them.
struct ReadingPlace {
  std::uint64_t serial = 0;
  OrderedVersion::Run run{};
};
thread_local ReadingPlace readingPlace;

Value valueOf(const NSObject& object) { return Value(const_cast<NSObject*>(&object)); }

}  // namespace

FetchedArray::FetchedArray(OrderedVersion list, std::size_t first, std::size_t count)
    : NSArray(Representation::Foreign),
      _list(std::move(list)),
      _first(first),
      _count(count),
      _serial(nextSerial()) {}

Value FetchedArray::foreignObjectAtIndex(NSUInteger index) const {
  const std::size_t wanted = _first + index;
  ReadingPlace& place = readingPlace;
  if (place.serial != _serial || wanted - place.run.index >= place.run.count) {
    place = {_serial, _list.runAt(wanted)};
  }
  return valueOf(*place.run.objects[wanted - place.run.index]);
}

const Ref<NSString>& FetchedSection::title(
    const Weak<NSFetchedResultsController>& controller) const {
  if (!_hasTitle && _name) {
    if (Ref<NSFetchedResultsController> asked = controller.load()) {
      Ref<NSString> title = asked->sectionIndexTitleForSectionName(_name);
      _title = std::move(title);
      _hasTitle = true;
    }
  }
  return _title;
}

FetchedSectionInfo::FetchedSectionInfo(Weak<NSFetchedResultsController> controller,
                                       Ref<FetchedSection> section, OrderedVersion objects,
                                       std::size_t first, std::size_t count)
    : _controller(std::move(controller)),
      _section(std::move(section)),
      _list(std::move(objects)),
      _first(first),
      _count(count) {}

Ref<NSArray> FetchedSectionInfo::objects() const {
  if (_count == 0) return NSArray::array();
  return makeObject<FetchedArray>(_list, _first, _count);
}

bool FetchedSectionInfo::isEqual(const Value& other) const {
  const auto* info = as<FetchedSectionInfo>(other);
  if (info == this) return true;
  return info && info->_section == _section && info->_count == _count &&
         objects()->isEqualToArray(info->objects());
}

std::size_t FetchedSectionInfo::hash() const {
  return (_section->name() ? _section->name()->hash() : 0) ^ _count;
}

Ref<NSString> FetchedSectionInfo::description() const {
  return NSString::stringWithFormat("<%s: %p> (name: %@; objects: %lu)", class_().name(),
                                    static_cast<const void*>(this), Value(name()),
                                    static_cast<unsigned long>(_count));
}

Value FetchedSectionArray::foreignObjectAtIndex(NSUInteger index) const {
  const OrderedVersion::Place place = _sections.placeAt(index);
  Ref<FetchedSection> section(
      const_cast<FetchedSection*>(static_cast<const FetchedSection*>(place.object)));
  return Ref<FetchedSectionInfo>(makeObject<FetchedSectionInfo>(
      _controller, std::move(section), _objects, place.before, place.weight));
}

}  // namespace JNFoundation::impl
