import atexit
import operator
import os
import threading
from types import TracebackType
from typing import Any, Literal, NamedTuple, NoReturn, Optional, Union

import numpy as np
from numpy.typing import NDArray

from . import _native, _values
from ._description import Path, Port, Value, describe, in_type
from ._errors import Closed, CompileError, Error, LostContact, RenderError, StartError, Timeout

# Before the interpreter puts anything away, also what was imported after this.
atexit.register(_native.end)
os.register_at_fork(after_in_child=_native.after_fork)

_USUAL_SIZE = (1280, 720)
_OWN_ROLES = ("width", "height", "time", "image")


class Status(NamedTuple):
    """What a scene is doing."""

    #: "loading", "running", "failed" (it could not be loaded), "lost" (it ended by itself) or
    #: "closed".
    state: str
    #: With "failed" and "lost" the reason; with "running", inside this process, for how long the
    #: composition has been at one thing that it does not finish.
    message: str


class Scene:
    """A running composition.

    ::

        with brannow.Scene("plasma.vuo", (640, 360)) as scene:
            scene["speed"] = 2
            picture = scene.render(time=1.5)       # an array of 360 by 640 by 4 bytes

    Pictures are arrays of ``uint8`` of height by width by 4: red, green, blue, alpha, the first row
    at the top. Alpha is as the composition makes it, with nothing multiplied in or divided out;
    that of the samples and of picture files is straight, not premultiplied.

    The composition's time is the one that `render` is told and nothing else: the same times and
    values give the same pictures, however long each takes.

    Any thread may use a scene, also several at the same time. What waits lets other threads run,
    and Ctrl-C interrupts it. A scene that is no longer used should be closed, best by ``with``;
    those that are still open at the interpreter's end are closed then. In the child of a fork nothing but
    `describe` works once its parent has used a scene: use multiprocessing's "spawn".
    """

    def __init__(
        self,
        path: Path,
        size: Optional[tuple[int, int]] = None,
        process: Literal["separate", "inside"] = "separate",
        *,
        patience: Optional[float] = 10.0,
    ) -> None:
        """Compiles the composition where that has not been done before, and waits until it runs.

        path: the ``.vuo`` file.
        size: width and height of the pictures. None: a generator's own, and with a filter those of
            each image.
        process: "separate" gives the composition a process of its own, whose end is a `LostContact`
            and nothing more; "inside" runs it in this one.
        patience: after so many seconds at one picture a composition counts as stuck and its process
            is ended. None: it may take as long as it takes.

        Raises `CompileError`, `StartError`, `OSError` for a file that can't be read, or `Error`
        where there is no OpenGL.
        """
        if process not in ("separate", "inside"):
            raise ValueError(f'process is "separate" or "inside", not {process!r}')
        self._composition = describe(path)
        self._size = None if size is None else _checked_size(size)
        self._values: dict[str, Union[Value, _native.Image]] = {}  # all that were set
        self._unsent: dict[str, Union[Value, _native.Image]] = {}  # since the last request
        self._image_size: Optional[tuple[int, int]] = None  # of the last one
        self._is_closed = False
        self._frame: Optional[_native.Frame] = None
        self._lock = threading.Lock()  # values, and the order of requests
        file = os.path.abspath(os.fsencode(path))
        self._native = _native.RunningScene(file, process == "inside", _seconds(patience))
        self._load()  # the compiler knows better why a faulty file publishes nothing
        if self._composition.role is None:
            self.close()
            raise StartError(f"{self._composition.path} is neither a generator nor a filter")

    @property
    def inputs(self) -> dict[str, Port]:
        """The published inputs by name."""
        return dict(self._composition.inputs)

    @property
    def outputs(self) -> dict[str, Port]:
        """The published outputs by name; `output` gives their values."""
        return dict(self._composition.outputs)

    @property
    def size(self) -> Optional[tuple[int, int]]:
        """Width and height of the next pictures; None for a filter that follows its images."""
        return self._size or (None if self._is_filter() else self._own_size())

    @size.setter
    def size(self, size: Optional[tuple[int, int]]) -> None:
        self._size = None if size is None else _checked_size(size)

    @property
    def status(self) -> Status:
        """What the scene is doing now. Does not wait."""
        return Status("closed", "") if self._is_closed else Status(*self._native.status())

    def __setitem__(self, name: str, value: Any) -> None:
        """Sets an input for the next `render` and all that follow.

        A Real takes a number, an Integer a whole one, a Boolean a truth value, a Text a str, a
        Point2D a tuple (x, y), a Color a tuple (red, green, blue, alpha) of 0 to 1, an Image an
        array; "text file" a path, from the working folder. An array is uploaded at once and may be
        changed afterwards.

        Raises `KeyError` where there is no such input, or one that follows what `render` is told,
        and `TypeError` for a value that does not fit.
        """
        port = self._input(name)
        stored: Union[Value, _native.Image]
        if port.type == "Image":
            stored = _values.upload(_values.rgba(value))
        else:
            stored = _values.value_for(port, value)
        with self._lock:
            self._values[name] = self._unsent[name] = stored

    def __getitem__(self, name: str) -> Optional[Value]:
        """What an input was set to, otherwise its default. An image can't be read back."""
        port = self._input(name)
        if port.type == "Image":
            raise TypeError(f"{name} is an image, which can't be read back")
        with self._lock:
            value = self._values.get(name, port.default)
        assert not isinstance(value, _native.Image)
        return value

    def render(
        self, time: float, image: Any = None, timeout: Optional[float] = None
    ) -> NDArray[np.uint8]:
        """The picture at `time`, in seconds.

        image: the picture that a filter works on, an array of height by width by 4 (or 3, which is
            copied). Where it has no gaps it is uploaded from where it lies. None: the one before.
        timeout: the longest wait in seconds; None: as long as the composition lives.

        The array owns the memory into which the picture was read from the GPU; nothing else uses it
        as long as the array, or a view of it, exists. Where no input leads to the picture it is the
        one before.

        Raises `Timeout`, `LostContact`, `RenderError` or `Closed`.
        """
        longest = _seconds(timeout)
        uploaded, size = self._picture_for(image)
        with self._lock:
            if self._is_closed:
                raise Closed(f"{self._composition.path} has been closed")
            pending = self._native.ask(float(time), size, uploaded, self._unsent)
            self._unsent = {}
        frame = self._native.take(pending, longest)
        if frame.answer == "late":
            raise Timeout(f"{self._composition.path}: no picture after {timeout} s")
        if frame.answer == "none":
            self._raise_lack_of_picture(frame)
        pixels = frame.pixels()
        if pixels is None:
            raise RenderError(f"{self._composition.path}: the picture can't be read from the GPU")
        self._frame = frame
        return pixels

    def output(self, name: str) -> Union[Value, NDArray[np.uint8], None]:
        """The value of an output as it was with the last picture, an array where it is an image;
        None where it has none. Raises `KeyError` where there is no such output."""
        port = self._composition.outputs.get(name)
        if port is None:
            raise KeyError(f"{self._composition.path} has no output {name}")
        frame = self._frame
        value: Union[Value, NDArray[np.uint8], None]
        value = in_type(port.type, frame.output(name)) if frame else None
        return value

    def reload(self) -> None:
        """Runs the file as it is now, with the values that were set; after a `LostContact`, or when
        it has been edited. Inputs stay those of the file as it was first read. Raises what making a
        scene does."""
        with self._lock:
            if self._is_closed:
                raise Closed(f"{self._composition.path} has been closed")
            self._unsent = dict(self._values)
            self._image_size = None
            self._load()

    def close(self) -> None:
        """Ends the composition. A `render` that waits in another thread raises `Closed`."""
        self._is_closed = True
        self._native.close()
        self._frame = None

    def __enter__(self) -> "Scene":
        return self

    def __exit__(
        self,
        kind: Optional[type[BaseException]],
        fault: Optional[BaseException],
        traceback: Optional[TracebackType],
    ) -> None:
        self.close()

    def __repr__(self) -> str:
        return f"<brannow.Scene {self._composition.path}: {self.status.state}>"

    def _load(self) -> None:
        problem = self._native.load()
        if problem is None:
            return
        kind, text = problem
        raise CompileError(text) if kind == "compile" else StartError(text)

    def _input(self, name: str) -> Port:
        port = self._composition.inputs.get(name)
        if port is None:
            raise KeyError(f"{self._composition.path} has no input {name}")
        if port.role in _OWN_ROLES:
            raise KeyError(f"{name} follows what render is told")
        return port

    def _picture_for(self, image: Any) -> tuple[Optional[_native.Image], tuple[int, int]]:
        size = self.size or self._image_size
        if image is None:
            if size is None or self._is_filter() and self._image_size is None:
                raise TypeError(f"{self._composition.path} is a filter: render needs an image")
            return None, size
        if not self._is_filter():
            raise TypeError(f"{self._composition.path} is no filter and takes no image")
        pixels = _values.rgba(image)
        self._image_size = (pixels.shape[1], pixels.shape[0])
        return _values.upload(pixels), self.size or self._image_size

    def _is_filter(self) -> bool:
        return self._composition.role == "filter"

    def _own_size(self) -> tuple[int, int]:
        return self._own_side("width", _USUAL_SIZE[0]), self._own_side("height", _USUAL_SIZE[1])

    def _own_side(self, role: str, usual: int) -> int:
        for port in self._composition.inputs.values():
            if port.role == role and isinstance(port.default, (int, float)) and port.default >= 1:
                return int(port.default)
        return usual

    def _raise_lack_of_picture(self, frame: _native.Frame) -> NoReturn:
        path = self._composition.path
        if self._is_closed:
            raise Closed(f"{path} has been closed")
        if frame.reason not in ("nothing runs", "ended"):
            raise RenderError(f"{path}: {frame.message}")
        if frame.reason == "ended":
            self._native.await_loss()
        status = self.status
        if status.state == "closed":  # by the interpreter's end
            raise Closed(f"{path} has been closed")
        raise LostContact(f"{path}: {status.message or frame.message}")


def _checked_size(size: tuple[int, int]) -> tuple[int, int]:
    width, height = map(operator.index, size)
    if width < 1 or height < 1:
        raise ValueError("a picture has at least one pixel each way")
    return width, height


def _seconds(longest: Optional[float]) -> Optional[float]:
    return None if longest is None else float(longest)
