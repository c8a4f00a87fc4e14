// The flat interface of Jacobi's method: work vectors, messages, sorting, and restoring the callers' matrices.
#include <nxbriochem/geometry/eigen_jag.h>

#include <cstdint>
#include <cstdio>
#include <utility>

#include <nxbriochem/geometry/jacobi_sweeps_internal.h>
#include <nxbriochem/objects/memory.h>
#include <nxbriochem/util/vector3_internal.h>

namespace {

template <class T>
void jacobi(T** a, int n, T* d, T** v, int* nrot, const char* name) {
  if (a == nullptr || d == nullptr || v == nullptr || n < 0) {
    return;
  }
  if (n == 0) {
    if (nrot != nullptr) {
      *nrot = 0;
    }
    return;
  }
  const int64_t bytes = static_cast<int64_t>(n) * static_cast<int64_t>(sizeof(T));
  auto* b = static_cast<T*>(nx_malloc(bytes));
  auto* z = static_cast<T*>(nx_malloc(bytes));
  int rotations = 0;
  const bool converged = eigen_jag::diagonalise(a, n, d, v, &rotations, b, z, eigen_jag::best_instruction_set(n));
  if (nrot != nullptr) {
    *nrot = rotations;
  }
  if (!converged) {
    // Kept: programs rely on b and z staying allocated.
    std::printf("Error : too many iterations in routine %s\n", name);
    return;
  }
  nx_free(z);
  nx_free(b);
}

template <class T>
void sort_descending(T* d, T** v, int n) {
  if (d == nullptr || v == nullptr) {
    return;
  }
  for (int i = 0; i + 1 < n; ++i) {
    int largest = i;
    for (int j = i + 1; j < n; ++j) {
      if (d[j] >= d[largest]) {  // Kept: programs rely on the later of equal ones
        largest = j;
      }
    }
    if (largest != i) {
      std::swap(d[i], d[largest]);
      for (int row = 0; row < n; ++row) {
        std::swap(v[row][i], v[row][largest]);
      }
    }
  }
}

// Copies the lower triangle over the upper one.
template <class T>
void make_whole(T** a, int n) {
  for (int j = 1; j < n; ++j) {
    for (int i = 0; i < j; ++i) {
      a[i][j] = a[j][i];
    }
  }
}

float determinant(float** m) {
  return vector3::determinant<float>({m[0][0], m[0][1], m[0][2], m[1][0], m[1][1], m[1][2], m[2][0], m[2][1], m[2][2]});
}

}  // namespace

void vf_jacobi(float** a, int n, float* d, float** v, int* nrot) { jacobi(a, n, d, v, nrot, "vf_jacobi"); }

void vf_jacobi_double_precision(double** a, int n, double* d, double** v, int* nrot) {
  jacobi(a, n, d, v, nrot, "vf_jacobi_double_precision");
}

void eigsrt(float* d, float** v, int n) { sort_descending(d, v, n); }

void eigsrt_double_precision(double* d, double** v, int n) { sort_descending(d, v, n); }

void eigen_solve(float** a, int n, float* d, float** v) {
  if (a == nullptr || d == nullptr || v == nullptr) {
    return;
  }
  vf_jacobi(a, n, d, v, nullptr);
  make_whole(a, n);
}

void eigen_solve_double_precision(double** a, int n, double* d, double** v) {
  if (a == nullptr || d == nullptr || v == nullptr) {
    return;
  }
  vf_jacobi_double_precision(a, n, d, v, nullptr);
  make_whole(a, n);
  eigsrt_double_precision(d, v, n);
}

void eigen_solve_3_by_3(float** a, float* d, float** v) {
  if (a == nullptr || d == nullptr || v == nullptr) {
    return;
  }
  vf_jacobi(a, 3, d, v, nullptr);
  make_whole(a, 3);
  eigsrt(d, v, 3);
  if (determinant(v) < 0) {
    for (int row = 0; row < 3; ++row) {
      v[row][2] = -v[row][2];
    }
  }
}
