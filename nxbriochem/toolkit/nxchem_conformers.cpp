// Conformers: NxConfBase, and the multi-conformer molecules that own them.
#include <algorithm>
#include <memory>
#include <utility>

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
  // The base class has copied the active conformer's coordinates; here only conformers hold coordinates.
  NxMolBase::ResizeCoords(0);
  confs_.CopyFrom(other.confs_, [&](const NxChunk<NxConfBase>& chunk) {
    auto copies = std::make_unique<NxChunk<NxConfBase>>();
    copies->head = chunk.head;
    copies->head.parent = this;
    for (unsigned place = 0; place < chunk.kSize; ++place) {
      if (const NxConfBase* conf = chunk.confs[place].get()) {
        auto& copy = copies->confs[place];
        copy.reset(new NxConfBase(this, conf->idx_));
        copy->NxBase::operator=(*conf);
        copy->coords_ = conf->coords_;
        if (conf == other.active_) {
          active_ = copy.get();
        }
      }
    }
    return copies;
  });
}

NxMCMolBase::~NxMCMolBase() = default;

bool NxMCMolBase::SetActive(NxConfBase* conf) {
  if (conf == nullptr || conf->parent_ != this) {
    return false;
  }
  active_ = conf;
  return true;
}

NxConfBase* NxMCMolBase::GetConf(int idx) const { return confs_.Get(static_cast<unsigned>(idx)); }

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
  auto& chunk = confs_.Open(this);
  std::unique_ptr<NxConfBase> conf(new NxConfBase(this, GetMaxConfIdx()));
  if (active_ != nullptr) {
    conf->coords_ = active_->coords_;
  }
  chunk.confs[GetMaxConfIdx() % chunk.kSize] = std::move(conf);
  NxConfBase* made = confs_.Add();
  active_ = active_ != nullptr ? active_ : made;
  return made;
}

bool NxMCMolBase::DeleteConf(NxConfBase* conf) {
  if (conf == nullptr || conf->parent_ != this) {
    return false;
  }
  const bool was_active = conf == active_;
  std::erase(saved_active_, conf);
  confs_.Remove(conf->idx_);
  if (was_active) {
    const auto first = GetConfs();
    active_ = first ? &*first : nullptr;
  }
  return true;
}

void NxMCMolBase::Sweep() {
  NxMolBase::Sweep();
  confs_.Sweep();
  for (NxConfBase& conf : GetConfs()) {
    if (conf.coords_.capacity() > 2 * conf.coords_.size()) {
      conf.coords_.shrink_to_fit();
    }
  }
}

void NxMCMolBase::Clear() {
  const bool had_conformer = NumConfs() != 0;
  active_ = nullptr;
  saved_active_.clear();
  confs_.Clear();
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
