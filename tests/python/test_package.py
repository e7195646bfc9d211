# SPDX-License-Identifier: BSD-2-Clause
"""The Python package as a whole: which library it loads, its types, its wheel, its example."""
import importlib.util
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

from support import CLIPGEN

ROOT = pathlib.Path(__file__).resolve().parents[2]
SOURCES = ROOT / "bindings" / "python"
LIBRARY = os.environ["QUORVEL_LIBRARY"]
PACKAGE, FILE = "quorvel_stabilizer", "libQuorvelStabilizer.so.1"
TRY = ("import numpy, quorvel_stabilizer as q; s = q.Stabilizer(64, 48, 'GRAY'); "
       "print(s.push(numpy.zeros((48, 64), numpy.uint8))[0].shape, q.__version__, q.__file__)")


def run(*command, **environment):
    """Its status, and what it said; `environment` may take away a variable by None."""
    variables = {name: value for name, value in {**os.environ, **environment}.items() if value is not None}
    done = subprocess.run(list(map(str, command)), env=variables, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    return done.returncode, done.stdout.decode()


class Folder(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)

    def succeed(self, *command, **environment):
        status, text = run(*command, **environment)
        self.assertEqual(status, 0, text)
        return text


class Library(Folder):
    def test_found_beside_the_package(self):
        shutil.copytree(SOURCES / PACKAGE, self.folder / PACKAGE)
        shutil.copy(LIBRARY, self.folder / PACKAGE / FILE)
        self.succeed(sys.executable, "-c", TRY, QUORVEL_LIBRARY=None, PYTHONPATH=str(self.folder))

    def test_found_in_the_system(self):
        shutil.copy(LIBRARY, self.folder / FILE)
        self.succeed(sys.executable, "-c", TRY, QUORVEL_LIBRARY=None, LD_LIBRARY_PATH=str(self.folder))

    def test_not_found_or_another(self):
        empty = self.folder / "empty.so"
        empty.touch()
        for library, says in ((self.folder / "none.so", "none.so: cannot open.*QUORVEL_LIBRARY names it"),
                              (empty, "file too short"), ("libm.so.6", "no stabilizer's library, or too old")):
            status, text = run(sys.executable, "-c", TRY, QUORVEL_LIBRARY=str(library))
            self.assertEqual(status, 1)
            self.assertRegex(text, f"ImportError: .*{says}")


class Package(Folder):
    @unittest.skipUnless(shutil.which("mypy"), "mypy is not installed")
    def test_types(self):
        self.succeed("mypy", "--strict", "--python-executable", sys.executable, "--cache-dir", self.folder,
                     SOURCES / PACKAGE)

    @unittest.skipUnless(all(map(importlib.util.find_spec, ("build", "wheel", "setuptools", "venv", "ensurepip"))),
                         "python3-build, python3-wheel, python3-setuptools or python3-venv is not installed")
    def test_wheel(self):
        shutil.copytree(SOURCES, self.folder / "sources")
        self.succeed(sys.executable, "-m", "build", "--no-isolation", "--wheel", "--outdir", self.folder,
                     self.folder / "sources")
        wheel, = self.folder.glob("quorvel_stabilizer-*-py3-none-any.whl")
        venv = self.folder / "venv"
        self.succeed(sys.executable, "-m", "venv", "--system-site-packages", venv)
        self.succeed(venv / "bin" / "pip", "install", "--no-index", "--no-deps", wheel)
        text = self.succeed(venv / "bin" / "python", "-c", TRY, PYTHONPATH=None)
        self.assertRegex(text, rf"^\(48, 64\) \S+ {venv}/.*/quorvel_stabilizer/__init__.py$")
        self.assertEqual(len(list(venv.glob("lib/*/site-packages/quorvel_stabilizer/py.typed"))), 1)

    @unittest.skipUnless(CLIPGEN and importlib.util.find_spec("matplotlib"), "no clip, or no python3-matplotlib")
    def test_example(self):
        clip, picture = self.folder / "clip.y4m", self.folder / "path.png"
        self.succeed(CLIPGEN, "--size", "320x240", "--frames", 20, clip)
        example = SOURCES / "examples" / "camera_path.py"
        text = self.succeed(sys.executable, example, "--whole", clip, picture)
        self.assertRegex(text, "^20 frames")
        self.assertEqual(picture.read_bytes()[:4], b"\x89PNG")
        clip.write_bytes(clip.read_bytes()[:-1])
        status, text = run(sys.executable, example, clip, picture)
        self.assertEqual(status, 1)
        self.assertRegex(text, "ends within a frame")


if __name__ == "__main__":
    unittest.main()
