// A structure file as the program opens it: plain or gzipped, of a format that its content tells.
#include "apps/nxbrio/failure.h"
#include "fuzz/memory_file.h"
#include "fuzz/structures.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  const fuzz::MemoryFile file({reinterpret_cast<const char*>(data), size});
  try {
    std::vector<nxbrio::Structure> models = nxbrio::read_models(file.path());
    fuzz::check(!models.empty(), "there is a model");
    fuzz::use_models(models);
  } catch (const nxbrio::Failure& failure) {
    fuzz::check(std::string_view(failure.what()).substr(0, file.path().size()) == file.path(),
                "a failure names the file");
  }
  return 0;
}
