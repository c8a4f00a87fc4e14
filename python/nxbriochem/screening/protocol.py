"""What is computed of each pair of a target and a ligand."""

from __future__ import annotations

import dataclasses
import hashlib
import json
import math


@dataclasses.dataclass(frozen=True)
class Protocol:
    """The settings that a row's numbers depend on.

    Attributes
    ----------
    refine : bool
        Whether each ligand goes to the nearest minimum of its energy first, Coulomb's and the 12-6 term's, as
        ``nxbrio refine`` does it. Otherwise the energy is Coulomb's at the place in the file, as ``nxbrio bind`` has it.
    dielectric : float
        The uniform dielectric constant.
    ionic_strength : float
        Of the salt that screens charges, mol/l; 0 for none.
    temperature : float
        Kelvin; it counts where there is salt.
    iterations : int
        The most iterations of a refinement.
    target_select, ligand_select : str
        The atoms that take part, in the language of ``nxbrio --select``; "" for all.
    """

    refine: bool = False
    dielectric: float = 4.0
    ionic_strength: float = 0.0
    temperature: float = 298.0
    iterations: int = 500
    target_select: str = ""
    ligand_select: str = ""

    def __post_init__(self):
        for name in ("dielectric", "temperature"):
            value = getattr(self, name)
            if not (math.isfinite(value) and value > 0):
                raise ValueError(f"{name}: {value} is not above 0")
        if not (math.isfinite(self.ionic_strength) and self.ionic_strength >= 0):
            raise ValueError(f"ionic_strength: {self.ionic_strength} is not 0 or above")
        if self.iterations < 0:
            raise ValueError(f"iterations: {self.iterations} is below 0")

    def as_dict(self) -> dict:
        return dataclasses.asdict(self)

    def digest(self) -> bytes:
        text = json.dumps(self.as_dict(), sort_keys=True)
        return hashlib.sha256(text.encode()).digest()[:16]
