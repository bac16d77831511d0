#include "Command.h"
#include "ModelFile.h"
#include "Output.h"

#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/value/NSNull.h>

namespace jnmap {
namespace {

using Problem = MapInspection::Problem;
using Origin = MapInspection::Origin;
using Style = Output::Style;

struct Settings {
  KnownNames known;
  bool isJSON = false;
  bool isStrict = false;
  bool hasNotes = false;
};

struct Findings {
  std::vector<Problem> all;
  std::size_t problems = 0;
  std::size_t notes = 0;
  std::size_t rules = 0;
};

std::string counted(std::size_t count, const char* one, const char* many) {
  return std::to_string(count) + ' ' + (count == 1 ? one : many);
}

bool isNote(const Problem& problem) { return problem.severity == Problem::Severity::Note; }

Value orNSNull(const Ref<NSString>& text) { return text ? Value(text) : Value(NSNull::null()); }

Value jsonOf(const Origin& origin) {
  if (!origin.entity) return NSNull::null();
  return NSDictionary::dictionaryWithEntries(
      {{"kind", origin.kind == Origin::Kind::Automatic ? "automatic" : "user-info"},
       {"entity", Value(origin.entity->name())}});
}

void printJSON(const std::string& path, const NSManagedObjectModel& model,
               const Findings& findings) {
  auto list = NSMutableArray::array();
  for (const Problem& problem : findings.all) {
    list->addObject(
        NSDictionary::dictionaryWithEntries({{"entity", Value(problem.entity->name())},
                                             {"key", Value(problem.key)},
                                             {"value", problem.value},
                                             {"origin", jsonOf(problem.origin)},
                                             {"kind", MapInspection::nameOf(problem.kind)},
                                             {"severity", isNote(problem) ? "note" : "problem"},
                                             {"dropped", problem.isDropped()},
                                             {"logged", problem.isLogged()},
                                             {"shadowedBy", jsonOf(problem.shadowedBy)},
                                             {"reason", Value(problem.reason)},
                                             {"advice", orNSNull(problem.advice)}}));
  }
  const auto report = NSDictionary::dictionaryWithEntries({{"model", path},
                                                           {"entities", model.entityList().size()},
                                                           {"rules", findings.rules},
                                                           {"problemCount", findings.problems},
                                                           {"noteCount", findings.notes},
                                                           {"problems", Value(list)}});
  Output::standard().write(NSJSONSerialization::stringWithJSONObjectOptionsError(
                               Value(report), NSJSONWritingPrettyPrinted, nullptr)
                               ->toStdString() +
                           '\n');
}

void printText(const NSManagedObjectModel& model, const Findings& findings, bool hasNotes) {
  Output& output = Output::standard();
  for (const Problem& problem : findings.all) {
    if (isNote(problem) && !hasNotes) continue;
    std::string line = output.styled(Style::Bold, printable(problem.entity->name()->utf8())) +
                       ": " + printable(problem.key->utf8()) + " = " +
                       printable(problem.value.description()->utf8()) + " (" +
                       printable(problem.origin.text()->utf8()) + "): " +
                       (isNote(problem) ? output.styled(Style::Yellow, "note")
                                        : output.styled(Style::Red, "problem")) +
                       ": " + printable(problem.reason->utf8());
    if (problem.advice) line += "; " + printable(problem.advice->utf8());
    line +=
        output.styled(Style::Faint, " [" + std::string(MapInspection::nameOf(problem.kind)) + "]");
    output.write(line + '\n');
  }
  std::string summary = counted(model.entityList().size(), "entity", "entities") + ", " +
                        counted(findings.rules, "rule", "rules") + ": " +
                        counted(findings.problems, "problem", "problems") + ", " +
                        counted(findings.notes, "note", "notes");
  if (findings.notes > 0 && !hasNotes) summary += " (--notes shows them)";
  output.write(summary + '\n');
}

int run(const Command& command, int argc, char** argv) {
  Settings settings;
  std::vector<Option> options = {
      {"json", nullptr, "Print one JSON object, notes included.",
       [&](const std::string&) { settings.isJSON = true; }},
      {"notes", nullptr, "Print what may well be meant, too.",
       [&](const std::string&) { settings.hasNotes = true; }},
      {"strict", nullptr, "Take notes for problems.",
       [&](const std::string&) { settings.isStrict = settings.hasNotes = true; }}};
  for (Option& option : settings.known.options()) options.push_back(std::move(option));
  options.push_back(colourOption());
  const auto operands = readArguments(command, options, argc, argv);
  if (operands.empty()) return Clean;

  const Ref<NSManagedObjectModel> model = readModel(operands[0]);
  const MapInspection::Options known = settings.known.inspectionOptions();
  Findings findings;
  findings.all = MapInspection::problemsOfModel(model, known);
  for (const Problem& problem : findings.all)
    ++(isNote(problem) ? findings.notes : findings.problems);
  for (const auto& entity : model->entityList()) {
    findings.rules += MapInspection::ofEntity(entity, known).rules.size();
  }
  if (settings.isJSON) {
    printJSON(operands[0], *model, findings);
  } else {
    printText(*model, findings, settings.hasNotes);
  }
  const bool isClean = findings.problems == 0 && !(settings.isStrict && findings.notes > 0);
  return isClean ? Clean : Problems;
}

}  // namespace

const Command lintCommand = {
    "lint",
    "MODEL",
    "Say which rules of the model do not work, and why.",
    "Reads the rules of every entity and reports each that is dropped, shadowed or unreachable, "
    "that\n"
    "names an unknown attribute, message or filter, or can never convert. Classes of the\n"
    "application are not part of jnmap: whether they take a message is a note, unless --messages\n"
    "lists what they take.",
    1,
    &run};

}  // namespace jnmap
