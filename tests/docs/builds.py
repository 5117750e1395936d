# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
"""What pages tell to build and install builds and installs: builds.py PAGE...

Each block `sh build` runs in a copy of the tree, and installs below a folder.
"""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

import pages


def build(block, root):
    """Returns how many files it has installed."""
    with tempfile.TemporaryDirectory(prefix='applist-build-') as name:
        folder = pathlib.Path(name)
        tree = folder / 'tree'
        shutil.copytree(root, tree, symlinks=True, ignore=lambda path, _: (
            ['build', '.git'] if pathlib.Path(path) == root else []))
        environment = dict(os.environ, DESTDIR=str(folder / 'installed'))
        environment.setdefault('CMAKE_BUILD_PARALLEL_LEVEL', '2')
        done = subprocess.run(['sh', '-e'], input=block.text, cwd=tree, env=environment, text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
        installed = [path for path in (folder / 'installed').rglob('*') if path.is_file()]
        if done.returncode != 0 or not installed:
            raise pages.Wrong(block.line, f'ends with {done.returncode}, and has installed '
                                          f'{len(installed)} files:\n{done.stdout}')
        return len(installed)


def main():
    found = failed = 0
    for page in map(pathlib.Path, sys.argv[1:]):
        for block in pages.blocks(page.read_text(encoding='utf-8')):
            if block.info == ['sh', 'build']:
                found += 1
                try:
                    print(f'{page.name}:{block.line}: {build(block, pages.ROOT)} files installed')
                except pages.Wrong as wrong:
                    print(f'{page.name}:{wrong.line}: {wrong}')
                    failed += 1
    return int(failed > 0 or found == 0)


if __name__ == '__main__':
    sys.exit(main())
