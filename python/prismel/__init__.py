"""Qfx PRISMEL in Python: the bytes of `prismel render`, in three lines.

    import prismel
    fx = prismel.Prismel(48000, "octave-halo", comb_cutoff="300 Hz")
    wet = fx(dry)  # float32, (channels, frames) or (frames,)
"""

from ._prismel import version as __version__
from ._table import Parameter, parameters
from .augment import Augment
from .effect import Automation, Meters, Prismel, Stream
from .errors import PrismelError
from .modules import ConvolutionReverb, ModuleKnob, Plate, noise
from .presets import PresetEntry, presets

__all__ = [
    "Augment",
    "Automation",
    "ConvolutionReverb",
    "Meters",
    "ModuleKnob",
    "Parameter",
    "Plate",
    "PresetEntry",
    "Prismel",
    "PrismelError",
    "Stream",
    "__version__",
    "noise",
    "parameters",
    "presets",
]
