#!/usr/bin/env python3
"""The package brannow as PYTHONPATH names it; docs/python.md; the ends of programs."""
import os
import pydoc
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import textwrap
import threading
import unittest
from pathlib import Path

SOURCE = Path(__file__).resolve().parents[3]
SAMPLES = SOURCE / "compositions"
HOME = tempfile.mkdtemp()
unittest.addModuleCleanup(shutil.rmtree, HOME)
for variable in ("HOME", "XDG_CACHE_HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "MYPY_CACHE_DIR"):
    os.environ[variable] = HOME

import brannow  # noqa: E402: the cache's folder is chosen at the first use
import numpy as np  # noqa: E402

LONGEST = 120  # nothing takes nearly so many seconds


def run(*command, **options):
    return subprocess.run(command, timeout=LONGEST, text=True, capture_output=True, **options)


def players():
    return set(map(int, run("pgrep", "-P", str(os.getpid()), "vuo-player").stdout.split()))


class StoppedScene:
    """A scene whose process does not get on, so that a picture never comes."""

    def __enter__(self):
        before = players()
        self.scene = brannow.Scene(SAMPLES / "plasma.vuo", (8, 4), patience=None)
        (self.player,) = players() - before
        self.scene.render(1)
        os.kill(self.player, signal.SIGSTOP)
        return self

    def __exit__(self, *fault):
        self.scene.close()  # which ends the process as it is

    def when_waiting(self, thread_id, action):
        """Does `action` once that thread is inside `render`."""

        def look():
            while sys._current_frames()[thread_id].f_code.co_name != "render":
                pass
            action()

        looking = threading.Thread(target=look)
        looking.start()
        return looking


class DescriptionTest(unittest.TestCase):
    def test_tells_what_is_published(self):
        tiles = brannow.describe(SAMPLES / "tiles.vuo")
        self.assertEqual(tiles.role, "generator")
        rows, center = tiles.inputs["rows"], tiles.inputs["center"]
        self.assertEqual(
            (rows.type, rows.default, rows.min, rows.max, rows.step), ("Integer", 8, 2, 24, 1)
        )
        self.assertEqual((center.default, center.min), ((0.68, 0.62), None))
        self.assertEqual((center.has_control, tiles.inputs["time"].has_control), (True, False))
        self.assertEqual([p.role for p in tiles.inputs.values()][:3], ["width", "height", "time"])
        self.assertEqual(tiles.outputs["outputImage"].role, "picture")
        invert = brannow.describe(os.fsencode(SAMPLES / "invert.vuo"))
        self.assertEqual((invert.role, invert.inputs["image"].role), ("filter", "image"))
        self.assertEqual(
            brannow.describe(SAMPLES / "lower_third.vuo").inputs["textFile"].role, "text file"
        )

    def test_tells_what_can_not_be_read(self):
        with self.assertRaises(FileNotFoundError):
            brannow.describe("nowhere.vuo")
        faulty = Path(HOME, "indented.vuo")
        faulty.write_text("digraph G {\n PublishedInputs [type=\"vuo.in\"];\n}\n")
        read = brannow.describe(faulty)
        self.assertIsNone(read.role)
        self.assertEqual([(p.kind, p.line) for p in read.problems], [("nodeIndented", 2)])
        with self.assertRaisesRegex(brannow.StartError, "neither"):
            brannow.Scene(faulty)
        faulty.write_text("digraph G {")
        with self.assertRaisesRegex(brannow.CompileError, "indented.vuo:1:"):
            brannow.Scene(faulty)
        faulty.unlink()
        os.mkfifo(faulty)
        self.assertEqual(brannow.describe(faulty).problems[0].kind, "fileUnreadable")


class SceneTest(unittest.TestCase):
    def test_hands_on_every_type(self):
        picture = np.random.default_rng(1).integers(0, 256, (6, 10, 4), np.uint8)
        values = {
            "real": (np.float32(0.25), 0.25),
            "integer": (np.int64(7), 7),
            "boolean": (np.bool_(True), True),
            "color": ([0.5, 0, 1, 0.25], (0.5, 0.0, 1.0, 0.25)),
            "point": (np.array([0.75, 2]), (0.75, 2.0)),
            "text": ("Grüße", "Grüße"),
        }
        for process in ("separate", "inside"):
            with brannow.Scene(SAMPLES / "pass_through.vuo", (10, 6), process) as scene:
                for name, (given, kept) in values.items():
                    scene[name] = given
                    self.assertEqual(scene[name], kept)
                scene["picture"] = picture
                self.assertEqual(scene.render(0).shape, (6, 10, 4))
                for name, (_, kept) in values.items():
                    self.assertEqual(scene.output(name + "Out"), kept, (process, name))
                    self.assertIs(type(scene.output(name + "Out")), type(kept))
                np.testing.assert_array_equal(scene.output("imageOut"), picture)
                self.assertEqual(scene.size, (10, 6))
                scene.size = 5, 3
                self.assertEqual(scene.render(1).shape, (3, 5, 4))

    def test_refuses_what_does_not_fit(self):
        with brannow.Scene(SAMPLES / "pass_through.vuo", (8, 4)) as scene:
            for name, value in (
                ("real", "1"), ("real", (1, 2)), ("real", 10**400), ("integer", 1.5),
                ("integer", 2**63), ("boolean", "yes"), ("text", 1), ("text", "\ud800"),
                ("point", (1, 2, 3)), ("color", (1, 2, 3)), ("color", "red"), ("picture", "a.png"),
                ("picture", np.zeros((4, 4), np.uint8)), ("picture", np.zeros((4, 4, 4))),
            ):  # fmt: skip
                with self.subTest(name=name, value=value), self.assertRaises(TypeError):
                    scene[name] = value
            for name in ("time", "width", "none", "realOut"):
                with self.subTest(name=name), self.assertRaises(KeyError):
                    scene[name] = 1
            with self.assertRaises(KeyError):
                scene.output("real")
            with self.assertRaises(TypeError):
                scene.render(0, np.zeros((4, 4, 4), np.uint8))
            with self.assertRaises(ValueError):
                scene.size = 0, 4
            with self.assertRaises(TypeError):
                scene.size = 8.5, 4
            with self.assertRaisesRegex(ValueError, "soon"):
                scene.render(0, timeout="soon")
        with self.assertRaises(brannow.Closed):
            scene.render(0)
        with self.assertRaises(TypeError), brannow.Scene(SAMPLES / "invert.vuo") as scene:
            scene.render(0)

    def test_filters_rows_from_the_top_in_whatever_form(self):
        ramp = np.zeros((5, 7, 4), np.uint8)
        ramp[..., 0] = np.arange(35).reshape(5, 7)
        ramp[..., 3] = 255
        wanted = ramp.copy()
        wanted[..., :3] = 255 - ramp[..., :3]
        with brannow.Scene(SAMPLES / "invert.vuo") as scene:
            for image in (ramp, ramp[..., :3], ramp[::-1].copy()[::-1], np.asfortranarray(ramp)):
                np.testing.assert_array_equal(scene.render(0, image), wanted)
            np.testing.assert_array_equal(scene.render(0), wanted)  # the image before

    def test_pictures_are_the_same_each_time_and_stay_as_they_are(self):
        pictures = []
        for process in ("separate", "inside"):
            with brannow.Scene(SAMPLES / "plasma.vuo", (64, 36), process) as scene:
                pictures += [scene.render(time) for time in (1, 2, 1)]
                top = pictures[-1][:2]
                kept = top.copy()
                for frame in range(10):
                    scene.render(frame)
                np.testing.assert_array_equal(top, kept)
        for picture in pictures[2:4]:
            np.testing.assert_array_equal(picture, pictures[0])
        self.assertFalse((pictures[0] == pictures[1]).all())
        self.assertTrue(pictures[0].flags.writeable)

    def test_tells_the_compilers_words(self):
        Path(HOME, "bad.vuo").write_text("digraph G {\n" + textwrap.dedent("""\
            PublishedInputs [type="vuo.in" label="In|<image>image\\l" _image_type="VuoImage"];
            PublishedOutputs [type="vuo.out" label="Out|<outputImage>o\\l" _outputImage_type="VuoImage"];
            A [type="vuo.shader" shader="missing.frag"];
            }"""))
        with self.assertRaisesRegex(brannow.CompileError, "missing.frag"):
            brannow.Scene(Path(HOME, "bad.vuo"))

    def test_is_used_by_several_threads(self):
        faults = []

        def use(scene, wanted):
            try:
                for time in (1, 2, 3) * 5:
                    np.testing.assert_array_equal(scene.render(time), wanted[time])
            except BaseException as fault:
                faults.append(fault)

        scenes = [brannow.Scene(SAMPLES / "tunnel.vuo", (16, 9)) for _ in range(2)]
        wanted = {time: scenes[0].render(time) for time in (1, 2, 3)}
        threads = [threading.Thread(target=use, args=(s, wanted)) for s in scenes * 2]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join(LONGEST)
        self.assertEqual(faults, [])
        for scene in scenes:
            scene.close()


class WaitTest(unittest.TestCase):
    def test_ends_in_time_and_is_forgotten(self):
        with StoppedScene() as stopped:
            with self.assertRaises(TimeoutError):
                stopped.scene.render(2, timeout=0.01)
            os.kill(stopped.player, signal.SIGCONT)
            stopped.scene.render(3)

    def test_ends_by_ctrl_c(self):
        with StoppedScene() as stopped:
            this = threading.get_ident()
            sending = stopped.when_waiting(this, lambda: os.kill(os.getpid(), signal.SIGINT))
            with self.assertRaises(KeyboardInterrupt):
                stopped.scene.render(2)
            sending.join()
            os.kill(stopped.player, signal.SIGCONT)
            stopped.scene.render(3)

    def test_ends_when_another_thread_closes_or_the_process_is_killed(self):
        for exception, end in (
            (brannow.Closed, lambda stopped: stopped.scene.close()),
            (brannow.LostContact, lambda stopped: os.kill(stopped.player, signal.SIGKILL)),
        ):
            with StoppedScene() as stopped:
                ending = stopped.when_waiting(threading.get_ident(), lambda: end(stopped))
                with self.assertRaises(exception):
                    stopped.scene.render(2)
                ending.join()
        self.assertEqual(stopped.scene.status.state, "closed")

    def test_ends_when_patience_does(self):
        with self.assertRaisesRegex(brannow.StartError, "was not done"):
            brannow.Scene(SAMPLES / "plasma.vuo", patience=1e-6)


class ProgramTest(unittest.TestCase):
    def ends_well(self, text, status=0):
        preamble = """\
            import multiprocessing, os, signal, subprocess, sys, threading
            import brannow
            PLASMA = sys.argv[1] + "/plasma.vuo"
            def scene(**more): return brannow.Scene(PLASMA, (8, 4), patience=None, **more)
            def stop_player():
                player = subprocess.check_output(["pgrep", "-P", str(os.getpid()), "vuo-player"])
                os.kill(int(player), signal.SIGSTOP)
            """
        script = textwrap.dedent(preamble) + textwrap.dedent(text)
        ended = run("/usr/bin/python3", "-X", "dev", "-c", script, str(SAMPLES))
        self.assertEqual((ended.returncode, ended.stderr), (status, ""), ended.stdout)

    def test_ends_with_whatever_is_open(self):
        waits = """
            opened = scene()
            opened.render(1)
            stop_player()
            about = threading.Event()
            def wait():
                about.set()
                opened.render(2)
            threading.Thread(target=wait, daemon=True).start()
            about.wait()
            """
        for text, status in (
            ("opened = scene(); opened.render(1)", 0),
            ("opened = scene(process='inside'); opened['speed'] = 2; opened.render(1)", 0),
            ("import builtins; builtins.opened = scene(); builtins.picture = opened.render(1)", 0),
            ("opened = scene(); opened.render(1); sys.exit(3)", 3),
            ("import atexit; opened = scene(); atexit.register(lambda: opened.render(1))", 0),
        ):
            with self.subTest(text):
                self.ends_well(text, status)
        with self.subTest("a thread that waits"):
            self.ends_well(
                "import io; threading.excepthook = lambda fault: None" + textwrap.dedent(waits)
            )

    def test_forks(self):
        for text in (
            # The child can't use what its parent has used, and ends as it should.
            """
            opened = scene()
            before = opened.render(1)
            def child():
                for use in (scene, lambda: opened.render(1), lambda: opened.status):
                    try:
                        use()
                    except brannow.Error as fault:
                        assert "forked" in str(fault), fault
                    else:
                        sys.exit(2)
                opened.close()
                assert before.shape == (4, 8, 4) and brannow.describe(PLASMA).inputs
            process = multiprocessing.get_context("fork").Process(target=child)
            process.start()
            process.join()
            assert process.exitcode == 0
            pid = os.fork()
            if pid == 0:
                child()
                del opened, before
                sys.exit(0)  # with all that Python does at its end
            assert os.waitpid(pid, 0)[1] == 0
            assert (opened.render(1) == before).all()
            """,
            # While another thread waits.
            """
            opened = scene()
            opened.render(1)
            stop_player()
            waiting = threading.Thread(target=lambda: opened.render(2, timeout=1e9), daemon=True)
            waiting.start()
            pid = os.fork()
            if pid == 0:
                sys.exit(0)
            assert os.waitpid(pid, 0)[1] == 0
            threading.excepthook = lambda fault: None
            """,
            # Nothing was used before: parent and child are alike.
            """
            def child():
                assert scene().render(1).shape == (4, 8, 4)
            process = multiprocessing.get_context("fork").Process(target=child)
            process.start()
            process.join()
            assert process.exitcode == 0
            child()
            """,
        ):
            with self.subTest(text):
                self.ends_well(text)


class PageTest(unittest.TestCase):
    """docs/python.md, whose programs are run one after the other as they stand there."""

    text = (SOURCE / "docs/python.md").read_text()
    blocks = re.findall(r"^```python\n(.*?)^```", text, re.M | re.S)

    @classmethod
    def setUpClass(cls):
        cls.folder = Path(tempfile.mkdtemp(dir=HOME))
        (cls.folder / "compositions").symlink_to(SAMPLES)
        for number, block in enumerate(cls.blocks):
            (cls.folder / f"program{number}.py").write_text(block)

    def test_programs_run(self):
        said = ""
        for program in sorted(self.folder.glob("*.py")):
            ended = run("/usr/bin/python3", program, cwd=self.folder)
            self.assertEqual((ended.returncode, ended.stderr), (0, ""), program.read_text())
            said += ended.stdout
        for words in ("center Point2D (0.68, 0.62)", "2 (128, 320, 4) 0.0", "faulty.frag:3:",
                      "signal 9 (Killed) lost", "glass ["):  # fmt: skip
            self.assertIn(words, said)
        for file, wanted in (("plasma.png", "640,360,1"), ("samples.png", "1600,1188,1"),
                             ("tunnel.mp4", "640,360,100")):  # fmt: skip
            probe = run("ffprobe", "-v", "error", "-count_frames", "-of", "csv=p=0", "-show_entries",
                        "stream=width,height,nb_read_frames", self.folder / file)  # fmt: skip
            self.assertEqual(probe.stdout.strip(), wanted, file)

    def test_types_are_right(self):
        programs = map(str, sorted(self.folder.glob("*.py")))
        package = os.path.dirname(brannow.__file__)
        for options in (["--strict", package], ["--ignore-missing-imports", *programs]):
            checked = run("mypy", "--python-executable=/usr/bin/python3", *options)
            self.assertEqual(checked.returncode, 0, checked.stdout)
        # What pybind11 makes has a type and initializers of its own.
        own = Path(HOME, "own")
        own.write_text(r"brannow\._native\.(Frame|Image|PendingFrame|RunningScene)(\.__init__)?")
        stubtest = ["/usr/bin/python3", "-m", "mypy.stubtest"]
        stubs = run(*stubtest, "--allowlist", own, "brannow._native")
        self.assertEqual(stubs.returncode, 0, stubs.stdout)

    def test_help_tells_of_everything(self):
        text = pydoc.plain(pydoc.render_doc(brannow))
        for words in ("render(self, time: float, image: Any = None, timeout", "describe(path"):
            self.assertIn(words, text)
        for name in brannow.__all__:
            self.assertTrue(getattr(brannow, name).__doc__, name)


if __name__ == "__main__":
    unittest.main()
