# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
"""The reference is made without a warning, and has every header that is installed and every type in
it: reference_test.py DOXYGEN CMAKE BUILD."""
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
DOXYGEN, CMAKE, BUILD = sys.argv[1:]


class ReferenceTest(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory(prefix='applist-reference-')
        self.addCleanup(holder.cleanup)
        self.folder = pathlib.Path(holder.name).resolve()

    def doxygen(self, *settings):
        """Its exit status and what it says, with the project's settings and these."""
        text = (ROOT / 'docs' / 'Doxyfile').read_text(encoding='utf-8')
        text += '\n'.join((f'OUTPUT_DIRECTORY = {self.folder}', 'GENERATE_HTML = NO',
                           'GENERATE_XML = YES', *settings))
        done = subprocess.run([DOXYGEN, '-'], input=text, text=True, cwd=ROOT, check=False,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        return done.returncode, done.stdout

    def test_has_every_installed_header_and_type(self):
        self.assertEqual(self.doxygen(), (0, ''))
        index = ElementTree.parse(self.folder / 'xml' / 'index.xml').getroot()
        told = {kind: set() for kind in ('file', 'class', 'struct', 'enum')}
        for element in index.iter():
            if element.get('kind') in told:
                told[element.get('kind')].add(element.find('name').text.split('::')[-1])

        subprocess.run([CMAKE, '--install', BUILD, '--prefix', self.folder / 'installed',
                        '--component', 'development'], check=True, stdout=subprocess.DEVNULL)
        headers = sorted((self.folder / 'installed').rglob('*.h'))
        self.assertGreater(len(headers), 10)
        self.assertEqual(told['file'], {header.name for header in headers})
        types = [found for header in headers for found in
                 re.findall(r'^(class|struct|enum) (?:[A-Z]+_\w+ )?(\w+)[^;]*?\{',
                            header.read_text(encoding='utf-8'), re.MULTILINE)]
        self.assertGreater(len(types), len(headers))
        for kind, name in types:
            self.assertIn(name, told[kind])

    def test_what_says_nothing_is_refused(self):
        header = self.folder / 'Header.h'
        head = '// SPDX-FileCopyrightText: a\n// SPDX-License-Identifier: b\n//\n// A file.\n\n'
        for text, says in (('struct Silent {\n  int a;\n};\n', 'Silent is not documented'),
                           ('// Adds.\n//\n// @param c one\nint Add(int a);\n', "'c'"),
                           ('// A.\nstruct A {\n  int b;\n};\n', 'Member b'),
                           ('// An A.\nstruct A {};\n', '')):
            header.write_text(head + text, encoding='utf-8')
            status, said = self.doxygen(f'INPUT = {header}')
            self.assertIn(says, said)
            self.assertEqual(status != 0, says != '', said)


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1], verbosity=2)
