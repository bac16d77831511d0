#include "Fuzzing.h"

#include <JNFoundation/mapping/MappingObserver.h>
#include <JNFoundation/mapping/PLVManagedObject.h>
#include <JNFoundation/mapping/ReadyMadeFilters.h>
#include <JNFoundation/mapping/RecordExport.h>
#include <JNFoundation/platform/dispatch/NSLog.h>
#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>

using namespace JNFoundation;

namespace {

using fuzzing::require;

/// Takes messages.
class Reader : public Subclass<Reader, NSManagedObject> {
 public:
  void apply(const Value& value) { messages.push_back(value); }

  std::vector<Value> messages;

 protected:
  using Subclass::Subclass;
};

const ClassDeclaration<Reader> declaration =
    ClassDeclaration<Reader>().factory().operation("apply:", &Reader::apply);

constexpr const char* attributes[] = {"short", "int",  "long", "double",
                                      "float", "text", "flag", "date"};

Ref<NSEntityDescription> makeEntity() {
  const auto model = NSManagedObjectModel::modelWithXMLError(R"xml(
<model>
  <entity name="Reader" representedClassName="Reader">
    <attribute name="short" optional="YES" attributeType="Integer 16"/>
    <attribute name="int" optional="YES" attributeType="Integer 32"/>
    <attribute name="long" optional="YES" attributeType="Integer 64"/>
    <attribute name="double" optional="YES" attributeType="Double"/>
    <attribute name="float" optional="YES" attributeType="Float"/>
    <attribute name="text" optional="YES" attributeType="String"/>
    <attribute name="flag" optional="YES" attributeType="Boolean"/>
    <attribute name="date" optional="YES" attributeType="Date"/>
  </entity>
</model>)xml");
  require(model != nullptr, "the model cannot be read");
  static const Ref<NSManagedObjectModel> kept = model;
  return as<NSEntityDescription>(model->entitiesByName()->objectForKey("Reader"));
}

Ref<Reader> makeObject(const Ref<NSEntityDescription>& entity) {
  return as<Reader>(
      Value(NSManagedObject::initWithEntityInsertIntoManagedObjectContext(entity, nullptr)));
}

Ref<NSDictionary> dictionaryOf(std::string_view text) {
  return as<NSDictionary>(NSJSONSerialization::JSONObjectWithTextOptionsMaximumLengthError(
      text, NSJSONReadingPlain, 1 << 16, nullptr));
}

}  // namespace

// The first line is a descriptor, the rest a record. Whatever they are, nothing raises; an observer
// changes nothing and hears of every value that is stored; and what is exported comes back.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Ref<NSEntityDescription> entity = makeEntity();
  static const Ref<PLVDataMapFilter> filter = [] {
    auto made = PLVDataMapFilter::init();
    registerReadyMadeFilters(made);
    return made;
  }();
  static const LogSinkScope quiet([](const Ref<NSString>&) {});

  const std::string_view text = fuzzing::textOf(data, size);
  const std::size_t line = text.find('\n');
  if (line == std::string_view::npos) return 0;
  const Ref<NSDictionary> descriptor = dictionaryOf(text.substr(0, line));
  const Ref<NSDictionary> record = dictionaryOf(text.substr(line + 1));
  if (!descriptor || !record) return 0;

  const auto map = PLVDictionaryDataMap::newMapForEntityDescriptor(entity, descriptor);
  const auto plain = makeObject(entity), observed = makeObject(entity);
  map->mapDictionaryToObjectFilter(record, plain, filter);
  std::size_t messages = 0;
  map->mapDictionaryToObjectFilterObserver(
      record, observed, filter, [&](const MappingEvent& event) {
        require(event.path()->count() > 0 && event.text()->length() > 0, "an event without a path");
        if (event.kind() == MappingEvent::Kind::Sent) ++messages;
        if (event.kind() == MappingEvent::Kind::Stored) {
          require(observed->valueForKey(event.destination()) == event.storedValue(),
                  "told, and not stored", event.text()->utf8());
          event.isLossy();
        }
      });
  require(messages == observed->messages.size(), "messages that nobody told of");
  require(plain->messages == observed->messages, "an observer changes what is sent");
  for (const char* attribute : attributes) {
    require(plain->valueForKey(attribute) == observed->valueForKey(attribute),
            "an observer changes what is stored", attribute);
  }

  const RecordExport feed(map);
  std::vector<RecordExport::Loss> losses;
  const auto exported = feed.recordOfObject(plain, &losses);
  const auto again = makeObject(entity);
  map->mapDictionaryToObjectFilterObserver(exported, again, filter, [&](const MappingEvent& event) {
    require(
        event.kind() == MappingEvent::Kind::Stored || event.kind() == MappingEvent::Kind::Cleared,
        "exported under a key that no attribute has", event.text()->utf8());
    for (const auto& loss : losses) {
      if (Value(loss.destination) == Value(event.destination())) return;
    }
    require(again->valueForKey(event.destination()) == plain->valueForKey(event.destination()),
            "exported and not the same", event.text()->utf8());
  });
  return 0;
}
