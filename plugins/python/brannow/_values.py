import operator
import os
from typing import Any, SupportsFloat

import numpy as np
from numpy.typing import NDArray

from . import _native
from ._description import Port, Value
from ._errors import Error


def value_for(port: Port, value: Any) -> Value:
    """`value` in the one form in which a port of this type takes it; TypeError where it is none."""
    try:
        if port.type == "Boolean":
            return _truth(value)
        if port.type == "Integer":
            return _whole(value)
        if port.type == "Real":
            return _number(value)
        if port.type == "Text":
            return _text(port, value)
        if port.type == "Point2D":
            x, y = map(_number, value)
            return x, y
        if port.type == "Color":
            red, green, blue, alpha = map(_number, value)
            return red, green, blue, alpha
    except (TypeError, ValueError, OverflowError) as fault:
        raise TypeError(f"{port.name}, a {port.type}, does not take {value!r}") from fault
    raise TypeError(f"{port.name} takes no values")


def rgba(image: Any) -> NDArray[np.uint8]:
    """The picture as an array of height by width by 4 without gaps; itself where it is one."""
    pixels = np.asarray(image)
    if pixels.dtype != np.uint8 or pixels.ndim != 3 or pixels.shape[2] not in (3, 4):
        raise TypeError(
            "a picture is an array of uint8 of height by width by 4 (or 3), "
            f"not of {pixels.dtype} of {'x'.join(map(str, pixels.shape)) or 'one'}"
        )
    if 0 in pixels.shape:
        raise ValueError("a picture has at least one pixel")
    if pixels.shape[2] == 3:
        opaque = np.full((*pixels.shape[:2], 4), 255, np.uint8)
        opaque[..., :3] = pixels
        return opaque
    return np.ascontiguousarray(pixels)


def upload(pixels: NDArray[np.uint8]) -> _native.Image:
    image = _native.Image(pixels)
    if not image.is_there():
        raise Error(f"no room on the GPU for a picture of {pixels.shape[1]}x{pixels.shape[0]}")
    return image


def _truth(value: Any) -> bool:
    if isinstance(value, (str, bytes, tuple, list)):
        raise TypeError
    return bool(value)


def _whole(value: Any) -> int:
    number = int(operator.index(value))
    if not -(2**63) <= number < 2**63:
        raise OverflowError
    return number


def _number(value: SupportsFloat) -> float:
    if isinstance(value, (str, bytes)):
        raise TypeError
    return float(value)


def _text(port: Port, value: Any) -> str:
    if port.role == "text file":
        path = os.fsdecode(value)
        value = os.path.abspath(path) if path else ""
    if not isinstance(value, str):
        raise TypeError
    value.encode()  # half of a surrogate pair is no text
    return value
