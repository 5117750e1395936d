# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
"""tests_exist.py PAGE BUILD: each test that the page names is one that ctest has in BUILD.

A test name is what stands between backticks and begins with a label of the tests and a dot.
"""
import json
import pathlib
import re
import subprocess
import sys


def main():
    page, build = pathlib.Path(sys.argv[1]), sys.argv[2]
    named = set(re.findall(r'`((?:unit|bus|broker|fault|fault-bus|fault-broker|fuzz|docs)\.[^`]+)`',
                           page.read_text(encoding='utf-8')))
    named -= {name for name in named if name.endswith('.')}
    listed = json.loads(subprocess.run(
        ['ctest', '--test-dir', build, '--show-only=json-v1'], check=True,
        stdout=subprocess.PIPE).stdout)
    # Behind the name of a test with a parameter comes what the parameter is.
    tests = {test['name'].split('  # ')[0] for test in listed['tests']}
    missing = sorted(named - tests)
    for name in missing:
        print(f'{page.name} names a test that does not exist: {name}')
    print(f'{len(named)} tests are named')
    return 1 if missing or not named else 0


if __name__ == '__main__':
    sys.exit(main())
