// An application on generated classes: every kind of property, rules and messages.

#include "Rich.h"

#include <string>
#include <vector>

#include "Opened.h"
#include "Other.h"

#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSUUID.h>

namespace {

void testProperties(const Ref<NSManagedObjectContext>& context) {
  const Ref<shop::Rich> rich = shop::Rich::insertInManagedObjectContext(context);
  EXPECT(rich && isKindOf<shop::Rich>(Value(rich)) && isKindOf<shop::Root>(Value(rich)));
  EXPECT(!rich->small() && !rich->maybe() && !rich->text() && !rich->other());
  EXPECT(rich->medium() == 0 && !rich->truth() && rich->narrow() == 0);
  rich->setCode("of the root");
  rich->setSmall(-3);
  rich->setMedium(70000);
  rich->setLarge(std::int64_t{1} << 60);
  rich->setExact(NSDecimalNumber::decimalNumberWithString("7.25"));
  rich->setWide(0.1);
  rich->setNarrow(1.5f);
  rich->setText("text");
  rich->setTruth(true);
  rich->setMaybe(false);
  const Value date = NSDate::dateWithTimeIntervalSince1970(1000);
  rich->setBorn(date);
  const auto uuid = NSUUID::UUID();
  rich->setIdentity(uuid);
  rich->setHome(NSURL::URLWithString("https://example.org/"));
  rich->setDefault("a keyword");
  rich->setX("small");
  rich->setX_("large");
  EXPECT(rich->code()->utf8() == "of the root");
  EXPECT(rich->small() == -3 && rich->medium() == 70000 && rich->large() == std::int64_t{1} << 60);
  EXPECT(rich->exact()->stringValue()->utf8() == "7.25" && rich->wide() == 0.1 &&
         rich->narrow() == 1.5f);
  EXPECT(rich->text()->utf8() == "text" && rich->truth() && rich->maybe() == false);
  EXPECT(rich->born() == date && rich->identity()->isEqual(Value(uuid)));
  EXPECT(rich->home()->absoluteString()->utf8() == "https://example.org/");
  EXPECT(rich->default_()->utf8() == "a keyword");
  EXPECT(rich->valueForKey("x") == "small" && rich->valueForKey("X") == "large");
  EXPECT(rich->x()->utf8() == "small" && rich->X()->utf8() == "large");
  rich->setSmall(std::nullopt);
  EXPECT(!rich->small() && rich->valueForKey("small").isNull());
}

void testRelationships(const Ref<NSManagedObjectContext>& context) {
  const auto rich = shop::Rich::insertInManagedObjectContext(context);
  const auto other = shop::Other::insertInManagedObjectContext(context);
  rich->setOther_(other);
  EXPECT(rich->other().get() == other.get());
  EXPECT(other->riches()->containsObject(Value(rich)));
  other->removeFromRiches(rich);
  EXPECT(!rich->other());
  rich->addToOthers(other);
  EXPECT(rich->others()->count() == 1 && rich->mutableOthers()->count() == 1);
  rich->removeFromOthers(other);
  EXPECT(rich->others()->count() == 0);
  const auto next = shop::Rich::insertInManagedObjectContext(context);
  rich->addToLine(next);
  rich->addToLine(rich);
  EXPECT(rich->line()->objectAtIndex(0) == Value(next) && rich->line()->count() == 2);
}

void testMapping(const Ref<NSManagedObjectContext>& context) {
  std::vector<std::string> log;
  LogSinkScope sink([&](const Ref<NSString>& line) { log.push_back(line->toStdString()); });
  const auto rich = shop::Rich::insertInManagedObjectContext(context);
  rich->mergeDictionary(NSDictionary::dictionaryWithEntries({{"wide", 2.5},
                                                             {"payload", "for the application"},
                                                             {"odder", "odd"},
                                                             {"all", 1},
                                                             {"größe", 3}}));
  EXPECT(rich->wide() == 2.5 && rich->valueForKey("größe") == Value(3));
  // What the application has not written yet is said, and not lost without a word.
  const auto wasSaid = [&](const char* text) {
    for (const std::string& line : log) {
      if (line.find(text) != line.npos) return true;
    }
    return false;
  };
  EXPECT(wasSaid("Rich does nothing yet with applyPayload: for the application"));
  EXPECT(wasSaid("does nothing yet with applyAll: 1"));
  EXPECT(wasSaid("does nothing yet with apply \"%@\" \\: odd"));
  EXPECT(rich->entityDataMap().get() ==
         shop::Rich::insertInManagedObjectContext(context)->entityDataMap().get());
  EXPECT(rich->entityDataMap().get() !=
         shop::Other::insertInManagedObjectContext(context)->entityDataMap().get());
}

void testFetching(const Ref<NSManagedObjectContext>& context) {
  EXPECT(shop::Rich::entityInManagedObjectContext(context)->name()->utf8() == "Rich");
  const auto rich = shop::Rich::insertInManagedObjectContext(context);
  rich->setText("needle");
  const Ref<shop::Rich> found =
      shop::Rich::firstObjectInContextErrorMatching(context, nullptr, "text == %@", "needle");
  EXPECT(found.get() == rich.get());
}

}  // namespace

int main() {
  MainQueueScope scope;
  const auto context = openedContext();
  testProperties(context);
  testRelationships(context);
  testMapping(context);
  testFetching(context);
}
