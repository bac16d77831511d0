#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "Command.h"
#include "ModelFile.h"
#include "Output.h"
#include "Records.h"
#include "StandIn.h"

#include <JNFoundation/mapping/MappingObserver.h>
#include <JNFoundation/mapping/PLVDictionaryDataMap.h>
#include <JNFoundation/platform/dispatch/NSLog.h>
#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/store/NSCoreDataErrors.h>
#include <JNFoundation/platform/text/DateText.h>
#include <JNFoundation/platform/value/NSError.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSNull.h>

namespace jnmap {
namespace {

using Style = Output::Style;
using Kind = MappingEvent::Kind;
using Reason = MappingEvent::Reason;
using Conversion = MappingEvent::Conversion;

struct KindName {
  Kind kind;
  const char* name;
  Style style;
};
constexpr KindName kindNames[] = {{Kind::Stored, "stored", Style::Green},
                                  {Kind::Cleared, "cleared", Style::Yellow},
                                  {Kind::Sent, "sent", Style::Cyan},
                                  {Kind::Refused, "refused", Style::Red},
                                  {Kind::Ignored, "ignored", Style::Faint}};

const KindName& nameOf(Kind kind) { return kindNames[static_cast<std::size_t>(kind)]; }

const char* nameOf(Conversion conversion) {
  switch (conversion) {
    case Conversion::None:
      break;
    case Conversion::NumberFromText:
      return "number from text";
    case Conversion::TextFromNumber:
      return "text from number";
    case Conversion::DateFromText:
      return "date from text";
    case Conversion::DateFromNumber:
      return "date from milliseconds";
  }
  return "";
}

std::string counted(std::size_t count, const char* one) {
  return std::to_string(count) + ' ' + one + (count == 1 ? "" : "s");
}

/// A date with its fraction of a second, in the form that records have; else the description.
Ref<NSString> plainText(const Value& value) {
  return value.isDate()
             ? NSString::fromText(rfc3339FromSecondsSince1970(value.timeIntervalSince1970()))
             : value.description();
}

/// A value in a few words.
std::string shortText(const Value& value) {
  constexpr std::size_t longest = 40;
  if (value.isNull() || value.isNSNull()) return "null";
  if (const auto* list = as<NSArray>(value)) return "[" + counted(list->count(), "element") + "]";
  if (const auto* object = as<NSDictionary>(value)) {
    return "{" + counted(object->count(), "key") + "}";
  }
  if (const auto* text = as<NSString>(value)) {
    const bool isLong = text->length() > longest;
    return '"' +
           printable((isLong ? text->substringToIndex(longest) : Ref<NSString>(as<NSString>(value)))
                         ->utf8()) +
           (isLong ? "…\"" : "\"");
  }
  if (value.isBoolean()) return value.boolValue() ? "true" : "false";
  return printable(plainText(value)->utf8());
}

/// What can be said in JSON, as it is; anything else as its text.
Value jsonValue(const Value& value) {
  if (value.isNull()) return NSNull::null();
  if (value.isString() || value.isNSNull()) return value;
  // The line that it goes into has levels of its own.
  Value inLine = value;
  for (int level = 0; level < 3; ++level) inLine = NSArray::arrayWithObject(inLine);
  return NSJSONSerialization::isValidJSONObject(inLine) ? value : Value(plainText(value));
}

struct Settings {
  KnownNames known;
  bool isJSON = false;
  /// Empty for all.
  std::set<Kind> only;
  std::size_t limit = static_cast<std::size_t>(-1);
  RecordSource source;
};

/// Maps records one by one, each onto an object of its own that nobody saves, and prints what
/// became of their values.
class Trial {
 public:
  Trial(const Settings& settings, const Ref<NSEntityDescription>& entity,
        const MapInspection& inspection)
      : _settings(settings),
        _entity(entity),
        _map(PLVDictionaryDataMap::newMapForEntityDescriptor(
            entity, PLVDictionaryDataMap::automaticMapDescriptorForEntity(entity))),
        _filter(JnmapFilter::filterFor(settings.known.filters ? settings.known.filters
                                                              : Ref<NSSet>(_map->filterNames()))) {
    for (const auto& problem : inspection.problems) {
      if (!problem.isDropped() || problem.path.empty()) continue;
      auto path = NSMutableArray::array();
      for (const auto& inputKey : problem.path) path->addObject(inputKey);
      _droppedRules.emplace(pathText(path), problem.reason->toStdString());
    }
  }

  void tryRecord(const Value& record) {
    ++_records;
    _rows = Table();
    _events = NSMutableArray::array();
    const auto dictionary = as<NSDictionary>(Value(record));
    if (!dictionary) {
      ++_notRecords;
      printNoRecord(record);
      return;
    }
    const Ref<NSManagedObject> object =
        NSManagedObject::initWithEntityInsertIntoManagedObjectContext(_entity, nullptr);
    try {
      _map->mapDictionaryToObjectFilterObserver(dictionary, object, _filter,
                                                [this](const MappingEvent& event) { note(event); });
    } catch (const Raised&) {
      // The event before has told it; the rest of this record is lost.
    }
    print(unsavedReasons(*object));
  }

  bool isFull() const { return _records >= _settings.limit; }
  int finish() const {
    if (!_settings.isJSON) printSummary();
    return _problems + _notRecords > 0 ? Problems : Clean;
  }

 private:
  static std::string pathText(const Ref<NSArray>& path) {
    std::string text;
    for (const Value& key : *path) text += key.description()->toStdString() + '\n';
    return text;
  }

  /// Whether a value did not arrive as it came, though a rule took it.
  static bool isProblem(const MappingEvent& event) {
    if (event.kind() == Kind::Refused || event.isLossy()) return true;
    return event.reason() == Reason::NoFilter || event.reason() == Reason::UnknownFilter ||
           event.reason() == Reason::NotADate;
  }

  std::string reasonOf(const MappingEvent& event) const {
    if (event.kind() == Kind::Ignored) {
      const auto dropped = _droppedRules.find(pathText(event.path()));
      if (dropped != _droppedRules.end()) return "its rule does not work: " + dropped->second;
    }
    const Ref<NSString> reason = event.reasonText();
    return reason ? reason->toStdString() : std::string();
  }

  void note(const MappingEvent& event) {
    ++_counts[static_cast<std::size_t>(event.kind())];
    const bool isBad = isProblem(event);
    if (isBad) ++_problems;
    if (event.isLossy()) ++_lossy;
    if (event.filterName() && !event.value().isNSNull())
      _filtersUsed.insert(event.filterName()->toStdString());
    if (event.kind() == Kind::Sent) _messagesUsed.insert(event.destination()->toStdString());
    if (!_settings.only.empty() && _settings.only.count(event.kind()) == 0) return;
    if (_settings.isJSON) {
      _events->addObject(jsonOf(event));
    } else {
      addRow(event, isBad);
    }
  }

  Value jsonOf(const MappingEvent& event) const {
    const std::string reason = reasonOf(event);
    return NSDictionary::dictionaryWithEntries(
        {{"kind", nameOf(event.kind()).name},
         {"path", Value(event.path())},
         {"destination", event.destination() ? Value(event.destination()) : Value(NSNull::null())},
         {"filter", event.filterName() ? Value(event.filterName()) : Value(NSNull::null())},
         {"value", jsonValue(event.value())},
         {"stored", jsonValue(event.storedValue())},
         {"conversion", nameOf(event.conversion())},
         {"lossy", event.isLossy()},
         {"reason", reason}});
  }

  void addRow(const MappingEvent& event, bool isBad) {
    const KindName& kind = nameOf(event.kind());
    std::string values = shortText(event.value());
    const std::string stored = shortText(event.storedValue());
    if (event.kind() == Kind::Stored && stored != values) values += " → " + stored;
    std::string remark;
    const auto add = [&remark](const std::string& text) {
      if (!text.empty()) remark += (remark.empty() ? "" : "; ") + printable(text);
    };
    if (event.filterName() && event.reason() == Reason::None) {
      add("filter " + event.filterName()->toStdString() + " not run");
    }
    if (event.kind() == Kind::Stored) add(nameOf(event.conversion()));
    if (event.isLossy()) add("loses something");
    add(reasonOf(event));
    _rows.add({{kind.name, isBad ? Style::Red : kind.style},
               {printable(event.pathText()->utf8()), Style::Bold},
               {event.destination() ? "→ " + printable(event.destination()->utf8()) : ""},
               {values},
               {remark, isBad ? Style::Red : Style::Faint}});
  }

  /// Why a save would not take the object as it is now.
  static std::vector<std::string> unsavedReasons(NSManagedObject& object) {
    Ref<NSError> error;
    if (object.validateForInsert(&error)) return {};
    std::vector<std::string> reasons;
    const Value details = error->userInfo()->objectForKey(NSDetailedErrorsKey);
    if (const auto* list = as<NSArray>(details)) {
      for (NSUInteger i = 0; i < list->count(); ++i) {
        reasons.push_back(
            as<NSError>(list->objectAtIndex(i))->localizedDescription()->toStdString());
      }
    } else {
      reasons.push_back(error->localizedDescription()->toStdString());
    }
    return reasons;
  }

  void print(const std::vector<std::string>& unsaved) const {
    Output& output = Output::standard();
    if (_settings.isJSON) {
      auto reasons = NSMutableArray::array();
      for (const std::string& reason : unsaved) reasons->addObject(reason);
      printLine({{"record", _records}, {"events", Value(_events)}, {"unsaved", Value(reasons)}});
      return;
    }
    if (_rows.isEmpty() && !_settings.only.empty()) return;
    output.write(output.styled(Style::Bold, "record " + std::to_string(_records)) + '\n');
    output.write(_rows.text(output, "  "));
    if (!_settings.only.empty()) return;
    for (const std::string& reason : unsaved) {
      output.write("  " + output.styled(Style::Yellow, "unsaved") + "  " + printable(reason) +
                   '\n');
    }
  }

  void printNoRecord(const Value& value) const {
    if (_settings.isJSON) {
      printLine({{"record", _records}, {"error", "no record"}, {"value", jsonValue(value)}});
      return;
    }
    Output& output = Output::standard();
    output.write(output.styled(Style::Bold, "record " + std::to_string(_records)) + "\n  " +
                 output.styled(Style::Red, shortText(value) + " is no record") + '\n');
  }

  static void printLine(std::vector<NSDictionary::Pair> entries) {
    const auto line = NSJSONSerialization::stringWithJSONObjectOptionsError(
        NSDictionary::dictionaryWithEntries(std::move(entries)), NSJSONWritingCompact, nullptr);
    Output::standard().write(line->toStdString() + '\n');
  }

  static std::string listOf(const std::set<std::string>& names) {
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : ", ") + printable(name);
    return text;
  }

  void printSummary() const {
    std::string text = counted(_records, "record") + ": ";
    for (const KindName& kind : kindNames) {
      text += std::to_string(_counts[static_cast<std::size_t>(kind.kind)]) + ' ' + kind.name +
              (kind.kind == Kind::Ignored ? "" : ", ");
    }
    if (_lossy > 0) text += "; " + std::to_string(_lossy) + " of the stored lose something";
    if (_notRecords > 0) text += "; " + counted(_notRecords, "element") + " no record";
    text += '\n';
    if (!_filtersUsed.empty()) {
      text += "Filters of the application, which pass values on unchanged here: " +
              listOf(_filtersUsed) + '\n';
    }
    if (!_messagesUsed.empty()) {
      text += "Messages to classes of the application, which do nothing here: " +
              listOf(_messagesUsed) + '\n';
    }
    Output::standard().write(text);
  }

  const Settings& _settings;
  Ref<NSEntityDescription> _entity;
  Ref<PLVDictionaryDataMap> _map;
  Ref<PLVDataMapFilter> _filter;
  /// Path to why the rule is not in the map.
  std::map<std::string, std::string> _droppedRules;
  std::set<std::string> _filtersUsed, _messagesUsed;
  std::size_t _records = 0, _notRecords = 0, _problems = 0, _lossy = 0;
  std::size_t _counts[std::size(kindNames)] = {};
  Table _rows;
  Ref<NSMutableArray> _events;
};

std::set<Kind> kindsFrom(const std::string& list) {
  std::set<Kind> kinds;
  for (const std::string& name : listFrom(list)) {
    const auto* found = std::find_if(std::begin(kindNames), std::end(kindNames),
                                     [&](const KindName& kind) { return kind.name == name; });
    if (found == std::end(kindNames)) {
      throw UsageError("--only takes stored, cleared, sent, refused and ignored, not '" + name +
                       "'");
    }
    kinds.insert(found->kind);
  }
  return kinds;
}

int run(const Command& command, int argc, char** argv) {
  Settings settings;
  std::vector<Option> options = {
      {"json", nullptr, "Print a JSON object for each record, on a line of its own.",
       [&](const std::string&) { settings.isJSON = true; }},
      {"only", "KIND,…", "Print values that were stored, cleared, sent, refused or ignored only.",
       [&](const std::string& list) { settings.only = kindsFrom(list); }},
      {"limit", "COUNT", "Stop after that many records.",
       [&](const std::string& text) { settings.limit = countFrom("limit", text); }}};
  for (Option& option : settings.source.options()) options.push_back(std::move(option));
  for (Option& option : settings.known.options()) options.push_back(std::move(option));
  options.push_back(colourOption());
  const auto operands = readArguments(command, options, argc, argv);
  if (operands.empty()) return Clean;

  const Ref<NSManagedObjectModel> model = readModel(operands[0]);
  const Ref<NSEntityDescription> entity = entityNamed(model, operands[1]);
  if (entity->isAbstract()) {
    throw Failure("the entity '" + operands[1] + "' is abstract, so that it has no objects");
  }
  const MapInspection inspection =
      MapInspection::ofEntity(entity, settings.known.inspectionOptions());
  standInForClassesOf(*model, settings.known.messages);
  // What the log says, the events say as well.
  LogSinkScope silence([](const Ref<NSString>&) {});
  Trial trial(settings, entity, inspection);
  settings.source.enumerate(operands[2], [&trial](const Value& record) {
    if (trial.isFull()) return false;
    trial.tryRecord(record);
    return !trial.isFull();
  });
  return trial.finish();
}

}  // namespace

const Command tryCommand = {
    "try",
    "MODEL ENTITY FILE.json",
    "Map records without saving them, and say what became of every value.",
    "Maps each record of the file (a list, one record, or - for standard input) onto an object of\n"
    "the entity that is never saved, and prints of every value where it went, how it was "
    "converted,\n"
    "why it was refused or ignored, and what would keep the object from being saved. Filters and\n"
    "messages of the application are not part of jnmap: such values go on unchanged, or nowhere.",
    3,
    &run};

}  // namespace jnmap
