"""An installation works wherever it lies, and plug-ins and programs outside of the tree are built against it.

    installation_test.py ROOT BUILD
"""
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT, BUILD = (pathlib.Path(word).resolve() for word in sys.argv[1:3])
del sys.argv[1:3]
ARCHM = "linux-" + os.uname().machine
ENVIRONMENT = {name: value for name, value in os.environ.items()
               if name not in ("VANTIX_HOME", "ARCHM", "ComSpec", "VANTIX_PLUGIN_PATH", "DESTDIR")}
DURATIONS = {"ports": [{"name": "Text", "alias": "text.String"}, {"name": "Seconds", "alias": "back.Output"}],
             "operators": [
                 {"id": "from", "operator": "VANTIX.Convert", "values": {"Input": 5405.4, "DataType": "Example.Duration"}},
                 {"id": "text", "operator": "VANTIX.ToString"},
                 {"id": "back", "operator": "VANTIX.Convert", "values": {"DataType": "Double"}}],
             "connections": [{"from": "from.Output", "to": "text.Data"}, {"from": "from.Output", "to": "back.Input"}]}


USER_FILES = [*(f"share/man/man1/{program}.1" for program in ("tessera", "batchprocess.exe", "comspec")),
              *(place for program in ("tessera", "batchprocess.exe") for place in (
                  f"share/bash-completion/completions/{program}", f"share/zsh/vendor-completions/_{program}",
                  f"share/fish/vendor_completions.d/{program}.fish"))]


def call(*words, environment=None, text=None, status=0):
    done = subprocess.run([str(word) for word in words], capture_output=True, text=True, input=text, timeout=300,
                          env={**ENVIRONMENT, **(environment or {})})
    if done.returncode != status:
        raise AssertionError(f"{words}: {done.returncode}\n{done.stdout}\n{done.stderr}")
    return done.stdout


def run_model(program, model, plugins):
    document = json.dumps({"format": "TesseraModelFormat", "version": 1, **model})
    outputs = call(program, "run", "-", "--json", text=document, environment={"VANTIX_PLUGIN_PATH": str(plugins)})
    return {output["Name"]: output["Data"]["Value"] for output in json.loads(outputs)["Outputs"]}


class InstallationTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scratch = tempfile.TemporaryDirectory()
        cls.folder = pathlib.Path(cls.scratch.name).resolve()
        first = cls.folder / "first"
        call("cmake", "--install", BUILD, "--prefix", first)
        # A copy in another place, with a name that scripts like to trip over.
        cls.home = cls.folder / "moved here" / "tessera"
        cls.home.parent.mkdir()
        shutil.move(first, cls.home)
        cls.program = cls.home / "bin" / ARCHM / "tessera"

    @classmethod
    def tearDownClass(cls):
        cls.scratch.cleanup()

    def build(self, source):
        build = self.folder / source
        call("cmake", "-G", "Ninja", "-S", ROOT / "examples" / source, "-B", build,
             f"-DCMAKE_PREFIX_PATH={self.home}", "-DCMAKE_BUILD_TYPE=Debug")
        call("cmake", "--build", build)
        return build

    def test_programs_find_what_they_need(self):
        operators = json.loads(call(self.program, "list", "operators", "--json"))["Operator"]
        self.assertIn("libtx_general.so", {row["plugin"] for row in operators})
        self.assertIn("Sobel", call(self.program, "list", "kernels"))
        self.assertTrue((self.home / "include/txlib/operator.h").is_file())
        self.assertEqual((self.home / f"scripts/{ARCHM}/fullversion_tsdk.ksc").read_text().split()[0], "Tessera")

    def test_plugins_by_the_cmake_package(self):
        plugins = self.build("plugin")
        names = call(self.program, "list", "operators", environment={"VANTIX_PLUGIN_PATH": str(plugins)})
        self.assertIn("CountWords", names)
        self.assertIn("IteratorExecutionMethodFirstItem", names)
        self.assertEqual(run_model(self.program, DURATIONS, plugins), {"Text": "1:30:05", "Seconds": 5405})
        for file in plugins.glob("*.so"):
            symbols = call("nm", "-D", "--defined-only", file)
            self.assertEqual([line.split()[-1] for line in symbols.splitlines()], ["GetAvailablePluginProxiesOfType"])

    def test_a_plugin_by_pkg_config(self):
        place = {"PKG_CONFIG_PATH": str(self.home / "lib/pkgconfig")}
        flags = [flag.replace("\\ ", " ") for flag in
                 call("pkg-config", "--cflags", "--libs", "tessera", environment=place).replace("\\ ", "\0").split()]
        flags = [flag.replace("\0", " ") for flag in flags]
        exports = call("pkg-config", "--variable=exports", "tessera", environment=place).strip().replace("\\ ", " ")
        plugins = self.folder / "by-pkg-config"
        plugins.mkdir()
        call("g++", "-shared", "-fPIC", "-fvisibility=hidden", f"-Wl,--version-script={exports}",
             ROOT / "examples/plugin/countwords.cpp", *flags, "-o", plugins / "countwords.so")
        count = {"ports": [{"name": "Count", "alias": "count.Count"}],
                 "operators": [{"id": "count", "operator": "VANTIX.CountWords", "values": {"Text": "one two"}}]}
        self.assertEqual(run_model(self.program, count, plugins), {"Count": 2})

    def test_a_program_that_embeds_the_engine(self):
        program = self.build("embed") / "embed"
        model = self.folder / "find.tsmx"
        model.write_text(json.dumps({
            "format": "TesseraModelFormat", "version": 1,
            "ports": [{"name": "In", "alias": "find.StringIn"}, {"name": "Out", "alias": "find.StringOut"}],
            "operators": [{"id": "find", "operator": "VANTIX.RegularExpressionSearch", "values": {"RegEx": "[0-9]+"}}]}))
        output = call(program, model, "In", "Out", "a 12", "b 345")
        self.assertRegex(output, "(?s)^a 12: .*12.*b 345: .*345")
        self.assertIn("no such port", call(program, model, "In", "Oops", "x", status=1))

    def test_a_prefix_of_the_system_leads_there_by_links(self):
        prefix = self.folder / "system"
        call("cmake", "--install", BUILD, "--prefix", prefix / "lib" / "tessera")
        self.assertRegex(call(prefix / "bin/tessera", "--version"), r"^tessera \d")
        for name in USER_FILES:
            self.assertGreater((prefix / name).stat().st_size, 500, name)
            self.assertFalse(os.path.isabs(os.readlink(prefix / name)), name)
        self.assertTrue((prefix / "lib/cmake/Tessera/TesseraConfig.cmake").is_file())
        place = {"PKG_CONFIG_PATH": str(prefix / "lib/pkgconfig")}
        included = call("pkg-config", "--variable=includedir", "tessera", environment=place).strip()
        self.assertTrue((pathlib.Path(included) / "txlib/operator.h").is_file(), included)


@unittest.skipUnless(shutil.which("dpkg-shlibdeps"), "no dpkg-shlibdeps, so no packages")
class PackagesTest(unittest.TestCase):
    def test_they_hold_the_installation_and_say_what_it_needs(self):
        with tempfile.TemporaryDirectory() as scratch:
            call("cpack", "--config", BUILD / "CPackConfig.cmake", "-B", scratch)
            packages = sorted(pathlib.Path(scratch).glob("*.deb"), key=lambda package: package.name.split("_")[0])
            self.assertEqual([package.name.split("_")[0] for package in packages],
                             ["tessera", "tessera-dev", "tessera-rasters"])
            needs = call("dpkg-deb", "-f", packages[0], "Depends")
            for library in ("libc6", "libstdc++6", "libboost-filesystem", "libtbb", "libssl3", "libproj"):
                self.assertIn(library, needs)
            self.assertNotIn("gdal", needs)
            self.assertIn("libgdal", call("dpkg-deb", "-f", packages[2], "Depends"))
            self.assertIn("tessera (=", call("dpkg-deb", "-f", packages[1], "Depends"))
            root = pathlib.Path(scratch) / "root"
            for package in packages:
                call("dpkg-deb", "-x", package, root)
            self.assertRegex(call(root / "usr/bin/tessera", "--version"), r"^tessera \d")
            for name in USER_FILES:
                self.assertTrue((root / "usr" / name).is_file(), name)
            self.assertIn("Report", call(root / "usr/bin/tessera", "list", "operators"))
            self.assertTrue((root / "usr/lib/cmake/Tessera/TesseraConfig.cmake").is_file())
            self.assertTrue((root / "usr/lib/tessera/include/txlib/operator.h").is_file())


if __name__ == "__main__":
    unittest.main()
