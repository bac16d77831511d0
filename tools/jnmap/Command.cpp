#include "Command.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <getopt.h>

#include "Output.h"

namespace jnmap {
namespace {

void printHelp(const Command& command, const std::vector<Option>& options) {
  std::string text = std::string("Usage: jnmap ") + command.name + " [options] " +
                     command.operands + "\n\n" + command.description + "\n\nOptions:\n";
  std::vector<std::string> names;
  std::size_t widest = 0;
  for (const Option& option : options) {
    names.push_back(std::string("--") + option.name +
                    (option.argument ? std::string("=") + option.argument : ""));
    widest = std::max(widest, widthOf(names.back()));
  }
  for (std::size_t i = 0; i < options.size(); ++i) {
    text +=
        "  " + names[i] + std::string(widest - widthOf(names[i]) + 2, ' ') + options[i].help + '\n';
  }
  Output::standard().write(text);
}

}  // namespace

std::vector<std::string> readArguments(const Command& command, const std::vector<Option>& options,
                                       int argc, char** argv) {
  std::vector<Option> all = options;
  bool isHelp = false;
  all.push_back(
      {"help", nullptr, "Print this and stop.", [&](const std::string&) { isHelp = true; }});
  // The last entry is the empty one that ends the table.
  std::vector<option> table(all.size() + 1);
  for (std::size_t i = 0; i < all.size(); ++i) {
    table[i] = {all[i].name, all[i].argument ? required_argument : no_argument, nullptr, 0};
  }
  optind = 0;
  opterr = 0;
  int place = 0;
  // The leading colon has a missing argument told apart from an unknown option.
  for (int found; (found = getopt_long(argc, argv, ":", table.data(), &place)) != -1;) {
    if (found == ':')
      throw UsageError(std::string("the option ") + argv[optind - 1] + " needs an argument");
    if (found == '?') {
      const bool isLong = optopt == 0 || std::strncmp(argv[optind - 1], "--", 2) == 0;
      throw UsageError("unknown option " + (isLong ? std::string(argv[optind - 1])
                                                   : std::string("-") + static_cast<char>(optopt)));
    }
    all[static_cast<std::size_t>(place)].apply(optarg ? optarg : "");
  }
  if (isHelp) {
    printHelp(command, all);
    return {};
  }
  std::vector<std::string> operands(argv + optind, argv + argc);
  if (operands.size() < command.operandCount) {
    throw UsageError(std::string("something is missing; it takes ") + command.operands);
  }
  if (operands.size() > command.operandCount) {
    throw UsageError("'" + operands[command.operandCount] + "' is too much; it takes " +
                     command.operands);
  }
  return operands;
}

Option colourOption() {
  return {"color", "WHEN", "Colours: auto (on a terminal, unless NO_COLOR is set), always, never.",
          [](const std::string& when) {
            Output& output = Output::standard();
            if (when == "auto") {
              output.setColour(Output::Colour::Auto);
            } else if (when == "always") {
              output.setColour(Output::Colour::Always);
            } else if (when == "never") {
              output.setColour(Output::Colour::Never);
            } else {
              throw UsageError("--color takes auto, always or never, not '" + when + "'");
            }
          }};
}

std::vector<std::string> listFrom(const std::string& text) {
  std::vector<std::string> parts;
  if (text.empty()) return parts;
  std::size_t start = 0;
  while (true) {
    const std::size_t comma = text.find(',', start);
    parts.push_back(text.substr(start, comma == text.npos ? comma : comma - start));
    if (parts.back().empty()) throw UsageError("the list '" + text + "' has an empty part");
    if (comma == text.npos) return parts;
    start = comma + 1;
  }
}

std::size_t countFrom(const std::string& option, const std::string& text) {
  std::size_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) {
    throw UsageError("--" + option + " takes a whole number, not '" + text + "'");
  }
  return number;
}

}  // namespace jnmap
