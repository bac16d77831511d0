#include <cstdio>
#include <string>

#include "Examples.h"

int main(int count, char** arguments) {
  if (count < 2) return 2;
  const std::string path = arguments[1];
  for (const char* ending : {"", "-wal", "-shm", ".copy"}) std::remove((path + ending).c_str());
  const auto context = examples::open(path);
  examples::relate(context);
  examples::ask(context);
  examples::sum(context);
  examples::changeMany(context);
  examples::merge(context);
  examples::list(context);
  examples::workApart(context);
  examples::keep(context, path + ".copy");
}
