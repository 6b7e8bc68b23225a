# shellcheck shell=bash
# Sourced by the scripts beside it: steps, builds, and the packages that they need.
cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit 1

step() {
    printf '== %s\n' "$*"
}

# need PACKAGE...: installs those of Debian's packages that are missing; asks no network when none is.
need() {
    local missing=() package sudo=()
    for package in "$@"; do
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    step "install ${missing[*]}"
    [ "$(id -u)" -eq 0 ] || sudo=(sudo)
    "${sudo[@]}" apt-get update -q >/dev/null
    "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -q -y --no-install-recommends "${missing[@]}" >/dev/null
}

# configure PRESET: shows what is left out, and everything after a failure.
configure() {
    local log=build/$1.log
    mkdir -p build
    cmake --preset "$1" >"$log" 2>&1 || { cat "$log"; exit 1; }
    grep -E '^-- .*left out' "$log" || true
}

# Read by those who source this file.
# shellcheck disable=SC2034
{
    build_packages=(g++ cmake ninja-build pkg-config libavcodec-dev libavdevice-dev libavfilter-dev libavformat-dev
        libavutil-dev libswscale-dev libswresample-dev libcli11-dev nlohmann-json3-dev ffmpeg python3)
    # For 64-bit ARM Clang and these libraries: Debian's cross compilers of GCC can't stand beside g++-multilib.
    test_packages=(g++-multilib clang libclang-rt-dev googletest libbenchmark-dev clang-format clang-tidy iwyu shellcheck
        parallel python3-numpy python3-pytest dpkg-dev file zsh fish mandoc groff libx11-dev libpulse-dev xvfb pulseaudio
        abigail-tools binutils-aarch64-linux-gnu libstdc++-12-dev-arm64-cross qemu-user)
    many_packages=(slurmctld slurmd slurm-client munge procps python3-yaml)
}
