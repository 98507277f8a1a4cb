"""The same sources make the same tool wherever they lie and wherever it is built."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

SOURCE = pathlib.Path(__file__).resolve().parents[2]


def build(source, folder):
    """Builds the tool, with debugging information, which names the most paths.

    All of it as one source, which takes a sixth of the time and names the same paths. scripts/check-packages compares
    what is shipped.
    """
    cmake = os.environ["CMAKE"]
    subprocess.run([cmake, "-S", source, "-B", folder, "-DCMAKE_BUILD_TYPE=RelWithDebInfo",
                    "-DCMAKE_UNITY_BUILD=ON", "-DCMAKE_UNITY_BUILD_BATCH_SIZE=0", "-DTOLVANE_EMULATOR=OFF",
                    "-DTOLVANE_TESTS=OFF",
                    f"-DTOLVANE_SWITCH_LIBRARIES={os.environ['SWITCH_LIBRARIES']}"],
                   check=True, stdout=subprocess.DEVNULL)
    subprocess.run([cmake, "--build", folder, "--target", "tolvane"], check=True, stdout=subprocess.DEVNULL)
    return (folder / "src/tolvane").read_bytes()


class Reproducible(unittest.TestCase):
    def test_two_folders_make_the_same_bytes(self):
        with tempfile.TemporaryDirectory(prefix="reproducible-") as name:
            root = pathlib.Path(name)
            copy = root / "a copy of the sources"
            copy.mkdir()
            for part in ("CMakeLists.txt", "cmake", "src", "emulator", "packaging"):
                (shutil.copytree if (SOURCE / part).is_dir() else shutil.copy)(SOURCE / part, copy / part)
            here = build(SOURCE, root / "build")
            there = build(copy, copy / "some/other/build")
            self.assertIn(b".debug_info", here)
            self.assertTrue(here == there, "the two programs differ; compare them with diffoscope")


if __name__ == "__main__":
    unittest.main()
