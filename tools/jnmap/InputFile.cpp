#include "InputFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "Command.h"

namespace jnmap {
namespace {

struct Closing {
  void operator()(std::FILE* file) const noexcept {
    if (file != stdin) std::fclose(file);
  }
};

}  // namespace

std::string readInput(const std::string& path, std::size_t longest) {
  const bool isStandard = path == "-";
  const std::string name = isStandard ? "standard input" : path;
  const std::unique_ptr<std::FILE, Closing> file(isStandard ? stdin
                                                            : std::fopen(path.c_str(), "rb"));
  if (!file) throw Failure(name + ": " + std::strerror(errno));
  std::string text;
  char part[1 << 16];
  while (const std::size_t count = std::fread(part, 1, sizeof part, file.get())) {
    if (count > longest - text.size()) {
      throw Failure(name + ": longer than " + std::to_string(longest) +
                    " bytes; --max-size allows more");
    }
    text.append(part, count);
  }
  if (std::ferror(file.get())) throw Failure(name + ": " + std::strerror(errno));
  return text;
}

}  // namespace jnmap
