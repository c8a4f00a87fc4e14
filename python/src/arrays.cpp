// Arguments as arrays of what the libraries take; ValueError for what they cannot be.
#include <algorithm>
#include <climits>
#include <cstring>

#include "core.h"

namespace nxpy {
namespace {

std::string expected_shape(py::ssize_t n, py::ssize_t columns) {
  const std::string rows = n < 0 ? "n" : std::to_string(n);
  return columns == 0 ? "(" + rows + ",)" : "(" + rows + ", " + std::to_string(columns) + ")";
}

void check_shape(const py::array& array, const char* argument, py::ssize_t n, py::ssize_t columns) {
  // An empty list is as good as no rows.
  if (array.size() == 0 && n <= 0 && array.ndim() == 1) {
    return;
  }
  const py::ssize_t dimensions = columns == 0 ? 1 : 2;
  if (array.ndim() != dimensions || (n >= 0 && array.shape(0) != n) || (columns > 0 && array.shape(1) != columns)) {
    refuse(argument, "shape " + expected_shape(n, columns), shape_of(array));
  }
}

std::string dtype_name(const py::array& array) { return py::str(array.dtype()); }

// Whether any of n floats is NaN or infinite: in bits, of which compilers make vector instructions, by processor where
// the compiler can.
#if defined(__x86_64__) && !defined(__clang__)
__attribute__((target_clones("avx2", "default")))
#endif
bool any_not_finite(const float* values, py::ssize_t n) {
  constexpr unsigned kExponent = 0x7f800000U;
  unsigned found = 0;
  for (py::ssize_t i = 0; i < n; ++i) {
    unsigned bits;
    std::memcpy(&bits, values + i, sizeof bits);
    found |= static_cast<unsigned>((bits & kExponent) == kExponent);
  }
  return found != 0;
}

}  // namespace

std::string shape_of(const py::array& array) { return py::str(array.attr("shape")); }

void refuse(const std::string& argument, const std::string& expected, const std::string& given) {
  throw py::value_error(argument + ": expected " + expected + ", not " + given);
}

py::array as_array(const py::object& object, const char* argument) {
  if (py::isinstance<py::array>(object)) {
    return py::reinterpret_borrow<py::array>(object);
  }
  // Of what is ragged numpy makes an array of objects, with a warning or an error by its version.
  PyObject* const made = py::detail::npy_api::get().PyArray_FromAny_(object.ptr(), nullptr, 0, 0, 0, nullptr);
  if (made == nullptr) {
    if (PyErr_ExceptionMatches(PyExc_ValueError) || PyErr_ExceptionMatches(PyExc_TypeError)) {
      PyErr_Clear();
      refuse(argument, "an array", "a ragged or unknown sequence");
    }
    throw py::error_already_set();
  }
  return py::reinterpret_steal<py::array>(made);
}

py::array_t<float> float_array(const py::object& object, const char* argument, py::ssize_t n, py::ssize_t columns) {
  const py::array array = as_array(object, argument);
  check_shape(array, argument, n, columns);
  const char kind = array.dtype().kind();
  if (array.size() > 0 && kind != 'f' && kind != 'i' && kind != 'u') {
    refuse(argument, "real numbers", "dtype " + dtype_name(array));
  }
  py::array_t<float> floats;
  if (py::isinstance<py::array_t<float, py::array::c_style>>(array)) {
    floats = py::reinterpret_borrow<py::array_t<float>>(array);
  } else {
    // numpy warns of what overflows to infinity, which is refused below.
    py::object quiet = py::module_::import("numpy").attr("errstate")(py::arg("all") = "ignore");
    quiet.attr("__enter__")();
    floats = py::array_t<float, py::array::c_style | py::array::forcecast>::ensure(array);
    quiet.attr("__exit__")(py::none(), py::none(), py::none());
    if (!floats) {
      throw py::error_already_set();
    }
  }
  if (any_not_finite(floats.data(), floats.size())) {
    refuse(argument, "finite numbers within single precision", "NaN, infinity or larger ones");
  }
  return floats;
}

py::array_t<int> int_array(const py::object& object, const char* argument, py::ssize_t n, py::ssize_t columns) {
  const py::array array = as_array(object, argument);
  check_shape(array, argument, n, columns);
  const char kind = array.dtype().kind();
  if (array.size() > 0 && kind != 'i' && kind != 'u') {
    refuse(argument, "whole numbers", "dtype " + dtype_name(array));
  }
  using Wide = py::array_t<long long, py::array::c_style | py::array::forcecast>;
  const Wide wide = Wide::ensure(array);
  if (!wide) {
    throw py::error_already_set();
  }
  py::array_t<int> ints(std::vector<py::ssize_t>(array.shape(), array.shape() + array.ndim()));
  int* out = ints.mutable_data();
  for (py::ssize_t i = 0; i < wide.size(); ++i) {
    const long long value = wide.data()[i];
    // An unsigned one beyond 63 bits comes out negative.
    if (value < INT_MIN || value > INT_MAX || (kind == 'u' && value < 0)) {
      refuse(argument, "numbers that 32 bits hold", "larger ones");
    }
    out[i] = static_cast<int>(value);
  }
  return ints;
}

std::vector<std::string> text_array(const py::object& object, const char* argument, py::ssize_t n) {
  const py::array array = as_array(object, argument);
  check_shape(array, argument, n, 0);
  std::vector<std::string> texts;
  texts.reserve(static_cast<std::size_t>(array.size()));
  for (const py::handle item : array.attr("tolist")()) {
    if (!py::isinstance<py::str>(item)) {
      refuse(argument, "strings", "dtype " + dtype_name(array));
    }
    texts.push_back(py::cast<std::string>(item));
    if (texts.back().find('\0') != std::string::npos) {
      refuse(argument, "strings without NUL characters", "one with them");
    }
  }
  return texts;
}

py::str as_str(std::string_view bytes) {
  const auto size = static_cast<py::ssize_t>(bytes.size());
  PyObject* text = PyUnicode_DecodeUTF8(bytes.data(), size, nullptr);
  if (text == nullptr) {
    PyErr_Clear();
    text = PyUnicode_DecodeLatin1(bytes.data(), size, nullptr);
  }
  if (text == nullptr) {
    throw py::error_already_set();
  }
  return py::reinterpret_steal<py::str>(text);
}

py::array string_array(const std::vector<std::string_view>& texts) {
  std::size_t longest = 1;
  bool ascii = true;
  for (const std::string_view text : texts) {
    longest = std::max(longest, text.size());
    for (const char c : text) {
      ascii = ascii && static_cast<unsigned char>(c) < 0x80;
    }
  }
  if (!ascii) {
    py::list list;
    for (const std::string_view text : texts) {
      list.append(as_str(text));
    }
    return as_array(list, "texts");
  }
  py::array array(py::dtype("<U" + std::to_string(longest)), texts.size());
  auto* out = static_cast<char32_t*>(array.mutable_data());
  for (const std::string_view text : texts) {
    for (std::size_t k = 0; k < longest; ++k) {
      *out++ = k < text.size() ? static_cast<char32_t>(text[k]) : U'\0';
    }
  }
  return array;
}

}  // namespace nxpy
