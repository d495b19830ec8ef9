# shellcheck shell=bash disable=SC2034 # the lists are for the commands
# Sourced by the commands at the repository root: installs what is missing and builds.

# Tests and analysis want more than the build: each command names its own list.
build_packages='g++ cmake ninja-build juce-modules-source juce-tools zlib1g-dev pkg-config libgtest-dev'
device_packages='bubblewrap procps psmisc'
package_packages='dpkg-dev file lintian systemd' # to make it and to check it
manual_packages='pandoc groff-base'

# install_missing PACKAGE...: asks apt for the packages that this machine lacks; as a user, through sudo.
install_missing() {
    local missing=() package
    for package in "$@"; do
        [[ $(dpkg-query -W -f '${Status}' "$package" 2>/dev/null) == *' ok installed' ]] || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || { echo "Ask an administrator to install: ${missing[*]}" >&2; exit 1; }
        as_root=(sudo)
    fi
    echo "Installing: ${missing[*]}" >&2
    "${as_root[@]}" apt-get update -qq
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
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
        ln -sf "build/$preset/compile_commands.json" compile_commands.json
    fi
    output=$(ninja -C "build/$preset" "${targets[@]}" 2>&1) || { echo "$output" >&2; exit 1; }
}
