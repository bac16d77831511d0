#include <cstdio>
#include <string_view>

#include "Examples.h"

#include <JNFoundation/mapping/PLVManagedObject.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>

namespace examples {
namespace {

// begin
/// What a mapper would do in code stands in the model: "$titel" → "title", and for what no rule can
/// say, a message: "$laufzeit" → "applyDuration:".
class Track : public Subclass<Track, PLVManagedObject> {
 public:
  Ref<PLVDictionaryDataMap> entityDataMap() const override {
    static const auto map = PLVDictionaryDataMap::newMapForEntityDescriptor(
        entity(), PLVDictionaryDataMap::automaticMapDescriptorForEntity(entity()));
    return map;
  }

  /// "3:25" is 205 seconds.
  void applyDuration(const Value& value) {
    const NSString* text = as<NSString>(value);
    const std::size_t colon = text ? text->utf8().find(':') : std::string_view::npos;
    if (colon == std::string_view::npos) return;  // what it had stays
    const Ref<NSString> seconds = text->utf8().substr(colon + 1);
    setValueForKey(text->integerValue() * 60 + seconds->integerValue(), "seconds");
  }
};

const ClassDeclaration<Track> declaration =
    ClassDeclaration<Track>().factory().operation("applyDuration:", &Track::applyDuration);
// end

constexpr const char* modelText = R"(
<model>
  <entity name="Track" representedClassName="Track">
    <attribute name="title" attributeType="String"/>
    <attribute name="seconds" optional="YES" attributeType="Integer 32"/>
    <userInfo>
      <entry key="$titel" value="title"/>
      <entry key="$laufzeit" value="applyDuration:"/>
    </userInfo>
  </entity>
</model>)";

}  // namespace

void fromMappers() {
  const auto context = openInMemory(NSManagedObjectModel::modelWithXMLError(modelText));
  const Value object =
      NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Track", context);
  const auto* track = as<Track>(object);
  as<Track>(object)->mergeDictionary(
      as<NSDictionary>(decoded(R"({"titel": "Regen", "laufzeit": "3:25"})")));
  std::printf("%s takes %d seconds\n", track->valueForKey("title").description()->UTF8String(),
              track->valueForKey("seconds").intValue());
}

}  // namespace examples
