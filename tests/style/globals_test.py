#!/usr/bin/python3
"""Holds the programs of the project to the variables that are named here: what a process has once
stands in one place, where it can be seen what becomes of it at exit.

Usage: globals_test.py DAEMON TOOL...
"""

import re
import subprocess
import sys
import unittest

DAEMON, *TOOLS = sys.argv[1:]
sys.argv[1:] = []

HOST = {"host::g_Host", "host::t_Host"}

# The daemon's own, made by those who first ask for them.
SINGLETONS = {
    "CGameBarService::m_pGameBarService",
    "CGameModeDataManager::m_pGameModeDataManager",
    "CProtectionModeService::m_pProtectionModeService",
    "CSourceDataManager::m_pSourceDataManager",
    "GameBarVAPManager::m_pVAPDataMamager",
}

# A handle that has no destructor.
LOCALE = "base::DisplayWidth(std::basic_string_view<char, std::char_traits<char> >)::utf8"

# What the compiler, the C library and libraries that consist of headers bring along.
FOREIGN = re.compile(r"DW\.ref\.|_|std::|CLI::|fmt::|guard variable for |completed\.0|data_start|.*@")


def variables(symbols):
    """The names of the project's variables among the symbols that objdump prints: what lies in a
    section that a program may write to when it runs."""
    found = set()
    for line in symbols.splitlines():
        symbol = re.match(r"[0-9a-f]+ .{7} \.t?(?:bss|data)\t[0-9a-f]+ +(?:\.hidden )?(.+)", line)
        if symbol and not FOREIGN.match(symbol[1]):
            found.add(symbol[1])
    return found


def variables_of(program):
    done = subprocess.run(
        ["objdump", "-t", "-C", program], capture_output=True, text=True, check=True
    )
    return variables(done.stdout)


class Globals(unittest.TestCase):
    def test_the_daemon_has_the_host_and_its_singletons(self):
        self.assertEqual(variables_of(DAEMON), HOST | SINGLETONS)

    def test_a_tool_has_no_more_than_the_host(self):
        for tool in TOOLS:
            with self.subTest(tool=tool):
                self.assertLessEqual(variables_of(tool), HOST | {LOCALE})

    def test_every_kind_of_variable_is_found(self):
        kinds = {
            "0000000000000000 l       .tbss\t0000000000000004              a::(anonymous "
            "namespace)::t_A": "a::(anonymous namespace)::t_A",
            "00000000000f8080 u     O .bss\t0000000000000400              g_Inline": "g_Inline",
            "00000000000ee810 l     O .bss\t0000000000000018              a::F()::b": "a::F()::b",
            "00000000000ee810 g     O .data\t0000000000000018              .hidden A::s": "A::s",
            "0000000000077700 g     O .bss\t0000000000000008              stdout@GLIBC_2.2.5": None,
            "00000000000ed000 l     O .data.rel.ro\t0000000000000008              kTable": None,
            "00000000000ed000 l     O .rodata\t0000000000000008              kNumber": None,
            "00000000000ee810 l     O .bss\t0000000000000001              std::__ioinit": None,
        }
        for line, name in kinds.items():
            with self.subTest(line=line):
                self.assertEqual(variables(line), {name} if name else set())


if __name__ == "__main__":
    unittest.main()
