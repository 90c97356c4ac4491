"""Pictures of node-graph compositions (.vuo files) as NumPy arrays.

    import brannow

    print(brannow.describe("plasma.vuo").inputs["speed"])
    with brannow.Scene("plasma.vuo", (640, 360)) as scene:
        scene["speed"] = 2
        picture = scene.render(time=1.5)

`describe` tells what a composition publishes, without running it. A `Scene` runs one, in a process
of its own where nothing else is asked for. It needs no display.
"""

from ._description import Composition, Port, Problem, describe
from ._errors import Closed, CompileError, Error, LostContact, RenderError, StartError, Timeout
from ._scene import Scene, Status

__all__ = [
    "Closed",
    "CompileError",
    "Composition",
    "Error",
    "LostContact",
    "Port",
    "Problem",
    "RenderError",
    "Scene",
    "StartError",
    "Status",
    "Timeout",
    "describe",
]

# Where people find them, in tracebacks too.
for _name in __all__:
    globals()[_name].__module__ = __name__
