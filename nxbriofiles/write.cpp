// Writing: the library's own writers put their text into a file in memory; mmCIF, data fields and compression are added
// here.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <nxbriochem/nxbriochem.h>
#include <nxbriochem/util/never_destroyed_internal.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "failure.h"
#include "formats.h"
#include "gemmi_writers.h"
#include "molecule.h"
#include "nxbriofiles.h"
#include "reports.h"
#include "staged_files.h"
#include "text.h"

namespace nxbrio::files {
namespace {

struct Wanted {
  Format format;
  bool gzipped;
};

// The format and compression by the word, or where that does not say by the path's ending.
Wanted wanted(const char* path, const char* word) {
  std::string text = word != nullptr ? word : "";
  Wanted result{Format::Pdb, (path != nullptr && ends_in_gz(path)) || ends_in_gz(text)};
  if (ends_in_gz(text)) {
    text.resize(text.size() - 3);
  }
  const std::optional<Format> format = text.empty() && path != nullptr ? format_of_path(path) : format_of_word(text);
  if (!format) {
    throw Failure(path != nullptr ? path : "memory", text.empty()
                                                         ? "neither a format word nor the ending says the format"
                                                         : in_quotes(text) + " is no format word");
  }
  result.format = *format;
  return result;
}

// A file without a name, in memory.
class MemoryFile {
 public:
  MemoryFile() : descriptor_(memfd_create("nxbriofiles", MFD_CLOEXEC)) {
    if (descriptor_ < 0) {
      throw Failure("memory", std::strerror(errno));
    }
  }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  ~MemoryFile() { ::close(descriptor_); }

  std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

  std::string contents() const {
    struct stat status {};
    if (::fstat(descriptor_, &status) != 0) {
      throw Failure("memory", std::strerror(errno));
    }
    std::string text(static_cast<std::size_t>(status.st_size), '\0');
    for (std::size_t at = 0; at < text.size();) {
      const ssize_t n = ::pread(descriptor_, text.data() + at, text.size() - at, static_cast<off_t>(at));
      if (n <= 0 && errno != EINTR) {
        throw Failure("memory", std::strerror(errno));
      }
      at += n > 0 ? static_cast<std::size_t>(n) : 0;
    }
    return text;
  }

 private:
  int descriptor_;
};

// Inserts the data fields before the line that ends the record: for each "> <NAME>", the text, an empty line.
std::string with_fields(std::string record, int mol) {
  constexpr std::string_view kEnd = "$$$$\n";
  const std::vector<std::string> fields = texts_of(model(mol), kFieldsTag);
  if (fields.empty()) {
    return record;
  }
  record.resize(record.size() - kEnd.size());
  for (std::size_t i = 0; i + 1 < fields.size(); i += 2) {
    record.append("> <")
        .append(fields[i])
        .append(">\n")
        .append(fields[i + 1])
        .append(fields[i + 1].empty() ? "\n" : "\n\n");
  }
  return record.append(kEnd);
}

// The text that libnxbriochem writes. When it refuses, its message on standard error becomes the failure.
template <class Write>
std::string library_text(const std::string& about, Write write) {
  const MemoryFile file;
  if (write(file.path().c_str()) != 1) {
    throw Failure(about, "could not be written");
  }
  return file.contents();
}

// Formats with a letter for each chain cannot tell more chains apart than there are letters.
void refuse_chains_without_letter(const std::string& about, Format format, int mol) {
  if ((format == Format::Pdb || format == Format::DelphiPdb || format == Format::Pqr) &&
      model(mol).HasData(NxSystem::NxGetTag(kChainPlacesTag))) {
    Structure structure = structure_of(model(mol));
    number_residues(structure);
    if (const int without = chains_without_letter(structure); without > 0) {
      throw Failure(about, formatted("%d chains have no letter, which %s needs; mmCIF holds them by name", without,
                                     format == Format::Pqr ? "PQR" : "PDB"));
    }
  }
}

std::string text_of_molecules(const std::string& about, Format format, const std::vector<int>& molecules) {
  for (const int mol : molecules) {
    refuse_chains_without_letter(about, format, mol);
  }
  if (format == Format::Mmcif) {
    std::vector<Structure> models;
    models.reserve(molecules.size());
    for (const int mol : molecules) {
      models.push_back(structure_of(model(mol)));
    }
    return mmcif_text(models);
  }
  const char* const word = format_word(format);
  if (format == Format::Sdf) {
    std::string text;
    for (const int mol : molecules) {
      text +=
          with_fields(library_text(about, [&](const char* path) { return nx_write_molecule(path, word, mol); }), mol);
    }
    return text;
  }
  if (molecules.size() == 1) {
    return library_text(about, [&](const char* path) { return nx_write_molecule(path, word, molecules.front()); });
  }
  const int list = nx_make_list();
  for (const int mol : molecules) {
    nx_add_to_list(mol, list);
  }
  struct Deleted {
    int list;
    ~Deleted() { nx_delete_list(list); }
  } const deleted{list};
  return library_text(about, [&](const char* path) { return nx_write_list_of_molecules(path, word, list); });
}

std::string gzipped(const std::string& about, std::string_view text) {
  z_stream stream{};
  constexpr int kGzip = 15 + 16;
  if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzip, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
    throw Failure(about, "out of memory");
  }
  struct Ended {
    z_stream* stream;
    ~Ended() { deflateEnd(stream); }
  } const ended{&stream};
  constexpr std::size_t kMost = std::size_t{1} << 30;
  std::string packed;
  std::string chunk(std::size_t{1} << 18, '\0');
  int state = Z_OK;
  while (state != Z_STREAM_END) {
    if (stream.avail_in == 0 && !text.empty()) {
      const std::size_t n = std::min(text.size(), kMost);
      stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
      stream.avail_in = static_cast<uInt>(n);
      text.remove_prefix(n);
    }
    stream.next_out = reinterpret_cast<Bytef*>(chunk.data());
    stream.avail_out = static_cast<uInt>(chunk.size());
    state = deflate(&stream, text.empty() ? Z_FINISH : Z_NO_FLUSH);
    if (state != Z_OK && state != Z_STREAM_END && state != Z_BUF_ERROR) {
      throw Failure(about, "could not be compressed");
    }
    packed.append(chunk.data(), chunk.size() - stream.avail_out);
  }
  return packed;
}

std::string bytes_of(const std::string& about, const Wanted& wanted, const std::vector<int>& molecules) {
  std::string text = text_of_molecules(about, wanted.format, molecules);
  return wanted.gzipped ? gzipped(about, text) : text;
}

// The molecules of a list; nested lists are replaced by their molecules.
std::vector<int> molecules_of(int list) {
  constexpr int kListType = 2;
  constexpr int kMoleculeType = 3;
  if (nxi_return_type_of_handle(list) != kListType) {
    throw Failure(formatted("%d is no list", list));
  }
  std::vector<int> members(static_cast<std::size_t>(nx_get_list_length_recurse(list)));
  int* end = members.data();
  nxi_unroll_list(&end, list);
  members.resize(static_cast<std::size_t>(end - members.data()));
  std::erase_if(members, [](int member) { return nxi_return_type_of_handle(member) != kMoleculeType; });
  return members;
}

int write_file(const char* path, const char* format, const std::vector<int>& molecules) {
  if (path == nullptr) {
    throw Failure("no path is given");
  }
  const Wanted what = wanted(path, format);
  StagedFiles files(StagedFiles::Printing::Stays);
  const int descriptor = files.stage(path);
  const std::string bytes = bytes_of(path, what, molecules);
  if (!write_all(descriptor, bytes)) {
    throw Failure(path, std::strerror(errno));
  }
  files.commit();
  return 1;
}

// The text last returned to a caller.
constinit util::NeverDestroyed<std::string> kept_text;

const char* keep(size_t* size, std::string bytes) {
  *kept_text = std::move(bytes);
  if (size != nullptr) {
    *size = (*kept_text).size();
  }
  return (*kept_text).c_str();
}

}  // namespace
}  // namespace nxbrio::files

using namespace nxbrio;
using namespace nxbrio::files;

int nxf_write_molecule(const char* path, const char* format, int mol) {
  static_cast<void>(model(mol));
  return reported(path, 0, [&] { return write_file(path, format, {mol}); });
}

int nxf_write_list_of_molecules(const char* path, const char* format, int list) {
  return reported(path, 0, [&] { return write_file(path, format, molecules_of(list)); });
}

const char* nxf_molecule_text(size_t* size, const char* format, int mol) {
  static_cast<void>(model(mol));
  return reported("memory", static_cast<const char*>(nullptr),
                  [&] { return keep(size, bytes_of("memory", wanted(nullptr, format), {mol})); });
}

const char* nxf_list_text(size_t* size, const char* format, int list) {
  return reported("memory", static_cast<const char*>(nullptr),
                  [&] { return keep(size, bytes_of("memory", wanted(nullptr, format), molecules_of(list))); });
}
