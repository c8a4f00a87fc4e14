// The formats of structure files: their words and the endings of file names that stand for them.
#ifndef NXBRIOFILES_FORMATS_H
#define NXBRIOFILES_FORMATS_H

#include <optional>
#include <string>
#include <string_view>

namespace nxbrio::files {

enum class Format { Pqr, Pdb, Mmcif, Sdf, Mol2, Xyz, DelphiPdb };

const char* format_word(Format format);
// Nothing for a word that is none.
std::optional<Format> format_of_word(std::string_view word);
// The format by the ending of a file's name, ignoring .gz.
std::optional<Format> format_of_path(std::string_view path);
// The format by the first bytes of a file.
std::optional<Format> format_of_content(std::string_view text);
// Whether a file named as PQR is a PDB file by its columns. All complete atom records are checked.
bool has_pdb_columns(std::string_view text);

// A file's name without directory and endings.
std::string file_stem(std::string_view path);
bool ends_in_gz(std::string_view path);

}  // namespace nxbrio::files

#endif
