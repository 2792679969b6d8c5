"""How far a job has come."""

from __future__ import annotations

from typing import Any, Callable, NamedTuple, Optional, Union

from .optional import optional


class Progress(NamedTuple):
    """What a progress function hears of, some fifty times a second at most."""

    task: str  # what is being done: "convert"
    stage: str  # a part of it; empty where there is but one
    unit: str  # what a step is: "points"
    done: int  # steps
    total: int  # steps; 0 where it is not known
    finished: bool  # the task came to its end; another one may follow


ProgressFunction = Callable[[Progress], Any]
ProgressArgument = Union[None, bool, ProgressFunction, type]
Reporter = Optional[Callable[[str, str, str, int, int, bool], Any]]


class _Bars:
    """A bar of tqdm for each task."""

    def __init__(self, bar_class: Any) -> None:
        self._class = bar_class
        self._bar: Any = None

    def __call__(self, task: str, stage: str, unit: str, done: int, total: int,
                 finished: bool) -> None:
        if self._bar is None:
            self._bar = self._class(total=total or None, unit=" " + unit, desc=task, unit_scale=True)
        self._bar.update(done - self._bar.n)
        if finished:
            self._bar.close()
            self._bar = None


def reporter(progress: ProgressArgument) -> Reporter:
    """What the extension calls for a `progress` argument: None, a function, tqdm's class, or True."""
    if progress is None or progress is False:
        return None
    if progress is True:
        return _Bars(optional("tqdm.auto", "python3-tqdm", "progress=True").tqdm)
    if isinstance(progress, type) and hasattr(progress, "update"):
        return _Bars(progress)
    if not callable(progress):
        raise TypeError("progress is None, True or a function")
    function = progress
    return lambda *update: function(Progress(*update))
