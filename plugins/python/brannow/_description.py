import os
from dataclasses import dataclass
from typing import Any, Optional, Union

from . import _native

Value = Union[bool, int, float, str, tuple[float, float], tuple[float, float, float, float]]
Path = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]


@dataclass(frozen=True)
class Port:
    """A published input or output. The range, default and step are what the composition's author
    suggests, None where the file gives none; other values are taken as well."""

    #: As the file spells it.
    name: str
    #: "Real", "Integer", "Boolean", "Color", "Point2D", "Text" or "Image".
    type: str
    #: As `Scene` takes and gives values of this type; None without one.
    default: Optional[Value]
    min: Optional[float]
    max: Optional[float]
    step: Optional[float]
    #: Whether a program should offer its user a control for it.
    has_control: bool
    #: "width", "height", "time" and "image" are given with each `Scene.render`, "picture" is what
    #: that returns; "text file" takes the path of a text file. None for any other port.
    role: Optional[str]


@dataclass(frozen=True)
class Problem:
    """What of a composition's file could not be read, and where."""

    #: Such as "valueCutAtSpace".
    kind: str
    #: Counted from 1; 0 where the file as a whole is meant.
    line: int
    #: For people.
    text: str


@dataclass(frozen=True)
class Composition:
    """What a file publishes."""

    path: str
    #: "generator", "filter" (it has an input image), or None for what makes no picture.
    role: Optional[str]
    #: By name, in the file's order.
    inputs: dict[str, Port]
    outputs: dict[str, Port]
    #: In the order of the lines; empty where everything could be read.
    problems: tuple[Problem, ...]


def describe(path: Path) -> Composition:
    """Reads a composition's file without compiling or running it.

    Raises the usual `OSError` where the file can't be read. What can't be understood in it is in
    `Composition.problems`. Needs no OpenGL, and works in forked processes too.
    """
    with open(path, "rb", opener=_without_waiting):
        pass  # raises what Python's users expect
    read: dict[str, Any] = _native.describe(os.fsencode(path))
    role = "filter" if read["is_filter"] else "generator" if read["is_generator"] else None
    return Composition(
        path=os.fsdecode(path),
        role=role,
        inputs=_by_name(read["inputs"]),
        outputs=_by_name(read["outputs"]),
        problems=tuple(Problem(**problem) for problem in read["problems"]),
    )


def _without_waiting(path: str, flags: int) -> int:
    """Opens a pipe that nobody writes, too."""
    return os.open(path, flags | os.O_NONBLOCK)


def _by_name(ports: list[dict[str, Any]]) -> dict[str, Port]:
    named: dict[str, Port] = {}
    for port in ports:
        port["default"] = in_type(port["type"], port["default"])
        named.setdefault(port["name"], Port(**port))
    return named


def in_type(type_name: str, value: Any) -> Any:
    """A whole number's value as one."""
    return int(value) if type_name == "Integer" and isinstance(value, float) else value
