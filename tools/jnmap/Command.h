#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace jnmap {

/// How the program ends.
enum ExitStatus : int {
  Clean = 0,
  /// What was looked at has problems.
  Problems = 1,
  /// Nothing was looked at: wrong usage, input that cannot be read, output that cannot be written.
  Unusable = 2,
};

/// Input or output that is no good, in a sentence that names it.
struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};
/// Wrong usage.
struct UsageError : Failure {
  using Failure::Failure;
};

/// One option of a command.
struct Option {
  const char* name;
  /// What stands for the argument in the help; null where there is none.
  const char* argument;
  const char* help;
  std::function<void(const std::string& argument)> apply;
};

/// A command of the program: `jnmap NAME [options] operands`. Each has a file of its own.
struct Command {
  const char* name;
  const char* operands;
  /// A line for the list of commands.
  const char* summary;
  /// What its help says below the usage.
  const char* description;
  std::size_t operandCount;
  /// Runs the command on its arguments, its name first.
  int (*run)(const Command& command, int argc, char** argv);
};

extern const Command lintCommand;
extern const Command explainCommand;
extern const Command tryCommand;
extern const Command importCommand;
extern const Command generateCommand;

/// Reads the options of a command, which may stand anywhere, and applies them.
/// Returns: the operands; none when help was wanted and has been printed.
/// Fails: throws UsageError.
std::vector<std::string> readArguments(const Command& command, const std::vector<Option>& options,
                                       int argc, char** argv);

/// The option that all commands with output for people have.
Option colourOption();

/// The parts between commas. Fails: throws UsageError for an empty part.
std::vector<std::string> listFrom(const std::string& text);

/// Fails: throws UsageError for what is no whole number from 0 on that fits.
std::size_t countFrom(const std::string& option, const std::string& text);

}  // namespace jnmap
