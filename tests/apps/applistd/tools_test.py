# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
"""The daemon with the tools of an integrator: busctl, the files that are installed with it, and the
checks that systemd has for them."""
import os
import pathlib
import select
import signal
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent.parent / 'bus'))
import peer_support
from peer_support import item

PACKAGING = HERE.parent.parent.parent / 'packaging'
INTERFACE = 'org.javamw.Applist.Control1'
OBJECT = ('org.javamw.Applist.Local', '/org/javamw/Applist')
OTHER = 'org.javamw.sample.Other.desktop'

CONFIGURATION = '''<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>{address}</listen>
  <servicedir>{services}</servicedir>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
'''


def run(*command, **options):
    """Runs a command to its end, and returns its standard output. What it says on standard error
    is a failure, and so is its exit status."""
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True,
                          timeout=peer_support.DEADLINE, check=False, **options)
    if done.returncode != 0 or done.stderr:
        raise AssertionError(f'{command}: status {done.returncode}\n{done.stdout}{done.stderr}')
    return done.stdout


def described(element):
    """An element of introspection data in a form that can be compared: the order of members and
    annotations means nothing, that of arguments does."""
    attributes = dict(element.attrib)
    if element.tag == 'arg':
        # What it is without saying so; a signal's is always out.
        attributes.setdefault('direction', '')
    children = [described(child) for child in element]
    arguments = [child for child in children if child[0] == 'arg']
    others = sorted(child for child in children if child[0] != 'arg')
    return (element.tag, sorted(attributes.items()), arguments, others)


def interface(text):
    """The control interface in introspection data."""
    found = [element for element in ElementTree.fromstring(text).iter('interface')
             if element.get('name') == INTERFACE]
    if len(found) != 1:
        raise AssertionError(f'{len(found)} times {INTERFACE} in {text}')
    return described(found[0])


class Busctl(peer_support.BusTest):
    def setUp(self):
        super().setUp()
        self.data = tempfile.TemporaryDirectory(prefix='applist-data-')
        self.addCleanup(self.data.cleanup)
        applications = pathlib.Path(self.data.name) / 'applications'
        applications.mkdir()
        (applications / OTHER).write_text(
            '[Desktop Entry]\nType=Application\nName=Other\nExec=true\n')
        os.environ['XDG_DATA_HOME'] = self.data.name
        # For the thread sanitizer, where the programs are built with it.
        os.environ.setdefault('TSAN_OPTIONS', f'suppressions={HERE}/tsan.supp')
        self.remote = self.program('applistd', '--launch')
        self.ui = self.program('ui_peer.py')
        self.ui.wait_for(lambda line: line.get('event') == 4, 'the announcement')
        self.ui.do('add', item('Mail', 'mail'), item('Other', OTHER))
        self.ui.settle()

    def busctl(self, *words):
        return run('busctl', f'--address={self.address}', *words)

    def properties(self, *names):
        return self.busctl('get-property', *OBJECT, INTERFACE, *names).splitlines()

    def test_the_daemon_says_of_itself_what_the_installed_file_says(self):
        self.assertEqual(
            interface(self.busctl('--xml-interface', 'introspect', *OBJECT)),
            interface((PACKAGING / 'dbus' / f'{INTERFACE}.xml').read_text(encoding='utf-8')))

    def test_properties_and_methods_are_at_hand(self):
        self.assertIn(OBJECT[0], self.busctl('list', '--acquired'))
        self.assertIn(OBJECT[1], self.busctl('tree', '--list', OBJECT[0]))
        self.busctl('call', *OBJECT, INTERFACE, 'Select', 's', 'mail')
        self.busctl('call', *OBJECT, INTERFACE, 'Click', 's', 'mail')
        self.assertEqual(
            self.properties('Items', 'Selection', 'LastClicked', 'Connected'),
            [f'a(ss) 2 "mail" "Mail" "{OTHER}" "Other"', 's "mail"', 's "mail"', 'b true'])
        with self.assertRaisesRegex(AssertionError, "The list has no item 'web'"):
            self.busctl('call', *OBJECT, INTERFACE, 'Select', 's', 'web')
        self.assertEqual(self.properties('Selection'), ['s "mail"'])

    def test_a_launch_can_be_watched(self):
        monitor = subprocess.Popen(
            ['busctl', f'--address={self.address}', '--match',
             f"type='signal',interface='{INTERFACE}'", 'monitor'],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
            preexec_fn=peer_support.die_with_parent)
        self.addCleanup(monitor.communicate)
        self.addCleanup(monitor.terminate)
        self.assertIn('Monitoring', monitor.stderr.readline())
        self.busctl('call', *OBJECT, INTERFACE, 'Click', 's', OTHER)
        for line in monitor.stdout:
            if 'Member=Launched' in line:
                break
        shown = [next(monitor.stdout) for _ in range(4)]
        self.assertIn(f'STRING "{OTHER}";', ''.join(shown))


def configured(name, path):
    """Copies a file that is installed to `path`, as it is for this build, but with the daemon where
    it was built."""
    words = peer_support.BusTest.programs
    text = (pathlib.Path(words['files']) / name).read_text(encoding='utf-8')
    installed = words['bin'] + '/applistd'
    if installed not in text:
        raise AssertionError(f'{name} does not name {installed}')
    path.parent.mkdir(exist_ok=True)
    path.write_text(text.replace(installed, words['applistd']), encoding='utf-8')
    return path


class Activation(unittest.TestCase):
    """On a bus of its own that starts services, which is dbus-daemon: dbus-broker leaves that to
    systemd."""

    def setUp(self):
        holder = tempfile.TemporaryDirectory(prefix='applist-activation-')
        self.addCleanup(holder.cleanup)
        folder = pathlib.Path(holder.name)
        services = folder / 'services'
        configured('dbus/session.service', services / 'org.javamw.Applist.Local.service')
        self.address = f'unix:path={folder}/bus'
        configuration = folder / 'bus.conf'
        configuration.write_text(CONFIGURATION.format(address=self.address, services=services),
                                 encoding='utf-8')
        readable, writable = os.pipe()
        bus = subprocess.Popen(
            ['dbus-daemon', '--nofork', '--nosyslog', f'--config-file={configuration}',
             f'--print-address={writable}'],
            pass_fds=[writable], preexec_fn=peer_support.die_with_parent)
        os.close(writable)
        self.addCleanup(bus.wait)
        self.addCleanup(bus.terminate)
        with os.fdopen(readable) as printed:
            self.assertTrue(printed.readline(), 'the bus did not start')

    def process_of(self, name):
        return int(run('busctl', f'--address={self.address}', 'call', 'org.freedesktop.DBus',
                       '/org/freedesktop/DBus', 'org.freedesktop.DBus',
                       'GetConnectionUnixProcessID', 's', name).split()[1])

    def test_a_call_starts_the_daemon_on_the_bus_of_a_session_and_it_ends_with_that(self):
        connected = run('busctl', f'--address={self.address}', 'get-property', *OBJECT, INTERFACE,
                        'Connected')
        daemon = self.process_of(OBJECT[0])
        ended = os.pidfd_open(daemon)
        self.addCleanup(os.close, ended)
        os.kill(self.process_of('org.freedesktop.DBus'), signal.SIGTERM)
        if not select.select([ended], [], [], peer_support.DEADLINE)[0]:
            os.kill(daemon, signal.SIGKILL)
            self.fail('the daemon is still running')
        self.assertEqual(connected, 'b false\n')


class Files(unittest.TestCase):
    """Files that are installed, as they are for this build."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix='applist-files-')
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def configured(self, name, target):
        return configured(name, self.folder / target)

    def verify(self, *words):
        environment = dict(os.environ, XDG_RUNTIME_DIR=str(self.folder))
        self.assertEqual(run('systemd-analyze', *words, env=environment), '')

    def test_the_unit_of_the_system_is_quietly_verified(self):
        self.verify('verify', self.configured('systemd/system.service', 'applistd.service'))

    def test_the_unit_of_a_user_is_quietly_verified(self):
        self.verify('--user', 'verify', self.configured('systemd/user.service', 'applistd.service'))

    def test_so_it_is_when_it_launches(self):
        unit = self.configured('systemd/user.service', 'applistd.service')
        self.configured('systemd/launch.conf', 'applistd.service.d/launch.conf')
        self.verify('--user', 'verify', unit)

    def test_launching_takes_nothing_away_that_an_application_may_need(self):
        def hardening(name):
            lines = (pathlib.Path(peer_support.BusTest.programs['files']) / 'systemd' /
                     name).read_text(encoding='utf-8').split('[Service]')[1].splitlines()
            settings = dict(line.split('=', 1) for line in lines if '=' in line)
            return {key: value for key, value in settings.items()
                    if key.startswith(('Lock', 'Memory', 'No', 'Restrict', 'SystemCall', 'U'))
                    and key not in ('SystemCallErrorNumber', 'Restart')}
        taken, given = hardening('user.service'), hardening('launch.conf')
        self.assertEqual(sorted(taken), sorted(given))
        self.assertGreater(len(taken), 5)
        self.assertEqual({value for key, value in given.items() if key != 'UMask'}, {'', 'no'})

    def test_the_system_daemon_is_hardly_exposed(self):
        unit = self.configured('systemd/system.service', 'applistd.service')
        # In tenths.
        run('systemd-analyze', '--no-pager', '--offline=true', '--threshold=10', 'security', unit)

    def test_the_users_of_the_policy_are_made(self):
        policy = ElementTree.parse(PACKAGING / 'dbus' / 'org.javamw.Applist.conf')
        named = {element.get('user') for element in policy.iter('policy')} - {None, 'root'}
        (self.folder / 'etc').mkdir()
        run('systemd-sysusers', f'--root={self.folder}', PACKAGING / 'systemd' / 'applist.conf',
            env=dict(os.environ, SYSTEMD_LOG_LEVEL='warning'))
        made = (self.folder / 'etc' / 'passwd').read_text(encoding='utf-8').splitlines()
        self.assertEqual({line.split(':')[0] for line in made}, named)

    def test_the_bus_of_the_system_starts_it_as_the_user_of_the_unit(self):
        lines = self.configured('dbus/system.service', 'system').read_text(
            encoding='utf-8').splitlines()
        for line in ('Name=org.javamw.Applist.Local', 'User=applist',
                     'SystemdService=applistd.service',
                     f'Exec={peer_support.BusTest.programs["applistd"]} --system'):
            self.assertIn(line, lines)
        unit = self.configured('systemd/system.service', 'unit').read_text(encoding='utf-8')
        self.assertIn('User=applist', unit.splitlines())


if __name__ == '__main__':
    peer_support.main()
