#!/usr/bin/env python3
"""cpack: the archive and the Debian package."""

import gzip
import tarfile
import tempfile
import time
import unittest
from pathlib import Path

from installed import BUILD, CPACK, FILES, PROGRAMS, VERSION, InstalledTest

# What the Debian package has instead of some files.
DEBIAN = {"share/doc/ztmake/CHANGELOG.md": "share/doc/ztmake/changelog.gz",
          **{f"share/man/man1/{name}.1": f"share/man/man1/{name}.1.gz" for name in PROGRAMS},
          **{f"share/zsh/site-functions/_{name}": f"share/zsh/vendor-completions/_{name}"
             for name in PROGRAMS}}
DEBIAN_ONLY = ["share/doc/ztmake/changelog.Debian.gz", "share/doc/ztmake/copyright"]
TIME = "1700000000"


class Package(InstalledTest):
    """The packages, made once."""

    @classmethod
    def setUpClass(cls):
        store = tempfile.TemporaryDirectory(prefix="ztmaketest")
        cls.addClassCleanup(store.cleanup)
        cls.packages = Path(store.name)
        cls.made = None

    def setUp(self):
        super().setUp()
        if Package.made is None:
            Package.made = self.pack(self.packages)
        self.archive, = self.packages.glob("*.tar.gz")
        self.package, = self.packages.glob("ztmake_*.deb")
        self.samples, = self.packages.glob("ztmake-samples_*.deb")

    def environment(self):
        return {**super().environment(), "SOURCE_DATE_EPOCH": TIME}

    def pack(self, directory):
        """Makes the packages."""
        return self.run_well(CPACK, "--config", BUILD / "CPackConfig.cmake", "-B", directory)

    def unpack_package(self, package=None):
        """Unpacks a Debian package as it would be installed."""
        self.run_well("dpkg-deb", "-x", package or self.package, self.prefix)
        return self.prefix / "usr"

    def test_archive_has_all_files_below_one_directory(self):
        self.assertTrue(self.archive.name.startswith(f"ztmake-{VERSION}-"))
        top = self.archive.name.removesuffix(".tar.gz")
        with tarfile.open(self.archive) as archive:
            names = sorted(member.name for member in archive if member.isfile())
        self.assertEqual(names, [f"{top}/{file}" for file in FILES])

    def test_packages_made_again_are_the_same(self):
        again = self.home / "again"
        time.sleep(1.1)  # of another second
        self.pack(again)
        for package in self.archive, self.package, self.samples:
            self.assertEqual(package.read_bytes(), (again / package.name).read_bytes(),
                             package.name)

    def test_package_has_all_files_and_those_of_debian(self):
        usr = self.unpack_package()
        expected = sorted([*(DEBIAN.get(file, file) for file in FILES), *DEBIAN_ONLY])
        self.assertEqual(self.files(usr), expected)
        self.assertEqual(self.files(self.prefix), [f"usr/{file}" for file in expected])

    def test_package_says_what_it_is_and_needs(self):
        def field(name):
            return self.run_well("dpkg-deb", "-f", self.package, name).rstrip("\n")

        self.assertEqual(field("Package"), "ztmake")
        self.assertEqual(field("Version"), f"{VERSION}-1")
        self.assertEqual(field("Section"), "devel")
        self.assertRegex(field("Maintainer"), r"^.+ <.+@.+>$")
        self.assertRegex(field("Depends"), r"libqt6core6 \(>= 6\.\S+\)")
        self.assertIn("libqt6core5compat6", field("Depends"))
        self.assertGreater(len(field("Description").splitlines()), 3)

    def test_lintian_finds_no_error(self):
        result = self.run_command("lintian", "--allow-root", "--fail-on", "error", self.package,
                                  self.samples)
        self.assertEqual((result.returncode, result.stderr), (0, ""), result.stdout)

    def test_compressed_files_have_no_time_in_them(self):
        usr = self.unpack_package()
        for file in usr.rglob("*.gz"):
            self.assertEqual(file.read_bytes()[3:8], bytes(5), file)  # no name, no time
        changes = gzip.decompress((usr / "share/doc/ztmake/changelog.Debian.gz").read_bytes())
        self.assertTrue(changes.startswith(f"ztmake ({VERSION}-1) ".encode()))

    def test_programs_are_stripped(self):
        sections = self.run_well("readelf", "--section-headers", "--wide",
                                 *((self.unpack_package() / "bin" / name for name in PROGRAMS)))
        self.assertIn(".text", sections)
        self.assertNotIn(".debug_info", sections)
        self.assertNotIn(".symtab", sections)

    def test_sample_is_built_with_the_installed_package(self):
        usr = self.unpack_package()
        self.link_tools(usr / "bin")
        self.check_build(usr / "bin/ztmake")

    def test_samples_are_built_from_the_packages_alone(self):
        usr = self.unpack_package(self.samples)
        examples = usr / "share/doc/ztmake-samples/examples"
        self.assertEqual(self.files(examples / "thermostat"), self.files(self.dir))
        sdk = usr / "lib/ztmake/ZeltaSDK/sdk-1.0"
        environment = {**self.environment(), "ZELTASDK": str(sdk.parent)}
        self.environment = lambda: environment
        self.check_build(sdk / "bin/ztmake")
        self.run_well(sdk / "bin/ztproject", "check", "--strict")


if __name__ == "__main__":
    unittest.main()
