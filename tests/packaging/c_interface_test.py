"""The headers of the switch's libraries for a C compiler, as tolvane-dev installs them."""

import importlib.machinery
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

SOURCE = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ["BUILD"]).resolve()
HEADERS = ("brgfdb", "portshm", "qual", "trapevent")
STRICT = ["-pedantic", "-Wall", "-Wextra", "-Wconversion", "-Wundef", "-Werror"]
COMPILERS = {"gcc": ("c99", "c11", "gnu17"), "clang": ("c99", "c11"), "powerpc-linux-gnu-gcc": ("c99",)}
PORTING = SOURCE / "docs/porting.md"

loader = importlib.machinery.SourceFileLoader("c_numbers", str(SOURCE / "scripts/c-numbers"))
c_numbers = importlib.util.module_from_spec(importlib.util.spec_from_loader("c_numbers", loader))
loader.exec_module(c_numbers)


class Interface(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="c-interface-"))
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        cls.prefix = cls.folder / "usr"
        subprocess.run([os.environ["CMAKE"], "--install", BUILD, "--prefix", cls.prefix, "--component", "headers"],
                       check=True, stdout=subprocess.DEVNULL)
        cls.include = cls.prefix / os.environ["INCLUDEDIR"]

    def compiles(self, text, *command):
        done = subprocess.run([*command, f"-I{self.include}", "-fsyntax-only", "-"], input=text, text=True,
                              capture_output=True)
        self.assertEqual((0, ""), (done.returncode, done.stderr), (command, text))

    def test_each_header_by_itself(self):
        for compiler, standards in COMPILERS.items():
            if not shutil.which(compiler):
                self.assertNotEqual("gcc", compiler)
                continue
            for standard in standards:
                for header in HEADERS:
                    self.compiles(f"#include <tolvane/{header}.h>\n", compiler, f"-std={standard}", *STRICT, "-xc")

    def test_records_have_the_layout_that_they_have_in_cpp(self):
        header = (SOURCE / "src/platform/brgfdb.h").read_text()
        asserts = re.findall(r"^static_assert\((.*)\);$", header, re.M)
        self.assertGreater(len(asserts), 20)
        text = "#include <stddef.h>\n#include <tolvane/brgfdb.h>\n" + "".join(
            "_Static_assert({}, \"layout\");\n".format(
                line.replace("extraction_point_count", "BRGFDB_EXTRACTION_POINT_COUNT")) for line in asserts)
        for compiler in filter(shutil.which, COMPILERS):
            self.compiles(text, compiler, "-std=c11", *STRICT, "-xc")

    def test_numbers_are_those_of_cpp(self):
        self.assertEqual(c_numbers.written(), (SOURCE / "src/platform/numbers.h").read_text(),
                         "scripts/c-numbers writes it anew")
        lines = [f"#include <tolvane/{header}.h>" for header in HEADERS] + ["#include <tolvane/numbers.h>"]
        count = 0
        for header in HEADERS:
            for name, macro, value in c_numbers.numbers_of(header):
                if value[0] not in '{"':
                    lines.append(f"static_assert({name} == {macro});")
                    count += 1
        self.assertGreater(count, 120)
        self.compiles("\n".join(lines), "c++", "-std=c++20", "-xc++")

    def test_the_program_of_the_page_runs_on_the_emulated_switch(self):
        program = re.search(r"^```c\n(.*?)^```$", PORTING.read_text(), re.M | re.S)[1]
        (self.folder / "sales.c").write_text(program)
        flags = ["-I", str(self.include), "-lbrgfdb", "-lportshm", "-lqual", "-ltrapevent"]
        if shutil.which("pkg-config"):
            environment = {**os.environ, "PKG_CONFIG_PATH": str(self.prefix / os.environ["DATADIR"] / "pkgconfig")}
            flags = subprocess.run(["pkg-config", "--cflags", "--libs", "tolvane"], env=environment, check=True,
                                   capture_output=True, text=True).stdout.split()
            self.assertEqual(f"-I{self.include}", flags[0])
            told = subprocess.run(["pkg-config", "--modversion", "tolvane"], env=environment, check=True,
                                  capture_output=True, text=True).stdout
            self.assertEqual(os.environ["VERSION"], told.strip())
        sales = self.folder / "sales"
        subprocess.run(["gcc", "-std=c99", "-pedantic", "-Werror", self.folder / "sales.c", *flags,
                        f"-L{os.environ['EMULATED_LIBRARIES']}", "-o", sales], check=True)
        environment = {**os.environ, "EMUSWITCH": str(self.folder / "switch.db")}
        told = [subprocess.run([os.environ["COMPANION"], "exec", sales], env=environment, capture_output=True,
                               text=True).stdout for _ in range(2)]
        self.assertEqual(["VLAN sales has the id 1\n", "refused with 1401: it exists\n"], told)


if __name__ == "__main__":
    unittest.main()
