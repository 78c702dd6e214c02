#!/usr/bin/env python3
"""A process may unload the library again, and nothing of it is left there.

A program that is linked with the library keeps it to its end, so this one loads it by its path.
What the library promises stands in zolstats.h under Conventions.
"""

import ctypes
import os
import sys
import unittest
from _ctypes import dlclose
from pathlib import Path

LIBRARY = str(Path(sys.argv[1]).resolve())


def is_loaded():
    return LIBRARY in Path("/proc/self/maps").read_text(encoding="utf-8")


def use_and_unload():
    library = ctypes.CDLL(LIBRARY)
    level = ctypes.c_int(-1)
    assert library.getAPITraceLevel(ctypes.byref(level)) == 0 and level.value == 0
    assert is_loaded()
    dlclose(library._handle)


class UnloadedLibrary(unittest.TestCase):
    def setUp(self):
        use_and_unload()

    def test_is_gone(self):
        self.assertFalse(is_loaded())

    def test_is_not_called_when_the_process_forks(self):
        child = os.fork()
        if child == 0:
            os._exit(7)
        self.assertEqual(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]), 7)

    def test_may_be_loaded_again(self):
        use_and_unload()
        self.assertFalse(is_loaded())


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
