# shellcheck shell=bash
# Functions that start and end the programs of the demo; to be sourced. The programs are in the directory $programs, and
# their output goes to $work/NAME.log.
# shellcheck disable=SC2154

# start NAME PROGRAM ARGUMENT...: starts the program and waits until it reports that it is ready. It has a process group of
# its own, so that Ctrl-C reaches only the script, and the kernel kills it when the script ends. Sets started_id.
start() {
    local name=$1 program=$programs/$2
    shift 2
    set -m
    setpriv --pdeathsig KILL "$program" "$@" >>"$work/$name.log" 2>&1 </dev/null &
    started_id=$!
    set +m
    for ((i = 0; i < 200; i++)); do
        grep -qs ': ready: ' "$work/$name.log" && return 0
        kill -0 "$started_id" 2>/dev/null || break
        sleep 0.05
    done
    echo "demo: $name did not start" >&2
    cat "$work/$name.log" >&2
    return 1
}

end_group() {
    [ -n "$1" ] || return 0
    kill -TERM -- "-$1" 2>/dev/null || return 0
    for ((i = 0; i < 50; i++)); do
        kill -0 -- "-$1" 2>/dev/null || return 0
        sleep 0.1
    done
    kill -KILL -- "-$1" 2>/dev/null || true
}
