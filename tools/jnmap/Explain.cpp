#include <map>
#include <set>
#include <vector>

#include "Command.h"
#include "ModelFile.h"
#include "Output.h"

namespace jnmap {
namespace {

using Problem = MapInspection::Problem;
using Rule = MapInspection::Rule;
using Origin = MapInspection::Origin;
using Style = Output::Style;

std::string textOf(const Ref<NSString>& text) {
  return text ? printable(text->utf8()) : std::string();
}

std::string kindOf(const Rule& rule) {
  switch (rule.kind) {
    case Rule::Kind::Attribute:
      return std::string(MapInspection::nameOf(rule.attributeType));
    case Rule::Kind::Message:
      return "message";
    case Rule::Kind::NestedDictionary:
      break;
  }
  return "dictionary";
}

/// "Country, below CatalogItem, class Country".
std::string titleOf(const NSEntityDescription& entity) {
  std::string title = textOf(entity.name());
  if (const auto above = entity.superentity()) title += ", below " + textOf(above->name());
  title += ", class " + textOf(entity.managedObjectClassName());
  if (entity.isAbstract()) title += ", abstract";
  return title;
}

void printTable(const NSEntityDescription& entity, const MapInspection& inspection) {
  Output& output = Output::standard();
  output.write(output.styled(Style::Bold, titleOf(entity)) + "\n\n");
  Table table;
  table.add({{"FROM", Style::Faint},
             {"TO", Style::Faint},
             {"TYPE", Style::Faint},
             {"FILTER", Style::Faint},
             {"GIVEN BY", Style::Faint},
             {"VALUES", Style::Faint}});
  for (const Rule& rule : inspection.rules) {
    const bool isAutomatic = rule.origin.kind == Origin::Kind::Automatic;
    table.add({{textOf(rule.pathText()), Style::Bold},
               {rule.kind == Rule::Kind::NestedDictionary ? "(the rules below it)"
                                                          : textOf(rule.destination),
                Style::Green},
               {kindOf(rule)},
               {textOf(rule.filter), Style::Cyan},
               {textOf(rule.origin.text()), isAutomatic ? Style::Faint : Style::Plain},
               {textOf(rule.conversionText()), Style::Faint}});
  }
  if (inspection.rules.empty()) {
    output.write("No rule works; whatever a record holds is ignored.\n");
  } else {
    output.write(table.text(output, ""));
    output.write("\nAny other key of a record is ignored.\n");
  }
  if (inspection.problems.empty()) return;
  output.write("\n");
  for (const Problem& problem : inspection.problems) {
    const bool isNote = problem.severity == Problem::Severity::Note;
    std::string line =
        isNote ? output.styled(Style::Yellow, "note") : output.styled(Style::Red, "problem");
    line += ": " + textOf(problem.key) + " = " + printable(problem.value.description()->utf8()) +
            " (" + textOf(problem.origin.text()) + "): " + textOf(problem.reason);
    if (problem.advice) line += "; " + textOf(problem.advice);
    output.write(line + '\n');
  }
}

/// Text between the quotes of the language of Graphviz.
std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') result += '\\';
    result += c;
  }
  return result + '"';
}

/// The record and its dictionaries at the left, what they are mapped onto at the right.
class Picture {
 public:
  explicit Picture(const NSEntityDescription& entity) {
    _text =
        "digraph " + quoted(textOf(entity.name())) +
        " {\n  rankdir=LR;\n  node [fontname=\"sans-serif\"];\n  edge [fontname=\"sans-serif\", "
        "fontsize=10];\n  d0 [label=\"record\", shape=folder];\n";
  }

  void add(const Rule& rule) {
    std::size_t dictionary = 0;
    const std::size_t nested =
        rule.path.size() - (rule.kind == Rule::Kind::NestedDictionary ? 0 : 1);
    for (std::size_t i = 0; i < nested; ++i) {
      dictionary = dictionaryBelow(dictionary, textOf(rule.path[i]));
    }
    if (rule.kind == Rule::Kind::NestedDictionary) return;
    const std::size_t target = targetOf(rule);
    std::string label = textOf(rule.path.back());
    if (rule.filter) label += " | " + textOf(rule.filter);
    const bool isAutomatic = rule.origin.kind == Origin::Kind::Automatic;
    _edges += "  d" + std::to_string(dictionary) + " -> t" + std::to_string(target) +
              " [label=" + quoted(label) + ", tooltip=" + quoted(textOf(rule.origin.text())) +
              (isAutomatic ? ", style=dashed, color=gray50" : "") + "];\n";
  }

  std::string text() const { return _text + _edges + "}\n"; }

 private:
  std::size_t dictionaryBelow(std::size_t above, const std::string& key) {
    const auto [place, isNew] = _dictionaries.try_emplace({above, key}, _dictionaries.size() + 1);
    const std::string name = "d" + std::to_string(place->second);
    if (isNew) {
      _text += "  " + name + " [label=" + quoted(key) + ", shape=folder];\n";
      _edges += "  d" + std::to_string(above) + " -> " + name + ";\n";
    }
    return place->second;
  }

  std::size_t targetOf(const Rule& rule) {
    const auto [place, isNew] = _targets.try_emplace(textOf(rule.destination), _targets.size());
    if (isNew) {
      _text += "  t" + std::to_string(place->second) +
               " [label=" + quoted(textOf(rule.destination) + " (" + kindOf(rule) + ")") +
               ", shape=" + (rule.kind == Rule::Kind::Message ? "cds" : "box") + "];\n";
    }
    return place->second;
  }

  std::map<std::pair<std::size_t, std::string>, std::size_t> _dictionaries;
  std::map<std::string, std::size_t> _targets;
  std::string _text, _edges;
};

int run(const Command& command, int argc, char** argv) {
  KnownNames known;
  bool isPicture = false;
  std::vector<Option> options = {
      {"dot", nullptr, "Print a graph in the language of Graphviz; automatic rules are dashed.",
       [&](const std::string&) { isPicture = true; }}};
  for (Option& option : known.options()) options.push_back(std::move(option));
  options.push_back(colourOption());
  const auto operands = readArguments(command, options, argc, argv);
  if (operands.empty()) return Clean;

  const Ref<NSManagedObjectModel> model = readModel(operands[0]);
  const Ref<NSEntityDescription> entity = entityNamed(model, operands[1]);
  const MapInspection inspection = MapInspection::ofEntity(entity, known.inspectionOptions());
  if (isPicture) {
    Picture picture(*entity);
    for (const Rule& rule : inspection.rules) picture.add(rule);
    Output::standard().write(picture.text());
  } else {
    printTable(*entity, inspection);
  }
  for (const Problem& problem : inspection.problems) {
    if (problem.severity == Problem::Severity::Problem) return Problems;
  }
  return Clean;
}

}  // namespace

const Command explainCommand = {"explain",
                                "MODEL ENTITY",
                                "Show what becomes of the keys of an entity's records.",
                                "Shows the rules that work, inherited and automatic ones included: "
                                "from which key of the record,\n"
                                "to which attribute or message, through which filter, given by "
                                "whom. What is wrong or noteworthy\n"
                                "stands below.",
                                2,
                                &run};

}  // namespace jnmap
