"""Memory, disks and clocks that fail."""
from unitshell import APPLICATION, DAEMON, DATA, PASSES, SETTLE, expect, shows

PROGRAM = '/home/root/ORBIStessel/ORBIStessel'
HOG = '''#!/usr/bin/perl
my $memory = '';
$memory .= 'x' x 1000000 while 1;
'''


def expect_supervision(unit, daemon, after):
    """The daemon is still the one that it was, keeps one application, and regulates the fan."""
    expect(unit.pid(DAEMON), daemon, f'daemon {after}')
    application = unit.pid(APPLICATION)
    unit.sh(f'temperature 82; sleep {PASSES}')
    unit.expect_full_speed(f'at 82 degrees {after}')
    unit.sh(f'temperature 45; sleep {PASSES}')
    expect(unit.fan(), 0, f'fan at 45 degrees {after}')
    expect(unit.pid(APPLICATION), application, f'application {after}')


@shows('memory used up by the application: the kernel ends it, the daemon lives')
def out_of_memory(unit):
    unit.sh(f'systemctl restart ORBISdaemon; sleep {SETTLE}') # the shortest back-off
    daemon = unit.pid(DAEMON)
    unit.sh(f"""mkdir -p /run/hog; cat > /run/hog/ORBIStessel <<'END'
{HOG}END
chmod +x /run/hog/ORBIStessel; mount --bind /run/hog/ORBIStessel {PROGRAM}; killall -KILL ORBIStessel; sleep 20""")
    killed = unit.sh('dmesg | grep "Out of memory: Killed process"')
    unit.sh(f'umount -l {PROGRAM}; killall -q -KILL {APPLICATION}; sleep 40')
    expect(f'({APPLICATION})' in killed, True, f'the application among {killed!r}')
    expect(f'({DAEMON})' in killed, False, f'the daemon among {killed!r}')
    expect_supervision(unit, daemon, 'after the memory was used up')
    return f'{killed.count("Killed process")} times'


@shows('disk full: supervision and fan go on, the log afterwards too')
def disk_full(unit):
    daemon = unit.pid(DAEMON)
    unit.sh('disk fill')
    expect_supervision(unit, daemon, 'with a full disk')
    unit.sh(f'disk free; temperature 91; sleep {PASSES}; temperature 45; sleep {PASSES}')
    expect('Core Temperature: 91' in unit.log(), True, 'line of the log after the disk has room')


@shows('data disk read-only: supervision and fan go on, and a new daemon supervises')
def data_read_only(unit):
    daemon = unit.pid(DAEMON)
    unit.sh(f'mount -o remount,ro {DATA}')
    try:
        expect_supervision(unit, daemon, 'with a read-only data disk')
        unit.sh(f'systemctl restart ORBISdaemon; sleep {SETTLE}')
        expect_supervision(unit, unit.pid(DAEMON), 'restarted with a read-only data disk')
    finally:
        unit.sh(f'mount -o remount,rw {DATA}; systemctl restart ORBISdaemon; sleep {SETTLE}')


# The data disk as a device whose reads and writes can be made to fail.
DISK = '/dev/mmcblk3p3'
MAP = f'sectors=$(cat /sys/class/block/{DISK.removeprefix("/dev/")}/size); dmsetup --noudevsync'
DISK_ON_MAP = f"""umount {DATA}; {MAP} create data --table "0 $sectors linear {DISK} 0"; dmsetup mknodes
mount -t ext4 /dev/mapper/data {DATA}"""
DISK_FAILS = f'{MAP} suspend --noflush --nolockfs data; dmsetup load data --table "0 $sectors error"; dmsetup --noudevsync resume data'
DISK_BACK = f'umount -l {DATA}; sleep 1; dmsetup --noudevsync remove --force data; mount {DATA}'


def without_disk(unit, before, removal, after):
    unit.sh(f'systemctl stop ORBISdaemon; {before}; systemctl start ORBISdaemon; sleep {SETTLE}')
    expect(unit.sh(f'mountpoint -q {DATA} && cat {DATA}/serial.txt'), 'OD123456', 'serial before the disk goes')
    daemon = unit.pid(DAEMON)
    try:
        unit.sh(removal)
        expect(unit.status(f'echo 3 > /proc/sys/vm/drop_caches; touch {DATA}/new && sync {DATA}/new && '
                           f'mountpoint -q {DATA}') != 0, True, 'the disk is gone')
        expect_supervision(unit, daemon, 'without a data disk')
        unit.sh(f'systemctl restart ORBISdaemon; sleep {SETTLE}')
        unit.pid(DAEMON)
        unit.pid(APPLICATION)
    finally:
        unit.sh(f'{after}; systemctl restart ORBISdaemon; killall -q ORBIStesselGUI; sleep {SETTLE}')
    expect(unit.sh(f'cat {DATA}/serial.txt'), 'OD123456', 'serial on the disk that is back')


@shows('data disk not mounted: supervision and fan go on, and a new daemon supervises')
def data_not_mounted(unit):
    without_disk(unit, ':', f'umount {DATA}', f'mount {DATA}')


@shows('data disk gone while mounted: supervision and fan go on, and a new daemon supervises')
def data_gone(unit):
    without_disk(unit, DISK_ON_MAP, DISK_FAILS, DISK_BACK)


@shows('/home read-only: a daemon that starts supervises')
def home_read_only(unit):
    expect('ro' in unit.sh("findmnt -n -o OPTIONS /home").split(','), True, '/home is read-only')
    unit.sh(f'systemctl restart ORBISdaemon; sleep {SETTLE}')
    expect_supervision(unit, unit.pid(DAEMON), 'with /home read-only')


def add_clock(text, change, back):
    @shows(f'clock {text}: supervision and fan go on')
    def check(unit):
        daemon = unit.pid(DAEMON)
        unit.sh(change)
        try:
            expect_supervision(unit, daemon, f'with the clock {text}')
        finally:
            unit.sh(back)


add_clock('ten years forward', 'date -s "+10 years"', 'date -s "-10 years"')
add_clock('ten years back', 'date -s "-10 years"', 'date -s "+10 years"')
# Debian's date for this processor does not reach 2038, so the kernel is asked by number: clock_settime64, 2040-01-01.
SET_CLOCK = "perl -e 'syscall 404, 0, pack(\"q<q<\", %d, 0) and die $!'"
add_clock('to 2040', SET_CLOCK % 2208988800, SET_CLOCK % 1777319340)
