#!/usr/bin/env python3
"""Prints the id of every test case of the test_*.py modules in this folder,
one a line (module.Class.test_name), for CMake to register each with CTest.

Runs at configure time, so a test case added to a module is registered by the
next configure (CMake re-runs when a test_*.py changes), with no list to keep."""

import os
import sys
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))


def case_ids(suite):
    for item in suite:
        if isinstance(item, unittest.TestSuite):
            yield from case_ids(item)
        else:
            yield item.id()


def main():
    sys.dont_write_bytecode = True
    suite = unittest.TestLoader().discover(HERE, pattern="test_*.py", top_level_dir=HERE)
    ids = sorted(case_ids(suite))
    # A module that fails to import turns into a case of unittest's own; registering
    # that would hide the error behind a passing configure.
    broken = [i for i in ids if i.startswith("unittest.loader.")]
    if broken:
        sys.stderr.write("list_test_cases.py: cannot load: %s\n" % ", ".join(broken))
        return 1
    for case_id in ids:
        print(case_id)
    return 0


if __name__ == "__main__":
    sys.exit(main())
