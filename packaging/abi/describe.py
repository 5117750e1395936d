#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
"""describe.py LIBRARY HEADERS: prints the ABI of a shared library, as abidiff reads it.

That is what abidw says of it, cut down to what a program can rely on: the exported symbols, and the
types of the installed headers below the folder HEADERS with their layout, virtual functions and
enumerators. Of any other type, and of private ones, only the name and the size is left. So the
standard library takes no part, and no line tells where or from which sources it was built.
"""
import pathlib
import subprocess
import sys
import xml.etree.ElementTree as xml

ABIDW = ['abidw', '--load-all-types', '--short-locs', '--no-comp-dir-path', '--no-corpus-path',
         '--no-elf-needed', '--no-parameter-names', '--type-id-style', 'hash']
NAMED = ('class-decl', 'union-decl', 'enum-decl', 'typedef-decl')
PLACE = ('filepath', 'line', 'column')


class Description:
    """What abidw says, and what is taken over from it."""

    def __init__(self, library, headers):
        told = subprocess.run([*ABIDW, library], check=True, stdout=subprocess.PIPE).stdout
        self.told = xml.fromstring(told)
        self.headers = {path.name for path in pathlib.Path(headers).rglob('*.h')}
        self.types = {}  # what is said of each type, which may be in several places, by its id
        self.public = set()
        self.functions = {}
        self.collect(self.told, '', False)

    def collect(self, parent, scope, private):
        for element in parent:
            inner = scope
            hidden = private or (
                element.tag == 'member-type' and element.get('access') == 'private')
            if element.tag == 'function-decl' and parent.tag != 'member-function':
                if 'elf-symbol-id' in element.attrib:
                    self.functions[element.get('elf-symbol-id')] = element
            if element.tag in NAMED or element.tag == 'namespace-decl':
                inner = f'{scope}{element.get("name")}::'
            if 'id' in element.attrib:
                if element.tag in NAMED:
                    if element.get('filepath') in self.headers and not hidden:
                        self.public.add(element.get('id'))
                    element.set('name', inner[:-2])
                self.types.setdefault(element.get('id'), []).append(element)
            self.collect(element, inner, hidden)

    def description(self):
        result = xml.Element(self.told.tag, self.told.attrib)
        result.extend(element for element in self.told if element.tag.endswith('-symbols'))
        unit = xml.SubElement(
            result, 'abi-instr', {'address-size': '64', 'language': 'LANG_C_plus_plus'})
        functions = [self.functions[symbol] for symbol in sorted(self.functions)]
        types = {name: self.reduced(name) for name in self.public}
        roots = functions + [one for one in types.values() if exported_members(one)]
        reached = self.reach(types, roots)
        self.reach(types, list(types.values()))
        # Those that no exported function leads to are compared only when they are said to be such.
        for name, one in types.items():
            one.attrib.pop('is-non-reachable', None)
            if name in self.public - reached:
                one.set('is-non-reachable', 'yes')
        unit.extend(sorted(types.values(), key=lambda one: (
            one.tag, one.get('name', ''), one.get('id'))))
        unit.extend(functions)
        for element in result.iter():
            for word in PLACE:
                element.attrib.pop(word, None)
        xml.indent(result)
        return xml.tostring(result, encoding='unicode')

    def reach(self, types, roots):
        """Adds to `types` what the roots mention and that in turn, and returns the ids of that."""
        reached = {root.get('id') for root in roots}
        waiting = [name for root in roots for name in needed(root)]
        while waiting:
            name = waiting.pop()
            if name not in reached:
                reached.add(name)
                if name not in types:
                    types[name] = self.reduced(name)
                waiting += needed(types[name])
        return reached

    def reduced(self, name):
        """The type of this id: whole, or only its name and size."""
        said = self.types[name]
        whole = next((one for one in said if 'is-declaration-only' not in one.attrib), said[0])
        if whole.tag not in ('class-decl', 'union-decl', 'enum-decl'):
            return whole
        result = xml.Element(whole.tag, whole.attrib)
        result.attrib.pop('naming-typedef-id', None)
        if name not in self.public:
            result.extend(whole.findall('underlying-type'))
            return result
        functions = {}
        for part in (part for one in said for part in one.findall('member-function')):
            function = part.find('function-decl')
            exported = 'elf-symbol-id' in function.attrib
            if exported or ('vtable-offset' in part.attrib
                            and function.get('mangled-name') not in functions):
                functions[function.get('mangled-name')] = part
        result.extend(part for part in whole
                      if part.tag in ('base-class', 'data-member', 'underlying-type', 'enumerator'))
        result.extend(functions[symbol] for symbol in sorted(functions))
        return result


def exported_members(class_decl):
    return any('elf-symbol-id' in function.attrib for function in class_decl.iter('function-decl'))


def needed(element):
    """The ids of the types that something mentions."""
    return [part.get('type-id') for part in element.iter() if 'type-id' in part.attrib]


if __name__ == '__main__':
    print(Description(*sys.argv[1:]).description())
