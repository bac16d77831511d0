// Reads the mapping rules of a data model before an application does.
//
// Read it from here: main finds the command, and each command is a file of its own (Lint.cpp,
// Explain.cpp, Try.cpp, Import.cpp, Generate.cpp) on what the library offers to everybody.

#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

#include "Command.h"
#include "Output.h"

#include <JNFoundation/Version.h>
#include <JNFoundation/platform/value/NSException.h>

namespace {

using namespace jnmap;

const Command* const commands[] = {&lintCommand, &explainCommand, &tryCommand, &importCommand,
                                   &generateCommand};

const Command* commandNamed(const char* name) {
  for (const Command* command : commands) {
    if (std::strcmp(command->name, name) == 0) return command;
  }
  return nullptr;
}

std::string help() {
  std::string text =
      "Usage: jnmap COMMAND [options] …\n\n"
      "Reads the mapping rules in a data model: a .xcdatamodel or .xcdatamodeld directory, or the\n"
      "contents file in one.\n\nCommands:\n";
  for (const Command* command : commands) {
    text += "  " + std::string(command->name) + ' ' + command->operands + '\n' + "      " +
            command->summary + '\n';
  }
  return text +
         "\njnmap COMMAND --help says more. The exit status is 0 if there is nothing to complain\n"
         "about, 1 if there is, and 2 if the command could not do its work.\n";
}

int runCommand(int argc, char** argv) {
  const char* name = argc > 1 ? argv[1] : "";
  if (std::strcmp(name, "--help") == 0 || std::strcmp(name, "help") == 0) {
    Output::standard().write(help());
    return Clean;
  }
  if (std::strcmp(name, "--version") == 0) {
    Output::standard().write("jnmap " JN_VERSION "\n");
    return Clean;
  }
  const Command* command = commandNamed(name);
  if (!command) {
    std::fprintf(stderr,
                 *name ? "jnmap: unknown command '%s'; jnmap --help lists them\n"
                       : "jnmap: no command; jnmap --help lists them%s\n",
                 printable(name).c_str());
    return Unusable;
  }
  try {
    return command->run(*command, argc - 1, argv + 1);
  } catch (const UsageError& error) {
    std::fprintf(stderr, "jnmap %s: %s; jnmap %s --help says how\n", name,
                 printable(error.what()).c_str(), name);
  }
  return Unusable;
}

}  // namespace

int main(int argc, char** argv) {
  int status = Unusable;
  try {
    status = runCommand(argc, argv);
    Output::standard().finish();
    return status;
  } catch (const Failure& failure) {
    std::fprintf(stderr, "jnmap: %s\n", printable(failure.what()).c_str());
  } catch (const JNFoundation::Raised& raised) {
    std::fprintf(stderr, "jnmap: %s\n", printable(raised.exception()->reason()->utf8()).c_str());
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "jnmap: %s\n", printable(exception.what()).c_str());
  }
  return Unusable;
}
