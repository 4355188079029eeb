"""script/bootstrap: says nothing and installs nothing where all is there; asks for what is missing only."""
import os
import subprocess
import sys
import tempfile
import unittest

ROOT = os.path.abspath(sys.argv.pop(1))

DPKG = """#!/bin/sh
for word; do case $word in g++|ninja-build) ;; -*) ;; *) echo "installed $word" ;; esac; done
exit 1
"""
APT = """#!/bin/sh
echo "$@" >> "$RECORD"
"""


class BootstrapTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.record = os.path.join(self.folder.name, "record")

    def command(self, name, text):
        path = os.path.join(self.folder.name, name)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        os.chmod(path, 0o755)

    def run_bootstrap(self, *arguments):
        environment = dict(os.environ, PATH=self.folder.name + ":" + os.environ["PATH"], RECORD=self.record)
        return subprocess.run([os.path.join(ROOT, "script", "bootstrap"), *arguments], env=environment,
                              capture_output=True, text=True)

    def recorded(self):
        if not os.path.exists(self.record):
            return []
        with open(self.record, encoding="utf-8") as file:
            return file.read().splitlines()

    def test_missing_packages_alone_are_installed(self):
        self.command("dpkg-query", DPKG)
        self.command("apt-get", APT)
        self.command("sudo", '#!/bin/sh\nexec "$@"\n')
        run = self.run_bootstrap()
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertEqual(self.recorded(), ["install -y -q --no-install-recommends g++ ninja-build"])

    def test_nothing_missing_is_silent(self):
        self.command("dpkg-query", DPKG.replace("g++|ninja-build", "nothing"))
        self.command("apt-get", APT)
        run = self.run_bootstrap("bench", "fuzz")
        self.assertEqual((run.returncode, run.stdout, run.stderr), (0, "", ""))
        self.assertEqual(self.recorded(), [])

    def test_sections_are_asked_for_by_name(self):
        self.command("dpkg-query", '#!/bin/sh\nexit 1\n')
        self.command("apt-get", APT)
        self.command("sudo", '#!/bin/sh\nexec "$@"\n')
        self.run_bootstrap("bench")
        words = self.recorded()[0].split()
        self.assertIn("libbenchmark-dev", words)
        self.assertIn("cmake", words)
        self.assertNotIn("clang", words)

    def test_sections_may_be_options(self):
        self.command("dpkg-query", '#!/bin/sh\nexit 1\n')
        self.command("apt-get", APT)
        self.command("sudo", '#!/bin/sh\nexec "$@"\n')
        self.run_bootstrap("--cluster")
        words = self.recorded()[0].split()
        for package in ("slurm-wlm", "munge", "cmake"):
            self.assertIn(package, words)
        self.assertNotIn("libbenchmark-dev", words)

    def test_what_cannot_be_installed_is_a_failure(self):
        self.command("dpkg-query", '#!/bin/sh\nexit 1\n')
        self.command("apt-get", "#!/bin/sh\nexit 100\n")
        self.command("sudo", '#!/bin/sh\nexec "$@"\n')
        self.assertNotEqual(self.run_bootstrap("cluster").returncode, 0)

    def test_every_package_says_why(self):
        with open(os.path.join(ROOT, "script", "packages.txt"), encoding="utf-8") as file:
            for line in file:
                if line.strip() and line[0] not in "#[":
                    self.assertRegex(line, r"^[a-z0-9.+-]+ +# \w+")


if __name__ == "__main__":
    unittest.main()
