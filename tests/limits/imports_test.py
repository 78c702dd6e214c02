#!/usr/bin/env python3
"""The library imports nothing that would end or change the process it is loaded into.

Looks at the names that the shared library takes from elsewhere, not at what it does with them.
What the library promises stands in zolstats.h under Conventions.
"""

import subprocess
import sys
import unittest

NM, LIBRARY = sys.argv[1:3]

# What each of these would do to its process.
UNWANTED = {
    "end it": "exit _exit _Exit quick_exit abort __assert_fail __assert_perror_fail err errx verr verrx error",
    "send it a signal": "raise kill killpg tgkill tkill sigqueue pthread_kill alarm ualarm setitimer timer_create",
    "change what it does with signals": "signal bsd_signal sysv_signal __sysv_signal ssignal sigset sigignore "
    "sigaction siginterrupt sigvec sigprocmask pthread_sigmask sighold sigrelse sigblock sigsetmask sigaltstack",
    "change its locale": "setlocale uselocale",
    "change its folder or its rights": "chdir fchdir chroot umask setuid seteuid setgid setegid setrlimit prctl "
    "setpriority nice",
    "change its environment": "putenv setenv unsetenv clearenv environ __environ",
    "be told by its environment what to do": "getenv secure_getenv __secure_getenv",
    "write to its standard output": "printf __printf_chk vprintf __vprintf_chk puts putchar putchar_unlocked stdout "
    "_ZSt4cout",
    "start threads or processes": "pthread_create thrd_create fork vfork clone posix_spawn posix_spawnp system popen "
    "execve execv execvp execl execlp",
    "run in it when it ends": "atexit on_exit at_quick_exit __cxa_at_quick_exit",
    "wait with sets that overflow": "select pselect __fdelt_chk",
}


def imports():
    table = subprocess.run([NM, "-D", "--undefined-only", LIBRARY], check=True, capture_output=True, text=True).stdout
    return {line.split()[-1].split("@")[0] for line in table.splitlines() if line.split()}


class Imports(unittest.TestCase):
    def test_are_those_of_a_library_that_talks_over_sockets(self):
        self.assertLessEqual({"send", "recv", "malloc", "pthread_mutex_lock"}, imports())

    def test_hold_nothing_that_ends_or_changes_the_process(self):
        for effect, names in UNWANTED.items():
            with self.subTest(would=effect):
                self.assertEqual(set(), imports() & set(names.split()))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
