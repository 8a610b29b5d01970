# Shared by ./run-tests, ./run-classifier and .ci/run: the package install,
# configuring and building by preset, and progress lines. Source it; it
# defines functions and QV_ROOT, and changes nothing else.

QV_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
QV_PACKAGE_LIST="$QV_ROOT/scripts/packages.txt"

qv_say() { printf '== %s\n' "$*"; }
qv_warn() { printf '!! %s\n' "$*" >&2; }
qv_die() {
    qv_warn "$*"
    exit 1
}

# The packages of packages.txt that serve any of the given purposes.
qv_packages_for() {
    local purposes=" $* "
    local package rest purpose
    while read -r package rest; do
        case "$package" in '' | '#'*) continue ;; esac
        for purpose in $rest; do
            if [[ "$purposes" == *" $purpose "* ]]; then
                printf '%s\n' "$package"
                break
            fi
        done
    done <"$QV_PACKAGE_LIST"
}

qv_package_installed() {
    [ "$(dpkg-query -W -f='${Status}' "$1" 2>/dev/null)" = "install ok installed" ]
}

# Installs what is missing of the packages for the given purposes, with sudo
# when not root. Nothing is asked of apt when everything is there already.
qv_install_packages() {
    local missing=() package
    command -v dpkg-query >/dev/null 2>&1 || qv_die "this set-up needs Debian 12 (dpkg and apt-get)"
    while read -r package; do
        qv_package_installed "$package" || missing+=("$package")
    done < <(qv_packages_for "$@")
    if [ ${#missing[@]} -eq 0 ]; then
        qv_say "packages for $* are present"
        return 0
    fi
    local sudo=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null 2>&1 || qv_die "installing ${missing[*]} needs root, and sudo is not installed"
        sudo=(sudo)
    fi
    qv_say "installing ${#missing[@]} packages: ${missing[*]}"
    # Waits for another apt run on the same machine rather than failing.
    local apt=("${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=600 -q)
    "${apt[@]}" update || qv_die "apt-get update failed"
    "${apt[@]}" install -y --no-install-recommends "${missing[@]}" || qv_die "apt-get install failed"
}

# Extra configure arguments: ccache when Debian's is installed. The cache
# keys use paths relative to the checkout, so a fresh clone elsewhere (as CI
# makes) still finds what an earlier build compiled.
qv_cmake_extra_args() {
    if command -v ccache >/dev/null 2>&1; then
        printf '%s\n' -DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache
    fi
}

qv_export_ccache_settings() {
    export CCACHE_BASEDIR="$QV_ROOT"
    export CCACHE_NOHASHDIR=1
    export CCACHE_MAXSIZE=${CCACHE_MAXSIZE:-5G}
}

# Configures the preset's build folder (build/<preset>) and builds it, or
# only the given targets. Output goes to the terminal as it comes.
qv_configure() {
    local preset=$1
    local extra=()
    mapfile -t extra < <(qv_cmake_extra_args)
    qv_export_ccache_settings
    (cd "$QV_ROOT" && cmake --preset "$preset" "${extra[@]}")
}

qv_build() {
    local preset=$1 jobs=$2
    shift 2
    local targets=()
    local target
    for target in "$@"; do targets+=(--target "$target"); done
    qv_export_ccache_settings
    (cd "$QV_ROOT" && cmake --build --preset "$preset" -j "$jobs" "${targets[@]}")
}

qv_default_jobs() { nproc 2>/dev/null || echo 2; }

# "12m 05s" for a number of seconds.
qv_duration() {
    local s=$1
    if [ "$s" -ge 60 ]; then
        printf '%dm %02ds' $((s / 60)) $((s % 60))
    else
        printf '%ds' "$s"
    fi
}
