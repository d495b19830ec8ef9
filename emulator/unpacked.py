#!/usr/bin/env python3
"""Tells the dpkg of a root folder that its packages are unpacked: unpacked.py ROOT FOLDER_OF_DEBS.

mmdebstrap has put the packages' files there, but could not run their scripts, which are for another processor. From this state
`dpkg --configure -a` on the emulated machine continues. This spares a slow second unpacking there.
"""
import hashlib
import pathlib
import subprocess
import sys

INFO_FOLDER = 'var/lib/dpkg/info'


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def paths(deb):
    """The packaged files, as dpkg lists them: absolute, the root folder as /. ."""
    archive = subprocess.Popen(['dpkg-deb', '--fsys-tarfile', deb], stdout=subprocess.PIPE)
    names = subprocess.run(['tar', 't'], stdin=archive.stdout, check=True, capture_output=True, text=True).stdout.split('\n')
    return ['/' + name.removeprefix('./').rstrip('/') if name != './' else '/.' for name in names if name]


def md5(path):
    return hashlib.md5(path.read_bytes()).hexdigest() if path.exists() else 'newconffile'


def unpacked(root, deb):
    """Fills the info folder and returns the package's paragraph of dpkg's status file."""
    control = output('dpkg-deb', '--field', deb).rstrip('\n')
    fields = dict(line.split(': ', 1) for line in control.split('\n') if line[0] != ' ' and ': ' in line)
    name = fields['Package'] + (':' + fields['Architecture'] if fields.get('Multi-Arch') == 'same' else '')
    info = root / INFO_FOLDER
    scratch = info / 'scratch'
    subprocess.run(['dpkg-deb', '--control', deb, scratch], check=True)
    conffiles = []
    for file in scratch.iterdir():
        if file.name == 'conffiles':
            conffiles = [line for line in file.read_text().split() if line.startswith('/')]
        if file.name != 'control':
            file.rename(info / f'{name}.{file.name}')
        else:
            file.unlink()
    scratch.rmdir()
    (info / f'{name}.list').write_text('\n'.join(paths(deb)) + '\n')
    first, rest = control.split('\n', 1)
    status = f'{first}\nStatus: install ok unpacked\n{rest}\n'
    if conffiles:
        status += 'Conffiles:\n' + ''.join(f' {path} {md5(root / path[1:])}\n' for path in conffiles)
    return status


def main():
    root, debs = (pathlib.Path(argument) for argument in sys.argv[1:])
    (root / INFO_FOLDER).mkdir(parents=True, exist_ok=True)
    (root / INFO_FOLDER / 'format').write_text('1\n')
    (root / 'var/lib/dpkg/status').write_text('\n'.join(unpacked(root, deb) for deb in sorted(debs.glob('*.deb'))))


main()
