// The owner of an energy object of nxbriodock.
#ifndef NXBRIOCHEM_PYTHON_ENERGY_HANDLE_H
#define NXBRIOCHEM_PYTHON_ENERGY_HANDLE_H

#include <nxbriodock/nxbriodock.h>

namespace nxpy {

// Stands for the handle wherever one is asked for, and deletes the object at its end.
class EnergyHandle {
 public:
  EnergyHandle() = default;
  EnergyHandle(const EnergyHandle&) = delete;
  EnergyHandle& operator=(const EnergyHandle&) = delete;
  ~EnergyHandle() {
    if (handle_ != 0) {
      nxd_delete_energy(handle_);
    }
  }
  // Takes what nxd_make_energy or nxd_copy_energy made, once. The session throws where they made none.
  template <class AnySession>
  void take(int handle, const AnySession& session) {
    handle_ = handle;
    session.require(handle != 0 ? 1 : 0, "there is no energy object left");
  }
  operator int() const { return handle_; }

 private:
  int handle_ = 0;
};

}  // namespace nxpy

#endif
