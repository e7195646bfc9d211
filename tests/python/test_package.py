# SPDX-License-Identifier: BSD-2-Clause
"""The Python package as a whole: which library it loads, types, wheel, document, example."""
import importlib.util
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

import numpy as np

from support import CLIPGEN

ROOT = pathlib.Path(__file__).resolve().parents[2]
SOURCES = ROOT / "bindings" / "python"
LIBRARY = os.environ["QUORVEL_LIBRARY"]
PACKAGE, FILE = "quorvel_stabilizer", "libQuorvelStabilizer.so.1"
TRY = ("import numpy, quorvel_stabilizer as q; s = q.Stabilizer(64, 48, 'GRAY'); "
       "print(s.push(numpy.zeros((48, 64), numpy.uint8))[0].shape, q.__file__)")


def installed(*names):
    return all(map(importlib.util.find_spec, names))


class Package(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)

    def run_it(self, *command, status=0, **environment):
        """What it says; `environment` takes away a variable by None."""
        variables = {name: value for name, value in {**os.environ, **environment}.items() if value is not None}
        done = subprocess.run(command, env=variables, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.assertEqual(done.returncode, status, done.stdout.decode())
        return done.stdout.decode()

    def test_finds_the_library(self):
        shutil.copy(LIBRARY, self.folder / FILE)
        self.run_it(sys.executable, "-c", TRY, QUORVEL_LIBRARY=None, LD_LIBRARY_PATH=str(self.folder))
        shutil.copytree(SOURCES / PACKAGE, self.folder / PACKAGE)
        shutil.move(self.folder / FILE, self.folder / PACKAGE / FILE)
        self.run_it(sys.executable, "-c", TRY, QUORVEL_LIBRARY=None, PYTHONPATH=str(self.folder))

    def test_says_what_is_wrong_with_the_library(self):
        empty = self.folder / "empty.so"
        empty.touch()
        for library, says in ((self.folder / "none.so", "none.so: cannot open.*QUORVEL_LIBRARY names it"),
                              (empty, "file too short"), ("libm.so.6", "no stabilizer's library, or too old")):
            text = self.run_it(sys.executable, "-c", TRY, status=1, QUORVEL_LIBRARY=str(library))
            self.assertRegex(text, f"ImportError: .*{says}")

    @unittest.skipUnless(shutil.which("mypy"), "mypy is not installed")
    def test_types(self):
        self.run_it("mypy", "--strict", "--python-executable", sys.executable, "--cache-dir", self.folder,
                    SOURCES / PACKAGE)

    @unittest.skipUnless(installed("build", "wheel", "setuptools", "venv", "ensurepip"),
                         "python3-build, python3-wheel, python3-setuptools or python3-venv is not installed")
    def test_wheel(self):
        sources, venv = shutil.copytree(SOURCES, self.folder / "sources"), self.folder / "venv"
        self.run_it(sys.executable, "-m", "build", "--no-isolation", "--wheel", "--outdir", self.folder, sources)
        self.run_it(sys.executable, "-m", "venv", "--system-site-packages", venv)
        wheel, = self.folder.glob("*-py3-none-any.whl")
        self.run_it(venv / "bin" / "pip", "install", "--no-index", "--no-deps", wheel, PYTHONPATH=None)
        text = self.run_it(venv / "bin" / "python", "-c", TRY, PYTHONPATH=None)
        self.assertRegex(text, rf"^\(48, 64\) {venv}/.*/quorvel_stabilizer/__init__.py$")
        self.assertEqual(len(list(venv.glob("lib/*/site-packages/quorvel_stabilizer/py.typed"))), 1)

    def test_code_of_the_document(self):
        shown = []
        names = {"frames": [np.zeros((240, 320, 3), np.uint8)] * 40, "show": shown.append}
        for code in re.findall("```python\n(.*?)```", (ROOT / "docs" / "python.md").read_text(), re.DOTALL):
            exec(code, names)
        self.assertEqual((len(shown), len(names["calmer"])), (80, 40))

    @unittest.skipUnless(CLIPGEN and installed("matplotlib"), "no quorvel-clipgen, or no python3-matplotlib")
    def test_example(self):
        clip, picture = self.folder / "clip.y4m", self.folder / "path.png"
        example = SOURCES / "examples" / "camera_path.py"
        self.run_it(CLIPGEN, "--size", "320x240", "--frames", "20", clip)
        self.assertRegex(self.run_it(sys.executable, example, "--whole", clip, picture), "^20 frames")
        self.assertEqual(picture.read_bytes()[:4], b"\x89PNG")
        clip.write_bytes(clip.read_bytes()[:-1])
        self.assertRegex(self.run_it(sys.executable, example, clip, picture, status=1), "ends within a frame")


if __name__ == "__main__":
    unittest.main()
