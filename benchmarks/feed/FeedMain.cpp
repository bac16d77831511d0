// Writes the feed to the file that its argument names, for the peers that are no C++ programs.

#include <cstdio>
#include <fstream>

#include "feed/RecordFeed.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: write_feed FILE\n");
    return 2;
  }
  std::ofstream file(argv[1], std::ios::binary);
  file << bench::recordFeed();
  file.close();
  if (!file) {
    std::fprintf(stderr, "write_feed: cannot write %s\n", argv[1]);
    return 1;
  }
  return 0;
}
