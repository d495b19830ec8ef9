# shellcheck shell=bash disable=SC2034 # the lists are for the commands
# Sourced by the commands at the repository root: installs what is missing and builds.

# Each command installs the lists that it needs.
build_packages='g++ cmake ninja-build juce-modules-source juce-tools zlib1g-dev pkg-config libgtest-dev'
unit_packages='bubblewrap busybox mawk procps psmisc tzdata'
package_packages='dpkg-dev file lintian systemd' # to make the package and to check it
manual_packages='pandoc groff-base'
# The emulated unit: to fetch and pack its system, and to run it.
board_packages='qemu-system-arm qemu-utils mmdebstrap uidmap fakeroot debian-archive-keyring device-tree-compiler cpio e2fsprogs python3'

# For the unit's processor: what a build needs in addition, and the emulator.
target=arm-linux-gnueabihf
cross_compiler=g++-$target
target_libraries='zlib1g:armhf zlib1g-dev:armhf'
emulator=qemu-user

install_log=build/install.log

as_root() {
    if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

# follow TEXT LOG: writes its standard input, the output of a step, into the file LOG and prints TEXT. On a terminal it adds
# the progress of apt or ninja, in one line that it rewrites. It prints nothing if ninja has no work.
follow() {
    local text=$1 log=$2 line progress told=''
    : > "$log"
    while IFS= read -r line || [ -n "$line" ]; do
        progress=''
        case $line in
            dlstatus:*) IFS=: read -r _ _ progress _ <<< "$line"; progress=": ${progress%[.,]*} % downloaded" ;;
            pmstatus:*) IFS=: read -r _ _ progress _ <<< "$line"; progress=": ${progress%[.,]*} % installed" ;;
            *) echo "$line" >> "$log" ;;&
            '[0/'* | 'ninja: '*) continue ;;
            '['[1-9]*/*']'*) line=${line#?}; line=${line%%]*}; progress=": ${line/\// of } compiled" ;;
        esac
        if [ -t 2 ]; then
            [ -n "$told" ] && [ -z "$progress" ] || printf '\r\033[K%s%s' "$text" "$progress" >&2
        elif [ -z "$told" ]; then
            echo "$text" >&2
        fi
        told=yes
    done
    [ -z "$told" ] || [ ! -t 2 ] || echo >&2
}

# step TEXT LOG COMMAND...: runs a long command and shows only the line TEXT. The output goes to the file LOG. After a
# failure it prints this file and returns the command's exit status.
step() {
    local text=$1 log=$2 status=0
    shift 2
    mkdir -p "${log%/*}"
    (set -o pipefail; "$@" 2>&1 | follow "$text" "$log") || status=$?
    [ "$status" -eq 0 ] || cat "$log" >&2
    return "$status"
}

# persistently COMMAND...: tries again after a pause, because a package mirror fails while it is updated.
persistently() {
    local attempts=4 pause=30
    until "$@"; do
        attempts=$((attempts - 1))
        [ "$attempts" -gt 0 ] || return 1
        echo "The package mirror may be in the middle of an update; trying again in $pause s." >&2
        sleep "$pause"
    done
}

# list_missing PACKAGE...: sets `missing` to the packages that this machine lacks.
list_missing() {
    missing=()
    local package
    for package in "$@"; do
        [[ $(dpkg-query -W -f '${Status}' "$package" 2>/dev/null) == *' ok installed' ]] || missing+=("$package")
    done
}

# A failed index update alone is no error, because another index may have the package.
update_and_install() {
    echo "Installing: $*"
    as_root apt-get update -qq || true
    as_root env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -qq -o APT::Status-Fd=1 --no-install-recommends "$@"
}

# install_missing PACKAGE...: installs the packages that this machine lacks with apt, through sudo unless it runs as root.
install_missing() {
    local missing
    list_missing "$@"
    [ ${#missing[@]} -eq 0 ] && return
    if [ "$(id -u)" -ne 0 ] && ! command -v sudo >/dev/null; then
        echo "Ask an administrator to install: ${missing[*]}" >&2
        exit 1
    fi
    if [ "$(id -u)" -ne 0 ] && [ ! -t 0 ] && ! sudo -n true 2> /dev/null; then
        echo "sudo needs a password, and there is no terminal. Install: ${missing[*]}" >&2
        exit 1
    fi
    step "Installing what is missing, listed in $install_log" "$install_log" \
        persistently update_and_install "${missing[@]}" && return
    list_missing "${missing[@]}"
    echo "apt could not install: ${missing[*]}" >&2
    exit 1
}

# apt knows armhf for these two calls only. As an architecture of this machine, its index would disturb every later update.
update_and_download() {
    echo "Fetching: $*"
    local apt=(apt-get -o APT::Architectures::="$(dpkg --print-architecture)" -o APT::Architectures::=armhf)
    as_root "${apt[@]}" update -qq || true
    (cd build/fetched && "${apt[@]}" -o APT::Sandbox::User="$(id -un)" download -qq "$@")
}

# prepare_target: installs the cross compiler, which brings the target's C and C++ libraries, and puts the target's other
# libraries into build/sysroot. It unpacks them, because an installation needs the target's C library in exactly the
# version of this machine's own, and a mirror seldom has that version for both architectures at once.
prepare_target() {
    install_missing "$cross_compiler"
    [ ! -e build/sysroot ] || return 0
    rm -rf build/fetched
    mkdir -p build/fetched/root
    local library package
    for library in $target_libraries; do
        step "Fetching $library" "$install_log" persistently update_and_download "$library" ||
            { echo "apt could not fetch: $library" >&2; exit 1; }
    done
    for package in build/fetched/*.deb; do dpkg-deb -x "$package" build/fetched/root; done
    # Debian 12 has the library in lib/, Debian 13 in usr/lib/. Relative links, because absolute ones would lead out of the
    # sysroot.
    [ ! -d build/fetched/root/lib ] || cp -a build/fetched/root/lib/. build/fetched/root/usr/lib/
    rm -rf build/fetched/root/lib
    ln -s usr/lib build/fetched/root/lib
    ln -sf libz.so.1 build/fetched/root/usr/lib/$target/libz.so
    mv build/fetched/root build/sysroot
    rm -r build/fetched
}

configure_and_compile() {
    local preset=$1 targets
    read -ra targets <<< "$2"
    shift 2
    if [ ! -e "build/$preset/build.ninja" ] || [ $# -gt 0 ]; then
        cmake --preset "$preset" "$@" || return
        [ -e compile_commands.json ] || ln -sf "build/$preset/compile_commands.json" compile_commands.json
    fi
    NINJA_STATUS='[%f/%t] ' ninja -C "build/$preset" "${targets[@]}"
}

# build PRESET "TARGETS" [CMAKE OPTION...]: configures build/PRESET if it is new or if there are options, and builds the
# targets, or all if TARGETS is empty. The output is in build/PRESET/build.log.
build() {
    step "Building $1" "build/$1/build.log" configure_and_compile "$@" || exit
}

# For mmdebstrap: the PC's own mirrors, for a suite, and apt's way to them. Nothing where the PC is no Debian; mmdebstrap then knows
# a mirror.
debian_mirrors() {
    local codename
    codename=$(. /etc/os-release && echo "${VERSION_CODENAME-}")
    # shellcheck disable=SC2016 # apt's placeholders
    apt-get indextargets --format 'deb $(REPO_URI) $(CODENAME) $(COMPONENT)' \
        'Created-By: Packages' 'Origin: Debian' | sed "s/ $codename\>/ $1/" | sort -u
}
apt_options() {
    apt-config dump | grep -iE '^Acquire::(https?::|Check-)' | grep -vi 'auto-\?detect' || true
    [ -z "${http_proxy-}" ] || echo "Acquire::http::Proxy \"$http_proxy\";"
}
