"""What the recipes and the Debian packages say of the project is so. (They cannot be built in a test.)"""

import os
import pathlib
import re
import unittest

SOURCE = pathlib.Path(__file__).resolve().parents[2]
PACKAGING = SOURCE / "packaging"
BUILDROOT = PACKAGING / "buildroot/tolvane.mk"
YOCTO = next((PACKAGING / "yocto").glob("tolvane_*.bb"))


class Recipes(unittest.TestCase):
    def test_all_have_the_version_of_the_project(self):
        version = os.environ["VERSION"]
        self.assertEqual(f"tolvane_{version}.bb", YOCTO.name)
        self.assertIn(f"\nTOLVANE_VERSION = {version}\n", BUILDROOT.read_text())
        self.assertTrue((SOURCE / "debian/changelog").read_text().startswith(f"tolvane ({version}) "))
        self.assertEqual(version, re.search(r"^## \[(\d.*?)\]", (SOURCE / "CHANGELOG.md").read_text(), re.M)[1])

    def test_the_options_that_they_set_exist(self):
        cache = (pathlib.Path(os.environ["BUILD"]) / "CMakeCache.txt").read_text()
        for recipe in (BUILDROOT, YOCTO, SOURCE / "debian/rules"):
            options = re.findall(r"-D(\w+)=", recipe.read_text())
            self.assertNotEqual([], options)
            for option in options:
                self.assertRegex(cache, rf"(?m)^{option}:", recipe.name)

    def test_a_switch_gets_the_tool_alone(self):
        for recipe in (BUILDROOT, YOCTO):
            self.assertEqual(["tool"], re.findall(r"--component (\w+)", recipe.read_text()), recipe.name)
            self.assertIn("-DTOLVANE_EMULATOR=OFF", recipe.read_text(), recipe.name)

    def test_the_examples_say_that_they_were_not_built(self):
        for recipe in (BUILDROOT, PACKAGING / "buildroot/Config.in", YOCTO):
            self.assertIn("It was not built here", recipe.read_text(), recipe.name)


if __name__ == "__main__":
    unittest.main()
