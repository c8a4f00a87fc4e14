// Structure files: whole, record by record, and what they say of a molecule.
#include <nxbriofiles/nxbriofiles.h>

#include <pybind11/stl.h>

#include <algorithm>
#include <optional>

#include "core.h"

namespace nxpy {
namespace {

// Null where the format is to be found out.
const char* word(const std::optional<std::string>& format) { return format ? format->c_str() : nullptr; }

[[noreturn]] void fail_reading() {
  const std::string text = nxf_last_error();
  throw Failure(text.empty() ? "the file cannot be read" : text);
}

// A list of molecules of the library, for as long as it lives; made and deleted within a session.
class List {
 public:
  List() : handle_(nx_make_list()) {}
  List(const List&) = delete;
  List& operator=(const List&) = delete;
  ~List() { nx_delete_list(handle_); }
  int handle() const { return handle_; }

 private:
  int handle_;
};

// Runs a call of nxbriofiles while other Python threads run.
template <class Call>
auto unattended(Call call) {
  const py::gil_scoped_release others_run;
  return call();
}

Molecule read(const std::string& path, const std::optional<std::string>& format) {
  Session session;
  const int handle = unattended([&] { return nxf_read_molecule(path.c_str(), word(format)); });
  if (handle == 0) {
    fail_reading();
  }
  Molecule molecule(handle);
  session.end();
  return molecule;
}

Molecule read_bytes(const py::bytes& bytes, const std::string& name, const std::optional<std::string>& format) {
  Session session;
  const std::string_view text = bytes;
  const int handle =
      unattended([&] { return nxf_read_molecule_from_memory(text.data(), text.size(), name.c_str(), word(format)); });
  if (handle == 0) {
    fail_reading();
  }
  Molecule molecule(handle);
  session.end();
  return molecule;
}

// Takes molecules out of the file's records one after the other.
class Reader {
 public:
  Reader(const std::string& path, const std::optional<std::string>& format) : name_(path) {
    const Session session;
    open(unattended([&] { return nxf_open_reader(path.c_str(), word(format)); }));
  }
  Reader(py::bytes bytes, const std::string& name, const std::optional<std::string>& format)
      : name_(name), bytes_(std::move(bytes)) {
    const Session session;
    const std::string_view text = bytes_;
    open(unattended([&] { return nxf_open_memory_reader(text.data(), text.size(), name.c_str(), word(format)); }));
  }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;
  ~Reader() { close(); }

  // The next record's molecule, or what is wrong with it; StopIteration at the end.
  py::object next() {
    const Session session;
    int mol = 0;
    if (unattended([&] { return nxf_read_record(&mol, handle()); }) != 1) {
      close();
      throw py::stop_iteration();
    }
    return mol != 0 ? py::cast(Molecule(mol)) : py::object(as_str(nxf_last_error()));
  }
  // The next records, up to so many and so many bytes: of each its number, first line and text, and what is wrong with
  // the file where it ends for that, else "".
  py::list texts(int most, std::size_t most_bytes) {
    const Session session;
    py::list records;
    for (std::size_t bytes = 0; static_cast<int>(records.size()) < most && bytes < most_bytes;) {
      const int errors = nx_number_of_errors();
      if (nxf_skip_record(handle()) != 1) {
        break;
      }
      std::size_t size = 0;
      const char* const text = nxf_record_text(&size, reader_);
      records.append(py::make_tuple(nxf_record_number(reader_), nxf_record_line(reader_),
                                    text != nullptr ? py::bytes(text, size) : py::bytes(),
                                    as_str(nx_number_of_errors() > errors ? nxf_last_error() : "")));
      bytes += size;
    }
    return records;
  }
  // Passes over a record; what is wrong with the file where it ends for that, else None.
  py::object skip() {
    const Session session;
    const int errors = nx_number_of_errors();
    if (unattended([&] { return nxf_skip_record(handle()); }) != 1) {
      close();
      throw py::stop_iteration();
    }
    return nx_number_of_errors() > errors ? py::object(as_str(nxf_last_error())) : py::none();
  }
  py::bytes text() const {
    const Session session;
    std::size_t size = 0;
    const char* const bytes = nxf_record_text(&size, handle());
    return bytes != nullptr ? py::bytes(bytes, size) : py::bytes();
  }
  int number() const {
    const Session session;
    return nxf_record_number(handle());
  }
  std::size_t line() const {
    const Session session;
    return nxf_record_line(handle());
  }
  py::str format() const {
    const Session session;
    return as_str(nxf_reader_format(handle()));
  }
  void close() {
    if (reader_ != 0) {
      const Session session;
      nxf_close_reader(reader_);
      reader_ = 0;
    }
  }

 private:
  void open(int reader) {
    if (reader == 0) {
      fail_reading();
    }
    reader_ = reader;
  }
  int handle() const {
    if (reader_ == 0) {
      throw Failure(name_ + ": the reader is closed");
    }
    return reader_;
  }

  std::string name_;
  py::bytes bytes_;
  int reader_ = 0;
};

// Fills a list with molecules of the library.
void fill(const List& list, const std::vector<const Molecule*>& molecules, const Session& session) {
  for (const Molecule* const molecule : molecules) {
    session.require(nx_add_to_list(molecule->handle(), list.handle()), "no memory for a list");
  }
}

void write(const std::string& path, const std::optional<std::string>& format,
           const std::vector<const Molecule*>& molecules, bool single) {
  Session session;
  const List list;
  fill(list, molecules, session);
  const int status = unattended([&] {
    return single ? nxf_write_molecule(path.c_str(), word(format), molecules.front()->handle())
                  : nxf_write_list_of_molecules(path.c_str(), word(format), list.handle());
  });
  if (status != 1) {
    fail_reading();
  }
  session.end();
}

py::bytes text_of(const std::string& format, const std::vector<const Molecule*>& molecules, bool single) {
  const Session session;
  const List list;
  fill(list, molecules, session);
  std::size_t size = 0;
  const char* const text = single ? nxf_molecule_text(&size, format.c_str(), molecules.front()->handle())
                                  : nxf_list_text(&size, format.c_str(), list.handle());
  if (text == nullptr) {
    fail_reading();
  }
  return {text, size};
}

py::array_t<bool> select(const Molecule& molecule, const std::string& selection) {
  const Session session;
  const int atoms = molecule.size();
  std::vector<int> mask(static_cast<std::size_t>(atoms) + 1);
  if (nxf_select(mask.data(), selection.c_str(), molecule.handle()) != 1) {
    fail_reading();
  }
  py::array_t<bool> chosen(atoms);
  std::transform(mask.begin(), mask.end() - 1, chosen.mutable_data(), [](int entry) { return entry != 0; });
  return chosen;
}

template <const char* (*get)(int)>
py::str text_property(const Molecule& molecule) {
  const Session session;
  return as_str(get(molecule.handle()));
}

py::list notes(const Molecule& molecule) {
  const Session session;
  py::list texts;
  for (int k = 0; k < nxf_number_of_notes(molecule.handle()); ++k) {
    texts.append(as_str(nxf_note(k, molecule.handle())));
  }
  return texts;
}

py::dict fields(const Molecule& molecule) {
  const Session session;
  py::dict all;
  const int mol = molecule.handle();
  for (int k = 0; k < nxf_number_of_fields(mol); ++k) {
    const char* const name = nxf_field_name(k, mol);
    all[as_str(name)] = as_str(nxf_field(name, mol));
  }
  return all;
}

void set_field(const Molecule& molecule, const std::string& name, const std::string& text) {
  const Session session;
  if (name.find('\0') != std::string::npos || text.find('\0') != std::string::npos ||
      nxf_set_field(name.c_str(), text.c_str(), molecule.handle()) != 1) {
    refuse("field", "a name and a text that an SD file holds", "'" + name + "'");
  }
}

bool delete_field(const Molecule& molecule, const std::string& name) {
  const Session session;
  return nxf_delete_field(name.c_str(), molecule.handle()) == 1;
}

template <class T, int (*get)(T*, int)>
py::array_t<T> atom_values(const Molecule& molecule) {
  const Session session;
  py::array_t<T> values(molecule.size());
  get(values.mutable_data(), molecule.handle());
  return values;
}

// There is no such function in nxbriofiles; the toolkit keeps them with the residue record.
void set_b_factors(const Molecule& molecule, const py::object& values) {
  const py::array_t<float> factors = float_array(values, "b_factors", molecule.size(), 0);
  const Session session;
  const float* factor = factors.data();
  for (NxChem::NxAtomBase& atom : molecule.model().GetAtoms()) {
    NxChem::NxResidue residue = NxChem::NxAtomGetResidue(atom);
    residue.SetBFactor(*factor++);
    NxChem::NxAtomSetResidue(atom, residue);
  }
}

}  // namespace

void bind_files(py::module_& module) {
  module.def("read", &read);
  module.def("read_bytes", &read_bytes);
  module.def("write", &write);
  module.def("text_of", &text_of);
  module.def("select", &select);
  module.def("notes", &notes);
  module.def("fields", &fields);
  module.def("set_field", &set_field);
  module.def("delete_field", &delete_field);
  module.def("format_of", &text_property<&nxf_molecule_format>);
  module.def("title", &text_property<&nxf_molecule_title>);
  module.def("charge_source", &text_property<&nxf_charge_source>);
  module.def("radius_source", &text_property<&nxf_radius_source>);
  module.def("model", [](const Molecule& molecule) {
    const Session session;
    return nxf_molecule_model(molecule.handle());
  });
  module.def("occupancies", &atom_values<float, &nxf_get_occupancies>);
  module.def("b_factors", &atom_values<float, &nxf_get_b_factors>);
  module.def("set_b_factors", &set_b_factors);
  module.def("hetero_flags", &atom_values<int, &nxf_get_hetero_flags>);
  py::class_<Reader>(module, "Reader")
      .def(py::init<const std::string&, const std::optional<std::string>&>())
      .def(py::init<py::bytes, const std::string&, const std::optional<std::string>&>())
      .def("next", &Reader::next)
      .def("skip", &Reader::skip)
      .def("texts", &Reader::texts)
      .def("close", &Reader::close)
      .def_property_readonly("text", &Reader::text)
      .def_property_readonly("number", &Reader::number)
      .def_property_readonly("line", &Reader::line)
      .def_property_readonly("format", &Reader::format);
}

}  // namespace nxpy
