from collections.abc import Sequence

from ._prismel import Audio, KnobRow

class ReverbStream:
    def __init__(
        self,
        rate: int,
        impulse: str | Audio,
        impulse_rate: float,
        knobs: Sequence[tuple[str, str]],
        inputs: int,
        outputs: int,
        tail: float | None,
        expected: int,
    ) -> None: ...
    def feed(self, audio: Audio) -> Audio: ...
    def finish(self) -> Audio: ...
    def whole(self, audio: Audio) -> Audio: ...
    non_finite: int
    tail_was_cut: bool

def reverb_knobs() -> list[KnobRow]: ...
def parse_reverb(name: str, text: str) -> tuple[str, float]: ...
