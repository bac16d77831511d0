#include <JNFoundation/fetched/ListChanges.h>
#include <JNFoundation/fetched/impl/ListMapping.h>
#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSError.h>

namespace JNFoundation::inline v0_1 {

namespace {

// ---- Writing ------------------------------------------------------------------------------------

Value written(NSUInteger index) { return static_cast<unsigned long long>(index); }

Value written(const ListPlace& place) {
  return NSArray::arrayWithObjects(written(place.section), written(place.item));
}

Value written(const ListMove& move) {
  return NSArray::arrayWithObjects(written(move.from), written(move.to));
}

template <class Entry>
void write(NSMutableDictionary& object, const char* name, const std::vector<Entry>& entries) {
  if (entries.empty()) return;
  const Ref<NSMutableArray> list = NSMutableArray::array();
  for (const Entry& entry : entries) list->addObject(written(entry));
  object.setObjectForKey(list, name);
}

// ---- Reading ------------------------------------------------------------------------------------

bool read(const Value& value, NSUInteger* index) {
  if (!value.isNumber() || value.isBoolean()) return false;
  const std::int64_t number = value.longLongValue();
  if (number < 0 || number >= NSNotFound || !value.isEqual(number)) return false;
  *index = static_cast<NSUInteger>(number);
  return true;
}

/// Returns: null where the value is no list of two.
const NSArray* pairOf(const Value& value) {
  const auto* list = as<NSArray>(value);
  return list && list->count() == 2 ? list : nullptr;
}

bool read(const Value& value, ListPlace* place) {
  const NSArray* pair = pairOf(value);
  return pair && read(pair->objectAtIndex(0), &place->section) &&
         read(pair->objectAtIndex(1), &place->item);
}

bool read(const Value& value, ListMove* move) {
  const NSArray* pair = pairOf(value);
  return pair && read(pair->objectAtIndex(0), &move->from) &&
         read(pair->objectAtIndex(1), &move->to);
}

constexpr const char* formOf(const NSUInteger*) { return "a section"; }
constexpr const char* formOf(const ListPlace*) { return "[section, item]"; }
constexpr const char* formOf(const ListMove*) { return "[[section, item], [section, item]]"; }

/// Returns: what is wrong with the member; null where nothing is.
template <class Entry>
Ref<NSString> readMember(const NSDictionary& object, const char* name,
                         std::vector<Entry>* entries) {
  const Value member = object.objectForKey(name);
  if (member.isNull()) return nullptr;
  const auto* list = as<NSArray>(member);
  if (!list) return NSString::stringWithFormat("\"%s\" is no array", name);
  entries->resize(list->count());
  for (NSUInteger i = 0; i < list->count(); ++i) {
    if (!read(list->objectAtIndex(i), &(*entries)[i])) {
      return NSString::stringWithFormat("\"%s\", number %llu, is not %s", name,
                                        static_cast<unsigned long long>(i),
                                        formOf(entries->data()));
    }
  }
  return nullptr;
}

}  // namespace

Ref<NSDictionary> ListChanges::JSONObject() const {
  const Ref<NSMutableDictionary> object = NSMutableDictionary::dictionary();
  write(*object, "deletedSections", deletedSections);
  write(*object, "insertedSections", insertedSections);
  write(*object, "deleted", deletedItems);
  write(*object, "inserted", insertedItems);
  write(*object, "updated", updatedItems);
  write(*object, "moved", movedItems);
  return object;
}

Ref<NSData> ListChanges::JSONData() const {
  return NSJSONSerialization::dataWithJSONObjectOptionsError(JSONObject(), NSJSONWritingSortedKeys,
                                                             nullptr);
}

bool ListChanges::readJSONObject(const Value& object, ListChanges* changes, Ref<NSError>* error) {
  ListChanges list;
  Ref<NSString> fault;
  if (const auto* members = as<NSDictionary>(object)) {
    const auto readAs = [&](const char* name, auto* entries) {
      if (!fault) fault = readMember(*members, name, entries);
    };
    readAs("deletedSections", &list.deletedSections);
    readAs("insertedSections", &list.insertedSections);
    readAs("deleted", &list.deletedItems);
    readAs("inserted", &list.insertedItems);
    readAs("updated", &list.updatedItems);
    readAs("moved", &list.movedItems);
    if (!fault) fault = impl::ListMapping::faultOf(list);
  } else {
    fault = "there is no object";
  }
  if (fault) {
    if (error) {
      *error = NSError::errorWithDomainCodeUserInfo(
          NSCocoaErrorDomain, NSPropertyListReadCorruptError,
          NSDictionary::dictionaryWithObjectForKey(
              NSString::stringWithFormat("These are no changes of a list: %@.", fault),
              NSLocalizedDescriptionKey));
    }
    return false;
  }
  *changes = std::move(list);
  return true;
}

bool ListChanges::readJSONData(const Ref<NSData>& data, ListChanges* changes, Ref<NSError>* error) {
  Ref<NSError> failure;
  const Value object =
      NSJSONSerialization::JSONObjectWithDataOptionsError(data, NSJSONReadingPlain, &failure);
  if (failure) {
    if (error) *error = failure;
    return false;
  }
  return readJSONObject(object, changes, error);
}

}  // namespace JNFoundation
