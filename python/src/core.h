// What the sources of the extension share: the lock around the libraries, failures as exceptions, and molecules that
// own their handles.
//
// Locks. The libraries are used by one thread at a time, which holds Session. A thread never waits for the lock while
// it holds the interpreter (the GIL), so that the two cannot wait for one another. Long calls let the interpreter go.
#ifndef NXBRIOCHEM_PYTHON_CORE_H
#define NXBRIOCHEM_PYTHON_CORE_H

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <nxbriochem/nxbriochem.h>

namespace nxpy {

namespace py = pybind11;

// Becomes nxbriochem.NxError.
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Holds the libraries, for as long as it lives; a thread may hold them more than once. Made with the GIL held.
class Session {
 public:
  Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session();

  // Throws the newest error that the libraries queued since the session began, or `otherwise` where there is none.
  [[noreturn]] void fail(const std::string& otherwise) const;
  // As fail, for a status that is not 1.
  void require(int status, const char* otherwise) const {
    if (status != 1) {
      fail(otherwise);
    }
  }
  // Ends the session, and then gives the libraries' new warnings to Python's module `warnings`, which may throw.
  void end();

 private:
  int errors_;
  int warnings_;
  bool held_ = true;
};

// Lets other threads use the libraries while it lives, however often this thread holds them.
class Respite {
 public:
  Respite();
  Respite(const Respite&) = delete;
  Respite& operator=(const Respite&) = delete;
  ~Respite();

 private:
  int depth_;
};

// Has the libraries' minimiser, of which one runs at a time. Throws Failure in a thread that has it already.
class MinimiserTurn {
 public:
  MinimiserTurn();
  MinimiserTurn(const MinimiserTurn&) = delete;
  MinimiserTurn& operator=(const MinimiserTurn&) = delete;
  ~MinimiserTurn();
};

// Gives a warning of the package, at the line that called it. Throws where warnings are errors.
void warn(const std::string& text);

// A molecule of the library, deleted with the last who holds it: the Python object and the views of its arrays.
struct Body {
  explicit Body(int own_handle);
  Body(const Body&) = delete;
  Body& operator=(const Body&) = delete;
  ~Body();

  // How many live.
  static int count();

  const int handle;
  // Views of coordinates that live.
  int coordinate_views = 0;
};

// What Python's Molecule is made of.
class Molecule {
 public:
  // Owns the handle; throws Failure for 0.
  explicit Molecule(int handle);

  // Throws Failure when it was closed.
  int handle() const { return body().handle; }
  Body& body() const;
  const std::shared_ptr<Body>& shared() const {
    body();
    return body_;
  }
  bool closed() const { return body_ == nullptr; }
  void close() { body_.reset(); }

  // To be called within a session: the table of handles is the libraries'.
  NxChem::NxMCMolBase& model() const { return *NxBrioChem::NxDerefMCMolHandle(handle()); }
  // The number of atoms; may be asked at any time.
  int size() const {
    const Session session;
    return static_cast<int>(model().NumAtoms());
  }

 private:
  std::shared_ptr<Body> body_;
};

// "(3, 2)", as numpy writes it.
std::string shape_of(const py::array& array);
// Raises ValueError: "argument: expected ..., not ...".
[[noreturn]] void refuse(const std::string& argument, const std::string& expected, const std::string& given);

// An array as numpy.asarray makes it of any object; refuses what is ragged.
py::array as_array(const py::object& object, const char* argument);
// The same as n rows of floats: real numbers that single precision holds, of this shape (columns 0: one dimension).
// Refuses NaN and infinity. An n of -1: any.
py::array_t<float> float_array(const py::object& object, const char* argument, py::ssize_t n, py::ssize_t columns);
// The same of ints, from whole numbers that 32 bits hold.
py::array_t<int> int_array(const py::object& object, const char* argument, py::ssize_t n, py::ssize_t columns);
// n texts without NUL, in UTF-8.
std::vector<std::string> text_array(const py::object& object, const char* argument, py::ssize_t n);
// Texts as a numpy array of strings.
py::array string_array(const std::vector<std::string_view>& texts);
// Any bytes as str: UTF-8, and what is none as Latin-1.
py::str as_str(std::string_view bytes);

void bind_molecule(py::module_& module);
void bind_files(py::module_& module);
void bind_energy(py::module_& module);
void bind_geometry(py::module_& module);
void bind_optimize(py::module_& module);
void bind_memory(py::module_& module);
void bind_screening(py::module_& module);

}  // namespace nxpy

#endif
