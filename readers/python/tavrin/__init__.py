"""Reads back the results of Tavrin: .ztbin, .ztjson and .pwr files, whichever of them it is.

    import tavrin

    run = tavrin.open("run.ztbin")
    for point in run:
        print(point.time, point.metric, point.entity, point.descriptor, point.value, point.units)

    columns = tavrin.open("run.ztbin").to_numpy()
    table = tavrin.open("run.ztbin").to_pandas()

Points come once, in the order of the file: that in which they were measured, but in .pwr files and
in the .ztjson file of a whole run metric by metric.
"""

from __future__ import annotations

import os
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any, Iterator

from ._reader import Error, Reader

if TYPE_CHECKING:
    import pandas
    from numpy.typing import NDArray

__all__ = ["Clock", "Error", "Metric", "Point", "Run", "Series", "open"]

_FORMATS = ("ztbin", "ztjson", "numbered ztjson", "pwr")
_KINDS = ("SAMPLED_DELTA", "SAMPLED_RESIDENCY", "SAMPLED_VALUE", "TRACED_VALUE_TRANSITION",
          "TRACED_EVENT", "UNKNOWN")


@dataclass(frozen=True)
class Clock:
    """What is known of a run's times."""

    in_microseconds: bool
    """Times of points are microseconds from the start of the collection, not ticks."""
    mhz: float
    """Ticks per microsecond; 0 where that is unknown."""
    start: int
    """Of the collection, in ticks."""
    stop: int
    """Its end, in ticks; 0 where that is unknown."""
    duration_sec: float
    """0 where it is unknown."""
    start_ns: int
    """Nanoseconds since 1970 (UTC); 0 where that is unknown."""


@dataclass(frozen=True)
class Metric:
    """A quantity that was measured; texts are empty where the file does not have them."""

    name: str
    feature: str
    kind: str
    """SAMPLED_DELTA, SAMPLED_RESIDENCY, SAMPLED_VALUE, TRACED_VALUE_TRANSITION, TRACED_EVENT"""
    quantity: str
    units: str
    number: int
    states: tuple[str, ...]
    """The values that it can take, where they are few."""


@dataclass(frozen=True)
class Series:
    """Points with one meaning: a metric, on an entity (or the whole), of one descriptor."""

    metric: Metric
    entity: str | None
    descriptor: str


@dataclass(frozen=True)
class Point:
    """One value at one time."""

    time: int
    """Ticks or microseconds, see `Clock.in_microseconds`."""
    duration: float
    """Microseconds; of a rate in its own unit; NaN where it is unknown."""
    value: float | str
    """A number, or the name of a state."""
    series: Series

    @property
    def metric(self) -> str:
        """Name of the metric."""
        return self.series.metric.name

    @property
    def entity(self) -> str | None:
        """What was measured, "Package0/Core1/CPU1"; None for values of the metric as a whole."""
        return self.series.entity

    @property
    def descriptor(self) -> str:
        """Which of the metric's values it is, "C6"."""
        return self.series.descriptor

    @property
    def units(self) -> str:
        """Units of the value."""
        return self.series.metric.units


class Run:
    """The result of a run. Not for use by several threads at once."""

    def __init__(self, files: list[str]) -> None:
        self._reader = Reader(files)
        self._metrics: list[Metric] = []
        self._entities: list[str] = []
        self._series: list[Series] = []
        self._texts: list[str] = []

    @property
    def format(self) -> str:
        """"ztbin", "ztjson", "numbered ztjson" or "pwr", by the content."""
        return _FORMATS[self._reader.format()]

    @property
    def clock(self) -> Clock:
        """What is known of times, more of it when a continuous run has been read to its end."""
        return Clock(*self._reader.clock())

    @property
    def facts(self) -> dict[str, str]:
        """What the file says of the machine and the collection."""
        return dict(self._reader.facts())

    @property
    def metrics(self) -> list[Metric]:
        """Those that the files read so far describe."""
        for name, feature, kind, quantity, units, number, states in self._reader.metrics(
                len(self._metrics)):
            self._metrics.append(
                Metric(name, feature, _KINDS[kind], quantity, units, number, states))
        return self._metrics

    @property
    def series(self) -> list[Series]:
        """Those of which a point was read; the column "series" has positions in this list."""
        added = self._reader.series(len(self._series))
        if added:
            self._entities += self._reader.entities(len(self._entities))
            metrics = self.metrics
            for metric, entity, descriptor in added:
                self._series.append(Series(
                    metrics[metric], None if entity is None else self._entities[entity],
                    descriptor))
        return self._series

    @property
    def texts(self) -> list[str]:
        """States and other texts; the column "text" has positions in this list."""
        self._texts += self._reader.texts(len(self._texts))
        return self._texts

    def __iter__(self) -> Iterator[Point]:
        """The points that were not read yet. Raises Error at a fault of the file."""
        while (point := self._reader.next()) is not None:
            time, duration, series, number, text = point
            known = self._series if series < len(self._series) else self.series
            value = number if text is None else self.texts[text]
            yield Point(time, duration, value, known[series])

    def blocks(self, most: int = 1 << 16) -> Iterator[dict[str, NDArray[Any]]]:
        """The rest of the points, at most so many at a time, as columns like those of `to_numpy`.

        Raises Error at a fault of the file, behind the blocks with what precedes it."""
        if most < 1:
            raise ValueError("a block has at least one point")
        while (columns := self._reader.read_block(most)) is not None:
            yield columns

    def to_numpy(self) -> dict[str, NDArray[Any]]:
        """The rest of the points as arrays, which are the reader's own columns, not copies: "time"
        (uint64), "duration" (float64, microseconds), "series" (uint32, positions in `series`),
        "value" (float64, NaN for texts), "text" (uint32, positions in `texts`, 0xFFFFFFFF for
        numbers).

        Raises Error at a fault of the file; its attribute `columns` has what precedes it."""
        import numpy

        columns = self._reader.read_block(0)
        if columns is None:
            types = {"time": "u8", "duration": "f8", "series": "u4", "value": "f8", "text": "u4"}
            return {name: numpy.empty(0, type) for name, type in types.items()}
        try:
            self._reader.next()  # tells of a fault behind them
        except Error as fault:
            fault.columns = columns  # type: ignore[attr-defined]
            raise
        return columns

    def to_pandas(self) -> pandas.DataFrame:
        """The rest of the points as a long table: "time" (seconds from the start of the collection;
        ticks from it where the clock is unknown), "duration" (microseconds), "metric", "entity",
        "descriptor", "units" (categories), "value", and "state", the text of those that are none.

        Raises Error like `to_numpy`, ImportError without pandas."""
        import numpy
        import pandas

        columns = self.to_numpy()
        series, clock = self.series, self.clock
        place = columns["series"]

        def category(names: list[str]) -> Any:
            codes, labels = pandas.factorize(numpy.array(names, dtype=object))
            return pandas.Categorical.from_codes(codes[place], labels)

        time = columns["time"]
        if clock.in_microseconds:
            seconds = time / 1e6
        else:
            ticks = (time - numpy.uint64(clock.start)).view("i8")
            seconds = ticks / (clock.mhz * 1e6) if clock.mhz else ticks
        table = pandas.DataFrame({
            "time": seconds,
            "duration": columns["duration"],
            "metric": category([s.metric.name for s in series]),
            "entity": category([s.entity or "" for s in series]),
            "descriptor": category([s.descriptor for s in series]),
            "value": columns["value"],
            "units": category([s.metric.units for s in series]),
        })
        states = numpy.array([*self.texts, None], dtype=object)
        table["state"] = states[numpy.minimum(columns["text"], len(states) - 1)]
        return table


def open(*files: str | os.PathLike[str]) -> Run:
    """Opens the file of a run, or the numbered ones of a continuous run in their order. Their
    content tells the format. Raises Error, which names the place, where a file is not sound."""
    return Run([os.fspath(file) for file in files])
