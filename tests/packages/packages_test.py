# Tests of the packages: that everybody who makes them gets the same bytes, what is in them, and that they come and go
# on a system without a trace. The system is a folder with the package manager's records of this machine, which stays
# as it is. Not tests of what is installed without packages. The protocol is written down in docs/protocol.md.
import os
import pathlib
import re
import shutil
import tarfile
import unittest

import commands
import differences
from commands import emptied, files_below, finding_libraries_in, needed_libraries, run

SOURCE = pathlib.Path(os.environ["ZOLSTATS_SOURCE"])
BUILD = pathlib.Path(os.environ["ZOLSTATS_BUILD"])
SCRATCH = pathlib.Path(os.environ["ZOLSTATS_SCRATCH"])
CMAKE = os.environ["CMAKE"]

# Two builds of the same source: where, and under which circumstances. The first one's packages are looked at.
HERE = SCRATCH / "here"
ELSEWHERE = SCRATCH / "in_another_folder_with_a_longer_name"
PACKAGES = SCRATCH / "packages"

COMPONENTS = {"libzolstats1": "runtime", "libzolstats-dev": "development", "zolstats-tools": "tools",
              "zolstats-exporter": "exporter"}
TOOLS = ["zolstat", "zol-gateway-sim"]
EXPORTER = "zolstats-exporter"
UNIT = f"usr/lib/systemd/system/{EXPORTER}.service"
SETTINGS = f"etc/default/{EXPORTER}"
LIBDIR = "usr/lib/" + run("dpkg-architecture", "-qDEB_HOST_MULTIARCH").strip()
VERSION = run("dpkg-parsechangelog", "-l", SOURCE / "packaging" / "debian" / "changelog", "-SVersion").strip()


def package(name, folder=PACKAGES):
    [found] = folder.glob(f"{name}_*.deb")
    return found


def field(name, of_package):
    return run("dpkg-deb", "--field", package(of_package), name).strip()


def depends(name):
    """What a package depends on, without the versions of other packages."""
    own = {f"libzolstats1 (= {VERSION})", f"libzolstats1 (>= {VERSION.split('-')[0]})"}
    words = [word.strip() for word in field("Depends", name).split(",") if word]
    return {word if word in own else word.split()[0] for word in words}


# ---- Making packages


def unpack(archive, folder):
    with tarfile.open(archive) as opened:
        opened.extractall(emptied(folder))
    [root] = folder.iterdir()
    return root


def make_packages(root, output, umask, zone):
    # No cache of compiled files: it would hide what depends on the folder.
    kept = {name: value for name, value in os.environ.items() if "LAUNCHER" not in name and name != "SOURCE_DATE_EPOCH"}
    run(root / "scripts" / "package.sh", emptied(output), umask=umask, env={**kept, "TZ": zone, "CCACHE_DISABLE": "1"})


def differing_objects():
    """What was compiled otherwise, told by the file that it was compiled from."""
    [here], [there] = (list(folder.glob("*/build/packages")) for folder in (HERE, ELSEWHERE))
    lines = differences.of_trees(here, there, "*.o", attributes={})
    return differences.shortened([f"in the build, {line}" for line in lines], most=40)


class Making(unittest.TestCase):
    """The packages that it leaves are those that the other tests look at."""

    def test_the_same_source_gives_the_same_bytes_wherever_and_by_whomever_it_is_built(self):
        run(SOURCE / "scripts" / "package.sh", "--source", emptied(SCRATCH / "archive"))
        [archive] = (SCRATCH / "archive").iterdir()
        others = SCRATCH / "packages_from_elsewhere"
        make_packages(unpack(archive, HERE), PACKAGES, umask=0o022, zone="UTC")
        make_packages(unpack(archive, ELSEWHERE), others, umask=0o077, zone="Asia/Kathmandu")

        names = sorted(file.name for file in PACKAGES.iterdir())
        self.assertEqual(names, sorted([archive.name, *(package(name).name for name in COMPONENTS)]))
        self.assertEqual(names, sorted(file.name for file in others.iterdir()))
        run("cmp", archive, PACKAGES / archive.name)
        for name in names:
            with self.subTest(name):
                found = differences.of_archives(PACKAGES / name, others / name, SCRATCH / "differing" / name)
                if found:
                    self.fail("\n".join(["the builds differ:", *found, *differing_objects()]))


class Differences(unittest.TestCase):
    """That two packages are not alike is told so that nobody needs to have them at hand."""

    def setUp(self):
        self.folder = emptied(SCRATCH / "differences" / self._testMethodName)
        self.trees = [self.folder / side for side in ["here", "there"]]
        for tree in self.trees:
            (tree / "DEBIAN").mkdir(parents=True)
            (tree / "DEBIAN" / "control").write_text(
                "Package: pack\nVersion: 1\nArchitecture: all\nMaintainer: nobody <nobody@zolstats.example>\n"
                "Description: a package\n")

    def write(self, name, *contents):
        for tree, content in zip(self.trees, contents):
            (tree / name).write_bytes(content)

    def build_program(self, *build_ids):
        for tree, build_id in zip(self.trees, build_ids):
            run("cc", "-shared", "-fPIC", f"-Wl,--build-id={build_id}", f"-I{SOURCE}/include",
                SOURCE / "examples" / "read_statistics.c", "-o", tree / "program")

    def told(self, *options):
        for tree in self.trees:
            for path in [*tree.rglob("*"), tree]:
                os.utime(path, (0, 0))
            run("dpkg-deb", "--root-owner-group", *(options if tree is self.trees[1] else ()), "--build", tree,
                f"{tree}.deb", env={**os.environ, "SOURCE_DATE_EPOCH": "0"})
        return differences.of_archives(*(pathlib.Path(f"{tree}.deb") for tree in self.trees), self.folder / "unpacked")

    def test_nothing_is_told_of_packages_that_are_alike(self):
        self.write("text", b"alike\n", b"alike\n")
        self.assertEqual(self.told(), [])

    def test_of_a_text_the_lines_are_told(self):
        self.write("text", b"same\nred\n", b"same\nblue\n")
        self.assertEqual(self.told(), ["text: @@ -2 +2 @@", "text: -red", "text: +blue"])

    def test_of_many_lines_the_first_ones_are_told(self):
        self.write("text", *(b"".join(b"%d\n" % (start + line) for line in range(100)) for start in [0, 1000]))
        self.assertEqual(self.told()[-1], "text: ... and 193 lines more")

    def test_of_a_program_the_sections_are_told(self):
        self.build_program("0x0102", "0x0103")
        [line] = self.told()
        self.assertTrue(line.startswith("program: section .note.gnu.build-id: 18 and 18 bytes, from byte 17 on "), line)

    def test_of_other_files_the_first_bytes_that_differ_are_told(self):
        self.write("data", b"\0\1\2", b"\0\1\3\4")
        self.assertEqual(self.told(), [r"data: 3 and 4 bytes, from byte 2 on b'\x02' and b'\x03\x04'"])

    def test_a_file_that_only_one_has_is_told(self):
        self.write("text", b"")
        self.assertEqual(self.told(), ["text: only in the first"])

    def test_another_mode_is_told(self):
        self.write("text", b"", b"")
        for tree, mode in zip(self.trees, [0o644, 0o755]):
            (tree / "text").chmod(mode)
        self.assertEqual(self.told(), ["text: mode -rw-r--r-- and -rwxr-xr-x"])

    def test_another_compression_is_told(self):
        first, *containers = self.told("-Zgzip")
        self.assertEqual(first, "the same files, packed otherwise")
        self.assertIn("data.tar.gz", " ".join(containers))


# ---- Looking into packages


class Contents(unittest.TestCase):
    """Each package is unpacked into a folder of its own."""

    @classmethod
    def setUpClass(cls):
        cls.root = emptied(SCRATCH / "unpacked")
        for name in COMPONENTS:
            run("dpkg-deb", "--raw-extract", package(name), cls.root / name)

    def files(self, *patterns):
        found = [file for pattern in patterns for file in self.root.glob(pattern)
                 if file.is_file() and not file.is_symlink()]
        self.assertTrue(found)
        return found

    def test_each_package_has_what_its_users_need(self):
        for name, files in {
            "libzolstats1": [f"{LIBDIR}/libzolstats.so.1"],
            "libzolstats-dev": [f"{LIBDIR}/libzolstats.a", f"{LIBDIR}/pkgconfig/zolstats.pc",
                                f"{LIBDIR}/cmake/zolstats/zolstatsConfig.cmake", "usr/include/zolstats/zolstats.h"],
            "zolstats-tools": [f"usr/bin/{program}" for program in TOOLS],
            EXPORTER: [f"usr/bin/{EXPORTER}", UNIT, SETTINGS],
        }.items():
            for file in [*files, *(f"usr/share/doc/{name}/{document}"
                                   for document in ["copyright", "changelog.gz", "changelog.Debian.gz"])]:
                with self.subTest(file):
                    self.assertTrue((self.root / name / file).is_file())

    def test_all_that_is_installed_is_in_a_package(self):
        everything = emptied(SCRATCH / "everything")
        [build] = HERE.glob("*/build/packages")
        run(CMAKE, "--install", build, "--prefix", everything / "usr")
        installed = {re.sub(r"^(usr/share/man/.*)", r"\1.gz", str(file)).replace("usr/etc/", "etc/")
                     for file in files_below(everything)}
        packaged = {str(file) for name in COMPONENTS for file in files_below(self.root / name)}
        self.assertEqual(installed - packaged, set())

    def test_the_link_for_the_linker_leads_to_the_library_of_the_other_package(self):
        link = self.root / "libzolstats-dev" / LIBDIR / "libzolstats.so"
        self.assertTrue((self.root / "libzolstats1" / LIBDIR / os.readlink(link)).exists())

    def test_they_depend_on_what_they_need(self):
        library = f"libzolstats1 (>= {VERSION.split('-')[0]})"
        self.assertEqual(depends("libzolstats1"), {"libc6"})
        self.assertEqual(depends("libzolstats-dev"), {f"libzolstats1 (= {VERSION})"})
        for name in ["zolstats-tools", EXPORTER]:
            self.assertLessEqual({library, "libc6", "libstdc++6"}, depends(name))
        for served_with in ["libmicrohttpd", "libre2-", "libyaml-cpp", "zlib"]:
            self.assertRegex(field("Depends", EXPORTER), rf"\b{served_with}\d")

    def test_several_machines_versions_can_be_installed_beside_each_other(self):
        self.assertEqual({name: field("Multi-Arch", name) for name in COMPONENTS},
                         {"libzolstats1": "same", "libzolstats-dev": "same", "zolstats-tools": "foreign",
                          EXPORTER: "foreign"})

    def test_programs_that_use_calls_for_applications_will_do_with_a_later_library(self):
        symbols = (self.root / "libzolstats1" / "DEBIAN" / "symbols").read_text()
        self.assertIn("libzolstats.so.1 libzolstats1 #MINVER#\n", symbols)
        self.assertRegex(symbols, r"(?m)^ getStats@ZOLSTATS_1.1 [\d.]+$")

    def test_programs_that_use_what_is_for_debuggers_need_exactly_this_library(self):
        symbols = (self.root / "libzolstats1" / "DEBIAN" / "symbols").read_text()
        self.assertIn(f"\n| libzolstats1 (= {VERSION})\n", symbols)
        self.assertRegex(symbols, r"(?m)^ flow@ZOLSTATS_PRIVATE [\d.]+ 1$")

    def test_programs_and_libraries_have_no_search_path(self):
        for file in self.files("*/usr/bin/*", "*/usr/lib/*/*.so*"):
            with self.subTest(file.name):
                self.assertNotRegex(run("readelf", "--dynamic", file), "RPATH|RUNPATH")

    def test_programs_and_libraries_are_stripped(self):
        for file in self.files("*/usr/bin/*", "*/usr/lib/*/*.so*", "*/usr/lib/*/*.a"):
            with self.subTest(file.name):
                sections = run("readelf", "--sections", "--wide", file)
                self.assertNotIn(".debug_", sections)
                self.assertEqual(".symtab" in sections, file.suffix == ".a")

    def test_no_file_names_a_folder_in_which_it_was_built(self):
        for file in self.files("**/*"):
            with self.subTest(file):
                content = file.read_bytes()
                for folder in [SCRATCH, SOURCE]:
                    self.assertNotIn(bytes(folder), content)

    def test_checksums_cover_every_file(self):
        for name in COMPONENTS:
            with self.subTest(name):
                root = self.root / name
                run("md5sum", "--check", "--strict", "DEBIAN/md5sums", cwd=root)
                summed = re.findall(r"^\w+  (.*)$", (root / "DEBIAN" / "md5sums").read_text(), re.M)
                self.assertEqual(sorted(summed), sorted(str(file.relative_to(root))
                                                        for file in self.files(f"{name}/usr/**/*")))

    def test_compressed_files_tell_neither_their_time_nor_their_former_name(self):
        for file in self.files("*/usr/**/*.gz"):
            with self.subTest(file.name):
                method, flags, *time, level = file.read_bytes()[2:9]
                self.assertEqual((method, flags, time, level), (8, 0, [0, 0, 0, 0], 2))

    def test_everything_belongs_to_root_and_can_be_read_by_all(self):
        for name in COMPONENTS:
            for line in run("dpkg-deb", "--contents", package(name)).splitlines():
                with self.subTest(line):
                    self.assertRegex(line, r"^(drwxr-xr-x|-rw-r--r--|-rwxr-xr-x|lrwxrwxrwx) root/root ")

    def test_the_copyright_grants_nothing_that_the_authors_have_not(self):
        for file in self.files("*/usr/share/doc/*/copyright"):
            text = file.read_text()
            self.assertIn("Copyright 2026 the zolstats authors", text)
            self.assertIn("No licence has been granted yet", text)


class Service(unittest.TestCase):
    """The service of the exporter, unpacked; it is not run, since a machine has but one manager of services."""

    @classmethod
    def setUpClass(cls):
        cls.root = emptied(SCRATCH / "service")
        run("dpkg-deb", "--raw-extract", package(EXPORTER), cls.root)
        cls.text = (cls.root / UNIT).read_text()

    def analyze(self, *words):
        """As if the program that the unit names were installed."""
        unit = self.root / f"{EXPORTER}.service"
        unit.write_text(self.text.replace("=/usr/bin/", f"={self.root}/usr/bin/"))
        return run("systemd-analyze", *words, unit)

    def test_its_manager_understands_the_unit_and_finds_the_program(self):
        self.assertEqual(self.analyze("verify", "--man=no"), "")

    def test_it_may_do_no_more_than_it_needs(self):
        least_exposed_in_tenths = 15
        self.analyze("security", "--offline=true", f"--threshold={least_exposed_in_tenths}")

    def test_it_gets_its_arguments_from_its_settings(self):
        self.assertIn(f"EnvironmentFile=-/{SETTINGS}\nExecStart=/usr/bin/{EXPORTER} $ARGS\n", self.text)
        self.assertEqual(run("sh", "-euc", '. "$1"; echo "<$ARGS>"', "sh", self.root / SETTINGS), "<>\n")

    def test_its_settings_are_their_owners(self):
        self.assertEqual((self.root / "DEBIAN" / "conffiles").read_text(), f"/{SETTINGS}\n")


class Policy(unittest.TestCase):
    def test_debians_checker_has_nothing_to_say(self):
        files = [package(name) for name in COMPONENTS]
        said = run("lintian", "--allow-root", "--fail-on", "none", *files)
        pages = {page.stem for page in (SOURCE / "docs" / "man").iterdir()}
        missing = {f"W: {name}: no-manual-page [usr/bin/{program}]"
                   for name, programs in {"zolstats-tools": TOOLS, EXPORTER: [EXPORTER]}.items()
                   for program in {*programs} - pages}
        self.assertEqual(set(said.splitlines()), missing)


class Manuals(unittest.TestCase):
    def test_pages_are_compressed_and_links_to_pages_lead_to_the_compressed_ones(self):
        staging = emptied(SCRATCH / "staging")
        for component in COMPONENTS.values():
            run(CMAKE, "--install", BUILD, "--prefix", staging / component / "usr", "--component", component)
        pages = staging / "development" / "usr" / "share" / "man" / "man3"
        pages.mkdir(parents=True, exist_ok=True)
        (pages / "a_page.3").write_text(".TH A_PAGE 3\n")
        (pages / "its_link.3").symlink_to("a_page.3")
        run(SOURCE / "packaging" / "make_debs.sh", staging, emptied(SCRATCH / "manuals"))
        listed = run("dpkg-deb", "--contents", package("libzolstats-dev", SCRATCH / "manuals"))
        self.assertIn("/man3/a_page.3.gz\n", listed)
        self.assertIn("/man3/its_link.3.gz -> a_page.3.gz\n", listed)
        self.assertNotRegex(listed, r"(?m)\.3$")


# ---- Installing packages


class System:
    """A folder with this machine's records of installed packages, so that dependencies and conflicts are real."""

    RECORDS = pathlib.Path("/var/lib/dpkg")

    def __init__(self, name):
        self.root = emptied(SCRATCH / name)
        self.records = self.root / "var/lib/dpkg"
        for folder in ["info", "updates", "triggers"]:
            (self.records / folder).mkdir(parents=True)
        shutil.copy(self.RECORDS / "status", self.records)
        for file in [self.RECORDS / "info/format", *self.RECORDS.glob("info/*.list")]:
            shutil.copy(file, self.records / "info")
        self.purge()  # if the machine has them

    def dpkg(self, *words):
        """Files are to belong to root, which only fakeroot makes possible for everybody."""
        places = {**os.environ, "PATH": f"{os.environ['PATH']}:/usr/sbin:/sbin", "LC_ALL": "C"}
        return run("fakeroot", "dpkg", f"--root={self.root}", "--force-script-chrootless",
                   f"--log={self.root / 'dpkg.log'}", *words, env=places)

    def install(self, *names):
        self.dpkg("--install", *(package(name) for name in names))

    def purge(self, *names):
        self.dpkg("--purge", *(names or COMPONENTS))

    def installed(self):
        states = run("dpkg-query", f"--admindir={self.records}", "--show", "--showformat",
                     "${binary:Package} ${db:Status-Status}\n")
        return {line.split()[0].split(":")[0] for line in states.splitlines() if line.endswith(" installed")}

    def listing(self):
        return {f"/{path.relative_to(self.root)}" for path in self.root.glob("**/*")}

    def owned(self):
        """Whatever belongs to a package, folders that several share included."""
        return {name for file in self.records.glob("info/*.list") for name in file.read_text().splitlines()}

    # ---- As users do

    def pkg_config(self, *words):
        places = {**os.environ, "PKG_CONFIG_LIBDIR": str(self.root / LIBDIR / "pkgconfig")}
        return run("pkg-config", *words, "zolstats", env=places).split()

    def build_with_pkg_config(self):
        program = emptied(SCRATCH / "with_pkg_config") / "read_statistics"
        run("cc", SOURCE / "examples" / "read_statistics.c", *self.pkg_config("--cflags", "--libs"), "-o", program)
        return program

    def build_with_cmake(self):
        folder = emptied(SCRATCH / "with_cmake")
        run(CMAKE, "-S", SOURCE / "examples", "-B", folder, "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={self.root / 'usr'}")
        run(CMAKE, "--build", folder)
        return folder / "read_statistics"

    def run(self, *command):
        return run(*command, env=finding_libraries_in(self.root / LIBDIR))

    def gateway(self):
        return commands.running_gateway(self.root / "usr/bin/zol-gateway-sim")


class Installed(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.system = System("installed")
        cls.system.install(*COMPONENTS)

    def test_the_examples_build_with_pkg_config_and_read_a_gateway(self):
        program = self.system.build_with_pkg_config()
        self.assertIn("libzolstats.so.1", needed_libraries(program))
        with self.system.gateway() as port:
            self.assertRegex(self.system.run(program, port), r"(?m)^CPU_COUNT = \d+$")

    def test_the_examples_build_with_cmake_and_read_a_gateway(self):
        program = self.system.build_with_cmake()
        with self.system.gateway() as port:
            self.assertRegex(self.system.run(program, port), r"(?m)^CPU_COUNT = \d+$")

    def test_the_tool_reads_a_gateway(self):
        with self.system.gateway() as port:
            groups = self.system.run(self.system.root / "usr/bin/zolstat", "--port", port, "groups")
            self.assertIn("CPU", groups.split())


class Order(unittest.TestCase):
    def test_tools_are_not_installed_without_the_library(self):
        system = System("order")
        with self.assertRaisesRegex(AssertionError, "depends on libzolstats1"):
            system.install("zolstats-tools")

    def test_the_library_does_not_go_before_those_that_need_it(self):
        system = System("order")
        system.install(*COMPONENTS)
        with self.assertRaisesRegex(AssertionError, "depends on libzolstats1"):
            system.purge("libzolstats1")
        self.assertIn("libzolstats1", system.installed())


class Removal(unittest.TestCase):
    def setUp(self):
        self.system = System("removal")
        self.before = self.system.listing()
        self.installed_before = self.system.installed()
        self.system.install(*COMPONENTS)
        self.settings = self.system.root / SETTINGS
        self.links = self.system.root / "etc" / "systemd" / "system" / "multi-user.target.wants"

    def enable(self):
        self.links.mkdir(parents=True)
        (self.links / f"{EXPORTER}.service").symlink_to(f"/{UNIT}")

    def left(self):
        return self.system.listing() - self.before - self.system.owned()

    def test_purging_leaves_nothing_behind(self):
        self.assertEqual(self.system.installed() - self.installed_before, set(COMPONENTS))
        self.system.build_with_pkg_config()
        self.system.purge()
        self.assertEqual(self.system.installed(), self.installed_before)
        self.assertEqual(self.left(), set())

    def test_the_service_is_not_enabled_by_installing(self):
        self.assertFalse(self.links.exists())

    def test_changed_settings_stay_when_the_exporter_is_removed_and_go_with_a_purge(self):
        changed = 'ARGS="--gateway 127.0.0.1:27400"\n'
        self.settings.write_text(changed)
        self.system.dpkg("--remove", EXPORTER)
        self.assertEqual(self.settings.read_text(), changed)
        self.system.purge()
        self.assertEqual(self.left(), set())

    def test_that_the_service_was_enabled_is_forgotten_by_a_purge(self):
        self.enable()
        self.system.dpkg("--remove", EXPORTER)
        self.assertTrue(self.links.exists())
        self.system.purge()
        self.assertFalse(self.links.exists())


if __name__ == "__main__":
    unittest.main(verbosity=2)
