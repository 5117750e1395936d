# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
"""Builds the library, static and shared, installs each and moves what was installed: to
installed/WHAT-static and installed/WHAT-shared. No file there may say where it was before.

what=library has the platform, what=core has not, and what=core-own-log is given a device's dlog.h.
"""
import pathlib
import shutil
import sys

import tools

# Other people's machines need none of this for the core.
ALONE = ['-D', 'CMAKE_DISABLE_FIND_PACKAGE_PkgConfig=ON', '-D', 'APPLIST_PLATFORM=OFF']


def main():
    words = tools.words()
    what, build = words['what'], pathlib.Path(words['build'])
    source, installed = pathlib.Path(words['source']), pathlib.Path(words['installed'])
    options = [] if what == 'library' else ALONE
    if what == 'core-own-log':
        options = options + ['-D', f'CMAKE_CXX_FLAGS=-I{source}/tests/consumers/own-log']

    first = build / 'installed-first'
    for kind, shared in (('static', 'OFF'), ('shared', 'ON')):
        tools.run(words['cmake'], '-S', source, '-B', build, '-G', 'Ninja',
                  '-D', f'CMAKE_CXX_COMPILER={words["compiler"]}', '-D', 'APPLIST_PROGRAMS=OFF',
                  '-D', f'APPLIST_SHARED={shared}', *options)
        tools.run(words['cmake'], '--build', build)
        shutil.rmtree(first, ignore_errors=True)
        for component in ('runtime', 'development'):
            tools.run(words['cmake'], '--install', build, '--prefix', first,
                      '--component', component)
        own_header = first / 'include' / 'applist-1' / 'dlog.h'
        if own_header.exists() != (what != 'core-own-log'):
            raise AssertionError(f'{own_header} is there, or is not')
        texts = [path for path in first.rglob('*') if path.suffix in ('.cmake', '.pc', '.h')]
        for path in texts:
            if str(build) in (text := path.read_text(encoding='utf-8')) or str(source) in text:
                raise AssertionError(f'{path} says where it was built:\n{text}')
        print(f'{len(texts)} files say nothing of where they were made')
        moved = installed / f'{what}-{kind}'
        shutil.rmtree(moved, ignore_errors=True)
        moved.parent.mkdir(exist_ok=True)
        first.rename(moved)
    return 0 if texts else 1


if __name__ == '__main__':
    sys.exit(main())
