// Conformers: NxConfBase, and the multi-conformer molecules that own them.
#include <algorithm>

#include <nxbriochem/toolkit/nxchem.h>

namespace NxChem {

NxConfBase::NxConfBase(NxMCMolBase* parent, unsigned idx)
    : parent_(parent), idx_(idx), coords_(std::size_t{3} * parent->GetMaxAtomIdx()) {}

NxConfBase::~NxConfBase() = default;

void NxConfBase::GetCoords(float* xyz) const {
  if (xyz != nullptr) {
    parent_->CopyLiveCoords(coords_.data(), xyz);
  }
}

void NxConfBase::SetCoords(const float* xyz) {
  if (xyz != nullptr) {
    parent_->CopyLiveCoords(xyz, coords_.data());
  }
}

void NxConfBase::GetCoords(const NxAtomBase& atom, float xyz[3]) const {
  if (xyz == nullptr) {
    return;
  }
  if (parent_->Owns(atom)) {
    std::copy_n(coords_.begin() + std::ptrdiff_t{3} * atom.GetIdx(), 3, xyz);
  } else {
    std::fill_n(xyz, 3, 0.0F);
  }
}

void NxConfBase::SetCoords(const NxAtomBase& atom, const float xyz[3]) {
  if (xyz != nullptr && parent_->Owns(atom)) {
    std::copy_n(xyz, 3, coords_.begin() + std::ptrdiff_t{3} * atom.GetIdx());
  }
}

NxMCMolBase::NxMCMolBase() = default;

NxMCMolBase::NxMCMolBase(const NxMCMolBase& other) : NxMolBase(other) { CopyConfs(other); }

NxMCMolBase::NxMCMolBase(const NxMCMolBase& other, const int* mask) : NxMolBase(other, mask) {
  CopyConfs(other);
  for (NxConfBase& conf : GetConfs()) {
    conf.coords_ = other.SelectCoords(conf.coords_.data(), mask);
  }
}

void NxMCMolBase::CopyConfs(const NxMCMolBase& other) {
  // The base took the active conformer's coordinates for its own; here the conformers hold them all.
  NxMolBase::ResizeCoords(0);
  num_confs_ = other.num_confs_;
  confs_.resize(other.confs_.size());
  for (const NxConfBase& conf : other.GetConfs()) {
    auto& copy = confs_[conf.idx_];
    copy.reset(new NxConfBase(this, conf.idx_));
    copy->NxBase::operator=(conf);
    copy->coords_ = conf.coords_;
    if (&conf == other.active_) {
      active_ = copy.get();
    }
  }
}

NxMCMolBase::~NxMCMolBase() = default;

bool NxMCMolBase::SetActive(NxConfBase* conf) {
  if (conf == nullptr || conf->parent_ != this) {
    return false;
  }
  active_ = conf;
  return true;
}

NxConfBase* NxMCMolBase::GetConf(int idx) const {
  return idx >= 0 && static_cast<unsigned>(idx) < confs_.size() ? confs_[static_cast<unsigned>(idx)].get() : nullptr;
}

bool NxMCMolBase::PushActive(NxConfBase* conf) {
  if (conf == nullptr || conf->parent_ != this) {
    return false;
  }
  saved_active_.push_back(active_);
  active_ = conf;
  return true;
}

bool NxMCMolBase::PopActive() {
  if (saved_active_.empty()) {
    return false;
  }
  active_ = saved_active_.back();
  saved_active_.pop_back();
  return true;
}

NxConfBase* NxMCMolBase::NewConf() {
  confs_.push_back(std::unique_ptr<NxConfBase>(new NxConfBase(this, GetMaxConfIdx())));
  ++num_confs_;
  NxConfBase* conf = confs_.back().get();
  if (active_ != nullptr) {
    conf->coords_ = active_->coords_;
  } else {
    active_ = conf;
  }
  return conf;
}

bool NxMCMolBase::DeleteConf(NxConfBase* conf) {
  if (conf == nullptr || conf->parent_ != this) {
    return false;
  }
  const bool was_active = conf == active_;
  std::erase(saved_active_, conf);
  confs_[conf->idx_].reset();
  --num_confs_;
  if (was_active) {
    const auto first = GetConfs();
    active_ = first ? &*first : nullptr;
  }
  return true;
}

void NxMCMolBase::Sweep() {
  NxMolBase::Sweep();
  for (NxConfBase& conf : GetConfs()) {
    if (conf.coords_.capacity() > 2 * conf.coords_.size()) {
      conf.coords_.shrink_to_fit();
    }
  }
}

void NxMCMolBase::Clear() {
  const bool had_conformer = num_confs_ != 0;
  active_ = nullptr;
  saved_active_.clear();
  confs_.clear();
  num_confs_ = 0;
  NxMolBase::Clear();
  if (had_conformer) {
    NewConf();
  }
}

float* NxMCMolBase::ActiveCoords() { return active_ != nullptr ? active_->coords_.data() : nullptr; }

void NxMCMolBase::ResizeCoords(unsigned n) {
  for (NxConfBase& conf : GetConfs()) {
    conf.coords_.resize(std::size_t{3} * n);
  }
}

NxMol::NxMol() { NewConf(); }

NxMol::NxMol(const NxMol& other) = default;

NxMol::NxMol(const NxMCMolBase& other) : NxMCMolBase(other) {}

NxMol::NxMol(const NxMCMolBase& other, const int* mask) : NxMCMolBase(other, mask) {}

NxMol::~NxMol() = default;

}  // namespace NxChem
