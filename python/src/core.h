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

// Raised in Python as nxbriochem.NxError.
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Holds the lock around the libraries in its scope; a thread may hold it more than once. To be made with the GIL held.
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

// Releases the lock in its scope, however often this thread holds it.
class Respite {
 public:
  Respite();
  Respite(const Respite&) = delete;
  Respite& operator=(const Respite&) = delete;
  ~Respite();

 private:
  int depth_;
};

// Reserves the minimiser, since only one minimisation can run at a time. Throws Failure in a thread that has reserved
// it already.
class MinimiserTurn {
 public:
  MinimiserTurn();
  MinimiserTurn(const MinimiserTurn&) = delete;
  MinimiserTurn& operator=(const MinimiserTurn&) = delete;
  ~MinimiserTurn();
};

// Gives a warning of the package, at the line that called it. Throws where warnings are errors.
void warn(const std::string& text);

// A molecule of the library. It is deleted with its last owner; owners are the Python object and the views of its
// arrays.
struct Body {
  explicit Body(int own_handle);
  Body(const Body&) = delete;
  Body& operator=(const Body&) = delete;
  ~Body();

  // The number of live bodies.
  static int count();

  const int handle;
  // The number of live views of the coordinates.
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

  // To be called within a session, since it reads the libraries' table of handles.
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
// As as_array, as n rows of floats: real numbers within the range of single precision, with the given number of columns
// (0: one dimension). Refuses NaN and infinity. An n of -1: any.
py::array_t<float> float_array(const py::object& object, const char* argument, py::ssize_t n, py::ssize_t columns);
// As float_array, for ints: whole numbers that fit 32 bits.
py::array_t<int> int_array(const py::object& object, const char* argument, py::ssize_t n, py::ssize_t columns);
// Converts an object to n texts in UTF-8; refuses texts with a NUL.
std::vector<std::string> text_array(const py::object& object, const char* argument, py::ssize_t n);
// Texts as a numpy array of strings.
py::array string_array(const std::vector<std::string_view>& texts);
// Bytes as str: decoded as UTF-8 or, when they are not valid UTF-8, as Latin-1.
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
