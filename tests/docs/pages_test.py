# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
"""pages.py lets right pages pass, and refuses wrong ones: pages_test.py NAME=PATH..."""
import pathlib
import sys
import tempfile
import unittest

import builds
import pages
from scene import Scene

PROGRAMS = dict(word.split('=', 1) for word in sys.argv[1:])
LIST = '''   IDENTIFIER                NAME
   org.example.Mail.desktop  Mail
   org.example.Web.desktop   Web
   org.example.Maps.desktop  地図
'''


def fenced(info, text):
    return f'A page:\n\n```{info}\n{text}```\n'


class PageTest(unittest.TestCase):
    def check(self, text, page='docs/page.md', root=pages.ROOT):
        return pages.check(text, page, root,
                           lambda watched: Scene(PROGRAMS, page, watched))

    def passes(self, text, count=1, **options):
        self.assertEqual(self.check(text, **options), count)

    def refused(self, text, why, **options):
        """Says why, and at which line."""
        with self.assertRaisesRegex(pages.Wrong, why) as caught:
            self.check(text, **options)
        self.assertTrue(text.splitlines()[caught.exception.line - 1].strip())


class BlockTest(PageTest):
    def test_without_code(self):
        self.passes('Words, and\n- a list\n  of two lines\n', 0)

    def test_plain_text(self):
        self.passes(fenced('text', 'a\n\n    b\n') + fenced('text session', 'c\n'), 2)

    def test_that_does_not_say_how_it_is_looked_at(self):
        self.refused(fenced('', 'a\n'), 'does not say')
        self.refused(fenced('cpp', 'int a;\n'), 'file that has these lines is missing')
        self.refused(fenced('sh later on', 'true\n'), 'nobody knows')
        self.refused(fenced('text a b', 'true\n'), 'nobody knows')

    def test_that_is_indented(self):
        self.refused('So:\n\n    make test\n', 'indented block')
        self.refused('So:\n\n\tmake test\n', 'indented block')
        self.refused('- so:\n\n  ```text\n  a\n  ```\n', 'fence')
        self.refused('~~~\na\n~~~\n', 'fence')

    def test_without_an_end_or_anything_in_it(self):
        self.refused('```text\na\n', 'no end')
        self.refused(fenced('text', ''), 'empty')


class LinkTest(PageTest):
    def test_to_what_is_there(self):
        self.passes('# A page: of `two`\n[a](protocol.md), [b](../README.md#in-your-build), '
                    '[c](#a-page-of-two), [d](https://example.org/x#y)\n', 0)

    def test_to_what_is_not(self):
        self.refused('[a](nowhere.md)\n', 'there is no nowhere.md')
        self.refused('[a](../README.md#nowhere)\n', 'no such heading')
        self.refused('[a](#nowhere)\n', 'no such heading')


class FileTest(PageTest):
    def setUp(self):
        holder = tempfile.TemporaryDirectory(prefix='applist-page-test-')
        self.addCleanup(holder.cleanup)
        self.root = pathlib.Path(holder.name).resolve() / 'tree'
        self.root.mkdir()
        (self.root / 'a.cpp').write_text('int a;\nint b;\nint c;\n', encoding='utf-8')
        (self.root.parent / 'outside.cpp').write_text('int a;\n', encoding='utf-8')

    def test_whole_or_in_part(self):
        for part in ('int a;\nint b;\nint c;\n', 'int b;\n', 'int b;\nint c;\n'):
            self.passes(fenced('cpp a.cpp', part), root=self.root)

    def test_that_differs(self):
        for part in ('int a;\nint c;\n', 'nt b;\n', 'int b\n', 'int b; \n', 'int d;\n'):
            self.refused(fenced('cpp a.cpp', part), 'does not have these', root=self.root)

    def test_that_is_not_there(self):
        for name in ('b.cpp', '.', '../outside.cpp'):
            self.refused(fenced(f'cpp {name}', 'int a;\n'), 'no file', root=self.root)


class MakeTest(PageTest):
    def test_targets(self):
        self.passes(fenced('sh make', 'make test  # all of it\nmake -j2 fuzz FUZZ_SECONDS=1\n'))
        self.refused(fenced('sh make', 'make no-such-target\n'), 'no-such-target')

    def test_presets_and_options(self):
        self.passes(fenced('sh make', 'cmake --preset dev -D APPLIST_SHARED=ON\n'
                                      'cmake --build --preset dev\nctest --preset dev -R unit\n'))
        self.refused(fenced('sh make', 'cmake --preset devel\n'), 'preset devel')
        self.refused(fenced('sh make', 'ctest --preset release\n'), 'preset release for ctest')
        self.refused(fenced('sh make', 'cmake --preset=base\n'), 'preset base')
        self.refused(fenced('sh make', 'cmake -B b -D APPLIST_SHARE=ON\n'), 'option APPLIST_SHARE')
        self.refused(fenced('sh make', 'cmake --build b --target all\n'), 'target')

    def test_nothing_else(self):
        self.refused(fenced('sh make', 'make test\nrm -r build\n'), 'neither make')


class BuildTest(PageTest):
    def build(self, text):
        block, = pages.blocks(fenced('sh build', text))
        return builds.build(block, pages.ROOT)

    def test_of_a_copy(self):
        self.assertEqual(self.build('test -f CMakeLists.txt\ninstall -D README.md $DESTDIR/a/b\n'), 1)

    def test_that_fails_or_installs_nothing(self):
        for text in ('install -D README.md $DESTDIR/a/b\ncmake --install nothing\n', 'true\n'):
            with self.assertRaisesRegex(pages.Wrong, 'ends with'):
                self.build(text)


class SystemTest(PageTest):
    WELL_KNOWN = 'systemctl enable --now applistd\ncat /usr/share/doc/x/launch.conf\n'

    def test_what_is_installed(self):
        self.passes(fenced('sh system', self.WELL_KNOWN), page='SECURITY.md')
        self.passes(fenced('sh system', 'apt install cmake\n'), page='docs/integrator.md')

    def test_what_is_not(self):
        for command, name in (('systemctl start applistx', 'applistx'),
                              ('cat /usr/share/nothing-here.conf', 'nothing-here.conf'),
                              ('sudo apt install no-such-package', 'no-such-package')):
            self.refused(fenced('sh system', command + '\n'), name, page='SECURITY.md')

    def test_what_is_no_command(self):
        self.refused(fenced('sh system', 'if true\n'), 'end of file', page='SECURITY.md')

    def test_on_another_page_or_too_often(self):
        self.refused(fenced('sh system', self.WELL_KNOWN), 'only docs/integrator.md and SECURITY.md')
        self.refused(fenced('sh system', self.WELL_KNOWN) * 7, 'too many', page='SECURITY.md')


class CommandTest(PageTest):
    def test_that_print_what_is_shown(self):
        self.passes(fenced('console', '$ applistctl list\n' + LIST) +
                    fenced('console', '$ applistctl list\n...\n   org.example.Web… Web\n...\n'), 2)

    def test_that_print_something_else(self):
        for shown in (LIST.replace('Mail', 'Post'), LIST + 'more\n', '', LIST.split('\n', 1)[1],
                      '   ID...\n'):
            self.refused(fenced('console', '$ applistctl list\n' + shown), 'rather than')

    def test_times_may_differ_and_nothing_else(self):
        self.passes(fenced('console', '$ echo 07:52:31.2 0.010 ms 5\n23:59:59.999 12.3 ms 5\n'))
        self.refused(fenced('console', '$ echo 07:52:31.2 5\n07:52:31.2 6\n'), 'rather than')

    def test_share_a_shell_and_a_folder(self):
        self.passes(fenced('sh', 'mkdir a\ncd a\nhere=$(pwd)\n(sleep 1000) &\n') +
                    fenced('console', '$ cd ..\n$ ls\na\n$ echo $here\n.../a\n$ false\n'
                                      '$ echo $?\n1\n$ echo \\\none\none\n'), 2)

    def test_that_fail(self):
        self.refused(fenced('sh', 'applistctl select nothing\ntrue\n'), 'ends with 3')
        self.refused(fenced('sh', 'exit 7\n'), 'ends with 7')
        self.refused(fenced('sh', 'echo "\n'), 'ends with')

    def test_that_are_none(self):
        self.refused(fenced('console', 'applistctl list\n'), 'begins with')

    def test_that_watch_meanwhile(self):
        acts = fenced('console', '$ applistctl select org.example.Web.desktop\n')
        shown = '$ applistctl watch\n07:52:31.208  selected  ...Web.desktop\n'
        self.passes(acts + fenced('console meanwhile', shown), 2)
        for other in (shown.replace('Web', 'Mail'), shown + '07:52:31.208  clicked  x\n',
                      '$ applistctl watch\n'):
            self.refused(acts + fenced('console meanwhile', other), 'rather than')
        self.refused(fenced('console meanwhile', shown), 'no console block')


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1], verbosity=2)
