#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "ClassPlan.h"
#include "ClassText.h"
#include "Command.h"
#include "ModelFile.h"
#include "Output.h"

namespace jnmap {
namespace {

namespace fs = std::filesystem;

/// The text of a file; empty where there is none.
std::string contentsOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

/// Puts a text in the place of what the file holds, whole or not at all.
/// Returns: whether there was anything to do. Fails: throws Failure.
bool replaceFile(const fs::path& path, const std::string& text) {
  std::error_code trouble;
  if (fs::is_regular_file(path, trouble) && contentsOf(path) == text) return false;
  const fs::path temporary = path.string() + ".new";
  {
    std::ofstream file(temporary, std::ios::binary | std::ios::trunc);
    file << text;
    file.flush();
    if (!file) {
      const int reason = errno;
      fs::remove(temporary, trouble);
      throw Failure(path.string() + ": " + std::strerror(reason));
    }
  }
  fs::rename(temporary, path, trouble);
  if (trouble) {
    const std::string reason = trouble.message();
    fs::remove(temporary, trouble);
    throw Failure(path.string() + ": " + reason);
  }
  return true;
}

/// Files of classes that the model does not have any more.
std::set<std::string> leftOver(const fs::path& folder, const std::set<std::string>& current) {
  std::set<std::string> names;
  std::error_code trouble;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder, trouble)) {
    const std::string name = entry.path().filename().string();
    if (name.rfind("Generated", 0) == 0 && current.count(name) == 0) names.insert(name);
  }
  return names;
}

bool isNamespace(const std::string& name) {
  std::size_t start = 0;
  while (true) {
    const std::size_t end = name.find("::", start);
    if (!isIdentifier(name.substr(start, end == name.npos ? end : end - start))) return false;
    if (end == name.npos) return true;
    start = end + 2;
  }
}

std::string counted(std::size_t count) {
  return std::to_string(count) + (count == 1 ? " file" : " files");
}

int run(const Command& command, int argc, char** argv) {
  std::string output = ".", nameSpace;
  const auto operands =
      readArguments(command,
                    {{"output", "DIR", "Write into that directory instead of the current one.",
                      [&](const std::string& path) { output = path; }},
                     {"namespace", "NAME", "Put the classes into that namespace.",
                      [&](const std::string& name) {
                        if (!isNamespace(name)) throw UsageError("'" + name + "' is no namespace");
                        nameSpace = name;
                      }}},
                    argc, argv);
  if (operands.empty()) return Clean;

  const Ref<NSManagedObjectModel> model = readModel(operands[0]);
  // Everything is planned before anything is written.
  const auto plans = classPlansOf(*model);
  const fs::path folder(output), generated = folder / "generated";
  std::error_code trouble;
  fs::create_directories(generated, trouble);
  if (trouble) throw Failure(generated.string() + ": " + trouble.message());
  std::set<std::string> current;
  std::size_t changed = 0, created = 0, kept = 0;
  for (const auto& plan : plans) {
    const ClassText text(*plan, nameSpace);
    for (const auto& [ending, content] :
         {std::pair{".h", text.generatedHeader()}, std::pair{".cpp", text.generatedSource()}}) {
      const std::string name = plan->generatedName() + ending;
      current.insert(name);
      changed += replaceFile(generated / name, content) ? 1 : 0;
    }
    for (const auto& [ending, content] :
         {std::pair{".h", text.applicationHeader()}, std::pair{".cpp", text.applicationSource()}}) {
      const fs::path path = folder / (plan->className + ending);
      if (fs::exists(path, trouble)) {
        ++kept;
      } else {
        replaceFile(path, content);
        ++created;
      }
    }
  }
  Output& out = Output::standard();
  out.write(printable(generated.string()) + ": " + counted(changed) + " written, " +
            std::to_string(current.size() - changed) + " unchanged\n");
  out.write(printable(folder.string()) + ": " + counted(created) + " begun, " +
            std::to_string(kept) + " of yours left alone\n");
  for (const std::string& name : leftOver(generated, current)) {
    out.write(printable((generated / name).string()) + " belongs to no entity of the model\n");
  }
  return Clean;
}

}  // namespace

const Command generateCommand = {
    "generate",
    "MODEL",
    "Write C++ classes for the entities of the model.",
    "Writes a header and a source for each entity that names a class of its own: typed accessors,\n"
    "relationships, entityInManagedObjectContext, a cached entityDataMap, and the messages that "
    "rules\n"
    "send, which the compiler asks for. They go into generated/ and are replaced with every run. "
    "The\n"
    "classes for the application's code are begun beside it, and never touched again.",
    1,
    &run};

}  // namespace jnmap
