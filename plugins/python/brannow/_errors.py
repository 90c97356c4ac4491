class Error(Exception):
    """What goes wrong with compositions; also where this machine offers no OpenGL."""


class CompileError(Error):
    """The composition, or a file that it names, is faulty.

    The text is the compiler's: each fault as ``FILE:LINE:COLUMN: what``.
    """


class StartError(Error):
    """The composition was compiled but did not come up. The text says why."""


class LostContact(Error):
    """The composition has ended by itself, or was ended because it was stuck.

    The text says how, as far as that is known: "it was ended by signal 9 (Killed)". The scene
    stays; `Scene.reload` runs the composition again, with the values that were set.
    """


class RenderError(Error):
    """There is no picture for this moment: a part of the composition could not do its work."""


class Timeout(Error, TimeoutError):
    """The picture was not there in time. The request is given up; what was set stays set."""


class Closed(Error):
    """The scene has been closed."""
