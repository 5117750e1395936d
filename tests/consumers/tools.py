# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
"""What the scripts of this folder share."""
import os
import subprocess
import sys


def words():
    """What the script was told, as KEY=VALUE."""
    return dict(word.split('=', 1) for word in sys.argv[1:])


def run(*command, **environment):
    """Runs a command to its end, and returns what it printed. Prints both."""
    command = [str(word) for word in command]
    print('+', *command, flush=True)
    done = subprocess.run(command, env={**os.environ, **environment}, text=True, check=False,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    print(done.stdout, flush=True)
    if done.returncode != 0:
        raise AssertionError(f'{command[0]} ended with {done.returncode}')
    return done.stdout
