// Runs a fuzz target on kept inputs, without the fuzzer: on every file of the directories given.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size);
// Few targets have one.
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace {

bool finished = false;

// An input that ends the process, were it with status 0, is a failure.
void die_unless_finished() {
  if (!finished) {
    std::fputs("the last input ended the process\n", stderr);
    std::abort();
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::atexit(die_unless_finished);
  if (LLVMFuzzerInitialize != nullptr && LLVMFuzzerInitialize(&argc, &argv) != 0) {
    return 1;
  }
  int inputs = 0;
  for (int i = 1; i < argc; ++i) {
    for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
      // What a target prints before it fails is the end of the log: the name of the input is in it.
      std::fprintf(stderr, "%s\n", entry.path().c_str());
      std::ifstream file(entry.path(), std::ios::binary);
      const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
      LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
      ++inputs;
    }
  }
  finished = true;
  std::fprintf(stderr, "%d inputs\n", inputs);
  return inputs > 0 ? 0 : 1;
}
