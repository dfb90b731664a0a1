#!/usr/bin/env bash
# The lab: a Wine prefix under the build folder with a Windows version of choice and restarts.
# Sourced by scripts for its functions; run as a program it offers them as commands, see usage below.
#
# Files in the lab's folder: prefix, wine.log, made-with (the version of Wine that made the prefix) and, while
# something runs, busy-<process> for each user. A user that ended without removing its busy file was killed, so nobody
# knows what it left: the next one makes the prefix anew.

lab_root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
lab_folder=$(realpath -m "${STEWARD_LAB:-$lab_root/build/lab/main}")
lab_log=$lab_folder/wine.log
lab_limit=${STEWARD_LAB_LIMIT:-900} # seconds that one program may take: only a hang takes them

# The Windows versions, one a line: name, winecfg's setting, the oldest Wine that knows it, and for what winecfg does not
# offer the product type, the build and the name to write on top. tests/e2e/expand.py says how the plug-in
# acts on each.
lab_known_versions='
winxp64    winxp64    8
vista      vista      8
win2008    win2008    8
win7       win7       8
win2008r2  win2008r2  8
win8       win8       8
win81      win81      8
win10      win10      8
win2022    win10      8   ServerNT 20348 Windows Server 2022 Standard
win11      win11      10
'

export WINEPREFIX=$lab_folder/prefix
export STEWARD_PACKAGES
export WINEDEBUG=-all WINEDLLOVERRIDES='mscoree,mshtml=' LC_ALL=C.UTF-8

lab_usage() {
    cat <<'TEXT'
lab/lab.sh create | start | stop | restart
lab/lab.sh versions                          the Windows versions that this machine's Wine offers, one a line
lab/lab.sh version <name>                    sets one of them
lab/lab.sh run <exe> [arguments]             runs a program in the prefix as it is, booted if need be
lab/lab.sh on <version> <exe> [arguments]    the same on this Windows version
lab/lab.sh test <version> <test program>     the same, and the program must say that its tests passed; of the scenarios
                                             program STEWARD_SCENARIOS names the file, like failures.txt

STEWARD_LAB names another folder for the prefix, so that two labs can run side by side; STEWARD_LAB_LIMIT the seconds
that one program may take.
TEXT
}

lab_fail() {
    printf 'lab: %s\n' "$*" >&2
    return 1
}

# A path of this machine as programs in the lab see it.
lab_path() { printf 'Z:%s' "${1//\//\\}"; }

# For the test programs.
STEWARD_PACKAGES=$(lab_path "$lab_root/build/product/packages")

# Wine says once per start that it has no 32-bit half: that line is dropped by keeping its own loader script out of the
# way.
lab_loader=$(command -v wine64 || ls /usr/lib/wine/wine64 2>/dev/null || command -v wine || echo wine)

# "wine-8.0 (Debian 8.0~repack-4)"
lab_wine_version() { "$lab_loader" --version 2>/dev/null || lab_fail "Wine is missing; run ./dev setup"; }

lab_versions() {
    local wine name setting since _
    wine=$(lab_wine_version) || return
    wine=${wine#wine-}
    while read -r name setting since _; do
        [ -z "$name" ] || [ "${wine%%.*}" -lt "$since" ] || echo "$name"
    done <<<"$lab_known_versions"
}

# Marks the lab as in use by this process until lab_end.
lab_begin() {
    mkdir -p "$lab_folder"
    lab_process_began $BASHPID >"$lab_folder/busy-$BASHPID"
}
lab_end() { rm -f "$lab_folder/busy-$BASHPID"; }

# Ids of processes are used again; together with the start time they are not.
lab_process_began() { sed 's/.*) //' "/proc/$1/stat" 2>/dev/null | cut -d' ' -f20; }

# Whether a program was ended in the middle of its work, unless others are at work here now.
lab_was_killed() {
    local busy began killed=1
    for busy in "$lab_folder"/busy-*; do
        [ -e "$busy" ] || continue
        read -r began <"$busy" || began=unknown
        [ "$began" != "$(lab_process_began "${busy##*-}")" ] || return 1
        killed=0
    done
    return $killed
}

lab_is_ready() {
    [ "$(cat "$lab_folder/made-with")" = "$(lab_wine_version)" ] && ! lab_was_killed
}

# Makes the prefix unless there is one in a known state. Two programs that start in a fresh prefix at once can race: one
# does it alone.
lab_create() {
    [ -f "$lab_folder/made-with" ] || [ -z "$(ls -A "$lab_folder" 2>/dev/null)" ] ||
        lab_fail "$lab_folder is not empty and no lab; remove it or name another folder in STEWARD_LAB" || return
    { mkdir -p "$lab_folder" && touch "$lab_folder/made-with"; } 2>/dev/null ||
        lab_fail "cannot write to $lab_folder" || return
    (
        flock 9
        lab_is_ready || lab_make 9>&-
    ) 9<"$lab_folder/made-with"
}

# Removes what the lab made, and nothing else.
lab_make() {
    [ ! -d "$WINEPREFIX" ] || lab_stop || return
    : >"$lab_folder/made-with"
    : >"$lab_log"
    lab_boot_anew || lab_boot_anew || lab_fail "no prefix could be made; see $lab_log" || return
    # Every Windows has it.
    mkdir -p "$WINEPREFIX/drive_c/windows/system32/catroot/{F750E6C3-38EE-11D1-85E5-00C04FC295EE}"
    wineserver -w
    lab_wine_version >"$lab_folder/made-with"
}

# On a machine that is busy enough, Wine gives up waiting for its own services.
lab_boot_anew() {
    rm -rf "$WINEPREFIX" "$lab_folder"/busy-*
    mkdir "$WINEPREFIX"
    lab_wine wineboot -i >>"$lab_log" 2>&1 </dev/null || { lab_stop && return 1; }
}

# Runs a Windows program; its exit code is the answer, and a hang ends in a message.
lab_wine() {
    local code=0 busy=$lab_folder/busy-$BASHPID outer=yes
    [ -e "$busy" ] || { outer=no && lab_begin; }
    timeout --foreground --kill-after=10 "$lab_limit" "$lab_loader" "$@" || code=$?
    if [ "$code" -eq 124 ] || [ "$code" -eq 137 ]; then
        lab_fail "$1 was still running after $lab_limit s" || lab_is_spoilt
    fi
    [ "$outer" = yes ] || lab_end
    return "$code"
}

# The next one who comes makes the prefix anew.
lab_is_spoilt() { touch "$lab_folder/busy-unknown"; }

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
    timeout 120 wineserver -w || lab_fail "the prefix does not stop"
}

lab_restart() {
    lab_stop && lab_start
}

# Sets the Windows version that programs started from now on see.
lab_version() {
    local known name setting since product build title
    mapfile -t known < <(lab_versions)
    [[ " ${known[*]} " == *" $1 "* ]] ||
        lab_fail "unknown Windows version '$1'; one of: ${known[*]}" || return
    read -r name setting since product build title < <(grep "^$1 " <<<"$lab_known_versions")
    lab_winecfg "$setting" || lab_fail "winecfg refused the Windows version $setting; see $lab_log" || return
    [ -z "$product" ] || lab_edition "$product" "$build" "$title" >>"$lab_log" 2>&1 </dev/null ||
        lab_fail "the edition $name could not be set; see $lab_log"
}

lab_winecfg() {
    local try
    for try in 1 2 3; do
        lab_wine winecfg -v "$1" >>"$lab_log" 2>&1 </dev/null && return
        sleep "$try" # a prefix that just starts refuses it now and then
    done
    return 1
}

# What winecfg writes for the editions that it offers; it writes all of it again for the next version.
lab_edition() {
    local current='HKLM\SOFTWARE\Microsoft\Windows NT\CurrentVersion'
    lab_wine reg add 'HKLM\SYSTEM\CurrentControlSet\Control\ProductOptions' /v ProductType /d "$1" /f &&
        lab_wine reg add "$current" /v CurrentBuild /d "$2" /f &&
        lab_wine reg add "$current" /v CurrentBuildNumber /d "$2" /f &&
        lab_wine reg add "$current" /v ProductName /d "$3" /f
}

# Runs a program on one Windows version.
lab_on() {
    lab_version "$1" && STEWARD_OS=$1 lab_wine "${@:2}"
}

# Runs a program in an empty folder, so that what it drops anywhere near is no part of the project.
lab_in_scratch() {
    local program scratch=$lab_folder/scratch
    program=$(realpath "$1")
    rm -rf "$scratch" && mkdir "$scratch" && (cd "$scratch" && lab_wine "$program" "${@:2}")
}

# Runs a test program. Its exit code alone does not do: Wine has been seen to answer 0 for one that crashed.
lab_test() {
    local code=0 log
    log=$lab_folder/$(basename "$2" .exe).log
    lab_version "$1" || return
    [ -z "${STEWARD_SCENARIOS:-}" ] || lab_expand "$STEWARD_SCENARIOS" "$1" || return
    STEWARD_OS=$1 lab_in_scratch "${@:2}" >"$log" 2>&1 </dev/null || code=$?
    cat "$log"
    grep -q '^\[==========\] .* ran\.' "$log" || lab_is_spoilt
    lab_passed "$log" || [ "$code" -ne 0 ] || lab_fail "$2 ended without saying that its tests passed"
    [ "$code" -eq 0 ] && lab_passed "$log"
}

# Makes a scenario file ready for a Windows version.
lab_expand() {
    local expanded=$lab_folder/$1
    "$lab_root/tests/e2e/expand.py" "$lab_root/tests/e2e/scenarios/$1" "$2" >"$expanded" || return
    export STEWARD_SCENARIOS && STEWARD_SCENARIOS=$(lab_path "$expanded")
}

lab_passed() { grep -qE '^\[  (PASSED  |SKIPPED )\] [1-9]' "$1"; }

lab_command() {
    local command=${1:-} least=0 # arguments
    shift || true
    case $command in
    create | start | stop | restart | versions) ;;
    version | run) least=1 ;;
    on | test) least=2 ;;
    help | -h | --help) lab_usage && return ;;
    *) lab_misused "unknown command '$command'" ;;
    esac
    [ $# -ge $least ] || lab_misused "'$command' needs $least argument(s)"
    case $command in
    run) lab_start && lab_wine "$@" ;;
    version | on | test) lab_start && "lab_$command" "$@" ;;
    *) "lab_$command" ;;
    esac
}

lab_misused() {
    lab_fail "$1; lab/lab.sh help lists the commands" || exit 2
}

if [ "${BASH_SOURCE[0]}" = "$0" ]; then
    set -euo pipefail
    lab_command "$@"
fi
