#include <algorithm>
#include <csignal>
#include <cstdio>
#include <string>
#include <unistd.h>
#include <vector>

#include "Command.h"
#include "ModelFile.h"
#include "Output.h"
#include "Records.h"
#include "StandIn.h"

#include <JNFoundation/importing/RecordImport.h>
#include <JNFoundation/mapping/PLVDictionaryDataMap.h>
#include <JNFoundation/mapping/ReadyMadeFilters.h>
#include <JNFoundation/platform/dispatch/NSLog.h>
#include <JNFoundation/platform/dispatch/NSRunLoop.h>
#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSError.h>

namespace jnmap {
namespace {

using Style = Output::Style;

volatile std::sig_atomic_t wasInterrupted = 0;

struct Settings {
  RecordSource source;
  ImportOptions import_;
  bool isJSON = false;
  bool isWithoutApplication = false;
  bool hasReadyMadeFilters = false;
};

/// A bar on the standard error stream, while that is a terminal.
class ProgressBar {
 public:
  ~ProgressBar() {
    if (_isShown) std::fputs("\r\033[K", stderr);
  }

  void show(const ImportProgress& progress) {
    if (!_isTerminal) return;
    constexpr int width = 30;
    const int filled = static_cast<int>(progress.fraction * width);
    std::string bar(static_cast<std::size_t>(filled), '#');
    bar.resize(width, '.');
    std::fprintf(stderr, "\r[%s] %3d %%  %lu of %lu records", bar.c_str(),
                 static_cast<int>(progress.fraction * 100),
                 static_cast<unsigned long>(progress.recordsDone),
                 static_cast<unsigned long>(progress.recordsTotal));
    std::fflush(stderr);
    _isShown = true;
  }

 private:
  const bool _isTerminal = isatty(STDERR_FILENO) == 1;
  bool _isShown = false;
};

Ref<NSManagedObjectContext> openStore(const Ref<NSManagedObjectModel>& model,
                                      const std::string& path) {
  const auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(model);
  Ref<NSError> error;
  coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
      NSSQLiteStoreType, nullptr, NSURL::fileURLWithPath(path), nullptr, &error);
  if (error) throw Failure(path + ": " + error->localizedDescription()->toStdString());
  auto context = NSManagedObjectContext::init();
  context->setPersistentStoreCoordinator(coordinator);
  return context;
}

/// The rules that need code of the application, which this program does not have. Takes: the filter
/// actions that are here.
std::string rulesOfTheApplication(const MapInspection& inspection, const NSDictionary& actions) {
  std::string text;
  for (const auto& rule : inspection.rules) {
    std::string name;
    if (rule.kind == MapInspection::Rule::Kind::Message) {
      name = rule.destination->toStdString();
    } else if (rule.filter && !actions.find(*rule.filter)) {
      name = "filter " + rule.filter->toStdString();
    } else {
      continue;
    }
    if (text.find(name) == text.npos) text += (text.empty() ? "" : ", ") + name;
  }
  return text;
}

/// Imports, and serves the main queue until that has ended.
/// Returns: the report, or what the import was rejected with.
Value importAll(const Ref<NSArray>& records, const std::string& entity,
                const Ref<NSManagedObjectContext>& context, ImportOptions options,
                NSUInteger& recordsDone) {
  ProgressBar bar;
  Ref<PLVDeferred> running;
  recordsDone = std::min(options.firstRecord, records->count());
  options.progress = [&](const ImportProgress& progress) {
    recordsDone = progress.recordsDone;
    bar.show(progress);
    if (wasInterrupted != 0) running->cancel();
  };
  Value outcome;
  bool hasEnded = false;
  running = importRecords(records, entity, context, std::move(options)).untyped();
  running->thenEither([&](const Value& value) -> Value {
    outcome = value;
    hasEnded = true;
    return nullptr;
  });
  while (!hasEnded) {
    NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantFuture());
  }
  return outcome;
}

/// Numbers of records count from 1, as those of `jnmap try`.
std::string recordText(NSUInteger index) {
  return index == static_cast<NSUInteger>(NSNotFound) ? "an absent object"
                                                      : "record " + std::to_string(index + 1);
}

void printReport(const ImportReport& report) {
  Output& output = Output::standard();
  for (const ImportReport::Refusal& refusal : report.refusals()) {
    output.write(output.styled(Style::Bold, recordText(refusal.index)) + "  " +
                 output.styled(Style::Red, "refused") + "  " +
                 printable(refusal.error->localizedDescription()->utf8()) + '\n');
  }
  for (const ImportReport::Duplicate& duplicate : report.duplicates()) {
    output.write(output.styled(Style::Bold, recordText(duplicate.index)) + "  " +
                 output.styled(Style::Yellow, "duplicate") + "  of " +
                 recordText(duplicate.firstIndex) + '\n');
  }
  if (report.keptAbsentObjects()) {
    output.write("Absent objects are kept, since a record cannot be told apart.\n");
  }
  output.write(report.description()->toStdString() + '\n');
}

void printJSON(const ImportReport& report, NSUInteger recordsDone) {
  const auto refused = NSMutableArray::array();
  for (const ImportReport::Refusal& refusal : report.refusals()) {
    refused->addObject(NSDictionary::dictionaryWithEntries(
        {{"record", refusal.index + 1}, {"reason", refusal.error->localizedDescription()}}));
  }
  const auto duplicates = NSMutableArray::array();
  for (const ImportReport::Duplicate& duplicate : report.duplicates()) {
    duplicates->addObject(NSDictionary::dictionaryWithEntries(
        {{"record", duplicate.index + 1}, {"of", duplicate.firstIndex + 1}}));
  }
  const auto object =
      NSDictionary::dictionaryWithEntries({{"recordsDone", recordsDone},
                                           {"inserted", report.inserted()},
                                           {"updated", report.updated()},
                                           {"unchanged", report.unchanged()},
                                           {"deleted", report.deleted()},
                                           {"keptAbsentObjects", report.keptAbsentObjects()},
                                           {"refused", Value(refused)},
                                           {"duplicates", Value(duplicates)}});
  Output::standard().write(
      NSJSONSerialization::stringWithJSONObjectOptionsError(object, NSJSONWritingCompact, nullptr)
          ->toStdString() +
      '\n');
}

/// What ended an import before its end, as a failure that says how to go on.
[[noreturn]] void fail(const PLVRejected& rejected, NSUInteger recordsDone, bool isAtomic) {
  std::string text;
  const Value& value = rejected.value();
  if (rejected.isCancellation()) {
    text = "interrupted";
  } else if (const auto* error = as<NSError>(value)) {
    const Value index = error->userInfo()->objectForKey(JNImportRecordIndexErrorKey);
    if (!index.isNull()) text = recordText(index.unsignedLongLongValue()) + ": ";
    text += error->localizedDescription()->toStdString();
  } else {
    text = value.description()->toStdString();
  }
  if (isAtomic) throw Failure(text + "; nothing is written");
  if (recordsDone == 0) throw Failure(text);
  throw Failure(text + "; " + std::to_string(recordsDone) + " records are done, --from=" +
                std::to_string(recordsDone) + " goes on behind them");
}

std::vector<Option> optionsFor(Settings& settings) {
  ImportOptions& import_ = settings.import_;
  std::vector<Option> options = {
      {"key", "NAME,…",
       "The attributes by which a record finds its object; without it, those of the entity's\n"
       "uniqueness constraint.",
       [&](const std::string& list) {
         auto names = NSMutableArray::array();
         for (const std::string& name : listFrom(list)) names->addObject(name);
         import_.identity = names;
       }},
      {"delete-absent", nullptr, "Delete objects for which the file has no record.",
       [&](const std::string&) { import_.absent = ImportAbsent::Delete; }},
      {"all-or-nothing", nullptr, "Write everything at once, or nothing if a record is refused.",
       [&](const std::string&) { import_.commit = ImportCommit::AllOrNothing; }},
      {"stop", nullptr, "End at the first record that is refused.",
       [&](const std::string&) { import_.refusal = ImportRefusal::Stop; }},
      {"skip-duplicates", nullptr, "Let the first record of an object stand, not the last one.",
       [&](const std::string&) { import_.duplicate = ImportDuplicate::Skip; }},
      {"chunk", "COUNT", "Write that many records at a time; 500 unless it is given.",
       [&](const std::string& text) { import_.chunkSize = countFrom("chunk", text); }},
      {"from", "COUNT", "Leave out that many records, which an earlier import has done.",
       [&](const std::string& text) { import_.firstRecord = countFrom("from", text); }},
      {"ready-made-filters", nullptr,
       "The application has the library's ready-made filters under their own names.",
       [&](const std::string&) { settings.hasReadyMadeFilters = true; }},
      {"without-application", nullptr,
       "Import although rules need the application: filters pass values on unchanged, and "
       "messages\n"
       "do nothing.",
       [&](const std::string&) { settings.isWithoutApplication = true; }},
      {"json", nullptr, "Print one JSON object.",
       [&](const std::string&) { settings.isJSON = true; }}};
  for (Option& option : settings.source.options()) options.push_back(std::move(option));
  options.push_back(colourOption());
  return options;
}

int run(const Command& command, int argc, char** argv) {
  Settings settings;
  const auto operands = readArguments(command, optionsFor(settings), argc, argv);
  if (operands.empty()) return Clean;
  const Ref<NSManagedObjectModel> model = readModel(operands[0]);
  const Ref<NSEntityDescription> entity = entityNamed(model, operands[1]);
  const auto records = NSMutableArray::array();
  settings.source.enumerate(operands[2], [&records](const Value& record) {
    records->addObject(record);
    return true;
  });
  standInForClassesOf(*model, nullptr);
  const Ref<PLVDataMapFilter> readyMade = PLVDataMapFilter::init();
  if (settings.hasReadyMadeFilters) registerReadyMadeFilters(readyMade);
  const Ref<NSDictionary> actions =
      NSDictionary::dictionaryWithDictionary(readyMade->filterActions());
  const std::string missing = rulesOfTheApplication(MapInspection::ofEntity(entity), *actions);
  if (!missing.empty() && !settings.isWithoutApplication) {
    throw Failure("rules of '" + operands[1] + "' need the application: " + missing +
                  "; --without-application imports all the same");
  }
  LogSinkScope silence([](const Ref<NSString>&) {});
  settings.import_.map = PLVDictionaryDataMap::newMapForEntityDescriptor(
      entity, PLVDictionaryDataMap::automaticMapDescriptorForEntity(entity));
  settings.import_.filter = JnmapFilter::filterFor(settings.import_.map->filterNames());
  if (settings.hasReadyMadeFilters) registerReadyMadeFilters(settings.import_.filter);
  std::signal(SIGINT, [](int) { wasInterrupted = 1; });
  const Ref<NSManagedObjectContext> context = openStore(model, operands[3]);

  const bool isAtomic = settings.import_.commit == ImportCommit::AllOrNothing;
  NSUInteger recordsDone = 0;
  const Value outcome = importAll(records, operands[1], context, settings.import_, recordsDone);
  std::signal(SIGINT, SIG_DFL);
  if (const auto* rejected = as<PLVRejected>(outcome)) fail(*rejected, recordsDone, isAtomic);
  const auto* report = as<ImportReport>(outcome);
  if (settings.isJSON) {
    printJSON(*report, recordsDone);
  } else {
    printReport(*report);
  }
  return report->refusals().empty() ? Clean : Problems;
}

}  // namespace

const Command importCommand = {
    "import",
    "MODEL ENTITY FILE.json STORE",
    "Map records onto objects of a store, which is made if it is not there.",
    "Finds or makes the object of each record (of a list, or of - for standard input), maps the\n"
    "record onto it, and writes what differs, a chunk at a time. An interrupted import ends with\n"
    "the chunk in hand and says how to go on. While it runs, a bar shows on a terminal how far it\n"
    "is.",
    4,
    &run};

}  // namespace jnmap
