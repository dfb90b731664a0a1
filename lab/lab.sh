#!/usr/bin/env bash
# The lab: a Wine prefix under the build folder with a Windows version of choice and restarts.
# Sourced by scripts for its functions; run as a program it offers them as commands:
#
#   lab/lab.sh create | start | stop | restart | version <name>
#   lab/lab.sh run <exe> [arguments]             in the prefix as it is, booted if need be
#   lab/lab.sh on <version> <exe> [arguments]    the same on this Windows version
#   lab/lab.sh test <version> <test program>     the same, and the program must say that its tests passed
#
# STEWARD_LAB names another folder for the prefix, so that two labs can run side by side.

lab_root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
lab_folder=${STEWARD_LAB:-$lab_root/build/lab/main}
lab_log=$lab_folder/wine.log
lab_limit=180 # seconds that one program may take
lab_versions=(winxp64 vista win2008 win7 win2008r2 win8 win81 win10)

export WINEPREFIX=$lab_folder/prefix
export STEWARD_PACKAGES
export WINEDEBUG=-all WINEDLLOVERRIDES='mscoree,mshtml=' LC_ALL=C.UTF-8

lab_fail() {
    printf 'lab: %s\n' "$*" >&2
    return 1
}

# A path of this machine as programs in the lab see it.
lab_path() { printf 'Z:%s' "${1//\//\\}"; }

# Runs a Windows program; its exit code is the answer, and a hang ends in a message. Wine says once per start that it
# has no 32-bit half: that line is dropped by keeping Wine's own loader script out of the way.
lab_wine() {
    local code=0
    timeout --kill-after=10 "$lab_limit" "$lab_loader" "$@" || code=$?
    [ "$code" -ne 124 ] || lab_fail "$1 was still running after $lab_limit s" || true
    return "$code"
}
lab_loader=$(command -v wine64 || echo /usr/lib/wine/wine64)

STEWARD_PACKAGES=$(lab_path "$lab_root/build/windows/packages")

# Makes the prefix unless it is there. Two programs that start in a fresh prefix at once can race: one does it alone.
lab_create() {
    [ -f "$lab_folder/ready" ] && return
    rm -rf "$lab_folder"
    mkdir -p "$lab_folder"
    lab_wine wineboot -i >"$lab_log" 2>&1 </dev/null || lab_fail "no prefix could be made; see $lab_log" || return
    # Every Windows has it.
    mkdir -p "$WINEPREFIX/drive_c/windows/system32/catroot/{F750E6C3-38EE-11D1-85E5-00C04FC295EE}"
    wineserver -w
    touch "$lab_folder/ready"
}

# Boots the prefix. Services inherit the standard output of the program that boots it: a file, never a pipe that
# somebody reads to its end.
lab_start() {
    lab_create || return
    wineserver -p >>"$lab_log" 2>&1 </dev/null || true # says so when it runs already
    lab_wine wineboot >>"$lab_log" 2>&1 </dev/null || lab_fail "the prefix does not boot; see $lab_log"
}

# Ends everything in this prefix, and nothing else on the machine.
lab_stop() {
    wineserver -k >/dev/null 2>&1 || true
    timeout 30 wineserver -w || lab_fail "the prefix does not stop"
}

lab_restart() {
    lab_stop && lab_start
}

# Sets the Windows version that programs started from now on see.
lab_version() {
    [[ " ${lab_versions[*]} " == *" $1 "* ]] ||
        lab_fail "unknown Windows version '$1'; one of: ${lab_versions[*]}" || return
    local try
    for try in 1 2 3; do
        lab_wine winecfg -v "$1" >>"$lab_log" 2>&1 </dev/null && return
        sleep "$try" # a prefix that just starts refuses it now and then
    done
    lab_fail "winecfg refused the Windows version $1; see $lab_log"
}

# Runs a program on one Windows version.
lab_on() {
    lab_version "$1" && STEWARD_OS=$1 lab_wine "${@:2}"
}

# Runs a test program. Its exit code alone does not do: Wine has been seen to answer 0 for one that crashed.
lab_test() {
    local code=0 log
    log=$lab_folder/$(basename "$2" .exe).log
    lab_on "$@" >"$log" 2>&1 </dev/null || code=$?
    cat "$log"
    lab_passed "$log" || [ "$code" -ne 0 ] || lab_fail "$2 ended without saying that its tests passed"
    [ "$code" -eq 0 ] && lab_passed "$log"
}

lab_passed() { grep -qE '^\[  (PASSED  |SKIPPED )\] [1-9]' "$1"; }

if [ "${BASH_SOURCE[0]}" = "$0" ]; then
    set -euo pipefail
    command=${1:-}
    shift || true
    case $command in
    create | start | stop | restart | version) "lab_$command" "$@" ;;
    run)
        lab_start
        lab_wine "$@"
        ;;
    on | test)
        lab_start
        "lab_$command" "$@"
        ;;
    *) lab_fail "unknown command '$command'; one of: create start stop restart version run on test" ;;
    esac
fi
