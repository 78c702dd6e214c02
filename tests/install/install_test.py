# Tests of the installed project, as a user finds it: files, exported names, header, and programs built against it.
# Not tests of what the library does; those are beside this folder.
# The protocol between the library and the Gateway is written down in docs/protocol.md.
import os
import pathlib
import re
import shutil
import unittest

import commands
from commands import emptied, files_below, needed_libraries, run

SOURCE = pathlib.Path(os.environ["ZOLSTATS_SOURCE"])
BUILD = pathlib.Path(os.environ["ZOLSTATS_BUILD"])
SCRATCH = pathlib.Path(os.environ["ZOLSTATS_SCRATCH"])
LIBDIR = os.environ["ZOLSTATS_LIBDIR"]
CMAKE = os.environ["CMAKE"]

PREFIX = SCRATCH / "prefix"
SHARED = PREFIX / LIBDIR / "libzolstats.so"
EXAMPLE = SOURCE / "examples" / "read_statistics.c"

MODULES = "diag gwycon gwytok impl lock resultsetbuffer socketcomms statcomms statquery".split()


def running_gateway():
    return commands.running_gateway(PREFIX / "bin" / "zol-gateway-sim")


def fresh_folder(name):
    return emptied(SCRATCH / name)


class Installation(unittest.TestCase):
    def test_installs_into_a_prefix_given_late(self):
        shutil.rmtree(PREFIX, ignore_errors=True)
        run(CMAKE, "--install", BUILD, "--prefix", PREFIX)


class InstalledFiles(unittest.TestCase):
    def test_everything_that_users_need_is_there(self):
        for name in [
            "include/zolstats/zolstats.h",
            "include/zolstats/zolstats.hpp",
            f"{LIBDIR}/libzolstats.so",
            f"{LIBDIR}/libzolstats.so.1",
            f"{LIBDIR}/libzolstats.a",
            f"{LIBDIR}/pkgconfig/zolstats.pc",
            f"{LIBDIR}/cmake/zolstats/zolstatsConfig.cmake",
            f"{LIBDIR}/cmake/zolstats/zolstatsConfigVersion.cmake",
            "share/man/man3/zolstats.3",
            "share/man/man3/getStats.3",
            "share/man/man1/zolstat.1",
            "share/man/man1/zol-gateway-sim.1",
            "bin/zolstat",
            "share/zolstats/zolstat-output.schema.json",
            "bin/zol-gateway-sim",
            "share/bash-completion/completions/zolstat",
            "share/zsh/vendor-completions/_zolstat",
            "share/man/man8/zolstats-exporter.8",
            "bin/zolstats-exporter",
            "etc/default/zolstats-exporter",
            "lib/systemd/system/zolstats-exporter.service",
        ]:
            with self.subTest(name):
                self.assertTrue((PREFIX / name).is_file())

    def test_every_file_belongs_to_one_component(self):
        parts = []
        for component in ["runtime", "development", "tools", "exporter"]:
            folder = fresh_folder(component)
            run(CMAKE, "--install", BUILD, "--prefix", folder, "--component", component)
            parts += files_below(folder)
        self.assertEqual(sorted(parts), sorted(files_below(PREFIX)))

    def test_the_package_files_can_be_moved_with_their_prefix(self):
        packages = [*PREFIX.glob("**/*.cmake"), *PREFIX.glob("**/*.pc")]
        self.assertGreaterEqual(len(packages), 4)
        for file in packages:
            with self.subTest(file):
                text = file.read_text()
                self.assertNotIn(str(BUILD), text)
                self.assertNotIn(str(SOURCE), text)

    def test_the_installed_tool_reads_the_installed_gateway(self):
        with running_gateway() as port:
            self.assertIn("CPU", run(PREFIX / "bin" / "zolstat", "--port", port, "groups").split())

    def test_the_installed_tool_finds_the_installed_library(self):
        self.assertIn(str(PREFIX / LIBDIR / "libzolstats.so.1"),
                      run("ldd", PREFIX / "bin" / "zolstat").replace("bin/../", ""))


def version_nodes():
    """The names of each node of the version script, its one pattern filled in."""
    script = re.sub(r"#.*", "", (SOURCE / "cmake" / "zolstats.map").read_text())
    nodes = {}
    for node, names in re.findall(r"(\w[\w.]*) \{\s*global:([^}]*?)(?:local:[^}]*)?\};", script):
        nodes[node] = set()
        for name in names.replace(";", " ").split():
            nodes[node] |= {name.replace("*", module) for module in MODULES}
    return nodes


def exported_names():
    nodes = {}
    for name, node in re.findall(r" (\w+)@@(\S+)$", run("nm", "-D", "--defined-only", SHARED), re.MULTILINE):
        nodes.setdefault(node, set()).add(name)
    return nodes


class SharedLibrary(unittest.TestCase):
    maxDiff = None

    def test_its_soname_carries_the_major_version(self):
        self.assertRegex(run("readelf", "-d", SHARED), r"\(SONAME\).*\[libzolstats\.so\.1\]")

    def test_it_exports_the_names_of_the_version_script_and_no_others(self):
        expected = version_nodes()
        self.assertEqual(set(expected), {"ZOLSTATS_1.1", "ZOLSTATS_PRIVATE"})
        exported = exported_names()
        for node, names in expected.items():
            self.assertEqual(exported[node] - {node}, names)
        self.assertEqual(set(exported), set(expected))

    def test_every_call_of_the_header_is_exported_for_applications(self):
        header = (SOURCE / "include" / "zolstats" / "zolstats.h").read_text()
        declared = set(re.findall(r"^int (\w+)\(", header, re.MULTILINE))
        self.assertEqual(exported_names()["ZOLSTATS_1.1"] - {"ZOLSTATS_1.1"}, declared)

    def test_it_needs_the_c_library_only(self):
        self.assertEqual(needed_libraries(SHARED), {"libc.so.6"})

    def test_it_cannot_end_the_process(self):
        imported = set(re.findall(r" U (\w+)", run("nm", "-D", "--undefined-only", SHARED)))
        self.assertIn("malloc", imported)
        self.assertEqual(imported & {"exit", "_exit", "_Exit", "quick_exit", "abort", "__assert_fail", "raise", "kill"},
                         set())


def check_syntax(header, compiler, *flags):
    run(*compiler, "-pedantic-errors", "-Wall", "-Wextra", "-Wshadow", *flags, "-Werror", "-fsyntax-only", "-I",
        PREFIX / "include", "-", input=f'#include "zolstats/{header}"\n')


class Header(unittest.TestCase):
    def test_it_compiles_alone_as_c99_and_cxx_with_both_compilers(self):
        for compiler in [["gcc", "-xc", "-std=c99"], ["clang", "-xc", "-std=c99"],
                         ["g++", "-xc++", "-std=c++11"], ["clang++", "-xc++", "-std=c++11"],
                         ["g++", "-xc++", "-std=c++20"], ["clang++", "-xc++", "-std=c++20"]]:
            with self.subTest(compiler):
                check_syntax("zolstats.h", compiler)

    def test_that_of_the_cxx_face_compiles_alone_as_cxx20_and_later_with_both_compilers(self):
        for compiler in ["g++", "clang++"]:
            for flags in [["-std=c++20"], ["-std=gnu++20"], ["-std=c++2b"], ["-std=c++20", "-fno-rtti"],
                          ["-std=c++20", "-fvisibility=hidden"]]:
                with self.subTest(compiler=compiler, flags=flags):
                    check_syntax("zolstats.hpp", [compiler, "-xc++"], "-Wconversion", "-Wsign-conversion", *flags)


class Consumers(unittest.TestCase):
    def pkg_config(self, *words):
        places = {**os.environ, "PKG_CONFIG_LIBDIR": str(PREFIX / LIBDIR / "pkgconfig")}
        return run("pkg-config", *words, "zolstats", env=places).split()

    def compile_c(self, program, *libraries):
        run("cc", "-std=c99", "-pedantic", "-Wall", "-Werror", *self.pkg_config("--cflags"), EXAMPLE, "-o", program,
            *libraries)
        return program

    def build_project(self, source, folder, *definitions):
        run(CMAKE, "-S", source, "-B", folder, "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={PREFIX}", *definitions)
        run(CMAKE, "--build", folder, "-j2")
        return folder

    def check_reads_statistics(self, program):
        with running_gateway() as port:
            self.assertRegex(run(program, port), r"(?m)^CPU_\w+ = \S+$")

    def test_a_c_program_links_with_the_shared_library_through_pkg_config(self):
        libraries = [*self.pkg_config("--libs"), f"-Wl,-rpath,{PREFIX / LIBDIR}"]
        program = self.compile_c(fresh_folder("pkg_config_shared") / "program", *libraries)
        self.assertEqual(needed_libraries(program), {"libc.so.6", "libzolstats.so.1"})
        self.check_reads_statistics(program)

    def test_a_c_program_links_with_the_static_library_and_needs_no_cxx_runtime(self):
        [libdir] = self.pkg_config("--variable=libdir")
        program = self.compile_c(fresh_folder("pkg_config_static") / "program", f"{libdir}/libzolstats.a")
        self.assertEqual(needed_libraries(program), {"libc.so.6"})
        self.check_reads_statistics(program)

    def test_the_static_libraries_of_pkg_config_are_complete(self):
        libraries = ["-Wl,-Bstatic", *self.pkg_config("--static", "--libs"), "-Wl,-Bdynamic"]
        program = self.compile_c(fresh_folder("pkg_config_both") / "program", *libraries)
        self.assertEqual(needed_libraries(program), {"libc.so.6"})

    def test_the_examples_build_alone_with_find_package(self):
        folder = self.build_project(SOURCE / "examples", fresh_folder("examples"))
        self.check_reads_statistics(folder / "read_statistics")
        with running_gateway() as port:
            self.assertRegex(run(folder / "read_statistics_cpp", port), r"(?m)^CPU_\w+ = \S+$")
            self.assertRegex(run(folder / "copy_across_threads", port), r"(?m)^CPU_\w+$")

    def test_a_c_only_project_can_use_both_libraries_with_find_package(self):
        folder = self.build_project(SOURCE / "tests" / "install" / "c_only", fresh_folder("c_only"),
                                    f"-DEXAMPLE={EXAMPLE}")
        for program, libraries in [("with_shared", {"libc.so.6", "libzolstats.so.1"}), ("with_static", {"libc.so.6"})]:
            with self.subTest(program):
                self.assertEqual(needed_libraries(folder / program), libraries)
                self.check_reads_statistics(folder / program)


if __name__ == "__main__":
    unittest.main(verbosity=2)
