// The extension nxbriochem._core: its lock, its exceptions, its module.
#include "core.h"

#include <atomic>
#include <mutex>
#include <new>
#include <thread>

namespace nxpy {
namespace {

// A lock that a thread may take more than once. Waiting for it, a thread lets the interpreter go.
class Lock {
 public:
  void lock() {
    if (mine()) {
      ++depth_;
      return;
    }
    if (!mutex_.try_lock()) {
      const py::gil_scoped_release others_run;
      mutex_.lock();
    }
    take();
  }
  // As lock, without waiting.
  bool try_lock() {
    if (mine()) {
      ++depth_;
      return true;
    }
    if (!mutex_.try_lock()) {
      return false;
    }
    take();
    return true;
  }
  void unlock() {
    if (--depth_ == 0) {
      owner_ = std::thread::id();
      mutex_.unlock();
    }
  }
  bool mine() const { return owner_ == std::this_thread::get_id(); }
  int give_up() {
    const int depth = depth_;
    depth_ = 1;
    unlock();
    return depth;
  }
  void take_up(int depth) {
    lock();
    depth_ = depth;
  }

 private:
  void take() {
    owner_ = std::this_thread::get_id();
    depth_ = 1;
  }

  std::mutex mutex_;
  std::atomic<std::thread::id> owner_;
  int depth_ = 0;
};

// Never destroyed: threads may outlive static objects.
Lock& library_lock() {
  static auto* const lock = new Lock;
  return *lock;
}
Lock& minimiser_lock() {
  static auto* const lock = new Lock;
  return *lock;
}

// Molecules that nobody holds any more, but whose end had to wait for the lock.
class Graveyard {
 public:
  void bury(int handle) {
    const std::lock_guard guard(mutex_);
    handles_.push_back(handle);
    filled_ = true;
  }
  // To be called with the library's lock held.
  void clear() {
    if (!filled_) {
      return;
    }
    std::vector<int> handles;
    {
      const std::lock_guard guard(mutex_);
      handles.swap(handles_);
      filled_ = false;
    }
    for (const int handle : handles) {
      nx_delete_molecule(handle);
    }
  }

 private:
  std::mutex mutex_;
  std::vector<int> handles_;
  std::atomic<bool> filled_ = false;
};

Graveyard& graveyard() {
  static auto* const graves = new Graveyard;
  return *graves;
}

std::string without_line_end(std::string text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) {
    text.pop_back();
  }
  return text;
}

PyObject* warning_class = nullptr;
std::atomic<int> bodies = 0;

// A fork waits until no other thread is in the libraries, so that the child finds them free.
void register_at_fork() {
  const py::cpp_function before([] {
    minimiser_lock().lock();
    library_lock().lock();
  });
  const py::cpp_function after([] {
    library_lock().unlock();
    minimiser_lock().unlock();
  });
  py::module_::import("os").attr("register_at_fork")(py::arg("before") = before, py::arg("after_in_parent") = after,
                                                     py::arg("after_in_child") = after);
}

}  // namespace

Session::Session() {
  library_lock().lock();
  graveyard().clear();
  errors_ = nx_number_of_errors();
  warnings_ = nx_number_of_warnings();
}

Session::~Session() {
  if (held_) {
    library_lock().unlock();
  }
}

void Session::fail(const std::string& otherwise) const {
  const int errors = nx_number_of_errors();
  const char* const text = errors > errors_ ? nx_error_with_tag("", errors - 1) : nullptr;
  throw Failure(text != nullptr && *text != '\0' ? without_line_end(text) : otherwise);
}

void Session::end() {
  std::vector<std::string> texts;
  for (int k = warnings_; k < nx_number_of_warnings(); ++k) {
    if (const char* const text = nx_warning_with_tag("", k)) {
      texts.push_back(without_line_end(text));
    }
  }
  held_ = false;
  library_lock().unlock();
  for (const std::string& text : texts) {
    warn(text);
  }
}

Respite::Respite() : depth_(library_lock().give_up()) {}
Respite::~Respite() { library_lock().take_up(depth_); }

void warn(const std::string& text) {
  if (PyErr_WarnEx(warning_class, text.c_str(), 2) != 0) {
    throw py::error_already_set();
  }
}

MinimiserTurn::MinimiserTurn() {
  if (minimiser_lock().mine()) {
    throw Failure("minimize cannot be called by its own callbacks");
  }
  minimiser_lock().lock();
}

MinimiserTurn::~MinimiserTurn() { minimiser_lock().unlock(); }

Body::Body(int own_handle) : handle(own_handle) { ++bodies; }

int Body::count() { return bodies; }

Body::~Body() {
  --bodies;
  if (library_lock().try_lock()) {
    nx_delete_molecule(handle);
    library_lock().unlock();
  } else {
    graveyard().bury(handle);
  }
}

Molecule::Molecule(int handle) {
  if (handle == 0) {
    throw Failure("there is no molecule handle left");
  }
  body_ = std::make_shared<Body>(handle);
}

Body& Molecule::body() const {
  if (body_ == nullptr) {
    throw Failure("the molecule is closed");
  }
  return *body_;
}

}  // namespace nxpy

PYBIND11_MODULE(_core, module) {
  using namespace nxpy;
  module.doc() = "The libraries as they are wrapped; use nxbriochem.";
  static PyObject* const failure = PyErr_NewExceptionWithDoc(
      "nxbriochem.NxError", "What the libraries refuse or fail in, in their words.", PyExc_RuntimeError, nullptr);
  warning_class =
      PyErr_NewExceptionWithDoc("nxbriochem.NxWarning", "What the libraries warn of.", PyExc_UserWarning, nullptr);
  module.attr("NxError") = py::handle(failure);
  module.attr("NxWarning") = py::handle(warning_class);
  py::register_exception_translator([](std::exception_ptr thrown) {
    try {
      if (thrown) {
        std::rethrow_exception(thrown);
      }
    } catch (const Failure& error) {
      PyErr_SetObject(failure, as_str(error.what()).ptr());
    }
  });
  register_at_fork();
  bind_molecule(module);
  bind_files(module);
  bind_energy(module);
  bind_geometry(module);
  bind_optimize(module);
  bind_memory(module);
  bind_screening(module);
}
