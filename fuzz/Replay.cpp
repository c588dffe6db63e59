// A main() for a fuzz target without libFuzzer: it runs the target once on
// every file it is given, or in a directory it is given, so that the seed
// corpus and its properties run in every test build, with any compiler.
#include <dirent.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

// The files to run: a directory's entries in name order, so that a run is repeatable.
std::vector<std::string> Inputs(const std::string& path) {
  DIR* dir = opendir(path.c_str());
  if (dir == nullptr) return {path};
  std::vector<std::string> files;
  while (struct dirent* entry = readdir(dir))
    if (entry->d_name[0] != '.') files.push_back(path + "/" + entry->d_name);
  closedir(dir);
  std::sort(files.begin(), files.end());
  return files;
}

}  // namespace

int main(int argc, char** argv) {
  int ran = 0;
  for (int i = 1; i < argc; ++i) {
    for (const std::string& file : Inputs(argv[i])) {
      std::ifstream in(file, std::ios::binary);
      if (!in) {
        fprintf(stderr, "cannot read %s\n", file.c_str());
        return 1;
      }
      std::string data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
      LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(data.data()), data.size());
      ++ran;
    }
  }
  printf("%d inputs, every property held\n", ran);
  return ran > 0 ? 0 : 1;
}
