#include "JNFoundation/platform/store/impl/FetchedResults.h"

#include <unordered_set>

namespace JNFoundation::inline v0_1::impl {

FetchedResults::FetchedResults(ResultOrder order, Weak<NSFetchedResultsController> controller)
    : _order(std::move(order)), _controller(std::move(controller)) {
  if (!_order.hasSections()) _wholeSection = makeObject<FetchedSection>(nullptr);
}

// ---- Filling ------------------------------------------------------------------------------------

std::optional<FetchedResults::OutOfOrder> FetchedResults::fill(
    const Ref<NSArray>& objects, std::optional<SectionLengths>& known) {
  std::vector<const NSObject*> list;
  list.reserve(objects->count());
  for (const Value& object : objects) list.push_back(object.object());
  _objects.assign(list);
  if (!_order.hasSections()) return std::nullopt;

  const auto nameAt = [&](std::size_t index) {
    return _order.sectionName(static_cast<const NSManagedObject&>(*list[index]));
  };
  std::vector<const NSObject*> sections;
  std::vector<std::uint32_t> lengths;
  const auto add = [&](const Ref<NSString>& name, std::size_t length) {
    Ref<FetchedSection> section = makeObject<FetchedSection>(name);
    if (!_sectionsByName.emplace(section->name()->utf8(), section.get()).second) return false;
    sections.push_back(section.leak());
    lengths.push_back(static_cast<std::uint32_t>(length));
    return true;
  };
  const auto letGo = [&] {
    for (const NSObject* section : sections) section->release();
  };

  // What is known is believed where each section begins and ends as it says.
  if (known) {
    std::size_t index = 0;
    bool isTrue = true;
    for (const auto& [name, length] : *known) {
      isTrue = isTrue && length > 0 && length <= list.size() - index &&
               nameAt(index)->isEqual(name) && nameAt(index + length - 1)->isEqual(name) &&
               add(name, length);
      if (!isTrue) break;
      index += length;
    }
    if (isTrue && index == list.size()) {
      _sections.assign(sections, lengths);
      letGo();
      return std::nullopt;
    }
    letGo();
    known = std::nullopt;
    _sectionsByName.clear();
    sections.clear();
    lengths.clear();
  }

  Ref<NSString> last;
  for (std::size_t i = 0; i < list.size(); ++i) {
    Ref<NSString> name = nameAt(i);
    if (last && last->isEqual(name)) {
      ++lengths.back();
      continue;
    }
    if (!add(name, 1)) {
      letGo();
      return OutOfOrder{i, std::move(name)};
    }
    last = std::move(name);
  }
  _sections.assign(sections, lengths);
  letGo();
  return std::nullopt;
}

FetchedResults::SectionLengths FetchedResults::sectionLengths() const {
  SectionLengths lengths;
  for (std::size_t i = 0; i < _sections.count(); ++i) {
    const OrderedVersion::Place place = _sections.version().placeAt(i);
    lengths.emplace_back(static_cast<const FetchedSection*>(place.object)->name(), place.weight);
  }
  return lengths;
}

// ---- Reading ------------------------------------------------------------------------------------

OrderedVersion::Place FetchedResults::sectionPlaceAt(std::size_t index) const {
  if (!_order.hasSections()) return {_wholeSection.get(), 0, 0, _objects.count()};
  return _sections.version().placeAtWeight(index);
}

FetchedResults::Path FetchedResults::pathAt(std::size_t index) const {
  const OrderedVersion::Place section = sectionPlaceAt(index);
  return {section.index, index - section.before};
}

FetchedResults::Path FetchedResults::pathNow(const NSManagedObject& object) const {
  return pathAt(_objects.indexOf(object));
}

std::optional<FetchedResults::Path> FetchedResults::pathOf(const NSManagedObject& object) const {
  const std::size_t index = _objects.indexOf(object);
  if (index == OrderedObjects::none) return std::nullopt;
  return pathAt(index);
}

bool FetchedResults::isInPlace(const NSManagedObject& object) const {
  const std::size_t index = _objects.indexOf(object);
  const auto at = [&](std::size_t i) -> const NSManagedObject& {
    return static_cast<const NSManagedObject&>(*_objects.at(i));
  };
  return (index == 0 || _order.isBefore(at(index - 1), object)) &&
         (index + 1 == _objects.count() || _order.isBefore(object, at(index + 1)));
}

std::size_t FetchedResults::sectionCount() const noexcept {
  return _order.hasSections() ? _sections.count() : 1;
}

std::size_t FetchedResults::countOfSection(std::size_t section) const {
  if (!_order.hasSections()) return _objects.count();
  return _sections.version().placeAt(section).weight;
}

const NSObject& FetchedResults::objectAt(const Path& path) const {
  const std::size_t before =
      _order.hasSections() ? _sections.version().placeAt(path.section).before : 0;
  return *_objects.at(before + path.item);
}

Ref<NSArray> FetchedResults::objects() const {
  if (!_objectArray) {
    _objectArray = makeObject<FetchedArray>(_objects.version(), std::size_t{0}, _objects.count());
  }
  return _objectArray;
}

Ref<NSArray> FetchedResults::sections() const {
  if (!_sectionArray) {
    if (_order.hasSections()) {
      _sectionArray =
          makeObject<FetchedSectionArray>(_controller, _sections.version(), _objects.version());
    } else {
      _sectionArray = NSArray::arrayWithObject(infoOf(_wholeSection));
    }
  }
  return _sectionArray;
}

Ref<FetchedSectionInfo> FetchedResults::infoOf(const Ref<FetchedSection>& section) const {
  std::size_t first = 0, count = 0;
  if (section == _wholeSection) {
    count = _objects.count();
  } else if (_sections.contains(*section)) {
    const OrderedVersion::Place place = _sections.placeOf(*section);
    first = place.before;
    count = place.weight;
  }
  return makeObject<FetchedSectionInfo>(
      _controller, section, count > 0 ? _objects.version() : OrderedVersion(), first, count);
}

const FetchedResults::Titles& FetchedResults::titles() const {
  if (_titles.titles) return _titles;
  // Whom the titles are asked for may do anything.
  const OrderedVersion sections = _sections.version();
  Titles found;
  std::vector<Value> titles;
  std::unordered_set<std::string_view> seen;
  for (std::size_t i = 0; i < sections.count(); ++i) {
    const auto* section = static_cast<const FetchedSection*>(sections.placeAt(i).object);
    const Ref<NSString>& title = section->title(_controller);
    if (!title || !seen.insert(title->utf8()).second) continue;
    titles.emplace_back(title);
    found.sections.push_back(i);
  }
  found.titles = NSArray::arrayWithValues(std::move(titles));
  return _titles = std::move(found);
}

void FetchedResults::forgetTitles() const {
  _titles = Titles();
  for (const auto& [name, section] : _sectionsByName) section->forgetTitle();
}

}  // namespace JNFoundation::impl
