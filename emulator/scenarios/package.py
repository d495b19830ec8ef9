"""What dpkg does with the package on a unit whose /home is mounted read-only."""
from unitshell import APPLICATION, DAEMON, expect, shows

SETTINGS = '/home/root/ORBISdaemon/ORBISdaemon.ppf'
KEEP = '--force-confdef --force-confold'


def made(unit, version):
    """Makes the package anew with another version, on the unit, and returns its path."""
    return unit.sh(f'''cd /opt && rm -rf made && dpkg-deb -R package.deb made
sed -i 's/^Version: .*/Version: {version}/' made/DEBIAN/control
dpkg-deb -Znone -b made {version}.deb > /dev/null && echo /opt/{version}.deb''')


def dpkg(unit, arguments, home='rw'):
    """dpkg's exit status and output, with /home mounted so before."""
    status, output = unit.machine.run(f'mount -o remount,{home} /home; cd /opt && dpkg {arguments}')
    unit.sh('mount -o remount,ro /home')
    return status, output


def state(unit):
    return unit.sh("dpkg-query -W -f '${Status} ${Version}' orbisdaemon")


def replace(unit, version):
    daemon, application = unit.pid(DAEMON), unit.pid(APPLICATION)
    status, output = dpkg(unit, f'{KEEP} -i {made(unit, version)}')
    expect(status, 0, f'dpkg: {output}')
    expect(state(unit), f'install ok installed {version}', 'package')
    unit.settle()
    expect(unit.pid(DAEMON) == daemon, False, 'the daemon is the one before')
    expect(unit.pid(APPLICATION), application, 'application')


@shows('upgrade: another daemon, the same application')
def upgrade(unit):
    replace(unit, '99-1')


@shows('downgrade: another daemon, the same application')
def downgrade(unit):
    replace(unit, '1-1')


@shows('upgrade with a changed settings file: it stays and counts, the new defaults lie beside it')
def changed_settings(unit):
    unit.sh(f"""mount -o remount,rw /home; sed -i 's/name="LogLevel" val="2"/name="LogLevel" val="3"/' {SETTINGS}
cd /opt && rm -rf made && dpkg-deb -R package.deb made && echo '<!-- new -->' >> made{SETTINGS}
sed -i 's/^Version: .*/Version: 2-1/' made/DEBIAN/control && dpkg-deb -Znone -b made 2-1.deb""")
    status, output = dpkg(unit, f'{KEEP} -i /opt/2-1.deb')
    expect(status, 0, f'dpkg: {output}')
    unit.settle()
    expect('Loglevel set to 3' in unit.log(), True, 'the changed setting counts')
    expect(unit.sh(f'tail -n 1 {SETTINGS}.dpkg-dist'), '<!-- new -->', 'new defaults')


@shows('/home read-only: upgrade and removal succeed or refuse, and the package is whole')
def read_only(unit):
    for arguments in (f'{KEEP} -i {made(unit, "3-1")}', '-r orbisdaemon'):
        before = state(unit)
        status, output = dpkg(unit, arguments, home='ro')
        expect(state(unit).split()[1:3] in (['ok', 'installed'], ['ok', 'config-files']), True,
               f'whole after dpkg {arguments}: {state(unit)}, {output}')
        if status != 0:
            expect(state(unit).split()[1:], before.split()[1:], f'package after dpkg {arguments} refused')
            expect('mount -o remount,rw /home' in output, True, f'the command to type in {output!r}')
        unit.settle()
        unit.pid(DAEMON)


@shows('removal: only the daemon ends; a boot after it starts nothing')
def removal(unit):
    application = unit.pid(APPLICATION)
    status, output = dpkg(unit, '-r orbisdaemon')
    expect(status, 0, f'dpkg: {output}')
    expect(unit.pids(DAEMON), [], 'daemons')
    expect(unit.pid(APPLICATION), application, 'application')
    unit.expect_full_speed('after the removal')
    unit.reboot()
    expect(unit.sh('systemctl is-active ORBISdaemon'), 'inactive', 'boot unit after a removal and a boot')


@shows('installed again after a removal and a boot: the daemon starts at the next boot', bare=True)
def again(unit):
    expect(dpkg(unit, f'{KEEP} -i /opt/package.deb')[0], 0, 'dpkg')
    expect(unit.pids(DAEMON), [], 'daemons')
    unit.reboot()
    unit.pid(DAEMON)


@shows('purge: nothing but the log and the application\'s files remains')
def purge(unit):
    expect(dpkg(unit, '-P orbisdaemon')[0], 0, 'dpkg')
    left = unit.sh('find / -xdev -iname "*orbisdaemon*" -not -path "/proc/*" -not -path "/run/*" -not -path "/opt/*" -not -path "/var/lib/dpkg/*" '
                   '-not -path "/var/log/*"; find /home -xdev -iname "*ORBISdaemon*"')
    expect(left, '', 'files')
