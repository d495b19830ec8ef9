# shellcheck shell=bash disable=SC2034 # the lists are for the commands
# Sourced by the commands at the repository root: installs what is missing and builds.

# Tests and analysis want more than the build: each command names its own list.
build_packages='g++ cmake ninja-build juce-modules-source juce-tools zlib1g-dev pkg-config libgtest-dev'
device_packages='bubblewrap procps psmisc'
package_packages='dpkg-dev file lintian systemd' # to make it and to check it
manual_packages='pandoc groff-base'

# What the unit's processor adds to a build, and what runs its programs here.
target=arm-linux-gnueabihf
cross_compiler=g++-$target
target_libraries='zlib1g:armhf zlib1g-dev:armhf'
emulator=qemu-user

as_root() {
    if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

# persistently COMMAND...: a mirror in the middle of an update is whole again after a while.
persistently() {
    local attempts=4 pause=30
    until "$@"; do
        attempts=$((attempts - 1))
        [ "$attempts" -gt 0 ] || return 1
        echo "The package mirror may be in the middle of an update; trying again in $pause s." >&2
        sleep "$pause"
    done
}

# Sets `missing` to those of the packages that this machine lacks.
list_missing() {
    missing=()
    local package
    for package in "$@"; do
        [[ $(dpkg-query -W -f '${Status}' "$package" 2>/dev/null) == *' ok installed' ]] || missing+=("$package")
    done
}

# An index that cannot be had is not yet a failure: the package may be in another one.
update_and_install() {
    as_root apt-get update -qq || true
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "$@" >&2
}

# install_missing PACKAGE...: asks apt for the packages that this machine lacks; as a user, through sudo.
install_missing() {
    local missing
    list_missing "$@"
    [ ${#missing[@]} -eq 0 ] && return
    if [ "$(id -u)" -ne 0 ] && ! command -v sudo >/dev/null; then
        echo "Ask an administrator to install: ${missing[*]}" >&2
        exit 1
    fi
    echo "Installing: ${missing[*]}" >&2
    persistently update_and_install "${missing[@]}" && return
    list_missing "${missing[@]}"
    echo "apt could not install: ${missing[*]}" >&2
    exit 1
}

# Knows armhf for these two calls only: as an architecture of this machine, its index would trouble every later update.
update_and_download() {
    local apt=(apt-get -o APT::Architectures::="$(dpkg --print-architecture)" -o APT::Architectures::=armhf)
    as_root "${apt[@]}" update -qq || true
    (cd build/fetched && "${apt[@]}" -o APT::Sandbox::User="$(id -un)" download -qq "$@")
}

# prepare_target: installs the cross compiler and lays out build/sysroot, the target's libraries beside the C and C++
# ones that come with the compiler. They are unpacked, not installed: that would want the target's whole C library in
# exactly the versions of this machine's own, which a mirror seldom has for every architecture at once.
prepare_target() {
    install_missing "$cross_compiler"
    [ ! -e build/sysroot ] || return 0
    rm -rf build/fetched
    mkdir -p build/fetched/root
    local library package
    for library in $target_libraries; do
        persistently update_and_download "$library" || { echo "apt could not fetch: $library" >&2; exit 1; }
    done
    for package in build/fetched/*.deb; do dpkg-deb -x "$package" build/fetched/root; done
    # Absolute links would leave the sysroot.
    ln -sfr build/fetched/root/lib/$target/libz.so.1 build/fetched/root/usr/lib/$target/libz.so
    mv build/fetched/root build/sysroot
    rm -r build/fetched
}

# build PRESET "TARGETS" [CMAKE OPTION...]: configures build/PRESET once, or anew with options, and brings the targets
# (none: all) up to date; silent when all goes well.
build() {
    local preset=$1 output targets
    read -ra targets <<< "$2"
    shift 2
    if [ ! -e "build/$preset/build.ninja" ] || [ $# -gt 0 ]; then
        echo "Configuring and building $preset; the first time takes a minute or two." >&2
        output=$(cmake --preset "$preset" "$@" 2>&1) || { echo "$output" >&2; exit 1; }
        [ -e compile_commands.json ] || ln -sf "build/$preset/compile_commands.json" compile_commands.json
    fi
    output=$(ninja -C "build/$preset" "${targets[@]}" 2>&1) || { echo "$output" >&2; exit 1; }
}
