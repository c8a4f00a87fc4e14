// Coulombic binding energies of two charged molecules, and the monopole and dipole of one.
#include <sys/mman.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include <nxbriochem/geometry/coulomb_kernels_internal.h>
#include <nxbriochem/geometry/mol_func2.h>
#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/briochem_internal.h>
#include <nxbriochem/objects/memory.h>
#include <nxbriochem/objects/print.h>

namespace {

constexpr float kInitialFactor = 560.73706F;
static_assert(std::bit_cast<uint32_t>(kInitialFactor) == 0x440c2f2cU);

}  // namespace

float DFactor2 = kInitialFactor;

namespace {

coulomb::Sites sites_of(const float* records, const float* charges, int count) {
  const bool usable = records != nullptr && charges != nullptr && count > 0;
  return {records, charges, usable ? count : 0};
}

int printable(long long count) { return static_cast<int>(std::min<long long>(count, INT_MAX)); }

void warn_of_coincident_pairs(const coulomb::PairSum& sum) {
  if (sum.coincident > 0) {
    nx_printf(0, "WARNING: %d charges were coincident. these interactions were ignored\n", printable(sum.coincident));
  }
}

coulomb::PairSum sum_of_charges(const coulomb::Sites& target, const coulomb::Sites& ligand) {
  return coulomb::sum_pairs(target, ligand, coulomb::fastest_kernel());
}

bool is_hydrogen(const coulomb::Sites& sites, int i) { return sites.record(i)[NX_RECORD_ELEMENT] == 1.0F; }

int count_hydrogens(const coulomb::Sites& sites) {
  int count = 0;
  for (int i = 0; i < sites.count; ++i) {
    count += is_hydrogen(sites, i) ? 1 : 0;
  }
  return count;
}

// Sum of q p.r / r^3 over the dipoles of one set and the charges of the other. r is the vector from dipole to charge.
double sum_dipoles(const coulomb::Sites& sources, const float* dipoles, const coulomb::Sites& others) {
  double sum = 0.0;
  for (int i = 0; dipoles != nullptr && i < sources.count; ++i) {
    const float* from = sources.record(i);
    const float* dipole = dipoles + static_cast<std::ptrdiff_t>(i) * 3;
    if (dipole[0] == 0.0F && dipole[1] == 0.0F && dipole[2] == 0.0F) {
      continue;
    }
    for (int j = 0; j < others.count; ++j) {
      const float* to = others.record(j);
      double r2 = 0.0;
      double along = 0.0;
      for (int k = 0; k < 3; ++k) {
        const double d = static_cast<double>(to[k]) - static_cast<double>(from[k]);
        r2 += d * d;
        along += static_cast<double>(dipole[k]) * d;
      }
      if (others.charges[j] != 0.0F && r2 != 0.0) {
        sum += static_cast<double>(others.charges[j]) * along / (r2 * std::sqrt(r2));
      }
    }
  }
  return sum;
}

// A molecule's records and charges: two blocks of the tracked allocator. An atom's place is its index; places of
// deleted atoms have charge 0 and so take no part.
struct MoleculeSites {
  float* records;
  float* charges;
  int count;
};

// Asks for large pages; a refusal does no harm. The C library returns a block of this size to the system each time it
// is freed, and getting the next one page by page takes as long as the sum with a small ligand.
void use_large_pages(void* block, std::size_t bytes) {
  constexpr std::size_t kLargePage = std::size_t{2} << 20;
  const std::size_t before = (kLargePage - reinterpret_cast<std::uintptr_t>(block) % kLargePage) % kLargePage;
  if (bytes >= before + 8 * kLargePage) {
    madvise(static_cast<char*>(block) + before, bytes - before, MADV_HUGEPAGE);
  }
}

MoleculeSites allocate_sites(int mol) {
  const int count = nx_get_molecule_charges_length(mol);
  // A molecule without atoms also has blocks: of one atom that is not used.
  const std::size_t room = static_cast<std::size_t>(std::max(count, 1));
  const auto floats = [](std::size_t n) {
    auto* block = static_cast<float*>(nx_malloc(static_cast<int64_t>(n * sizeof(float))));
    use_large_pages(block, n * sizeof(float));
    return block;
  };
  float* records = floats(room * NX_RECORD_FLOATS);
  return {records, floats(room), count};
}

void fill_sites(const MoleculeSites& sites, int mol) {
  const NxChem::NxMolBase& molecule = briochem::model(mol);
  if (molecule.NumAtoms() != molecule.GetMaxAtomIdx()) {
    std::fill_n(sites.charges, sites.count, 0.0F);
  }
  nx_get_molecule_charges(sites.charges, mol);
  const float* xyz = molecule.CoordData();
  float* record = sites.records;
  for (int i = 0; i < sites.count; ++i, record += NX_RECORD_FLOATS) {
    std::fill_n(record, NX_RECORD_FLOATS, 0.0F);
    if (xyz != nullptr) {
      std::copy_n(xyz + std::ptrdiff_t{3} * i, 3, record);
    }
  }
}

void free_sites(const MoleculeSites& sites) {
  nx_free(sites.charges);
  nx_free(sites.records);
}

// Charges of one sign: their total magnitude and the sum of positions weighted by it.
struct SignedCharges {
  double total = 0.0;
  double weighted[3] = {};

  void add(double magnitude, const float* at) {
    total += magnitude;
    for (int k = 0; k < 3; ++k) {
      weighted[k] += magnitude * static_cast<double>(at[k]);
    }
  }
  void divide() {
    for (double& component : weighted) {
      component /= total;
    }
  }
};

// The results of nx_calculate_monopole_and_dipole, each of which the caller may have left out.
struct Moments {
  float* centre;
  float* monopole;
  float* dipole;
  int* extra;

  void set_centre(const double* value) const { set_vector(centre, value); }
  void set_monopole(double value) const {
    if (monopole != nullptr) {
      *monopole = static_cast<float>(value);
    }
  }
  void set_dipole(const double* value) const { set_vector(dipole, value); }
  void set_extra(int value) const {
    if (extra != nullptr) {
      *extra = value;
    }
  }
  void clear() const {
    constexpr double zero[3] = {};
    set_centre(zero);
    set_monopole(0.0);
    set_dipole(zero);
    set_extra(0);
  }

 private:
  static void set_vector(float* out, const double* value) {
    for (int k = 0; out != nullptr && k < 3; ++k) {
      out[k] = static_cast<float>(value[k]);
    }
  }
};

}  // namespace

float nxi_c_bind(const float* records1, const float* charges1, int count1, const float* records2, const float* charges2,
                 int count2, float eps) {
  const float factor = DFactor2 / eps;
  const coulomb::PairSum sum =
      sum_of_charges(sites_of(records1, charges1, count1), sites_of(records2, charges2, count2));
  warn_of_coincident_pairs(sum);
  return factor * sum.total;
}

int nx_calculate_coulombic_binding(int mol1, int mol2, float* out, float eps) {
  const MoleculeSites target = allocate_sites(mol1);
  const MoleculeSites ligand = allocate_sites(mol2);
  fill_sites(target, mol1);
  fill_sites(ligand, mol2);
  const float energy =
      nxi_c_bind(target.records, target.charges, target.count, ligand.records, ligand.charges, ligand.count, eps);
  if (out != nullptr) {
    *out = energy;
  }
  free_sites(ligand);
  free_sites(target);
  // Kept: programs rely on 0, also on success.
  return 0;
}

float nxi_c_bind_cut1(const float* records1, const float* charges1, int count1, const float* records2,
                      const float* charges2, int count2, float eps, float cap) {
  const float factor = DFactor2 / eps;
  const coulomb::Sites target = sites_of(records1, charges1, count1);
  const coulomb::Sites ligand = sites_of(records2, charges2, count2);
  const auto nearest = static_cast<double>(cap);
  long long capped_pairs = 0;
  const coulomb::PairSum sum = coulomb::sum_pairs_in_order(target, ligand, [&](int i, int j, double distance) {
    if (distance < nearest && (is_hydrogen(target, i) || is_hydrogen(ligand, j))) {
      ++capped_pairs;
      return nearest;
    }
    return distance;
  });
  warn_of_coincident_pairs(sum);
  if (capped_pairs > 0) {
    nx_printf(0, "WARNING: %d H-interactions where less than %f.  These distances were capped \n",
              printable(capped_pairs), nearest);
  }
  return factor * sum.total;
}

float nxi_c_bind_dipolar(const float* records1, const float* charges1, int count1, const float* records2,
                         const float* charges2, int count2, float eps, const float* dipoles1, const float* dipoles2) {
  const float factor = DFactor2 / eps;
  const coulomb::Sites target = sites_of(records1, charges1, count1);
  const coulomb::Sites ligand = sites_of(records2, charges2, count2);
  const coulomb::PairSum sum = sum_of_charges(target, ligand);
  const auto to_ligand = static_cast<float>(static_cast<double>(factor) * sum_dipoles(target, dipoles1, ligand));
  const auto to_target = static_cast<float>(static_cast<double>(factor) * sum_dipoles(ligand, dipoles2, target));
  nx_printf(0, "%d target protons\n", count_hydrogens(target));
  nx_printf(0, "%d ligand protons\n", count_hydrogens(ligand));
  nx_printf(0, "dipole->ligand energy %f\n", static_cast<double>(to_ligand));
  nx_printf(0, "dipole->target energy %f\n", static_cast<double>(to_target));
  warn_of_coincident_pairs(sum);
  return factor * sum.total + to_ligand + to_target;
}

int nx_calculate_monopole_and_dipole(const float* xyz, const float* q, int n, float centre[3], float* monopole,
                                     float dipole[3], int* extra) {
  const Moments moments{centre, monopole, dipole, extra};
  moments.clear();
  if (n < 1 || xyz == nullptr || q == nullptr) {
    return 0;
  }
  SignedCharges positive;
  SignedCharges negative;
  int left_out = 0;
  for (std::ptrdiff_t i = 0; i < n; ++i) {
    if (q[i] > 0.0F) {
      positive.add(static_cast<double>(q[i]), xyz + 3 * i);
    } else if (q[i] < 0.0F) {
      negative.add(-static_cast<double>(q[i]), xyz + 3 * i);
    } else {
      ++left_out;
    }
  }
  moments.set_extra(left_out);
  if (positive.total == 0.0) {
    // Kept: programs rely on the undivided weighted sum and on the magnitude as the monopole.
    moments.set_centre(negative.weighted);
    moments.set_monopole(negative.total);
    return 1;
  }
  positive.divide();
  if (negative.total == 0.0) {
    moments.set_centre(positive.weighted);
    moments.set_monopole(positive.total);
    return 1;
  }
  negative.divide();
  moments.set_centre(negative.total > positive.total ? negative.weighted : positive.weighted);
  moments.set_monopole(positive.total - negative.total);
  double between[3];
  for (int k = 0; k < 3; ++k) {
    between[k] = positive.weighted[k] - negative.weighted[k];
  }
  moments.set_dipole(between);
  return 1;
}
