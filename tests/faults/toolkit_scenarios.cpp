// The exported C++: the heap's failure reaches the caller as std::bad_alloc, or the call reports it.
#include <array>
#include <memory>
#include <utility>

#include <nxbriochem/molecules/memmgr.h>
#include <nxbriochem/toolkit/nxmolostream.h>
#include <nxbriochem/toolkit/nxperceive.h>

#include "tests/faults/failing_heap.h"
#include "tests/faults/scenarios.h"

namespace faults {
namespace {

constexpr const char* kLongText = "a text that is too long to be kept within the string itself";

std::unique_ptr<NxChem::NxMol> model;
std::unique_ptr<NxChem::NxMolBase> plain;
std::unique_ptr<NxSystem::NxBrioGrid> grid;
std::unique_ptr<NxChem::nxmolostream> writer;
NxSystem::NxBrioGrid other_grid;
NxChem::NxResidue residue;
int ints[] = {1, 2, 3, 4, 5, 6, 7, 8, 9};

// A ring of six with two tails, and data.
void models() {
  model = std::make_unique<NxChem::NxMol>();
  for (int i = 0; i < 8; ++i) {
    model->NewAtom(6);
    const float xyz[] = {1.5F * static_cast<float>(i % 3), 0.5F * static_cast<float>(i - i % 3), 0};
    model->SetCoords(*model->GetAtom(i), xyz);
  }
  for (const auto& [i, j] :
       std::array<std::array<int, 2>, 8>{{{0, 1}, {1, 2}, {2, 3}, {3, 4}, {4, 5}, {5, 0}, {0, 6}, {6, 7}}}) {
    model->NewBond(model->GetAtom(i), model->GetAtom(j), 1);
  }
  model->SetData(5, ints, 9);
  plain = std::make_unique<NxChem::NxMolBase>(*model);
  grid = std::make_unique<NxSystem::NxBrioGrid>();
  grid->SetData(5, ints, 9);
  other_grid.SetData(6, ints, 9);
  residue.SetName(kLongText);
}

void streams() {
  models();
  writer = std::make_unique<NxChem::nxmolostream>();
  writer->open(written_path.c_str());
  writer->SetFormat(NxChem::NxFileType::Pdb);
  writer->write(*model);
}

// Something was deleted.
void thinned() {
  models();
  for (NxChem::NxMolBase* const each : {static_cast<NxChem::NxMolBase*>(model.get()), plain.get()}) {
    each->Reserve(50, 50);
    each->DeleteBond(each->GetBond(7));
    each->DeleteAtom(each->GetAtom(7));
  }
}

// Bonds made before the failure stay, so each call uses another molecule.
void determine_connectivity() {
  std::unique_ptr<NxChem::NxMolBase> copy;
  {
    const Aside aside;
    copy = std::make_unique<NxChem::NxMolBase>(*plain);
  }
  NxChem::NxDetermineConnectivity(*copy);
}

}  // namespace

std::vector<Scenario> toolkit_scenarios() {
  return {
      // Handles.
      CALL_AS("NxBrioChem::NxAcquireHandle(NxChem::NxMolBase const&)", kFatal, models,
              NxBrioChem::NxAcquireHandle(std::as_const(*plain))),
      CALL_AS("NxBrioChem::NxAcquireHandle(NxChem::NxMolBase&)", kFatal, models, NxBrioChem::NxAcquireHandle(*plain)),
      CALL_AS("NxBrioChem::NxAcquireHandle(NxChem::NxMCMolBase&)", kFatal, models,
              NxBrioChem::NxAcquireHandle(static_cast<NxChem::NxMCMolBase&>(*model))),
      CALL_AS("NxBrioChem::NxAcquireHandle(NxChem::NxMol&)", kFatal, models, NxBrioChem::NxAcquireHandle(*model)),
      CALL_AS("NxBrioChem::NxAcquireGridHandle(NxSystem::NxBrioGrid&)", kFatal, models,
              NxBrioChem::NxAcquireGridHandle(*grid)),
      // The model.
      CALL_AS("NxChem::NxMol::NxMol()", kThrows, models, (NxChem::NxMol(), true)),
      CALL_AS("NxChem::NxMol::NxMol(NxChem::NxMol const&)", kThrows, models, (NxChem::NxMol(*model), true)),
      CALL_AS("NxChem::NxMol::NxMol(NxChem::NxMCMolBase const&)", kThrows, models,
              (NxChem::NxMol(static_cast<const NxChem::NxMCMolBase&>(*model)), true)),
      CALL_AS("NxChem::NxMol::NxMol(NxChem::NxMCMolBase const&, int const*)", kThrows, models,
              (NxChem::NxMol(*model, ints), true)),
      CALL_AS("NxChem::NxMCMolBase::NxMCMolBase(NxChem::NxMCMolBase const&)", kThrows, models,
              (NxChem::NxMCMolBase(*model), true)),
      CALL_AS("NxChem::NxMCMolBase::NxMCMolBase(NxChem::NxMCMolBase const&, int const*)", kThrows, models,
              (NxChem::NxMCMolBase(*model, ints), true)),
      CALL_AS("NxChem::NxMolBase::NxMolBase(NxChem::NxMolBase const&)", kThrows, models,
              (NxChem::NxMolBase(*plain), true)),
      CALL_AS("NxChem::NxMolBase::NxMolBase(NxChem::NxMolBase const&, int const*)", kThrows, models,
              (NxChem::NxMolBase(*plain, ints), true)),
      CALL_AS("NxChem::NxMCMolBase::PushActive(NxChem::NxConfBase*)", kThrows, models,
              model->PushActive(model->GetActive())),
      CALL_AS("NxChem::NxMCMolBase::ResizeCoords(unsigned int)", kThrows, models, model->Reserve(400, 400)),
      CALL_AS("NxChem::NxMCMolBase::Clear()", kThrows, models, model->Clear()),
      CALL_AS("NxChem::NxMCMolBase::NewConf()", kThrows, models, model->NewConf()),
      CALL_AS("NxChem::NxMolBase::ResizeCoords(unsigned int)", kThrows, models, plain->NewAtom(6)),
      CALL_AS("NxChem::NxMolBase::NewAtom(unsigned int)", kThrows, models, model->NewAtom(6)),
      CALL_AS("NxChem::NxMolBase::NewBond(NxChem::NxAtomBase*, NxChem::NxAtomBase*, int)", kThrows, models,
              model->NewBond(model->GetAtom(0), model->GetAtom(4), 1000)),
      CALL_AS("NxChem::NxMolBase::Reserve(unsigned int, unsigned int)", kThrows, models, model->Reserve(50, 50)),
      CALL_AS("NxChem::NxAtomSetResidue(NxChem::NxAtomBase&, NxChem::NxResidue const&)", kThrows, models,
              NxChem::NxAtomSetResidue(*model->GetAtom(0), residue)),
      CALL_AS("NxChem::NxAtomBase::SetName(std::basic_string_view<char, std::char_traits<char> >)", kThrows, models,
              model->GetAtom(0)->SetName(kLongText)),
      CALL_AS("NxChem::NxBondBase::SetOrder(int)", kThrows, models, model->GetBond(0)->SetOrder(1000)),
      CALL_AS("NxChem::NxPerceiveBondOrders(NxChem::NxMolBase&)", kThrows, models,
              NxChem::NxPerceiveBondOrders(*model)),
      CALL_AS("NxChem::NxDetermineConnectivity(NxChem::NxMolBase&)", kThrows, models, determine_connectivity()),
      CALL_AS("NxChem::NxAtomBase::GetHeavyDegree() const", kThrows, models, model->GetAtom(0)->GetHeavyDegree()),
      CALL_AS("NxChem::NxAtomBase::GetSmallestRingSize() const", kThrows, models,
              model->GetAtom(0)->GetSmallestRingSize()),
      CALL_AS("NxChem::NxAtomBase::IsInRing() const", kThrows, models, model->GetAtom(0)->IsInRing()),
      CALL_AS("NxChem::NxBondBase::GetSmallestRingSize() const", kThrows, models,
              model->GetBond(0)->GetSmallestRingSize()),
      CALL_AS("NxChem::NxBondBase::IsRotor() const", kThrows, models, model->GetBond(0)->IsRotor()),
      CALL_AS("NxChem::NxBondBase::IsInRing() const", kThrows, models, model->GetBond(0)->IsInRing()),
      CALL_AS("NxChem::NxMolBase::PerceiveRings() const", kThrows, models, model->PerceiveRings()),
      CALL_AS("NxSystem::NxBase::Store(int, NxSystem::NxDataType, void const*, unsigned long, unsigned long)", kThrows,
              models, model->SetData(77, ints, 9)),
      CALL_AS("NxSystem::NxBase::SetData(int, std::basic_string_view<char, std::char_traits<char> >)", kThrows, models,
              model->SetData(77, std::string_view(kLongText))),
      CALL_AS("NxSystem::NxBase::NxBase(NxSystem::NxBase const&)", kThrows, models,
              (NxSystem::NxBrioGrid(*grid), true)),
      CALL_AS("NxSystem::NxBase::operator=(NxSystem::NxBase const&)", kThrows, models, (*grid = other_grid, true)),
      CALL_AS("NxSystem::NxGetTag(char const*)", kThrows, models, NxSystem::NxGetTag(kLongText)),
      CALL_AS("NxSystem::NxBase::GetStringData(int) const", kThrows, models, model->GetStringData(5)),
      CALL_AS("NxSystem::NxBase::Find(int, NxSystem::NxDataType, unsigned long*) const", kThrows, models,
              model->GetData<float>(5)),
      CALL_AS("NxChem::NxMCMolBase::Sweep()", kWithout, thinned, model->Sweep()),
      CALL_AS("NxChem::NxMolBase::Sweep()", kWithout, thinned, plain->Sweep()),
      // Writing.
      CALL_AS("NxChem::nxmolostream::nxmolostream()", kThrows, streams, (NxChem::nxmolostream(), true)),
      CALL_AS("NxChem::nxmolostream::open(char const*)", kThrows, streams, writer->open(written_path.c_str())),
      CALL_AS("NxChem::nxmolostream::write(NxChem::NxMolBase const&)", kThrows, streams, writer->write(*model)),
      CALL_AS("NxChem::NxWriteMolecule(NxChem::nxmolostream&, NxChem::NxMolBase const&)", kThrows, streams,
              NxChem::NxWriteMolecule(*writer, *model)),
  };
}

}  // namespace faults
