"""What an integrator meets when building for the switch, and what docs/porting.md says of it.

The tool is built once, with stubs of the switch's libraries, and linked again with libraries that lack something.
"""

import json
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

SOURCE = pathlib.Path(__file__).resolve().parents[2]
PAGE = (SOURCE / "docs/porting.md").read_text()
CMAKE = os.environ["CMAKE"]
COMPILER = "powerpc-linux-gnu-gcc"
LIBRARIES = ("brgfdb", "portshm", "qual", "trapevent")


def quotes():
    """What the page says that is printed, with what differs each time left open."""
    section = PAGE[PAGE.index("## When it does not link or start"):PAGE.index("## Tests on the switch's processor")]
    found = re.findall(r"^- \*(.*?)\*", section, re.M)
    return {quote: re.sub(r"/(?:path|usr/sbin)\b|libother|\\\.\\\.\\\.", r"\\S*",
                          re.escape(quote.replace("\\`", "`"))).replace(r"\ ", r"\s+") for quote in found}


class Integrator(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="integrator-"))
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        cls.build = cls.folder / "build"
        cls.told = cls.configure("-D", "TOLVANE_STUBS=ON", "-D", "TOLVANE_TESTS=OFF", "-D", "TOLVANE_LTO=OFF", "-D",
                                 "CMAKE_BUILD_TYPE=Debug", "--toolchain", SOURCE / "cmake/toolchains/powerpc.cmake")
        cls.compiled = cls.run_build("--parallel", "2")
        cls.stubs = cls.build / "stubs/lib"

    @classmethod
    def configure(cls, *options):
        return subprocess.run([CMAKE, "-S", SOURCE, "-B", cls.build, *options], stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True)

    @classmethod
    def run_build(cls, *options):
        return subprocess.run([CMAKE, "--build", cls.build, *options], stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True)

    def library(self, folder, name, *more, text=""):
        """A library of the name that stands in for the stub, made of its source changed by `more`."""
        source = self.folder / f"{name}.c"
        source.write_text(text or (self.build / f"stubs/{name}.c").read_text())
        subprocess.run([COMPILER, "-shared", "-fPIC", f"-Wl,-soname,lib{name}.so", "-o", folder / f"lib{name}.so", source,
                        *more], check=True)

    def copy_of_stubs(self, name):
        folder = self.folder / name
        shutil.copytree(self.stubs, folder)
        return folder

    def link_with(self, folder):
        self.assertEqual(0, self.configure("-D", f"TOLVANE_SWITCH_LIBRARIES={folder}").returncode)
        return self.run_build("--target", "tolvane").stdout

    def start(self, libraries, tool=None):
        command = [os.environ["QEMU"], "-L", "/usr/powerpc-linux-gnu", tool or self.build / "src/tolvane", "create", "vlan",
                   "sales"]
        done = subprocess.run(command, env={"LD_LIBRARY_PATH": str(libraries)}, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True)
        return done.stdout

    def tearDown(self):
        self.link_with("")  # with the stubs again

    def test_a_build_for_another_machine_asks_for_nothing_of_the_emulated_switch(self):
        self.assertEqual(0, self.told.returncode, self.told.stdout)
        self.assertEqual(0, self.compiled.returncode, self.compiled.stdout)
        self.assertNotRegex(self.told.stdout, "(?i)sqlite|Left out")
        self.assertIn("linked with stubs", self.told.stdout)
        self.assertNotRegex((self.build / "CMakeCache.txt").read_text(), "(?i)sqlite")

    def test_the_tool_runs_on_the_stubs(self):
        self.assertIn("<result>OK</result>", self.start(self.stubs))
        told = subprocess.run(["readelf", "-hd", self.build / "src/tolvane", *(
            self.stubs / f"lib{name}.so" for name in LIBRARIES)], check=True, capture_output=True, text=True).stdout
        self.assertEqual(5, told.count("PowerPC"))
        for name in LIBRARIES:
            self.assertIn(f"Shared library: [lib{name}.so]", told)

    def test_the_target_of_the_page_makes_the_four_libraries(self):
        shutil.rmtree(self.stubs)
        self.assertEqual(0, self.run_build("--target", "switch_stubs").returncode)
        self.assertEqual({f"lib{name}.so" for name in LIBRARIES}, {path.name for path in self.stubs.iterdir()})

    def test_another_folder_takes_effect_without_a_new_tree(self):
        one, other = self.copy_of_stubs("one"), self.copy_of_stubs("other")
        self.library(one, "brgfdb", "-Wl,--version-script=" + self.version("ONE"))
        self.library(other, "brgfdb", "-Wl,--version-script=" + self.version("OTHER"))
        for folder, version in ((one, "ONE"), (other, "OTHER"), (one, "ONE")):
            self.link_with(folder)
            versions = subprocess.run(["readelf", "-V", self.build / "src/tolvane"], check=True, capture_output=True,
                                      text=True).stdout
            self.assertEqual({version}, set(re.findall(r"Name: (ONE|OTHER)\b", versions)))
        self.assertIn("there is no libbrgfdb.so", self.configure(
            "-D", f"TOLVANE_SWITCH_LIBRARIES={self.folder / 'nowhere'}").stdout)

    def version(self, name):
        script = self.folder / f"{name}.map"
        script.write_text(f"{name} {{ global: *; }};\n")
        return str(script)

    def test_what_the_page_quotes_is_printed(self):
        printed = {}
        printed["there is no"] = self.configure("-D", f"TOLVANE_SWITCH_LIBRARIES={self.folder / 'nowhere'}").stdout
        short = self.copy_of_stubs("short")
        whole = (self.build / "stubs/brgfdb.c").read_text()
        self.library(short, "brgfdb", text=re.sub(r"int brgfdb_create_vlan.*\n", "", whole))
        printed["undefined reference"] = self.link_with(short)
        foreign = self.copy_of_stubs("foreign")
        subprocess.run(["gcc", "-shared", "-Wl,-soname,libbrgfdb.so", "-o", foreign / "libbrgfdb.so", "-x", "c", "/dev/null"], check=True)
        printed["wrong format"] = self.link_with(foreign)
        needing = self.copy_of_stubs("needing")
        self.library(self.folder, "other", text="int other(void) { return 0; }\n")
        self.library(needing, "brgfdb", self.folder / "libother.so",
                     text="int other(void);\nint more(void) { return other(); }\n" + whole)
        printed["needed by"] = self.link_with(needing)
        self.assertIn("undefined reference", printed["needed by"])
        # What the switch's loader says.
        versioned, older = self.copy_of_stubs("versioned"), self.copy_of_stubs("older")
        self.library(versioned, "brgfdb", "-Wl,--version-script=" + self.version("GLIBC_2.34"))
        self.library(older, "brgfdb", "-Wl,--version-script=" + self.version("GLIBC_2.31"))
        self.link_with(versioned)
        # It stands for the C library of an older switch, which is not at hand.
        printed["version"] = self.start(older).replace("libbrgfdb.so", "libc.so.6")
        self.link_with("")
        subprocess.run([CMAKE, "--install", self.build, "--component", "tool", "--prefix", self.folder / "usr"],
                       check=True, stdout=subprocess.DEVNULL)
        installed = self.folder / "usr/sbin/tolvane"
        printed["loading"] = self.start("", installed)
        printed["symbol lookup"] = self.start(short, installed)
        for quote, pattern in quotes().items():
            self.assertTrue(any(re.search(pattern, text) for text in printed.values()),
                            (quote, pattern, [text[-400:] for text in printed.values()]))
        self.assertEqual(len(printed), len(quotes()))

    def test_the_page_tells_each_preset(self):
        presets = json.loads((SOURCE / "CMakePresets.json").read_text())
        section = PAGE[PAGE.index("## Presets"):]
        self.assertEqual([preset["name"] for preset in presets["configurePresets"]],
                         re.findall(r"^\| `(\w+)` \|", section[:section.index("\n## ")], re.M))
        self.assertEqual({preset["name"] for preset in presets["configurePresets"]},
                         {preset["name"] for preset in presets["buildPresets"]})


if __name__ == "__main__":
    unittest.main()
