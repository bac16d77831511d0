#include <algorithm>
#include <string>
#include <vector>

#include "Fuzzing.h"

#include <JNFoundation/mapping/MapInspection.h>
#include <JNFoundation/mapping/MappingObserver.h>
#include <JNFoundation/mapping/PLVDataMapFilter.h>
#include <JNFoundation/mapping/PLVDictionaryDataMap.h>
#include <JNFoundation/platform/dispatch/NSLog.h>
#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/store/NSManagedObject.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/value/NSError.h>

using namespace JNFoundation;
using fuzzing::require;

namespace {

/// What an inspection foretells of the log is what building the map logs, and it logs nothing.
Ref<PLVDictionaryDataMap> inspectedMap(const Ref<NSEntityDescription>& entity) {
  std::vector<std::string> said, foretold;
  LogSinkScope sink([&](const Ref<NSString>& line) {
    const std::string text = line->toStdString();
    said.push_back(text.substr(text.find(") ") + 2));
  });
  const MapInspection inspection = MapInspection::ofEntity(entity);
  require(said.empty(), "an inspection logs");
  for (const MapInspection::Problem& problem : inspection.problems) {
    require(!problem.reason->utf8().empty(), "a problem without a reason");
    if (problem.isLogged()) foretold.push_back(problem.reason->toStdString());
  }
  const auto map = PLVDictionaryDataMap::newMapForEntityDescriptor(
      entity, PLVDictionaryDataMap::automaticMapDescriptorForEntity(entity));
  std::sort(said.begin(), said.end());
  std::sort(foretold.begin(), foretold.end());
  require(said == foretold, "the log says something else", said.empty() ? "" : said.front());
  return map;
}

void tryRecord(const PLVDictionaryDataMap& map, const Ref<NSEntityDescription>& entity,
               const Ref<NSDictionary>& record) {
  const auto object =
      NSManagedObject::initWithEntityInsertIntoManagedObjectContext(entity, nullptr);
  std::size_t events = 0;
  map.mapDictionaryToObjectFilterObserver(record, object, nullptr, [&](const MappingEvent& event) {
    ++events;
    require(!event.pathText()->utf8().empty() || event.path()->count() > 0,
            "a value without a path");
    require((event.kind() == MappingEvent::Kind::Ignored) == !event.destination(),
            "a destination for what is ignored, or none for what is not");
    static_cast<void>(event.isLossy());
    static_cast<void>(event.text());
  });
  require(events > 0 || record->count() == 0 || map.dictionaryMaps()->count() > 0,
          "values without a word");
}

}  // namespace

// What jnmap reads: a data model, and behind a zero byte the records to be tried on it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = fuzzing::textOf(data, size);
  const std::size_t end = std::min(text.find('\0'), size);
  const auto model = NSManagedObjectModel::modelWithXMLError(text.substr(0, end), nullptr);
  if (!model) return 0;
  MapInspection::problemsOfModel(model, {});
  const Value records = NSJSONSerialization::JSONObjectWithTextOptionsError(
      text.substr(std::min(end + 1, size)), NSJSONReadingPlain, nullptr);
  LogSinkScope silence([](const Ref<NSString>&) {});
  for (const auto& entity : model->entityList()) {
    // No class of an application is here.
    if (entity->managedObjectClassName()->utf8() != "NSManagedObject") {
      entity->setManagedObjectClassName("NSManagedObject");
    }
    const auto map = inspectedMap(entity);
    if (entity->isAbstract()) continue;
    if (const auto* record = as<NSDictionary>(records)) {
      tryRecord(*map, entity, Ref<NSDictionary>(const_cast<NSDictionary*>(record)));
    } else if (const auto* list = as<NSArray>(records)) {
      for (NSUInteger i = 0; i < list->count(); ++i) {
        const auto element = as<NSDictionary>(list->objectAtIndex(i));
        if (element) tryRecord(*map, entity, element);
      }
    }
  }
  return 0;
}
