# Sourced by the scripts beside it: steps, and the packages that they need.
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

build_packages=(g++ cmake ninja-build pkg-config libavcodec-dev libavformat-dev libavutil-dev libswscale-dev
    libswresample-dev libcli11-dev ffmpeg)
test_packages=(g++-multilib googletest clang-format libbenchmark-dev)
