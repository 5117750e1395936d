# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
"""What a page shows holds: pages.py PAGE NAME=PATH... where the names are programs of the build.

Each fenced block says behind its fence how it is looked at:

    LANGUAGE FILE      lines of that file of the tree, one after another
    console            `$ ` and a command, and what it prints; `...` alone is any lines, `...` or an
                       ellipsis in a line is any text, a time is any time
    console meanwhile  one such command that is started before the console block in front of it, and
                       what it has printed by the end of that
    sh                 commands that succeed
    sh build           cmake for this project, to build and install: builds.py runs it
    sh make            make, cmake and ctest for this project: targets, presets and options exist
    sh system          commands for a whole machine: what they name is in packaging/ or debian/
    text               neither command nor code; a second word is for other tests

The blocks of a page run in one scene, in order: scene.py. What a page links to is there.
"""
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
# The pages that may show commands for a whole machine, and how many such blocks.
SYSTEM_PAGES, MOST_SYSTEM_BLOCKS = ('docs/integrator.md', 'SECURITY.md'), 6


class Block:
    """A fenced block: the line of its fence, the words behind that, and the lines inside."""

    def __init__(self, line, info):
        self.line, self.info, self.lines = line, info.split(), []

    @property
    def text(self):
        return ''.join(line + '\n' for line in self.lines)


class Wrong(Exception):
    """What is wrong with a block, or with a line outside of blocks."""

    def __init__(self, line, why):
        super().__init__(why)
        self.line = line


def blocks(page):
    """The blocks of a page. Code that is shown in any other way is wrong."""
    found, inside, before = [], None, ''
    for number, line in enumerate(page.splitlines(), 1):
        if inside is not None:
            if line == '```':
                found.append(inside)
                inside = None
            else:
                inside.lines.append(line)
        elif line.startswith('```'):
            inside = Block(number, line[3:])
        elif re.match(r'\s*(```|~~~)', line):
            raise Wrong(number, 'a fence is three backticks at the start of a line')
        elif re.match(r'(    |\t)', line) and before == '':
            raise Wrong(number, 'an indented block: put it between fences')
        before = line.strip()
    if inside is not None:
        raise Wrong(inside.line, 'the block has no end')
    return found


def commands(block):
    """The commands of a console block, each with the lines that it prints."""
    found, at = [], 0
    while at < len(block.lines):
        line = block.lines[at]
        if line.startswith('$ '):
            command = [line[2:]]
            while command[-1].endswith('\\') and at + 1 < len(block.lines):
                at += 1
                command.append(block.lines[at])
            found.append(('\n'.join(command), []))
        elif not found:
            raise Wrong(block.line, 'a console block begins with "$ " and a command')
        else:
            found[-1][1].append(line)
        at += 1
    return found


def pattern(lines):
    """What the printed lines must match."""
    def any_time(text):
        return re.sub(r'\d\d:\d\d:\d\d\\\.\d+|\d+\\\.\d+(?=\\ ms\b)',
                      lambda time: re.sub(r'\d+', r'\\d+', time[0]), re.escape(text))
    return ''.join(r'(?:.*\n)*?' if line in ('...', '…')
                   else '.*'.join(any_time(piece) for piece in re.split(r'\.\.\.|…', line)) + r'\n'
                   for line in lines)


def compare(block, command, lines, printed):
    if not re.fullmatch(pattern(lines), printed):
        expected = ''.join(line + '\n' for line in lines)
        raise Wrong(block.line, f'$ {command}\nprints\n{printed}rather than\n{expected}')


def check_file(block, root):
    path = (root / block.info[1]).resolve()
    if root not in path.parents or not path.is_file():
        raise Wrong(block.line, f'there is no file {block.info[1]}')
    if '\n' + block.text not in '\n' + path.read_text(encoding='utf-8'):
        raise Wrong(block.line, f'{block.info[1]} does not have these lines')


def check_make(block, root):
    for line in block.text.replace('\\\n', ' ').splitlines():
        words = shlex.split(line, comments=True)
        if words and words[0] == 'make':
            check_targets(block, words[1:], root)
        elif words and words[0] in ('cmake', 'ctest'):
            check_options(block, words, root)
        elif words:
            raise Wrong(block.line, f'neither make, cmake nor ctest: {line}')


def check_targets(block, words, root):
    # As from a shell, also where make itself runs the tests.
    environment = {name: value for name, value in os.environ.items()
                   if name not in ('MAKEFLAGS', 'MFLAGS', 'MAKELEVEL', 'MAKEOVERRIDES')}
    done = subprocess.run(['make', '-C', root, '-n', *words], env=environment, text=True,
                          stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, check=False)
    if done.returncode != 0:
        raise Wrong(block.line, done.stderr)


def check_options(block, words, root):
    if '--target' in words:
        raise Wrong(block.line, 'whether a target exists is not looked at: show a make target')
    line = ' '.join(words[1:])
    kind = ('testPresets' if words[0] == 'ctest' else
            'buildPresets' if '--build' in words else 'configurePresets')
    presets = json.loads((root / 'CMakePresets.json').read_text(encoding='utf-8'))[kind]
    for name in re.findall(r'--preset[ =](\S+)', line):
        if name not in [preset['name'] for preset in presets if not preset.get('hidden')]:
            raise Wrong(block.line, f'there is no preset {name} for {words[0]} here')
    options = (root / 'CMakeLists.txt').read_text(encoding='utf-8')
    for name in re.findall(r'-D ?(\w+)', line):
        if not re.search(rf'\b{name}\b', options) and not name.startswith(('CMAKE_', 'BUILD_')):
            raise Wrong(block.line, f'there is no option {name}')


def check_system(block, root, page):
    if page not in SYSTEM_PAGES:
        raise Wrong(block.line, f'only {" and ".join(SYSTEM_PAGES)} show commands for a machine')
    done = subprocess.run(['sh', '-n'], input=block.text, text=True, stderr=subprocess.PIPE,
                          check=False)
    if done.returncode != 0:
        raise Wrong(block.line, done.stderr)
    known = installed_names(root)
    for name in named(block):
        if not re.search(rf'(?<![\w.-]){re.escape(name)}(?![\w-])', known):
            raise Wrong(block.line, f'nothing in packaging/ or debian/ knows of {name}')


def installed_names(root):
    """The names and the texts of what is installed."""
    files = [path for folder in ('packaging', 'debian') for path in sorted((root / folder).rglob('*'))
             if path.is_file()]
    return '\n'.join(path.name.removesuffix('.in') + '\n' +
                     path.read_text(encoding='utf-8', errors='replace') for path in files)


def named(block):
    """The files below /usr, the units and the packages that the commands name."""
    text = block.text.replace('\\\n', ' ')
    names = [pathlib.PurePath(path).name for path in re.findall(r'/usr/[\w./@+-]+', text)]
    for line in text.splitlines():
        words = [word for word in shlex.split(line, comments=True) if not word.startswith('-')]
        for at, word in enumerate(words):
            if word == 'systemctl':
                names += words[at + 2:]
            elif word in ('apt', 'apt-get') and words[at + 1:at + 2] in (['install'], ['remove'],
                                                                        ['purge']):
                names += [pathlib.PurePath(package).name.split('_')[0]
                          for package in words[at + 2:]]
    return names


def check_words(block, root, page):
    """What can be said of a block without running it. Returns whether it is to be run as well."""
    kind, more = ' '.join(block.info), len(block.info) - 1
    if not block.info:
        raise Wrong(block.line, 'the block does not say how it is looked at')
    if not block.lines:
        raise Wrong(block.line, 'the block is empty')
    if kind in ('sh build', 'sh make'):
        check_make(block, root)
    elif kind == 'sh system':
        check_system(block, root, page)
    elif kind in ('console', 'console meanwhile'):
        if len(commands(block)) != 1 and kind != 'console':
            raise Wrong(block.line, 'one command, and what it prints meanwhile')
    elif block.info[0] not in ('text', 'sh') and more != 1:
        raise Wrong(block.line, f'the file that has these lines is missing: {kind}')
    elif block.info[0] != 'text' and more == 1:
        check_file(block, root)
    elif more > 1:
        raise Wrong(block.line, f'nobody knows how to look at this: {kind}')
    return kind in ('sh', 'console', 'console meanwhile')


def run(found, scene):
    """Runs the blocks that are commands."""
    for at, block in enumerate(found):
        meanwhile = []
        if block.info == ['console']:
            for other in found[at + 1:]:
                if other.info != ['console', 'meanwhile']:
                    break
                (command, lines), = commands(other)
                meanwhile.append((other, command, lines, scene.follow(command)))
            for command, lines in commands(block):
                compare(block, command, lines, scene.run(command)[1])
        elif block.info == ['sh']:
            status, printed = scene.run('set -e\n' + block.text)
            if status != 0:
                raise Wrong(block.line, f'ends with {status}:\n{printed}')
        if meanwhile:
            scene.go_on()
        for other, command, lines, follower in meanwhile:
            compare(other, command, lines, scene.heard_by(follower))


def check_links(text, page, root):
    """Whether what a page refers to is in the tree: files, and headings of pages."""
    inside = False
    for number, line in enumerate(text.splitlines(), 1):
        inside ^= line.startswith('```')
        for target in [] if inside else re.findall(r'\]\(([^)\s]+)\)', line):
            path, _, heading = target.partition('#')
            file = ((root / page).parent / path).resolve() if path else root / page
            if '://' in target:
                continue
            if path and not file.exists():
                raise Wrong(number, f'there is no {target}')
            if heading and heading not in headings(text if not path else
                                                   file.read_text(encoding='utf-8')):
                raise Wrong(number, f'there is no such heading: {target}')


def headings(text):
    """The headings of a page, as links name them."""
    return [re.sub(r'[^\w -]', '', line.lstrip('# ').lower()).replace(' ', '-')
            for line in text.splitlines() if re.match('#+ ', line)]


def check(text, page, root, new_scene):
    """Looks at a page, with a scene from `new_scene` if something has to be run, which is told whether
    it is watched. Returns how many blocks the page has."""
    found = blocks(text)
    check_links(text, page, root)
    machine = [block for block in found if block.info == ['sh', 'system']]
    if len(machine) > MOST_SYSTEM_BLOCKS:
        raise Wrong(machine[-1].line, 'too many blocks for a whole machine, which no test runs')
    # Of commands that run, blocks for another terminal come right behind those of this one.
    runs = [block for block in found if check_words(block, root, page)]
    if runs and runs[0].info == ['console', 'meanwhile']:
        raise Wrong(runs[0].line, 'there is no console block in front of it')
    if runs:
        with new_scene(any('meanwhile' in block.info for block in runs)) as scene:
            run(runs, scene)
    return len(found)


def main():
    from scene import Scene
    page = pathlib.Path(sys.argv[1]).resolve()
    programs = dict(word.split('=', 1) for word in sys.argv[2:])
    name = page.relative_to(ROOT).as_posix()
    try:
        count = check(page.read_text(encoding='utf-8'), name, ROOT,
                      lambda watched: Scene(programs, name, watched))
    except Wrong as wrong:
        print(f'{name}:{wrong.line}: {wrong}')
        return 1
    print(f'{name}: {count} blocks')
    return 0


if __name__ == '__main__':
    sys.exit(main())
