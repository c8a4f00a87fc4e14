#include <nxbriochem/toolkit/nxmolostream.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include <nxbriochem/toolkit/nxmolostream_formats_internal.h>
#include <nxbriochem/toolkit/nxoutfile_internal.h>

namespace NxChem {
namespace {

// One row per file type.
struct Format {
  const char* word;  // as NxGetFileType knows it
  NxFileType type;
  bool (*write)(const NxMolBase& mol, unsigned flavor, NxTextBuffer& text);
  bool models;                         // several molecules stand between MODEL and ENDMDL
  std::size_t most;                    // molecules that a file can hold
  const char* file_end;                // after the last molecule
  void (*finish)(NxTextBuffer& text);  // changes the text of all molecules; null when there is nothing to change
};

// The largest number that fits the columns of a MODEL record; other formats have no such limit.
constexpr std::size_t kMostModels = 9999;
constexpr std::size_t kAnyNumber = SIZE_MAX;

constexpr std::array<Format, 5> kFormats = {{
    {"pdb", NxFileType::Pdb, NxWritePdb, true, kMostModels, "END\n", nullptr},
    {"mol2", NxFileType::Mol2, NxWriteMol2, false, kAnyNumber, "", nullptr},
    {"sdf", NxFileType::Sdf, NxWriteSdf, false, kAnyNumber, "", nullptr},
    {"xyz", NxFileType::Xyz, NxWriteXyz, false, kAnyNumber, "", nullptr},
    {"pqr", NxFileType::Pqr, NxWritePqr, true, kAnyNumber, "END\n", NxFinishPqr},
}};

const Format* FindFormat(NxFileType type) {
  for (const Format& format : kFormats) {
    if (format.type == type) {
      return &format;
    }
  }
  return nullptr;
}

}  // namespace

NxFileType NxGetFileType(const char* word) {
  for (const Format& format : kFormats) {
    if (word != nullptr && std::strcmp(word, format.word) == 0) {
      return format.type;
    }
  }
  return NxFileType::Undefined;
}

struct NX_LOCAL nxmolostream::Impl {
  std::string filename;
  NxOutFile target;
  bool is_open = false;
  bool refused = false;
  const Format* format = nullptr;
  std::array<unsigned, kFormats.size()> flavors{};  // by row of kFormats
  NxTextBuffer text;
  std::vector<std::size_t> starts;  // of the molecules in text

  void Reset() {
    target.Close();
    is_open = false;
    refused = false;
    text.Truncate(0);
    starts.clear();
  }

  void Finish();
};

// Adds the lines that the format requires around and after the molecules.
void nxmolostream::Impl::Finish() {
  if (format != nullptr && format->finish != nullptr) {
    format->finish(text);
  }
  if (format != nullptr && format->models && starts.size() > 1) {
    NxTextBuffer models;
    models.Reserve(text.Size() + starts.size() * 32);
    for (std::size_t i = 0; i < starts.size(); ++i) {
      const std::size_t end = i + 1 < starts.size() ? starts[i + 1] : text.Size();
      models.Append("MODEL     ").AppendInt(static_cast<int>(i) + 1, 4).Append('\n');
      models.Append(text.View().substr(starts[i], end - starts[i])).Append("ENDMDL\n");
    }
    std::swap(text, models);
  }
  if (format != nullptr) {
    text.Append(format->file_end);
  }
}

nxmolostream::nxmolostream() : impl_(std::make_unique<Impl>()) {}
nxmolostream::~nxmolostream() = default;

bool nxmolostream::open(const char* filename) {
  impl_->Reset();
  impl_->filename = filename != nullptr ? filename : "";
  impl_->is_open = impl_->target.Open(impl_->filename.c_str());
  if (!impl_->is_open) {
    NxSystem::NxThrow.Warning("Unable to open %s for writing: %s", impl_->filename.c_str(), std::strerror(errno));
  }
  return impl_->is_open;
}

void nxmolostream::SetFormat(NxFileType type) { impl_->format = FindFormat(type); }

void nxmolostream::SetFlavor(NxFileType type, unsigned flavor) {
  if (const Format* const format = FindFormat(type)) {
    impl_->flavors[static_cast<std::size_t>(format - kFormats.data())] = flavor;
  }
}

bool nxmolostream::write(const NxMolBase& mol) {
  Impl& impl = *impl_;
  if (!impl.is_open || impl.format == nullptr) {
    NxSystem::NxThrow.Warning("Unable to write a molecule: %s", impl.is_open ? "no format is set" : "no file is open");
    impl.refused = true;
    return false;
  }
  if (impl.starts.size() == impl.format->most) {
    NxSystem::NxThrow.Warning("Unable to write %s: more than %zu molecules", impl.filename.c_str(), impl.format->most);
    impl.refused = true;
    return false;
  }
  const std::size_t start = impl.text.Size();
  if (!impl.format->write(mol, impl.flavors[static_cast<std::size_t>(impl.format - kFormats.data())], impl.text)) {
    impl.text.Truncate(start);
    impl.refused = true;
    return false;
  }
  impl.starts.push_back(start);
  return true;
}

bool nxmolostream::close() {
  Impl& impl = *impl_;
  bool written = impl.is_open && !impl.refused;
  if (written) {
    impl.Finish();
    written = impl.target.Replace(impl.text.View());
    if (!written) {
      NxSystem::NxThrow.Warning("Unable to write %s: %s", impl.filename.c_str(), std::strerror(errno));
    }
  }
  impl.Reset();
  return written;
}

bool NxWriteMolecule(nxmolostream& stream, const NxMolBase& mol) { return stream.write(mol); }

}  // namespace NxChem
