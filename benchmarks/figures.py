#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
"""Makes a page of what run.py has measured, and prints how it compares with the aims.

    figures.py PAGE RESULT_FILE...

The plots, and the tables that are not about ratios, are of the last result.
"""

import json
import os
import statistics
import subprocess
import sys

RAW = 'sd-bus'
DAEMON, BROKER = 'dbus-daemon', 'dbus-broker'
# What a raw call took, in microseconds, on the machine that the aim for the model's own time is for.
REFERENCE_CALL = 58

CASES = {
    'call': 'a call of 40 bytes, answered at once',
    'select': 'select',
    'click': 'click',
    'append': 'append one',
    'event': 'event to listener',
    'push 100': '100 items pushed',
    'push 1000': '1000 items pushed',
    'push 10000': '10 000 items pushed',
    'start': 'start to first call',
}
GROWTH = {
    'select by items': ('select', 'items in the list'),
    'event by items': ('event to listener', 'items in the list'),
    'call by payload': ('call', 'bytes of payload'),
    'by listeners': ('event to listener', 'listeners'),
    'by threads': ('click, each', 'threads that send'),
}


class Result:
    def __init__(self, file):
        with open(file, encoding='utf-8') as text:
            self.data = json.load(text)

    def times(self, case, name):
        return self.data['times'].get(case, {}).get(name)

    def median(self, case, name):
        return statistics.median(self.times(case, name))

    def ratio(self, case, name, to, to_case=None):
        return self.median(case, name) / self.median(to_case or case, to)

    def core(self, name, sizes=('100', '1000', '10000')):
        """The ratios of one of the core's operations to its floor."""
        micro = self.data['micro']
        return [time / micro[f'floor of {name}/{size}/{length}']
                for size in sizes for length in ('12', '35')
                for time in [micro[f'{name}/{size}/{length}']]]

    def select_in_core(self):
        """Microseconds of the model's own time in a select, where a raw call takes what it took on
        the reference machine."""
        own = max(time for name, time in self.data['micro'].items()
                  if name.startswith('SetSelection/'))
        return own / self.median('call', on(RAW, DAEMON)) * REFERENCE_CALL

    def private_memory(self, bus):
        memory = self.data['memory']
        return memory[on('AppList, line', bus)][1] - memory[on(RAW, bus)][1]


def on(name, bus):
    return f'{name} ({bus})'


# What is measured, the aim (at most), how to get it, and how to show it.
def aims():
    for bus, aim in (DAEMON, 1.06), (BROKER, 1.08):
        yield (f'select over the bus / the same in raw sd-bus, {bus}', aim,
               lambda r, bus=bus: r.ratio('select', on('AppList, bus', bus), on(RAW, bus)))
        yield (f'the same with a remote side that only answers / raw sd-bus call, {bus}', aim,
               lambda r, bus=bus: r.ratio('call', on('AppList answered, bus', bus), on(RAW, bus)))
    yield ('select over the direct line / the same in raw sd-bus over dbus-daemon', 0.33,
           lambda r: r.ratio('select', on('AppList, line', DAEMON), on(RAW, DAEMON)))
    yield ('the same with a remote side that only answers / raw sd-bus call over dbus-daemon', 0.33,
           lambda r: r.ratio('call', on('AppList answered, line', DAEMON), on(RAW, DAEMON)))
    yield ('select over the direct line / Qt Remote Objects select and back', 0.40,
           lambda r: r.ratio('select', on('AppList, line', DAEMON), 'Qt Remote Objects'))
    yield ('selection event to listener, direct line / raw sd-bus event and query, dbus-daemon',
           0.40, lambda r: r.ratio('event', on('AppList, line', DAEMON), on(RAW, DAEMON)))
    yield ('1000 items pushed and held by the remote side / Qt Remote Objects replica filled', 0.25,
           lambda r: r.ratio('push 1000', on('AppList, line', DAEMON), 'Qt Remote Objects'))
    yield ('10 000 items / 1000 items, same push', 11,
           lambda r: r.ratio('push 10000', on('AppList, line', DAEMON),
                             on('AppList, line', DAEMON), 'push 1000'))
    yield (f"model's own time in one select, in us where a raw call takes {REFERENCE_CALL} us", 1.5,
           Result.select_in_core)
    yield ('identity search / bare std::find_if with the same calls', 1.05,
           lambda r: statistics.median(r.core('identity search')))
    for bus in DAEMON, BROKER:
        yield (f'start to first completed call / raw sd-bus client, {bus}', 1.4,
               lambda r, bus=bus: r.ratio('start', on('AppList, line', bus), on(RAW, bus)))
    for bus in DAEMON, BROKER:
        yield (f'private memory above a raw sd-bus client, in KiB, {bus}', 150,
               lambda r, bus=bus: r.private_memory(bus))
    for who in 'user interface', 'applistd':
        yield (f'wake-ups of an idle {who}', 0,
               lambda r, who=who: max(waking[who] for waking in r.data['idle'].values()))


# Without an aim: what says where the rest goes.
def floors():
    yield ('a raw sd-bus call on a socket without a bus / over dbus-daemon',
           lambda r: r.ratio('call', 'sd-bus, no bus', on(RAW, DAEMON)))
    yield ('a raw sd-bus select on a socket without a bus / over dbus-daemon',
           lambda r: r.ratio('select', 'sd-bus, no bus', on(RAW, DAEMON)))
    yield ('a raw sd-bus event and query on a socket without a bus / over dbus-daemon',
           lambda r: r.ratio('event', 'sd-bus, no bus', on(RAW, DAEMON)))
    yield ('10 000 items / 1000 items, raw sd-bus on a socket without a bus',
           lambda r: r.ratio('push 10000', 'sd-bus, no bus', 'sd-bus, no bus', 'push 1000'))
    yield ('the same search in the model (RemoveItem of another) / bare std::find_if',
           lambda r: statistics.median(r.core('RemoveItem of another')))


def figure(value):
    """Three digits, and an integer as it is."""
    if value is None:
        return 'not measured'
    if isinstance(value, int) or abs(value) >= 100:
        return f'{value:.0f}'
    return f'{value:.2f}' if abs(value) < 10 else f'{value:.1f}'


def measure(get, results):
    values = []
    for result in results:
        try:
            values.append(get(result))
        except (KeyError, TypeError):  # the run has left it out
            values.append(None)
    return values


def verdict(values, aim):
    known = [value for value in values if value is not None]
    return '' if not known else 'met' if max(known) <= aim else 'missed'


def table(head, rows):
    lines = ['| ' + ' | '.join(head) + ' |', '|---' * len(head) + '|']
    return '\n'.join(lines + ['| ' + ' | '.join(row) + ' |' for row in rows]) + '\n'


def aims_table(results):
    runs = [f'run {number + 1}' for number in range(len(results))]
    rows = []
    for what, aim, get in aims():
        values = measure(get, results)
        rows.append([what, f'<= {aim}' if aim else '0', *map(figure, values), verdict(values, aim)])
    rows += [[what, '', *map(figure, measure(get, results)), ''] for what, get in floors()]
    return table(['', 'aim', *runs, ''], rows)


def microseconds(nanoseconds):
    return figure(nanoseconds / 1000)


def order(name):
    """On each bus the raw library first, then ours, then what else there is."""
    ours = 0 if name.startswith(RAW) else 1 if name.startswith('AppList') else 2
    return name.endswith(on('', BROKER)), ours, name


def raw_for(name):
    return on(RAW, BROKER if name.endswith(on('', BROKER)) else DAEMON)


def times_table(result, case):
    rows = []
    for name in sorted(result.data['times'].get(case, {}), key=order):
        times = sorted(result.times(case, name))
        to_raw = result.times(case, raw_for(name))
        rows.append([name, microseconds(statistics.median(times)),
                     microseconds(times[min(len(times) * 99 // 100, len(times) - 1)]),
                     figure(statistics.median(times) / statistics.median(to_raw))])
    return table(['', 'median, us', 'p99, us', 'median / raw sd-bus'], rows)


def resources_table(result):
    rows = []
    for name in sorted(result.data['memory'], key=order):
        resident, private = result.data['memory'][name]
        row = [name, str(resident), str(private)]
        for case in 'select', 'event':
            spent = result.data['processor time'].get(case, {}).get(name)
            row.append(' + '.join(figure(time / 1000) for time in spent.values()) if spent else '')
        for case in 'call', 'select', 'event':
            size = result.data['bytes'].get(case, {}).get(name)
            row.append(f'{size[0]:.0f} + {size[1]:.0f}' if size else '')
        rows.append(row)
    return table(['', 'resident, KiB', 'private, KiB', 'processor time of a select, us',
                  'of an event, us', 'bytes of a call', 'of a select', 'of an event'], rows)


def core_table(result):
    micro = result.data['micro']
    rows = []
    for name in sorted(micro, key=lambda name: [int(part) if part.isdigit() else part
                                                for part in name.split('/')]):
        time = micro[name]
        floor = micro.get(f'floor of {name}')
        if floor:
            rows.append([name, figure(time), figure(floor), figure(time / floor)])
    return table(['', 'ns', 'floor, ns', 'ratio'], rows)


COLOURS = ('#000000', '#888888', '#d00000', '#ff9000', '#0060c0', '#00a0e0', '#008040', '#80c000',
           '#8000a0', '#c060c0')


def plot(result, growth, file):
    sizes = result.data['growth'][growth]
    names = sorted({name for times in sizes.values() for name in times}, key=order)
    what, along = GROWTH[growth]
    script = ['set terminal svg size 760,440 background "white" font "sans,12"',
              f'set output "{file}"', 'set logscale xy', 'set key outside right top Left reverse',
              'set grid', f'set xlabel "{along}"', f'set ylabel "{what}, us"',
              'set format "%.0s%c"']
    for number, name in enumerate(names):
        points = [f'{size} {statistics.median(times[name]) / 1000}'
                  for size, times in sizes.items() if name in times]
        script += [f'$data{number} << END', *points, 'END']
    script.append('plot ' + ', '.join(
        f'$data{number} with linespoints linecolor "{COLOURS[number % len(COLOURS)]}" '
        f'pointtype {4 + number} pointsize 0.5 title "{name.replace(on("", DAEMON), "")}"'
        for number, name in enumerate(names)))
    subprocess.run(['gnuplot'], input='\n'.join(script), text=True, check=True)


def growth_part(result, folder):
    os.makedirs(folder, exist_ok=True)
    parts = []
    for growth, (what, along) in GROWTH.items():
        name = growth.replace(' ', '-') + '.svg'
        plot(result, growth, os.path.join(folder, name))
        parts.append(f'![{what} against {along}]({os.path.basename(folder)}/{name})\n')
    return '\n'.join(parts)


def page(results, folder):
    last = results[-1].data
    machine = last['machine']
    parts = [
        '# Figures\n',
        f'Measured by `make bench` on {last["date"]} on {machine["processors"]} x '
        f'{machine["processor"]}, {machine["kernel"]}. The page is made by the run; '
        'absolute times are those of this machine on that day, and only the ratios within one run '
        'say something.\n',
        'Each contestant is a client and a server on a private bus of their own. All of them run '
        'at the same time on one processor, and take turns in random order. What each does is in '
        '`benchmarks/peers/`: the raw library and the bindings do the same job, message by '
        'message, the server telling the client of each change before it replies; *AppList '
        'answered* is the same model with a remote side that only answers, beside a call that is '
        'only answered. A select of Qt Remote Objects and of GActionGroup is done when the server '
        'has said that it has taken it over. Left out here: '
        + (', '.join(last['missing']) or 'nothing') + '.\n',
        '## The aims\n', aims_table(results),
        'Rows without an aim are floors: what the raw library takes on a socket without a bus is '
        'the least that the direct line can take.\n',
    ]
    for case, title in CASES.items():
        parts += [f'## {title[0].upper()}{title[1:]}\n', times_table(results[-1], case)]
    parts += ['## Memory, processor time, bytes on the wire\n',
              'Of the user interface. Processor time is that of client + server + bus, with what '
              'follows an operation until both sides are at rest. Bytes are those written + read '
              'by the client.\n', resources_table(results[-1]),
              '## Growth\n',
              'Over dbus-daemon, but for what needs no bus; threads share the one processor, too.\n',
              growth_part(results[-1], folder)]
    if 'micro' in last:
        parts += ['## The core by itself\n',
                  'Over a transport that answers at once, with the log filtered: '
                  'operation/items/length of an identifier, or operation/bytes. The floor is the '
                  'bare loop or copy that does the same.\n', core_table(results[-1])]
    return '\n'.join(parts)


def sizes_part(file):
    """The last part of the page, which sizes.py writes."""
    if not os.path.exists(file):
        return ''
    with open(file, encoding='utf-8') as text:
        return ''.join(text.read().partition('\n## Sizes\n')[1:])


def main():
    file, results = sys.argv[1], [Result(name) for name in sys.argv[2:]]
    print(aims_table(results))
    kept = sizes_part(file)
    with open(file, 'w', encoding='utf-8') as text:
        text.write(page(results, os.path.splitext(file)[0]) + kept)


if __name__ == '__main__':
    main()
