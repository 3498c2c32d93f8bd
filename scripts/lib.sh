# shellcheck shell=bash
# Shared by the scripts. Source it; it changes nothing by itself.
project=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# set_up ARGUMENT...: runs scripts/setup, and ends the script if required packages are missing. Sets has_32bit to 0 if
# only 32-bit packages are missing.
# shellcheck disable=SC2034
set_up() {
    local status=0
    has_32bit=1
    "$project/scripts/setup" "$@" || status=$?
    if [ "$status" = 3 ]; then
        has_32bit=0
    elif [ "$status" != 0 ]; then
        exit "$status"
    fi
}

# show_progress LOG NAME: appends the build output on standard input to LOG, and on a terminal shows the progress.
show_progress() {
    local log=$1 name=$2 line
    while IFS= read -r line; do
        printf '%s\n' "$line" >>"$log"
        if [ -t 2 ] && [[ $line =~ ^\[([0-9]+/[0-9]+)\] ]]; then
            printf '\rbuilding %s %s ' "$name" "${BASH_REMATCH[1]}" >&2
        fi
    done
    if [ -t 2 ]; then printf '\r\033[K' >&2; fi
}

# build_preset PRESET [TARGET...]: configures and builds; quiet unless it fails. Scripts that build the same preset at
# the same time wait for each other.
build_preset() {
    local preset=$1
    shift
    local log
    log=$(mktemp)
    local started=$SECONDS
    local -a targets=()
    [ $# -eq 0 ] || targets=(--target "$@")
    mkdir -p "$project/build"
    if (
        flock 9
        cd "$project"
        { cmake --preset "$preset" && cmake --build "build/$preset" "${targets[@]}"; } 2>&1 </dev/null 9>&- |
            show_progress "$log" "$preset"
    ) 9>"$project/build/$preset.lock"; then
        echo "built $preset in $((SECONDS - started)) s"
        rm -f "$log"
        return 0
    fi
    grep -E -A5 'error|FAILED|CMake Error' "$log" | head -n 60 >&2 || true
    tail -n 20 "$log" >&2
    echo "building $preset failed; the whole output is in $log" >&2
    return 1
}

# run_tests PRESET [CTEST ARGUMENT...]: runs the tests that were built; prints the output of failed tests and ctest's
# summary. Runs three tests at a time per processor, as most of them wait.
run_tests() {
    local preset=$1
    shift
    local log status=0
    log=$(mktemp)
    (cd "$project/build/$preset" && ctest -j "$(($(nproc) * 3))" --output-on-failure --no-tests=error "$@") \
        >"$log" 2>&1 </dev/null || status=$?
    echo "--- $preset"
    if [ "$status" != 0 ]; then
        grep -vE '^ *[0-9]+/[0-9]+ Test +#[0-9]+: .* Passed|^ +Start +[0-9]+:' "$log" | head -n 400
    fi
    grep -E '^([0-9]+% tests passed|Total Test time|No tests)' "$log" || true # the list of skipped tests may follow
    grep -E '^[[:space:]]+[0-9]+ - .* \(Skipped\)' "$log" || true
    rm -f "$log"
    return "$status"
}
