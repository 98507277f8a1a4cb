"""Installs each component into a folder of its own and looks at what is there."""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCE = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ["BUILD"]).resolve()
LIBRARIES = ["libbrgfdb.so", "libportshm.so", "libqual.so", "libtrapevent.so"]

COMPONENTS = {
    "tool": ["{SBINDIR}/tolvane"],
    "emulator": ["{BINDIR}/emuswitch", "{LIBDIR}/emuswitch/libemuswitch-core.so",
                 *(f"{{LIBDIR}}/emuswitch/{name}" for name in LIBRARIES)],
    "manuals": ["{MANDIR}/man8/tolvane.8", "{MANDIR}/man1/emuswitch.1"],
    "completion": [f"{{DATADIR}}/bash-completion/completions/{name}" for name in ("tolvane", "emuswitch")],
    "data": ["{DATADIR}/tolvane/errors.json",
             *(f"{{DATADIR}}/emuswitch/{path.name}" for path in (SOURCE / "docs").glob("*.schema.json"))],
    "python": [f"lib/python3/dist-packages/tolvane/{name}" for name in (
        "__init__.py", "catalogue.py", "client.py", "errors.json", "py.typed", "result.py", "sentences.py")],
    "headers": ["{DATADIR}/pkgconfig/tolvane.pc", *(f"{{INCLUDEDIR}}/tolvane/{name}.h" for name in (
        "brgfdb", "numbers", "portshm", "qual", "trapevent"))],
}


def expected(component):
    return {"usr/" + path.format(**os.environ) for path in COMPONENTS[component]}


def files_of(root):
    return {str(path.relative_to(root)) for path in root.rglob("*") if not path.is_dir()}


def dynamic_section(program):
    """What a program tells the loader: the values by their tag."""
    text = subprocess.run(["readelf", "--wide", "--dynamic", program], check=True, capture_output=True, text=True).stdout
    values = {}
    for tag, value in re.findall(r"\((NEEDED|RPATH|RUNPATH)\)[^[]*\[(.*)\]", text):
        values.setdefault(tag, []).append(value)
    return values


class Install(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="install-"))
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        for component in COMPONENTS:
            cls.install(cls.folder / component, "--component", component)
        cls.whole = cls.folder / "whole"
        cls.install(cls.whole)

    @staticmethod
    def install(root, *options):
        subprocess.run([os.environ["CMAKE"], "--install", BUILD, "--prefix", "/usr", *options], check=True,
                       stdout=subprocess.DEVNULL, env={**os.environ, "DESTDIR": str(root)})

    def test_each_component_holds_its_files_and_no_others(self):
        for component in COMPONENTS:
            self.assertEqual(expected(component), files_of(self.folder / component), component)

    def test_together_they_are_all(self):
        self.assertEqual(set().union(*map(expected, COMPONENTS)), files_of(self.whole))

    def test_nothing_refers_to_the_folders_it_was_made_in(self):
        for path in files_of(self.whole):
            content = (self.whole / path).read_bytes()
            for folder in (SOURCE, BUILD):
                self.assertNotIn(os.fsencode(folder), content, path)

    def test_the_tool_needs_the_switch_and_the_c_library_alone(self):
        tool = dynamic_section(self.whole / expected("tool").pop())
        self.assertEqual(sorted([*LIBRARIES, "libc.so.6"]), sorted(tool["NEEDED"]))
        self.assertEqual({"NEEDED"}, set(tool), "no search path of its own")

    def test_the_emulated_libraries_find_each_other_where_they_are(self):
        for name in LIBRARIES:
            library = dynamic_section(self.whole / "usr" / os.environ["LIBDIR"] / "emuswitch" / name)
            self.assertIn("libemuswitch-core.so", library["NEEDED"], name)
            self.assertEqual(["$ORIGIN"], library.get("RUNPATH", library.get("RPATH")), name)

    def test_what_is_installed_works(self):
        programs = self.whole / "usr" / os.environ["BINDIR"]
        environment = {"HOME": str(self.folder), "TMPDIR": str(self.folder), "PATH": os.environ["PATH"]}
        done = subprocess.run([programs / "emuswitch", "run", "tolvane", "create", "vlan", "sales", "vid", "10"],
                              env=environment, capture_output=True, text=True)
        self.assertEqual((0, "<response>\n  <result>OK</result>\n</response>\n", ""),
                         (done.returncode, done.stdout, done.stderr))

    def test_the_python_module_works_where_it_is_installed(self):
        module = self.folder / "python/usr/lib/python3/dist-packages"
        self.assertEqual([], [path.name for path in module.rglob("*") if path.is_symlink()])
        done = subprocess.run([sys.executable, "-B", "-c", "import tolvane; print(len(tolvane.entries()) > 150)"],
                              cwd=self.folder, env={"PYTHONPATH": str(module)}, capture_output=True, text=True)
        self.assertEqual((0, "True\n", ""), (done.returncode, done.stdout, done.stderr))

    def test_the_headers_can_be_included_by_themselves(self):
        folder = self.folder / "headers/usr" / os.environ["INCLUDEDIR"]
        for header in sorted((folder / "tolvane").iterdir()):
            done = subprocess.run(["c++", "-std=c++20", "-fsyntax-only", "-I", folder, "-x", "c++", "-"],
                                  input=f"#include <tolvane/{header.name}>\n", capture_output=True, text=True)
            self.assertEqual("", done.stderr, header.name)


if __name__ == "__main__":
    unittest.main()
