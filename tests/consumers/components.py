# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
"""What each component of a whole build installs, file by file, and that no file is in none."""
import pathlib
import shutil
import sys

import tools

WORDS = tools.words()
LIB = WORDS['lib']
HEADERS = 'include/applist-1'

COMPONENTS = {
    'runtime': [],
    'development': [
        f'{HEADERS}/AppList.h',
        f'{HEADERS}/LocalAppListModel.h',
        f'{HEADERS}/applist/ApplistItemComparator.h',
        f'{HEADERS}/applist/RemoteAppListItem.h',
        f'{HEADERS}/applist/RemoteAppListModel.h',
        f'{HEADERS}/common/AppListRemoteControl.h',
        f'{HEADERS}/common/Export.h',
        f'{HEADERS}/common/Log.h',
        f'{HEADERS}/common/PTMutex.h',
        f'{HEADERS}/dbus/EventLoop.h',
        f'{HEADERS}/dbus/EventSource.h',
        f'{HEADERS}/dbus/JavaMWDbusLocal.h',
        f'{HEADERS}/dbus/LinkRefusal.h',
        f'{HEADERS}/dlog.h',
        f'{HEADERS}/ipc/IPCApplist.h',
        f'{HEADERS}/ipc/javamw-dbus-remote.h',
        f'{LIB}/cmake/AppList/AppListConfig.cmake',
        f'{LIB}/cmake/AppList/AppListConfigVersion.cmake',
        f'{LIB}/cmake/AppList/AppListTargets-CONFIG.cmake',
        f'{LIB}/cmake/AppList/AppListTargets.cmake',
        f'{LIB}/pkgconfig/applist.pc',
    ],
    'daemon': [
        'bin/applistd',
        'lib/systemd/system/applistd.service',
        'lib/systemd/user/applistd.service',
        'lib/sysusers.d/applist.conf',
        'libexec/applist-launch',
        'share/dbus-1/interfaces/org.javamw.Applist.Control1.xml',
        'share/dbus-1/services/org.javamw.Applist.Local.service',
        'share/dbus-1/system-services/org.javamw.Applist.Local.service',
        'share/dbus-1/system.d/org.javamw.Applist.conf',
        'share/doc/AppList/launch.conf',
        'share/man/man8/applistd.8',
    ],
    'tools': [
        'bin/applist-ui',
        'bin/applistctl',
        'share/bash-completion/completions/applistctl',
        'share/man/man1/applist-ui.1',
        'share/man/man1/applistctl.1',
    ],
}
if WORDS['shared'] == '1':
    COMPONENTS['runtime'] += [f'{LIB}/libapplist.so.1', f'{LIB}/libapplist.so.1.0.0']
    COMPONENTS['development'] += [f'{LIB}/libapplist.so']
else:
    COMPONENTS['development'] += [f'{LIB}/libapplist.a']


def install(folder, *options):
    """Installs to `folder`, and returns which files that makes, below the prefix."""
    shutil.rmtree(folder, ignore_errors=True)
    tools.run(WORDS['cmake'], '--install', WORDS['what'], *options, DESTDIR=str(folder))
    files = [path for path in folder.rglob('*') if not path.is_dir()]
    root = folder / WORDS['prefix'].lstrip('/')
    # One of them has the name of the build's configuration in its name.
    return {'AppListTargets-CONFIG.cmake'.join(str(path.relative_to(root)).rsplit(path.name, 1))
            if path.name.startswith('AppListTargets-') else str(path.relative_to(root))
            for path in files}


def main():
    folder = pathlib.Path(WORDS['build'])
    wrong = False
    for component, files in COMPONENTS.items():
        installed = install(folder / component, '--component', component)
        for path in sorted(installed ^ set(files)):
            wrong = True
            print(f'{component}: {path} is', 'not expected' if path in installed else 'missing')
    everything = install(folder / 'everything')
    for path in sorted(everything.difference(*COMPONENTS.values())):
        wrong = True
        print(f'{path} is in no component')
    return 1 if wrong else 0


if __name__ == '__main__':
    sys.exit(main())
